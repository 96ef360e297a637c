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

std::string fallbackOf(unsigned typeOctet) {
  switch (typeOctet) {
    case 0x00:
    case 0x02:
    case 0x40:
    case 0x42:
      return "ExtCommAsNumber";
    case 0x01:
    case 0x41:
      return "ExtCommIpv4Address";
    case 0x03:
    case 0x43:
    case 0x80:
    case 0x81:
    case 0x82:
      return "ExtCommSubtyped";
    default:
      return "ExtComm";
  }
}

bool hasPolicyText(const std::string& type) {
  return type != "ExtComm" && type != "ExtCommSubtyped" && type != "ExtCommOriginValidationState";
}

void checkTexts(const ExtComm& comm, const std::string& type, const std::string& hex) {
  const std::string debug = comm.toStrep();
  ASSERT_EQ(debug.front(), '<');
  ASSERT_EQ(debug.substr(debug.size() - 20), " 0x" + hex + ">");
  for (std::uint8_t octet = 0; octet < 64; octet += octet == 0 ? 2 : 6) {  // 0, 2, 8, 14, ..., 62
    const ExtComm::StrepFormat format(octet);
    const std::string text = comm.toStrepForPolicy(format);
    ASSERT_EQ(text.empty(), !hasPolicyText(type) && !format.classificationAndUI()) << type << " " << int(octet);
    ASSERT_EQ(text.find('\0'), std::string::npos);
  }
}

TEST(DecodeSweepTest, EveryTypeAndSubtype) {
  const auto decoder = bgpParseExtCommContainerSmFactory(true);
  for (unsigned pair = 0; pair <= 0xffff; ++pair) {
    // Six octets that differ from pair to pair, with all bits in play.
    const std::uint64_t value = std::uint64_t{pair} << 48 | (pair * 0x9e3779b97f4a7c15u) >> 16;
    const auto found = kinds.find(pair);
    const Expected expected = found != kinds.end() ? found->second : Expected{fallbackOf(pair >> 8), 0};
    const auto comm = decoder->extCommParser()->parseExtendedCommunity(ExtCommContent(value));
    ASSERT_NE(comm, nullptr);
    ASSERT_EQ(comm->fwkType().unqualifiedName(), expected.type) << pair;
    ASSERT_EQ(comm->classification(), expected.classification);
    ASSERT_EQ(comm->community(), value);
    ASSERT_EQ(comm->pktSubtype().isUnspecified(), expected.type == "ExtComm");
    char hex[17];
    std::snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(value));
    ASSERT_NO_FATAL_FAILURE(checkTexts(*comm, expected.type, hex)) << hex;
  }
}

}  // namespace
}  // namespace Routing::Bgp::test
