// What the lists of plain values have in common: standard communities (CommList.h) and large ones (LargeCommList.h).
//
// Classes derive from the content and the list and give them their names; everything is told here once. Traits of an
// attribute:
//   Value                            one community: trivially copyable, ordered by <
//   List, Content, Table             the derived list and content, and the table that interns it
//   fwkType                          the list's class
//   hash(values)                     what hash() of a list and of its content gives
//   tableHash(values)                where the table puts the list; keyed, so that no peer can choose it
//   attribute, octetsEach            path attribute code, and octets of one value on the wire
//   write(value, buffer)             appends one value in network order;  read(octets)  gives it back
//   format(buffer, value)            appends the text of one value, of at most longestText characters
//   formatNumbers(buffer, value)     the same without names, for attributes whose values may have some: hasNames
//
// Ownership: a content belongs to its caller and can be used again after reset(). Lists are immutable, shared through
// their PtrConst (one word) and leave their table with the last one. Threads: contents belong to one thread; interning
// follows the table's variant (Keel/DedupHashTable.h); lists are read-only. Memory: a list takes 28 octets and its
// values; one of more than 2020 octets of values keeps them on the heap.
#pragma once

#include <algorithm>
#include <span>
#include <vector>

#include "Policy/PosixRegex.h"
#include "Store/Forward.h"
#include "Tyr/FwkType.h"
#include "Tyr/PtrInterface.h"
#include "VelBgp/BgpPathAttributeEnums.h"
#include "VelBgp/CommVectorContent.h"

namespace Routing::Bgp {

class Serialize;

// The builder: values in any order, repeats allowed.
template <typename Traits>
class VELBGP_EXPORT ValueCommListContent : public CommVectorContent<typename Traits::Value, CommContentBase> {
 public:
  using Value = typename Traits::Value;

  void commIs(const Value& value) { this->add(value); }
  // The values of an attribute, in place of what was there. Octets behind the last whole value are passed over.
  void attributeIs(AttributeOctets octets);
  // All values of a list. Throws Tyr::NullArgumentException for null.
  void append(const typename Traits::List* list);

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
};

// The interned list: ascending, no value twice.
template <typename Traits>
class VELBGP_EXPORT ValueCommList : public Keel::DedupHandleBase {
 public:
  using Value = typename Traits::Value;
  using List = typename Traits::List;
  using Content = typename Traits::Content;
  using Table = typename Traits::Table;
  using Values = std::span<const Value>;
  using Ptr = Tyr::Ptr<List>;
  using PtrConst = Tyr::Ptr<const List>;

  const Tyr::FwkType& fwkType() const override { return Traits::fwkType; }

  std::size_t memoryOctets() const noexcept override {
    return DedupHandleBase::memoryOctets() + (fitsInside(count_) ? 0 : comms().size_bytes());
  }

  std::uint32_t hash() const override { return Traits::hash(comms()); }
  bool compare(const Keel::DedupHandleBase* other) const override {
    return std::ranges::equal(comms(), static_cast<const ValueCommList*>(other)->comms());
  }
  // `content` is a Content; asserts that it is sorted.
  bool compareByContent(const Keel::DedupContentHandle& content) const override;

  // The interned list with this content, made on a miss. Sorts the content. Never null.
  static PtrConst dedupContent(const Table* table, const Content& content);

  // The interned list of each content, as dedupContent() of one after the other gives them: the same lists, and observers
  // hear the same in the same order. Faster, for memory is fetched ahead across the contents. Each list replaces what was
  // in its place when it is interned. Asserts that there are as many places as contents; none is fine. When a content
  // fails, those before it are interned, and the rest of `lists` is as it was.
  static void dedupContents(const Table* table, std::span<const Content> contents, std::span<PtrConst> lists);
  // The same, straight from the values of attributes; null for one that is malformed, since it is empty or no whole
  // number of values (RFC 7606).
  static void dedupAttributes(const Table* table, std::span<const AttributeOctets> attributes,
                              std::span<PtrConst> lists);

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

  // All values, a blank between them, with names where the attribute has some.
  std::string toStrep() const;
  // Whether the expression matches the text with numbers alone or, if not, the one with names. Asserts that there is an
  // expression.
  // An interned list asks an expression once; the answer is remembered while the list lives (Policy/PosixRegex.h).
  bool matchCommunitiesRegex(const RouteMap::PosixRegex* regex) const;
  // What that gives for each expression, in one pass.
  std::vector<bool> matchCommunitiesRegexSet(const RouteMap::PosixRegexSet& set) const;
  // The same of a list of this value alone.
  static bool matchCommunityRegex(const Value& value, const RouteMap::PosixRegex* regex);

  // The path attribute, header included; of an empty list the bare header with length 0, which a caller does not send.
  // Asserts that the value fits in 65,535 octets. What an agent sends is written by AttributeWriter
  // (VelBgp/AttributeWriter.h), which gives nothing for an empty list and refuses what is too long.
  std::string serialize() const;

  // Writes the list as a record.
  Store::Reference stash(Store::WriteBatch* batch) const;
  // The list that a reference names, which lies in memory at any address: a private list, in no table and never to be.
  // Null for a null reference. Throws the store's exceptions; nothing is left behind then. Threads as for
  // ExtComm::destash.
  static PtrConst destash(const void* stashed, Store::StoreManager* store) { return destashCommList(stashed, store); }

 protected:
  // new (values) has room for them right behind the count.
  static void* operator new(std::size_t octets, Values values);
  static void operator delete(void* list, Values) noexcept { DedupHandleBase::operator delete(list); }
  static void operator delete(void* list) noexcept { DedupHandleBase::operator delete(list); }
  // Of sorted values. Throws std::bad_alloc.
  explicit ValueCommList(Values values);
  ~ValueCommList() override;

 private:
  static constexpr std::size_t valuesOffset = sizeof(Keel::DedupHandleBase) + sizeof(std::uint32_t);
  static constexpr bool fitsInside(std::size_t count) noexcept {
    return count <= (Keel::SlabHeap::maxOctets - valuesOffset) / sizeof(Value);
  }

  struct Batch;
  // Of sorted values.
  static PtrConst dedupHashed(const Table* table, Values values, std::uint32_t hash);
  // A new list of these sorted values, never deduped.
  static Ptr allocate(Values values);
  static PtrConst destashCommList(const void* stashed, Store::StoreManager* store);  // traces carry this name

  char* room() noexcept { return reinterpret_cast<char*>(this) + valuesOffset; }
  const Value* values() const noexcept;

  std::uint32_t count_;
  // The first of the values or, when there are too many, of the octets of a pointer to them: more follow behind the
  // object.
  std::uint32_t room_;
};

}  // namespace Routing::Bgp
