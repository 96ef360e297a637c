// What the sources of the kinds share: a kind is a row of labels and a line for each of its texts.
#pragma once

#include <ostream>
#include <string>

#include "Tyr/DynamicBuffer.h"
#include "Tyr/FwkType.h"
#include "VelBgp/ExtCommTextImpl.h"
#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp {

struct ExtCommAsLabels {
  Tyr::FwkType fwkType;
  const char* debugTwoOctetAs;
  const char* debugFourOctetAs;
  const char* uiAs;
  const char* uiAs4;
  const char* classification;
};

struct ExtCommIpv4Labels {
  Tyr::FwkType fwkType;
  const char* debug;
  const char* ui;
  const char* classification;
};

// The debugging form of a kind: "<", what `body` appends, a blank, the value, ">".
template <typename Body>
void formatKind(std::ostream& stream, const ExtComm& extComm, Body&& body) {
  Tyr::DynamicBuffer<> buffer;
  buffer.append('<');
  body(static_cast<Tyr::DynamicBufferInterface&>(buffer));
  buffer.append(' ');
  appendValueAndClose(buffer, extComm);
  writeText(stream, buffer);
}
void formatKind(std::ostream& stream, const ExtCommAsNumber& extComm, const ExtCommAsLabels& labels);
void formatKind(std::ostream& stream, const ExtCommIpv4Address& extComm, const ExtCommIpv4Labels& labels);

// The policy and UI form: the label that the format asks for, then administrator, ":" and local number.
std::string kindToStrep(const ExtCommAsNumber& extComm, ExtComm::StrepFormat format, const ExtCommAsLabels& labels);
std::string kindToStrep(const ExtCommIpv4Address& extComm, ExtComm::StrepFormat format,
                        const ExtCommIpv4Labels& labels);

}  // namespace Routing::Bgp
