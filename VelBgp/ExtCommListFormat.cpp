#include <string>

#include "VelBgp/ExtCommTextImpl.h"
#include "VelBgp/VelBgpCommunityListImpl.h"

namespace Routing::Bgp {
namespace {

// The communities' texts, a blank between them; `contribution` may pass over one by returning nothing.
template <typename Contribution>
std::string matchText(const ExtCommRange& comms, Contribution&& contribution) {
  std::string text;
  bool first = true;
  for (const ExtComm* comm : comms) {
    if (!contribution.takes(*comm)) continue;
    if (!first) text += ' ';
    text += contribution.text(*comm);
    first = false;
  }
  return text;
}

struct PolicyText {
  ExtComm::StrepFormat format;
  bool takes(const ExtComm&) const { return true; }
  std::string text(const ExtComm& comm) const { return comm.toStrepForPolicy(format); }
};

struct UiText {
  bool takes(const ExtComm& comm) const { return comm.policyMatchStrepUI(); }
  std::string text(const ExtComm& comm) const { return comm.toStrepForUI(false, false, false); }
};

std::string matchText(const ExtCommList& list, MatchMode matchMode) {
  if (matchMode == MatchMode::ui) return matchText(list.comms(), UiText());
  ExtComm::StrepFormat format;
  format.strepFormatDefaultIs(matchMode == MatchMode::strepDefault);
  format.strepFormatClassificationIs(matchMode == MatchMode::strepClassification);
  return matchText(list.comms(), PolicyText{format});
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
