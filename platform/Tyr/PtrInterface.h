// Reference-counted objects of the framework and the pointers to them.
//
//   class Rule : public Tyr::PtrInterface {
//    public:
//     using Ptr = Tyr::Ptr<Rule>;
//     using PtrConst = Tyr::Ptr<const Rule>;
//   };
//
// An object is made with a count of zero by `new` (through its class's factory) and owned by the pointers to it; the
// last one deletes it. Copying pointers to one object from several threads is safe once the agent is multi-threaded
// (Tyr/Threading.h); the object itself is as safe as its class says. Interned objects have a base of their own,
// Keel::DedupHandleBase, and use the same Tyr::Ptr.
#pragma once

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/version.hpp>
#include <cstdint>
#include <utility>

#if BOOST_VERSION < 108100
#error "VelBgp needs the headers of Boost 1.81 or later (Debian: libboost1.81-dev), and older ones were found first"
#endif

#include "Tyr/Export.h"
#include "Tyr/Forward.h"
#include "Tyr/Threading.h"

namespace Tyr {

class VELBGP_EXPORT PtrInterface {
 public:
  PtrInterface() noexcept = default;
  PtrInterface(const PtrInterface&) = delete;
  PtrInterface& operator=(const PtrInterface&) = delete;

  std::uint32_t referenceCount() const noexcept { return count_.load(std::memory_order_relaxed); }

  // Factories mark an object notification-active once it is whole: from then on notifications may name it.
  bool notificationActive() const noexcept { return notificationActive_; }
  void notificationActiveIs(bool active) noexcept { notificationActive_ = active; }

 protected:
  virtual ~PtrInterface();

 private:
  friend void intrusive_ptr_add_ref(const PtrInterface* object) noexcept {
    // Relaxed: the copier already holds a reference, so the object cannot be on its way out.
    if (agentMultiThreaded()) {
      object->count_.fetch_add(1, std::memory_order_relaxed);
    } else {
      object->count_.store(object->count_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
  }
  friend void intrusive_ptr_release(const PtrInterface* object) noexcept {
    if (agentMultiThreaded()) {
      // Release and acquire: whoever deletes must see all that the other holders wrote.
      if (object->count_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete object;
    } else {
      const std::uint32_t left = object->count_.load(std::memory_order_relaxed) - 1;
      object->count_.store(left, std::memory_order_relaxed);
      if (left == 0) delete object;
    }
  }

  mutable std::atomic<std::uint32_t> count_{0};
  bool notificationActive_ = false;
};

// Makes an object and marks it notification-active: the one body of all factories.
template <typename T, typename... Args>
Ptr<T> make(Args&&... args) {
  Ptr<T> object(new T(std::forward<Args>(args)...));
  object->notificationActiveIs(true);
  return object;
}

}  // namespace Tyr

// Defines the two functions by which a Class is made, which its header declares: `name` with the ending Factory and the
// class's name with the ending Is. Parameters and arguments stand in parentheses.
#define TYR_FACTORIES(Pointer, name, Class, parameters, arguments)        \
  Pointer name##Factory parameters { return Tyr::make<Class> arguments; } \
  Pointer Class##Is parameters { return name##Factory arguments; }
