#include "VelBgp/ReceivedAttributes.h"

#include <algorithm>

#include "VelBgp/CommunityTables.h"
#include "VelBgp/PathLists.h"

namespace Routing::Bgp {
namespace {

constexpr std::uint8_t octetsEach[] = {CommListTraits::octetsEach, sizeof(ExtCommContent), sizeof(ExtCommIp6Content),
                                       LargeCommListTraits::octetsEach};

constexpr std::uint8_t judgedFlags =
    BgpUpdateMsgAttributeFlags::optionalBit | BgpUpdateMsgAttributeFlags::transitiveBit;

// Null where there are no values.
template <typename List, typename... Tables>
typename List::PtrConst dedupOne(AttributeOctets values, Tables... tables) {
  typename List::PtrConst list;
  if (!values.empty()) List::dedupAttributes(tables..., {&values, 1}, {&list, 1});
  return list;
}

}  // namespace

const char* attributeVerdictText(AttributeVerdict verdict) noexcept {
  const Tyr::EnumRow* const row = tyrEnumTable(verdict).row(verdict);
  return row == nullptr ? "unknown" : row->text;
}

ReceivedAttributes::ReceivedAttributes(AttributeOctets block, Flags flags) noexcept : flags_(flags) {
  PathAttributeWalk walk(block);
  while (walk.next()) attributeIs(walk.attribute());
  endIs(walk);
}

inline ReceivedAttributes::Place ReceivedAttributes::placeOf(std::uint16_t code) noexcept {
  switch (BgpPathAttrType(code)) {
    case BgpPathAttrType::community:
      return standardPlace;
    case BgpPathAttrType::extCommunity:
      return extendedPlace;
    case BgpPathAttrType::extCommunityIp6:
      return extendedIp6Place;
    case BgpPathAttrType::largeCommunity:
      return largePlace;
    default:
      return places;
  }
}

AttributeOctets ReceivedAttributes::value(BgpPathAttrType type) const noexcept {
  const Place place = placeOf(static_cast<std::uint16_t>(type));
  return place == places ? AttributeOctets() : values_[place];
}

inline AttributeVerdict ReceivedAttributes::verdictOf(const PathAttribute& attribute, Place place) const noexcept {
  if (flags_ == Flags::judged && (attribute.flags.value() & judgedFlags) != judgedFlags) {
    return attributeVerdictWrongFlags;
  }
  if (isWhole(attribute.value, octetsEach[place])) return attributeVerdictWellFormed;
  return attribute.value.empty() ? attributeVerdictEmpty : attributeVerdictNoMultiple;
}

bool ReceivedAttributes::attributeIs(const PathAttribute& attribute) noexcept {
  const Place place = placeOf(attribute.code);
  if (place == places) return false;
  const auto bit = static_cast<std::uint8_t>(1u << place);
  if ((seen_ & bit) != 0) {
    repeatIs(attribute);
    return true;
  }
  seen_ |= bit;
  const AttributeVerdict verdict = verdictOf(attribute, place);
  if (verdict == attributeVerdictWellFormed) {
    values_[place] = attribute.value;
  } else {
    faults_.push_back({verdict, attribute, 1});
  }
  return true;
}

void ReceivedAttributes::repeatIs(const PathAttribute& attribute) noexcept {
  const auto told = std::find_if(faults_.begin(), faults_.end(), [&](const Fault& fault) {
    return fault.verdict == attributeVerdictRepeated && fault.attribute.code == attribute.code;
  });
  if (told != faults_.end()) {
    ++told->times;
  } else {
    faults_.push_back({attributeVerdictRepeated, attribute, 1});
  }
}

void ReceivedAttributes::endIs(const PathAttributeWalk& walk) noexcept {
  constexpr std::uint8_t bit = 1u << places;
  if (walk.verdict() == attributeVerdictWellFormed || (seen_ & bit) != 0) return;
  seen_ |= bit;
  faults_.push_back({walk.verdict(), walk.attribute(), 1});
}

bool ReceivedAttributes::treatAsWithdraw() const noexcept {
  return std::any_of(faults_.begin(), faults_.end(),
                     [](const Fault& fault) { return Bgp::treatAsWithdraw(fault.verdict); });
}

PathLists dedupAttributes(const CommunityTables& tables, const ReceivedAttributes& attributes) {
  return {
      .extended = dedupOne<ExtCommList>(attributes.extended(), tables.extComms(), tables.extCommLists()),
      .extendedIp6 = dedupOne<ExtCommIp6List>(attributes.extendedIp6(), tables.extCommIp6s(), tables.extCommIp6Lists()),
      .large = dedupOne<LargeCommList>(attributes.large(), tables.largeCommLists()),
      .standard = dedupOne<CommList>(attributes.standard(), tables.commLists())};
}

}  // namespace Routing::Bgp
