// What network operators say that communities mean: a table of patterns and meanings, and IANA's well-known values.
//
//   64500:100         peers in Frankfurt           a value, in any spelling that values have
//   64500:1nnn        learned in country nnn       n stands for a digit
//   64500:100:*       prepend to this AS           * stands for one digit or more
//   "rt 64500:*"      our VPNs                     a pattern with blanks inside stands in quotes
//
// Only the numbers of a pattern have such places, never a label or a name. A pattern stands for what its texts mean: as
// for `rt:64500:*`, Route-Target-AS:64500:7 fits it. Meanings are UTF-8 without control characters, which are escaped.
// Single-threaded.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tools/velbgp/Kind.h"

namespace VelBgpTool {

class Console;

class Names {
 public:
  explicit Names(Kinds& kinds) : kinds_(kinds) {}

  // Adds the lines of a file. What is wrong is reported, line by line, and left out.
  void read(const std::string& file, Console& console);
  // Adds a line that is neither blank nor a comment; gives what is wrong with it, or nothing.
  std::string lineIs(std::string_view line);

  // By the first line that fits; if none does what the library knows, which is mostly nothing.
  std::string meaning(std::size_t kind, Octets value) const;

 private:
  using Numbers = std::vector<std::string>;
  // A text with its numbers taken out.
  struct Shape {
    std::string rest;
    Numbers numbers;
  };
  // The texts of one shape that a line's pattern stands for.
  struct Pattern {
    std::size_t line;
    Numbers numbers;
  };

  static Shape shapeOf(std::string_view text);
  static bool fits(const Numbers& pattern, const Numbers& numbers);
  std::string patternIs(std::string_view text);
  std::string hexPatternIs(std::string_view text);
  void instanceIs(const Shape& pattern, const Numbers& numbers, const Routing::Bgp::AnyCommValue& value);
  void add(std::string key, Pattern pattern);
  std::size_t lineOf(std::size_t kind, Octets value) const;

  Kinds& kinds_;
  std::vector<std::string> meanings_;                                     // by line
  boost::unordered_flat_map<std::string, std::size_t> values_;            // by kind and octets
  boost::unordered_flat_map<std::string, std::vector<Pattern>> byShape_;  // by kind, shape and first number
  std::vector<Pattern> hex_;                                              // of hex digits, as one number
};

}  // namespace VelBgpTool
