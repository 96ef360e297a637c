// What a publisher has in its store: the records of the lists and of their communities, and the paths.
#pragma once

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
  Communities communities;
};

// Used by the publisher's thread alone.
class Records {
 public:
  explicit Records(Store::StoreManager& store) : store_(store) {}

  // Writes all of the notes in one commit, or throws and writes nothing. The first commit drops what the store held.
  void commit(const Notes& notes);

 private:
  void pathsLoseLists(Store::WriteBatch& batch, const Notes& notes) const;

  Store::StoreManager& store_;
  bool cleared_ = false;
  ByAttribute<AttributeRecords> records_;
};

}  // namespace Routing::Bgp::detail
