// Assertions: broken preconditions and invariants of ours (never of input) that stop the process, in every build type.
//
// The text that is printed is the condition's own spelling, so write the condition the way the text is to read and keep
// parameter names, operand order and blanks. A condition has no effect besides its answer. Printed on standard error as
// "FILE:LINE: assertion failed: TEXT", followed by abort(). Callable from any thread.
#pragma once

#include "Tyr/Export.h"

namespace Tyr {

// Prints and aborts. Never returns, never allocates.
[[noreturn]] VELBGP_EXPORT void assertionFailed(const char* text, const char* file, int line) noexcept;

}  // namespace Tyr

// One step only: a macro inside the condition is spelled, not expanded. Where a text shows __null, write __null.
#define TYR_ASSERT(...) \
  (static_cast<bool>(__VA_ARGS__) ? static_cast<void>(0) : ::Tyr::assertionFailed(#__VA_ARGS__, __FILE__, __LINE__))

// For conditions whose text the compiler cannot give: condition first, on one line with its text.
#define TYR_ASSERT_TEXT(condition, text) \
  (static_cast<bool>(condition) ? static_cast<void>(0) : ::Tyr::assertionFailed(text, __FILE__, __LINE__))
