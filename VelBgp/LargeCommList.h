// The large communities of a path (RFC 8092) as one interned list.
//
//   LargeCommunityFormatter     the text of one value, in plain or dotted notation
//   LargeCommListContent        what a list is built from: Acl::CommunityValue
//   LargeCommList               the interned list
//   LargeCommListDedupTable     interns them, one object per distinct sequence of values
//
// Used as the standard communities are (CommList.h). Ownership, threads and memory: see ValueCommList.h.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>

#include "Policy/CommunityValue.h"
#include "Policy/PosixRegex.h"
#include "Tyr/DynamicBuffer.h"
#include "Tyr/Export.h"
#include "Tyr/FwkType.h"
#include "Tyr/PtrInterface.h"
#include "VelBgp/CommList.h"
#include "VelBgp/ValueCommList.h"

namespace Routing::Bgp {

using Acl::CommunityValue;

class LargeCommList;
class LargeCommListSnapshot;
class LargeCommListDedupTable;

// "65536:1:2"; with asdot "1.0:1:2": a global administrator of at least 65536 as its halves (RFC 5396).
struct VELBGP_EXPORT LargeCommunityFormatter {
  static void format(Tyr::DynamicBufferInterface& buffer, const CommunityValue& value, bool asdot);
  static std::string tacString(const CommunityValue& value, bool asdot);
};

struct VELBGP_EXPORT LargeCommListTraits {
  using Value = CommunityValue;
  using List = LargeCommList;
  using Table = LargeCommListDedupTable;

  static std::uint32_t hash(std::span<const Value> values);
  static std::uint32_t tableHash(std::span<const Value> values) { return hash(values); }

  static constexpr BgpPathAttrType attribute = BgpPathAttrType::largeCommunity;
  static constexpr std::uint32_t octetsEach = 12;
  static void write(const Value& value, Serialize& buffer);
};
extern template class ValueCommListContent<LargeCommListTraits>;
extern template class ValueCommList<LargeCommListTraits>;

class VELBGP_EXPORT LargeCommListContent final : public ValueCommListContent<LargeCommListTraits> {
 public:
  LargeCommListContent() = default;
  LargeCommListContent(const LargeCommListContent&) = default;
  LargeCommListContent& operator=(const LargeCommListContent&) = default;
  ~LargeCommListContent() override;
};

class VELBGP_EXPORT LargeCommList final : public ValueCommList<LargeCommListTraits> {
 public:
  using Ptr = Tyr::Ptr<LargeCommList>;
  using PtrConst = Tyr::Ptr<const LargeCommList>;

  const Tyr::FwkType& fwkType() const override;

  // The interned list with this content, made on a miss. Sorts the content. Never null.
  static PtrConst dedupContent(const LargeCommListDedupTable* table, const LargeCommListContent& content);

  // The text of one value: plain, or dotted when asked for.
  static std::string getStringValue(const CommunityValue& value);
  static std::string displayString(const CommunityValue& value, bool asdot);

  // All values, a blank between them, in plain notation.
  std::string toStrep() const;
  // Whether the expression matches that text.
  bool matchCommunitiesRegex(const RouteMap::PosixRegex* regex) const;

  // Its values as a map (VelBgp/CommListSnapshot.h).
  Tyr::Ptr<LargeCommListSnapshot> commSnapshot() const;

  // The list that a reference names, which lies in memory at any address: a private list, in no table and never to be.
  // Null for a null reference. Throws the store's exceptions; nothing is left behind then. Threads as for
  // ExtComm::destash.
  static PtrConst destash(const void* stashed, Store::StoreManager* store);

 private:
  friend ValueCommList<LargeCommListTraits>;

  using ValueCommList::ValueCommList;
  ~LargeCommList() override;
  // A new list, never deduped. The content is sorted.
  static Ptr allocateLargeCommListForDedup(const LargeCommListContent& content);
};

// toStrep(); "NULL" for a null list. The stream's formatting state is left as it was.
VELBGP_EXPORT std::ostream& formatCommList(std::ostream& stream, const LargeCommList* list);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const LargeCommList* list);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const LargeCommList& list);
VELBGP_EXPORT std::string stringify(const LargeCommList* list);

// One per agent. Must exist before any list is interned.
class VELBGP_EXPORT LargeCommListDedupTable final : public CommListDedupTableBase {
 public:
  using Ptr = Tyr::Ptr<LargeCommListDedupTable>;
  using PtrConst = Tyr::Ptr<const LargeCommListDedupTable>;

  LargeCommListDedupTable();

 private:
  ~LargeCommListDedupTable() override;
};

VELBGP_EXPORT LargeCommListDedupTable::Ptr largeCommListDedupTableFactory();
VELBGP_EXPORT LargeCommListDedupTable::Ptr LargeCommListDedupTableIs();

}  // namespace Routing::Bgp
