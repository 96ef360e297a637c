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

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace Tyr {

template <typename Key>
class NotifieeList {
 public:
  using Callback = std::function<void(unsigned attribute, const Key& key)>;
  class Handle;

  NotifieeList() : state_(std::make_shared<State>()) {}
  ~NotifieeList() {
    const std::shared_ptr<State> state = state_;
    for (const auto& observer : state->observers) state->detach(*observer);
    state->sweep();
  }
  NotifieeList(const NotifieeList&) = delete;
  NotifieeList& operator=(const NotifieeList&) = delete;

  // An empty handle, no observer, for an empty function.
  [[nodiscard]] Handle attach(Callback callback);
  void notify(unsigned attribute, const Key& key);
  // For what cannot be undone: every observer is called, and what one throws goes no further.
  void notifyAll(unsigned attribute, const Key& key) noexcept;
  // How many are attached. From any thread.
  std::size_t size() const noexcept { return state_->attached.load(std::memory_order_relaxed); }

 private:
  struct Observer {
    Callback callback;
    bool attached = true;
  };

  // Shared with the handles, and kept by a notification that is under way.
  struct State {
    // Pointers: a callback that is running must not be moved when another observer is attached.
    std::vector<std::unique_ptr<Observer>> observers;
    std::atomic<std::size_t> attached{0};
    unsigned notifying = 0;
    bool stale = false;

    void detach(Observer& observer) noexcept {
      if (std::exchange(observer.attached, false)) attached.fetch_sub(1, std::memory_order_relaxed);
      stale = true;
    }
    // Drops the detached ones unless a notification still walks over them. Each is taken out before it is destroyed:
    // what a callback holds may itself be a handle of this list.
    void sweep() noexcept {
      while (stale && notifying == 0) {
        const auto dead = std::find_if(observers.begin(), observers.end(), [](const auto& o) { return !o->attached; });
        stale = dead != observers.end();
        if (!stale) return;
        const std::unique_ptr<Observer> dropped = std::move(*dead);
        observers.erase(dead);
      }
    }
  };

  struct Notification {
    explicit Notification(State& state) noexcept : state_(state) { ++state_.notifying; }
    ~Notification() {
      --state_.notifying;
      state_.sweep();
    }
    Notification(const Notification&) = delete;
    Notification& operator=(const Notification&) = delete;
    State& state_;
  };

  template <typename Call>
  void forEachObserver(Call&& call);

  std::shared_ptr<State> state_;
};

template <typename Key>
class [[nodiscard]] NotifieeList<Key>::Handle {
 public:
  Handle() noexcept = default;
  Handle(Handle&& other) noexcept
      : state_(std::move(other.state_)), observer_(std::exchange(other.observer_, nullptr)) {}
  Handle& operator=(Handle&& other) noexcept {
    Handle(std::move(other)).swap(*this);
    return *this;
  }
  ~Handle() { detach(); }

  void detach() {
    const std::shared_ptr<State> state = std::exchange(state_, {}).lock();
    Observer* const observer = std::exchange(observer_, nullptr);
    if (state == nullptr || observer == nullptr) return;
    state->detach(*observer);
    state->sweep();
  }

 private:
  friend class NotifieeList;
  Handle(const std::shared_ptr<State>& state, Observer* observer) noexcept : state_(state), observer_(observer) {}
  void swap(Handle& other) noexcept {
    state_.swap(other.state_);
    std::swap(observer_, other.observer_);
  }

  std::weak_ptr<State> state_;
  Observer* observer_ = nullptr;
};

template <typename Key>
typename NotifieeList<Key>::Handle NotifieeList<Key>::attach(Callback callback) {
  if (!callback) return {};
  auto observer = std::make_unique<Observer>();
  observer->callback = std::move(callback);
  state_->observers.push_back(std::move(observer));
  state_->attached.fetch_add(1, std::memory_order_relaxed);
  return Handle(state_, state_->observers.back().get());
}

template <typename Key>
template <typename Call>
void NotifieeList<Key>::forEachObserver(Call&& call) {
  if (state_->observers.empty()) return;
  const std::shared_ptr<State> state = state_;
  const Notification underWay(*state);
  const std::size_t count = state->observers.size();
  for (std::size_t i = 0; i < count; ++i) {
    Observer& observer = *state->observers[i];
    if (observer.attached) call(observer.callback);
  }
}

template <typename Key>
void NotifieeList<Key>::notify(unsigned attribute, const Key& key) {
  forEachObserver([&](const Callback& callback) { callback(attribute, key); });
}

template <typename Key>
void NotifieeList<Key>::notifyAll(unsigned attribute, const Key& key) noexcept {
  forEachObserver([&](const Callback& callback) {
    try {
      callback(attribute, key);
    } catch (...) {
    }
  });
}

}  // namespace Tyr
