#include "VelBgp/ExtCommIp6.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Keel/DumpContext.h"
#include "Tyr/Exception.h"
#include "VelBgp/Ip6Tables.h"
#include "support/Death.h"

namespace Routing::Bgp::test {
namespace {

using namespace std::string_literals;

// Each comes behind the one before by one field, so that the order of the fields shows.
TEST(ExtCommIp6ContentTest, OrderedFieldByField) {
  const std::vector<ExtCommIp6Content> ascending = {
      ip6(0, 0, "::", 0), ip6(0, 0, "::", 1),    ip6(0, 0, "::", 0x8000), ip6(0, 0, "::1", 0),   ip6(0, 0, "8000::", 0),
      ip6(0, 1, "::", 0), ip6(0, 0x80, "::", 0), ip6(1, 0, "::", 0),      ip6(0x40, 0, "::", 9), ip6(0x80, 0, "::", 0)};
  for (std::size_t i = 1; i < ascending.size(); ++i) {
    EXPECT_TRUE(ascending[i - 1] < ascending[i] && !(ascending[i] < ascending[i - 1])) << i;
    EXPECT_NE(ascending[i - 1].hash(), ascending[i].hash()) << i;
  }
}

TEST(ExtCommIp6ContentTest, TextBothWaysWhateverTheOctets) {
  const std::pair<ExtCommIp6Content, std::string> rows[] = {
      {ip6('A', 'B', "2001:db8::1", 100), "type=A;subtype=B;addr=2001:db8::1;localAdmin=100"},
      {ip6(0, 2, "::", 0), "type=\0;subtype=\2;addr=::;localAdmin=0"s},
      {ip6(0x40, 0, "::ffff:192.0.2.1", 65535), "type=@;subtype=\0;addr=::ffff:192.0.2.1;localAdmin=65535"s},
      {ip6(';', 0xff, "fe80::a", 7), "type=;;subtype=\xff;addr=fe80::a;localAdmin=7"},
  };
  for (const auto& [content, text] : rows) {
    EXPECT_EQ(valueToStrep(content), text);
    EXPECT_EQ(ExtCommIp6Content::strepToValue(text), content);
    for (std::size_t cut = 0; cut < text.find("localAdmin=") + 12; ++cut) {
      Tyr::StrepIterator it = text.data();
      EXPECT_THROW(ExtCommIp6Content(it, text.data() + cut), Tyr::ParseException) << cut;
      EXPECT_EQ(it, text.data());
    }
  }
  for (const char* text : {"type=AA;subtype=B;addr=::1;localAdmin=1", "type=A;subtype=B;addr=::g;localAdmin=1",
                           "type=A;subtype=B;addr=::1;localAdmin=65536", "type=A;subtype=B;addr=::1;localAdmin=1 "}) {
    EXPECT_THROW(ExtCommIp6Content::strepToValue(text), Tyr::ParseException) << text;
  }
}

TEST(ExtCommIp6Test, TypesSubtypesAndTexts) {
  const struct {
    ExtCommIp6Content content;
    const char* type;
    const char* subtype;
    const char* admins;
    const char* ui;
  } rows[] = {
      {ip6(0x00, 0x02, "2001:db8::1", 100), "<extCommIp6PktTypeTransIpv6Address", "extCommIp6PktSubtypeRouteTarget",
       " addr=2001:db8::1 localAdmin=100>", "0002-IP6:2001:db8::1:100"},
      {ip6(0x00, 0x05, "::", 0), "<extCommIp6PktTypeTransIpv6Address", "subtype=5", " addr=:: localAdmin=0>",
       "0005-IP6::::0"},
      {ip6(0x40, 0x02, "fe80::abcd", 65535), "<extCommIp6PktTypeNonTransIpv6Address", "subtype=2",
       " addr=fe80::abcd localAdmin=65535>", "0002-IP6(NT):fe80::abcd:65535"},
      {ip6(0x01, 0xfe, "::192.0.2.1", 1), "<extCommIp6PktTypeUnknown", "none", " addr=::192.0.2.1 localAdmin=1>",
       "01fe-IP6:::192.0.2.1:1"},
  };
  for (const auto& row : rows) {
    const auto plain = extCommIp6Factory(extCommClassificationColor, row.content);
    const auto subtyped = ExtCommIp6SubtypedIs(extCommClassificationUnSpecified, row.content);
    std::ostringstream subtype, none, debug;
    subtyped->formatSubtype(subtype);
    plain->formatSubtype(none);
    debug << std::hex << std::setfill('*') << std::setw(150) << *subtyped;
    EXPECT_EQ(subtype.str(), row.subtype);
    EXPECT_EQ(none.str(), "unspecified");
    EXPECT_EQ(debug.str(), std::string(row.type) + " " + row.subtype + row.admins);
    EXPECT_EQ(plain->toStrep(), std::string(row.type) + row.admins);
    EXPECT_TRUE(plain->compare(subtyped.get()) && plain->hash() == subtyped->hash() && !plain->everDeduped());
    const std::string ui = row.ui, policy = ui.substr(ui.find(':') + 1);
    for (unsigned octet = 0; octet < 32; ++octet) {
      EXPECT_EQ(subtyped->toStrepForPolicy(ExtCommIp6::StrepFormat(octet)), (octet & 6) == 6 ? ui : policy);
    }
  }
  const auto trans = ExtCommIp6SubtypedIs(extCommClassificationUnSpecified, rows[0].content);
  const auto plain = ExtCommIp6Is(extCommClassificationUnSpecified, rows[2].content);
  EXPECT_ASSERTION(plain->pktSubtypeTransIpv6AddressAsString(), "extCommIp6PktTypeTransIpv6Address_ == pktType()");
  EXPECT_ASSERTION(plain->pktSubtypeNonTransIpv6AddressAsString(), "!pktSubtype().isUnspecified()");
  EXPECT_ASSERTION(trans->pktSubtypeNonTransIpv6AddressAsString(),
                   "extCommIp6PktTypeNonTransIpv6Address_ == pktType()");
}

TEST(ExtCommIp6Test, StrepFormatTextAndConversionByName) {
  using Format = ExtCommIp6::StrepFormat;
  EXPECT_THROW(Format(32), Tyr::RangeException);
  EXPECT_EQ(valueToStrep(Format()).substr(0, 46), "Value('Routing::Bgp::ExtCommIp6::StrepFormat',");
  const std::pair<unsigned, unsigned> rows[] = {{1, 1}, {2, 2}, {4, 4}, {8, 0}, {0x10, 8}, {0x20, 0x10}};
  for (const auto& [of8Octets, of20Octets] : rows) {
    EXPECT_EQ(Format(ExtComm::StrepFormat(of8Octets)), Format(of20Octets));
  }
}

struct Ip6InterningTest : testing::Test, Ip6Tables {
  Ip6InterningTest() : Ip6Tables(false) {}
};

TEST_F(Ip6InterningTest, OneObjectPerContentAndTable) {
  const ExtCommIp6Content target = ip6(0x00, 0x02, "2001:db8::1", 100);
  const auto first = internOne(target), unknown = internOne(ip6(0x01, 0x02, "2001:db8::1", 100));
  EXPECT_EQ(first->classification(), extCommClassificationRouteTarget);
  EXPECT_EQ(first->fwkType().unqualifiedName(), "ExtCommIp6Subtyped");
  EXPECT_TRUE(first->isDeduped() && first->notificationActive() && !first->compare(unknown.get()));
  const ExtCommIp6DedupContent content(target);
  auto* const found = static_cast<ExtCommIp6*>(comms->dedupTable().lookupByContent(content, content.hash()));
  EXPECT_EQ(ExtCommIp6::PtrConst(found, false), first);
  // The classification takes no part in what is the same.
  const auto other = Tyr::make<ExtCommIp6>(extCommClassificationColor, target);
  EXPECT_EQ(ExtCommIp6::PtrConst(static_cast<ExtCommIp6*>(comms->dedupTable().dedup(other.get())), false), first);
  Keel::StringDumpContext dumped;
  comms->dumpState(dumped, 3);
  EXPECT_EQ(dumped.text().rfind("   DedupHashTable ExtCommIp6DedupTable ", 0), 0u);
  EXPECT_THROW(ExtCommIp6DedupTableIs(nullptr), Tyr::NullArgumentException);
}

}  // namespace
}  // namespace Routing::Bgp::test
