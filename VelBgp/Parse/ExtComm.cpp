#include "VelBgp/Parse/ExtComm.h"

#include "VelBgp/Parse/ExtCommImpl.h"

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
  Tyr::DynamicBuffer<32> buffer;
  formatAsNumberToBuffer(&buffer, asdot);
  return buffer.str();
}

void ExtCommAsNumber::formatAsNumberToBuffer(Tyr::DynamicBufferInterface* buffer, bool asdot) const {
  appendAsNumber(*buffer, asNumber(), fourByteAs(), asdot);
}

void ExtCommAsNumber::formatDerivedType(std::ostream& stream) const {
  Tyr::DynamicBuffer<> buffer;
  appendTypeAndSubtype(buffer, *this);
  buffer.append(" ASN=");
  formatAsNumberToBuffer(&buffer, false);
  buffer.append(' ');
  appendValueAndClose(buffer, *this);
  writeText(stream, buffer);
}

std::string ExtCommAsNumber::toStrepForPolicy(StrepFormat format) const {
  Tyr::DynamicBuffer<> buffer;
  if (format.classificationAndUI()) {
    appendTypePrefix(buffer, getContent(), fourByteAs() ? "-AS4" : "-AS");
    buffer.append(':');
  }
  appendAsForm(buffer, getContent(), fourByteAs(), format.strepFormatAsdot());
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
  Tyr::DynamicBuffer<> buffer;
  appendTypeAndSubtype(buffer, *this);
  buffer.append(' ');
  buffer.appendDottedQuad(ipv4AddressOf(getContent()));
  buffer.append(' ');
  appendValueAndClose(buffer, *this);
  writeText(stream, buffer);
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

// ---- Texts of the kinds

namespace {

const char* uiLabel(const ExtCommAsNumber& extComm, const ExtCommAsLabels& labels) {
  return extComm.fourByteAs() ? labels.uiAs4 : labels.uiAs;
}

const char* debugLabel(const ExtCommAsNumber& extComm, const ExtCommAsLabels& labels) {
  const BgpExtCommPktType pktType = extComm.pktType();
  TYR_ASSERT_TEXT(pktType == extCommPktTypeTransTwoOctetAs || pktType == extCommPktTypeTransFourOctetAs,
                  "unexpected type");
  return pktType == extCommPktTypeTransTwoOctetAs ? labels.debugTwoOctetAs : labels.debugFourOctetAs;
}

void appendLabel(Tyr::DynamicBufferInterface& buffer, ExtComm::StrepFormat format, const char* ui,
                 const char* classification) {
  if (format.strepFormatClassification()) buffer.append(format.strepFormatUI() ? ui : classification);
}

}  // namespace

void formatKind(std::ostream& stream, const ExtCommAsNumber& extComm, const ExtCommAsLabels& labels) {
  formatKind(stream, extComm, [&extComm, &labels](Tyr::DynamicBufferInterface& buffer) {
    buffer.append(debugLabel(extComm, labels));
    appendAsForm(buffer, extComm.getContent(), extComm.fourByteAs(), false);
  });
}

void formatKind(std::ostream& stream, const ExtCommIpv4Address& extComm, const ExtCommIpv4Labels& labels) {
  formatKind(stream, extComm, [&extComm, &labels](Tyr::DynamicBufferInterface& buffer) {
    buffer.append(labels.debug);
    appendIpv4Form(buffer, extComm.getContent());
  });
}

std::string kindToStrep(const ExtCommAsNumber& extComm, ExtComm::StrepFormat format, const ExtCommAsLabels& labels) {
  Tyr::DynamicBuffer<> buffer;
  appendLabel(buffer, format, uiLabel(extComm, labels), labels.classification);
  appendAsForm(buffer, extComm.getContent(), extComm.fourByteAs(), format.strepFormatAsdot());
  return buffer.str();
}

std::string kindToStrep(const ExtCommIpv4Address& extComm, ExtComm::StrepFormat format,
                        const ExtCommIpv4Labels& labels) {
  Tyr::DynamicBuffer<> buffer;
  appendLabel(buffer, format, labels.ui, labels.classification);
  appendIpv4Form(buffer, extComm.getContent());
  return buffer.str();
}

}  // namespace Routing::Bgp
