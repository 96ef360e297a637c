// All public types by name, for headers that only pass them on: classes, enumerations, and Tyr::Ptr to point with.
#pragma once

#include <cstdint>

#include "Store/Forward.h"
#include "Tyr/Forward.h"

namespace Routing::Addr {
class Ip4Addr;
class Ip6Addr;
}  // namespace Routing::Addr

namespace Keel {
class DedupHandleBase;
class DedupHashTable;
class DedupHandleLifeTimeNotifier;
class DedupLifeTimeNotifiee;
class DumpContext;
struct DedupMetrics;
}  // namespace Keel

namespace Acl {
class CommunityValue;
}
namespace Routing::RouteMap {
class PosixRegex;
}

namespace Routing::Bgp {

// Everything for all four kinds (CommunityTables.h).
class CommunityTables;

// Communities (VelBgpCommunity.h, ExtCommIp6.h).
class ExtComm;
class ExtCommContent;
class ExtCommDedupTable;
class ExtCommIp6;
class ExtCommIp6Content;
class ExtCommIp6DedupTable;
class ExtCommIp6Subtyped;
class ExtCommLifeTimeNotifiee;
class ExtCommSubtyped;

// What they decode to (Parse/).
class ExtCommAsNumber;
class ExtCommColor;
class ExtCommDefaultGateway;
class ExtCommIpv4Address;
class ExtCommLinkBandwidth;
class ExtCommOriginValidationState;
class ExtCommRouteOriginAs;
class ExtCommRouteOriginIpv4Address;
class ExtCommRouteTargetAs;
class ExtCommRouteTargetIpv4Address;
class ExtCommSourceAs;
class ExtCommTunnelEncap;
class ExtCommVrfRouteImportIpv4Address;

// Lists, what they are made of, and what interns them (VelBgpCommunityList.h, ExtCommIp6List.h).
class CommList;
class CommListContent;
class CommListDedupTable;
class ExtCommClassificationList;
class ExtCommClassificationListContent;
class ExtCommClassificationLists;
class ExtCommIp6ClassificationList;
class ExtCommIp6List;
class ExtCommIp6ListContent;
class ExtCommIp6ListDedupContent;
class ExtCommIp6ListDedupTable;
class ExtCommList;
class ExtCommListContent;
class ExtCommListContentBase;
class ExtCommListContentU64;
class ExtCommListDedupTable;
class LargeCommList;
class LargeCommListContent;
class LargeCommListDedupTable;
class LinkBandwidthExtCommClassificationList;
class RtExtCommClassificationList;
enum class MatchMode : std::uint8_t;
template <typename List>
class EditList;
template <typename T>
struct Interned;

// Their communities as maps (CommListSnapshot.h).
class CommListSnapshot;
class ExtCommClassificationListSnapshot;
class ExtCommIp6ClassificationListSnapshot;
class ExtCommIp6ListSnapshot;
class ExtCommListSnapshot;
class LargeCommListSnapshot;

// Values by name, and as texts (MakeValue.h, ValueText.h).
class ValueTexts;
enum class OriginValidation : std::uint8_t;
struct ValueTextError;
template <typename Value>
class ValueTextResult;

// Route targets (NotifyingRouteTargetList.h, RouteTargetPrefix.h).
class NotifyingRouteTargetList;
class NotifyingRtExtCommListCollection;
class RouteTargetPrefix;
class RtExtCommListLifeTimeNotifiee;
class RtExtCommListLifeTimeNotifier;
struct RouteTarget;

// Path attributes (ReceivedAttributes.h, AttributeWriter.h, VelBgpSerialize.h, BgpPathAttributeEnums.h) and the small
// values of the attribute code.
class AttributeWriter;
class BgpDenseU32Attr;
class BgpExtCommPktSubtype;
class BgpMaybeU63;
class BgpUpdateMsgAttributeFlags;
class PathAttributeWalk;
class ReceivedAttributes;
class Serialize;
class SerializePathAttribute;
class SerializePathAttributeAutoExtLen;
class SerializedBgpPrefixSidAttribute;
enum AttributeVerdict : std::uint16_t;
struct PathAttribute;

// Lists of a path, and for other processes (PathLists.h, ListPublisher.h, StashedPaths.h).
class ListPublisher;
struct PathLists;
struct StashedPath;
class StashedPaths;

// The decoder (Parse/ExtCommContainer.h), its rules and their keys, the plugins of the kinds.
class BgpParseExtCommContainerSm;
class BgpParseExtCommControl;
class BgpParseExtCommPluginBaseSm;
class BgpParseExtCommRuleBase;
class BgpParseExtCommRuleCollections;
class BgpParseExtendedCommunityIp6TypeRuleBase;
class BgpParseExtendedCommunityTypeRuleBase;
#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ...) \
  class Rule;                                    \
  class Key;
#include "VelBgp/Parse/ExtCommFamilies.def"
class BgpParseExtCommColorSm;
class BgpParseExtCommDefaultGatewaySm;
class BgpParseExtCommLinkBandwidthSm;
class BgpParseExtCommOriginValidationStateSm;
class BgpParseExtCommRouteOriginSm;
class BgpParseExtCommRouteTargetSm;
class BgpParseExtCommSourceAsSm;
class BgpParseExtCommTunnelEncapSm;
class BgpParseExtCommVrfRouteImportSm;
class BgpParseExtComSubTypeNonTransOpaqueOriginValidationStateRule;
class BgpParseExtComSubTypeNonTransTwoOctetAsLinkBandwidthRule;
class BgpParseExtComSubTypeTransFourOctetAsRouteOriginRule;
class BgpParseExtComSubTypeTransFourOctetAsRouteTargetRule;
class BgpParseExtComSubTypeTransFourOctetAsSourceAsRule;
class BgpParseExtComSubTypeTransIpv4AddressRouteOriginRule;
class BgpParseExtComSubTypeTransIpv4AddressRouteTargetRule;
class BgpParseExtComSubTypeTransIpv4AddressVrfRouteImportRule;
class BgpParseExtComSubTypeTransOpaqueColorRule;
class BgpParseExtComSubTypeTransOpaqueDefaultGatewayRule;
class BgpParseExtComSubTypeTransOpaqueTunnelEncapRule;
class BgpParseExtComSubTypeTransTwoOctetAsRouteOriginRule;
class BgpParseExtComSubTypeTransTwoOctetAsRouteTargetRule;
class BgpParseExtComSubTypeTransTwoOctetAsSourceAsRule;
struct TyrExtCommParserSms;

}  // namespace Routing::Bgp
