// Any text through every reader of texts: what is read is printed, and what is printed reads as the same again. A
// reader that takes nothing leaves its place as it was.
#include <arpa/inet.h>

#include <optional>

#include "Addr/Ip4Addr.h"
#include "VelBgp/BgpPathAttributeEnums.h"
#include "VelBgp/Parse/ExtCommRuleCollections.h"
#include "VelBgp/Parse/ExtCommTunnelEncap.h"
#include "VelBgp/RouteTargetPrefix.h"
#include "VelBgp/VelBgpMiscTypes.h"
#include "fuzz/Agent.h"
#include "tools/velbgp/Kind.h"

namespace VelBgpFuzz {
namespace {

using Tyr::StrepIterator;

// `read(it, end)` takes a value from the front of the text, `print` gives its text.
template <typename Read, typename Print>
void readable(std::string_view text, Read&& read, Print&& print) {
  StrepIterator it = text.data();
  const StrepIterator end = it + text.size();
  std::optional<decltype(read(it, end))> value;
  if (!done<Tyr::Exception>([&] { value.emplace(read(it, end)); })) return TYR_ASSERT(it == text.data());
  TYR_ASSERT(it > text.data() && it <= end);
  const std::string printed(print(*value));
  TYR_ASSERT(Tyr::readWhole(printed, read) == *value);
}

template <typename Value>
void valueReadable(std::string_view text) {
  readable(
      text, [](auto& it, auto& end) { return Value(it, end); }, [](auto& v) { return valueToStrep(v); });
}

template <typename Value>
void sequenceReadable(std::string_view text) {
  const auto read = [](auto& it, auto& end) {
    Value value{};
    sequenceToValue(it, end, &value);
    return value;
  };
  readable(text, read, [](auto& v) { return valueToStrep(v); });
}

void enumerationsReadable(std::string_view text) {
#define TYR_ENUM_BEGIN(E, Underlying)
#define TYR_ENUM_CLASS_BEGIN(E, Underlying)
#define TYR_ENUM_WIRE(E, name, number)
#define TYR_ENUM_WIRE_TEXT(E, name, number, text)
#define TYR_ENUM_OTHER(E, name, number)
#define TYR_ENUM_OTHER_TEXT(E, name, number, text)
#define TYR_ENUM_END(E)      \
  sequenceReadable<E>(text); \
  done<Tyr::BadNameException>([&] { TYR_ASSERT(stringValue(E##Instance(std::string(text))) == text); });
#include "VelBgp/BgpCommunityValue.def"
#include "VelBgp/BgpPathAttributeEnums.def"
#include "VelBgp/ExtCommClassification.def"
#include "VelBgp/Parse/ExtCommTunnelType.def"
#include "VelBgp/VelBgpCommunityPacketTypes.def"
}

// The host's functions say what an address is.
template <typename Address>
void addressReadable(const std::string& text, int family) {
  std::uint8_t host[16];
  const bool expected = text.find('\0') == text.npos && ::inet_pton(family, text.c_str(), host) == 1;
  const bool taken = done<Tyr::ParseException>([&] {
    const Address address(text);
    char printed[INET6_ADDRSTRLEN];
    TYR_ASSERT(expected && address.toStrep() == ::inet_ntop(family, host, printed, sizeof printed));
    TYR_ASSERT(Address(address.toStrep()) == address);
  });
  TYR_ASSERT(taken == expected);
}

std::string printed(const VelBgpTool::TypedValue& value) {
  Input wire(value.wire());
  if (value.wire().size() == 4) return CommList::getStringValue(takeValue<std::uint32_t>(wire));
  if (value.wire().size() == 12) return LargeCommList::getStringValue(takeValue<CommunityValue>(wire));
  return VelBgpTool::hexValue(value.wire());
}

void typedReadable(std::string_view text) {
  std::string problem;
  const auto value = VelBgpTool::parseValue(text, problem);
  TYR_ASSERT(value.has_value() == problem.empty());
  if (!value) return;
  for (const std::string& again : {printed(*value), VelBgpTool::hexValue(value->wire())}) {
    const auto same = VelBgpTool::parseValue(again, problem);
    TYR_ASSERT(same && same->kind == value->kind && same->octets == value->octets);
  }
}

}  // namespace

void oneInput(Input input) {
  const std::string_view text = textOf(input.rest());
  enumerationsReadable(text);
  valueReadable<ExtComm::StrepFormat>(text);
  valueReadable<ExtCommIp6::StrepFormat>(text);
  valueReadable<ExtCommList::CommVectorAttrs>(text);
  valueReadable<ExtCommList::Serialization>(text);
  valueReadable<ExtCommClassificationList::CommVectorAttrs>(text);
  valueReadable<ExtCommIp6Content>(text);
  valueReadable<RouteTargetPrefix>(text);
  valueReadable<BgpDenseU32Attr>(text);
  valueReadable<BgpParseExtCommSubTypeTransOpaqueRuleKey>(text);
  sequenceReadable<BgpExtCommPktSubtype>(text);
  sequenceReadable<BgpUpdateMsgAttributeFlags>(text);
  sequenceReadable<BgpMaybeU63>(text);
  addressReadable<Routing::Addr::Ip4Addr>(std::string(text), AF_INET);
  addressReadable<Routing::Addr::Ip6Addr>(std::string(text), AF_INET6);
  typedReadable(text);
}

}  // namespace VelBgpFuzz
