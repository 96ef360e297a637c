#include "Policy/PosixRegex.h"

#include <regex.h>

#include <mutex>

#include "Policy/PosixRegexImpl.h"
#include "Tyr/Assert.h"

namespace Routing::RouteMap {

PosixRegexException::~PosixRegexException() = default;

class PosixRegex::Matcher {
 public:
  explicit Matcher(const std::string& pattern) : matcher_(regexProgram(pattern)) {}
  bool matches(const char* text) {
    const std::lock_guard lock(mutex_);
    return matcher_.matches(text);
  }

 private:
  std::mutex mutex_;
  RegexMatcher matcher_;
};

PosixRegex::PosixRegex(const std::string& pattern) : pattern_(pattern), matcher_(std::make_unique<Matcher>(pattern)) {}
PosixRegex::PosixRegex(PosixRegex&&) noexcept = default;
PosixRegex& PosixRegex::operator=(PosixRegex&&) noexcept = default;
PosixRegex::~PosixRegex() = default;

int PosixRegex::execute(const char* text) const {
  TYR_ASSERT(text != nullptr);
  TYR_ASSERT(matcher_ != nullptr);
  return matcher_->matches(text) ? 0 : REG_NOMATCH;
}

}  // namespace Routing::RouteMap
