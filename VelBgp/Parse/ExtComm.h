// Decoding of extended communities, and the two forms that most kinds share.
//
//   ExtCommAsNumber       an AS number of two or four octets, and a local administrator's number
//   ExtCommIpv4Address    an IPv4 address, and a local administrator's number
//
// They are the generic objects of the AS-number and IPv4-address types, and bases of the kinds (ExtCommRouteTarget.h
// and its neighbours). With them this header brings what a decoder consists of: rules (ExtCommRule.h), their meeting
// point (ExtCommRuleCollections.h) and the base of the plugins (ExtCommPlugin.h). ExtCommContainer.h makes a whole
// decoder.
//
// Ownership and threads: as for every ExtComm (VelBgp/VelBgpCommunity.h). No errors.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "Addr/Ip4Addr.h"
#include "Tyr/DynamicBuffer.h"
#include "Tyr/Export.h"
#include "Tyr/FwkType.h"
#include "VelBgp/Parse/ExtCommPlugin.h"
#include "VelBgp/Parse/ExtCommRule.h"
#include "VelBgp/Parse/ExtCommRuleCollections.h"
#include "VelBgp/VelBgpCommunity.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommAsNumber : public ExtCommSubtyped {
 public:
  ExtCommAsNumber(ExtCommClassification classification, const ExtCommContent& content, bool fourByteAs) noexcept;

  const Tyr::FwkType& fwkType() const override;
  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;

  // Decimal; with asdot "HIGH.LOW" for a four-octet AS number that needs more than two octets. All texts that show the
  // number are built on this one.
  virtual std::string formatAsNumber(bool asdot) const;
  // Appends the same text.
  void formatAsNumberToBuffer(Tyr::DynamicBufferInterface* buffer, bool asdot) const;

  // The layout: an AS number of four octets and a local number of two, or the other way round.
  bool fourByteAs() const noexcept { return fourByteAsBit(); }
  std::uint32_t asNumber() const noexcept;
  std::uint32_t localAdmin() const noexcept;

 protected:
  ~ExtCommAsNumber() override;
};

class VELBGP_EXPORT ExtCommIpv4Address : public ExtCommSubtyped {
 public:
  ExtCommIpv4Address(ExtCommClassification classification, const ExtCommContent& content) noexcept;

  const Tyr::FwkType& fwkType() const override;
  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;

  Addr::Ip4Addr ipv4Address() const noexcept;
  std::uint16_t localAdmin() const noexcept { return getContent().localAdmin2Octets(); }

 protected:
  ~ExtCommIpv4Address() override;
};
// The layout is kept in spare room of the base.
static_assert(sizeof(ExtCommAsNumber) == sizeof(ExtComm) && sizeof(ExtCommIpv4Address) == sizeof(ExtComm));

// New, never deduped, notification-active objects.
VELBGP_EXPORT ExtComm::PtrConst ExtCommAsNumberIs(ExtCommClassification classification, const ExtCommContent& content,
                                                  bool fourByteAs);
VELBGP_EXPORT ExtComm::PtrConst ExtCommIpv4AddressIs(ExtCommClassification classification,
                                                     const ExtCommContent& content);

}  // namespace Routing::Bgp
