#include "Policy/PosixRegex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex.h>

#include <ctime>
#include <random>
#include <thread>
#include <vector>

namespace Routing::RouteMap {
namespace {

std::string repeated(const std::string& part, std::size_t times) {
  std::string text;
  while (times-- > 0) text += part;
  return text;
}

TEST(PosixRegex, Answers) {
  const struct {
    const char* pattern;
    std::vector<const char*> matching, others;
  } rows[] = {
      {"", {"", "65000:1"}, {}},
      {"65000:1", {"65000:1", "RT:65000:100", "1:1 65000:1"}, {"", "65000:2", "65000: 1"}},
      {"^65000:1$", {"65000:1"}, {"65000:10", "165000:1", "65000:1 65000:1"}},
      {"^$", {""}, {" ", "a"}},
      {"(^| )65000:1( |$)", {"65000:1", "1:1 65000:1 2:2"}, {"65000:11", "165000:1"}},
      {"^(RT|RO):(6500[0-9]|10\\.0\\.0\\.1):[0-9]{1,3}$",
       {"RT:65007:123", "RO:10.0.0.1:1"},
       {"RT:65017:1", "RO:10x0.0.1:1", "RT:65007:1234"}},
      {"a{2}b", {"aab", "aaab"}, {"ab"}},
      {"^a{2,}$", {"aa", "aaaaa"}, {"", "a", "aab"}},
      {"^a{,2}$", {"", "a", "aa"}, {"aaa"}},
      {"^(ab{0}c|x{2}{3})$", {"ac", "xxxxxx"}, {"abc", "xxxxx"}},
      {"^(a|bc)+$", {"a", "bc", "abcbca"}, {"", "ab", "b"}},
      {"^(a*)*b?$", {"", "aaa", "b"}, {"bb", "ba"}},
      {"a||b", {"", "x"}, {}},
      {"^(|a)b$", {"b", "ab"}, {"aab"}},
      {"a)", {"a)"}, {"a"}},
      {"a}]", {"a}]"}, {"a"}},
      {"\\.\\*\\(\\\\", {".*(\\"}, {"x*(\\"}},
      {"^[]a-c^-]$", {"]", "b", "^", "-"}, {"d", "["}},
      {"^[^]0-9]$", {"a", "["}, {"]", "5", ""}},
      {"^[[:digit:]x[.-.][=y=]]$", {"7", "x", "-", "y"}, {"z", ":"}},
      {"^[\\n]$", {"\\", "n"}, {"\n"}},
      {"^.$", {"a", "\n", "\xff"}, {"", "\xc3\xa4"}},  // octets, whatever the locale
      {"\\<65000\\>", {"65000", "1:65000 x"}, {"650000", "_65000"}},
      {"^\\w+\\W\\S\\s$", {"a_1:x "}, {"a-1:x", "::x "}},
      {"\\b1\\B", {"12"}, {"1", "21"}},
      {"\\`a\\'", {"a"}, {"ab", "ba"}},
      {"a$b|a^b", {}, {"ab", "a$b", "a^b"}},
  };
  for (const auto& row : rows) {
    const PosixRegex regex(row.pattern);
    for (const char* text : row.matching) EXPECT_EQ(regex.execute(text), 0) << row.pattern << " on " << text;
    for (const char* text : row.others) EXPECT_EQ(regex.execute(text), REG_NOMATCH) << row.pattern << " on " << text;
  }
}

TEST(PosixRegex, RefusesWithAMessage) {
  using namespace std::string_literals;
  const std::string large = "pattern is too large once its repetitions are written out";
  const std::pair<std::string, std::string> rows[] = {
      {"(", "Unmatched ( or \\("},
      {"a(b|(c)", "Unmatched ( or \\("},
      {"*", "Invalid preceding regular expression"},
      {"a|+", "Invalid preceding regular expression"},
      {"^*", "Invalid preceding regular expression"},
      {"{1}", "Invalid preceding regular expression"},
      {"a\\", "Trailing backslash"},
      {"[a", "Unmatched [, [^, [:, [., or [="},
      {"[[:digit:", "Unmatched [, [^, [:, [., or [="},
      {"[[:number:]]", "Invalid character class name"},
      {"[z-a]", "Invalid range end"},
      {"[[.ab.]]", "Invalid collation character"},
      {"a{1", "Unmatched \\{"},
      {"a{}", "Invalid content of \\{\\}"},
      {"a{x}", "Invalid content of \\{\\}"},
      {"a{1,2,3}", "Invalid content of \\{\\}"},
      {"a{2,1}", "Invalid content of \\{\\}"},
      {"a{32768}", "Regular expression too big"},
      {"a{99999999999999999999}", "Regular expression too big"},
      {"(a)\\1", "back-references are not supported"},
      {"a\0b"s, "pattern contains a NUL octet"},
      {std::string(4097, 'a'), "pattern has more than 4096 octets"},
      {repeated("(", 201) + repeated(")", 201), "pattern nests parentheses too deeply"},
      {repeated("(", 4096), "pattern nests parentheses too deeply"},
      {"(a{255}){255}{255}", large},
      {"((((((a{90}){90}){90}){90}){90}){90})", large},
      {"a{32767}", large},
  };
  for (const auto& [pattern, message] : rows) {
    try {
      PosixRegex regex(pattern);
      ADD_FAILURE() << pattern;
    } catch (const PosixRegexException& exception) {
      EXPECT_EQ(exception.what(), message) << pattern;
    }
  }
}

// Most of these take the host's engine minutes, gibibytes or its stack. A quarter of a mebibyte is the text of the
// largest list that an attribute can carry.
TEST(PosixRegex, NoPatternAndTextTakesLong) {
  std::string bits, targets;
  std::mt19937 random(1);
  while (bits.size() < 100'000) bits += "ab"[random() & 1];
  while (targets.size() < 240'000) targets += "RT:65000:4294967295 ";
  const std::string b30 = repeated("b", 30);
  const std::pair<std::string, std::string> rows[] = {{"RT:65000:.*RT:65001:1", " RT:65000:1 RT:65001:1"},
                                                      {"(a|b)*a(a|b){20}c", "a" + b30.substr(0, 20) + "c"},
                                                      {"b.{30}c", b30 + "bc"},
                                                      {"(a?b?){100}c", "c"},
                                                      {repeated("(", 30) + "a" + repeated("+)+", 30) + "c", "ac"},
                                                      {"(([ab]*)*:)*c", ":c"},
                                                      {"2?{,2}{,2}{2}{1,2}{1,}c", "c"},
                                                      {repeated("(", 200) + "a" + repeated(")*", 200) + "c", "c"},
                                                      {repeated("ax|", 300) + "ac", "ac"},
                                                      {"a" + repeated("*", 2000) + "c", "c"}};
  const std::clock_t begin = std::clock();
  for (const auto& [pattern, end] : rows) {
    const PosixRegex regex(pattern);
    const std::string& text = pattern[0] == 'R' ? targets : bits;
    EXPECT_EQ(regex.execute(text.c_str()), REG_NOMATCH) << pattern;
    EXPECT_EQ(regex.execute((text + end).c_str()), 0) << pattern;
  }
  EXPECT_LT((std::clock() - begin) / CLOCKS_PER_SEC, 60);
}

// Random patterns without intervals in intervals and without tests, where the host is slow and sometimes wrong.
TEST(PosixRegex, AgreesWithTheHost) {
  const char* const tokens[] = {"a", "b", "1", ":",    "(",    ")",           "|",    "*",
                                "+", "?", ".", "[ab]", "[^a]", "[[:digit:]]", "(a|b)"};
  std::mt19937 random(7);
  const auto below = [&random](std::size_t n) { return random() % n; };
  unsigned compared = 0;
  for (int round = 0; round < 4000; ++round) {
    std::string pattern;
    for (std::size_t i = 1 + below(9); i > 0; --i) pattern += tokens[below(std::size(tokens))];
    if (below(4) == 0) pattern = "^(" + pattern + "){1,2}$";
    regex_t host;
    if (regcomp(&host, pattern.c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
      EXPECT_THROW(PosixRegex{pattern}, PosixRegexException) << pattern;
      continue;
    }
    const PosixRegex regex(pattern);
    for (int i = 0; i < 10; ++i, ++compared) {
      std::string text;
      for (std::size_t length = below(8); length > 0; --length) text += "ab1:)"[below(5)];
      EXPECT_EQ(regex.execute(text.c_str()), regexec(&host, text.c_str(), 0, nullptr, 0)) << pattern << " on " << text;
    }
    regfree(&host);
  }
  EXPECT_GT(compared, 10'000U);
}

// More states than are kept, from four threads at once.
TEST(PosixRegex, ThreadsMayShareOne) {
  PosixRegex first("(a|b)*a(a|b){12}c$");
  const PosixRegex regex = std::move(first);
  EXPECT_EQ(regex.pattern(), "(a|b)*a(a|b){12}c$");
  std::vector<std::thread> threads;
  for (unsigned seed = 0; seed < 4; ++seed) {
    threads.emplace_back([&regex, seed] {
      std::mt19937 random(seed);
      for (int round = 0; round < 200; ++round) {
        std::string text;
        while (text.size() < 200) text += "ab"[random() & 1];
        const int expected = text[text.size() - 13] == 'a' ? 0 : REG_NOMATCH;
        EXPECT_EQ(regex.execute((text + "c").c_str()), expected);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace Routing::RouteMap
