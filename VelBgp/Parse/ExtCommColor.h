// Color communities (RFC 9012): the tunnels that traffic may be steered into.
//
//   ExtCommColor               the community; its text is the same in every format
//   BgpParseExtCommColorSm     the plugin that teaches a decoder to make it
// Ownership, threads and errors: VelBgp/Parse/ExtCommKind.h.
#pragma once

#include "VelBgp/Parse/ExtCommKind.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommColor : public ExtCommKind<ExtCommColor, ExtCommSubtyped> {
 public:
  static constexpr ExtCommLabels labels = {"Routing::Bgp::ExtCommColor", extCommClassificationColor};
  using ExtCommKind::ExtCommKind;

  void formatDerivedType(std::ostream& stream) const override;
  std::string toStrepForPolicy(StrepFormat format) const override;

  // The "color only" bits, the highest two of the flags.
  std::uint8_t colorOnlyBits() const noexcept { return static_cast<std::uint8_t>(getContent().octet(2) >> 6); }
  std::uint32_t color() const noexcept { return getContent().localAdmin4Octets(); }

 protected:
  ~ExtCommColor() override = default;
};
VELBGP_EXPORT ExtCommKindFactory extCommColorFactory, ExtCommColorIs;

class VELBGP_EXPORT BgpParseExtComSubTypeTransOpaqueColorRule
    : public KindRule<extCommPktSubtypeTransOpaqueColorExtendedCommunity, ExtCommColor> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommColorSm : public BgpParseExtCommKindSm<BgpParseExtComSubTypeTransOpaqueColorRule> {
 public:
  using BgpParseExtCommKindSm::BgpParseExtCommKindSm;
};
VELBGP_EXPORT BgpParseExtCommPluginFactory bgpParseExtCommColorSmFactory, BgpParseExtCommColorSmIs;

}  // namespace Routing::Bgp
