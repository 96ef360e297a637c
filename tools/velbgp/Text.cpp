#include "tools/velbgp/Text.h"

#include <algorithm>
#include <boost/algorithm/hex.hpp>
#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <boost/locale/utf.hpp>
#include <iterator>

#include "tools/velbgp/Console.h"

namespace VelBgpTool {

namespace {

constexpr std::size_t quoteLength = 80;

// Takes one character off the input and gives what is printed for it.
std::string nextCharacter(std::string_view& input, bool inQuotes) {
  using Utf8 = boost::locale::utf::utf_traits<char>;
  const char* end = input.data();
  const auto code = Utf8::decode(end, input.data() + input.size());
  const bool isText = boost::locale::utf::is_valid_codepoint(code);
  // Of what is no UTF-8, one octet.
  const auto length = isText ? static_cast<std::size_t>(end - input.data()) : 1;
  const std::string_view sequence = input.substr(0, length);
  input.remove_prefix(length);
  if (isText && code >= 0x20 && (code < 0x7f || code >= 0xa0)) {
    const bool marks = inQuotes && (code == '"' || code == '\\');
    return std::string(marks ? "\\" : "").append(sequence);
  }
  std::string out;
  for (const char octet : sequence) {
    const std::size_t named = std::string_view("\t\n\r").find(octet);
    out += named < 3 ? std::string{'\\', "tnr"[named]} : "\\x" + hexDigits(octetsOf({&octet, 1}));
  }
  return out;
}

std::string scalarText(const boost::json::value& value) {
  if (value.is_string()) return std::string(value.get_string());
  if (value.is_null()) return "none";
  if (!value.is_array()) return boost::json::serialize(value);
  std::string text;
  for (const auto& element : value.get_array()) {
    if (!text.empty()) text += ' ';
    text += scalarText(element);
  }
  return text.empty() ? "none" : text;
}

// Where a text is broken: before the last blank that fits, else where the width ends, yet not inside a character.
std::size_t breakOf(std::string_view text, std::size_t width) {
  if (text.size() <= width) return text.size();
  const std::size_t blank = text.find_last_of(' ', width);
  if (blank != std::string_view::npos && blank != 0) return blank;
  while (width > 1 && (static_cast<unsigned char>(text[width]) & 0xc0) == 0x80) --width;
  return width;
}

}  // namespace

std::string pad(std::string_view text, std::size_t width) {
  return std::string(text).append(width - std::min(width, text.size()), ' ');
}

std::string grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t end = text.size(); end > 3;) text.insert(end -= 3, 1, ',');
  return text;
}

std::string utf8(std::string_view text) {
  using Utf8 = boost::locale::utf::utf_traits<char>;
  std::string out;
  for (const char *at = text.data(), *end = at + text.size(); at != end;) {
    const char* next = at;
    const bool isText = boost::locale::utf::is_valid_codepoint(Utf8::decode(next, end));
    if (!isText) next = at + 1;
    isText ? out.append(at, next) : out.append("\xef\xbf\xbd");
    at = next;
  }
  return out;
}

std::string rightAligned(std::string_view text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ').append(text);
}

std::string wrapped(std::string_view start, std::string_view text, std::size_t columns) {
  std::string out(start);
  constexpr std::size_t narrowest = 20;
  if (columns == 0) return out.append(text);
  const std::size_t width = std::max(columns, start.size() + narrowest) - start.size();
  for (std::string_view rest = text;;) {
    const std::size_t end = breakOf(rest, width);
    out.append(rest.substr(0, end));
    rest.remove_prefix(end);
    if (rest.starts_with(' ')) rest.remove_prefix(1);
    if (rest.empty()) return out;
    out.append("\n").append(start.size(), ' ');
  }
}

std::string escaped(std::string_view input) {
  std::string out;
  while (!input.empty()) out += nextCharacter(input, false);
  return out;
}

std::string quote(std::string_view input) {
  std::string out = "\"";
  std::size_t characters = 0;
  while (!input.empty()) {
    const std::string next = nextCharacter(input, true);
    // What is escaped is plain ASCII; a character that stands for itself counts as one however many octets it has.
    characters += static_cast<unsigned char>(next[0]) < 0x80 ? next.size() : 1;
    if (characters > quoteLength) return out + "\"...";
    out += next;
  }
  return out + '"';
}

std::string hexDigits(Octets octets) {
  std::string text;
  boost::algorithm::hex_lower(octets.begin(), octets.end(), std::back_inserter(text));
  return text;
}

std::string hexValue(Octets octets) { return "0x" + hexDigits(octets); }

std::uint64_t bigEndian(Octets octets) {
  std::uint64_t value = 0;
  for (const std::uint8_t octet : octets) value = value << 8 | octet;
  return value;
}

void Columns::print(Console& console) const {
  std::vector<std::size_t> widths;
  for (const auto& row : rows_) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  for (const auto& row : rows_) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += i == 0 ? pad(row[i], widths[i]) : "  " + rightAligned(row[i], widths[i]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    console.line(static_cast<std::size_t>(&row - rows_.data()) < headings_ ? heading(console, line) : line);
  }
}

void printBlock(Console& console, const boost::json::object& object, unsigned indent) {
  std::size_t width = 0;
  for (const auto& member : object) {
    if (!member.value().is_object()) width = std::max(width, member.key().size());
  }
  const std::string margin(indent, ' ');
  for (const auto& member : object) {
    if (!member.value().is_object()) {
      console.line(wrapped(margin + pad(member.key(), width) + "  ", scalarText(member.value()), console.columns()));
      continue;
    }
    console.line(margin + std::string(member.key()));
    printBlock(console, member.value().get_object(), indent + 2);
  }
}

std::string bar(std::uint64_t value, std::uint64_t largest, unsigned width) {
  const double share = value == 0 ? 0 : static_cast<double>(value) / static_cast<double>(largest);
  const std::size_t marks = std::max(value == 0 ? 0U : 1U, static_cast<unsigned>(share * width + 0.5));
  return pad(std::string(marks, '#'), width);
}

std::string heading(const Console& console, std::string_view text) {
  return console.colour() ? "\x1b[1m" + std::string(text) + "\x1b[0m" : std::string(text);
}

}  // namespace VelBgpTool
