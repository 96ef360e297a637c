#include "tools/velbgp/Names.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "tools/velbgp/Console.h"
#include "tools/velbgp/Lines.h"

namespace VelBgpTool {

using namespace Routing::Bgp;

namespace {

constexpr std::size_t none = SIZE_MAX;
constexpr std::string_view hexLetters = "0123456789abcdefABCDEF";
// What is tried of a pattern with places in several numbers, to learn which texts it stands for.
constexpr std::size_t mostInstances = 4096;
constexpr std::size_t longestPattern = 256;

bool isWild(char c) { return c == 'n' || c == '*'; }
bool isWild(std::string_view number) {
  return std::any_of(number.begin(), number.end(), [](char c) { return isWild(c); });
}
bool isNumeric(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0 || isWild(c); }
bool isLetter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }

std::string_view withoutZeros(std::string_view number) {
  return number.substr(std::min(number.find_first_not_of('0'), number.size() - 1));
}

// One digit for each n, at least one for each star.
bool fitsDigits(std::string_view pattern, std::string_view digits) {
  std::size_t place = 0, at = 0, star = none, taken = 0;
  while (at < digits.size()) {
    if (place < pattern.size() && pattern[place] == '*') {
      star = place++;
      taken = ++at;
    } else if (place < pattern.size() && (pattern[place] == 'n' || pattern[place] == digits[at])) {
      ++place;
      ++at;
    } else if (star != none) {
      place = star + 1;
      at = ++taken;
    } else {
      return false;
    }
  }
  return place == pattern.size();
}

// Numbers that a wild one may stand for: short and long ones, each side of what 16 bits hold.
std::vector<std::string> examples(const std::string& number) {
  if (!isWild(number)) return {number};
  std::vector<std::string> found;
  const auto add = [&](char digit, std::size_t length) {
    std::string text;
    for (const char c : number) c == '*' ? text.append(length, digit) : text += c == 'n' ? digit : c;
    if (std::find(found.begin(), found.end(), text) == found.end()) found.push_back(std::move(text));
  };
  for (const std::size_t length : {1, 5, 6, 10}) add('1', length);
  add('0', 1);
  add('9', 1);
  return found;
}

// The pattern of a line, and takes it off with the blanks behind it; "" if it is in quotes that do not end.
std::string_view takePattern(std::string_view& line) {
  const bool quoted = line.starts_with('"');
  const std::size_t begin = quoted ? 1 : 0;
  const std::size_t end = quoted ? line.find('"', 1) : std::min(line.find_first_of(" \t"), line.size());
  if (end == std::string_view::npos) return {};
  const std::string_view pattern = line.substr(begin, end - begin);
  line = trimmed(line.substr(end + begin));
  return pattern;
}

std::string keyOf(std::size_t kind, std::string_view rest, std::string_view first) {
  return std::string(1, static_cast<char>('0' + kind)).append(rest).append(1, '\n').append(first);
}

}  // namespace

void Names::read(const std::string& file, Console& console) {
  const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    console.error({file, 0}, std::string("cannot be read: ") + std::strerror(errno) + ", expected a table of names");
    return;
  }
  for (LineReader reader(fd, console, file); reader.next();) {
    const std::string problem = lineIs(trimmed(reader.line()));
    if (!problem.empty()) console.error({file, reader.number()}, problem);
  }
  ::close(fd);
}

std::string Names::lineIs(std::string_view line) {
  const std::string_view whole = line;
  const std::string_view pattern = takePattern(line);
  if (pattern.empty()) return quote(whole) + " begins with no pattern, expected one, perhaps in double quotes";
  if (line.empty()) return quote(whole) + " has no meaning, expected a pattern, blanks and a meaning";
  std::string meaning(line);
  std::replace(meaning.begin(), meaning.end(), '\t', ' ');
  meanings_.push_back(escaped(meaning));
  std::string problem = patternIs(trimmed(pattern));
  if (!problem.empty()) meanings_.pop_back();
  return problem;
}

std::string Names::patternIs(std::string_view text) {
  const auto exact = valueFromText(text);
  if (exact) {
    const TypedValue value = typedValue(*exact);
    values_.try_emplace(keyOf(value.kind, value.octets, ""), meanings_.size() - 1);
    return {};
  }
  if (text.starts_with("0x")) return hexPatternIs(text);
  if (text.size() > longestPattern) return quote(text) + " is no pattern, expected at most 256 octets";
  const Shape shape = shapeOf(text);
  std::vector<std::vector<std::string>> choices;
  for (const std::string& number : shape.numbers) choices.push_back(examples(number));
  bool any = false;
  ValueTextError error = exact.error();
  Numbers numbers(choices.size());
  for (std::size_t instance = 0; instance < mostInstances && isWild(text); ++instance) {
    std::size_t left = instance;
    for (std::size_t i = 0; i < choices.size(); ++i) {
      numbers[i] = choices[i][left % choices[i].size()];
      left /= choices[i].size();
    }
    if (left != 0) break;
    std::string typed;
    std::size_t next = 0;
    for (const char c : shape.rest) typed += c == '\n' ? numbers[next++] : std::string(1, c);
    const auto value = valueFromText(typed);
    if (value) {
      any = true;
      instanceIs(shape, numbers, *value);
    } else if (instance == 0) {
      error = value.error();
    }
  }
  return any ? std::string() : quote(text) + " is no pattern: " + error.message();
}

std::string Names::hexPatternIs(std::string_view text) {
  const std::string_view digits = text.substr(2);
  const bool good = std::all_of(digits.begin(), digits.end(),
                                [](char c) { return isWild(c) || hexLetters.find(c) != std::string_view::npos; });
  const bool open = digits.find('*') != std::string_view::npos;
  const bool whole = std::any_of(kindRows.begin(), kindRows.end(), [&](const KindRow& row) {
    return open ? digits.size() <= row.octets * 2U : digits.size() == row.octets * 2U;
  });
  if (!good || !whole || !isWild(digits)) {
    return quote(text) + " is no pattern, expected 8, 16, 24 or 40 hex digits, some of them n or *";
  }
  std::string lower(digits);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  hex_.push_back({meanings_.size() - 1, {std::move(lower)}});
  return {};
}

// The spellings of the value in which the numbers of the pattern stand are those that the pattern is looked for in. A
// spelling may begin with more of them, which the pattern leaves out.
void Names::instanceIs(const Shape& pattern, const Numbers& numbers, const AnyCommValue& value) {
  const TypedValue typed = typedValue(value);
  for (const std::string& spelling : kinds_.at(typed.kind).spellings(typed.wire())) {
    const Shape shape = shapeOf(spelling);
    if (shape.numbers.size() < numbers.size()) continue;
    const std::size_t more = shape.numbers.size() - numbers.size();
    const auto same = [](const std::string& a, const std::string& b) { return withoutZeros(a) == withoutZeros(b); };
    if (!std::equal(numbers.begin(), numbers.end(), shape.numbers.begin() + static_cast<std::ptrdiff_t>(more), same)) {
      continue;
    }
    Pattern found{meanings_.size() - 1, shape.numbers};
    std::copy(pattern.numbers.begin(), pattern.numbers.end(),
              found.numbers.begin() + static_cast<std::ptrdiff_t>(more));
    const std::string first = isWild(found.numbers.front()) ? "*" : std::string(withoutZeros(found.numbers.front()));
    add(keyOf(typed.kind, shape.rest, first), std::move(found));
  }
}

void Names::add(std::string key, Pattern pattern) {
  std::vector<Pattern>& all = byShape_[std::move(key)];
  const bool known = std::any_of(all.rbegin(), all.rend(), [&](const Pattern& other) {
    return other.line == pattern.line && other.numbers == pattern.numbers;
  });
  if (!known) all.push_back(std::move(pattern));
}

// A number is a run of digits and places that no letter touches, but the L of a four-octet AS behind it.
Names::Shape Names::shapeOf(std::string_view text) {
  Shape shape;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t end = at;
    while (end < text.size() && isNumeric(text[end])) ++end;
    const bool free = (at == 0 || !isLetter(text[at - 1])) &&
                      (end == text.size() || !isLetter(text[end]) || (text[end] == 'L' && end > at));
    if (end > at && free) {
      shape.numbers.emplace_back(text.substr(at, end - at));
      shape.rest += '\n';
      at = end;
      continue;
    }
    shape.rest.append(text.substr(at, std::max<std::size_t>(end - at, 1)));
    at = std::max(end, at + 1);
  }
  return shape;
}

bool Names::fits(const Numbers& pattern, const Numbers& numbers) {
  return std::equal(pattern.begin(), pattern.end(), numbers.begin(), numbers.end(),
                    [](const std::string& places, const std::string& digits) {
                      return fitsDigits(places, digits) || fitsDigits(withoutZeros(places), withoutZeros(digits));
                    });
}

std::size_t Names::lineOf(std::size_t kind, Octets value) const {
  std::size_t line = none;
  if (const auto exact = values_.find(keyOf(kind, textOf(value), "")); exact != values_.end()) line = exact->second;
  const auto best = [&line](const std::vector<Pattern>& all, const Numbers& numbers) {
    for (const Pattern& pattern : all) {
      if (pattern.line < line && fits(pattern.numbers, numbers)) line = pattern.line;
    }
  };
  if (!hex_.empty()) best(hex_, {hexDigits(value)});
  if (byShape_.empty()) return line;
  for (const std::string& spelling : kinds_.at(kind).spellings(value)) {
    const Shape shape = shapeOf(spelling);
    if (shape.numbers.empty()) continue;
    for (const std::string_view first : {withoutZeros(shape.numbers.front()), std::string_view("*")}) {
      const auto all = byShape_.find(keyOf(kind, shape.rest, first));
      if (all != byShape_.end()) best(all->second, shape.numbers);
    }
  }
  return line;
}

std::string Names::meaning(std::size_t kind, Octets value) const {
  const std::size_t line = meanings_.empty() ? none : lineOf(kind, value);
  return line == none ? kinds_.at(kind).meaning(value) : meanings_[line];
}

}  // namespace VelBgpTool
