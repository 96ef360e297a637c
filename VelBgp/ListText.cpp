#include "VelBgp/ListText.h"

#include "VelBgp/VelBgpCommunityListImpl.h"

namespace Routing::Bgp {
namespace {

template <typename Comm>
void appendObject(Tyr::DynamicBufferInterface& text, const Comm* comm) {
  if (comm == nullptr) return text.append("NULL");
  Tyr::TextStream stream(text);
  comm->formatDerivedType(stream);
}

template <typename Comm>
std::string textOf(const Comm& comm) {
  Tyr::DynamicBuffer<> text;
  appendCommText(text, comm);
  return text.str();
}

}  // namespace

std::string stringify(const ExtCommIp6ListBase* list) { return bracketed(list); }

void appendCommText(Tyr::DynamicBufferInterface& text, const ExtComm* comm) { appendObject(text, comm); }
void appendCommText(Tyr::DynamicBufferInterface& text, const ExtCommIp6* comm) { appendObject(text, comm); }
void appendCommText(Tyr::DynamicBufferInterface& text, const ExtCommContent& content) {
  text.append(valueToStrep(content));
}
void appendCommText(Tyr::DynamicBufferInterface& text, const ExtCommIp6Content& content) {
  text.append(valueToStrep(content));
}
void appendCommText(Tyr::DynamicBufferInterface& text, const CommunityValue& value) {
  LargeCommListTraits::format(text, value);
}
void appendCommText(Tyr::DynamicBufferInterface& text, std::uint32_t value) { CommListTraits::format(text, value); }

std::string commText(const ExtComm* comm) { return textOf(comm); }
std::string commText(const ExtCommIp6* comm) { return textOf(comm); }
std::string commText(const ExtCommContent& content) { return textOf(content); }
std::string commText(const ExtCommIp6Content& content) { return textOf(content); }
std::string commText(const CommunityValue& value) { return textOf(value); }
std::string commText(std::uint32_t value) { return textOf(value); }

}  // namespace Routing::Bgp
