#include "VelBgp/ListText.h"

#include "Tyr/DynamicBuffer.h"

namespace Routing::Bgp {
namespace {

template <typename Comm>
std::string textOf(const Comm* comm) {
  return comm == nullptr ? "NULL" : comm->toStrep();
}

}  // namespace

std::string stringify(const ExtCommIp6ListBase* list) { return textOf(list); }

std::string commText(const ExtComm* comm) { return textOf(comm); }
std::string commText(const ExtCommIp6* comm) { return textOf(comm); }
std::string commText(const ExtCommContent& content) { return valueToStrep(content); }
std::string commText(const ExtCommIp6Content& content) { return valueToStrep(content); }
std::string commText(const CommunityValue& value) { return LargeCommunityFormatter::tacString(value, false); }
std::string commText(std::uint32_t value) { return CommList::getStringValue(value); }

}  // namespace Routing::Bgp
