// Regular expressions of route policies, matched against the text of community lists.
//
// Language: POSIX extended expressions as the host's regcomp() reads them in the C locale, with its \w \W \s \S
// \b \B \< \> \` \' and an interval without a lower bound; '.' also matches a line feed. Back-references are refused:
// to match them takes exponential time.
//
// Matching: the pattern is the operator's but the text is a peer's, so there must be no text that stops the agent. The
// host's regexec() starts afresh at every octet (RT:1:1.*RT:2:2 takes seconds on a list of 8,000 route targets) and
// keeps a state for every set of positions it ever met; its regcomp() writes out nested repetitions without limit (it
// does not come back from 2?{,2}{,2}{2}{1,2}{1,}). So the host is asked only what its bracket expressions stand for,
// and the answer is computed here, in one pass over the text: at most text length times pattern size steps, mostly one
// table look-up for each octet, and at most half a mebibyte of states for an expression however many texts it sees.
//
// Limits on a pattern: 4,096 octets, 200 levels of parentheses, 5,000 steps once intervals are written out.
//
// Ownership: a moved-from expression may only be destroyed or assigned to.
// Threads: one expression may be used from any number of threads, but its states are behind a lock, so threads that
// match much scale only with an expression each: PosixRegex mine(theirs.pattern()).
// Errors: PosixRegexException from the constructor.
#pragma once

#include <memory>
#include <string>

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
  // out: not knowing is not "no match", which could let a route pass a filter.
  int execute(const char* text) const;

  const std::string& pattern() const noexcept { return pattern_; }

 private:
  class Matcher;
  std::string pattern_;
  std::unique_ptr<Matcher> matcher_;
};

}  // namespace Routing::RouteMap
