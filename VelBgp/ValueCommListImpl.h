// The bodies of ValueCommList.h, for the sources that instantiate them.
#pragma once

#include <cstdlib>
#include <memory>
#include <new>

#include "Tyr/Exception.h"
#include "Tyr/Trace.h"
#include "VelBgp/CommVectorImpl.h"
#include "VelBgp/DedupBatchImpl.h"
#include "VelBgp/MatchTextsImpl.h"
#include "VelBgp/StashImpl.h"
#include "VelBgp/ValueCommList.h"

namespace Routing::Bgp {

template <typename Traits>
void ValueCommListContent<Traits>::append(const typename Traits::List* list) {
  if (list == nullptr) throw Tyr::NullArgumentException("list");
  const auto values = list->comms();
  this->comms_.insert(this->comms_.end(), values.begin(), values.end());
  this->commVectorSorted_ = false;
}

template <typename Traits>
void ValueCommListContent<Traits>::attributeIs(AttributeOctets octets) {
  this->readAll(octets, Traits::octetsEach, Traits::read);
}

template <typename Traits>
void ValueCommListContent<Traits>::sortAndUnique() const {
  sortAndUniqueOnce(this->commVectorSorted_, this->comms_);
}

template <typename Traits>
std::uint32_t ValueCommListContent<Traits>::hash() const {
  const auto* t = this;  // as the assertion's text calls it
  TYR_ASSERT(t->commVectorSorted());
  return Traits::hash(this->comms_);
}

template <typename Traits>
void* ValueCommList<Traits>::operator new(std::size_t octets, Values values) {
  const std::size_t behind = fitsInside(values.size()) ? values.size_bytes() : sizeof(void*);
  return DedupHandleBase::operator new(std::max(octets, valuesOffset + behind));
}

template <typename Traits>
ValueCommList<Traits>::ValueCommList(Values values) : count_(static_cast<std::uint32_t>(values.size())), room_(0) {
  static_assert(std::is_trivially_copyable_v<Value> && alignof(Value) <= alignof(std::uint32_t));
  if (values.empty()) return;
  void* place = room();
  if (!fitsInside(values.size())) {
    place = std::malloc(values.size_bytes());
    if (place == nullptr) throw std::bad_alloc();
    std::memcpy(room(), &place, sizeof place);
  }
  std::memcpy(place, values.data(), values.size_bytes());
}

template <typename Traits>
ValueCommList<Traits>::~ValueCommList() {
  RouteMap::MatchMemory::forget(matchNumberOf(*this));
  if (!fitsInside(count_)) std::free(const_cast<Value*>(values()));
}

template <typename Traits>
const typename ValueCommList<Traits>::Value* ValueCommList<Traits>::values() const noexcept {
  const char* const inside = reinterpret_cast<const char*>(this) + valuesOffset;
  if (fitsInside(count_)) return reinterpret_cast<const Value*>(inside);
  const void* outside;
  std::memcpy(&outside, inside, sizeof outside);
  return static_cast<const Value*>(outside);
}

template <typename Traits>
bool ValueCommList<Traits>::compareByContent(const Keel::DedupContentHandle& handle) const {
  const auto* content = static_cast<const Content*>(&handle);
  TYR_ASSERT(content->commVectorSorted());
  return std::ranges::equal(comms(), content->comms());
}

template <typename Traits>
typename ValueCommList<Traits>::Ptr ValueCommList<Traits>::allocate(Values values) {
  Ptr list(new (values) List(values));
  list->notificationActiveIs(true);
  return list;
}

template <typename Traits>
inline typename ValueCommList<Traits>::PtrConst ValueCommList<Traits>::dedupHashed(const Table* table, Values values,
                                                                                   std::uint32_t hash) {
  const auto equal = [values](const List& list) {
    const Values theirs = list.comms();
    return theirs.size() == values.size() && std::equal(theirs.begin(), theirs.end(), values.begin());
  };
  return Keel::tableAt(table).dedupTable().template findOrDedup<List>(hash, equal,
                                                                      [values] { return allocate(values); });
}

template <typename Traits>
typename ValueCommList<Traits>::PtrConst ValueCommList<Traits>::dedupContent(const Table* table,
                                                                             const Content& content) {
  content.sortAndUnique();
  return dedupHashed(table, content.comms(), Traits::tableHash(content.comms()));
}

template <typename Traits>
struct ValueCommList<Traits>::Batch {
  using Content = const typename Traits::Content;
  using PtrConst = ValueCommList::PtrConst;
  static constexpr std::size_t octetsEach = Traits::octetsEach;

  static void addContent(auto& buffers) { buffers.emplace_back(); }
  const Keel::DedupHashTable& table() const noexcept { return Keel::tableAt(listTable).dedupTable(); }
  std::uint32_t hash(Content& content) const {
    content.sortAndUnique();
    return Traits::tableHash(content.comms());
  }
  void expectMiss(const Content&) const noexcept {}
  PtrConst intern(Content& content, std::uint32_t hash) const { return dedupHashed(listTable, content.comms(), hash); }

  const Table* listTable;
};

template <typename Traits>
void ValueCommList<Traits>::dedupContents(const Table* table, std::span<const Content> contents,
                                          std::span<PtrConst> lists) {
  dedupAllContents(Batch{table}, contents, lists);
}

template <typename Traits>
void ValueCommList<Traits>::dedupAttributes(const Table* table, std::span<const AttributeOctets> attributes,
                                            std::span<PtrConst> lists) {
  dedupAllAttributes(Batch{table}, attributes, lists);
}

namespace detail {

// The values' texts, a blank between them; format(buffer, value) writes one.
template <typename Traits, typename Format>
void appendJoined(Tyr::DynamicBufferInterface& buffer, std::span<const typename Traits::Value> values,
                  Format&& format) {
  if (values.size() > 8) buffer.reserve(values.size() * (Traits::longestText + 1));
  bool first = true;
  for (const auto& value : values) {
    if (!first) buffer.append(' ');
    format(buffer, value);
    first = false;
  }
}

template <typename Traits>
inline constexpr unsigned matchModes = Traits::hasNames ? 2 : 1;

// With numbers alone in the first mode, with names in the second.
template <typename Traits>
void appendMatchText(Tyr::DynamicBufferInterface& buffer, std::span<const typename Traits::Value> values,
                     unsigned mode) {
  mode == 0 ? appendJoined<Traits>(buffer, values, Traits::formatNumbers)
            : appendJoined<Traits>(buffer, values, Traits::format);
}
template <typename Traits>
std::string matchText(std::span<const typename Traits::Value> values, unsigned mode) {
  Tyr::DynamicBuffer<256> buffer;
  appendMatchText<Traits>(buffer, values, mode);
  return buffer.str();
}

}  // namespace detail

template <typename Traits>
std::string ValueCommList<Traits>::toStrep() const {
  Tyr::DynamicBuffer<256> buffer;
  detail::appendJoined<Traits>(buffer, comms(), Traits::format);
  return buffer.str();
}

template <typename Traits>
bool ValueCommList<Traits>::matchCommunitiesRegex(const RouteMap::PosixRegex* regex) const {
  return matchList(*this, regex, detail::matchModes<Traits>,
                   [this](unsigned mode) { return detail::matchText<Traits>(comms(), mode); });
}

template <typename Traits>
std::vector<bool> ValueCommList<Traits>::matchCommunitiesRegexSet(const RouteMap::PosixRegexSet& set) const {
  return matchListWithSet(*this, set, detail::matchModes<Traits>,
                          [this](unsigned mode) { return detail::matchText<Traits>(comms(), mode); });
}

template <typename Traits>
bool ValueCommList<Traits>::matchCommunityRegex(const Value& value, const RouteMap::PosixRegex* regex) {
  const RouteMap::PosixRegex& expression = RouteMap::expressionAt(regex);
  for (unsigned mode = 0; mode < detail::matchModes<Traits>; ++mode) {
    Tyr::DynamicBuffer<64> buffer;
    detail::appendMatchText<Traits>(buffer, {&value, 1}, mode);
    if (expression.execute(buffer.view()) == 0) return true;
  }
  return false;
}

template <typename Traits>
std::optional<MatchReason> matchReasonOfValues(std::span<const typename Traits::Value> values,
                                               const RouteMap::PosixRegex* regex) {
  constexpr std::array<std::string_view, 2> modes = {"numeric", "names"};
  const auto textOfMode = [values](unsigned mode, std::vector<TextPlace>& places) {
    Tyr::DynamicBuffer<256> buffer;
    detail::appendJoined<Traits>(buffer, values, [&](Tyr::DynamicBufferInterface& text, const auto& value) {
      const std::size_t begin = text.size();
      detail::appendMatchText<Traits>(text, {&value, 1}, mode);
      places.push_back({begin, text.size()});
    });
    return buffer.str();
  };
  return matchReasonOf(regex, std::span(modes).first(detail::matchModes<Traits>), textOfMode);
}

// "NULL" for a null list.
template <typename List>
std::string textOf(const List* list) {
  return list == nullptr ? "NULL" : list->toStrep();
}

template <typename Traits>
std::string ValueCommList<Traits>::serialize() const {
  return serializeCommunities(Traits::attribute, Traits::octetsEach, count_, comms(),
                              [](Serialize& attribute, const Value& value) { Traits::write(value, attribute); });
}

template <typename Traits>
Store::Reference ValueCommList<Traits>::stash(Store::WriteBatch* batch) const {
  return stashRecord(*batch, stashedListType<Traits>, plainImage(comms()));
}

template <typename Traits>
typename ValueCommList<Traits>::PtrConst ValueCommList<Traits>::destashCommList(const void* stashed,
                                                                                Store::StoreManager* store) {
  if (namesNothing(stashed)) return nullptr;
  StashReader reader(stashed, *store, stashedListType<Traits>);
  const std::vector<Value> values = reader.takeAll<Value>();
  reader.requireAscending(values, std::less<>());
  Ptr list = allocate(values);
  TYR_TRACE(8, "Destashing " << stringify(list.get()));
  list->notInTableIs();
  return list;
}

}  // namespace Routing::Bgp
