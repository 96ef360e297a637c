#include "tools/velbgp/Text.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <optional>

#include "tools/velbgp/Console.h"

namespace VelBgpTool {

namespace {

constexpr std::size_t quoteLength = 80;
constexpr char hexAlphabet[] = "0123456789abcdef";

// Octets of the well-formed UTF-8 sequence at the front, 0 if there is none. No surrogates, no overlong forms.
std::size_t sequenceLength(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
  if (lead < 0xc2 || lead > 0xf4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((static_cast<unsigned char>(text[i]) & 0xc0) != 0x80) return 0;
  }
  const auto second = static_cast<unsigned char>(text[1]);
  const bool overlong = (lead == 0xe0 && second < 0xa0) || (lead == 0xf0 && second < 0x90);
  const bool beyond = (lead == 0xed && second >= 0xa0) || (lead == 0xf4 && second >= 0x90);
  return overlong || beyond ? 0 : length;
}

bool isControl(std::string_view sequence) {
  const auto first = static_cast<unsigned char>(sequence[0]);
  if (sequence.size() == 1) return first < 0x20 || first == 0x7f;
  return first == 0xc2 && static_cast<unsigned char>(sequence[1]) < 0xa0;
}

void appendEscape(std::string& out, std::string_view octets) {
  for (const char c : octets) {
    const auto octet = static_cast<unsigned char>(c);
    switch (c) {
      case '\t':
        out += "\\t";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      default:
        out.append({'\\', 'x', hexAlphabet[octet >> 4], hexAlphabet[octet & 15]});
    }
  }
}

// Takes one character off the input and gives what is printed for it.
std::string nextCharacter(std::string_view& input, bool inQuotes) {
  std::string out;
  const std::size_t length = sequenceLength(input);
  const std::string_view sequence = input.substr(0, std::max<std::size_t>(length, 1));
  if (length == 0 || isControl(sequence)) {
    appendEscape(out, sequence);
  } else {
    if (inQuotes && (sequence == "\"" || sequence == "\\")) out = '\\';
    out += sequence;
  }
  input.remove_prefix(sequence.size());
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

std::string pad(std::string_view text, std::size_t width) {
  std::string padded(text);
  if (padded.size() < width) padded.append(width - padded.size(), ' ');
  return padded;
}

std::string rightAligned(std::string_view text, std::size_t width) {
  std::string padded(width > text.size() ? width - text.size() : 0, ' ');
  return padded.append(text);
}

}  // namespace

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
  for (const std::uint8_t octet : octets) {
    text += hexAlphabet[octet >> 4];
    text += hexAlphabet[octet & 15];
  }
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
    console.line(&row == &rows_.front() ? heading(console, line) : line);
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
      console.line(margin + pad(member.key(), width) + "  " + scalarText(member.value()));
      continue;
    }
    console.line(margin + std::string(member.key()));
    printBlock(console, member.value().get_object(), indent + 2);
  }
}

std::string bar(std::uint64_t value, std::uint64_t largest, unsigned width) {
  if (value == 0 || largest == 0) return {};
  const double share = static_cast<double>(value) / static_cast<double>(largest);
  return std::string(std::max(1U, static_cast<unsigned>(share * width + 0.5)), '#');
}

std::string heading(const Console& console, std::string_view text) {
  return console.colour() ? "\x1b[1m" + std::string(text) + "\x1b[0m" : std::string(text);
}

}  // namespace VelBgpTool
