// Source AS communities (RFC 6514): the AS of the root of a multicast VPN's upstream. Of the transitive types only.
//
//   ExtCommSourceAs                the community
//   BgpParseExtCommSourceAsSm      the plugin that teaches a decoder to make it
// Ownership, threads and errors: VelBgp/Parse/ExtCommKind.h.
#pragma once

#include "VelBgp/Parse/ExtCommKind.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ExtCommSourceAs : public ExtCommLabelledKind<ExtCommSourceAs, ExtCommAsNumber> {
 public:
  static constexpr ExtCommAsLabels labels = {"Routing::Bgp::ExtCommSourceAs",
                                             extCommClassificationSourceAs,
                                             {"SourceAs2ByteASN ", "Source-AS:"},
                                             {"SourceAs4ByteASN ", "Source-AS4:"},
                                             "SAS:"};
  using ExtCommLabelledKind::ExtCommLabelledKind;

 protected:
  ~ExtCommSourceAs() override = default;
};
VELBGP_EXPORT ExtCommAsKindFactory extCommSourceAsFactory, ExtCommSourceAsIs;

class VELBGP_EXPORT BgpParseExtComSubTypeTransTwoOctetAsSourceAsRule
    : public KindRule<extCommPktSubtypeTransTwoOctetAsSourceAs, ExtCommSourceAs, false> {
 public:
  using KindRule::KindRule;
};
class VELBGP_EXPORT BgpParseExtComSubTypeTransFourOctetAsSourceAsRule
    : public KindRule<extCommPktSubtypeTransFourOctetAsSourceAs, ExtCommSourceAs, true> {
 public:
  using KindRule::KindRule;
};

class VELBGP_EXPORT BgpParseExtCommSourceAsSm
    : public BgpParseExtCommKindSm<BgpParseExtComSubTypeTransTwoOctetAsSourceAsRule,
                                   BgpParseExtComSubTypeTransFourOctetAsSourceAsRule> {
 public:
  using BgpParseExtCommKindSm::BgpParseExtCommKindSm;
};
VELBGP_EXPORT BgpParseExtCommPluginFactory bgpParseExtCommSourceAsSmFactory, BgpParseExtCommSourceAsSmIs;

}  // namespace Routing::Bgp
