// Who interns lists of values here, each through the same members:
//   Value                                          one community
//   Handle                                         one reference, movable
//   Handle intern(const Value* values, size_t n)   any order, repeats allowed
//   void release(Handle&)                          gives the reference back
//   static std::uint64_t identity(const Handle&)   equal for equal lists, else different
//   static std::vector<Value> values(const Handle&)
//   std::size_t size()                             distinct lists that are held, for those who know
// Ours can be copied: a copy interns in the same tables, for another thread.
#pragma once

#include <algorithm>
#include <atomic>
#include <boost/container/small_vector.hpp>
#include <boost/flyweight.hpp>
#include <boost/flyweight/no_locking.hpp>
#include <boost/functional/hash.hpp>
#include <boost/unordered/unordered_flat_set.hpp>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <unordered_set>
#include <utility>
#include <vector>

#include "VelBgp/LargeCommList.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace bench {

inline std::uint64_t mixed(std::uint64_t hash, std::uint64_t value) {
  hash = (hash ^ value) * 0x9e3779b97f4a7c15;
  return hash ^ hash >> 32;
}
inline std::uint64_t mixed(std::uint64_t hash, const Acl::CommunityValue& value) {
  return mixed(mixed(hash, std::uint64_t{value.globalAdmin()} << 32 | value.localData1()), value.localData2());
}

template <typename Value>
std::uint32_t goodHash(const Value* values, std::size_t n) {
  std::uint64_t hash = n;
  for (std::size_t i = 0; i < n; ++i) hash = mixed(hash, values[i]);
  return static_cast<std::uint32_t>(hash ^ (hash >> 29));
}

template <typename Values>
void sortAndUnique(Values& values) {
  std::sort(values.begin(), values.end());
  values.erase(std::unique(values.begin(), values.end()), values.end());
}

// The least that interning a list can be made of: sort, hash, a good open-addressing set, compare, one atomic count.
template <typename Element>
class Floor {
 public:
  using Value = Element;
  struct Entry {
    std::atomic<std::uint32_t> count;
    std::uint32_t hash;
    std::uint32_t n;
    Value values[1];
  };
  using Handle = Entry*;
  static constexpr const char* name = "floor";

  Handle intern(const Value* raw, std::size_t rawCount) {
    boost::container::small_vector<Value, 64> values(raw, raw + rawCount);
    sortAndUnique(values);
    const Key key{values.data(), values.size(), goodHash(values.data(), values.size())};
    const auto found = set_.find(key);
    if (found != set_.end()) {
      (*found)->count.fetch_add(1, std::memory_order_relaxed);
      return *found;
    }
    auto* entry = static_cast<Entry*>(std::malloc(offsetof(Entry, values) + sizeof(Value) * key.n));
    new (&entry->count) std::atomic<std::uint32_t>(1);
    entry->hash = key.hash;
    entry->n = static_cast<std::uint32_t>(key.n);
    std::memcpy(static_cast<void*>(entry->values), key.values, sizeof(Value) * key.n);
    set_.insert(entry);
    return entry;
  }
  void release(Handle& entry) {
    if (entry->count.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    set_.erase(entry);
    std::free(entry);
  }
  static std::uint64_t identity(Handle entry) { return reinterpret_cast<std::uintptr_t>(entry); }
  static std::vector<Value> values(Handle entry) { return {entry->values, entry->values + entry->n}; }
  std::size_t size() const { return set_.size(); }
  // What growing costs.
  void rehash() { set_.rehash(2 * set_.bucket_count()); }

 private:
  struct Key {
    const Value* values;
    std::size_t n;
    std::uint32_t hash;
  };
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(const Entry* entry) const { return entry->hash; }
    std::size_t operator()(const Key& key) const { return key.hash; }
  };
  struct Equal {
    using is_transparent = void;
    bool operator()(const Entry* a, const Entry* b) const { return a == b; }
    bool operator()(const Key& key, const Entry* entry) const {
      return key.hash == entry->hash && key.n == entry->n &&
             std::memcmp(key.values, entry->values, sizeof(Value) * key.n) == 0;
    }
    bool operator()(const Entry* entry, const Key& key) const { return (*this)(key, entry); }
  };
  boost::unordered_flat_set<Entry*, Hash, Equal> set_;
};

using Values = std::vector<std::uint64_t>;

inline Values sortedValues(const std::uint64_t* raw, std::size_t n) {
  Values values(raw, raw + n);
  sortAndUnique(values);
  return values;
}

class Flyweight {
 public:
  using Value = std::uint64_t;
  struct Hash {
    std::size_t operator()(const Values& values) const { return goodHash(values.data(), values.size()); }
  };
  using Fly = boost::flyweight<Values, boost::flyweights::hashed_factory<Hash>, boost::flyweights::no_locking>;
  using Handle = std::unique_ptr<Fly>;
  static constexpr const char* name = "flyweight";

  // A flyweight cannot be empty, so the handle is rebuilt in place of being assigned.
  Handle intern(const std::uint64_t* raw, std::size_t n) { return std::make_unique<Fly>(sortedValues(raw, n)); }
  void release(Handle& handle) { handle.reset(); }
  static std::uint64_t identity(const Handle& handle) { return reinterpret_cast<std::uintptr_t>(&handle->get()); }
  static Values values(const Handle& handle) { return handle->get(); }
};

class SharedPtrSet {
 public:
  using Value = std::uint64_t;
  using Handle = std::shared_ptr<const Values>;
  static constexpr const char* name = "shared_ptr set";

  Handle intern(const std::uint64_t* raw, std::size_t n) {
    Values values = sortedValues(raw, n);
    const auto found = set_.find(values);
    if (found != set_.end()) return *found;
    return *set_.insert(std::make_shared<const Values>(std::move(values))).first;
  }
  void release(Handle& handle) {
    if (handle.use_count() == 2) set_.erase(handle);
    handle.reset();
  }
  static std::uint64_t identity(const Handle& handle) { return reinterpret_cast<std::uintptr_t>(handle.get()); }
  static Values values(const Handle& handle) { return *handle; }
  std::size_t size() const { return set_.size(); }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(const Values& values) const { return goodHash(values.data(), values.size()); }
    std::size_t operator()(const Handle& handle) const { return (*this)(*handle); }
  };
  struct Equal {
    using is_transparent = void;
    bool operator()(const Handle& a, const Handle& b) const { return *a == *b; }
    bool operator()(const Values& a, const Handle& b) const { return a == *b; }
    bool operator()(const Handle& a, const Values& b) const { return *a == b; }
  };
  std::unordered_set<Handle, Hash, Equal> set_;
};

// What ours have in common. Object is a list or a community.
template <typename Object, typename Element>
struct VelBgpContender {
  using Value = Element;
  using Handle = typename Object::PtrConst;
  static constexpr const char* name = "velbgp";

  static void release(Handle& handle) { handle.reset(); }
  static std::uint64_t identity(const Handle& handle) { return reinterpret_cast<std::uintptr_t>(handle.get()); }
};

class VelBgpCommunities : public VelBgpContender<Routing::Bgp::ExtComm, std::uint64_t> {
 public:
  // Of a single value: n is 1.
  Handle intern(const Value* values, std::size_t) {
    return Routing::Bgp::ExtComm::dedupContent(comms_.get(), Routing::Bgp::ExtCommContent(*values));
  }
  static Values values(const Handle& handle) { return {handle->community()}; }
  std::size_t size() const { return comms_->size(); }
  // What lists of them are built in.
  Routing::Bgp::ExtCommListContentU64 content() const { return Routing::Bgp::ExtCommListContentU64(comms_.get()); }

 private:
  Tyr::Ptr<Routing::Bgp::BgpParseExtCommContainerSm> decoder_ = Routing::Bgp::bgpParseExtCommContainerSmFactory(true);
  Routing::Bgp::ExtCommDedupTable::Ptr comms_ = Routing::Bgp::extCommDedupTableFactory(decoder_->extCommParser());
};

// Lists, built in what Communities give as content().
template <typename Lists, typename Table, typename Element, typename Communities>
class VelBgpListContender : public VelBgpContender<Lists, Element> {
 public:
  using List = Lists;
  using Value = Element;
  using Handle = typename List::PtrConst;
  using Content = decltype(std::declval<Communities>().content());

  Handle intern(const Value* raw, std::size_t n) {
    fill(content_, raw, n);
    return List::dedupContent(table_.get(), content_);
  }
  static std::vector<Value> values(const Handle& handle) {
    std::vector<Value> values;
    for (const auto& comm : handle->comms()) values.push_back(valueOf(comm));
    return values;
  }
  std::size_t size() const { return table_->size(); }
  const Table* table() const { return table_.get(); }

 private:
  static std::uint64_t valueOf(const Routing::Bgp::ExtComm* comm) { return comm->community(); }
  static const Value& valueOf(const Value& value) { return value; }

 protected:
  static void fill(Content& content, const Value* raw, std::size_t n) {
    content.reset();
    for (std::size_t i = 0; i < n; ++i) content.commIs(raw[i]);
  }

  typename Table::Ptr table_ = Tyr::make<Table>();
  Communities communities_;
  Content content_ = communities_.content();
};

// Extended lists do more than the others: every value is an interned, decoded object, and each list is also split by
// classification.
using VelBgpLists = VelBgpListContender<Routing::Bgp::ExtCommList, Routing::Bgp::ExtCommListDedupTable, std::uint64_t,
                                        VelBgpCommunities>;

template <typename Content>
struct PlainValues {
  static Content content() { return {}; }
};
template <typename List>
using VelBgpValueLists =
    VelBgpListContender<List, typename List::Table, typename List::Value, PlainValues<typename List::Content>>;
using VelBgpStandardLists = VelBgpValueLists<Routing::Bgp::CommList>;
using VelBgpLargeLists = VelBgpValueLists<Routing::Bgp::LargeCommList>;

// The same lists, many interned in one call.
template <typename Contender>
class Batches : public Contender {
 public:
  using Handle = typename Contender::Handle;
  using Value = typename Contender::Value;
  static constexpr const char* name = "velbgp, batches";
  static constexpr std::size_t batch = 64;

  // The list at the i-th place of `lists` comes to the i-th place of `handles`; at most `batch` of them.
  void internBatch(std::span<const Value* const> lists, std::size_t n, std::span<Handle> handles) {
    for (std::size_t i = 0; i < lists.size(); ++i) this->fill(contents_[i], lists[i], n);
    Contender::List::dedupContents(this->table_.get(), {contents_.data(), lists.size()}, handles);
  }

 private:
  std::vector<typename Contender::Content> contents_{batch, this->content_};
};

}  // namespace bench
