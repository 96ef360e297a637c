// Assertions: broken preconditions and invariants of ours (never of input) that stop the process, in every build type.
//
// The text that is printed is the condition's own spelling, so write the condition the way the text is to read and keep
// parameter names, operand order and blanks. A condition has no effect besides its answer. Printed on standard error as
// "FILE:LINE: assertion failed: TEXT", followed by abort(). Where whoever uses the library is likely to have made a
// mistake, a second line says what was wrong and what to do. Callable from any thread.
#pragma once

#include "Tyr/Export.h"

namespace Tyr {

// Prints and aborts. Never returns, never allocates.
[[noreturn]] VELBGP_EXPORT void assertionFailed(const char* text, const char* file, int line,
                                                const char* advice = nullptr) noexcept;

}  // namespace Tyr

// One step only: a macro inside the condition is spelled, not expanded. Where a text shows __null, write __null.
#define TYR_ASSERT(...) \
  (static_cast<bool>(__VA_ARGS__) ? static_cast<void>(0) : ::Tyr::assertionFailed(#__VA_ARGS__, __FILE__, __LINE__))

// For conditions whose text the compiler cannot give: condition first, on one line with its text.
#define TYR_ASSERT_TEXT(condition, text) \
  (static_cast<bool>(condition) ? static_cast<void>(0) : ::Tyr::assertionFailed(text, __FILE__, __LINE__))

// With a sentence for the second line, on one line with its condition.
#define TYR_ASSERT_ADVICE(condition, advice) \
  (static_cast<bool>(condition) ? static_cast<void>(0) : ::Tyr::assertionFailed(#condition, __FILE__, __LINE__, advice))
