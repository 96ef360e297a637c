// The observers of one object, told of each change by (attribute, key): which attribute changed, and which of its
// entries.
//
//   Tyr::NotifieeList<RouteTarget> observers;
//   auto handle = observers.attach([](unsigned attribute, const RouteTarget& rt) { ... });
//   observers.notify(attributeRt, rt);      // calls every observer, in the order of attaching
//
// Ownership: the list keeps the callbacks, the handle keeps its observer attached: destroying it, or detach(), ends
// that. A handle may outlive the list. Threads: none but the caller's; the list has no lock, and a callback runs inside
// notify(). A callback may attach, detach (itself, too), notify again and destroy the list. One that is attached during
// a notification hears from the next one on, one that is detached is not called again. What a callback throws ends the
// notification and comes out of notify().
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <utility>

#include "Tyr/Export.h"

namespace Tyr {

// What lists of all keys are made of. Its callbacks take the key by its address.
class VELBGP_EXPORT AnyNotifieeList {
 public:
  class Handle;

  // How many are attached. From any thread.
  std::size_t size() const noexcept;

 protected:
  using AnyCallback = std::function<void(unsigned attribute, const void* key)>;

  AnyNotifieeList();
  ~AnyNotifieeList();
  AnyNotifieeList(const AnyNotifieeList&) = delete;
  AnyNotifieeList& operator=(const AnyNotifieeList&) = delete;

  // As in NotifieeList.
  [[nodiscard]] Handle attachAny(AnyCallback callback);
  void notifyAny(unsigned attribute, const void* key);
  void notifyAllAny(unsigned attribute, const void* key) noexcept;

 private:
  struct Observer;
  struct State;
  struct Notification;
  template <typename Call>
  void forEachObserver(Call&& call);

  std::shared_ptr<State> state_;  // shared with the handles, and kept by a notification that is under way
};

class [[nodiscard]] AnyNotifieeList::Handle {
 public:
  Handle() noexcept = default;
  Handle(Handle&& other) noexcept
      : state_(std::move(other.state_)), observer_(std::exchange(other.observer_, nullptr)) {}
  Handle& operator=(Handle&& other) noexcept {
    Handle(std::move(other)).swap(*this);
    return *this;
  }
  ~Handle() { detach(); }

  // Ends the attachment, if there is one.
  void detach();

 private:
  friend class AnyNotifieeList;
  Handle(const std::shared_ptr<State>& state, Observer* observer) noexcept : state_(state), observer_(observer) {}
  void swap(Handle& other) noexcept {
    state_.swap(other.state_);
    std::swap(observer_, other.observer_);
  }

  std::weak_ptr<State> state_;
  Observer* observer_ = nullptr;
};

template <typename Key>
class NotifieeList : public AnyNotifieeList {
 public:
  using Callback = std::function<void(unsigned attribute, const Key& key)>;

  // An empty handle, no observer, for an empty function.
  [[nodiscard]] Handle attach(Callback callback) {
    if (!callback) return {};
    return attachAny([callback = std::move(callback)](unsigned attribute, const void* key) {
      callback(attribute, *static_cast<const Key*>(key));
    });
  }
  // Calls all, in the order of attaching; what one throws ends it.
  void notify(unsigned attribute, const Key& key) { notifyAny(attribute, &key); }
  // For what cannot be undone: every observer is called, and what one throws goes no further.
  void notifyAll(unsigned attribute, const Key& key) noexcept { notifyAllAny(attribute, &key); }
};

}  // namespace Tyr
