// What every test of lists needs: a decoder and the tables of all kinds, in either variant. The decoder also knows route
// targets and origins among IPv6-address-specific communities.
#pragma once

#include "Tyr/Threading.h"
#include "VelBgp/ExtCommIp6DedupTable.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/Parse/ExtCommRule.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace Routing::Bgp::test {

inline ExtCommIp6Content ip6(std::uint8_t type, std::uint8_t subtype, const char* addr, std::uint16_t localAdmin) {
  return {type, subtype, Addr::Ip6Addr(std::string_view(addr)), localAdmin};
}

// A sub-rule that gives what it decodes a classification, or declines.
class Ip6SubRule : public BgpParseExtCommIp6SubTypeTransRuleBase {
 public:
  Ip6SubRule(SubType subtype, ExtCommClassification classification, bool declines = false)
      : BgpParseExtCommIp6SubTypeTransRuleBase(BgpParseExtCommControl(), subtype),
        classification_(classification),
        declines_(declines) {}
  ExtCommIp6::PtrConst inhale(const ExtCommIp6Content& content) const override {
    return declines_ ? nullptr : ExtCommIp6SubtypedIs(classification_, content);
  }

 private:
  const ExtCommClassification classification_;
  const bool declines_;
};

class Agent {
  struct Threading {
    explicit Threading(bool multiThreaded) { Tyr::agentMultiThreadedIs(multiThreaded); }
    ~Threading() { Tyr::agentMultiThreadedIs(false); }
  };
  Threading threading_;  // outlives the tables

 public:
  explicit Agent(bool multiThreaded = false) : threading_(multiThreaded) {
    const auto rule = Tyr::make<BgpParseExtCommIp6TransRule>(BgpParseExtCommControl());
    rule->subTypeRuleIs(Tyr::make<Ip6SubRule>(extCommIp6PktSubtypeRouteTarget, extCommClassificationRouteTarget));
    rule->subTypeRuleIs(Tyr::make<Ip6SubRule>(extCommIp6PktSubtypeRouteOrigin, extCommClassificationRouteOrigin));
    decoder->extCommParser()->ip6TypeRuleIs(rule);
  }
  // Distinct objects in all tables.
  std::size_t size() const {
    return comms->size() + ip6Comms->size() + extended->size() + extendedIp6->size() + large->size() +
           standard->size() + extended->extCommClassificationListDedupTable().size() +
           extended->rtExtCommClassificationListDedupTable()->size() +
           extendedIp6->extCommClassificationListDedupTable().size();
  }

  Tyr::Ptr<BgpParseExtCommContainerSm> decoder = bgpParseExtCommContainerSmFactory(true);
  ExtCommDedupTable::Ptr comms = ExtCommDedupTableIs(decoder->extCommParser());
  ExtCommIp6DedupTable::Ptr ip6Comms = ExtCommIp6DedupTableIs(decoder->extCommParser());
  ExtCommListDedupTable::Ptr extended = ExtCommListDedupTableIs();
  ExtCommIp6ListDedupTable::Ptr extendedIp6 = ExtCommIp6ListDedupTableIs();
  LargeCommListDedupTable::Ptr large = LargeCommListDedupTableIs();
  CommListDedupTable::Ptr standard = CommListDedupTableIs();
};

}  // namespace Routing::Bgp::test
