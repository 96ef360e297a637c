#include "VelBgp/Parse/ExtComm.h"

#include <ostream>

#include "Tyr/DynamicBuffer.h"
#include "VelBgp/ExtCommTextImpl.h"

namespace Routing::Bgp {

ExtCommAsNumber::ExtCommAsNumber(ExtCommClassification classification, const ExtCommContent& content,
                                 bool fourByteAs) noexcept
    : ExtCommSubtyped(classification, content) {
  fourByteAsBitIs(fourByteAs);
}

ExtCommAsNumber::~ExtCommAsNumber() = default;

const Tyr::FwkType& ExtCommAsNumber::fwkType() const {
  static constexpr Tyr::FwkType type{"Routing::Bgp::ExtCommAsNumber"};
  return type;
}

std::uint32_t ExtCommAsNumber::asNumber() const noexcept { return asNumberOf(getContent(), fourByteAs()); }

std::uint32_t ExtCommAsNumber::localAdmin() const noexcept { return localAdminOf(getContent(), fourByteAs()); }

std::string ExtCommAsNumber::formatAsNumber(bool asdot) const {
  if (!asdot) return std::to_string(asNumber());  // made in place: every text of these kinds waits for it
  Tyr::DynamicBuffer<32> buffer;
  appendAsNumber(buffer, asNumber(), fourByteAs(), asdot);
  return buffer.str();
}

void ExtCommAsNumber::formatAsNumberToBuffer(Tyr::DynamicBufferInterface* buffer, bool asdot) const {
  buffer->append(formatAsNumber(asdot));
}

void ExtCommAsNumber::formatDerivedType(std::ostream& stream) const {
  writeAppended(stream, [this](auto& buffer) {
    appendTypeAndSubtype(buffer, *this);
    buffer.append(" ASN=");
    formatAsNumberToBuffer(&buffer, false);
    buffer.append(' ');
    appendValueAndClose(buffer, *this);
  });
}

std::string ExtCommAsNumber::toStrepForPolicy(StrepFormat format) const {
  Tyr::DynamicBuffer<> buffer;
  if (format.classificationAndUI()) {
    appendTypePrefix(buffer, getContent(), fourByteAs() ? "-AS4" : "-AS");
    buffer.append(':');
  }
  formatAsNumberToBuffer(&buffer, format.strepFormatAsdot());
  buffer.append(':');
  buffer.appendDecimal(localAdmin());
  return buffer.str();
}

ExtCommIpv4Address::ExtCommIpv4Address(ExtCommClassification classification, const ExtCommContent& content) noexcept
    : ExtCommSubtyped(classification, content) {}

ExtCommIpv4Address::~ExtCommIpv4Address() = default;

const Tyr::FwkType& ExtCommIpv4Address::fwkType() const {
  static constexpr Tyr::FwkType type{"Routing::Bgp::ExtCommIpv4Address"};
  return type;
}

Addr::Ip4Addr ExtCommIpv4Address::ipv4Address() const noexcept { return Addr::Ip4Addr(ipv4AddressOf(getContent())); }

void ExtCommIpv4Address::formatDerivedType(std::ostream& stream) const {
  writeAppended(stream, [this](auto& buffer) {
    appendTypeAndSubtype(buffer, *this);
    buffer.append(' ');
    buffer.appendDottedQuad(ipv4AddressOf(getContent()));
    buffer.append(' ');
    appendValueAndClose(buffer, *this);
  });
}

std::string ExtCommIpv4Address::toStrepForPolicy(StrepFormat format) const {
  Tyr::DynamicBuffer<> buffer;
  if (format.classificationAndUI()) {
    appendTypePrefix(buffer, getContent(), "-IP");
    buffer.append(':');
  }
  appendIpv4Form(buffer, getContent());
  return buffer.str();
}

ExtComm::PtrConst ExtCommAsNumberIs(ExtCommClassification classification, const ExtCommContent& content,
                                    bool fourByteAs) {
  return Tyr::make<ExtCommAsNumber>(classification, content, fourByteAs);
}

ExtComm::PtrConst ExtCommIpv4AddressIs(ExtCommClassification classification, const ExtCommContent& content) {
  return Tyr::make<ExtCommIpv4Address>(classification, content);
}

}  // namespace Routing::Bgp
