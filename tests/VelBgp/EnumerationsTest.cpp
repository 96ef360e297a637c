#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "Tyr/Exception.h"
#include "VelBgp/BgpPathAttributeEnums.h"
#include "VelBgp/CommList.h"
#include "VelBgp/ExtCommIp6.h"
#include "VelBgp/ReceivedAttributes.h"
#include "VelBgp/VelBgpCommunityList.h"
#include "VelBgp/VelBgpCommunityPacketTypes.h"

namespace Routing::Bgp {
namespace {

// A line for each member: its number, "other" if it is no code point, its name, its text for displays if it has one.
void write(std::ostream& stream, const Tyr::EnumTable& table) {
  stream << table.type << '\n';
  for (const Tyr::EnumRow& row : table.rows) {
    stream << "  " << row.number << (row.wire ? " " : " other ") << row.name;
    if (row.text != nullptr) stream << " \"" << row.text << '"';
    stream << '\n';
  }
}

// The text of the full set names its members in their order; one more bit is refused.
template <typename Set, std::uint8_t full>
void writeFlags(std::ostream& stream) {
  stream << valueToStrep(Set(full)) << '\n';
  EXPECT_THROW(Set(full + 1), Tyr::RangeException);
}

// What enumerations and flag sets do with their members is tested in tests/Tyr. Deliberate: two names are misspelt.
TEST(Enumerations, Members) {
  std::ostringstream members;
#define TYR_ENUM_BEGIN(E, Underlying) write(members, tyrEnumTable(E{}));
#define TYR_ENUM_CLASS_BEGIN(E, Underlying) TYR_ENUM_BEGIN(E, Underlying)
#define TYR_ENUM_WIRE(...)
#define TYR_ENUM_WIRE_TEXT(...)
#define TYR_ENUM_OTHER(...)
#define TYR_ENUM_OTHER_TEXT(...)
#define TYR_ENUM_END(...)
#include "VelBgp/AttributeVerdict.def"
#include "VelBgp/BgpCommunityValue.def"
#include "VelBgp/BgpPathAttributeEnums.def"
#include "VelBgp/ExtCommClassification.def"
#include "VelBgp/VelBgpCommunityPacketTypes.def"
  writeFlags<ExtComm::StrepFormat, 63>(members);
  writeFlags<ExtCommIp6::StrepFormat, 31>(members);
  writeFlags<ExtCommList::CommVectorAttrs, 63>(members);
  writeFlags<ExtCommClassificationList::CommVectorAttrs, 3>(members);
  writeFlags<ExtCommList::Serialization, 15>(members);
  std::ifstream file(VELBGP_MEMBERS_FILE);
  EXPECT_EQ(members.str(), std::string(std::istreambuf_iterator(file), {}));
}

static_assert(Tyr::Range<ExtCommClassification>::size() == 14);
// The argument is cut to 16 bits, as the enumerations are.
static_assert(bgpIsValidEnumMember(BgpExtCommPktType(0x7ffe0002u)));
static_assert(!bgpIsValidEnumMember(BgpExtCommPktType(0x00020007u)));

TEST(Enumerations, TypeCodesForDisplays) {
  EXPECT_STREQ(bgpPathAttrTypeShowString(BgpPathAttrType::multiExitDisc), "MED");
  for (const unsigned none : {11u, 127u, 0x0110u}) {
    EXPECT_STREQ(bgpPathAttrTypeShowString(BgpPathAttrType(none)), "Invalid attribute");
  }
}

}  // namespace
}  // namespace Routing::Bgp
