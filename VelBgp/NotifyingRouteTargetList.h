// Which route targets are alive, and who wants to know.
//
//   RouteTarget                        the 64-bit value of a route-target extended community (RFC 4360, RFC 5668)
//   NotifyingRouteTargetList           the values of all interned route targets
//   NotifyingRtExtCommListCollection   all interned route-target classification lists, each by its notifier
//
// Both say what is in an interning table, and are told by that table's lifetime announcements alone; everyone else
// attaches observers and reads. They keep no copy of the members: as long as nobody observes, an object that comes or
// goes costs nothing here. An observer is told of each appearance and each disappearance once, by (attribute, key), and
// asks the collection which of the two it was: while it is told of a key the collection answers for that key as the
// notification has it, for others as the table is now. Members can also be entered and removed by hand; those are kept
// here, and nobody removes by hand what the table holds.
//
// An observer must not throw: that ends the process, for its picture could no longer be trusted.
//
// Threads: reading is safe while others intern and let go; what is read is a copy. Observers are told on the interning
// or releasing thread, one at a time per table, and may intern, look up and let go (Keel/DedupHashTable.h, "Announcements").
// Attaching and detaching are for an observer that is being told, or a moment when no other thread interns or releases.
#pragma once

#include <atomic>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_set>

#include "Keel/DedupHashTable.h"
#include "Keel/HashMix.h"
#include "Tyr/Export.h"
#include "Tyr/NotifieeList.h"
#include "Tyr/PtrInterface.h"
#include "Tyr/Strep.h"

namespace Routing::Bgp {

class ExtComm;
class RtExtCommClassificationList;

struct VELBGP_EXPORT RouteTarget {
  std::uint64_t value = 0;

  // Administrator, ":" and number, as the type octet lays them out; any type but IPv4 address and four-octet AS reads
  // as a two-octet AS.
  VELBGP_EXPORT std::string toStrep(bool asDot) const;

  // Reads a whole text of the form below.
  VELBGP_EXPORT static RouteTarget strepToValue(std::string_view text);

  friend constexpr auto operator<=>(const RouteTarget&, const RouteTarget&) noexcept = default;
};

// "0x" and 16 lower-case hex digits.
VELBGP_EXPORT std::string valueToStrep(const RouteTarget& rt);
// Takes that text from the front of the range; throws Tyr::ParseException, and nothing is changed, if there is none.
VELBGP_EXPORT void strepToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, RouteTarget* rt);

// What both collections are made of. `Members` names a key and its hash.
template <typename Members>
class VELBGP_EXPORT NotifyingCollection : public Tyr::PtrInterface {
 public:
  using Key = typename Members::Key;
  using Hash = typename Members::Hash;
  using Set = std::unordered_set<Key, Hash>;

  // Where observers attach: told of each key that comes or goes, on the thread that interns or lets go.
  Tyr::NotifieeList<Key>& notifieeList() noexcept { return notifieeList_; }
  bool isObserved() const noexcept { return notifieeList_.size() != 0; }

  // The table whose objects are the members, null for none.
  void watchedTableIs(const Keel::DedupHashTable* table) noexcept { watched_.store(table, std::memory_order_release); }
  const Keel::DedupHashTable* watchedTable() const noexcept { return watched_.load(std::memory_order_acquire); }
  // The announcements of that table's notifiee.
  void comes(const Key& key) noexcept { tell(key, true); }
  void goes(const Key& key) noexcept { tell(key, false); }

 protected:
  NotifyingCollection();
  ~NotifyingCollection() override;

  // The attribute under which all changes are announced.
  static constexpr unsigned attribute = 1;

  // Members are what the watched table holds and what was entered by hand. Only the latter can be withdrawn; whether it
  // was there is the answer. Observers are told.
  bool isMember(const Key& key) const;
  void enter(const Key& key);
  bool withdraw(const Key& key);
  void withdrawAll();
  Set members() const;

 private:
  // Of the watched table.
  virtual bool isWatched(const Keel::DedupHashTable& table, const Key& key) const = 0;
  virtual void addWatched(const Keel::DedupHashTable& table, Set& set) const = 0;

  bool isEntered(const Key& key) const;
  void tell(const Key& key, bool present) noexcept;

  std::atomic<const Keel::DedupHashTable*> watched_{nullptr};
  mutable std::mutex mutex_;
  Tyr::NotifieeList<Key> notifieeList_;
  Set* const entered_;  // by hand; under the mutex. The last member: nothing fails behind it
};

struct VELBGP_EXPORT RouteTargetHash {
  std::size_t operator()(const RouteTarget& rt) const noexcept { return Keel::singleAttributeHash(rt.value, 0x10a8ab); }
};

struct VELBGP_EXPORT RouteTargetMembers {
  using Key = RouteTarget;
  using Hash = RouteTargetHash;
};

class VELBGP_EXPORT NotifyingRouteTargetList final : public NotifyingCollection<RouteTargetMembers> {
 public:
  using Ptr = Tyr::Ptr<NotifyingRouteTargetList>;
  using PtrConst = Tyr::Ptr<const NotifyingRouteTargetList>;

  // The attribute under which changes are announced.
  static constexpr unsigned attributeRt = attribute;

  // Inserts; announces unless it was a member.
  void rtIs(const RouteTarget& rt) { enter(rt); }
  // Removes; announces, and returns true, only if it was a member.
  bool rtDel(const RouteTarget& rt) { return withdraw(rt); }
  void rtDelAll() { withdrawAll(); }

  // All members.
  Set rt() const;
  // `&key` if it is a member, or null.
  const RouteTarget* rt(const RouteTarget& key) const { return isMember(key) ? &key : nullptr; }
  // Walks through the table.
  std::size_t rtCount() const;

  // A header with the member count, then a line per member, ascending.
  void dumpState(Keel::DumpContext& context, std::uint32_t indent) const;

 private:
  ~NotifyingRouteTargetList() override;
  bool isWatched(const Keel::DedupHashTable& table, const RouteTarget& rt) const override;
  void addWatched(const Keel::DedupHashTable& table, Set& set) const override;
};

// Stands for one interned route-target classification list, from its entry into the table to its leaving.
class VELBGP_EXPORT RtExtCommListLifeTimeNotifier final : public Keel::DedupHandleLifeTimeNotifier {
 public:
  using Ptr = Tyr::Ptr<RtExtCommListLifeTimeNotifier>;
  using PtrConst = Tyr::Ptr<const RtExtCommListLifeTimeNotifier>;

  using DedupHandleLifeTimeNotifier::DedupHandleLifeTimeNotifier;

  const RtExtCommClassificationList* rtExtCommListRawPtr() const noexcept;
  // The list's community with this value, or null.
  Tyr::Ptr<const ExtComm> comm(std::uint64_t index) const;
  // The list's text.
  std::string toStrep() const;

 private:
  ~RtExtCommListLifeTimeNotifier() override;
};

struct VELBGP_EXPORT NotifierHash {
  std::size_t operator()(const RtExtCommListLifeTimeNotifier::PtrConst& notifier) const noexcept {
    return Keel::singleAttributeHash(reinterpret_cast<std::uintptr_t>(notifier.get()), 0);
  }
};

struct VELBGP_EXPORT RtExtCommListMembers {
  using Key = RtExtCommListLifeTimeNotifier::PtrConst;
  using Hash = NotifierHash;
};

class VELBGP_EXPORT NotifyingRtExtCommListCollection final : public NotifyingCollection<RtExtCommListMembers> {
 public:
  using Ptr = Tyr::Ptr<NotifyingRtExtCommListCollection>;
  using PtrConst = Tyr::Ptr<const NotifyingRtExtCommListCollection>;

  // What its observers are told under.
  static constexpr unsigned attributeRtExtCommList = attribute;

  void rtExtCommListIs(const Key& notifier) { enter(notifier); }
  bool rtExtCommListDel(const Key& notifier) { return withdraw(notifier); }
  void rtExtCommListDelAll() { withdrawAll(); }

  // All members.
  Set rtExtCommList() const;
  std::size_t rtExtCommListCount() const;

  // A header with the member count, then a line per member.
  void dumpState(Keel::DumpContext& context, std::uint32_t indent) const;

 private:
  ~NotifyingRtExtCommListCollection() override;
  bool isWatched(const Keel::DedupHashTable& table, const Key& notifier) const override;
  void addWatched(const Keel::DedupHashTable& table, Set& set) const override;
};

// Keeps a NotifyingRtExtCommListCollection equal to the set of interned route-target classification lists.
class VELBGP_EXPORT RtExtCommListLifeTimeNotifiee final : public Keel::DedupLifeTimeNotifiee {
 public:
  using Ptr = Tyr::Ptr<RtExtCommListLifeTimeNotifiee>;

  explicit RtExtCommListLifeTimeNotifiee(NotifyingRtExtCommListCollection::Ptr collection) noexcept;
  const NotifyingRtExtCommListCollection::Ptr& collection() const noexcept { return collection_; }

  void handleInsert(Keel::DedupHandleBase* handle) override;
  void handleRemove(Keel::DedupHandleBase* rawHandle) override;
  void handleNotificationStop(Keel::DedupHashTable* table) override;
  bool wantsToHearOf(Keel::DedupHandleBase& handle) noexcept override;

 private:
  ~RtExtCommListLifeTimeNotifiee() override;

  const NotifyingRtExtCommListCollection::Ptr collection_;
};

VELBGP_EXPORT RtExtCommListLifeTimeNotifiee::Ptr rtExtCommListLifeTimeNotifieeFactory(
    NotifyingRtExtCommListCollection::Ptr collection);

}  // namespace Routing::Bgp

template <>
struct std::hash<Routing::Bgp::RouteTarget> {
  std::size_t operator()(const Routing::Bgp::RouteTarget& rt) const noexcept {
    return Keel::singleAttributeHash(rt.value, 0);
  }
};
