#include <algorithm>

#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Progress.h"
#include "tools/velbgp/SamplePaths.h"
#include "tools/velbgp/Wire.h"

namespace VelBgpTool {

namespace {

constexpr std::uint32_t startTime = 1'700'000'000;
constexpr std::uint32_t localAs = 65000;
constexpr unsigned peerCount = 8;
constexpr std::uint32_t peerAs(unsigned peer) { return 65100 + peer; }
constexpr std::uint32_t peerAddress(unsigned peer) { return 0x0a000001 + (peer << 8); }

// One route: how its family writes NLRI and next hop.
struct Route {
  enum class Family { vpnIpv4, ipv4, ipv6 };
  static constexpr std::uint32_t safiUnicast = 1;
  static constexpr std::uint32_t safiVpn = 128;

  Family family;
  std::uint32_t number;

  unsigned afi() const { return family == Family::ipv6 ? 2 : 1; }
  unsigned safi() const { return family == Family::vpnIpv4 ? safiVpn : safiUnicast; }

  // A length in bits and a prefix: a /24, or a /48, with label and route distinguisher before it in a VPN.
  Wire nlri() const {
    Wire wire;
    switch (family) {
      case Family::vpnIpv4:
        return wire.u8(24 + 64 + 24)
            .number<3>(16 * (1000 + number % 1000) + 1)
            .u16(0)
            .u16(localAs)
            .u32(number % 100)
            .number<3>(0x0a0000 + number % 0xffff);
      case Family::ipv4:
        return wire.u8(24).number<3>(0x0b0000 + number % 0xffff);
      case Family::ipv6:
        return wire.u8(48).u32(0x20010db8).u16(number);
    }
    return wire;
  }
  // Of the families that write it into the multiprotocol attribute.
  Wire nextHop(unsigned peer) const {
    if (family == Family::vpnIpv4) return Wire().u8(12).u64(0).u32(peerAddress(peer));
    return Wire().u8(16).u64(0x20010db800000000).u64(peer);
  }
};

class SampleWriter {
 public:
  SampleWriter(const Options& options, Console& console)
      : random_(options.seed),
        lists_(sampleLists(options.paths, options.seed)),
        left_(options.paths),
        whole_(options.paths),
        console_(console),
        progress_(console, "sample", options.paths, true) {}

  // Half of the paths as a table, half as the updates that follow it.
  void write() {
    const std::uint64_t updates = left_ / 2;
    writePeers();
    while (left_ > updates) writeRib(left_ - updates);
    while (left_ > 0) writeUpdate();
  }

 private:
  static constexpr unsigned tableDump = 13;
  static constexpr unsigned bgp4mp = 16;

  void record(unsigned type, unsigned subtype, const Wire& body) {
    const auto time = static_cast<std::uint32_t>(startTime + written_ / 100);
    console_.print(Wire().u32(time).u16(type).u16(subtype).u32(body.size()).view());
    console_.print(body.view());
    ++written_;
    progress_.doneIs(whole_ - left_);
  }

  void writePeers() {
    constexpr unsigned peerTable = 1;
    constexpr unsigned fourOctetAs = 2;
    constexpr std::string_view view = "sample";
    Wire body;
    body.u32(0x0a0000fe).u16(view.size()).text(view).u16(peerCount);
    for (unsigned peer = 0; peer < peerCount; ++peer) {
      body.u8(fourOctetAs).u32(peerAddress(peer)).u32(peerAddress(peer)).u32(peerAs(peer));
    }
    record(tableDump, peerTable, body);
  }

  Route route() {
    const std::uint32_t share = random_.below(100);
    const auto family = share < 70 ? Route::Family::vpnIpv4 : share < 85 ? Route::Family::ipv4 : Route::Family::ipv6;
    return {family, static_cast<std::uint32_t>(written_)};
  }

  // One prefix with the paths of one to three peers.
  void writeRib(std::uint64_t most) {
    constexpr unsigned ribIpv4 = 2;
    constexpr unsigned ribIpv6 = 4;
    constexpr unsigned ribGeneric = 6;
    const Route to = route();
    const auto count = std::min<std::uint64_t>(most, 1 + random_.below(3));
    Wire body;
    body.u32(sequence_++);
    if (to.family == Route::Family::vpnIpv4) body.u16(to.afi()).u8(to.safi());
    body.text(to.nlri().view()).u16(count);
    for (std::uint64_t i = 0; i < count; ++i) {
      const unsigned peer = random_.below(peerCount);
      const Wire attributes = pathAttributes(to, peer, to.nextHop(peer));
      body.u16(peer).u32(startTime).u16(attributes.size()).text(attributes.view());
    }
    const bool generic = to.family == Route::Family::vpnIpv4;
    record(tableDump, generic ? ribGeneric : to.family == Route::Family::ipv4 ? ribIpv4 : ribIpv6, body);
    left_ -= count;
  }

  void writeUpdate() {
    constexpr unsigned messageAs4 = 4;
    const Route to = route();
    const unsigned peer = random_.below(peerCount);
    const Wire reach = Wire().u16(to.afi()).u8(to.safi()).text(to.nextHop(peer).view()).u8(0).text(to.nlri().view());
    const Wire attributes = pathAttributes(to, peer, reach);
    Wire update;
    update.u16(0).u16(attributes.size()).text(attributes.view());
    if (to.family == Route::Family::ipv4) update.text(to.nlri().view());
    constexpr unsigned bgpHeader = 19;
    constexpr unsigned updateType = 2;
    Wire body;
    body.u32(peerAs(peer)).u32(localAs).u16(0).u16(1).u32(peerAddress(peer)).u32(0x0a0000fe);
    body.u64(~std::uint64_t{0}).u64(~std::uint64_t{0}).u16(bgpHeader + update.size()).u8(updateType);
    record(bgp4mp, messageAs4, body.text(update.view()));
    --left_;
  }

  // ORIGIN, AS_PATH with four-octet numbers, LOCAL_PREF, the next hop or `reach`, the multiprotocol attribute, of which
  // a table keeps only the next hop, and the communities.
  Wire pathAttributes(const Route& to, unsigned peer, const Wire& reach) {
    constexpr unsigned sequence = 2;
    const unsigned hops = 1 + random_.below(3);
    Wire path;
    path.u8(sequence).u8(hops).u32(peerAs(peer));
    for (unsigned hop = 1; hop < hops; ++hop) path.u32(64512 + random_.below(200));
    Wire attributes;
    addAttribute(attributes, 0x40, 1, Wire().u8(0));
    addAttribute(attributes, 0x40, 2, path);
    addAttribute(attributes, 0x40, 5, Wire().u32(100));
    if (to.family == Route::Family::ipv4) {
      addAttribute(attributes, 0x40, 3, Wire().u32(peerAddress(peer)));
    } else {
      addAttribute(attributes, 0x80, 14, reach);
    }
    for (SampleLists& lists : lists_) {
      Wire value;
      for (const std::string& community : lists.next()) value.text(community);
      if (value.size() != 0) addAttribute(attributes, 0xc0, lists.attribute(), value);
    }
    return attributes;
  }

  static void addAttribute(Wire& attributes, unsigned flags, unsigned code, const Wire& value) {
    constexpr unsigned extendedLength = 0x10;
    if (value.size() > 0xff) {
      attributes.u8(flags | extendedLength).u8(code).u16(value.size());
    } else {
      attributes.u8(flags).u8(code).u8(value.size());
    }
    attributes.text(value.view());
  }

  Random random_;  // for all but the communities
  std::vector<SampleLists> lists_;
  std::uint64_t left_;
  std::uint64_t whole_;
  std::uint64_t written_ = 0;
  std::uint32_t sequence_ = 0;
  Console& console_;
  Progress progress_;
};

}  // namespace

void sampleCommand(const Options& options, const Routing::RouteMap::PosixRegex*, Console& console) {
  if (console.outIsTerminal())
    return console.error("an MRT stream is no text, expected a file or a pipe to write it to");
  SampleWriter(options, console).write();
}

}  // namespace VelBgpTool
