// All that an agent needs: communities of all four kinds, their tables and lists, the kinds of extended communities,
// attributes, route targets, expressions, and what other processes read.
//
// Not here, for those who need them: decoding rules and plugins of one's own (Parse/ExtCommContainer.h), lists as maps
// (CommListSnapshot.h), why an expression matches (MatchReason.h), the caches of show commands (show/). VelBgp/Forward.h
// names all types for headers that only pass them on.
#pragma once

#include "Tyr/Threading.h"
#include "VelBgp/AttributeWriter.h"
#include "VelBgp/CommunityTables.h"
#include "VelBgp/EditList.h"
#include "VelBgp/ExtCommIp6DedupTable.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/ListPublisher.h"
#include "VelBgp/ListText.h"
#include "VelBgp/MakeValue.h"
#include "VelBgp/Parse/ExtCommColor.h"
#include "VelBgp/Parse/ExtCommDefaultGateway.h"
#include "VelBgp/Parse/ExtCommLinkBandwidth.h"
#include "VelBgp/Parse/ExtCommOriginValidationState.h"
#include "VelBgp/Parse/ExtCommRouteOrigin.h"
#include "VelBgp/Parse/ExtCommRouteTarget.h"
#include "VelBgp/Parse/ExtCommSourceAs.h"
#include "VelBgp/Parse/ExtCommTunnelEncap.h"
#include "VelBgp/Parse/ExtCommVrfRouteImport.h"
#include "VelBgp/ReceivedAttributes.h"
#include "VelBgp/RouteTargetPrefix.h"
#include "VelBgp/StashedPaths.h"
#include "VelBgp/TableView.h"
#include "VelBgp/TypedComm.h"
#include "VelBgp/ValueText.h"
#include "VelBgp/VelBgpCommunityList.h"
#include "VelBgp/VelBgpSerialize.h"
#include "VelBgp/Version.h"
