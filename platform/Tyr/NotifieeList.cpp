#include "Tyr/NotifieeList.h"

#include <algorithm>
#include <atomic>
#include <vector>

namespace Tyr {

struct AnyNotifieeList::Observer {
  AnyCallback callback;
  bool attached = true;
};

struct AnyNotifieeList::State {
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

struct AnyNotifieeList::Notification {
  explicit Notification(State& state) noexcept : state_(state) { ++state_.notifying; }
  ~Notification() {
    --state_.notifying;
    state_.sweep();
  }
  Notification(const Notification&) = delete;
  Notification& operator=(const Notification&) = delete;
  State& state_;
};

AnyNotifieeList::AnyNotifieeList() : state_(std::make_shared<State>()) {}

AnyNotifieeList::~AnyNotifieeList() {
  const std::shared_ptr<State> state = state_;
  for (const auto& observer : state->observers) state->detach(*observer);
  state->sweep();
}

std::size_t AnyNotifieeList::size() const noexcept { return state_->attached.load(std::memory_order_relaxed); }

void AnyNotifieeList::Handle::detach() {
  const std::shared_ptr<State> state = std::exchange(state_, {}).lock();
  Observer* const observer = std::exchange(observer_, nullptr);
  if (state == nullptr || observer == nullptr) return;
  state->detach(*observer);
  state->sweep();
}

AnyNotifieeList::Handle AnyNotifieeList::attachAny(AnyCallback callback) {
  auto observer = std::make_unique<Observer>();
  observer->callback = std::move(callback);
  state_->observers.push_back(std::move(observer));
  state_->attached.fetch_add(1, std::memory_order_relaxed);
  return Handle(state_, state_->observers.back().get());
}

template <typename Call>
void AnyNotifieeList::forEachObserver(Call&& call) {
  if (state_->observers.empty()) return;
  const std::shared_ptr<State> state = state_;
  const Notification underWay(*state);
  const std::size_t count = state->observers.size();
  for (std::size_t i = 0; i < count; ++i) {
    Observer& observer = *state->observers[i];
    if (observer.attached) call(observer.callback);
  }
}

void AnyNotifieeList::notifyAny(unsigned attribute, const void* key) {
  forEachObserver([&](const AnyCallback& callback) { callback(attribute, key); });
}

void AnyNotifieeList::notifyAllAny(unsigned attribute, const void* key) noexcept {
  forEachObserver([&](const AnyCallback& callback) {
    try {
      callback(attribute, key);
    } catch (...) {
    }
  });
}

}  // namespace Tyr
