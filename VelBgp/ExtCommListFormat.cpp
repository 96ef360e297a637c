#include <algorithm>
#include <array>

#include "VelBgp/ExtCommTextImpl.h"
#include "VelBgp/MatchTextsImpl.h"
#include "VelBgp/VelBgpCommunityListImpl.h"

namespace Routing::Bgp {
namespace {

bool hasMatchText(const ExtComm& comm, MatchMode matchMode) {
  return matchMode != MatchMode::ui || comm.policyMatchStrepUI();
}

std::string matchText(const ExtComm& comm, MatchMode matchMode) {
  if (matchMode == MatchMode::ui) return comm.toStrepForUI(false, false, false);
  ExtComm::StrepFormat format;
  format.strepFormatDefaultIs(matchMode == MatchMode::strepDefault);
  format.strepFormatClassificationIs(matchMode == MatchMode::strepClassification);
  return comm.toStrepForPolicy(format);
}

std::string matchText(const ExtCommList& list, MatchMode matchMode, std::vector<TextPlace>* places = nullptr) {
  std::string text;
  bool first = true;
  for (const ExtComm* comm : list.comms()) {
    if (places != nullptr) places->emplace_back();
    if (!hasMatchText(*comm, matchMode)) continue;
    if (!first) text += ' ';
    const std::size_t begin = text.size();
    text += matchText(*comm, matchMode);
    if (places != nullptr) places->back() = {begin, text.size()};
    first = false;
  }
  return text;
}

// The modes in their order.
unsigned modesOf(const ExtCommList& list) { return list.hasPolicyMatchStrepUICommunities() ? 3 : 2; }

auto matchTextsOf(const ExtCommList& list) {
  return [&list](unsigned mode) {
    std::string strVal = matchText(list, MatchMode(mode));
    TYR_ASSERT(!strVal.empty() || MatchMode(mode) != MatchMode::ui);
    return strVal;
  };
}

}  // namespace

bool matchExtCommList(const ExtCommList* list, MatchMode matchMode, const RouteMap::PosixRegex* regex) {
  const RouteMap::PosixRegex& expression = RouteMap::expressionAt(regex);
  const std::string& strVal =
      MatchTexts::text(*list, static_cast<unsigned>(matchMode), [=] { return matchText(*list, matchMode); });
  TYR_ASSERT(!strVal.empty() || matchMode != MatchMode::ui);
  return expression.execute(strVal) == 0;
}

bool matchExtComm(const ExtComm* comm, const RouteMap::PosixRegex* regex) {
  const RouteMap::PosixRegex& expression = RouteMap::expressionAt(regex);
  constexpr std::array modes = {MatchMode::strepDefault, MatchMode::strepClassification, MatchMode::ui};
  return std::any_of(modes.begin(), modes.end(), [&](MatchMode mode) {
    return hasMatchText(*comm, mode) && expression.execute(matchText(*comm, mode).c_str()) == 0;
  });
}

bool ExtCommList::matchCommunitiesRegex(const RouteMap::PosixRegex* regex) const {
  return matchList(*this, regex, modesOf(*this), matchTextsOf(*this));
}

std::optional<MatchReason> matchReason(const ExtCommList* list, const RouteMap::PosixRegex* regex) {
  TYR_ASSERT(list != nullptr);
  constexpr std::array<std::string_view, 3> modes = {"default", "classification", "ui"};
  return matchReasonOf(regex, std::span(modes).first(modesOf(*list)),
                       [list](unsigned mode, auto& places) { return matchText(*list, MatchMode(mode), &places); });
}

std::vector<bool> ExtCommList::matchCommunitiesRegexSet(const RouteMap::PosixRegexSet& set) const {
  return matchListWithSet(*this, set, modesOf(*this), matchTextsOf(*this));
}

std::ostream& join(std::ostream& stream, const ExtCommRange& vector) {
  writeAppended(stream, [&vector](auto& text) { appendCommunities(text, vector); });
  return stream;
}

COMM_LIST_TEXTS(ExtCommList, bracketed)
COMM_LIST_TEXTS(ExtCommClassificationList, bracketed)

}  // namespace Routing::Bgp
