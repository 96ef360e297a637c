#include "VelBgp/LargeCommList.h"

#include <ostream>

#include "Keel/HashMix.h"
#include "VelBgp/ExtCommTextImpl.h"
#include "VelBgp/ValueCommListImpl.h"
#include "VelBgp/VelBgpSerialize.h"

namespace Routing::Bgp {

template <>
inline constexpr Stashed stashedListType<LargeCommListTraits> = Stashed::largeCommList;

template class ValueCommListContent<LargeCommListTraits>;
template class ValueCommList<LargeCommListTraits>;

// ---- One value

namespace {

constexpr std::size_t longestValueText = 32;  // three numbers of ten digits and two colons

void formatPlain(Tyr::DynamicBufferInterface& buffer, const CommunityValue& value) {
  LargeCommunityFormatter::format(buffer, value, false);
}

}  // namespace

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

LargeCommListContent::~LargeCommListContent() = default;
LargeCommList::~LargeCommList() = default;

const Tyr::FwkType& LargeCommList::fwkType() const {
  static constexpr Tyr::FwkType type{"Routing::Bgp::LargeCommList"};
  return type;
}

LargeCommList::PtrConst LargeCommList::dedupContent(const LargeCommListDedupTable* table,
                                                    const LargeCommListContent& content) {
  return findOrMake(table, content, [&content] { return allocateLargeCommListForDedup(content); });
}

LargeCommList::Ptr LargeCommList::allocateLargeCommListForDedup(const LargeCommListContent& content) {
  return allocate(content.comms());
}

LargeCommList::PtrConst LargeCommList::destash(const void* stashed, Store::StoreManager* store) {
  return destashCommList(stashed, store);
}

std::string LargeCommList::toStrep() const { return joined(comms(), longestValueText, formatPlain); }

bool LargeCommList::matchCommunitiesRegex(const RouteMap::PosixRegex* regex) const {
  return matchJoined(comms(), longestValueText, formatPlain, *regex);
}

std::ostream& formatCommList(std::ostream& stream, const LargeCommList* list) {
  return writeText(stream, stringify(list));
}
std::ostream& operator<<(std::ostream& stream, const LargeCommList* list) { return formatCommList(stream, list); }
std::ostream& operator<<(std::ostream& stream, const LargeCommList& list) { return stream << &list; }
std::string stringify(const LargeCommList* list) { return list == nullptr ? "NULL" : list->toStrep(); }

// ---- The table

LargeCommListDedupTable::LargeCommListDedupTable() { initDedupTable("largeCommList"); }
LargeCommListDedupTable::~LargeCommListDedupTable() = default;

LargeCommListDedupTable::Ptr largeCommListDedupTableFactory() { return Tyr::make<LargeCommListDedupTable>(); }
LargeCommListDedupTable::Ptr LargeCommListDedupTableIs() { return largeCommListDedupTableFactory(); }

}  // namespace Routing::Bgp
