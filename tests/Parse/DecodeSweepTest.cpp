#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>

#include "VelBgp/Parse/ExtCommContainer.h"
#include "support/LeakCheck.h"

namespace Routing::Bgp::test {
namespace {

struct Expected {
  std::string type;
  int classification;
};

// By type octet and subtype octet.
const std::map<unsigned, Expected> kinds = {
    {0x0002, {"ExtCommRouteTargetAs", 1}},
    {0x0102, {"ExtCommRouteTargetIpv4Address", 1}},
    {0x0202, {"ExtCommRouteTargetAs", 1}},
    {0x0003, {"ExtCommRouteOriginAs", 2}},
    {0x0103, {"ExtCommRouteOriginIpv4Address", 2}},
    {0x0203, {"ExtCommRouteOriginAs", 2}},
    {0x0009, {"ExtCommSourceAs", 11}},
    {0x0209, {"ExtCommSourceAs", 11}},
    {0x010b, {"ExtCommVrfRouteImportIpv4Address", 10}},
    {0x030b, {"ExtCommColor", 8}},
    {0x030c, {"ExtCommTunnelEncap", 4}},
    {0x030d, {"ExtCommDefaultGateway", 5}},
    {0x4004, {"ExtCommLinkBandwidth", 7}},
    {0x4300, {"ExtCommOriginValidationState", 9}},
};
// By type octet: what nobody claims.
const std::map<unsigned, std::string> fallbacks = {
    {0x00, "ExtCommAsNumber"}, {0x01, "ExtCommIpv4Address"}, {0x02, "ExtCommAsNumber"}, {0x03, "ExtCommSubtyped"},
    {0x40, "ExtCommAsNumber"}, {0x41, "ExtCommIpv4Address"}, {0x42, "ExtCommAsNumber"}, {0x43, "ExtCommSubtyped"},
    {0x80, "ExtCommSubtyped"}, {0x81, "ExtCommSubtyped"},    {0x82, "ExtCommSubtyped"}};

Expected expectedOf(unsigned pair) {
  if (const auto found = kinds.find(pair); found != kinds.end()) return found->second;
  const auto found = fallbacks.find(pair >> 8);
  return {found == fallbacks.end() ? "ExtComm" : found->second, 0};
}

void checkTexts(const ExtComm& comm, const std::string& type) {
  const std::string debug = comm.toStrep();
  ASSERT_EQ(debug.front(), '<');
  ASSERT_EQ(debug.substr(debug.size() - 20), " " + valueToStrep(comm.getContent()) + ">");
  const bool alwaysHasPolicyText =
      type != "ExtComm" && type != "ExtCommSubtyped" && type != "ExtCommOriginValidationState";
  for (std::uint8_t octet = 0; octet < 64; octet += octet == 0 ? 2 : 6) {  // 0, 2, 8, 14, ..., 62
    const ExtComm::StrepFormat format(octet);
    const std::string text = comm.toStrepForPolicy(format);
    ASSERT_EQ(text.empty(), !alwaysHasPolicyText && !format.classificationAndUI()) << type << " " << int(octet);
    ASSERT_EQ(text.find('\0'), std::string::npos);
  }
}

TEST(DecodeSweepTest, EveryTypeAndSubtype) {
  const auto decoder = bgpParseExtCommContainerSmFactory(true);
  for (unsigned pair = 0; pair <= 0xffff; ++pair) {
    // Six octets that differ from pair to pair, with all bits in play.
    const std::uint64_t value = std::uint64_t{pair} << 48 | (pair * 0x9e3779b97f4a7c15u) >> 16;
    const Expected expected = expectedOf(pair);
    const auto comm = decoder->extCommParser()->parseExtendedCommunity(ExtCommContent(value));
    ASSERT_NE(comm, nullptr);
    ASSERT_EQ(comm->fwkType().name, "Routing::Bgp::" + expected.type) << pair;
    ASSERT_EQ(comm->classification(), expected.classification);
    ASSERT_EQ(comm->community(), value);
    ASSERT_EQ(comm->pktSubtype().isUnspecified(), expected.type == "ExtComm");
    ASSERT_TRUE(comm->notificationActive() && !comm->everDeduped());
    ASSERT_EQ(comm->policyMatchStrepUI(), expected.type == "ExtCommOriginValidationState");
    ASSERT_EQ(comm->isLinkBandwidth(), expected.type == "ExtCommLinkBandwidth");
    ASSERT_NO_FATAL_FAILURE(checkTexts(*comm, expected.type)) << comm->getContent();
  }
}

}  // namespace
}  // namespace Routing::Bgp::test
