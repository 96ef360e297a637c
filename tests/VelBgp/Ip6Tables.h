// What every test of IPv6-address-specific communities needs: a decoder that knows route targets and origins, the
// tables, in either variant, and a way to intern a few values.
#pragma once

#include <cstdint>
#include <vector>

#include "Tyr/Threading.h"
#include "VelBgp/ExtCommIp6DedupTable.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/Parse/ExtCommRule.h"

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

class Ip6Tables {
 protected:
  explicit Ip6Tables(bool multiThreaded) {
    Tyr::agentMultiThreadedIs(multiThreaded);
    const auto rule = Tyr::make<BgpParseExtCommIp6TransRule>(BgpParseExtCommControl());
    rule->subTypeRuleIs(Tyr::make<Ip6SubRule>(extCommIp6PktSubtypeRouteTarget, extCommClassificationRouteTarget));
    rule->subTypeRuleIs(Tyr::make<Ip6SubRule>(extCommIp6PktSubtypeRouteOrigin, extCommClassificationRouteOrigin));
    root = bgpParseExtendedCommunityRuleFactory(BgpParseExtCommControl());
    root->ip6TypeRuleIs(rule);
    comms = ExtCommIp6DedupTableIs(root);
    lists = ExtCommIp6ListDedupTableIs();
  }
  ~Ip6Tables() {
    lists.reset();
    comms.reset();
    Tyr::agentMultiThreadedIs(false);
  }

  ExtCommIp6::PtrConst internOne(const ExtCommIp6Content& content) const {
    return ExtCommIp6::dedupContent(comms.get(), content);
  }
  ExtCommIp6List::Ptr builder(const std::vector<ExtCommIp6Content>& contents) const {
    ExtCommIp6List::Ptr list = ExtCommIp6ListIs();
    for (const ExtCommIp6Content& content : contents) list->commIs(internOne(content));
    return list;
  }
  ExtCommIp6List::PtrConst intern(const std::vector<ExtCommIp6Content>& contents) const {
    return builder(contents)->dedup(lists.get());
  }

  BgpParseExtendedCommunityRule::Ptr root;
  ExtCommIp6DedupTable::Ptr comms;
  ExtCommIp6ListDedupTable::Ptr lists;
};

}  // namespace Routing::Bgp::test
