// ReadView: one commit of a store, whole and unchanging, whatever the writer does meanwhile.
//
// A view is short-lived or refreshed now and then: the octets that it shows are not used again while it shows them, so
// a view that stays makes the store's file grow with every commit. One that is used when the writer is more than
// mostCommitsBehind further ends there, also in a loop: its octets go back to the writer, it throws OldViewException,
// and refresh() begins anew. One that is not used at all, as its thread waits or its process is stopped, cannot end by
// itself: of that the writer is told (Options::mostCommitsAhead in Store/StoreManager.h).
//
// A store has room for 1,024 views, those of all processes together; making one takes a lock for a moment, reading and
// refreshing take none.
//
// Ownership: made by StoreManager, which it may outlive. What translate(), key() and the loops give points into the
// store's file and is valid until the view, or the one that it was moved to, is refreshed, has ended or is gone.
// Threads: one view is used by one thread at a time, by any; different views from different threads.
// Errors: StoreException and its family. After a refresh() that threw, the view has ended: everything but refresh() and
// destruction throws.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>

#include "Store/Record.h"
#include "Store/StoreException.h"

namespace Routing::Store {

namespace detail {
class Environment;
class Snapshot;
}  // namespace detail

// A view that is older than the newest commit by more than that has ended.
inline constexpr std::uint64_t mostCommitsBehind = 5'000;

// Who shows the oldest commit of a store that is still shown.
struct OldestView {
  pid_t process;
  std::uint64_t commit;
};

class VELBGP_EXPORT ReadView {
 public:
  ReadView(ReadView&&) noexcept;
  ReadView& operator=(ReadView&&) noexcept;
  ~ReadView();

  // The number of the commit that is shown; later commits have larger numbers.
  std::uint64_t commits() const noexcept;
  // Shows the newest commit from now on; whether that is another than before. Not from inside a loop over the view.
  bool refresh();

  // Throws StaleReferenceException for what is not there; DamagedRecordException when a checksum does not match, also
  // that of another record that has the number now, as its anchor may be what is damaged.
  Record translate(Reference reference) const;
  // The same for a reference that lies somewhere in memory, at any address. NullArgumentException without one.
  Record translate(const void* stashed) const;

  // Nothing when there is no such key.
  std::optional<Octets> key(std::uint32_t space, Octets key) const;
  // Ascending, by octets; a key comes before those that it begins. Keys whose values are damaged are told to `damaged`,
  // in the same order; without that, DamagedRecordException is thrown at the end, after all others were visited. Only
  // those that begin with `prefix`; the others are not read.
  void forEachKey(std::uint32_t space, const std::function<void(Octets key, Octets value)>& visit,
                  const std::function<void(Octets key)>& damaged = {}, Octets prefix = {}) const;
  // Ascending by number, until one is damaged: DamagedRecordException.
  void forEachRecord(const std::function<void(Reference, Record)>& visit) const;

 private:
  friend class StoreManager;
  friend class WriteBatch;
  explicit ReadView(std::shared_ptr<detail::Environment> environment);

  std::unique_ptr<detail::Snapshot> snapshot_;
};

}  // namespace Routing::Store
