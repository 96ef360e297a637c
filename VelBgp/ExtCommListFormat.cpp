#include "VelBgp/ExtCommTextImpl.h"
#include "VelBgp/VelBgpCommunityListImpl.h"

namespace Routing::Bgp {
namespace {

std::string matchText(const ExtCommList& list, MatchMode matchMode) {
  ExtComm::StrepFormat format;
  format.strepFormatDefaultIs(matchMode == MatchMode::strepDefault);
  format.strepFormatClassificationIs(matchMode == MatchMode::strepClassification);
  const bool ui = matchMode == MatchMode::ui;
  std::string text;
  bool first = true;
  for (const ExtComm* comm : list.comms()) {
    if (ui && !comm->policyMatchStrepUI()) continue;
    if (!first) text += ' ';
    text += ui ? comm->toStrepForUI(false, false, false) : comm->toStrepForPolicy(format);
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

bool ExtCommList::matchCommunitiesRegex(const RouteMap::PosixRegex* regex) const {
  return matchExtCommList(this, MatchMode::strepDefault, regex) ||
         matchExtCommList(this, MatchMode::strepClassification, regex) ||
         (hasPolicyMatchStrepUICommunities() && matchExtCommList(this, MatchMode::ui, regex));
}

std::ostream& join(std::ostream& stream, const ExtCommRange& vector) {
  joinCommunities(stream, vector);
  return stream;
}

COMM_LIST_TEXTS(ExtCommList, bracketed)
COMM_LIST_TEXTS(ExtCommClassificationList, bracketed)

}  // namespace Routing::Bgp
