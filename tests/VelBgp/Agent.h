// What every test of lists needs: a decoder and the tables of all attributes, in either variant, and ways to intern a
// few communities. The decoder also knows route targets and origins among IPv6-address-specific communities.
#pragma once

#include <cstdint>
#include <vector>

#include "Tyr/Threading.h"
#include "VelBgp/ExtCommIp6DedupTable.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/Parse/ExtCommRule.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace Routing::Bgp::test {

using Values = std::vector<std::uint64_t>;
using Ip6Contents = std::vector<ExtCommIp6Content>;

template <typename Content, typename Elements>
Content& fill(Content& content, const Elements& elements) {
  for (const auto& element : elements) content.commIs(element);
  return content;
}
template <typename Content, typename Elements>
Content filled(Content content, const Elements& elements) {
  fill(content, elements);
  return content;
}

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

// Of pointers to extended communities.
template <typename Comms>
Values valuesOf(const Comms& comms) {
  Values values;
  for (const auto& comm : comms) values.push_back(comm->community());
  return values;
}

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

  ExtComm::PtrConst internOne(std::uint64_t value) const {
    return ExtComm::dedupContent(comms.get(), ExtCommContent(value));
  }
  ExtCommIp6::PtrConst internOne(const ExtCommIp6Content& content) const {
    return ExtCommIp6::dedupContent(ip6Comms.get(), content);
  }
  ExtCommListContentU64 raw(const Values& values) const { return filled(ExtCommListContentU64(comms.get()), values); }
  ExtCommList::PtrConst intern(const Values& values) const {
    return ExtCommList::dedupContent(extended.get(), raw(values));
  }
  CommList::PtrConst internStandard(const std::vector<std::uint32_t>& values) const {
    CommListContent content;
    return CommList::dedupContent(standard.get(), fill(content, values));
  }
  LargeCommList::PtrConst internLarge(const std::vector<CommunityValue>& values) const {
    LargeCommListContent content;
    return LargeCommList::dedupContent(large.get(), fill(content, values));
  }
  ExtCommIp6List::Ptr ip6Builder(const Ip6Contents& contents) const {
    ExtCommIp6List::Ptr list = ExtCommIp6ListIs();
    for (const ExtCommIp6Content& content : contents) list->commIs(internOne(content));
    return list;
  }
  ExtCommIp6List::PtrConst internIp6(const Ip6Contents& contents) const {
    return ip6Builder(contents)->dedup(extendedIp6.get());
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
