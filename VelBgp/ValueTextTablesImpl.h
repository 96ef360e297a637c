// The words that texts of values are read by: well-known names, and labels with what stands behind them.
#pragma once

#include <cstdint>
#include <string_view>

#include "VelBgp/Parse/ExtCommRouteOrigin.h"
#include "VelBgp/Parse/ExtCommRouteTarget.h"
#include "VelBgp/Parse/ExtCommSourceAs.h"
#include "VelBgp/Parse/ExtCommVrfRouteImport.h"

namespace Routing::Bgp::typing {

struct Name {
  std::string_view text;
  std::uint32_t value;
};

// IANA's, beside the seven that are printed; of several for a value, its meaning is the first.
inline constexpr Name names[] = {
    {"graceful-shutdown", 0xffff0000},
    {"accept-own", 0xffff0001},
    {"route-filter-translated-v4", 0xffff0002},
    {"route-filter-v4", 0xffff0003},
    {"route-filter-translated-v6", 0xffff0004},
    {"route-filter-v6", 0xffff0005},
    {"accept-own-nexthop", 0xffff0008},
    {"standby-pe", 0xffff0009},
    {"blackhole", 0xffff029a},
    {"no-export-subconfed", 0xffffff03},
    {"nopeer", 0xffffff04},
    {"no-peer", 0xffffff04},
};

// How the administrator of a community is encoded.
enum Encoding : unsigned { as2 = 1, as4 = 2, ip4 = 4, ip6 = 8, anyAs = as2 | as4, anyAddress = ip4 | ip6, any = 15 };

enum class Form : std::uint8_t { administrator, color, tunnel, validation, bandwidth, gateway };

struct Label {
  std::string_view text;
  Form form;
  std::uint8_t subtype = 0;  // and encodings: of those with an administrator
  unsigned encodings = 0;
};

// A printed label without what parts it from its value.
constexpr std::string_view bare(std::string_view label) { return label.substr(0, label.find_last_not_of(": ") + 1); }

inline constexpr std::uint8_t target = extCommPktSubtypeTransTwoOctetAsRouteTarget;
inline constexpr std::uint8_t origin = extCommPktSubtypeTransTwoOctetAsRouteOrigin;
inline constexpr std::uint8_t source = extCommPktSubtypeTransTwoOctetAsSourceAs;
inline constexpr std::uint8_t vrfImport = extCommPktSubtypeTransIpv4AddressVrfRouteImport;

inline constexpr Label labels[] = {
    {"rt", Form::administrator, target, any},
    {"route-target", Form::administrator, target, any},
    {"target", Form::administrator, target, any},
    {bare(ExtCommRouteTargetAs::labels.twoOctetAs.ui), Form::administrator, target, as2},
    {bare(ExtCommRouteTargetAs::labels.fourOctetAs.ui), Form::administrator, target, as4},
    {bare(ExtCommRouteTargetIpv4Address::labels.ipv4Address.ui), Form::administrator, target, ip4},
    {"route-target-as2", Form::administrator, target, as2},
    {"route-target-ipv4", Form::administrator, target, ip4},
    {"route-target-ipv6", Form::administrator, target, ip6},
    {bare(ExtCommRouteOriginAs::labels.classificationOnly), Form::administrator, origin, any},
    {"ro", Form::administrator, origin, any},
    {"origin", Form::administrator, origin, any},
    {"route-origin", Form::administrator, origin, any},
    {"site-of-origin", Form::administrator, origin, any},
    {bare(ExtCommRouteOriginAs::labels.twoOctetAs.ui), Form::administrator, origin, as2},
    {bare(ExtCommRouteOriginAs::labels.fourOctetAs.ui), Form::administrator, origin, as4},
    {bare(ExtCommRouteOriginIpv4Address::labels.ipv4Address.ui), Form::administrator, origin, ip4},
    {"route-origin-as2", Form::administrator, origin, as2},
    {"route-origin-ipv4", Form::administrator, origin, ip4},
    {"route-origin-ipv6", Form::administrator, origin, ip6},
    {bare(ExtCommSourceAs::labels.classificationOnly), Form::administrator, source, anyAs},
    {"src-as", Form::administrator, source, anyAs},
    {bare(ExtCommSourceAs::labels.twoOctetAs.ui), Form::administrator, source, as2},
    {bare(ExtCommSourceAs::labels.fourOctetAs.ui), Form::administrator, source, as4},
    {"source-as2", Form::administrator, source, as2},
    {bare(ExtCommVrfRouteImportIpv4Address::labels.classificationOnly), Form::administrator, vrfImport, anyAddress},
    {bare(ExtCommVrfRouteImportIpv4Address::labels.ipv4Address.ui), Form::administrator, vrfImport, anyAddress},
    {"rt-import", Form::administrator, vrfImport, anyAddress},
    {"vrf-route-import-ipv4", Form::administrator, vrfImport, ip4},
    {"vrf-route-import-ipv6", Form::administrator, vrfImport, ip6},
    {"color", Form::color},
    {"encap", Form::tunnel},
    {"tunnel-encap", Form::tunnel},
    {"ovs", Form::validation},
    {"origin-validation-state", Form::validation},
    {"lbw", Form::bandwidth},
    {"lb", Form::bandwidth},
    {"bandwidth", Form::bandwidth},
    {"link-bandwidth", Form::bandwidth},
    {"link-bandwidth-as", Form::bandwidth},
    {"default-gateway", Form::gateway},
    {"defaultgateway", Form::gateway},
};

}  // namespace Routing::Bgp::typing
