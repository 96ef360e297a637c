// The agent-wide setting "multi-threaded". It chooses the variant of every interning table when the table initialises
// and how reference counts are stepped: while the agent is single-threaded a count is stepped by load and store (it
// stays a std::atomic, so a reader of another thread sees a whole value), otherwise by atomic read-modify-write.
//
// Default: single-threaded. Set it once, at start-up, on one thread, before the first interning table and before a
// second thread holds any counted pointer. It may be switched again while no interning table exists, and no object that
// outlived its table; that is asserted.
#pragma once

#include <atomic>

#include "Tyr/Export.h"

namespace Tyr {

namespace detail {
extern VELBGP_EXPORT bool agentMultiThreadedSetting;
extern VELBGP_EXPORT std::atomic<int> agentThreadingUsers;
}  // namespace detail

// Whether several threads may use tables and objects; said once, before any of them is made.
inline bool agentMultiThreaded() noexcept { return detail::agentMultiThreadedSetting; }
VELBGP_EXPORT void agentMultiThreadedIs(bool multiThreaded) noexcept;

// A member of whatever relies on the setting staying as it is.
class AgentThreadingUse {
 public:
  AgentThreadingUse() noexcept { detail::agentThreadingUsers.fetch_add(1, std::memory_order_relaxed); }
  ~AgentThreadingUse() { detail::agentThreadingUsers.fetch_sub(1, std::memory_order_relaxed); }
  AgentThreadingUse(const AgentThreadingUse&) = delete;
  AgentThreadingUse& operator=(const AgentThreadingUse&) = delete;
};

}  // namespace Tyr
