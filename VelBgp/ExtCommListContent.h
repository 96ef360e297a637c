// What lists of extended communities are built from, and what is done with sorted vectors of them.
//
//   ExtCommListContent                interned communities, for a caller that holds some
//   ExtCommListContentU64             raw values, as they come in an attribute
//   ExtCommListContentBase            what ExtCommList::dedupContent asks of either
//   ExtCommClassificationListContent  interned communities of one classification
//
// Ownership, threads and errors: as for every content (VelBgp/CommVectorContent.h).
#pragma once

#include "Keel/PtrInterfaceArray.h"
#include "VelBgp/CommVectorContent.h"
#include "VelBgp/VelBgpCommunity.h"

namespace Routing::Bgp {

class ExtCommClassificationList;
class ExtCommList;

// The communities of a list, as const ExtComm*, ascending by value.
using ExtCommRange = Keel::PtrInterfaceRange<ExtComm>;

// The community of `vector` with this value, or null. Asserts that the vector is sorted.
VELBGP_EXPORT ExtComm::PtrConst ExtCommVectorLookup(bool sorted, const ExtCommRange& vector, std::uint64_t value);

// Appends an interned community (any interned type, or null). Throws what the vector throws when it cannot grow: a
// boost::container::small_vector past its largest size boost::container::length_error, which is no std::length_error.
template <typename Element, typename Vector>
void ExtCommVectorAdd(Element comm, Vector& vector) {
  TYR_ASSERT_TEXT(!comm || comm->dedupState() != Keel::dedupHandleStateNeverDeduped(),
                  "__null == ( comm ) || ( comm )->dedupState() != Keel::dedupHandleStateNeverDeduped()");
  vector.push_back(std::move(comm));
}

class VELBGP_EXPORT ExtCommContentBase : public CommContentBase {
 public:
  // Sorts, drops repeats (both once only) and returns the hash.
  virtual std::uint32_t sortAndHash() const = 0;
  // The same by the name that it has in all contents.
  void sortAndUnique() const { sortAndHash(); }
  // As sortAndHash() left it.
  std::uint32_t hash() const override { return hash_; }

 protected:
  ExtCommClassification classification_{};  // of a classification list's content; it has room here
  mutable std::uint32_t hash_ = 0;
};

// Of interned communities.
template <typename Base>
class VELBGP_EXPORT ExtCommPtrContent : public CommVectorContent<ExtComm::PtrConst, Base> {
 public:
  // Asserts that `comm` is interned. Throws Tyr::NullArgumentException for null.
  void commIs(ExtComm::PtrConst comm);
  // All communities of a list. Throws Tyr::NullArgumentException for null.
  void append(const ExtCommList* list);
  void append(const ExtCommClassificationList* list);
  std::uint32_t sortAndHash() const override;
};

// What dedupContent asks of either form.
class VELBGP_EXPORT ExtCommListContentBase : public ExtCommContentBase {
 public:
  // Puts the communities, in order, into a new list.
  virtual void populateExtCommList(ExtCommList* list) const = 0;
  // Whether the list holds the same communities; both in order.
  virtual bool compareWithExtCommList(const ExtCommList* list) const = 0;
  // The values as they are now, sorted or not.
  virtual std::size_t communityCount() const = 0;
  virtual std::uint64_t communityAt(std::size_t index) const = 0;

  // Same values in the same order, and both sorted or neither.
  VELBGP_EXPORT friend bool operator==(const ExtCommListContentBase& lhs, const ExtCommListContentBase& rhs);
  // Value by value, then by count.
  VELBGP_EXPORT friend bool operator<(const ExtCommListContentBase& lhs, const ExtCommListContentBase& rhs);
};

// "[ ", the values as "0x" and 16 hex digits with a blank between, " ]".
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommListContentBase& content);

class VELBGP_EXPORT ExtCommListContent final : public ExtCommPtrContent<ExtCommListContentBase> {
 public:
  void populateExtCommList(ExtCommList* list) const override;
  bool compareWithExtCommList(const ExtCommList* list) const override;
  std::size_t communityCount() const override { return comms_.size(); }
  std::uint64_t communityAt(std::size_t index) const override { return comms_[index]->community(); }
};

// Its values are interned in `table` when a list is made.
class VELBGP_EXPORT ExtCommListContentU64 final : public CommVectorContent<std::uint64_t, ExtCommListContentBase> {
 public:
  // The table must outlive the content; where a list is to be made and it did not, the process stops.
  explicit ExtCommListContentU64(const ExtCommDedupTable* table) noexcept : table_(table) {}

  void commIs(std::uint64_t value) { add(value); }
  void commIs(const ExtCommContent& content) { add(content.value()); }
  // All values of a list. Throws Tyr::NullArgumentException for null.
  void append(const ExtCommList* list);
  void append(const ExtCommClassificationList* list);
  // The communities of an EXTENDED COMMUNITIES attribute, in place of what was there. Octets behind the last whole value
  // are passed over.
  void attributeIs(AttributeOctets octets);

  std::uint32_t sortAndHash() const override;
  void populateExtCommList(ExtCommList* list) const override;
  bool compareWithExtCommList(const ExtCommList* list) const override;
  std::size_t communityCount() const override { return comms_.size(); }
  std::uint64_t communityAt(std::size_t index) const override { return comms_[index]; }

 private:
  friend class ExtCommList;

  // The bodies of the operations of the same names, for a caller that can take them in line.
  std::uint32_t sortAndHashInLine() const;
  bool equals(const ExtCommList& list) const;
  // For a list that is probably to be made.
  void prefetchCommunities() const noexcept;

  TableAddress<ExtCommDedupTable> table_;
};

class VELBGP_EXPORT ExtCommClassificationListContent final : public ExtCommPtrContent<ExtCommContentBase> {
 public:
  // Asserts that the classification is one of the fourteen.
  explicit ExtCommClassificationListContent(ExtCommClassification classification);
  ExtCommClassification classification() const noexcept { return classification_; }

  VELBGP_EXPORT friend bool operator==(const ExtCommClassificationListContent& lhs,
                                       const ExtCommClassificationListContent& rhs);
  VELBGP_EXPORT friend bool operator<(const ExtCommClassificationListContent& lhs,
                                      const ExtCommClassificationListContent& rhs);

 private:
  friend class ExtCommList;
  friend class ExtCommClassificationList;
};
extern template class ExtCommPtrContent<ExtCommListContentBase>;
extern template class ExtCommPtrContent<ExtCommContentBase>;

// "Value('Routing::Bgp::ExtCommClassificationListContent', ** {'classification': %s, 'commVectorSorted': %s})"
VELBGP_EXPORT std::string valueToStrep(const ExtCommClassificationListContent& content);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommClassificationListContent& content);

}  // namespace Routing::Bgp
