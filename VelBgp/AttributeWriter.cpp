#include "VelBgp/AttributeWriter.h"

#include <algorithm>
#include <boost/endian/conversion.hpp>

#include "VelBgp/CommList.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/LargeCommList.h"
#include "VelBgp/VelBgpCommunityListImpl.h"

namespace Routing::Bgp {
namespace {

using Filter = AttributeWriter::Filter;

// Each puts one value in network order, and tells where the next one goes.
std::uint8_t* put(std::uint8_t* at, std::uint32_t value) noexcept {
  boost::endian::store_big_u32(at, value);
  return at + sizeof value;
}
std::uint8_t* put(std::uint8_t* at, const CommunityValue& value) noexcept {
  return put(put(put(at, value.globalAdmin()), value.localData1()), value.localData2());
}
std::uint8_t* put(std::uint8_t* at, const ExtComm* comm) noexcept {
  boost::endian::store_big_u64(at, comm->community());
  return at + sizeof(std::uint64_t);
}
std::uint8_t* put(std::uint8_t* at, const ExtCommIp6::PtrConst& comm) noexcept {
  const ExtCommIp6Content& content = comm->getContent();
  *at++ = content.type();
  *at++ = content.subtype();
  at = std::copy(content.addr().octets().begin(), content.addr().octets().end(), at);
  boost::endian::store_big_u16(at, content.localAdmin());
  return at + sizeof(std::uint16_t);
}

std::span<std::uint8_t> octetsOf(std::string& text) noexcept {
  return {reinterpret_cast<std::uint8_t*>(text.data()), text.size()};
}

// What a list is sent as. `transitive` is how many of its communities are known to be transitive, maybe too few.
struct Extended {
  using List = ExtCommList;
  static constexpr BgpPathAttrType attribute = BgpPathAttrType::extCommunity;
  static constexpr std::uint8_t octetsEach = sizeof(std::uint64_t);
  static std::uint32_t transitive(const List& list) noexcept { return list.transitiveCount(); }
  static bool passes(const ExtComm* comm, Filter filter) { return passesFilter(*comm, filter); }
};
struct ExtendedIp6 {
  using List = ExtCommIp6List;
  static constexpr BgpPathAttrType attribute = BgpPathAttrType::extCommunityIp6;
  static constexpr std::uint8_t octetsEach = sizeof(ExtCommIp6Content);
  static std::uint32_t transitive(const List& list) noexcept { return list.totalTransitiveCommunities(); }
  static bool passes(const ExtCommIp6::PtrConst& comm, Filter filter) {
    return filter.all() || (filter.transitive() && comm->getContent().transitive());
  }
};
template <typename ListType, typename Traits>
struct Plain {
  using List = ListType;
  static constexpr BgpPathAttrType attribute = Traits::attribute;
  static constexpr std::uint8_t octetsEach = Traits::octetsEach;
  static std::uint32_t transitive(const List& list) noexcept { return list.totalCommunities(); }
  static bool passes(const typename Traits::Value&, Filter filter) { return filter.all() || filter.transitive(); }
};

// The objects of extended communities lie anywhere; unrolled, the loads of several are under way at a time.
template <typename Visit>
void forEach(const ExtCommRange& comms, Visit&& visit) {
  const Keel::SlabRef* const refs = comms.refs();
  if (refs == nullptr) {
    for (const ExtComm* comm : comms) visit(comm);
    return;
  }
  const std::uint32_t count = comms.size();
#pragma GCC unroll 4
  for (std::uint32_t i = 0; i < count; ++i) visit(Keel::handleAt<ExtComm>(refs[i]));
}
template <typename Comms, typename Visit>
void forEach(const Comms& comms, Visit&& visit) {
  for (const auto& comm : comms) visit(comm);
}

template <typename Kind>
std::uint8_t* putValues(const void* list, Filter filter, std::uint8_t* at) {
  const auto& comms = static_cast<const typename Kind::List*>(list)->comms();
  if (filter.all()) {
    forEach(comms, [&at](const auto& comm) { at = put(at, comm); });
  } else {
    forEach(comms, [&at, filter](const auto& comm) {
      if (Kind::passes(comm, filter)) at = put(at, comm);
    });
  }
  return at;
}

}  // namespace

template <typename Kind>
inline AttributeWriter::AttributeWriter(const typename Kind::List* list, Filter filter, Kind)
    : list_(list),
      writeValues_(putValues<Kind>),
      filter_(filter),
      code_(static_cast<std::uint8_t>(Kind::attribute)),
      octetsEach_(Kind::octetsEach) {
  if (list == nullptr) return;
  const std::uint32_t total = list->totalCommunities();
  if (filter.transitive() && Kind::transitive(*list) == total) filter_ = all();
  if (filter_.all()) {
    communities_ = total;
  } else {
    forEach(list->comms(), [&](const auto& comm) { communities_ += Kind::passes(comm, filter) ? 1 : 0; });
  }
}

AttributeWriter::AttributeWriter(const ExtCommList* list, Filter filter) : AttributeWriter(list, filter, Extended()) {}
AttributeWriter::AttributeWriter(const ExtCommIp6List* list, Filter filter)
    : AttributeWriter(list, filter, ExtendedIp6()) {}
AttributeWriter::AttributeWriter(const LargeCommList* list, Filter filter)
    : AttributeWriter(list, filter, Plain<LargeCommList, LargeCommListTraits>()) {}
AttributeWriter::AttributeWriter(const CommList* list, Filter filter)
    : AttributeWriter(list, filter, Plain<CommList, CommListTraits>()) {}

// Of an attribute that fits and is not empty.
void AttributeWriter::writeTo(std::uint8_t* at) const {
  const std::size_t octets = valueOctets();
  BgpUpdateMsgAttributeFlags flags(static_cast<std::uint8_t>(BgpPathAttrFlag::optionalTransitive));
  flags.extendedLengthIs(octets > 0xff);
  *at++ = flags.value();
  *at++ = code_;
  if (flags.extendedLength()) *at++ = static_cast<std::uint8_t>(octets >> 8);
  *at++ = static_cast<std::uint8_t>(octets);
  writeValues_(list_, filter_, at);
}

bool AttributeWriter::write(std::span<std::uint8_t> room) const {
  if (!fits() || size() > room.size()) return false;
  if (communities_ != 0) writeTo(room.data());
  return true;
}

bool AttributeWriter::appendTo(std::string& octets) const {
  if (!fits()) return false;
  const std::size_t before = octets.size();
  octets.resize(before + size());
  return write(octetsOf(octets).subspan(before));
}

std::optional<std::string> AttributeWriter::str() const {
  if (!fits()) return std::nullopt;
  std::optional<std::string> octets(std::in_place, size(), '\0');
  if (communities_ != 0) writeTo(octetsOf(*octets).data());
  return octets;
}

}  // namespace Routing::Bgp
