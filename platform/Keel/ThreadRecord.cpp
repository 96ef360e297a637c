#include "Keel/ThreadRecord.h"

#include <linux/membarrier.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <new>
#include <thread>

#include "Keel/SlabHeap.h"
#include "Tyr/Assert.h"

namespace Keel::detail {

constinit thread_local ThreadRecord* threadRecord [[gnu::tls_model("initial-exec")]] = nullptr;
constinit std::atomic<std::uint64_t> gracePeriod{1};

namespace {

int membarrier(int command) noexcept { return static_cast<int>(syscall(SYS_membarrier, command, 0, 0)); }

bool membarrierMissing() noexcept {
#ifdef KEEL_THREAD_SANITIZER
  return true;
#else
  return membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED) != 0;
#endif
}

constinit std::atomic<ThreadRecord*> records{nullptr};

// At a thread's end, after all its thread_local objects: they may let interned objects go.
void threadEnds(void* ended) noexcept {
  auto* record = static_cast<ThreadRecord*>(ended);
  releaseHolds(*record);
  threadRecord = nullptr;
  // Release: the next owner goes on where this one stopped.
  record->taken.store(false, std::memory_order_release);
}

pthread_key_t endKey() noexcept {
  static const pthread_key_t key = [] {
    pthread_key_t made{};
    TYR_ASSERT(pthread_key_create(&made, threadEnds) == 0);
    return made;
  }();
  return key;
}

ThreadRecord* usedBefore() noexcept {
  for (ThreadRecord* record = threadRecords(); record != nullptr; record = record->next) {
    bool taken = false;
    // Acquire: all that the thread before left in it.
    if (record->taken.compare_exchange_strong(taken, true, std::memory_order_acquire, std::memory_order_relaxed)) {
      return record;
    }
  }
  return nullptr;
}

ThreadRecord* quiteNew() noexcept {
  // From the system: a thread may need one in the middle of letting go an object, and memory has to be there.
  void* const memory = mmap(nullptr, sizeof(ThreadRecord), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  TYR_ASSERT(memory != MAP_FAILED);
  auto* record = new (memory) ThreadRecord;
  record->next = threadRecords();
  do {
    record->stripe = record->next == nullptr ? 0 : std::min(record->next->stripe + 1, stripes - 1);
    // Release: the record, to whoever walks the list. Acquire: the one that another thread put there meanwhile.
  } while (!records.compare_exchange_weak(record->next, record, std::memory_order_release, std::memory_order_acquire));
  return record;
}

}  // namespace

constinit std::atomic<bool> pinByExchange{true};

namespace {

constinit bool forkedAmongThreads = false;

void inChild() noexcept {
  pinByExchange.store(membarrierMissing(), std::memory_order_relaxed);  // a process registers for itself
  for (const ThreadRecord* record = threadRecords(); record != nullptr; record = record->next) {
    if (record != threadRecord && record->taken.load(std::memory_order_relaxed)) forkedAmongThreads = true;
  }
  if (forkedAmongThreads) threadRecord = nullptr;  // whatever comes next asks for one
}

struct Process {
  Process() noexcept {
    pinByExchange.store(membarrierMissing(), std::memory_order_relaxed);
    pthread_atfork(nullptr, nullptr, inChild);
  }
};
__attribute__((init_priority(101))) const Process process;

}  // namespace

ThreadRecord* threadRecords() noexcept { return records.load(std::memory_order_acquire); }

ThreadRecord& newThreadRecord() noexcept {
  TYR_ASSERT_TEXT(!forkedAmongThreads, "a child of fork() uses interned objects, and its parent had threads that did");
  ThreadRecord* record = usedBefore();
  if (record == nullptr) record = quiteNew();
  threadRecord = record;
  pthread_setspecific(endKey(), record);  // failing, it leaves the record to nobody
  return *record;
}

std::uint64_t graceStart() noexcept {
  if (!pinByExchange.load(std::memory_order_relaxed)) membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED);
  // Release: what is unreachable by now, to readers that pin themselves with the new period.
  return gracePeriod.fetch_add(1, std::memory_order_acq_rel) + 1;
}

bool gracePassed(std::uint64_t period, const ThreadRecord* except) noexcept {
  for (ThreadRecord* record = threadRecords(); record != nullptr; record = record->next) {
    if (record == except) continue;
    // By read-modify-write, so that it comes before or after a reader's exchange, never beside it. Acquire: what that
    // reader did before it unpinned.
    const std::uint64_t pin = pinByExchange.load(std::memory_order_relaxed)
                                  ? record->pin.fetch_add(0, std::memory_order_acq_rel)
                                  : record->pin.load(std::memory_order_acquire);
    if (pin != 0 && pin < period) return false;
  }
  return true;
}

void graceWait() noexcept {
  const std::uint64_t period = graceStart();
  for (Backoff backoff; !gracePassed(period, &thisThread());) backoff.pause();
}

void Backoff::rest() noexcept {
  // Sleeping in the end: the holder may be a thread of lower priority than ours.
  if (turns_ < 192) return std::this_thread::yield();
  std::this_thread::sleep_for(std::chrono::microseconds(50));
}

}  // namespace Keel::detail
