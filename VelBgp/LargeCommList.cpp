#include "VelBgp/LargeCommList.h"

#include <boost/endian/conversion.hpp>

#include "VelBgp/ExtCommTextImpl.h"
#include "VelBgp/ValueCommListImpl.h"

namespace Routing::Bgp {

template <>
inline constexpr Stashed stashedListType<LargeCommListTraits> = Stashed::largeCommList;

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

inline LargeCommListTraits::Value LargeCommListTraits::read(const std::uint8_t* octets) noexcept {
  return {boost::endian::load_big_u32(octets), boost::endian::load_big_u32(octets + 4),
          boost::endian::load_big_u32(octets + 8)};
}

template class ValueCommListContent<LargeCommListTraits>;
template class ValueCommList<LargeCommListTraits>;

COMM_LIST_TEXTS(LargeCommList, textOf)

TYR_FACTORIES(LargeCommListDedupTable::Ptr, largeCommListDedupTable, LargeCommListDedupTable, (), ())

std::optional<MatchReason> matchReason(const LargeCommList* list, const RouteMap::PosixRegex* regex) {
  TYR_ASSERT(list != nullptr);
  return matchReasonOfValues<LargeCommListTraits>(list->comms(), regex);
}

}  // namespace Routing::Bgp
