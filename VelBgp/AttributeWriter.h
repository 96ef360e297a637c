// AttributeWriter: the path attribute of a list, as it goes into an UPDATE. What an agent calls, for lists of all kinds:
//
//   const AttributeWriter attribute(list, ExtCommList::serialization(false, true, false));
//   if (!attribute.fits()) ...                          // more than 65,535 octets of communities: say so, or send less
//   if (attribute.size() > room.size()) ...             // it goes into the next UPDATE
//   if (!attribute.write(room)) ...                     // or attribute.appendTo(string), or attribute.str()
//
// Header and length always are those of the communities that follow, ascending by value, and where no community is to be
// sent there is no attribute: size 0. Also of lists that were read from a store, and of IPv6 lists that were never
// interned, which go out as they stand, for what goes out is found by looking at the communities themselves.
// serialize() of the lists is for who needs its announced lengths as they always were: under a filter it counts link
// bandwidths and validation states once each, however many it writes; it writes the bare header of an empty list of
// standard or large communities, and stops the process past 65,535 octets.
//
// The filter: `all`, or what else it names. Standard and large communities are transitive, all of them. Link bandwidths
// and validation states are among extended communities alone.
//
// Costs: one allocation where a string is made, a look at each community to write it and, under a filter that does not
// take all of them, one more to count. Ownership: a writer points at its list, which must outlive it and, if it is an
// IPv6 list that was never interned, not change meanwhile. Threads: as for the list. Sizes are in octets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "VelBgp/ExtCommList.h"
#include "VelBgp/Forward.h"

namespace Routing::Bgp {

class VELBGP_EXPORT AttributeWriter {
 public:
  using Filter = ExtCommList::Serialization;
  // Octets: what two octets of length can say.
  static constexpr std::size_t largestValue = 0xffff;

  // Of extended lists: every community.
  static constexpr Filter all() noexcept {
    Filter filter;
    filter.allIs(true);
    return filter;
  }

  // A null list is one without communities.
  explicit AttributeWriter(const ExtCommList* list, Filter filter = all());
  explicit AttributeWriter(const ExtCommIp6List* list, Filter filter = all());
  explicit AttributeWriter(const LargeCommList* list, Filter filter = all());
  explicit AttributeWriter(const CommList* list, Filter filter = all());
  template <typename List>
  explicit AttributeWriter(const Tyr::Ptr<List>& list, Filter filter = all()) : AttributeWriter(list.get(), filter) {}

  // Communities that go out.
  std::uint32_t communities() const noexcept { return communities_; }
  // Whether an attribute can carry them.
  bool fits() const noexcept { return valueOctets() <= largestValue; }
  // Of the attribute with its header; 0 when there is nothing to send. More than 65,539 when it does not fit.
  std::size_t size() const noexcept { return communities_ == 0 ? 0 : headerOctets() + valueOctets(); }

  // False if it does not fit, in an attribute or in the room, and then nothing is written. Else the first size() octets
  // are.
  [[nodiscard]] bool write(std::span<std::uint8_t> room) const;
  // False if it does not fit, and then the string is as it was.
  [[nodiscard]] bool appendTo(std::string& octets) const;
  // Nothing if it does not fit; the empty string when there is nothing to send.
  std::optional<std::string> str() const;

 private:
  // Puts the values that pass behind each other, and tells where they end.
  using WriteValues = std::uint8_t*(const void* list, Filter filter, std::uint8_t* at);

  template <typename Kind>
  AttributeWriter(const typename Kind::List* list, Filter filter, Kind);

  std::size_t valueOctets() const noexcept { return std::size_t{communities_} * octetsEach_; }
  std::size_t headerOctets() const noexcept { return valueOctets() > 0xff ? 4 : 3; }
  void writeTo(std::uint8_t* at) const;

  const void* list_;
  WriteValues* writeValues_;
  std::uint32_t communities_ = 0;
  Filter filter_;  // `all`, if all of them pass
  std::uint8_t code_;
  std::uint8_t octetsEach_;
};

}  // namespace Routing::Bgp
