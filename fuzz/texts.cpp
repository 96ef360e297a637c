// Any text through every reader of texts: what is read is printed, and what is printed reads as the same again. A
// reader that takes nothing leaves its place as it was.
#include <arpa/inet.h>

#include <algorithm>
#include <optional>

#include "Addr/Ip4Addr.h"
#include "VelBgp/BgpPathAttributeEnums.h"
#include "VelBgp/Parse/ExtCommRuleCollections.h"
#include "VelBgp/Parse/ExtCommTunnelEncap.h"
#include "VelBgp/RouteTargetPrefix.h"
#include "VelBgp/ValueText.h"
#include "VelBgp/VelBgpMiscTypes.h"
#include "fuzz/Agent.h"

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

// An error names a place in the text, in printable words, and only readings that are some.
void errorSound(std::string_view text, const ValueTextError& error) {
  TYR_ASSERT(error.offset <= text.size() && error.length <= text.size() - error.offset);
  const std::string message = error.message();
  TYR_ASSERT(message.size() < 1000 &&
             std::ranges::all_of(message, [](char c) { return c == '\t' || (c >= ' ' && c <= '~'); }));
  for (const std::string& reading : error.readings) TYR_ASSERT(valueFromText(reading));
}

// A value that was typed has a text that gives it again, and is of one kind alone.
void typedReadable(std::string_view text) {
  const auto value = valueFromText(text);
  if (!value) return errorSound(text, value.error());
  const auto again = valueFromText(textOf(*value));
  TYR_ASSERT(again && *again == *value);
  const int kinds = bool{extCommFromText(text)} + bool{extCommIp6FromText(text)} + bool{largeCommFromText(text)} +
                    bool{commFromText(text)};
  TYR_ASSERT(kinds == 1);
}

// The words of a line come in its order, and each is read as it is alone.
void lineReadable(std::string_view line) {
  std::size_t behind = 0;
  for (ValueTexts texts(line); const auto typed = texts.next();) {
    TYR_ASSERT(typed->offset >= behind && typed->offset + typed->length <= line.size());
    behind = typed->offset + typed->length;
    if (!typed->value) {
      errorSound(line, typed->value.error());
      continue;
    }
    const auto alone = valueFromText(line.substr(typed->offset, typed->length));
    TYR_ASSERT(alone && *alone == *typed->value);
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
  lineReadable(text);
}

}  // namespace VelBgpFuzz
