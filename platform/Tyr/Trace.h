// Tracing: lines for the one who looks for a fault, off by default.
//
//   TYR_TRACE(9, "handle: " << handle << " count: " << count);
//
// The level, 0 (rare, always of interest) to 9 (every event), is compared with the level that is traced; at or below it
// the line "FUNCTION: handle: ..." goes to the sink. The pieces are evaluated only then: a trace that is off costs one
// relaxed load and a branch.
//
// The traced level is read once, at start-up, from the environment variable VELBGP_TRACE (one digit; anything else
// leaves tracing off) and can be changed by a call. The sink is standard error, a line each, unless another one is
// given.
//
// Threads: all may be called from any thread. A sink is called on the tracing thread, possibly from several at once,
// and once more after it was replaced if a line was under way. It may trace, but then also its own lines come to it.
// Errors: a line for which there is no memory is left out, so that tracing changes nothing of what is traced.
#pragma once

#include <atomic>
#include <functional>
#include <new>
#include <string_view>

#include "Tyr/TextStream.h"

namespace Tyr {

using TraceSink = std::function<void(int level, std::string_view line)>;

namespace detail {
// The traced level plus one: a trace before the environment was read is off.
extern VELBGP_EXPORT std::atomic<int> tracedLevels;
VELBGP_EXPORT void traceLine(int level, const char* function, std::string_view text);
}  // namespace detail

// -1 is off.
inline int traceLevel() noexcept { return detail::tracedLevels.load(std::memory_order_relaxed) - 1; }
// Throws Tyr::RangeException outside -1 to 9.
VELBGP_EXPORT void traceLevelIs(int level);
inline bool traced(int level) noexcept { return level < detail::tracedLevels.load(std::memory_order_relaxed); }

// Without its newline, a line is given to the sink. An empty function brings standard error back.
VELBGP_EXPORT void traceSinkIs(TraceSink sink);

}  // namespace Tyr

#define TYR_TRACE(level, ...)                                           \
  do {                                                                  \
    if (::Tyr::traced(level)) [[unlikely]] {                            \
      try {                                                             \
        ::Tyr::DynamicBuffer<256> tyrTraceText;                         \
        ::Tyr::TextStream tyrTraceStream(tyrTraceText);                 \
        tyrTraceStream << __VA_ARGS__;                                  \
        ::Tyr::detail::traceLine(level, __func__, tyrTraceText.view()); \
      } catch (const ::std::bad_alloc&) {                               \
      }                                                                 \
    }                                                                   \
  } while (false)
