// The bodies of InternedExtComm, for the sources that instantiate it. Where its classes differ, overloads for them are
// called: subtypeText(comm) and appendImage(image, comm).
#pragma once

#include "VelBgp/ExtCommTextImpl.h"
#include "VelBgp/StashImpl.h"

namespace Routing::Bgp {

// The type of the records of a community.
template <typename Traits>
inline constexpr Stashed stashedCommunityType = Stashed();

// "NULL" for a null pointer.
template <typename Comm>
std::ostream& writeDebugText(std::ostream& stream, const Comm* extComm) {
  if (extComm == nullptr) return stream.write("NULL", 4);
  extComm->formatDerivedType(stream);
  return stream;
}

template <typename Traits>
std::string InternedExtComm<Traits>::toStrep() const {
  Tyr::DynamicBuffer<> text;
  Tyr::TextStream stream(text);
  formatDerivedType(stream);
  return text.str();
}

template <typename Traits>
void InternedExtComm<Traits>::formatSubtype(std::ostream& stream) const {
  writeText(stream, subtypeText(static_cast<const typename Traits::Comm&>(*this)));
}

template <typename Traits>
inline typename InternedExtComm<Traits>::PtrConst InternedExtComm<Traits>::dedupHashed(
    const typename Traits::Table* table, const Content& content, std::uint32_t hash) {
  using Comm = typename Traits::Comm;
  return Keel::tableAt(table).dedupTable().template findOrDedup<Comm>(
      hash, [&content](const InternedExtComm& extComm) { return extComm.content_ == content; },
      // Nobody else knows a new object before it is in the table.
      [&] { return boost::const_pointer_cast<Comm>(Traits::decode(*table->parseExtCommRule(), content)); });
}

template <typename Traits>
typename InternedExtComm<Traits>::PtrConst InternedExtComm<Traits>::dedupContent(const typename Traits::Table* table,
                                                                                 const Content& content) {
  return dedupHashed(table, content, Traits::hashOf(content));
}

template <typename Traits>
Store::Reference InternedExtComm<Traits>::stash(Store::WriteBatch* batch) const {
  Image image;
  appendImage(image, static_cast<const typename Traits::Comm&>(*this));
  return stashRecord(*batch, stashedCommunityType<Traits>, image);
}

}  // namespace Routing::Bgp
