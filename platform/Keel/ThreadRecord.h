// What the interning tables and the heaps keep for each thread: its pin, the chunks that it takes slots from, and where
// it counts. Not for users; here because look-ups are inline.
//
// Pins are how memory that lock-free readers may still look at is reclaimed. A reader pins itself, follows references
// out of a table, takes a count on what it found, and unpins: two stores to a line of its own. Whoever wants to use the
// memory otherwise makes it unreachable, calls graceStart(), and waits until gracePassed(): then every reader that could
// have seen it has unpinned.
//
// The readers' store of the pin must be visible before they look at anything, which on its own takes a locked
// instruction. So the other side pays: graceStart() has the system interrupt every running thread of the process
// (membarrier), and a reader needs only to keep the compiler from reordering. Where the system cannot, and under the
// thread sanitizer, which sees only orders on operations, readers pin by exchange.
//
// fork(): a child has one thread, and what other threads of the parent were about to do stays undone for ever. If another
// one of them had a record, the child's first use of a table, a heap or a last reference stops it, with a sentence; it may
// exec() or _exit(). A child of a process in which one thread used them goes on as that thread.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "Tyr/Export.h"
#include "Tyr/Threading.h"

#if defined(__SANITIZE_THREAD__)
#define KEEL_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KEEL_THREAD_SANITIZER 1
#endif
#endif

namespace Keel::detail {

struct SlabChunk;

// The chunk that a thread takes the slots of one size from, and the free ones of it that are the thread's own.
struct SlabHold {
  SlabChunk* chunk = nullptr;
  char* free = nullptr;
};
inline constexpr std::size_t slabClasses = 257;  // 0 to 2048 octets in units of 8
inline constexpr std::size_t slabHeaps = 2;

// Lives for ever; the record of a thread that ended serves another one. Only its thread writes it, but for `taken`.
struct alignas(64) ThreadRecord {
  std::atomic<std::uint64_t> pin{0};  // the grace period in which the thread pinned itself; 0: it is not pinned
  unsigned pins = 0;                  // how many pins are nested
  unsigned telling = 0;               // how many announcements the thread is inside of
  unsigned crowded = 0;               // inserts that found their bucket full
  unsigned stripe = 0;                // where in a table it counts; the last stripe is shared
  std::atomic<bool> taken{true};
  ThreadRecord* next = nullptr;
  std::array<SlabHold, slabHeaps * slabClasses> holds;
};
inline constexpr unsigned stripes = 64;

// Initial-exec: one load, also from inside a shared library, where the general model calls a function.
extern VELBGP_EXPORT constinit thread_local ThreadRecord* threadRecord [[gnu::tls_model("initial-exec")]];
VELBGP_EXPORT ThreadRecord& newThreadRecord() noexcept;
inline ThreadRecord& thisThread() noexcept {
  ThreadRecord* const record = threadRecord;
  return record != nullptr ? *record : newThreadRecord();
}
// The newest record; the others follow by `next`.
ThreadRecord* threadRecords() noexcept;

extern VELBGP_EXPORT std::atomic<std::uint64_t> gracePeriod;  // the present one
extern VELBGP_EXPORT std::atomic<bool> pinByExchange;

// The period whose end everything that is unreachable by now has to wait for.
std::uint64_t graceStart() noexcept;
// `except`: a thread that is known not to look.
bool gracePassed(std::uint64_t period, const ThreadRecord* except = nullptr) noexcept;
// Blocks until it has for all other threads.
void graceWait() noexcept;

class Pin {
 public:
  // Not needed while the agent is single-threaded.
  explicit Pin(bool needed = true) noexcept : record_(needed ? &thisThread() : nullptr) {
    if (!needed || record_->pins++ != 0) return;
    // Acquire: a reader of this period sees what was made unreachable before it began. A stale one only makes somebody
    // wait longer.
    const std::uint64_t period = gracePeriod.load(std::memory_order_acquire);
    if (pinByExchange.load(std::memory_order_relaxed)) [[unlikely]] {
      // Acquire: whoever looked at this pin before, by read-modify-write as well, had made its memory unreachable.
      record_->pin.exchange(period, std::memory_order_acq_rel);
    } else {
      record_->pin.store(period, std::memory_order_relaxed);
      std::atomic_signal_fence(std::memory_order_seq_cst);
    }
  }
  ~Pin() {
    // Release: what the reader looked at, it looked at before.
    if (record_ != nullptr && --record_->pins == 0) record_->pin.store(0, std::memory_order_release);
  }
  Pin(const Pin&) = delete;
  Pin& operator=(const Pin&) = delete;

 private:
  ThreadRecord* const record_;
};

// A lock while the agent is multi-threaded.
class MaybeLock {
 public:
  explicit MaybeLock(std::mutex& mutex) : lock_(mutex, std::defer_lock) {
    if (Tyr::agentMultiThreaded()) lock_.lock();
  }

 private:
  std::unique_lock<std::mutex> lock_;
};

// Spins, then lets others run: for a lock that is held for a few instructions.
class Backoff {
 public:
  void pause() noexcept {
    if (++turns_ < 64) {
#if defined(__x86_64__) || defined(__i386__)
      __builtin_ia32_pause();
#endif
    } else {
      rest();
    }
  }

 private:
  VELBGP_EXPORT void rest() noexcept;
  unsigned turns_ = 0;
};

}  // namespace Keel::detail
