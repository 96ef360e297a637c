// A pattern and a text, a zero octet between them: what an expression answers is what the host's engine answers. Ours may
// refuse a pattern that the host takes, never take one that the host refuses.
#include <regex.h>

#include <optional>

#include "Policy/PosixRegex.h"
#include "fuzz/Agent.h"

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
    copies *= c == '+' ? 2 : interval && number != 0 ? number + 1 : 1;
  }
  return copies <= 1000 && pattern.size() <= 64;
}

class HostRegex {
 public:
  explicit HostRegex(const char* pattern) : good(::regcomp(&regex_, pattern, REG_EXTENDED | REG_NOSUB) == 0) {}
  HostRegex(const HostRegex&) = delete;
  HostRegex& operator=(const HostRegex&) = delete;
  ~HostRegex() {
    if (good) ::regfree(&regex_);
  }
  bool matches(const std::string& text) const { return ::regexec(&regex_, text.c_str(), 0, nullptr, 0) == 0; }

 private:
  regex_t regex_;

 public:
  const bool good;
};

// Lists are matched by their texts.
void listsMatched(const PosixRegex& ours, const HostRegex& host, Octets octets) {
  LargeCommListContent large;
  for (const auto& value : valuesOf<CommunityValue>(octets)) large.commIs(value);
  const auto largeList = LargeCommList::dedupContent(agent(true).large.get(), large);
  TYR_ASSERT(largeList->matchCommunitiesRegex(&ours) == host.matches(largeList->toStrep()));

  ExtCommListContentU64 extended(agent(true).communities.get());
  for (const auto& value : valuesOf<std::uint64_t>(octets)) extended.commIs(value);
  const auto extendedList = ExtCommList::dedupContent(agent(true).extended.get(), extended);
  ExtComm::StrepFormat format;
  format.strepFormatDefaultIs(true);
  std::string text;
  for (const ExtComm* community : extendedList->comms()) text += ' ' + community->toStrepForPolicy(format);
  TYR_ASSERT(matchExtCommList(extendedList.get(), MatchMode::strepDefault, &ours) ==
             host.matches(text.substr(!text.empty())));
}

}  // namespace

void oneInput(Input input) {
  const std::string_view all = textOf(input.rest());
  const std::string pattern(all.substr(0, all.find('\0')));
  const std::string_view behind = all.substr(std::min(all.size(), pattern.size() + 1));
  const std::string text(behind.substr(0, behind.find('\0')));
  std::optional<PosixRegex> ours;
  done<PosixRegexException>([&] { ours.emplace(pattern); });
  if (!hostCopesWith(pattern) || text.size() > 200) return;
  const HostRegex host(pattern.c_str());
  TYR_ASSERT(host.good || !ours);
  if (!ours) return;
  TYR_ASSERT((ours->execute(text.c_str()) == 0) == host.matches(text));
  listsMatched(*ours, host, octetsOf(behind.substr(0, 48)));
}

}  // namespace VelBgpFuzz
