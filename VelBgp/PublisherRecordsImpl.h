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

  // Writes all of the notes, of `paths` paths, in one commit, or throws and writes nothing. The first commit drops what
  // the store held.
  //
  // What the engine keeps of the largest commit's pages it keeps for good. So notes of paths on very many pages take
  // several commits: first the lists that came, then the paths, in the order of their keys, then the lists that went.
  // When it throws in between, the notes of lists that are written are no longer there.
  void commit(Notes& notes, std::size_t paths);

 private:
  enum class Leaving { go, stay };
  // And what its key begins with, as each look at a key itself is a look at another place in memory.
  struct SortedPath {
    Keel::detail::Uint128 begin;
    PathNote note;
  };
  using SortedPaths = std::span<const SortedPath>;

  static std::vector<SortedPath> sorted(const NotesOfPaths& paths);
  void commitLists(const Notes& notes, SortedPaths paths, Leaving leaving);
  void commitPaths(SortedPaths paths);
  template <typename ReferenceOf>
  static void changePaths(Store::WriteBatch& batch, SortedPaths paths, ReferenceOf&& referenceOf);
  void pathsLoseLists(Store::WriteBatch& batch, const Notes& notes) const;

  static constexpr std::size_t mostPagesAtOnce = 2048;
  static constexpr std::size_t pathsOfPage = 24;

  Store::StoreManager& store_;
  bool cleared_ = false;
  ByAttribute<AttributeRecords> records_;
};

}  // namespace Routing::Bgp::detail
