#include "Tyr/Threading.h"

#include "Tyr/Assert.h"

namespace Tyr {

namespace detail {
bool agentMultiThreadedSetting = false;
std::atomic<int> agentThreadingUsers{0};
}  // namespace detail

void agentMultiThreadedIs(bool multiThreaded) noexcept {
  const bool inUse = detail::agentThreadingUsers.load(std::memory_order_relaxed) != 0;
  TYR_ASSERT_ADVICE(!inUse || multiThreaded == agentMultiThreaded(),
                    "interned objects or their tables are there: say before the first table is made whether several "
                    "threads will intern");
  detail::agentMultiThreadedSetting = multiThreaded;
}

}  // namespace Tyr
