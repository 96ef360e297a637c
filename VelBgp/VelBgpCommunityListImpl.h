// Shared by the sources of the community lists: hashing, comparing, searching and printing of sorted vectors, whatever
// their holder. A holder offers commVectorSorted() and comms(); valueOf() gives what an element is sorted by.
#pragma once

#include <span>

#include "BgpCommon/BgpHashMixImpl.h"
#include "Tyr/TextStream.h"
#include "VelBgp/CommVectorImpl.h"
#include "VelBgp/ExtCommIp6.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace Routing::Bgp {

inline std::uint64_t valueOf(std::uint64_t value) noexcept { return value; }
inline std::uint64_t valueOf(const ExtComm* comm) noexcept { return comm->community(); }
inline std::uint64_t valueOf(const ExtComm::PtrConst& comm) noexcept { return comm->community(); }
inline const ExtCommIp6Content& valueOf(const ExtCommIp6::PtrConst& comm) noexcept { return comm->getContent(); }

struct ExtCommLessThan {
  template <typename Element>
  bool operator()(const Element& a, const Element& b) const noexcept {
    return valueOf(a) < valueOf(b);
  }
};
struct ExtCommEqual {
  template <typename Element>
  bool operator()(const Element& a, const Element& b) const noexcept {
    return valueOf(a) == valueOf(b);
  }
};

// The hash of all lists and contents of these communities.
template <typename Comms>
std::uint32_t hashExtComms(const Comms& comms) {
  struct {
    const Comms& comms;
    std::uint64_t operator[](std::size_t i) const { return valueOf(comms[i]); }
  } const values{comms};
  return Keel::HashMix::ofWords(values, comms.size());
}
template <typename T>
std::uint32_t hashExtCommList(const T* t) {
  TYR_ASSERT(t->commVectorSorted());
  return hashExtComms(t->comms());
}
inline std::uint32_t hashExtCommList(const ExtCommListContentU64* t) {
  TYR_ASSERT(t->commVectorSorted());
  return hashExtCommValues(t->comms().data(), t->comms().size());
}

// The community of a sorted vector of pointers that has this value, or null.
template <typename Range, typename Value>
auto lookupByValue(bool commVectorSorted, const Range& vector, const Value& community) {
  TYR_ASSERT(commVectorSorted);
  const auto found = std::lower_bound(vector.begin(), vector.end(), community,
                                      [](const auto& comm, const Value& value) { return valueOf(comm) < value; });
  if (found == vector.end()) return decltype(&**found)();
  const auto* extComm = &**found;
  if (valueOf(*found) == community) return extComm;
  TYR_ASSERT_TEXT(community < valueOf(*found), "extComm->community() > community");
  return decltype(extComm)();
}

// The communities, each as the operator for a pointer to one prints it, with a blank between them.
template <typename Range>
void appendCommunities(Tyr::DynamicBufferInterface& text, const Range& comms) {
  Tyr::TextStream stream(text);
  bool first = true;
  for (const auto& comm : comms) {
    if (!first) text.append(' ');
    comm->formatDerivedType(stream);
    first = false;
  }
}

// "[ ", the communities, " ]"; "NULL" for a null list. Written to a stream in one piece by writeText, it leaves the
// caller's flags, fill and width alone.
template <typename List>
std::string bracketed(const List* list) {
  if (list == nullptr) return "NULL";
  Tyr::DynamicBuffer<1024> text;
  text.append("[ ");
  appendCommunities(text, list->comms());
  text.append(" ]");
  return text.str();
}

// Interned communities of one table are equal exactly when they are one object, so the values are seldom looked at.
struct SameCommunity {
  bool operator()(const ExtComm* a, const ExtComm* b) const noexcept {
    return a == b || a->community() == b->community();
  }
  bool operator()(const ExtComm::PtrConst& a, const ExtComm* b) const noexcept { return (*this)(a.get(), b); }
  bool operator()(std::uint64_t a, const ExtComm* b) const noexcept { return a == b->community(); }
};

// References on communities that ascend, given back in the end unless somebody took them.
class CommReferences {
 public:
  using Comms = std::span<const ExtComm* const>;

  explicit CommReferences(Comms comms) noexcept : comms_(comms) {}
  CommReferences(const CommReferences&) = delete;
  CommReferences& operator=(const CommReferences&) = delete;
  ~CommReferences() {
    if (taken_) return;
    for (const ExtComm* comm : comms_) comm->referenceRelease();
  }

  // Only their addresses mean something once they were taken.
  Comms all() const noexcept { return comms_; }
  Comms taken() noexcept {
    taken_ = true;
    return comms_;
  }

 private:
  const Comms comms_;
  bool taken_ = false;
};

// With a reference on each.
inline boost::container::small_vector<const ExtComm*, 64> referenced(const ExtCommListContent::Vector& comms) {
  boost::container::small_vector<const ExtComm*, 64> all;
  all.reserve(comms.size());
  for (const ExtComm::PtrConst& comm : comms) all.push_back(ExtComm::PtrConst(comm).detach());
  return all;
}

// `all` are the list's.
template <typename Content, typename List>
inline bool compareExtCommContent(const Content* content, const List* list,
                                  const Keel::PtrInterfaceArray<ExtComm>& all) {
  TYR_ASSERT(list->commVectorSorted());
  TYR_ASSERT(content->commVectorSorted());
  const ExtCommRange comms = all.range();
  const auto& values = content->comms();
  if (values.size() != comms.size()) return false;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!SameCommunity()(values[i], comms[i])) return false;
  }
  return true;
}

// A hit is nothing but these two and a walk along one chain, so they are kept free of calls.
inline std::uint32_t ExtCommListContentU64::sortAndHashInLine() const {
  sortAndUniqueOnce(commVectorSorted_, comms_);
  return hash_ = hashExtCommList(this);
}

inline bool ExtCommListContentU64::equals(const ExtCommList& list) const {
  if (list.hasOwnValue() && commVectorSorted_) return comms_.size() == 1 && comms_[0] == list.ownValue();
  return compareExtCommContent(this, &list, list.comms_);
}

inline void ExtCommListContentU64::prefetchCommunities() const noexcept {
  for (const std::uint64_t value : comms_) {
    table_->dedupTable().prefetchBucket(ExtComm::hashOf(ExtCommContent(value)));
  }
}

// ---- What all lists are

template <typename List, unsigned attrsOctet>
std::uint32_t ExtCommListBase<List, attrsOctet>::hash() const {
  return isDeduped() ? storedHash() : hashExtCommList(this);
}

template <typename List, unsigned attrsOctet>
bool ExtCommListBase<List, attrsOctet>::compare(const Keel::DedupHandleBase* other) const {
  const auto* lhs = this;
  const auto* rhs = static_cast<const ExtCommListBase*>(other);
  TYR_ASSERT(lhs->commVectorSorted());
  TYR_ASSERT(rhs->commVectorSorted());
  const ExtCommRange left = lhs->comms_.range(), right = rhs->comms_.range();
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), SameCommunity());
}

template <typename List, unsigned attrsOctet>
ExtCommRange ExtCommListBase<List, attrsOctet>::comms() const {
  const auto* arg = this;
  TYR_ASSERT(arg->commVectorSorted());
  return comms_.range();
}

// What ExtCommList::serializable() answers, in line.
inline bool passesFilter(const ExtComm& comm, ExtCommList::Serialization s) noexcept {
  return s.all() || (s.transitive() && comm.getContent().transitive()) ||
         (s.linkBandwidth() && comm.classification() == extCommClassificationLinkBandwidth) ||
         (s.originAsValidity() && comm.classification() == extCommClassificationOriginValidationState);
}

inline void checkClassification(ExtCommClassification classification) {
  TYR_ASSERT_TEXT(classification < Tyr::Range<ExtCommClassification>::size(),
                  "classification < Tyr::Range< ExtCommClassification >::size()");
}

}  // namespace Routing::Bgp
