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

namespace {

template <typename Key>
void tell(Tyr::NotifieeList<Key>& observers, unsigned attribute, const Key& key) noexcept {
  observers.notify(attribute, key);
}

}  // namespace

NotifyingRouteTargetList::~NotifyingRouteTargetList() = default;

void NotifyingRouteTargetList::rtIs(const RouteTarget& rt) {
  if (rt_.insert(rt).second) tell(notifieeList_, attributeRt, rt);
}

bool NotifyingRouteTargetList::rtDel(const RouteTarget& rt) {
  const RouteTarget key = rt;  // `rt` may be the member itself
  if (rt_.erase(key) == 0) return false;
  tell(notifieeList_, attributeRt, key);
  return true;
}

void NotifyingRouteTargetList::rtDelAll() {
  for (auto it = rt_.begin(); it != rt_.end();) rtDel(*it++);
}

const RouteTarget* NotifyingRouteTargetList::rt(const RouteTarget& key) const {
  const auto it = rt_.find(key);
  return it == rt_.end() ? nullptr : &*it;
}

void NotifyingRouteTargetList::dumpState(Keel::DumpContext& context, std::uint32_t indent) const {
  context.line(indent, "NotifyingRouteTargetList #" + std::to_string(rtCount()) + ":");
  std::vector<RouteTarget> members(rt_.begin(), rt_.end());
  std::sort(members.begin(), members.end());
  for (const RouteTarget& rt : members) context.line(indent + 2, rt.toStrep(false));
}

RtExtCommListLifeTimeNotifier::~RtExtCommListLifeTimeNotifier() = default;

const RtExtCommClassificationList* RtExtCommListLifeTimeNotifier::rtExtCommListRawPtr() const noexcept {
  return static_cast<const RtExtCommClassificationList*>(getDedupedObjectRawPtr());
}

ExtComm::PtrConst RtExtCommListLifeTimeNotifier::comm(std::uint64_t index) const {
  return rtExtCommListRawPtr()->comm(index);
}

std::string RtExtCommListLifeTimeNotifier::toStrep() const { return stringify(rtExtCommListRawPtr()); }

NotifyingRtExtCommListCollection::~NotifyingRtExtCommListCollection() = default;

void NotifyingRtExtCommListCollection::rtExtCommListIs(const Key& notifier) {
  if (rtExtCommList_.insert(notifier).second) tell(notifieeList_, attributeRtExtCommList, notifier);
}

bool NotifyingRtExtCommListCollection::rtExtCommListDel(const Key& notifier) {
  const Key key = notifier;  // keeps it for the observers, also when `notifier` is the member itself
  if (rtExtCommList_.erase(key) == 0) return false;
  tell(notifieeList_, attributeRtExtCommList, key);
  return true;
}

void NotifyingRtExtCommListCollection::rtExtCommListDelAll() {
  for (auto it = rtExtCommList_.begin(); it != rtExtCommList_.end();) rtExtCommListDel(*it++);
}

void NotifyingRtExtCommListCollection::dumpState(Keel::DumpContext& context, std::uint32_t indent) const {
  context.line(indent,
               "NotifyingRtExtCommListCollection rtExtCommLists #" + std::to_string(rtExtCommListCount()) + ";");
  std::vector<std::string> members;
  for (const Key& notifier : rtExtCommList_) members.push_back("rtExtCommList " + notifier->toStrep());
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
  collection_->rtExtCommListIs(notifier);
}

void RtExtCommListLifeTimeNotifiee::handleRemove(Keel::DedupHandleBase* rawHandle) {
  auto* rtExtCommList = static_cast<RtExtCommClassificationList*>(rawHandle);
  const RtExtCommListLifeTimeNotifier::Ptr held = rtExtCommList->lifeTimeNotifier();
  const RtExtCommListLifeTimeNotifier* lifeTimeNotifier = held.get();
  TYR_TRACE(9, "handle: " << static_cast<const ExtCommClassificationList*>(rtExtCommList)
                          << " rtExtCommListLifeTimeNotifier: " << lifeTimeNotifier);
  TYR_ASSERT(__null != lifeTimeNotifier);
  collection_->rtExtCommListDel(held);
  rtExtCommList->lifeTimeNotifierIs(nullptr);
}

void RtExtCommListLifeTimeNotifiee::handleNotificationStop(Keel::DedupHashTable*) {
  const auto& members = collection_->rtExtCommList();
  for (auto it = members.begin(); it != members.end();) handleRemove((*it++)->getDedupedObjectRawPtr());
}

RtExtCommListLifeTimeNotifiee::Ptr rtExtCommListLifeTimeNotifieeFactory(
    NotifyingRtExtCommListCollection::Ptr collection) {
  return Tyr::make<RtExtCommListLifeTimeNotifiee>(std::move(collection));
}

}  // namespace Routing::Bgp
