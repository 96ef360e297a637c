// CommunityTables: what an agent needs to intern the communities of its paths, in one object: a decoder, and the tables
// of all four kinds.
//
//   CommunityTables tables;
//   ExtCommListContentU64 received(tables.extComms());
//   received.commIs(0x0002fde800000064);
//   const ExtCommList::PtrConst list = tables.dedupContent(received);
//
// The tables are those of their own headers; whoever needs only some makes these alone.
//
// Ownership: the object owns all of them and hands out plain pointers, good for as long as it lives (a Ptr made of one
// keeps that table). Objects may outlive their tables and are then in none; contents must not. Before it goes, publishers
// of its tables go, and the last call into it has returned.
// Threads: made and destroyed on one thread; several may intern if Tyr::agentMultiThreadedIs(true) was called before
// (Tyr/Threading.h). Errors: std::bad_alloc.
#pragma once

#include "Tyr/Export.h"
#include "Tyr/PtrInterface.h"
#include "VelBgp/Forward.h"

namespace Routing::Bgp {

class VELBGP_EXPORT CommunityTables {
 public:
  // The feature toggle "Mvpn" decides whether VRF route import and source AS are kinds (VelBgp/Parse/ExtCommContainer.h).
  CommunityTables();
  // With the toggle's answer given.
  explicit CommunityTables(bool mvpn);
  // With a decoder that has kinds of one's own. Throws Tyr::NullArgumentException for null, and for one without a rule.
  explicit CommunityTables(Tyr::Ptr<BgpParseExtCommContainerSm> decoder);
  ~CommunityTables();
  CommunityTables(const CommunityTables&) = delete;
  CommunityTables& operator=(const CommunityTables&) = delete;

  BgpParseExtCommContainerSm* decoder() const noexcept { return decoder_.get(); }
  const ExtCommDedupTable* extComms() const noexcept { return extComms_.get(); }
  const ExtCommIp6DedupTable* extCommIp6s() const noexcept { return extCommIp6s_.get(); }
  const ExtCommListDedupTable* extCommLists() const noexcept { return extCommLists_.get(); }
  const ExtCommIp6ListDedupTable* extCommIp6Lists() const noexcept { return extCommIp6Lists_.get(); }
  const CommListDedupTable* commLists() const noexcept { return commLists_.get(); }
  const LargeCommListDedupTable* largeCommLists() const noexcept { return largeCommLists_.get(); }

  // The one list of these communities, or the one community of this value: the call of the same name of its class.
  Tyr::Ptr<const ExtComm> dedupContent(const ExtCommContent& content) const;
  Tyr::Ptr<const ExtCommIp6> dedupContent(const ExtCommIp6Content& content) const;
  Tyr::Ptr<const ExtCommList> dedupContent(const ExtCommListContentBase& content) const;
  Tyr::Ptr<const CommList> dedupContent(const CommListContent& content) const;
  Tyr::Ptr<const LargeCommList> dedupContent(const LargeCommListContent& content) const;

 private:
  const Tyr::Ptr<BgpParseExtCommContainerSm> decoder_;
  const Tyr::Ptr<ExtCommDedupTable> extComms_;
  const Tyr::Ptr<ExtCommIp6DedupTable> extCommIp6s_;
  const Tyr::Ptr<ExtCommListDedupTable> extCommLists_;
  const Tyr::Ptr<ExtCommIp6ListDedupTable> extCommIp6Lists_;
  const Tyr::Ptr<CommListDedupTable> commLists_;
  const Tyr::Ptr<LargeCommListDedupTable> largeCommLists_;
};

}  // namespace Routing::Bgp
