// Color communities (RFC 9012): the tunnels that traffic may be steered into.
//
//   ExtCommColor               the community; its text is the same in every format
//   BgpParseExtCommColorSm     the plugin that teaches a decoder to make it
//
// Ownership and threads: VelBgp/VelBgpCommunity.h, VelBgp/Parse/ExtCommPlugin.h. No errors.
#pragma once

#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommColor : public ExtCommSubtyped {
 public:
  explicit ExtCommColor(const ExtCommContent& content) noexcept
      : ExtCommSubtyped(extCommClassificationColor, content) {}

  const Tyr::FwkType& fwkType() const override;
  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;

  // The "color only" bits, the highest two of the flags.
  std::uint8_t colorOnlyBits() const noexcept { return static_cast<std::uint8_t>(getContent().octet(2) >> 6); }
  std::uint32_t color() const noexcept { return getContent().localAdmin4Octets(); }

 protected:
  ~ExtCommColor() override = default;
};
static_assert(sizeof(ExtCommColor) == sizeof(ExtComm));

VELBGP_EXPORT ExtComm::PtrConst extCommColorFactory(const ExtCommContent& content);
VELBGP_EXPORT ExtComm::PtrConst ExtCommColorIs(const ExtCommContent& content);

class VELBGP_EXPORT BgpParseExtComSubTypeTransOpaqueColorRule
    : public KindRule<BgpParseExtComSubTypeTransOpaqueRuleBase, extCommPktSubtypeTransOpaqueColorExtendedCommunity,
                      ExtCommColor> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommColorSm : public BgpParseExtCommPluginBaseSm {
 public:
  explicit BgpParseExtCommColorSm(const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

  void instantiateExtCommSubTypeTransOpaqueSubRule(const BgpParseExtCommSubTypeTransOpaqueRuleKey& key,
                                                   const BgpParseExtCommControl& control) const override;

 protected:
  ~BgpParseExtCommColorSm() override = default;
};

VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr bgpParseExtCommColorSmFactory(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);
VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommColorSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

}  // namespace Routing::Bgp
