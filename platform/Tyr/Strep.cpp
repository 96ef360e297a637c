#include "Tyr/Strep.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "Tyr/DynamicBuffer.h"

namespace Tyr {
namespace {

constexpr std::string_view hexPrefix = "0x";
constexpr std::size_t hexDigits = 16;

std::string_view rest(StrepIterator it, StrepIterator end) { return {it, static_cast<std::size_t>(end - it)}; }

// Says what was wanted and quotes the beginning of what there is.
[[noreturn]] void throwExpected(const std::string& wanted, StrepIterator it, StrepIterator end) {
  constexpr std::size_t quoted = 40;
  const std::string_view found = rest(it, end);
  if (found.empty()) throw ParseException("expected " + wanted + " but the text ends");
  const char* const more = found.size() > quoted ? "...\"" : "\"";
  throw ParseException("expected " + wanted + " at \"" + std::string(found.substr(0, quoted)) + more);
}

bool skip(StrepIterator& it, StrepIterator end, std::string_view text) {
  if (!rest(it, end).starts_with(text)) return false;
  it += text.size();
  return true;
}

bool identifierCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool lowerCaseHexDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); }

}  // namespace

std::string pointerToStrep(const void* pointer) {
  DynamicBuffer<hexPrefix.size() + hexDigits> text;
  text.append(hexPrefix);
  text.appendHex(reinterpret_cast<std::uintptr_t>(pointer), hexDigits);
  return text.str();
}

void expectText(StrepIterator& it, const StrepIterator& end, std::string_view text) {
  if (!skip(it, end, text)) throwExpected("\"" + std::string(text) + "\"", it, end);
}

bool readBool(StrepIterator& it, const StrepIterator& end) {
  if (skip(it, end, "True")) return true;
  if (!skip(it, end, "False")) throwExpected("True or False", it, end);
  return false;
}

std::uint64_t readUnsigned(StrepIterator& it, const StrepIterator& end, std::uint64_t max) {
  std::uint64_t value = 0;
  const auto [behind, error] = std::from_chars(it, end, value);
  if (error != std::errc() || value > max) throwExpected("a number up to " + std::to_string(max), it, end);
  it = behind;
  return value;
}

std::uint64_t readHex64(StrepIterator& it, const StrepIterator& end) {
  const std::string_view text = rest(it, end).substr(0, hexPrefix.size() + hexDigits);
  const bool whole = text.size() == hexPrefix.size() + hexDigits && text.starts_with(hexPrefix) &&
                     std::all_of(text.begin() + hexPrefix.size(), text.end(), lowerCaseHexDigit);
  if (!whole) throwExpected("0x and 16 lower-case hex digits", it, end);
  std::uint64_t value = 0;
  it = std::from_chars(it + hexPrefix.size(), it + text.size(), value, 16).ptr;
  return value;
}

std::string_view readIdentifier(StrepIterator& it, const StrepIterator& end) {
  const StrepIterator behind = identifierEnd(it, end);
  if (behind == it) throwExpected("a name", it, end);
  const std::string_view name = rest(it, behind);
  it = behind;
  return name;
}

StrepIterator identifierEnd(StrepIterator it, StrepIterator end) noexcept {
  return std::find_if_not(it, end, identifierCharacter);
}

const void* readPointer(StrepIterator& it, const StrepIterator& end) {
  static_assert(sizeof(std::uintptr_t) == sizeof(std::uint64_t));
  return reinterpret_cast<const void*>(readHex64(it, end));
}

}  // namespace Tyr
