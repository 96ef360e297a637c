#include <algorithm>
#include <array>

#include "VelBgp/ExtCommTextImpl.h"
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

std::string matchText(const ExtCommList& list, MatchMode matchMode) {
  std::string text;
  bool first = true;
  for (const ExtComm* comm : list.comms()) {
    if (!hasMatchText(*comm, matchMode)) continue;
    if (!first) text += ' ';
    text += matchText(*comm, matchMode);
    first = false;
  }
  return text;
}

}  // namespace

bool matchExtCommList(const ExtCommList* list, MatchMode matchMode, const RouteMap::PosixRegex* regex) {
  TYR_ASSERT_ADVICE(regex != nullptr, "there is no expression to match with: make a RouteMap::PosixRegex first");
  const std::string strVal = matchText(*list, matchMode);
  TYR_ASSERT(!strVal.empty() || matchMode != MatchMode::ui);
  return regex->execute(strVal.c_str()) == 0;
}

bool matchExtComm(const ExtComm* comm, const RouteMap::PosixRegex* regex) {
  TYR_ASSERT_ADVICE(regex != nullptr, "there is no expression to match with: make a RouteMap::PosixRegex first");
  constexpr std::array modes = {MatchMode::strepDefault, MatchMode::strepClassification, MatchMode::ui};
  return std::any_of(modes.begin(), modes.end(), [&](MatchMode mode) {
    return hasMatchText(*comm, mode) && regex->execute(matchText(*comm, mode).c_str()) == 0;
  });
}

bool ExtCommList::matchCommunitiesRegex(const RouteMap::PosixRegex* regex) const {
  return matchExtCommList(this, MatchMode::strepDefault, regex) ||
         matchExtCommList(this, MatchMode::strepClassification, regex) ||
         (hasPolicyMatchStrepUICommunities() && matchExtCommList(this, MatchMode::ui, regex));
}

std::ostream& join(std::ostream& stream, const ExtCommRange& vector) {
  writeAppended(stream, [&vector](auto& text) { appendCommunities(text, vector); });
  return stream;
}

COMM_LIST_TEXTS(ExtCommList, bracketed)
COMM_LIST_TEXTS(ExtCommClassificationList, bracketed)

}  // namespace Routing::Bgp
