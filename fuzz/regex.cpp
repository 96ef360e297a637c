// A pattern and a text, a zero octet between them: what an expression answers is what the host's engine answers. Ours
// may refuse a pattern that the host takes, never take one that the host refuses.
#include <regex.h>

#include <optional>

#include "Policy/PosixRegex.h"
#include "fuzz/Fuzz.h"

namespace VelBgpFuzz {
namespace {

using Routing::RouteMap::PosixRegex;
using Routing::RouteMap::PosixRegexException;

// The host writes out x+ as xx*, and intervals in full, nested or not, and takes exponential time for back-references.
bool hostCopesWith(std::string_view pattern) {
  std::uint64_t copies = 1;
  std::uint64_t number = 0;
  bool interval = false;
  for (std::size_t at = 0; at < pattern.size() && copies <= 1000; ++at) {
    const char c = pattern[at];
    const bool digit = c >= '0' && c <= '9';
    if (digit && at != 0 && pattern[at - 1] == '\\') return false;
    interval = interval || c == '{';
    number = digit ? std::min<std::uint64_t>(10 * number + static_cast<unsigned>(c - '0'), 1000) : 0;
    copies *= c == '+' ? 2 : interval ? number + 1 : 1;
  }
  return copies <= 1000 && pattern.size() <= 64;
}

}  // namespace

void oneInput(Input input) {
  const std::string all(textOf(input.rest()));
  const std::string pattern = all.c_str();
  const std::string text = all.c_str() + std::min(all.size(), pattern.size() + 1);
  std::optional<PosixRegex> ours;
  done<PosixRegexException>([&] { ours.emplace(pattern); });
  const bool matches = ours && ours->execute(text.c_str()) == 0;
  // The host takes a newline for the end of a line here and there ("$.c" finds "\nc"); ours is a character like others.
  if (!hostCopesWith(pattern) || text.size() > 200 || text.find('\n') != std::string::npos) return;
  regex_t host;
  if (::regcomp(&host, pattern.c_str(), REG_EXTENDED | REG_NOSUB) != 0) return TYR_ASSERT(!ours);
  TYR_ASSERT(!ours || matches == (::regexec(&host, text.c_str(), 0, nullptr, 0) == 0));
  ::regfree(&host);
}

}  // namespace VelBgpFuzz
