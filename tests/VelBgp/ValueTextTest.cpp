// Texts that are read as values: a table of what is typed, a sweep of all that is printed; and values made by name.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <limits>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "Tyr/Exception.h"
#include "VelBgp/Agent.h"
#include "VelBgp/MakeValue.h"
#include "VelBgp/TypedComm.h"
#include "VelBgp/ValueText.h"

namespace Routing::Bgp::test {
namespace {

std::string hexOf(const ExtCommContent& content) { return valueToStrep(content); }
std::string hexOf(const ExtCommIp6Content& content) {
  std::ostringstream out;
  out << "0x" << std::hex << std::setfill('0') << std::setw(4) << (content.type() << 8 | content.subtype());
  for (const unsigned octet : content.addr().octets()) out << std::setw(2) << octet;
  out << std::setw(4) << content.localAdmin();
  return out.str();
}
std::string hexOf(const CommunityValue& value) {
  std::ostringstream out;
  out << "0x" << std::hex << std::setfill('0') << std::setw(8) << value.globalAdmin() << std::setw(8)
      << value.localData1() << std::setw(8) << value.localData2();
  return out.str();
}
std::string hexOf(std::uint32_t value) {
  std::ostringstream out;
  out << "0x" << std::hex << std::setfill('0') << std::setw(8) << value;
  return out.str();
}
std::string hexOf(const AnyCommValue& value) {
  return std::visit([](const auto& v) { return hexOf(v); }, value);
}
// The value in hex, or the error.
std::string read(std::string_view text) {
  const auto value = valueFromText(text);
  return value ? hexOf(*value) : value.error().message();
}

struct Row {
  const char* text;
  // The value in hex, else a piece of the error.
  const char* expected;
};

// clang-format off
constexpr Row rows[] = {
    // Hex, and numbers alone.
    {"0x0002fde800000064", "0x0002fde800000064"}, {" \t0xFFFFFF01\r", "0xffffff01"}, {"0XFFFFFF01", "no community"},
    {"0x000100000000000100000002", "0x000100000000000100000002"}, {"0xfffffff", "7 hex digits"}, {"0x", "0 hex digits"},
    {"0x000220010db8000000000000000000000000000100ff", "44 hex digits"}, {"0x1234567g", "something else than hex"},
    {"0x000220010db80000000000000000000000010064", "0x000220010db80000000000000000000000010064"},
    {"65000:100", "0xfde80064"}, {"0000001:00000000000000000000000000000100", "0x00010064"},
    {"4200000000:100", "4200000000 is too large for a standard community's AS, expected at most 65535; large communities "
                       "are A:B:C, or rt 4200000000:100 | soo 4200000000:100"},
    {"1:65536", "65536 is too large for a standard community's number, expected at most 65535; large communities are "
                "A:B:C, or rt 1:65536 | soo 1:65536"},
    {"1:4294967296", "expected at most 65535; large communities are A:B:C"}, {"1:", "nothing for a standard"},
    {"1", "no community"}, {":1", "no community"}, {"+1:2", "no community"}, {"1:-2", "no community"},
    {"1:2:3", "0x000000010000000200000003"}, {"1.0:1:2", "0x000100000000000100000002"}, {"0.7:1:2", "0x000000070000000100000002"},
    {"4294967296:1:2", "4294967296 is too large for a large community's AS"}, {"1:2:4294967296", "too large"},
    {"65536.0:1:2", "too large for half of an AS"}, {"1.1.1:1:2", "1.1 for half of an AS"}, {"1:1.0:2", "no community"},
    {"1:2:3:4", "no community"}, {"1::3", "no community"}, {"1:2 3:4", "no community"}, {"", "no text"},
    {"no\xc3\xa4", "printable"}, {"1:2\x01", "printable"}, {"1:2\r3", "printable"},
    // What needs a label.
    {"192.0.2.1:5", "192.0.2.1:5 does not say what it is, expected rt 192.0.2.1:5 | soo 192.0.2.1:5"},
    {"1.10:100", "expected rt 1.10:100 | soo 1.10:100"}, {"65000L:100", "expected rt 65000L:100 | soo 65000L:100"},
    {"2001:db8::1:100", "expected rt 2001:db8::1:100 | soo 2001:db8::1:100"}, {"[::1]:5", "expected rt [::1]:5 | soo [::1]:5"},
    {"65000:1.25e+08", "no community"}, {"1 Gbps", "no community"},
    // Labels and administrators.
    {"rt 65000:100", "0x0002fde800000064"}, {"RT:65000:100", "0x0002fde800000064"}, {"Route_Target:\t65000:100", "0x0002fde800000064"},
    {"target 65536:1", "0x0202000100000001"}, {"rt 0.100:1", "0x0202000000640001"}, {"rt 65000L:100", "0x02020000fde80064"},
    {"rt 3.10:65536", "65536 is too large for a number of two octets"}, {"rt 65535:4294967295", "0x0002ffffffffffff"},
    {"rt 65535:4294967296", "too large"}, {"rt 4294967296:1", "too large for an AS"}, {"rt 65000l:1", "for an AS"},
    {"rt 192.0.2.1:5", "0x0102c00002010005"}, {"rt 192.0.2.01:5", "no IPv4 address"}, {"rt 192.0.2:5", "no IPv4"},
    {"rt [2001:db8::1]:100", "0x000220010db80000000000000000000000010064"}, {"rt [::1:5", "no IPv6"}, {"rt ::1]:5", "no IPv6"},
    {"rt 2001:db8::1:100", "0x000220010db80000000000000000000000010064"}, {"rt ::ffff:192.0.2.1:5", "0x000200000000000000000000ffffc00002010005"},
    {"rt 1:2:3", "no IPv6 address"}, {"rt", "rt without a value"}, {"rt:", "without a value"}, {"rt 65000", "no number behind a colon"},
    {"rt 65000: 100", "for a number"}, {"rt 65000:100 rt 65000:101", "no IPv6"}, {"rt65000:100", "no community"},
    {"rt -1:100", "for an AS"}, {"rt 65000:-1", "for a number"}, {"rt :1", "nothing for an AS"}, {"rt 65000L5:1", "for an AS"},
    {"soo 65000:1", "0x0003fde800000001"}, {"ro:65000:1", "0x0003fde800000001"}, {"origin 65000:1", "0x0003fde800000001"},
    {"route-origin 1.0:1", "0x0203000100000001"}, {"SITE_OF_ORIGIN ::1:1", "0x0003000000000000000000000000000000010001"},
    {"sas 65000:0", "0x0009fde800000000"}, {"src-as 65536:0", "0x0209000100000000"}, {"sas 192.0.2.1:1", "expected AS:NUMBER"},
    {"vri 192.0.2.1:5", "0x010bc00002010005"}, {"rt-import ::1:5", "0x000b000000000000000000000000000000010005"},
    {"vri 65000:1", "expected IPv4:NUMBER or [IPv6]:NUMBER"}, {"vrf-route-import 192.0.2.1:5", "0x010bc00002010005"},
    {"Route-Target-AS4:65000:100", "0x02020000fde80064"}, {"route-target-as2:65000:100", "0x0002fde800000064"},
    {"route-target-as2:65536:100", "expected AS:NUMBER with an AS up to 65535 in decimal"}, {"Route-Target-AS:0.1:1", "another encoding"},
    {"route-target-ipv4:65000:1", "expected IPv4:NUMBER"}, {"route-origin-ipv6:::1:5", "0x0003000000000000000000000000000000010005"},
    {"route-target-ipv6:192.0.2.1:5", "another encoding"}, {"source-as2:65000:1", "0x0009fde800000001"}, {"Source-AS4:1:0", "0x0209000000010000"},
    {"route-origin-as4:1:1", "0x0203000000010001"}, {"vrf-route-import-ipv4:192.0.2.1:5", "0x010bc00002010005"},
    // The kinds without an administrator.
    {"color 100", "0x030b000000000064"}, {"color 01:100", "0x030b400000000064"}, {"Color:CO(10):4294967295", "0x030b8000ffffffff"},
    {"color 2:100", "for a color's flags"}, {"color 1:100", "for a color's flags"}, {"color 4294967296", "too large for a color"},
    {"encap vxlan", "0x030c000000000008"}, {"encap tunnelTypeGre", "0x030c000000000002"}, {"encap mpls-in-gre", "0x030c00000000000b"},
    {"encap 19", "0x030c000000000013"}, {"tunnelTypeUnknown(19)", "0x030c000000000013"}, {"tunnelTypeVxlan", "0x030c000000000008"},
    {"tunnelTypeUnknown", "expected the name of one, its number"}, {"tunnelTypeUnknown(8)", "expected tunnelTypeVxlan"},
    {"tunnelTypeVxlan(8)", "no tunnel type"}, {"encap 65536", "too large"}, {"tunnelType", "no tunnel type"},
    {"ovs valid", "0x4300000000000000"}, {"ovs not_found", "0x4300000000000001"}, {"Origin-Validation-State:INVALID", "0x4300000000000002"},
    {"Origin-Validation-State:unknown", "expected valid, not-found or invalid"}, {"ovs 0", "tells no validation state"},
    {"default-gateway", "0x030d000000000000"}, {"DefaultGateway", "0x030d000000000000"}, {"default-gateway 1", "expected nothing"},
    // Bandwidths.
    {"lbw 65000:125000000", "0x4004fde84cee6b28"}, {"lb 65000:1Gbps", "0x4004fde84cee6b28"}, {"bandwidth 65000:1 gbps", "0x4004fde84cee6b28"},
    {"lbw 65000:1.25e+08", "0x4004fde84cee6b28"}, {"link-bandwidth:65000:1000 Mbps (weight 125000000)", "0x4004fde84cee6b28"},
    {"lbw 65000:1 Gbps (weight 125000008)", "0x4004fde84cee6b29"}, {"lbw 65000:1 Gbps (weight 126000000)", "does not agree"},
    {"lbw 65000:1.0004 Gbps (weight 125000000)", "does not agree"}, {"lbw 65000:125000000 (weight 125000008)", "does not agree"},
    {"lbw 65000:0 bps (no weight)", "0x4004fde800000000"}, {"lbw 65000:1 Gbps (no weight)", "does not agree"},
    {"lbw 65000:1 GBps", "GBps is no unit"}, {"lbw 65000:1 gBps", "no unit"}, {"lbw 65000:1 Gb", "no unit"}, {"lbw 65000:1 KBPS", "no unit"},
    {"lbw 65536:1", "too large for a link bandwidth's AS"}, {"lbw 0:1e39", "too large for a bandwidth"}, {"lbw 0:1e-46", "too small"},
    {"lbw 0:3.4028235e38", "0x400400007f7fffff"}, {"lbw 0:2722258854.237869293100315163665140547583 qbps", "0x400400007f7fffff"},
    {"lbw 0:2722258854.237869293100315163665140547584 qbps", "too large for a bandwidth"},
    {"lbw 0:0.000000000000000000000000000000000000000000000e99999999999", "0x4004000000000000"}, {"lbw 0:1e99999999999999999999", "too large"},
    {"lbw 0:-1", "typed in hex"}, {"lbw 0:inf", "typed in hex"}, {"lbw 0:nan", "typed in hex"}, {"lbw 0:.5", "no bandwidth"}, {"lbw 0:1.", "no unit"},
    // Halfway between two floats, a little above, the next halfway: the exact sum decides, once.
    {"lbw 0:16777217", "0x400400004b800000"}, {"lbw 0:16777217.00000000000000000000000000000000000000000000000001", "0x400400004b800001"},
    {"lbw 0:16777219", "0x400400004b800002"}, {"lbw 0:134217736bps", "0x400400004b800000"}, {"lbw 0:134.217736000000000000000001Mbps", "0x400400004b800001"},
    // Printed forms.
    {"0008-AS:1:2", "0x0008000100000002"}, {"0008-AS(NT):1:2", "0x4008000100000002"}, {"0208-AS4:1.0:2", "0x0208000100000002"},
    {"0108-IP:192.0.2.1:5", "0x0108c00002010005"}, {"0042-IP6(NT):::1:5", "0x4042000000000000000000000000000000010005"},
    {"0300:0x00 0x01 0x02 0x03 0x04 0xFF", "0x03000001020304ff"}, {"0400(NT):0x00 0x00 0x00 0x00 0x12 0x34", "0x4400000000001234"},
    {"0300:100", "0x012c0064"}, {"0300:0x00 0x01", "nothing for an octet"}, {"0300:0x00 0x01 0x02 0x03 0x04 0x05 0x06", "behind the last"},
    {"4008-AS:1:2", "no community"}, {"0108-AS:1:2", "the form of the type"}, {"0008-AS:65536:2", "another encoding"},
    {"0300:0x000x010x020x030x040x05", "behind an octet"}, {"0008-AS 1:2", "no community"},
    {"<RouteTarget2ByteASN 65000:100 0x0002fde800000064>", "0x0002fde800000064"}, {"<routeTarget2ByteASN 65000:100 0x0002fde800000064>", "exactly as printed"},
    {"<RouteTarget2ByteASN 65000:101 0x0002fde800000064>", "exactly as printed"}, {"<RouteTarget2ByteASN 65000:100 0x0002fDE800000064>", "exactly"},
    {"<extCommIp6PktTypeUnknown addr=::1 localAdmin=5>", "shows all of its value"}, {"<", "exactly as printed"},
    {"<extCommIp6PktTypeTransIpv6Address extCommIp6PktSubtypeRouteTarget addr=::1 localAdmin=5>", "0x0002000000000000000000000000000000010005"},
    {"<extCommIp6PktTypeNonTransIpv6Address subtype=2 addr=::1 localAdmin=05>", "exactly as printed"},
    {"<extCommPktTypeTransTwoOctetAs extCommPktSubtypeTransTwoOctetAsSourceAs ASN=1 0x0009000100000000>", "0x0009000100000000"},
    // Names.
    {"internet", "0x00000000"}, {"GSHUT", "0xffff0000"}, {"gshut", "0xffff0000"}, {"Graceful_Shutdown", "0xffff0000"}, {"local-as", "0xffffff03"},
    {"blackhole", "0xffff029a"}, {"accept-own", "0xffff0001"}, {"no-peer", "0xffffff04"}, {"nopeer", "0xffffff04"}, {"standby-pe", "0xffff0009"},
    {"no-export-subconfed", "0xffffff03"}, {"route-filter-v6", "0xffff0005"}, {"no-export:1", "no community"}, {"communityGshut", "no community"},
};
// clang-format on

TEST(ValueText, ReadsWhatIsTypedAndNamesWhatIsNot) {
  for (const Row& row : rows) {
    const std::string got = read(row.text);
    const bool value = std::string_view(row.expected).starts_with("0x");
    EXPECT_TRUE(value ? got == row.expected : got.find(row.expected) != got.npos) << row.text << " gave " << got;
  }
  const std::string megabyte(1 << 20, '1');
  for (const char* const front :
       {"rt 1:", "", "lbw 0:1e", "0x", "<", "color ", "tunnelTypeUnknown(", "1:2:", "rt [::"}) {
    EXPECT_LT(read(front + megabyte).size(), 400u) << front;
  }
  EXPECT_EQ(read("rt 1:" + std::string(1 << 20, '0') + "7"), "0x0002000100000007");
}

TEST(ValueText, AnErrorTellsItsPlace) {
  const std::string text = "  rt 65000:4294967296";
  const auto error = valueFromText(text).error();
  EXPECT_EQ(text.substr(error.offset, error.length), "4294967296");
  EXPECT_EQ(extCommFromText("65000:100").error().message(),
            "65000:100 is a standard community, expected an extended community, or rt 65000:100 | soo 65000:100");
  EXPECT_EQ(extCommFromText("rt 65000:100")->value(), 0x0002fde800000064u);
  EXPECT_EQ(extCommIp6FromText("rt ::1:5")->localAdmin(), 5);
  EXPECT_EQ(largeCommFromText("1:2:3")->localData2(), 3u);
  EXPECT_FALSE(largeCommFromText("1:2"));
  EXPECT_EQ(*commFromText("1:2"), 0x10002u);
  EXPECT_FALSE(commFromText("rt 1:2"));
}

TEST(ValueText, ALineHoldsSeveralValues) {
  const Row lines[] = {{"1:2,3:4 \t rt:1:2", "1:2=0x00010002|3:4=0x00030004|rt:1:2=0x0002000100000002|"},
                       {"\"rt 1:2\" \" 1:2 \"", "rt 1:2=0x0002000100000002| 1:2 =0x00010002|"},
                       {"rt 65000:100 1:2", "rt 65000:100!|1:2=0x00010002|"},
                       {"\"rt\" 65000:100 1:2", "rt\" 65000:100!|1:2=0x00010002|"},
                       {"RT: , 65000:100", "RT: , 65000:100!|"},
                       {"rt", "rt!|"},
                       {"1:2 \"rt 1:2", "1:2=0x00010002|\"rt 1:2!|"},
                       {"\"1:2\"3 1:2", "\"1:2\"3!|1:2=0x00010002|"},
                       {"default-gateway 1:2 x", "default-gateway=0x030d000000000000|1:2=0x00010002|x!|"},
                       {"\"\" , ,", "!|"},
                       {" \r,", ""},
                       {"1\"2\" 1:2", "1\"2\"!|1:2=0x00010002|"}};
  for (const Row& line : lines) {
    std::string got;
    for (ValueTexts texts(line.text); const auto typed = texts.next();) {
      got += std::string(line.text).substr(typed->offset, typed->length);
      got += typed->value ? "=" + hexOf(*typed->value) : "!";
      EXPECT_TRUE(typed->value || typed->value.error().offset >= typed->offset) << line.text;
      got += '|';
    }
    EXPECT_EQ(got, line.expected) << line.text;
  }
  EXPECT_EQ(valuesFromText("1:2 rt:1:2")->size(), 2u);
  const auto bad = valuesFromText("1:2 3:x 4:y");
  EXPECT_EQ(bad.error().offset, 4u);
}

// Whether the text gives this value again; if not, it is another one with the same text, or an error.
template <typename Value, typename Texts>
bool givesAgain(const std::string& text, const Value& value, Texts&& textsOf) {
  const auto again = valueFromText(text);
  if (!again) return false;
  if (*again == AnyCommValue(value)) return true;
  const auto* const other = std::get_if<Value>(&*again);
  if (other == nullptr) {
    EXPECT_NE(read(textOf(*again)).find(hexOf(*again)), std::string::npos) << text;
    return false;
  }
  const auto texts = textsOf(*other);
  EXPECT_NE(std::find(texts.begin(), texts.end(), text), texts.end()) << text << " is read as " << hexOf(*other);
  return false;
}

class Sweep {
 public:
  static std::vector<std::string> texts(const BgpParseExtendedCommunityRule& rule, const ExtCommContent& content) {
    const auto comm = rule.parseExtendedCommunity(content);
    ExtComm::StrepFormat plain, classified;
    plain.strepFormatDefaultIs(true);
    classified.strepFormatClassificationIs(true);
    return {comm->toStrep(),
            comm->toStrepForUI(false, true, false),
            comm->toStrepForUI(false, false, false),
            comm->toStrepForUI(true, false, false),
            comm->toStrepForPolicy(classified),
            comm->toStrepForPolicy(plain)};
  }

  // Which of the texts have to give the value again: 1 for the debugging form, 2 for the weighted UI text and so on.
  static unsigned reversible(const ExtCommContent& content) {
    const std::uint64_t value = content.value();
    const unsigned pair = static_cast<unsigned>(value >> 48);
    const bool shown = (value & 0xffffffff0000) == 0;
    const bool four = pair == 0x0202 || pair == 0x0203 || pair == 0x0209;
    switch (pair) {
      case 0x4004: {
        const float bandwidth = std::bit_cast<float>(content.localAdmin4Octets());
        return bandwidth >= 0 && std::isfinite(bandwidth) && !std::signbit(bandwidth) ? 0b000011 : 0b000001;
      }
      case 0x030b:
        return (value & 0x3fff00000000) == 0 ? 0b011111 : 1;
      case 0x030c:
        return (value & 0xffffffff0000) == 0 ? 0b011111 : 1;
      case 0x030d:
        return (value & 0xffffffffffff) == 0 ? 0b011111 : 1;
      case 0x4300:
        return shown && (value & 0xffff) < 3 ? 0b001111 : 1;
      default:
        break;
    }
    const bool labelled = pair == 0x0002 || pair == 0x0003 || pair == 0x0009 || pair == 0x0102 || pair == 0x0103 ||
                          pair == 0x010b || (four && (value >> 16 & 0xffffffff) > 0xffff);
    return labelled ? 0b011111 : 0b001111;
  }
};

TEST(ValueText, WhatIsPrintedOfEveryTypeAndSubtypeIsReadBack) {
  const auto decoder = bgpParseExtCommContainerSmFactory(true);
  const auto textsOf = [&](const ExtCommContent& content) { return Sweep::texts(*decoder->extCommParser(), content); };
  std::mt19937_64 random(20261121);
  for (std::uint64_t pair = 0; pair <= 0xffff; ++pair) {
    for (const std::uint64_t low : {std::uint64_t{0}, std::uint64_t{1}, random(), random() >> (random() % 64)}) {
      const ExtCommContent content(pair << 48 | (low & 0xffffffffffff));
      EXPECT_EQ(read(valueToStrep(content)), valueToStrep(content));
      EXPECT_EQ(read(textOf(content)), valueToStrep(content));
      const auto texts = textsOf(content);
      for (unsigned form = 0; form < texts.size(); ++form) {
        const bool again = givesAgain(texts[form], content, textsOf);
        const bool expected = (Sweep::reversible(content) >> form & 1) != 0;
        EXPECT_TRUE(again || !expected) << texts[form] << " of " << content << ": " << read(texts[form]);
      }
    }
  }
  EXPECT_EQ(read("Origin-Validation-State:unknown").substr(0, 2), "un");
}

// Bandwidths have the most texts of all, and each is rounded in its own way.
TEST(ValueText, BandwidthsAreReadAsTheyArePrinted) {
  const auto decoder = bgpParseExtCommContainerSmFactory(true);
  const auto textsOf = [&](const ExtCommContent& content) { return Sweep::texts(*decoder->extCommParser(), content); };
  std::mt19937 random(8);
  for (int round = 0; round < 100'000; ++round) {
    const ExtCommContent content(0x4004fde800000000 | (random() & (round % 2 == 0 ? 0x7fffffff : 0xffffffff)));
    const auto texts = textsOf(content);
    for (unsigned form = 0; form < texts.size(); ++form) {
      const bool again = givesAgain(texts[form], content, textsOf);
      EXPECT_TRUE(again || (Sweep::reversible(content) >> form & 1) == 0) << texts[form] << " of " << content;
      const bool negative = texts[form].find(":-") != std::string::npos && form != 0;
      EXPECT_FALSE(negative && valueFromText(texts[form])) << texts[form];
    }
  }
}

TEST(ValueText, OtherKindsAreReadAsTheyArePrinted) {
  const auto decoder = bgpParseExtCommContainerSmFactory(true);
  ExtComm::StrepFormat ui;
  ui.strepFormatClassificationIs(true);
  ui.strepFormatUIIs(true);
  std::mt19937_64 random(32);
  for (unsigned pair = 0; pair <= 0xffff; ++pair) {
    const auto number = [&] { return static_cast<std::uint32_t>(random() >> (random() % 64)); };
    const std::uint32_t standard = pair < 16 ? 0xffff0000 | pair : number();
    EXPECT_EQ(read(CommList::getStringValue(standard)), hexOf(standard));
    EXPECT_EQ(read(hexOf(standard)), hexOf(standard));
    const CommunityValue large(number(), number(), number());
    for (const bool asdot : {false, true}) EXPECT_EQ(read(LargeCommList::displayString(large, asdot)), hexOf(large));
    EXPECT_EQ(read(hexOf(large)), hexOf(large));

    Addr::Ip6Addr::Octets octets{};
    const unsigned filled = static_cast<unsigned>(random() % 17);
    for (unsigned i = 0; i < filled; ++i) octets[random() % 16] = static_cast<std::uint8_t>(random());
    const ExtCommIp6Content ip6(static_cast<std::uint8_t>(pair >> 8), static_cast<std::uint8_t>(pair),
                                Addr::Ip6Addr(octets), static_cast<std::uint16_t>(random()));
    EXPECT_EQ(read(hexOf(ip6)), hexOf(ip6));
    EXPECT_EQ(read(textOf(ip6)), hexOf(ip6));
    const auto comm = decoder->extCommParser()->parseExtendedCommunityIp6(ip6);
    const bool known = (ip6.type() & ~0x40) == 0;
    EXPECT_EQ(read(comm->toStrep()) == hexOf(ip6), known) << comm->toStrep();
    EXPECT_FALSE(valueFromText(comm->toStrepForPolicy(ExtCommIp6::StrepFormat())));
  }
}

TEST(ValueText, MeaningsAreOfNamesThatAreNotPrinted) {
  EXPECT_EQ(commMeaning(0xffff029a), "blackhole");
  EXPECT_EQ(commMeaning(0xffffff04), "nopeer");
  for (std::uint32_t value = 0xffff0000; value != 0; ++value) {
    const std::string name(commMeaning(value));
    EXPECT_TRUE(name.empty() || (read(name) == hexOf(value) && CommList::wellKnownName(value).empty())) << name;
  }
  for (const std::uint32_t value : {0u, 1u, 0xfffeffffu}) EXPECT_EQ(commMeaning(value), "");
}

TEST(MakeValue, GivesWhatTheTextSays) {
  static_assert(routeTarget(65000, 100) == ExtCommContent(0x0002fde800000064));
  const Addr::Ip4Addr ip4(std::string_view("192.0.2.1"));
  const Addr::Ip6Addr ip6(std::string_view("2001:db8::1"));
  const std::pair<AnyCommValue, const char*> made[] = {
      {routeTarget(65535, 4294967295), "rt 65535:4294967295"},
      {routeTarget(65536, 65535), "rt 65536:65535"},
      {routeTarget(ip4, 65535), "rt 192.0.2.1:65535"},
      {routeTarget(ip6, 7), "rt [2001:db8::1]:7"},
      {routeOrigin(65000, 1), "soo 65000:1"},
      {routeOrigin(ip4, 1), "soo 192.0.2.1:1"},
      {routeOrigin(ip6, 1), "soo 2001:db8::1:1"},
      {sourceAs(65000), "sas 65000:0"},
      {sourceAs(65536), "sas 1.0:0"},
      {vrfRouteImport(ip4, 1), "vri 192.0.2.1:1"},
      {vrfRouteImport(ip6, 1), "vri [2001:db8::1]:1"},
      {linkBandwidth(65000, 1.25e8F), "lbw 65000:1 Gbps"},
      {linkBandwidth(65000, -0.0F), "lbw 65000:0"},
      {color(100, 2), "color 10:100"},
      {tunnelEncap(tunnelTypeVxlan), "encap vxlan"},
      {originValidationState(OriginValidation::invalid), "ovs invalid"},
      {defaultGateway(), "default-gateway"},
      {standardComm(65535, 666), "blackhole"},
      {largeComm(4294967295, 1, 2), "65535.65535:1:2"}};
  for (const auto& [value, text] : made) EXPECT_EQ(read(text), hexOf(value)) << text;

  const std::uint64_t most16 = 0xffff, most32 = 0xffffffff;
  const auto infinity = std::numeric_limits<float>::infinity();
  EXPECT_THROW(routeTarget(most16, most32 + 1), Tyr::RangeException);
  EXPECT_THROW(routeTarget(most16 + 1, most16 + 1), Tyr::RangeException);
  EXPECT_THROW(routeOrigin(most32 + 1, 0), Tyr::RangeException);
  EXPECT_THROW(routeTarget(static_cast<std::uint64_t>(-1), 1), Tyr::RangeException);
  for (const std::uint64_t number : {most16 + 1, most32 + 1}) {
    EXPECT_THROW(routeTarget(ip4, number), Tyr::RangeException);
    EXPECT_THROW(vrfRouteImport(ip6, number), Tyr::RangeException);
    EXPECT_THROW(linkBandwidth(number, 1), Tyr::RangeException);
    EXPECT_THROW(tunnelEncap(number), Tyr::RangeException);
    EXPECT_THROW(standardComm(number, 0), Tyr::RangeException);
    EXPECT_THROW(standardComm(0, number), Tyr::RangeException);
  }
  for (const float bandwidth : {-1.0F, infinity, std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_THROW(linkBandwidth(1, bandwidth), Tyr::RangeException);
  }
  EXPECT_THROW(color(most32 + 1), Tyr::RangeException);
  EXPECT_THROW(color(1, 4), Tyr::RangeException);
  EXPECT_THROW(largeComm(1, 2, most32 + 1), Tyr::RangeException);
}

// Each class has a case of its own: what they give is compared with the object's own name.
#define CASE(Class) [](const Class&) { return std::string("Routing::Bgp::" #Class); }
#define CASES_BUT_OF_ORIGINS                                                                     \
  CASE(ExtCommRouteTargetAs), CASE(ExtCommRouteTargetIpv4Address), CASE(ExtCommSourceAs),        \
      CASE(ExtCommVrfRouteImportIpv4Address), CASE(ExtCommLinkBandwidth), CASE(ExtCommColor),    \
      CASE(ExtCommTunnelEncap), CASE(ExtCommDefaultGateway), CASE(ExtCommOriginValidationState), \
      CASE(ExtCommAsNumber), CASE(ExtCommIpv4Address), CASE(ExtCommSubtyped), CASE(ExtComm)
std::string classOf(const ExtComm& comm) {
  return visit(comm, CASES_BUT_OF_ORIGINS, CASE(ExtCommRouteOriginAs), CASE(ExtCommRouteOriginIpv4Address));
}
// One class without a case, whose bases have theirs.
template <typename... Cases>
constexpr bool visits(const Cases&...) {
  return visiting::CasesOfAllClasses<Cases...>;
}
static_assert(visits(CASES_BUT_OF_ORIGINS, CASE(ExtCommRouteOriginAs), CASE(ExtCommRouteOriginIpv4Address)));
static_assert(!visits(CASES_BUT_OF_ORIGINS, CASE(ExtCommRouteOriginAs)));
#undef CASES_BUT_OF_ORIGINS
#undef CASE

TEST(TypedComm, EveryCommunityComesAsItsClass) {
  const Agent agent;
  std::set<std::string> classes;
  for (const std::uint64_t type : {0x00, 0x01, 0x02, 0x03, 0x07, 0x40, 0x43}) {
    for (std::uint64_t subtype = 0; subtype < 0x12; ++subtype) {
      const auto comm = agent.internOne(type << 56 | subtype << 48);
      EXPECT_EQ(classOf(*comm), comm->fwkType().name);
      EXPECT_EQ(as<ExtCommLinkBandwidth>(comm) != nullptr, comm->isLinkBandwidth());
      EXPECT_EQ(as<ExtCommAsNumber>(*comm) != nullptr, type == 0 || type == 2 || type == 0x40);
      classes.insert(classOf(*comm));
    }
  }
  EXPECT_EQ(classes.size(), std::tuple_size_v<ExtCommClasses>);
  EXPECT_EQ(as<ExtCommLinkBandwidth>(agent.internOne(0x4004fde84cee6b28))->bandwidth(), 1.25e8F);
  EXPECT_EQ(as<ExtCommColor>(ExtComm::PtrConst()), nullptr);
  // An object that somebody made by hand has the classification, but is none of the kind.
  EXPECT_EQ(as<ExtCommColor>(extCommFactory(extCommClassificationColor, ExtCommContent(0))), nullptr);
  EXPECT_NE(as<ExtCommIp6Subtyped>(agent.internOne(ip6(0, 2, "::1", 1))), nullptr);
}

// What sets, maps and logs ask of a value.
template <typename Value>
void expectValueType(const std::vector<Value>& ascending) {
  EXPECT_TRUE(std::ranges::is_sorted(ascending, std::less_equal<Value>()));
  EXPECT_TRUE((ascending[0] <=> ascending[1]) < 0);
  EXPECT_EQ(std::unordered_set<Value>(ascending.begin(), ascending.end()).size(), ascending.size());
}
TEST(TypedComm, ValuesHaveOrderAndHash) {
  expectValueType<ExtCommContent>({routeTarget(1, 2), routeTarget(1, 3), color(1)});
  expectValueType<RouteTarget>({{1}, {2}});
  expectValueType<ExtCommIp6Content>({ip6(0, 2, "::1", 1), ip6(0, 2, "::2", 1)});
  expectValueType<CommunityValue>({largeComm(1, 2, 3), largeComm(1, 3, 2)});
  const std::string text = "0x0002fde800000064";
  EXPECT_EQ(ExtCommContent::strepToValue(text), routeTarget(65000, 100));
  EXPECT_EQ(RouteTarget::strepToValue(text).value, routeTarget(65000, 100).value());
  EXPECT_THROW(ExtCommContent::strepToValue(text + "0"), Tyr::ParseException);
}

}  // namespace
}  // namespace Routing::Bgp::test
