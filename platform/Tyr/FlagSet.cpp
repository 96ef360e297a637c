#include "Tyr/FlagSet.h"

#include <ostream>

namespace Tyr {
namespace {

std::string opening(const char* type) { return std::string("Value('") + type + "', ** {"; }

std::string label(const FlagName& flag, bool first) { return std::string(first ? "'" : ", '") + flag.name + "': "; }

constexpr std::string_view closing = "})";

}  // namespace

std::string flagSetToStrep(const char* type, std::span<const FlagName> names, std::uint8_t value) {
  std::string text = opening(type);
  for (const FlagName& flag : names) {
    text += label(flag, &flag == names.data());
    text += valueToStrep((value & flag.bit) != 0);
  }
  return text.append(closing);
}

std::ostream& flagSetToStream(std::ostream& stream, const char* type, std::span<const FlagName> names,
                              std::uint8_t value) {
  return stream << flagSetToStrep(type, names, value);
}

std::uint8_t flagSetFromStrep(const char* type, std::span<const FlagName> names, StrepIterator& it,
                              const StrepIterator& end) {
  StrepIterator next = it;
  unsigned value = 0;
  expectText(next, end, opening(type));
  for (const FlagName& flag : names) {
    expectText(next, end, label(flag, &flag == names.data()));
    if (readBool(next, end)) value |= flag.bit;
  }
  expectText(next, end, closing);
  it = next;
  return static_cast<std::uint8_t>(value);
}

void throwFlagSetRange(const char* type, unsigned mask) {
  throw RangeException(std::string(type) + " > " + std::to_string(mask) + " not allowed");
}

}  // namespace Tyr
