#include "Policy/PosixRegex.h"

#include <gtest/gtest.h>
#include <locale.h>
#include <malloc.h>
#include <regex.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <new>
#include <optional>
#include <random>
#include <sstream>
#include <thread>
#include <vector>

#include "support/FailingMemory.h"

namespace Routing::RouteMap {
namespace {

using Strings = std::vector<std::string>;

Strings words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

std::string repeated(const std::string& part, std::size_t times) {
  std::string text;
  while (times-- > 0) text += part;
  return text;
}

// What the constructor says of a pattern; empty if it takes it.
std::string refusal(const std::string& pattern) {
  try {
    const PosixRegex regex(pattern);
    return "";
  } catch (const PosixRegexException& exception) {
    return exception.what();
  }
}

// Random patterns made of all that other grammars read otherwise. VELBGP_REGEX_ROUNDS asks for more than a quick look.
TEST(PosixRegex, AgreesWithTheHost) {
  Strings parts = words(
      R"x(a b 1 _ : ab ( ( ( ) ) ) () (| (a|b) (^a (a|b$) | || * * + + ? ** +? ^ $ . . ] } - a) a{1
      \` \' \b \B \w \W \s \S \. \n \d \* \{ \\ [ab] [^a] []a] [^]a] [a-] [--1] [a^] [\n] [\] [a\] [.a] [[] [b-a] [a- [a
      [[:digit:]] [^[:alpha:]_] [[:space:][:punct:]] [[=a=]b] [[.a.]-b] [[.-.]] [[.space.]] [[.].]] [[=]=]a]
      [[:nope:]] [[.ab.]] [[:digit: [[. [a-[:digit:]])x");
  parts.insert(parts.end(), {" ", "\n", "\xff", "[\x80-\xff]"});
  const Strings intervals = words(R"({2} {,2} {1,} {,} {0} {1,2} {02} {0,1}{2} {1\,2} {\0,1}
                                     { {2 {,2 {} {x} {2,1} {1,2,3} {1\} {40000})");
  const Strings octets = {"a", "b", "1", "_", ":", " ", ")", "]", "}", "-", "\\", "*", "n", "\xff", {'\0'}, "\n"};
  std::mt19937 random(7);
  const auto any = [&random](const Strings& from, bool all = true) { return from[random() % (from.size() - !all)]; };
  const char* const asked = std::getenv("VELBGP_REGEX_ROUNDS");
  const int rounds = asked != nullptr ? std::atoi(asked) : 5000;
  int compared = 0, matched = 0;
  Strings policy;
  for (int round = 0; round < rounds; ++round) {
    std::string pattern;
    for (std::size_t n = random() % 6; n > 0; --n) pattern += any(parts);
    for (std::size_t n = random() % 3; n > 0; --n) pattern += any(intervals) + any(parts);
    if (random() % 50 == 0) pattern += '\\';
    // The host copies what it repeats, and copies of copies without limit.
    if (std::count(pattern.begin(), pattern.end(), '{') + std::count(pattern.begin(), pattern.end(), '+') > 4) continue;
    regex_t host;
    char message[100] = "";
    const int error = regcomp(&host, pattern.c_str(), REG_EXTENDED | REG_NOSUB);
    if (error != 0) regerror(error, nullptr, message, sizeof message);
    ASSERT_EQ(refusal(pattern), message) << pattern;
    if (error != 0) continue;
    // The host answers wrongly where a repetition copies an anchor, and where a line feed stands beside one.
    const bool anchored = pattern.find_first_of("^$") != pattern.npos;
    const bool copied = pattern.find_first_of("{+") != pattern.npos &&
                        pattern.find_first_of("^$", pattern.find('(')) < pattern.rfind(')');
    const PosixRegex regex(pattern);
    policy.push_back(pattern);
    for (int i = 0; i < 5 && !copied; ++i, ++compared) {
      std::string text;
      for (std::size_t n = random() % 7; n > 0; --n) text += any(octets, !anchored);
      regmatch_t range{0, static_cast<regoff_t>(text.size())};
      const int expected = regexec(&host, text.data(), 0, &range, REG_STARTEND);
      ASSERT_EQ(regex.execute(text), expected) << pattern << " on " << text;
      EXPECT_EQ(regex.find(text).has_value(), expected == 0) << pattern << " on " << text;
      EXPECT_TRUE(text.find('\0') != text.npos || regex.execute(text.c_str()) == expected) << pattern;
      matched += expected == 0;
    }
    regfree(&host);
    if (policy.size() < 20) continue;
    const PosixRegexSet set(policy);
    for (const char* const text : {"", "ab", "a1_b", "1: a\xff"}) {
      std::vector<bool> together(policy.size()), alone;
      set.execute(text, together);
      for (const PosixRegex& one : set.expressions()) alone.push_back(one.execute(text) == 0);
      ASSERT_EQ(together, alone) << text;
    }
    policy.clear();
  }
  EXPECT_GT(compared, rounds);
  EXPECT_GT(matched, rounds / 3);
}

TEST(PosixRegex, RefusesBeyondTheHost) {
  const std::string repeats = "repetitions beyond 1000, nested ones multiplied, are not supported";
  const std::string large = "pattern is too large once its repetitions are written out";
  const std::string deep = "pattern nests parentheses too deeply", nested200 = repeated("(", 200) + repeated(")", 200);
  const std::pair<std::string, std::string> rows[] = {
      {"(a)\\1", "back-references are not supported"},
      {"\\<a", "\\< and \\> are not supported"},
      {{'a', '\0', 'b'}, "pattern contains a NUL octet"},
      {std::string(4096, 'a'), ""},
      {std::string(4097, 'a'), "pattern has more than 4096 octets"},
      {nested200, ""},
      {"(" + nested200 + ")", deep},
      {repeated("(", 4096), deep},
      {"(a{25}){40}b{1000}", ""},
      {"(a{,32}){32,}", repeats},
      {"((((((a{90}){90}){90}){90}){90}){90})", repeats},
      {"(" + repeated("a", 100) + "){1000}", large},
      {repeated("a{,1000}", 500), large},
  };
  for (const auto& [pattern, message] : rows) EXPECT_EQ(refusal(pattern), message) << pattern;
}

// Most of these take the host's engine minutes, gibibytes or its stack. A quarter of a mebibyte is the text of the
// largest list that an attribute can carry. Two threads share each expression.
TEST(PosixRegex, NoPatternAndTextTakesLongOrMuch) {
  setlocale(LC_ALL, "C.UTF-8");  // octets are octets in any locale
  std::string bits = "\xff\xc3\xa4 ";
  std::mt19937 random(1);
  while (bits.size() < 250'000) bits += "ab"[random() & 1];
  const std::string b30 = repeated("b", 30), open30 = repeated("(", 30);
  // Whatever follows the blank, it takes the end to match.
  const std::pair<std::string, std::string> rows[] = {{"^.[^a]\\W ", ""},
                                                      {"(a|b)*a(a|b){20}c", "a" + b30.substr(0, 20) + "c"},
                                                      {"b.{30}c", b30 + "bc"},
                                                      {"(a?b?){100}c", "c"},
                                                      {open30 + "a" + repeated("+)+", 30) + "c", "ac"},
                                                      {"2?{,2}{,2}{2}{1,2}{1,}c", "c"},
                                                      {"(ab|[ab]|b*)*cb", "cb"},
                                                      {repeated("ax|", 300) + "ac", "ac"},
                                                      {repeated("\\W?", 999) + "c", "c"},
                                                      {"a" + repeated("*", 4000) + "c", "c"}};
  const auto held = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
  testing::internal::CaptureStderr();
  const std::clock_t begin = std::clock();
  for (const auto& [pattern, end] : rows) {
    const std::string longer = bits + end;
    const std::size_t before = held();
    PosixRegex made(pattern);
    const PosixRegex regex = std::move(made);
    EXPECT_EQ(regex.pattern(), pattern);
    std::thread other([&regex, &longer] { EXPECT_EQ(regex.execute(longer), 0) << regex.pattern(); });
    EXPECT_EQ(regex.execute(bits), end.empty() ? 0 : REG_NOMATCH) << pattern;
    other.join();
    EXPECT_LT(held() - before, 5U << 19) << pattern;
  }
  EXPECT_LT((std::clock() - begin) / CLOCKS_PER_SEC, 60);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  setlocale(LC_ALL, "C");
}

// In a process of its own: what RE2 loses when memory runs out is no leak of ours. An expression that found none for a
// text still knows what it matches.
TEST(PosixRegex, WithoutMemoryThereIsAnExceptionAndNoOtherMeaning) {
  const std::string text = "RT:1:7 abacbcde";
  const auto compileAndMatch = [&text] {
    for (const char* pattern : {"[a-c]+x?", "(^| )R(T:[12]|O:1){1,3}( |$)", "(ab|ac|[b-d]|(b(c))e)*(cd|c)f*$",
                                "[[:digit:]]+:7 [^[:space:]]*e$", "^(a|\\w)+.{2,4}\\bx"}) {
      const int expected = PosixRegex(pattern).execute(text);
      std::optional<PosixRegex> regex;
      const auto execute = [&] {
        regex.reset();
        return regex.emplace(pattern).execute(text);
      };
      const auto stillMeansTheSame = [&] { EXPECT_TRUE(!regex || regex->execute(text) == expected) << pattern; };
      EXPECT_GT(Bgp::test::failAtEachAllocation(execute, stillMeansTheSame, Bgp::test::Losses::notCounted), 50);
    }
    ::_exit(testing::Test::HasFailure());
  };
  EXPECT_EXIT(compileAndMatch(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace Routing::RouteMap
