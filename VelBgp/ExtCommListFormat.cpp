#include <ostream>
#include <string>

#include "Policy/PosixRegex.h"
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

std::ostream& formatCommList(std::ostream& stream, const ExtCommList* list) {
  return writeText(stream, bracketed(list));
}
std::ostream& formatCommList(std::ostream& stream, const ExtCommClassificationList* list) {
  return writeText(stream, bracketed(list));
}
std::ostream& operator<<(std::ostream& stream, const ExtCommList* list) { return formatCommList(stream, list); }
std::ostream& operator<<(std::ostream& stream, const ExtCommList& list) { return formatCommList(stream, &list); }
std::ostream& operator<<(std::ostream& stream, const ExtCommClassificationList* list) {
  return formatCommList(stream, list);
}
std::ostream& operator<<(std::ostream& stream, const ExtCommClassificationList& list) {
  return formatCommList(stream, &list);
}
std::string stringify(const ExtCommList* list) { return bracketed(list); }
std::string stringify(const ExtCommClassificationList* list) { return bracketed(list); }

}  // namespace Routing::Bgp
