// What a publisher has in its store: the records of the lists and of their communities, and the paths.
#pragma once

#include <span>
#include <vector>

#include "VelBgp/PublisherNotesImpl.h"

namespace Routing::Bgp::detail {

// The record of a community, and how many lists refer to it.
struct SharedRecord {
  Store::Reference reference;
  std::uint64_t users = 0;
};
using Communities = boost::unordered_flat_map<std::string, SharedRecord, TextHash>;

// The records of one attribute, as of the last commit.
struct AttributeRecords {
  BySlot<Store::Reference> lists;
  std::vector<Store::Reference> leaving;  // of lists that are gone, as long as paths may still refer to them
  Communities communities;
};

// Used by the publisher's thread alone.
class Records {
 public:
  explicit Records(Store::StoreManager& store) : store_(store) {}

  // Writes all of the notes in one commit, or throws and writes nothing. The first commit drops what the store held.
  //
  // Notes of very many paths take several commits, as what the engine keeps for one grows with it, for good: first the
  // lists that came, then the paths, in the order of their keys, then the lists that went. When it throws in between,
  // what is written is no longer among the notes.
  void commit(Notes& notes);

 private:
  enum class Leaving { go, stay };
  using SortedPaths = std::vector<Keyed<PathNote>*>;

  void commitLists(const Notes& notes, const SortedPaths& paths, Leaving leaving);
  void commitPaths(std::span<Keyed<PathNote>* const> paths);
  void pathsLoseLists(Store::WriteBatch& batch, const Notes& notes) const;

  static constexpr std::size_t mostPathsAtOnce = 65536;
  static constexpr std::size_t leastPathsOfMany = 16384;

  Store::StoreManager& store_;
  bool cleared_ = false;
  ByAttribute<AttributeRecords> records_;
};

}  // namespace Routing::Bgp::detail
