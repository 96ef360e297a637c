// Which route targets are alive, and who wants to know.
//
//   RouteTarget                        the 64-bit value of a route-target extended community (RFC 4360, RFC 5668)
//   NotifyingRouteTargetList           the values of all interned route targets
//   NotifyingRtExtCommListCollection   all interned route-target classification lists, each by its notifier
//
// Both are filled and emptied by the interning tables' lifetime announcements alone; everyone else attaches observers
// and reads. An observer is told of each appearance and each disappearance once, by (attribute, key), and asks the
// collection which of the two it was.
//
// An observer must not throw: that ends the process, for its picture could no longer be trusted.
//
// Threads: no lock of their own. Announcements come on the interning or releasing thread, one at a time per table
// (Keel/DedupHashTable.h says what an observer must not do in one); reading and attaching is for a moment when no other
// thread interns or releases.
#pragma once

#include <boost/unordered/unordered_flat_set.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>

#include "Keel/DedupHashTable.h"
#include "Keel/HashMix.h"
#include "Tyr/Export.h"
#include "Tyr/NotifieeList.h"
#include "Tyr/PtrInterface.h"

namespace Routing::Bgp {

class ExtComm;
class RtExtCommClassificationList;

struct RouteTarget {
  std::uint64_t value = 0;

  // Administrator, ":" and number, as the type octet lays them out; any type but IPv4 address and four-octet AS reads
  // as a two-octet AS.
  VELBGP_EXPORT std::string toStrep(bool asDot) const;

  friend constexpr bool operator==(const RouteTarget&, const RouteTarget&) noexcept = default;
  friend constexpr bool operator<(const RouteTarget& a, const RouteTarget& b) noexcept { return a.value < b.value; }
};

// "0x" and 16 lower-case hex digits.
VELBGP_EXPORT std::string valueToStrep(const RouteTarget& rt);

class VELBGP_EXPORT NotifyingRouteTargetList final : public Tyr::PtrInterface {
 public:
  using Ptr = Tyr::Ptr<NotifyingRouteTargetList>;
  using PtrConst = Tyr::Ptr<const NotifyingRouteTargetList>;
  struct Hash {
    std::size_t operator()(const RouteTarget& rt) const noexcept {
      return Keel::singleAttributeHash(rt.value, 0x10a8ab);
    }
  };
  using Set = boost::unordered_flat_set<RouteTarget, Hash>;

  // The attribute under which changes are announced.
  static constexpr unsigned attributeRt = 1;

  // Inserts; announces unless it was a member.
  void rtIs(const RouteTarget& rt);
  // Removes; announces, and returns true, only if it was a member.
  bool rtDel(const RouteTarget& rt);
  void rtDelAll();

  const Set& rt() const noexcept { return rt_; }
  // The member with this value, or null.
  const RouteTarget* rt(const RouteTarget& key) const;
  std::size_t rtCount() const noexcept { return rt_.size(); }

  Tyr::NotifieeList<RouteTarget>& notifieeList() noexcept { return notifieeList_; }

  // A header with the member count, then a line per member, ascending.
  void dumpState(Keel::DumpContext& context, std::uint32_t indent) const;

 private:
  ~NotifyingRouteTargetList() override;

  Set rt_;
  Tyr::NotifieeList<RouteTarget> notifieeList_;
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

class VELBGP_EXPORT NotifyingRtExtCommListCollection final : public Tyr::PtrInterface {
 public:
  using Ptr = Tyr::Ptr<NotifyingRtExtCommListCollection>;
  using PtrConst = Tyr::Ptr<const NotifyingRtExtCommListCollection>;
  using Key = RtExtCommListLifeTimeNotifier::PtrConst;
  struct Hash {
    std::size_t operator()(const Key& key) const noexcept {
      return Keel::singleAttributeHash(reinterpret_cast<std::uintptr_t>(key.get()), 0);
    }
  };
  using Set = boost::unordered_flat_set<Key, Hash>;

  static constexpr unsigned attributeRtExtCommList = 1;

  void rtExtCommListIs(const Key& notifier);
  bool rtExtCommListDel(const Key& notifier);
  void rtExtCommListDelAll();

  const Set& rtExtCommList() const noexcept { return rtExtCommList_; }
  std::size_t rtExtCommListCount() const noexcept { return rtExtCommList_.size(); }

  Tyr::NotifieeList<Key>& notifieeList() noexcept { return notifieeList_; }

  // A header with the member count, then a line per member.
  void dumpState(Keel::DumpContext& context, std::uint32_t indent) const;

 private:
  ~NotifyingRtExtCommListCollection() override;

  Set rtExtCommList_;
  Tyr::NotifieeList<Key> notifieeList_;
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

 private:
  ~RtExtCommListLifeTimeNotifiee() override;

  const NotifyingRtExtCommListCollection::Ptr collection_;
};

VELBGP_EXPORT RtExtCommListLifeTimeNotifiee::Ptr rtExtCommListLifeTimeNotifieeFactory(
    NotifyingRtExtCommListCollection::Ptr collection);

}  // namespace Routing::Bgp
