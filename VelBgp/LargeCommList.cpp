#include "VelBgp/LargeCommList.h"

#include <ostream>

#include "Keel/HashMix.h"
#include "VelBgp/ExtCommTextImpl.h"
#include "VelBgp/ValueCommListImpl.h"
#include "VelBgp/VelBgpSerialize.h"

namespace Routing::Bgp {

template <>
inline constexpr Stashed stashedListType<LargeCommListTraits> = Stashed::largeCommList;

// ---- One value

void LargeCommunityFormatter::format(Tyr::DynamicBufferInterface& buffer, const CommunityValue& value, bool asdot) {
  appendAsNumber(buffer, value.globalAdmin(), true, asdot);
  buffer.append(':');
  buffer.appendDecimal(value.localData1());
  buffer.append(':');
  buffer.appendDecimal(value.localData2());
}

std::string LargeCommunityFormatter::tacString(const CommunityValue& value, bool asdot) {
  Tyr::DynamicBuffer<64> buffer;
  format(buffer, value, asdot);
  return buffer.str();
}

std::string LargeCommList::getStringValue(const CommunityValue& value) { return displayString(value, false); }

std::string LargeCommList::displayString(const CommunityValue& value, bool asdot) {
  return LargeCommunityFormatter::tacString(value, asdot);
}

std::uint32_t LargeCommListTraits::hash(std::span<const Value> values) {
  Keel::HashMix mix;
  for (const Value& value : values) {
    mix.mixBytes4(value.globalAdmin());
    mix.mixBytes4(value.localData1());
    mix.mixBytes4(value.localData2());
  }
  return mix.value();
}

void LargeCommListTraits::write(const Value& value, Serialize& buffer) {
  buffer.addU32hton(value.globalAdmin());
  buffer.addU32hton(value.localData1());
  buffer.addU32hton(value.localData2());
}

// ---- The list

template class ValueCommListContent<LargeCommListTraits>;
template class ValueCommList<LargeCommListTraits>;

LargeCommList::~LargeCommList() = default;

std::ostream& formatCommList(std::ostream& stream, const LargeCommList* list) {
  return writeText(stream, stringify(list));
}
std::ostream& operator<<(std::ostream& stream, const LargeCommList* list) { return formatCommList(stream, list); }
std::ostream& operator<<(std::ostream& stream, const LargeCommList& list) { return stream << &list; }
std::string stringify(const LargeCommList* list) { return textOf(list); }

// ---- The table

LargeCommListDedupTable::LargeCommListDedupTable() { initDedupTable("largeCommList"); }
LargeCommListDedupTable::~LargeCommListDedupTable() = default;

LargeCommListDedupTable::Ptr largeCommListDedupTableFactory() { return Tyr::make<LargeCommListDedupTable>(); }
LargeCommListDedupTable::Ptr LargeCommListDedupTableIs() { return largeCommListDedupTableFactory(); }

}  // namespace Routing::Bgp
