// Regular expressions of route policies, matched against the text of community lists.
//
// Language: POSIX extended expressions as the host's regcomp() reads them in the C locale, with its \w \W \s \S \b \B
// \` \' and an interval without a lower bound. '.' matches every octet, a line feed too, but no NUL. \< and \> are
// refused, for the engine has no such tests, and so are back-references: to match them takes exponential time.
//
// Matching: the pattern is the operator's but the text is a peer's, so there must be no text that stops the agent. The
// host's regexec() starts afresh at every octet (RT:1:1.*RT:2:2 takes seconds on a list of 8,000 route targets) and
// keeps a state for every set of positions it ever met; its regcomp() writes out nested repetitions without limit (it
// does not come back from 2?{,2}{,2}{2}{1,2}{1,}). So the host is asked only what its bracket expressions stand for,
// the pattern is rewritten in RE2's language, and RE2 answers: mostly with one table look-up for each octet, and never
// with more than text length times pattern size steps, repetitions written out. A pattern at the limits below, run over
// the text of 8,000 communities, takes seconds; who lets strangers write patterns should refuse such.
//
// Answers: a list that is interned asks an expression once and remembers what it said as long as it lives (see
// matchCommunitiesRegex() of the lists): in 8 MiB for the process, for 256 expressions at a time.
//
// Limits on a pattern: 4,096 octets, 200 levels of parentheses, 1,000 repetitions (of nested ones, the product), and
// 10,000 instructions of RE2 once they are written out: about one for an octet or a set, two for parentheses.
// Memory: RE2 gets 2 MiB for an expression's program and states, however many texts it sees; simple patterns take some
// KiB. The syntax tree beside them stays below half a MiB. Construction takes up to 6 MiB for a moment.
//
// A newline in a text is a character like any other: "$" and "^" mean the text's ends. Hosts differ there.
//
// Ownership: a moved-from expression may only be destroyed or assigned to.
// Threads: one expression may be used from any number of threads. Each match takes a shared lock, so two threads that
// do nothing but match short texts slow each other down, up to twice; what no text needed before is added under an
// exclusive one. Threads that match much better have an expression each: PosixRegex mine(theirs.pattern()).
// Errors: PosixRegexException from the constructor, std::bad_alloc from the constructor and from matching. Whoever
// catches the latter may go on, but when memory runs out while RE2 prepares an expression it loses some of its own and
// may write "Stack not empty." to standard error.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Tyr/Assert.h"
#include "Tyr/Exception.h"
#include "Tyr/Export.h"

namespace Routing::RouteMap {

// The pattern is no usable expression; what() is the host's own message, or names the limit that was passed.
class VELBGP_EXPORT PosixRegexException : public Tyr::Exception {
 public:
  using Exception::Exception;
  ~PosixRegexException() override;
};

class VELBGP_EXPORT PosixRegex {
 public:
  explicit PosixRegex(const std::string& pattern);
  PosixRegex(PosixRegex&&) noexcept;
  PosixRegex& operator=(PosixRegex&&) noexcept;
  ~PosixRegex();

  // 0 when some part of the text matches, REG_NOMATCH of <regex.h> otherwise. Throws std::bad_alloc when memory runs
  // out: not knowing is not "no match", which could let a route pass a filter. A view may contain NUL octets.
  int execute(const char* text) const;
  int execute(std::string_view text) const;
  // Where the expression matches: the first part of the text, from this octet on, that does. For people: slower.
  std::optional<std::string_view> find(std::string_view text, std::size_t from = 0) const;

  const std::string& pattern() const noexcept { return pattern_; }

 private:
  friend class MatchMemory;
  friend class PosixRegexSet;

  class Matcher;
  const Matcher& matcher() const;

  std::string pattern_;
  std::unique_ptr<Matcher> matcher_;
};

// What a caller was handed as its expression's address. A null one stops the process.
inline const PosixRegex& expressionAt(const PosixRegex* regex) {
  TYR_ASSERT_ADVICE(regex != nullptr, "there is no expression to match with: make a RouteMap::PosixRegex first");
  return *regex;
}

// Expressions that are asked in one pass over the text: an operator's whole policy on a list that is new.
//
// The same answers as each of them gives alone. Where the automaton of all has no room (16 MiB, for its program and its
// states), they are asked one after the other. Ownership, threads and errors as for PosixRegex.
class VELBGP_EXPORT PosixRegexSet {
 public:
  explicit PosixRegexSet(std::span<const std::string> patterns);
  PosixRegexSet(PosixRegexSet&&) noexcept;
  PosixRegexSet& operator=(PosixRegexSet&&) noexcept;
  ~PosixRegexSet();

  // Sets the place of each expression that matches, in the order of the patterns; the others stay as they are. Asserts
  // that there is a place for each.
  void execute(std::string_view text, std::vector<bool>& matched) const;

  // In the order of the patterns.
  const std::vector<PosixRegex>& expressions() const noexcept { return expressions_; }

 private:
  class Matcher;
  std::vector<PosixRegex> expressions_;
  std::unique_ptr<Matcher> matcher_;
};

}  // namespace Routing::RouteMap
