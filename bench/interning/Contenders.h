// Who interns lists of raw values here, each through the same three members:
//   Handle intern(const std::uint64_t* values, std::size_t n)   any order, repeats allowed
//   void release(Handle&)                                       gives one reference back
//   std::uint64_t identity(const Handle&)                       equal for equal lists, else different
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
#include <unordered_set>
#include <vector>

#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace bench {

inline std::uint32_t goodHash(const std::uint64_t* values, std::size_t n) {
  std::uint64_t hash = n;
  for (std::size_t i = 0; i < n; ++i) {
    hash = (hash ^ values[i]) * 0x9e3779b97f4a7c15;
    hash ^= hash >> 32;
  }
  return static_cast<std::uint32_t>(hash ^ (hash >> 29));
}

// The least that interning a list can be made of: sort, hash, a good open-addressing set, compare, one atomic count.
class Floor {
 public:
  struct Entry {
    std::atomic<std::uint32_t> count;
    std::uint32_t hash;
    std::uint32_t n;
    std::uint64_t values[1];
  };
  using Handle = Entry*;
  static constexpr const char* name = "floor";

  Handle intern(const std::uint64_t* raw, std::size_t rawCount) {
    boost::container::small_vector<std::uint64_t, 64> values(raw, raw + rawCount);
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    const Key key{values.data(), values.size(), goodHash(values.data(), values.size())};
    const auto found = set_.find(key);
    if (found != set_.end()) {
      (*found)->count.fetch_add(1, std::memory_order_relaxed);
      return *found;
    }
    auto* entry = static_cast<Entry*>(std::malloc(offsetof(Entry, values) + sizeof(std::uint64_t) * key.n));
    new (&entry->count) std::atomic<std::uint32_t>(1);
    entry->hash = key.hash;
    entry->n = static_cast<std::uint32_t>(key.n);
    std::memcpy(entry->values, key.values, sizeof(std::uint64_t) * key.n);
    set_.insert(entry);
    return entry;
  }
  void release(Handle& entry) {
    if (entry->count.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    set_.erase(entry);
    std::free(entry);
  }
  static std::uint64_t identity(Handle entry) { return reinterpret_cast<std::uintptr_t>(entry); }

 private:
  struct Key {
    const std::uint64_t* values;
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
             std::memcmp(key.values, entry->values, sizeof(std::uint64_t) * key.n) == 0;
    }
    bool operator()(const Entry* entry, const Key& key) const { return (*this)(key, entry); }
  };
  boost::unordered_flat_set<Entry*, Hash, Equal> set_;
};

using Values = std::vector<std::uint64_t>;

inline Values sortedValues(const std::uint64_t* raw, std::size_t n) {
  Values values(raw, raw + n);
  std::sort(values.begin(), values.end());
  values.erase(std::unique(values.begin(), values.end()), values.end());
  return values;
}

class Flyweight {
 public:
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
};

class SharedPtrSet {
 public:
  using Handle = std::shared_ptr<const Values>;
  static constexpr const char* name = "shared_ptr_set";

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

// Ours does more than the others: every value is an interned, decoded object, and each list is also split by
// classification.
class VelBgpLists {
 public:
  using Handle = Routing::Bgp::ExtCommList::PtrConst;
  static constexpr const char* name = "velbgp";

  Handle intern(const std::uint64_t* raw, std::size_t n) {
    content_.reset();
    for (std::size_t i = 0; i < n; ++i) content_.commIs(raw[i]);
    return Routing::Bgp::ExtCommList::dedupContent(lists_.get(), content_);
  }
  void release(Handle& handle) { handle.reset(); }
  static std::uint64_t identity(const Handle& handle) { return reinterpret_cast<std::uintptr_t>(handle.get()); }

 private:
  Tyr::Ptr<Routing::Bgp::BgpParseExtCommContainerSm> decoder_ = Routing::Bgp::bgpParseExtCommContainerSmFactory(true);
  Routing::Bgp::ExtCommDedupTable::Ptr comms_ = Routing::Bgp::extCommDedupTableFactory(decoder_->extCommParser());
  Routing::Bgp::ExtCommListDedupTable::Ptr lists_ = Routing::Bgp::extCommListDedupTableFactory();
  Routing::Bgp::ExtCommListContentU64 content_{comms_.get()};
};

}  // namespace bench
