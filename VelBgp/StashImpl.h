// How communities, lists and paths lie in a store. Host order throughout: the store refuses builds of another.
//
//   extended community        its 64-bit value, its classification (1 octet)
//   IPv6 one                  its classification (1 octet), its content (20)
//   list of either            whether it is sorted (1 octet), a reference to each community
//   standard, large list      its values
//   path, under its key       a reference to each of its lists, null where it has none
//
// A change of any of them needs another layout version of the store.
#pragma once

#include <cstring>
#include <vector>

#include "Store/StoreException.h"
#include "Store/StoreManager.h"
#include "Store/WriteBatch.h"
#include "VelBgp/ExtCommIp6.h"

namespace Routing::Bgp {

// Types of records.
enum class Stashed : std::uint32_t { extComm = 1, extCommIp6, extCommList, extCommIp6List, largeCommList, commList };

// The space of the paths' keys.
inline constexpr std::uint32_t stashedPathSpace = 1;

inline Store::Octets octetsOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

template <typename Plain>
requires(!std::is_convertible_v<const Plain&, std::string_view>) Store::Octets octetsOf(const Plain& plain) {
  static_assert(std::is_trivially_copyable_v<Plain>);
  return {reinterpret_cast<const std::uint8_t*>(&plain), sizeof plain};
}

using Image = std::vector<std::uint8_t>;

template <typename Plain>
void appendPlain(Image& image, const Plain& plain) {
  const Store::Octets octets = octetsOf(plain);
  image.insert(image.end(), octets.begin(), octets.end());
}

// The octets of a community's record: its value, and its classification.
template <typename Community>
inline constexpr std::size_t imageOctets = 1 + (std::is_same_v<Community, ExtComm> ? 8 : sizeof(ExtCommIp6Content));

inline void appendImage(Image& image, const ExtComm& comm) {
  appendPlain(image, comm.community());
  appendPlain(image, static_cast<std::uint8_t>(comm.classification()));
}
inline void appendImage(Image& image, const ExtCommIp6& comm) {
  appendPlain(image, static_cast<std::uint8_t>(comm.classification()));
  appendPlain(image, comm.getContent());
}

template <typename Values>
Image plainImage(const Values& values) {
  Image image;
  image.reserve(values.size() * sizeof values[0]);
  for (const auto& value : values) appendPlain(image, value);
  return image;
}

template <typename References>
Image listImage(bool sorted, const References& references) {
  Image image(1, static_cast<std::uint8_t>(sorted));
  for (const Store::Reference& reference : references) appendPlain(image, reference);
  return image;
}

// What is left of a record while it is read. Short records throw, so nothing behind their end is looked at.
class StashReader {
 public:
  // Throws the store's exceptions, and DamagedRecordException for a record of another type.
  StashReader(const void* stashed, const Store::StoreManager& store, Stashed type) : store_(store) {
    const Store::Record record = store.translate(stashed);
    rest_ = record.payload;
    if (record.type == static_cast<std::uint32_t>(type)) return;
    fail("names a record of type " + std::to_string(record.type) + ", expected one of type " +
         std::to_string(static_cast<std::uint32_t>(type)));
  }

  void requireEnd() const {
    if (!rest_.empty()) fail("names a record with " + std::to_string(rest_.size()) + " octets too many");
  }
  template <typename Plain>
  Plain take() {
    static_assert(std::is_trivially_copyable_v<Plain>);
    Plain plain;
    if (rest_.size() < sizeof plain) fail("names a record that ends early");
    std::memcpy(static_cast<void*>(&plain), rest_.data(), sizeof plain);
    rest_ = rest_.subspan(sizeof plain);
    return plain;
  }
  // All of the rest.
  template <typename Plain>
  std::vector<Plain> takeAll() {
    if (rest_.size() % sizeof(Plain) != 0) fail("names a record with " + std::to_string(rest_.size()) + " octets left");
    std::vector<Plain> all;
    all.reserve(rest_.size() / sizeof(Plain));
    while (!rest_.empty()) all.push_back(take<Plain>());
    return all;
  }
  // Who made the record may be another program: what is read must not break what the library relies on.
  template <typename Range, typename LessThan>
  void requireAscending(const Range& range, LessThan&& lessThan) const {
    for (std::size_t i = 1; i < range.size(); ++i) {
      if (!lessThan(range[i - 1], range[i])) fail("names a list that is not in order");
    }
  }
  ExtCommClassification takeClassification() {
    const auto number = take<std::uint8_t>();
    if (number >= Tyr::Range<ExtCommClassification>::size())
      fail("names a record of classification " + std::to_string(number));
    return ExtCommClassification(number);
  }

 private:
  [[noreturn]] void fail(const std::string& what) const {
    throw Store::DamagedRecordException("store " + store_.path() + ": a reference " + what);
  }

  const Store::StoreManager& store_;
  Store::Octets rest_;
};

template <typename Object>
const Object& existing(const Object* object, const Store::StoreManager& store) {
  if (object != nullptr) return *object;
  throw Store::DamagedRecordException("store " + store.path() + ": a list has a null reference for a community");
}

// Null and the null reference stand for nothing.
inline bool namesNothing(const void* stashed) {
  if (stashed == nullptr) return true;
  Store::Reference reference;
  std::memcpy(&reference, stashed, sizeof reference);
  return reference.null();
}

// The type of the records of a list of plain values.
template <typename Traits>
inline constexpr Stashed stashedListType = Stashed();

inline Store::Reference stashRecord(Store::WriteBatch& batch, Stashed type, const Image& image) {
  return batch.recordIs(static_cast<std::uint32_t>(type), image);
}

}  // namespace Routing::Bgp
