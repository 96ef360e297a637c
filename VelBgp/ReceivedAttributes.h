// Path attributes as they were received: a walk over the attributes of an UPDATE or of a RIB entry, and the community
// attributes that it finds, judged by RFC 7606.
//
//   PathAttributeWalk    the walk: code, flags and value of each attribute, whatever it is
//   ReceivedAttributes   COMMUNITIES (8), EXTENDED COMMUNITIES (16), IPv6 ADDRESS SPECIFIC (25), LARGE_COMMUNITY (32)
//   dedupAttributes      their interned lists
//
//   const ReceivedAttributes received(block, ReceivedAttributes::Flags::judged);
//   if (received.treatAsWithdraw()) ...
//   const PathLists lists = dedupAttributes(tables, received);
//
// Who also needs other attributes walks himself, once for all:
//
//   ReceivedAttributes received;
//   PathAttributeWalk walk(block);
//   while (walk.next()) {
//     if (!received.attributeIs(walk.attribute())) other(walk.attribute());
//   }
//   received.endIs(walk);
//
// A single value without a walk goes into a content (attributeIs of the contents), many at a time
// through dedupAttributes of each list.
//
// Nothing is copied: values are spans into the block, which must outlive their use. Nothing is allocated before lists
// are interned, whatever a peer sent, and nothing throws. Offsets and sizes are in octets, offsets from the block's
// first. Threads: plain values, one thread at a time.
#pragma once

#include <boost/container/static_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <span>

#include "VelBgp/BgpPathAttributeEnums.h"
#include "VelBgp/CommVectorContent.h"
#include "VelBgp/Forward.h"

namespace Routing::Bgp {

#define TYR_ENUMERATIONS "VelBgp/AttributeVerdict.def"
#include "Tyr/EnumerationDeclare.def"

// For people, to stand behind the attribute's name; "unknown" for a number that is no verdict.
VELBGP_EXPORT const char* attributeVerdictText(AttributeVerdict verdict) noexcept;
// Whether the routes of the UPDATE are to be taken for withdrawn. Else the attribute is good, or dropped (a repeat).
constexpr bool treatAsWithdraw(AttributeVerdict verdict) noexcept {
  return verdict != attributeVerdictWellFormed && verdict != attributeVerdictRepeated;
}

struct PathAttribute {
  std::size_t offset = 0;  // of its header
  BgpUpdateMsgAttributeFlags flags;
  std::uint8_t code = 0;
  AttributeOctets value;
};

// Goes from attribute to attribute, never past the end of the block.
class PathAttributeWalk {
 public:
  explicit PathAttributeWalk(AttributeOctets block) noexcept : rest_(block), size_(block.size()) {}

  // Moves to the next attribute, the first at first. False at the end, and for good at one that the block cuts off.
  bool next() noexcept {
    if (rest_.empty() || verdict_ != attributeVerdictWellFormed) return false;
    attribute_ = {size_ - rest_.size(), BgpUpdateMsgAttributeFlags(rest_[0]), 0, {}};
    const std::size_t header = attribute_.flags.extendedLength() ? 4 : 3;
    if (rest_.size() < header) return cut(attributeVerdictHeaderCut);
    attribute_.code = rest_[1];
    const std::size_t length = header == 4 ? std::size_t{rest_[2]} << 8 | rest_[3] : rest_[2];
    if (length > rest_.size() - header) return cut(attributeVerdictValueCut);
    attribute_.value = rest_.subspan(header, length);
    rest_ = rest_.subspan(header + length);
    return true;
  }

  // The attribute that next() moved to. When it cut the walk short: the one that is cut off, without a value, and
  // without a code where the header is what the block cuts.
  const PathAttribute& attribute() const noexcept { return attribute_; }
  // Well formed, unless the block cuts an attribute off.
  AttributeVerdict verdict() const noexcept { return verdict_; }

 private:
  bool cut(AttributeVerdict verdict) noexcept {
    verdict_ = verdict;
    return false;
  }

  AttributeOctets rest_;
  std::size_t size_;
  PathAttribute attribute_;
  AttributeVerdict verdict_ = attributeVerdictWellFormed;
};

// The community attributes of a path.
class VELBGP_EXPORT ReceivedAttributes {
 public:
  // Whether flags other than optional and transitive make an attribute malformed. The partial bit is never looked at.
  enum class Flags : std::uint8_t { ignored, judged };

  // What is wrong with an attribute, and how often.
  struct Fault {
    AttributeVerdict verdict;
    PathAttribute attribute;  // of repeated ones the second
    std::size_t times;        // of repeated ones those behind the first, else 1
  };
  // For each of the four its first one and its repeats, and one attribute that is cut off.
  static constexpr std::size_t mostFaults = 9;
  using Faults = std::span<const Fault>;

  explicit ReceivedAttributes(Flags flags = Flags::ignored) noexcept : flags_(flags) {}
  // Of all attributes of the block.
  explicit ReceivedAttributes(AttributeOctets block, Flags flags = Flags::ignored) noexcept;

  // Takes in the next attribute; false for one that carries no communities, which is passed over.
  bool attributeIs(const PathAttribute& attribute) noexcept;
  // Takes in how the walk ended.
  void endIs(const PathAttributeWalk& walk) noexcept;

  // The values of the attribute, whole ones and at least one; none where it is absent or malformed. Of a repeated
  // attribute the first stands, be it malformed.
  AttributeOctets standard() const noexcept { return values_[standardPlace]; }
  AttributeOctets extended() const noexcept { return values_[extendedPlace]; }
  AttributeOctets extendedIp6() const noexcept { return values_[extendedIp6Place]; }
  AttributeOctets large() const noexcept { return values_[largePlace]; }
  // The same by code; none for all others.
  AttributeOctets value(BgpPathAttrType type) const noexcept;

  // In the order in which they were found.
  Faults faults() const noexcept { return {faults_.data(), faults_.size()}; }
  // Whether any of them asks for it.
  bool treatAsWithdraw() const noexcept;

 private:
  enum Place : std::uint8_t { standardPlace, extendedPlace, extendedIp6Place, largePlace, places };

  static Place placeOf(std::uint16_t code) noexcept;
  AttributeVerdict verdictOf(const PathAttribute& attribute, Place place) const noexcept;
  void repeatIs(const PathAttribute& attribute) noexcept;

  AttributeOctets values_[places];
  Flags flags_;
  std::uint8_t seen_ = 0;  // a bit for each place, and one for an attribute that is cut off
  boost::container::static_vector<Fault, mostFaults> faults_;
};

// The interned list of each attribute that is there and well formed, null for the others (VelBgp/PathLists.h). Throws
// what interning throws; lists that were interned before are let go then.
VELBGP_EXPORT PathLists dedupAttributes(const CommunityTables& tables, const ReceivedAttributes& attributes);

}  // namespace Routing::Bgp
