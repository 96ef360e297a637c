// Pieces of the reflection text ("strep"), in which values are printed for people and read back:
//
//   Value('Routing::Bgp::ExtCommList::Serialization', ** {'all': False, 'transitive': True, ...})
//
// The writers give a text; the readers take their piece from the front of [it, end) and move `it` behind it. A reader
// that does not find its piece throws Tyr::ParseException and leaves `it` where it was.
//
// Threads: no state. The range must stay valid during a call, and for as long as a returned view is used.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "Tyr/Exception.h"
#include "Tyr/Export.h"

namespace Tyr {

using StrepIterator = const char*;

// "True" or "False". A template, so that no pointer is taken for a bool.
template <std::same_as<bool> Bool>
std::string valueToStrep(Bool value) {
  return value ? "True" : "False";
}
// "0x" and 16 hex digits, also for the null pointer, which a stream prints in another way.
VELBGP_EXPORT std::string pointerToStrep(const void* pointer);

// Exactly this text.
VELBGP_EXPORT void expectText(StrepIterator& it, const StrepIterator& end, std::string_view text);
// "True" or "False".
VELBGP_EXPORT bool readBool(StrepIterator& it, const StrepIterator& end);
// Decimal digits, as many as there are; a number above `max` is an error.
VELBGP_EXPORT std::uint64_t readUnsigned(StrepIterator& it, const StrepIterator& end, std::uint64_t max);
// "0x" and exactly 16 lower-case hex digits.
VELBGP_EXPORT std::uint64_t readHex64(StrepIterator& it, const StrepIterator& end);
// The longest run, of at least one, of letters, digits and underscores.
VELBGP_EXPORT std::string_view readIdentifier(StrepIterator& it, const StrepIterator& end);
// Where that run ends: at `it` itself if there is none.
VELBGP_EXPORT StrepIterator identifierEnd(StrepIterator it, StrepIterator end) noexcept;
// What pointerToStrep wrote, in this process.
VELBGP_EXPORT const void* readPointer(StrepIterator& it, const StrepIterator& end);

// Reads a whole text with `read(it, end)`: octets behind the value are an error, too.
template <typename Read>
auto readWhole(std::string_view text, Read&& read) {
  StrepIterator it = text.data();
  const StrepIterator end = it + text.size();
  auto value = std::forward<Read>(read)(it, end);
  if (it != end) throw ParseException("the text goes on behind the value: \"" + std::string(it, end) + "\"");
  return value;
}

}  // namespace Tyr
