#include "VelBgp/CommList.h"

#include <boost/endian/conversion.hpp>

#include "Tyr/PaulHsiehHash.h"
#include "VelBgp/ExtCommTextImpl.h"
#include "VelBgp/ValueCommListImpl.h"

namespace Routing::Bgp {

template <>
inline constexpr Stashed stashedListType<CommListTraits> = Stashed::commList;

namespace {

// The row of a well-known value, or null. Nearly all values are no such, and these two ranges hold them all.
const Tyr::EnumRow* wellKnownRow(std::uint32_t value) noexcept {
  if (value != communityInternet && value < communityGshut) return nullptr;
  return tyrEnumTable(BgpCommunityValue{}).row(value);
}

}  // namespace

template <bool wellKnownNames>
void CommunityFormatter<wellKnownNames>::formatNotWellKnown(Tyr::DynamicBufferInterface& buffer, std::uint32_t value) {
  buffer.appendDecimal(value >> 16);
  buffer.append(':');
  buffer.appendDecimal(value & 0xffff);
}

template <bool wellKnownNames>
void CommunityFormatter<wellKnownNames>::format(Tyr::DynamicBufferInterface& buffer, std::uint32_t value) {
  const Tyr::EnumRow* const row = wellKnownNames ? wellKnownRow(value) : nullptr;
  row == nullptr ? formatNotWellKnown(buffer, value) : buffer.append(row->text);
}

template struct CommunityFormatter<false>;
template struct CommunityFormatter<true>;

std::string CommList::wellKnownName(std::uint32_t value) {
  const Tyr::EnumRow* const row = wellKnownRow(value);
  return row == nullptr ? std::string() : row->text;
}

std::optional<std::uint32_t> CommList::wellKnownValue(std::string_view name) {
  const auto rows = tyrEnumTable(BgpCommunityValue{}).rows;
  const auto row = std::find_if(rows.begin(), rows.end(), [name](const Tyr::EnumRow& r) { return r.text == name; });
  return row == rows.end() ? std::nullopt : std::optional(row->number);
}

std::string CommList::getStringValue(std::uint32_t value) {
  Tyr::DynamicBuffer<32> buffer;
  CommunityFormatter<true>::format(buffer, value);
  return buffer.str();
}

std::uint32_t CommListTraits::hash(std::span<const Value> values) {
  return Tyr::paulHsiehHash(values.data(), values.size_bytes(), 0);
}

std::uint32_t CommListTraits::tableHash(std::span<const Value> values) {
  Keel::HashMix mix;
  for (; values.size() >= 2; values = values.subspan(2)) mix.mixBytes8(std::uint64_t{values[0]} << 32 | values[1]);
  if (!values.empty()) mix.mixBytes8(values[0]);
  return mix.value();
}

void CommListTraits::write(Value value, Serialize& buffer) { buffer.addU32hton(value); }

inline CommListTraits::Value CommListTraits::read(const std::uint8_t* octets) noexcept {
  return boost::endian::load_big_u32(octets);
}

template class ValueCommListContent<CommListTraits>;
template class ValueCommList<CommListTraits>;

COMM_LIST_TEXTS(CommList, textOf)

void CommListDedupTableBase::initDedupTable(const char* name) { dedupTable_ = Tyr::make<Keel::DedupHashTable>(name); }

// Deliberate: no line end behind the label, which the hash table's own dump follows.
void CommListDedupTableBase::dumpState(Keel::DumpContext& context, std::uint32_t indent) const {
  if (indent != 0) context.printf("%*c", static_cast<int>(indent), ' ');
  context.printf("DedupTable");
  dedupTable_->dump(context, indent + 2);
}

TYR_FACTORIES(CommListDedupTable::Ptr, commListDedupTable, CommListDedupTable, (), ())

std::optional<MatchReason> matchReason(const CommList* list, const RouteMap::PosixRegex* regex) {
  TYR_ASSERT(list != nullptr);
  return matchReasonOfValues<CommListTraits>(list->comms(), regex);
}

}  // namespace Routing::Bgp
