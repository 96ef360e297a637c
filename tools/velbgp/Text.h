// Text of the tool's own: quoting of untrusted input, hex digits, and the columns, blocks and bars that people read.
//
// Nothing here knows a community: what is said about one comes from the library.
#pragma once

#include <boost/json/object.hpp>
#include <charconv>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace VelBgpTool {

class Console;

using Octets = std::span<const std::uint8_t>;

// The input with its control characters and octets that are no UTF-8 as escapes (\n, \x1b).
std::string escaped(std::string_view input);
// The same between double quotes, quotes and backslashes escaped as well, cut after 80 characters.
std::string quote(std::string_view input);

// The octets of an attribute as the library gives it.
inline Octets octetsOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline std::string_view textOf(Octets octets) { return {reinterpret_cast<const char*>(octets.data()), octets.size()}; }

// Lower-case hex digits, two an octet.
std::string hexDigits(Octets octets);
// The same behind "0x".
std::string hexValue(Octets octets);

std::uint64_t bigEndian(Octets octets);

// A text that is digits and nothing else, for a number that the type has.
template <typename Number>
std::optional<Number> readDecimal(std::string_view text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// The digits in threes: 19,531,250.
std::string grouped(std::uint64_t number);
// With the octets that are no UTF-8 replaced by U+FFFD.
std::string utf8(std::string_view text);

std::string pad(std::string_view text, std::size_t width);
std::string rightAligned(std::string_view text, std::size_t width);

// A line whose text goes on below its own beginning where it is wider than so many columns; 0 for as wide as it likes.
std::string wrapped(std::string_view start, std::string_view text, std::size_t columns);

// Columns that line up: the first rows are the heading, the first column is left-aligned, the others right-aligned.
class Columns {
 public:
  explicit Columns(std::size_t headings = 1) : headings_(headings) {}
  void rowIs(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
  bool empty() const { return rows_.size() <= headings_; }
  void print(Console& console) const;

 private:
  const std::size_t headings_;
  std::vector<std::vector<std::string>> rows_;
};

// An object as lines "key  value", keys lined up, nested objects indented below their key.
void printBlock(Console& console, const boost::json::object& object, unsigned indent);

// A bar of marks for `value`, filled up with spaces to `width` as `largest` fills it with marks; anything above nothing
// shows one mark.
std::string bar(std::uint64_t value, std::uint64_t largest, unsigned width);

// Bold on a terminal that takes colour, else the text as it is.
std::string heading(const Console& console, std::string_view text);

}  // namespace VelBgpTool
