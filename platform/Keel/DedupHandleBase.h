// DedupHandleBase: the base of every interned object. DedupContentHandle: the base of what one is looked up by.
//
// An interned object is made by `new` with a count of zero and "never deduped", is handed to one DedupHashTable, and
// from then on is immutable and shared through Tyr::Ptr (one word). When its last pointer goes it leaves its table and
// is deleted. Objects live in Keel::handleHeap(); at most 2048 octets each, and DedupHandleBase must be their first
// base. Counts follow the protocol at the head of Keel/DedupHashTable.h.
#pragma once

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <cstdint>

#include "Keel/SlabHeap.h"
#include "Tyr/Assert.h"
#include "Tyr/Export.h"
#include "Tyr/FwkType.h"
#include "Tyr/PtrInterface.h"
#include "Tyr/Threading.h"

namespace Keel {

// The state of an object towards tables; each is told of below.
enum class DedupHandleState : std::uint8_t { neverDeduped, deduped, notInTable };

// Made, and not yet seen by a table.
constexpr DedupHandleState dedupHandleStateNeverDeduped() noexcept { return DedupHandleState::neverDeduped; }
// Held by the table that it was inserted in.
constexpr DedupHandleState dedupHandleStateDeduped() noexcept { return DedupHandleState::deduped; }
// Held by no table and never to be: read back from a store, or left over when its table was destroyed.
constexpr DedupHandleState dedupHandleStateNotInTable() noexcept { return DedupHandleState::notInTable; }

// The content that a lookup compares stored objects with. A mutable builder of its caller's; hash() is meaningful once
// the content is in its canonical form (sorted, for lists).
class VELBGP_EXPORT DedupContentHandle {
 public:
  virtual ~DedupContentHandle();
  virtual std::uint32_t hash() const = 0;
};

class DedupHashTable;

class VELBGP_EXPORT DedupHandleBase {
 public:
  DedupHandleBase(const DedupHandleBase&) = delete;
  DedupHandleBase& operator=(const DedupHandleBase&) = delete;

  virtual const Tyr::FwkType& fwkType() const = 0;

 protected:
  DedupHandleBase() noexcept {
    // By reference, for the octets are never touched but atomically: a reader may look at the count of the object that
    // was here before. Release: one that finds a count in it sees the owner.
    owner_.store(ownerNone, std::memory_order_relaxed);
    count().store(0, std::memory_order_release);
  }
  virtual ~DedupHandleBase();

 public:
  // The octets that it takes, with what it alone owns, but for the notifiers that may be made for it later.
  virtual std::size_t memoryOctets() const noexcept { return SlabHeap::octetsOf(this); }

  // Held by a table now; held by one at some time (or barred from all).
  virtual bool isDeduped() const;
  virtual bool everDeduped() const;
  // Stops the process when the object was never interned.
  virtual void assertIsDeduped() const;

  // The hash of the content, the same before and after interning, and equal to that of a DedupContentHandle that
  // matches. Mostly also that under which a table keeps the object; where not, the class says so.
  virtual std::uint32_t hash() const = 0;
  // Equality of content with an object of the same class family.
  virtual bool compare(const DedupHandleBase* other) const = 0;
  virtual bool compareByContent(const DedupContentHandle& content) const = 0;

  DedupHandleState dedupState() const noexcept {
    const std::uint16_t owner = owner_.load(std::memory_order_relaxed);
    if (owner == ownerNone) return DedupHandleState::neverDeduped;
    return owner >= ownerGone ? DedupHandleState::notInTable : DedupHandleState::deduped;
  }
  // For an object that must never be taken for an interned one. Asserts that it is in no table.
  void notInTableIs() noexcept;

  std::uint32_t referenceCount() const noexcept { return count().load(std::memory_order_relaxed); }
  // The hash under which the object was interned, for most classes that of hash(); 0 before.
  std::uint32_t storedHash() const noexcept { return hash_; }

  bool notificationActive() const noexcept { return (bits() & notificationActiveBit) != 0; }
  void notificationActiveIs(bool active) noexcept {
    bitsAre(notificationActiveBit, active ? notificationActiveBit : 0);
  }

  static void* operator new(std::size_t octets) { return handleHeap().allocate(octets); }
  static void operator delete(void* object) noexcept { SlabHeap::release(object); }

  // Takes a reference that Tyr::Ptr(object, false) or another release will give back.
  void referenceAdd() const noexcept {
    const std::uint32_t before = count().load(std::memory_order_relaxed);
    // Relaxed: the copier already holds a reference, so the object cannot be on its way out. A first reference is its
    // maker's, whom nobody can disturb; release, as in the constructor.
    if (Tyr::agentMultiThreaded() && before != 0) {
      count().fetch_add(1, std::memory_order_relaxed);
    } else {
      count().store(before + 1, std::memory_order_release);
    }
  }
  void referenceRelease() const noexcept {
    std::uint32_t before = count().load(std::memory_order_relaxed);
    if (!Tyr::agentMultiThreaded()) {
      if (before == 1) return lastReferenceRelease();
      count().store(before - 1, std::memory_order_relaxed);
      return;
    }
    while (before != 1) {
      // Release: what this holder wrote comes before whatever the one that frees the object does.
      if (count().compare_exchange_weak(before, before - 1, std::memory_order_release, std::memory_order_relaxed))
        return;
    }
    lastReferenceRelease();
  }

 protected:
  // Thirteen bits for the derived class (classification, attribute flags); written only before the object is shared.
  std::uint32_t userData() const noexcept { return bits() & userDataMask; }
  void userDataIs(std::uint32_t data) noexcept {
    bitsAre(userDataMask, static_cast<std::uint16_t>(data & userDataMask));
  }
  // Octet 0 is the lowest.
  std::uint8_t userDataOctet(unsigned index) const noexcept {
    return static_cast<std::uint8_t>(userData() >> (8 * index));
  }

  // In a table, whose observers were told of it if they were to be.
  bool isKnown() const noexcept { return isDeduped() && news() != newsComing; }

  // The bits of the user data that belong to derived classes.
  static constexpr std::uint16_t userDataMask = 0x1fff;

 private:
  friend class DedupHashTable;
  friend void intrusive_ptr_add_ref(const DedupHandleBase* object) noexcept { object->referenceAdd(); }
  friend void intrusive_ptr_release(const DedupHandleBase* object) noexcept { object->referenceRelease(); }

  // The count is one and it is ours: leave the table, then delete.
  void lastReferenceRelease() const noexcept;

  std::atomic_ref<std::uint32_t> count() const noexcept { return std::atomic_ref<std::uint32_t>(count_); }
  // The same octets of a slot that may hold an object, or hold none any more.
  static std::atomic_ref<std::uint32_t> countIn(void* slot) noexcept {
    return std::atomic_ref<std::uint32_t>(*reinterpret_cast<std::uint32_t*>(static_cast<char*>(slot) + sizeof(void*)));
  }
  // Relaxed: what they say was written before the object was shared, but for the news bits, which are the table's.
  std::uint16_t bits() const noexcept { return userData_.load(std::memory_order_relaxed); }
  void bitsAre(std::uint16_t mask, std::uint16_t bits) noexcept {
    userData_.store(static_cast<std::uint16_t>((this->bits() & ~mask) | bits), std::memory_order_relaxed);
  }

  static constexpr std::uint16_t ownerNone = 0;
  static constexpr std::uint16_t ownerGone = 0xfffe;    // was in a table, and is held though it is in none any more
  static constexpr std::uint16_t ownerBarred = 0xffff;  // was in none and shall not be
  static constexpr std::uint16_t notificationActiveBit = 0x8000;
  // What observers know of the object; see DedupHashTable.h.
  static constexpr std::uint16_t newsMask = 0x6000;
  static constexpr std::uint16_t newsNone = 0;
  static constexpr std::uint16_t newsComing = 0x2000;
  static constexpr std::uint16_t newsTold = 0x4000;
  static constexpr std::uint16_t newsCameAndWent = 0x6000;
  std::uint16_t news() const noexcept { return bits() & newsMask; }
  void newsIs(std::uint16_t news) noexcept { bitsAre(newsMask, news); }

  //  octet  0        8       12      16      20      22      24
  //         vtable   count   hash    next    owner   user data
  alignas(4) mutable std::uint32_t count_;
  std::uint32_t hash_ = 0;
  SlabRef next_ = 0;                  // of the objects that observers are still to be told of
  std::atomic<std::uint16_t> owner_;  // the number of the table that holds us, or one of the owners above
  std::atomic<std::uint16_t> userData_{0};
};
static_assert(sizeof(DedupHandleBase) == 24);

// Between an interned object and its 32-bit reference.
template <typename T>
const T* handleAt(SlabRef ref) noexcept {
  return static_cast<const T*>(static_cast<const DedupHandleBase*>(SlabHeap::at(ref)));
}
// The reference of an object.
inline SlabRef handleRef(const DedupHandleBase* handle) noexcept { return SlabHeap::refOf(handle); }

}  // namespace Keel
