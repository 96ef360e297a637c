#include "VelBgp/Parse/ExtCommKind.h"

#include "Tyr/Assert.h"
#include "Tyr/DynamicBuffer.h"
#include "VelBgp/ExtCommTextImpl.h"

namespace Routing::Bgp {
namespace {

const char* debugLabel(const ExtCommAsNumber& extComm, const ExtCommAsLabels& labels) {
  const BgpExtCommPktType pktType = extComm.pktType();
  TYR_ASSERT_TEXT(pktType == extCommPktTypeTransTwoOctetAs || pktType == extCommPktTypeTransFourOctetAs,
                  "unexpected type");
  return (pktType == extCommPktTypeTransTwoOctetAs ? labels.twoOctetAs : labels.fourOctetAs).debug;
}

void appendLabel(Tyr::DynamicBufferInterface& buffer, ExtComm::StrepFormat format, const ExtCommLayoutLabels& labels,
                 const char* classificationOnly) {
  if (format.strepFormatClassification()) buffer.append(format.strepFormatUI() ? labels.ui : classificationOnly);
}

void appendAsForm(Tyr::DynamicBufferInterface& buffer, const ExtCommAsNumber& extComm, bool asdot) {
  buffer.append(extComm.formatAsNumber(asdot));
  buffer.append(':');
  buffer.appendDecimal(extComm.localAdmin());
}

// "<", what append(buffer) appends, a blank, the value, ">".
template <typename Append>
void formatOpened(std::ostream& stream, const ExtComm& extComm, Append&& append) {
  writeAppended(stream, [&](auto& buffer) {
    buffer.append('<');
    append(buffer);
    buffer.append(' ');
    appendValueAndClose(buffer, extComm);
  });
}

}  // namespace

void formatKind(std::ostream& stream, const ExtComm& extComm, std::string_view text) {
  formatOpened(stream, extComm, [text](auto& buffer) { buffer.append(text); });
}

void formatKind(std::ostream& stream, const ExtCommAsNumber& extComm, const ExtCommAsLabels& labels) {
  formatOpened(stream, extComm, [&](auto& buffer) {
    buffer.append(debugLabel(extComm, labels));
    appendAsForm(buffer, extComm, false);
  });
}

void formatKind(std::ostream& stream, const ExtCommIpv4Address& extComm, const ExtCommIpv4Labels& labels) {
  formatOpened(stream, extComm, [&](auto& buffer) {
    buffer.append(labels.ipv4Address.debug);
    appendIpv4Form(buffer, extComm.getContent());
  });
}

std::string kindToStrep(const ExtCommAsNumber& extComm, ExtComm::StrepFormat format, const ExtCommAsLabels& labels) {
  Tyr::DynamicBuffer<> buffer;
  appendLabel(buffer, format, extComm.fourByteAs() ? labels.fourOctetAs : labels.twoOctetAs, labels.classificationOnly);
  appendAsForm(buffer, extComm, format.strepFormatAsdot());
  return buffer.str();
}

std::string kindToStrep(const ExtCommIpv4Address& extComm, ExtComm::StrepFormat format,
                        const ExtCommIpv4Labels& labels) {
  Tyr::DynamicBuffer<> buffer;
  appendLabel(buffer, format, labels.ipv4Address, labels.classificationOnly);
  appendIpv4Form(buffer, extComm.getContent());
  return buffer.str();
}

}  // namespace Routing::Bgp
