#include "VelBgp/NotifyingRouteTargetList.h"

#include <algorithm>
#include <sstream>
#include <utility>
#include <vector>

#include "Tyr/DynamicBuffer.h"
#include "Tyr/Trace.h"
#include "VelBgp/ExtCommClassificationList.h"
#include "VelBgp/ExtCommTextImpl.h"

namespace Routing::Bgp {

std::string RouteTarget::toStrep(bool asDot) const {
  const ExtCommContent content(value);
  Tyr::DynamicBuffer<64> buffer;
  if (content.typeOctet() == extCommPktTypeTransIpv4Address) {
    appendIpv4Form(buffer, content);
  } else {
    appendAsForm(buffer, content, content.typeOctet() == extCommPktTypeTransFourOctetAs, asDot);
  }
  return buffer.str();
}

std::string valueToStrep(const RouteTarget& rt) { return valueToStrep(ExtCommContent(rt.value)); }

void strepToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, RouteTarget* rt) {
  rt->value = Tyr::readHex64(it, end);
}

RouteTarget RouteTarget::strepToValue(std::string_view text) { return {Tyr::readWhole(text, Tyr::readHex64)}; }

// ---- What both collections are made of

namespace {

// The notifications that a thread is inside of, the innermost first.
template <typename Key>
struct UnderWay {
  const void* collection;
  const Key& key;
  bool present;
  const UnderWay* outer;

  static inline thread_local const UnderWay* innermost = nullptr;
};

}  // namespace

template <typename Members>
NotifyingCollection<Members>::NotifyingCollection() : entered_(new Set) {}
template <typename Members>
NotifyingCollection<Members>::~NotifyingCollection() {
  delete entered_;
}

template <typename Members>
void NotifyingCollection<Members>::tell(const Key& key, bool present) noexcept {
  const UnderWay<Key> now{this, key, present, UnderWay<Key>::innermost};
  UnderWay<Key>::innermost = &now;
  notifieeList_.notify(attribute, key);
  UnderWay<Key>::innermost = now.outer;
}

template <typename Members>
bool NotifyingCollection<Members>::isEntered(const Key& key) const {
  const std::lock_guard lock(mutex_);
  return entered_->contains(key);
}

template <typename Members>
bool NotifyingCollection<Members>::isMember(const Key& key) const {
  for (const UnderWay<Key>* event = UnderWay<Key>::innermost; event != nullptr; event = event->outer) {
    if (event->collection == this && event->key == key) return event->present;
  }
  const Keel::DedupHashTable* const table = watchedTable();
  return (table != nullptr && isWatched(*table, key)) || isEntered(key);
}

template <typename Members>
void NotifyingCollection<Members>::enter(const Key& key) {
  if (isMember(key)) return;
  {
    const std::lock_guard lock(mutex_);
    if (!entered_->insert(key).second) return;
  }
  tell(key, true);
}

template <typename Members>
bool NotifyingCollection<Members>::withdraw(const Key& key) {
  const Key kept = key;  // for the observers, also when `key` is the member itself
  {
    const std::lock_guard lock(mutex_);
    if (entered_->erase(kept) == 0) return false;
  }
  tell(kept, false);
  return true;
}

template <typename Members>
void NotifyingCollection<Members>::withdrawAll() {
  const Set all = members();
  for (const Key& key : all) withdraw(key);
}

template <typename Members>
typename NotifyingCollection<Members>::Set NotifyingCollection<Members>::members() const {
  Set all;
  if (const Keel::DedupHashTable* const table = watchedTable()) addWatched(*table, all);
  const std::lock_guard lock(mutex_);
  all.insert(entered_->begin(), entered_->end());
  return all;
}

template class NotifyingCollection<RouteTargetMembers>;
template class NotifyingCollection<RtExtCommListMembers>;

// ---- Route targets

NotifyingRouteTargetList::~NotifyingRouteTargetList() = default;

NotifyingRouteTargetList::Set NotifyingRouteTargetList::rt() const { return members(); }
std::size_t NotifyingRouteTargetList::rtCount() const { return members().size(); }

bool NotifyingRouteTargetList::isWatched(const Keel::DedupHashTable& table, const RouteTarget& rt) const {
  const auto same = [&rt](const Keel::DedupHandleBase& handle) {
    const auto& extComm = static_cast<const ExtComm&>(handle);
    return extComm.community() == rt.value && extComm.classification() == extCommClassificationRouteTarget;
  };
  return Tyr::Ptr<const Keel::DedupHandleBase>(table.find(ExtComm::hashOf(ExtCommContent(rt.value)), same), false) !=
         nullptr;
}

void NotifyingRouteTargetList::addWatched(const Keel::DedupHashTable& table, Set& set) const {
  table.forEach([&set](const Keel::DedupHandleBase* handle) {
    const auto* extComm = static_cast<const ExtComm*>(handle);
    if (extComm->classification() == extCommClassificationRouteTarget) set.insert(RouteTarget{extComm->community()});
  });
}

void NotifyingRouteTargetList::dumpState(Keel::DumpContext& context, std::uint32_t indent) const {
  const Set all = rt();
  context.line(indent, "NotifyingRouteTargetList #" + std::to_string(all.size()) + ":");
  std::vector<RouteTarget> members(all.begin(), all.end());
  std::sort(members.begin(), members.end());
  for (const RouteTarget& rt : members) context.line(indent + 2, rt.toStrep(false));
}

// ---- Lists of them

RtExtCommListLifeTimeNotifier::~RtExtCommListLifeTimeNotifier() = default;

const RtExtCommClassificationList* RtExtCommListLifeTimeNotifier::rtExtCommListRawPtr() const noexcept {
  return static_cast<const RtExtCommClassificationList*>(getDedupedObjectRawPtr());
}

ExtComm::PtrConst RtExtCommListLifeTimeNotifier::comm(std::uint64_t index) const {
  return rtExtCommListRawPtr()->comm(index);
}

std::string RtExtCommListLifeTimeNotifier::toStrep() const { return stringify(rtExtCommListRawPtr()); }

NotifyingRtExtCommListCollection::~NotifyingRtExtCommListCollection() = default;

NotifyingRtExtCommListCollection::Set NotifyingRtExtCommListCollection::rtExtCommList() const { return members(); }
std::size_t NotifyingRtExtCommListCollection::rtExtCommListCount() const { return members().size(); }

bool NotifyingRtExtCommListCollection::isWatched(const Keel::DedupHashTable& table, const Key& notifier) const {
  Set set;
  addWatched(table, set);
  return set.contains(notifier);
}

// A list that nobody has heard of yet has no notifier.
void NotifyingRtExtCommListCollection::addWatched(const Keel::DedupHashTable& table, Set& set) const {
  table.forEach([&set](Keel::DedupHandleBase* handle) {
    const Key notifier = static_cast<RtExtCommClassificationList*>(handle)->getLifeTimeNotifier();
    if (notifier != nullptr) set.insert(notifier);
  });
}

void NotifyingRtExtCommListCollection::dumpState(Keel::DumpContext& context, std::uint32_t indent) const {
  const Set all = rtExtCommList();
  context.line(indent, "NotifyingRtExtCommListCollection rtExtCommLists #" + std::to_string(all.size()) + ";");
  std::vector<std::string> members;
  for (const Key& notifier : all) members.push_back("rtExtCommList " + notifier->toStrep());
  std::sort(members.begin(), members.end());
  for (const std::string& member : members) context.line(indent + 2, member);
}

RtExtCommListLifeTimeNotifiee::RtExtCommListLifeTimeNotifiee(NotifyingRtExtCommListCollection::Ptr collection) noexcept
    : collection_(std::move(collection)) {}

RtExtCommListLifeTimeNotifiee::~RtExtCommListLifeTimeNotifiee() = default;

void RtExtCommListLifeTimeNotifiee::handleInsert(Keel::DedupHandleBase* handle) {
  auto* rtExtCommList = static_cast<RtExtCommClassificationList*>(handle);
  TYR_ASSERT(__null == rtExtCommList->lifeTimeNotifier());
  const auto notifier = Tyr::make<RtExtCommListLifeTimeNotifier>(handle);
  rtExtCommList->lifeTimeNotifierIs(notifier);
  TYR_TRACE(9, "handle: " << static_cast<const ExtCommClassificationList*>(rtExtCommList)
                          << " rtExtCommListLifeTimeNotifier: " << notifier.get());
  collection_->watchedTable() == nullptr ? collection_->rtExtCommListIs(notifier) : collection_->comes(notifier);
}

void RtExtCommListLifeTimeNotifiee::handleRemove(Keel::DedupHandleBase* rawHandle) {
  auto* rtExtCommList = static_cast<RtExtCommClassificationList*>(rawHandle);
  const RtExtCommListLifeTimeNotifier::Ptr held = rtExtCommList->lifeTimeNotifier();
  const RtExtCommListLifeTimeNotifier* lifeTimeNotifier = held.get();
  TYR_TRACE(9, "handle: " << static_cast<const ExtCommClassificationList*>(rtExtCommList)
                          << " rtExtCommListLifeTimeNotifier: " << lifeTimeNotifier);
  TYR_ASSERT(__null != lifeTimeNotifier);
  collection_->watchedTable() == nullptr ? static_cast<void>(collection_->rtExtCommListDel(held))
                                         : collection_->goes(held);
  rtExtCommList->lifeTimeNotifierIs(nullptr);
}

void RtExtCommListLifeTimeNotifiee::handleNotificationStop(Keel::DedupHashTable* table) {
  if (table == nullptr || collection_->watchedTable() != table) {
    const NotifyingRtExtCommListCollection::Set entered = collection_->rtExtCommList();
    for (const auto& notifier : entered) handleRemove(notifier->getDedupedObjectRawPtr());
    return;
  }
  // The lists are in no table any more. Each loses its notifier, if it has one or somebody is to hear of it.
  collection_->watchedTableIs(nullptr);
  table->forEach([this](Keel::DedupHandleBase* handle) {
    auto* list = static_cast<RtExtCommClassificationList*>(handle);
    if (collection_->isObserved()) list->notifierMake();
    const RtExtCommListLifeTimeNotifier::Ptr held = list->getLifeTimeNotifier();
    if (held != nullptr) collection_->goes(held);
    list->lifeTimeNotifierIs(nullptr);
  });
}

// Without an observer a list needs no notifier until somebody asks for it. Of a list that leaves, an observer that came
// late hears only if there is memory for its notifier; it has not heard of the list before.
bool RtExtCommListLifeTimeNotifiee::wantsToHearOf(Keel::DedupHandleBase& handle) noexcept {
  if (collection_->watchedTable() == nullptr) return true;
  if (!collection_->isObserved() && Tyr::traceLevel() < 9) return false;
  return !handle.isDeduped() || static_cast<RtExtCommClassificationList&>(handle).notifierMake();
}

RtExtCommListLifeTimeNotifiee::Ptr rtExtCommListLifeTimeNotifieeFactory(
    NotifyingRtExtCommListCollection::Ptr collection) {
  return Tyr::make<RtExtCommListLifeTimeNotifiee>(std::move(collection));
}

}  // namespace Routing::Bgp
