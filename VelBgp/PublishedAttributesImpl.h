// The attributes whose lists a publisher publishes: a row for each, of all that the publisher must know to tell them
// apart.
#pragma once

#include "VelBgp/ListPublisher.h"
#include "VelBgp/StashImpl.h"

namespace Routing::Bgp::detail {

// The places of the rows, in the order of the members of PathLists and StashedPath.
enum PublishedAttributeIndex : std::size_t { extendedLists, extendedIp6Lists, largeLists, standardLists };

struct PublishedAttribute {
  Stashed list;                 // type of a list's record
  Stashed community;            // type of the records that a list's record refers to
  std::size_t communityOctets;  // of one of those; 0: a list's record holds its values itself
  // The list of this attribute among those of a path.
  const Keel::DedupHandleBase* (*listOf)(const PathLists& lists);
  // What a list's record will be made from: its values, or the images of communities that are records themselves.
  Image (*imageOf)(const Keel::DedupHandleBase& list);
};

template <auto member>
const Keel::DedupHandleBase* listOf(const PathLists& lists) {
  return (lists.*member).get();
}

template <typename List>
Image valuesOf(const Keel::DedupHandleBase& list) {
  return plainImage(static_cast<const List&>(list).comms());
}

template <typename List, typename Community>
Image communitiesOf(const Keel::DedupHandleBase& handle) {
  const auto& list = static_cast<const List&>(handle);
  Image image;
  image.reserve(list.totalCommunities() * imageOctets<Community>);
  for (const auto& comm : list.comms()) appendImage(image, *comm);
  return image;
}

inline constexpr std::array<PublishedAttribute, 4> publishedAttributes = {{
    {Stashed::extCommList, Stashed::extComm, imageOctets<ExtComm>, listOf<&PathLists::extended>,
     communitiesOf<ExtCommList, ExtComm>},
    {Stashed::extCommIp6List, Stashed::extCommIp6, imageOctets<ExtCommIp6>, listOf<&PathLists::extendedIp6>,
     communitiesOf<ExtCommIp6List, ExtCommIp6>},
    {Stashed::largeCommList, {}, 0, listOf<&PathLists::large>, valuesOf<LargeCommList>},
    {Stashed::commList, {}, 0, listOf<&PathLists::standard>, valuesOf<CommList>},
}};

template <typename Value>
using ByAttribute = std::array<Value, publishedAttributes.size()>;

}  // namespace Routing::Bgp::detail
