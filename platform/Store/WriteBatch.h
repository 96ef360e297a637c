// WriteBatch: changes that become visible together, or not at all.
//
// Operations are collected in memory and written by commit(); until then nobody sees them, and destruction without
// commit() drops them. A batch that did not fit (StoreFullException) is dropped whole, and the next one may succeed.
// The anchors of a dropped batch are never used again, so references that it gave out stay stale for ever.
//
// Ownership: a batch must not outlive its manager; payloads, keys and values are copied.
// Threads: one thread at a time, the one that uses the manager.
// Errors: StoreException and its family; an operation that threw has changed nothing. Asserted: the manager is a
// writer, it has no other batch under way, and a batch whose commit() was called is not used again.
#pragma once

#include <vector>

#include "Store/StoreManager.h"

namespace Routing::Store {

class VELBGP_EXPORT WriteBatch {
 public:
  explicit WriteBatch(StoreManager& manager);
  WriteBatch(const WriteBatch&) = delete;
  WriteBatch& operator=(const WriteBatch&) = delete;
  ~WriteBatch();

  // At most maxRecordOctets.
  Reference recordIs(std::uint32_t type, Octets payload);
  // Throws StaleReferenceException as translating does. A damaged record can be removed, also where its anchor is what
  // is damaged: any reference of its number removes it.
  void recordDel(Reference reference);
  // Adds or overwrites. At most maxKeyOctets and maxRecordOctets.
  void keyIs(std::uint32_t space, Octets key, Octets value);
  void keyDel(std::uint32_t space, Octets key);
  // Drops every record and key, those of this batch too.
  void clear();

  // Afterwards the batch is over, also when this throws. The manager's own view then shows this commit. A batch without
  // operations makes no commit.
  void commit();

 private:
  std::uint64_t takeNumber();
  bool names(Reference reference) const;
  void end(const std::vector<std::uint64_t>& freed) noexcept;

  StoreManager& manager_;
  std::unique_ptr<detail::Changes> changes_;  // null when the batch is over
  std::vector<std::uint64_t> taken_;          // numbers, returned when the batch is dropped
  std::vector<std::uint64_t> freed_;          // numbers, free once the batch is committed
  std::unique_ptr<detail::Numbers> fresh_;    // after clear(): numbers begin anew
};

}  // namespace Routing::Store
