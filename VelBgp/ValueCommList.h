// What the lists of plain values have in common: standard communities (CommList.h) and large ones (LargeCommList.h).
//
//   ValueCommListContent<Traits>   the builder: values in any order, repeats allowed
//   ValueCommList<Traits>          the interned list: ascending, no value twice, the values inside the object
//
// Classes derive from both and give them their names; everything is told here once. Traits of a kind:
//   Value                            one community: trivially copyable, ordered by <
//   List, Table                      the derived list, and the table that interns it
//   hash(values)                     what hash() of a list and of its content gives
//   tableHash(values)                where the table puts the list; keyed, so that no peer can choose it
//   attribute, octetsEach            path attribute code, and octets of one value on the wire
//   write(value, buffer)             appends one value in network order
//
// Ownership: a content belongs to its caller and can be used again after reset(). Lists are immutable, shared through
// their PtrConst (one word) and leave their table with the last one. Threads: contents belong to one thread; interning
// follows the table's variant (Keel/DedupHashTable.h); lists are read-only. Memory: a list takes 28 octets and its
// values; one of more than 2020 octets of values keeps them on the heap.
#pragma once

#include <algorithm>
#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "Keel/DedupHashTable.h"
#include "Store/Forward.h"
#include "Tyr/Assert.h"
#include "Tyr/Export.h"
#include "VelBgp/BgpPathAttributeEnums.h"

namespace Routing::Bgp {

class Serialize;

template <typename Traits>
class VELBGP_EXPORT ValueCommListContent : public Keel::DedupContentHandle {
 public:
  using Value = typename Traits::Value;
  // 64 values inside the object. Throws std::length_error past the largest size.
  using Vector = boost::container::small_vector<Value, 64>;

  ~ValueCommListContent() override;

  void expectedCommunityCountIs(std::size_t count) { comms_.reserve(count); }
  void commIs(const Value& value) {
    commVectorSorted_ = false;
    comms_.push_back(value);
  }
  // All values of a list. Throws Tyr::NullArgumentException for null.
  void append(const typename Traits::List* list);
  void reset() noexcept {
    comms_.clear();
    commVectorSorted_ = false;
  }

  // In the order given until the content was interned or sorted, then ascending and without repeats.
  const Vector& comms() const noexcept { return comms_; }
  bool commVectorSorted() const noexcept { return commVectorSorted_; }
  explicit operator bool() const noexcept { return !comms_.empty(); }

  // Sorting changes the order of a content, never what it stands for.
  void sortAndUnique() const;
  // Asserts that the content is sorted.
  std::uint32_t hash() const override;

  // Same values in the same order, and both sorted or neither.
  friend bool operator==(const ValueCommListContent& lhs, const ValueCommListContent& rhs) {
    return lhs.commVectorSorted_ == rhs.commVectorSorted_ && lhs.comms_ == rhs.comms_;
  }
  // Value by value, then by count.
  friend bool operator<(const ValueCommListContent& lhs, const ValueCommListContent& rhs) {
    return lhs.comms_ < rhs.comms_;
  }

 protected:
  ValueCommListContent() = default;
  ValueCommListContent(const ValueCommListContent&) = default;
  ValueCommListContent& operator=(const ValueCommListContent&) = default;

 private:
  mutable bool commVectorSorted_ = false;
  mutable Vector comms_;
};

template <typename Traits>
class VELBGP_EXPORT ValueCommList : public Keel::DedupHandleBase {
 public:
  using Value = typename Traits::Value;
  using List = typename Traits::List;
  using Content = ValueCommListContent<Traits>;
  using Values = std::span<const Value>;

  std::uint32_t hash() const override;
  bool compare(const Keel::DedupHandleBase* other) const override;
  // `content` is a Content; asserts that it is sorted.
  bool compareByContent(const Keel::DedupContentHandle& content) const override;

  // Ascending, valid as long as the list.
  Values comms() const noexcept { return {values(), count_}; }
  std::uint32_t totalCommunities() const noexcept { return count_; }
  bool empty() const noexcept { return count_ == 0; }
  // The value's place in the list, or null.
  const Value* comm(const Value& value) const noexcept {
    const Values all = comms();
    const auto found = std::lower_bound(all.begin(), all.end(), value);
    return found == all.end() || *found != value ? nullptr : &*found;
  }

  // The path attribute, header included; of an empty list the bare header with length 0, which a caller does not send.
  // Asserts that the value fits in 65,535 octets.
  std::string serialize() const;

  // Writes the list as a record.
  Store::Reference stash(Store::WriteBatch* batch) const;

 protected:
  // The interned list of the content, which is sorted first; make() gives a new one with its values.
  template <typename Make>
  static Tyr::Ptr<const List> findOrMake(const typename Traits::Table* table, const Content& content, Make&& make);
  // A new list of these sorted values, never deduped.
  static Tyr::Ptr<List> allocate(Values values);
  static Tyr::Ptr<const List> destashCommList(const void* stashed, Store::StoreManager* store);

  // new (values) has room for them right behind the count.
  static void* operator new(std::size_t octets, Values values);
  static void operator delete(void* list, Values) noexcept { DedupHandleBase::operator delete(list); }
  static void operator delete(void* list) noexcept { DedupHandleBase::operator delete(list); }
  // Throws std::bad_alloc.
  explicit ValueCommList(Values values);
  ~ValueCommList() override;

 private:
  static constexpr std::size_t valuesOffset = sizeof(Keel::DedupHandleBase) + sizeof(std::uint32_t);
  static constexpr bool fitsInside(std::size_t count) noexcept {
    return count <= (Keel::SlabHeap::maxOctets - valuesOffset) / sizeof(Value);
  }

  char* room() noexcept { return reinterpret_cast<char*>(this) + valuesOffset; }
  const Value* values() const noexcept;

  std::uint32_t count_;
  // The first of the values or, when there are too many, of the octets of a pointer to them: more follow behind the
  // object.
  std::uint32_t room_;
};

}  // namespace Routing::Bgp
