// What the lists of all attributes do with their vectors of communities: bring them into canonical order, and write
// them out.
#pragma once

#include <algorithm>
#include <functional>
#include <type_traits>

#include "Keel/SortUnique.h"
#include "VelBgp/VelBgpSerialize.h"

namespace Routing::Bgp {

// Sorts by `lessThan` and drops repeats, keeping the first of each run. Numbers may throw std::bad_alloc, with none
// lost; others neither allocate nor throw.
template <typename Vector, typename LessThan = std::less<>>
void sortAndUnique(Vector& comms, LessThan lessThan = LessThan()) {
  if constexpr (std::is_integral_v<typename Vector::value_type>) {
    if (comms.size() > 1) comms.resize(Keel::sortUnique(comms.data(), comms.size()));
  } else {
    const auto notAscending = [&lessThan](const auto& a, const auto& b) { return !lessThan(a, b); };
    // What routers send is in order, mostly.
    if (std::adjacent_find(comms.begin(), comms.end(), notAscending) == comms.end()) return;
    std::sort(comms.begin(), comms.end(), lessThan);
    // Of neighbours in order, those are equal that the first does not come before.
    comms.erase(std::unique(comms.begin(), comms.end(), notAscending), comms.end());
  }
}

// The same, once for each time that communities were added.
template <typename Vector, typename LessThan = std::less<>>
void sortAndUniqueOnce(bool& commVectorSorted, Vector& comms, LessThan lessThan = LessThan()) {
  if (!commVectorSorted) sortAndUnique(comms, lessThan);
  commVectorSorted = true;
}

// An outgoing attribute, header included, for `announced` communities of `octetsEach` octets: writeOne(attribute, comm)
// is called for each of `comms` and appends it, or passes over it. Asserts that the announced value fits in 65,535
// octets.
template <typename Range, typename WriteOne>
std::string serializeCommunities(BgpPathAttrType type, std::uint32_t octetsEach, std::uint32_t announced,
                                 const Range& comms, WriteOne&& writeOne) {
  const std::uint64_t octets = std::min<std::uint64_t>(std::uint64_t{announced} * octetsEach, UINT32_MAX);
  SerializePathAttribute attribute(type, BgpPathAttrFlag::optionalTransitive, static_cast<std::uint32_t>(octets));
  for (const auto& comm : comms) writeOne(attribute, comm);
  return attribute.serializedBytes(0);
}

}  // namespace Routing::Bgp
