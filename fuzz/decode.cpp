// Any values through both decoders (with and without what the toggle "Mvpn" guards), in every text form.
#include <sstream>

#include "VelBgp/ExtCommIp6.h"
#include "VelBgp/RouteTargetPrefix.h"
#include "VelBgp/VelBgpCommunityList.h"
#include "fuzz/Fuzz.h"
#include "tools/velbgp/Agent.h"

namespace VelBgpFuzz {

namespace {

using namespace Routing::Bgp;

// One line of printable octets, save for those that the value itself brings.
void requireText(const std::string& text) {
  TYR_ASSERT(text.find_first_of(std::string("\0\n", 2)) == std::string::npos);
}

// The texts that communities of both lengths have; an interned object has those of a private one.
template <typename Community, unsigned formats>
std::string texts(const Community& community) {
  std::ostringstream all;
  all << std::hex << community;
  TYR_ASSERT(all.str() == community.toStrep() && community.toStrep().front() == '<');
  community.formatSubtype(all);
  all << community.pktSubtype() << stringValue(community.classification()) << stringValue(community.pktType());
  for (unsigned format = 0; format < formats; ++format) {
    all << '\n' << community.toStrepForPolicy(typename Community::StrepFormat(format));
  }
  return std::move(all).str();
}

std::string textsOf(const ExtComm& community) {
  for (unsigned form = 0; form < 8; ++form) {
    const std::string text = community.toStrepForUI((form & 1) != 0, (form & 2) != 0, (form & 4) != 0);
    TYR_ASSERT(!text.empty());
    requireText(text);
  }
  TYR_ASSERT(!community.isBetterThan(&community));
  TYR_ASSERT(community.isLinkBandwidth() || !community.isLinkBandwidthWithUnspecifiedAsNumber());
  return texts<ExtComm, 64>(community);
}

std::string textsOf(const ExtCommIp6& community) { return texts<ExtCommIp6, 32>(community); }

template <typename Community, typename Content, typename Table>
void decoded(const Table* table, const Content& content) {
  const auto interned = Community::dedupContent(table, content);
  TYR_ASSERT(interned->getContent() == content && interned == Community::dedupContent(table, content));
  const std::string expected = textsOf(*interned);
  TYR_ASSERT(textsOf(*interned) == expected);
}

void routeTarget(std::uint64_t value, std::uint8_t length) {
  const RouteTarget target{value};
  requireText(valueToStrep(target));
  RouteTargetPrefix prefix(target, length % (RouteTargetPrefix::maxLength + 1));
  TYR_ASSERT(prefix.commonPrefixLen(prefix) == prefix.length());
  for (const bool asDot : {false, true}) {
    requireText(target.toStrep(asDot));
    requireText(prefix.toStrep(asDot));
  }
  prefix.bitlenIs(prefix.length());
  TYR_ASSERT((prefix.prefixBits() & ~prefix.mask(0)) == 0);
}

}  // namespace

void oneInput(Input& input) {
  static VelBgpTool::Agent with(true);
  static VelBgpTool::Agent without(false);
  const std::uint8_t classification = input.octet() % Tyr::Range<ExtCommClassification>::size();
  while (!input.empty()) {
    const ExtCommContent value(input.number<std::uint64_t>());
    Routing::Addr::Ip6Addr::Octets address{};
    std::ranges::copy(input.take(address.size()), address.begin());
    const ExtCommIp6Content ip6(value.typeOctet(), value.subtypeOctet(), Routing::Addr::Ip6Addr(address),
                                value.localAdmin2Octets());
    for (const VelBgpTool::Agent* agent : {&with, &without}) {
      decoded<ExtComm>(agent->communityTable(), value);
      decoded<ExtCommIp6>(agent->ip6CommunityTable(), ip6);
    }
    // Whatever classification somebody gives it.
    textsOf(*ExtCommIs(ExtCommClassification(classification), value));
    textsOf(*ExtCommSubtypedIs(ExtCommClassification(classification), value));
    textsOf(*ExtCommIp6Is(ExtCommClassification(classification), ip6));
    textsOf(*ExtCommIp6SubtypedIs(ExtCommClassification(classification), ip6));
    routeTarget(value.value(), address[0]);
  }
  for (const VelBgpTool::Agent* agent : {&with, &without}) {
    TYR_ASSERT(agent->communityTable()->size() == 0 && agent->ip6CommunityTable()->size() == 0);
    TYR_ASSERT(agent->communityTable()->producerRtList()->rtCount() == 0);
  }
}

}  // namespace VelBgpFuzz
