#include <algorithm>

#include "Store/ChangesImpl.h"

namespace Routing::Store::detail {

// As the engine compares them.
bool Changes::Change::operator<(const Change& other) const noexcept {
  const int order = std::memcmp(octets, other.octets, std::min(keyOctets, other.keyOctets));
  return order != 0 ? order < 0 : keyOctets < other.keyOctets;
}

void Changes::clearAll() noexcept {
  *this = Changes();
  clear_ = true;
}

void Changes::headerIs(std::uint64_t identity, std::uint64_t anchorBound) {
  entryIs(octetsOf(headerKey), octetsOf(headerOf(identity, anchorBound)), {});
}

void Changes::keyIs(std::uint32_t space, Octets key, Octets value) {
  const EntryKey name = keyKey(space, key);
  entryIs(octetsOf(name), octetsOf(keyHead(octetsOf(name), value)), value);
}
void Changes::keyDel(std::uint32_t space, Octets key) { entryDel(octetsOf(keyKey(space, key))); }

void Changes::recordIs(std::uint64_t number, std::uint32_t type, std::uint64_t anchor, Octets payload) {
  recordChanges(number, anchor, octetsOf(recordHead(type, anchor, payload)), payload);
}
void Changes::recordDel(std::uint64_t number) { recordChanges(number, std::nullopt, {}, {}); }

void Changes::recordChanges(std::uint64_t number, std::optional<std::uint64_t> anchor, Octets head, Octets payload) {
  const EntryKey name = recordKey(number);
  const auto [place, isNew] = records_.try_emplace(number);
  try {
    anchor ? entryIs(octetsOf(name), head, payload) : entryDel(octetsOf(name));
  } catch (...) {
    if (isNew) records_.erase(place);
    throw;
  }
  place->second = anchor;
}

const std::optional<std::uint64_t>* Changes::record(std::uint64_t number) const noexcept {
  const auto found = records_.find(number);
  return found == records_.end() ? nullptr : &found->second;
}

void Changes::sort() {
  if (!ascending_) std::stable_sort(changes_.begin(), changes_.end());
}

void Changes::entryIs(Octets key, Octets head, Octets rest) {
  add(key, static_cast<std::uint32_t>(head.size() + rest.size()), head, rest);
}

void Changes::add(Octets key, std::uint32_t valueOctets, Octets head, Octets rest) {
  const std::size_t octets = key.size() + head.size() + rest.size();
  std::uint8_t* const begin = room(octets);
  std::uint8_t* at = begin;
  for (const Octets part : {key, head, rest}) at = std::copy(part.begin(), part.end(), at);
  const Change change{begin, static_cast<std::uint32_t>(key.size()), valueOctets};
  ascending_ = ascending_ && (changes_.empty() || changes_.back() < change);
  changes_.push_back(change);
  free_ += octets;
  freeOctets_ -= octets;
}

std::uint8_t* Changes::room(std::size_t octets) {
  if (octets <= freeOctets_) return free_;
  const std::size_t block =
      std::max(octets, std::min(firstBlock << std::min<std::size_t>(blocks_.size(), 6), largestBlock));
  blocks_.push_back(std::make_unique_for_overwrite<std::uint8_t[]>(block));
  freeOctets_ = block;
  return free_ = blocks_.back().get();
}

}  // namespace Routing::Store::detail
