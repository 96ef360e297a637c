// A kind of extended community that the library does not know: the transitive link bandwidth of RFC 10005, type 0x00,
// subtype 0x04. What decodes, prints and matches it from then on is the library's.
#include <bit>
#include <iostream>

#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/Parse/ExtCommKind.h"
#include "VelBgp/VelBgp.h"

using namespace Routing::Bgp;

namespace {

// Two octets of AS number, four of bandwidth: a float of octets per second.
class TransitiveLinkBandwidth : public ExtCommKind<TransitiveLinkBandwidth, ExtCommAsNumber> {
 public:
  static constexpr ExtCommLabels labels = {"Example::TransitiveLinkBandwidth", extCommClassificationUnSpecified};
  explicit TransitiveLinkBandwidth(const ExtCommContent& content) noexcept : ExtCommKind(content, false) {}

  void formatDerivedType(std::ostream& stream) const override {
    formatKind(stream, *this, "TransitiveLinkBandwidth " + text());
  }
  std::string toStrepForPolicy(StrepFormat) const override { return "Transitive-Link-Bandwidth:" + text(); }

  float octetsPerSecond() const noexcept { return std::bit_cast<float>(getContent().localAdmin4Octets()); }

 protected:
  ~TransitiveLinkBandwidth() override = default;

 private:
  std::string text() const {
    return std::to_string(asNumber()) + ':' + std::to_string(static_cast<std::uint64_t>(octetsPerSecond()));
  }
};

// Stands before the rule of its type, and leaves it everything else. A subtype that the library has a name for is claimed
// by a sub-rule and a plugin instead (VelBgp/Parse/ExtCommKind.h); this one has none.
class TwoOctetAsRule : public BgpParseExtendedCommunityTypeRuleBase {
 public:
  explicit TwoOctetAsRule(const BgpParseExtendedCommunityRule& root)
      : BgpParseExtendedCommunityTypeRuleBase(root.control(), extCommPktTypeTransTwoOctetAs),
        rest_(root.typeRule(extCommPktTypeTransTwoOctetAs)) {}

  ExtComm::PtrConst inhale(const ExtCommContent& content) const override {
    if (content.subtypeOctet() == 0x04) return Tyr::make<TransitiveLinkBandwidth>(content);
    return rest_->inhale(content);
  }

 private:
  const BgpParseExtendedCommunityTypeRuleBase::PtrConst rest_;
};

}  // namespace

int main() {
  // Before the first value is decoded: what was interned as the generic object stays one.
  const auto decoder = BgpParseExtCommContainerSmIs();
  decoder->extCommParser()->typeRuleIs(Tyr::make<TwoOctetAsRule>(*decoder->extCommParser()));
  const CommunityTables tables(decoder);

  // 65000, 1 Gbit/s; beside it the library's own, not transitive one, and a route target.
  ExtCommListContentU64 received(tables.extComms());
  for (const std::uint64_t value : {0x0004fde84cee6b28, 0x4004fde84cee6b28, 0x0002fde800000064}) received.commIs(value);
  const ExtCommList::PtrConst list = tables.dedupContent(received);
  for (const ExtComm* community : list->comms()) {
    std::cout << community->toStrep() << '\n' << community->toStrepForUI(false, false, false) << '\n';
    if (const auto* ours = as<TransitiveLinkBandwidth>(community)) {
      std::cout << ours->octetsPerSecond() / 125000 << " Mbit/s, sent to other ASes: " << std::boolalpha
                << ours->getContent().transitive() << '\n';
    }
  }

  // Matched by its text, found in the part of the list that its classification names, sent and taken out as any other.
  const Routing::RouteMap::PosixRegex fast("Transitive-Link-Bandwidth:65000:[0-9]{9}");
  const auto part = list->classificationList(extCommClassificationUnSpecified);
  const auto transitive = ExtCommList::serialization(false, false, false);
  std::cout << "matches: " << list->matchCommunitiesRegex(&fast) << '\n'
            << "of its classification: " << part->comms().size() << '\n'
            << "sent to other ASes: " << AttributeWriter(list, transitive).communities() << " of "
            << list->comms().size() << '\n'
            << "without it: " << stringify(EditList(list, tables).minusMatching(&fast).interned()) << '\n';
}
