// Pieces of community text, shared by the sources of the generic forms, the kinds and the route targets.
#pragma once

#include <ostream>

#include "Tyr/TextStream.h"
#include "VelBgp/VelBgpCommunity.h"

namespace Routing::Bgp {

// The AS-number layouts: a two-octet AS number in wire octets 2-3, or a four-octet one in 2-5; the local
// administrator's number in the rest.
constexpr std::uint32_t asNumberOf(const ExtCommContent& content, bool fourByteAs) noexcept {
  return fourByteAs ? static_cast<std::uint32_t>(content.value() >> 16)
                    : static_cast<std::uint16_t>(content.value() >> 32);
}
constexpr std::uint32_t localAdminOf(const ExtCommContent& content, bool fourByteAs) noexcept {
  return fourByteAs ? content.localAdmin2Octets() : content.localAdmin4Octets();
}

// The IPv4-address layout: the address, in host order, from wire octets 2-5; two octets of local administrator.
constexpr std::uint32_t ipv4AddressOf(const ExtCommContent& content) noexcept {
  return static_cast<std::uint32_t>(content.value() >> 16);
}

// Only a four-octet AS number that needs more than two octets has a dotted form.
inline void appendAsNumber(Tyr::DynamicBufferInterface& buffer, std::uint32_t asNumber, bool fourByteAs, bool asdot) {
  if (fourByteAs && asdot && asNumber > 0xffff) {
    buffer.appendDecimal(asNumber >> 16);
    buffer.append('.');
    asNumber &= 0xffff;
  }
  buffer.appendDecimal(asNumber);
}

// Administrator, ":" and the local administrator's number.
inline void appendAsForm(Tyr::DynamicBufferInterface& buffer, const ExtCommContent& content, bool fourByteAs,
                         bool asdot) {
  appendAsNumber(buffer, asNumberOf(content, fourByteAs), fourByteAs, asdot);
  buffer.append(':');
  buffer.appendDecimal(localAdminOf(content, fourByteAs));
}
inline void appendIpv4Form(Tyr::DynamicBufferInterface& buffer, const ExtCommContent& content) {
  buffer.appendDottedQuad(ipv4AddressOf(content));
  buffer.append(':');
  buffer.appendDecimal(content.localAdmin2Octets());
}

// "0x" and 16 hex digits.
inline void appendContent(Tyr::DynamicBufferInterface& buffer, const ExtCommContent& content) {
  buffer.append(std::string_view("0x"));
  buffer.appendHex(content.value(), 16);
}

// What formatSubtype prints.
std::string subtypeText(const ExtComm& extComm);
// The generic opening of a debugging form: "<", the type's name and, where there is a subtype, a blank and its name.
template <typename Comm>
void appendTypeAndSubtype(Tyr::DynamicBufferInterface& buffer, const Comm& extComm) {
  buffer.append('<');
  buffer.append(enumName(extComm.pktType()));
  if (extComm.pktSubtype().isUnspecified()) return;
  buffer.append(' ');
  buffer.append(subtypeText(extComm));
}
// The closing of every debugging form: the value and ">".
inline void appendValueAndClose(Tyr::DynamicBufferInterface& buffer, const ExtComm& extComm) {
  appendContent(buffer, extComm.getContent());
  buffer.append('>');
}

// The type prefix of the community's own octets.
inline void appendTypePrefix(Tyr::DynamicBufferInterface& buffer, const ExtCommContent& content, const char* text) {
  addExtCommTypeAsString(buffer, text, content.typeOctet(), content.subtypeOctet(), content.transitive());
}

// One unformatted write: the stream's flags, width and fill neither matter nor change.
inline std::ostream& writeText(std::ostream& stream, std::string_view text) {
  return stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}
// The same of what append(buffer) appends. The text of a list is one buffer that its communities write into in turn.
template <typename Append>
void writeAppended(std::ostream& stream, Append&& append) {
  if (Tyr::DynamicBufferInterface* const text = Tyr::TextStream::bufferOf(stream)) return append(*text);
  Tyr::DynamicBuffer<512> buffer;
  append(buffer);
  writeText(stream, buffer.view());
}

// What the header of a list declares for its text; textOf(list) makes it.
#define COMM_LIST_TEXTS(List, textOf)                                                                                 \
  std::string stringify(const List* list) { return textOf(list); }                                                    \
  std::ostream& formatCommList(std::ostream& stream, const List* list) { return writeText(stream, stringify(list)); } \
  std::ostream& operator<<(std::ostream& stream, const List* list) { return formatCommList(stream, list); }           \
  std::ostream& operator<<(std::ostream& stream, const List& list) { return formatCommList(stream, &list); }

}  // namespace Routing::Bgp
