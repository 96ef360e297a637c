// Any values through both decoders, in every text form that there is.
#include <sstream>

#include "VelBgp/RouteTargetPrefix.h"
#include "fuzz/Agent.h"

namespace VelBgpFuzz {
namespace {

// The texts that communities of both lengths have.
template <unsigned formats, typename Community>
void printed(const Community& community) {
  std::ostringstream all;
  all << std::hex << community;
  TYR_ASSERT(all.str() == community.toStrep() && all.str().front() == '<' && all.str().back() == '>');
  community.formatSubtype(all);
  all << community.pktSubtype() << community.classification() << community.pktType();
  for (unsigned format = 0; format < formats; ++format) {
    const typename Community::StrepFormat strepFormat(format);
    const std::string text = community.toStrepForPolicy(strepFormat);
    TYR_ASSERT(!text.empty() || !strepFormat.classificationAndUI());
    TYR_ASSERT(text.find_first_of(std::string_view("\0\n", 2)) == text.npos);
  }
}

void extended(const ExtComm::PtrConst& community) {
  printed<64>(*community);
  for (unsigned form = 0; form < 8; ++form) community->toStrepForUI(form & 1, form & 2, form & 4);
  TYR_ASSERT(!community->isBetterThan(community));
  TYR_ASSERT(community->isLinkBandwidth() || !community->isLinkBandwidthWithUnspecifiedAsNumber());
}

void routeTarget(RouteTarget target, std::uint8_t length) {
  RouteTargetPrefix prefix(target, length % (RouteTargetPrefix::maxLength + 1));
  TYR_ASSERT(prefix.commonPrefixLen(prefix) == prefix.length());
  prefix.bitlenIs(prefix.length());
  TYR_ASSERT((prefix.prefixBits() & ~prefix.mask(0)) == 0);
  for (const bool asDot : {false, true}) TYR_ASSERT(!target.toStrep(asDot).empty() && !prefix.toStrep(asDot).empty());
}

}  // namespace

void oneInput(Input input) {
  // One that somebody gives them, whatever their octets say.
  const ExtCommClassification given(ExtCommClassification(input.octet() % Tyr::Range<ExtCommClassification>::size()));
  for (unsigned values = 0; !input.empty() && values < 8; ++values) {  // their texts take their time
    const ExtCommContent value(input.number<std::uint64_t>());
    const auto ip6 = takeValue<ExtCommIp6Content>(input);
    for (const bool mvpn : {false, true}) {
      const auto decoded = ExtComm::dedupContent(agent(mvpn).communities.get(), value);
      const auto ip6Decoded = ExtCommIp6::dedupContent(agent(mvpn).ip6Communities.get(), ip6);
      TYR_ASSERT(decoded->getContent() == value && ip6Decoded->getContent() == ip6);
      extended(decoded);
      printed<32>(*ip6Decoded);
    }
    extended(ExtCommIs(given, value));
    extended(ExtCommSubtypedIs(given, value));
    printed<32>(*ExtCommIp6Is(given, ip6));
    printed<32>(*ExtCommIp6SubtypedIs(given, ip6));
    routeTarget({value.value()}, ip6.subtype());
  }
}

}  // namespace VelBgpFuzz
