// A pattern and a text, a zero octet between them: what the expression answers is what the host's engine answers. Ours
// may refuse a pattern that the host takes, never the other way.
#include <regex.h>

#include <memory>
#include <optional>

#include "Policy/PosixRegex.h"
#include "VelBgp/VelBgpCommunityList.h"
#include "fuzz/Fuzz.h"
#include "tools/velbgp/Agent.h"

namespace VelBgpFuzz {

namespace {

using namespace Routing::Bgp;
using Routing::RouteMap::PosixRegex;
using Routing::RouteMap::PosixRegexException;

// The host writes out nested repetitions without limit, starts afresh at every octet of a text, and takes exponential
// time for back-references, so it is asked about small things only.
constexpr std::size_t longestPattern = 48;
constexpr std::size_t longestText = 160;

bool hostCopesWith(std::string_view pattern) {
  if (pattern.size() > longestPattern || std::ranges::count(pattern, '{') > 2) return false;
  unsigned number = 0;
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    const char c = pattern[at];
    if (c == '\\' && at + 1 < pattern.size() && pattern[at + 1] >= '1' && pattern[at + 1] <= '9') return false;
    number = c >= '0' && c <= '9' ? 10 * number + static_cast<unsigned>(c - '0') : 0;
    if (number > 20 && pattern.find('{') != std::string_view::npos) return false;
  }
  return true;
}

class HostRegex {
 public:
  explicit HostRegex(const std::string& pattern)
      : good_(::regcomp(&regex_, pattern.c_str(), REG_EXTENDED | REG_NOSUB) == 0) {}
  HostRegex(const HostRegex&) = delete;
  HostRegex& operator=(const HostRegex&) = delete;
  ~HostRegex() {
    if (good_) ::regfree(&regex_);
  }
  bool good() const { return good_; }
  bool matches(const std::string& text) const { return ::regexec(&regex_, text.c_str(), 0, nullptr, 0) == 0; }

 private:
  regex_t regex_;
  bool good_;
};

std::optional<PosixRegex> compiled(const std::string& pattern) {
  std::optional<PosixRegex> regex;
  done<PosixRegexException>([&] { regex.emplace(pattern); });
  return regex;
}

// Lists are matched by their texts. The octets of the text make the lists.
void listsMatched(const PosixRegex& ours, const HostRegex& host, Octets octets) {
  static VelBgpTool::Agent agent(true);
  LargeCommListContent large;
  CommListContent standard;
  ExtCommListContentU64 extended(agent.communityTable());
  for (Input input(octets.first(std::min<std::size_t>(octets.size(), 48))); !input.empty();) {
    const ExtCommContent value(input.number<std::uint64_t>());
    extended.commIs(value);
    standard.commIs(value.localAdmin4Octets());
    large.commIs({value.localAdmin4Octets(), value.typeOctet(), value.subtypeOctet()});
  }
  const auto largeList = LargeCommList::dedupContent(agent.largeTable(), large);
  TYR_ASSERT(largeList->matchCommunitiesRegex(&ours) == host.matches(largeList->toStrep()));
  const auto standardList = CommList::dedupContent(agent.standardTable(), standard);
  if (host.matches(standardList->toStrep())) TYR_ASSERT(standardList->matchCommunitiesRegex(&ours));

  const auto extendedList = ExtCommList::dedupContent(agent.listTable(), extended);
  for (const MatchMode mode : {MatchMode::strepDefault, MatchMode::strepClassification}) {
    ExtComm::StrepFormat format;
    format.strepFormatDefaultIs(mode == MatchMode::strepDefault);
    format.strepFormatClassificationIs(mode == MatchMode::strepClassification);
    std::string text;
    for (const ExtComm* community : extendedList->comms()) text += community->toStrepForPolicy(format) + ' ';
    if (!text.empty()) text.pop_back();
    TYR_ASSERT(matchExtCommList(extendedList.get(), mode, &ours) == host.matches(text));
  }
}

}  // namespace

void oneInput(Input& input) {
  const std::string_view all = textOf(input.rest());
  const std::string pattern(all.substr(0, all.find('\0')));
  const std::string_view behind = all.substr(std::min(all.size(), pattern.size() + 1));
  const std::string text(behind.substr(0, std::min(behind.find('\0'), longestText)));
  const std::optional<PosixRegex> ours = compiled(pattern);
  if (ours) ours->execute(text.c_str());
  if (!hostCopesWith(pattern)) return;
  const HostRegex host(pattern);
  TYR_ASSERT(host.good() || !ours);
  if (!ours) return;
  TYR_ASSERT((ours->execute(text.c_str()) == 0) == host.matches(text));
  listsMatched(*ours, host, octetsOf(behind));
}

}  // namespace VelBgpFuzz
