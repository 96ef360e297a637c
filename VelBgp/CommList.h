// The standard communities of a path (RFC 1997) as one interned list, and the well-known values (RFC 1997, RFC 8326,
// RFC 9494) by name. A value is 32 bits in host order, the AS number in the upper half.
//
//   CommListContent content;
//   content.commIs(0xffffff01);                                   // any order, repeats allowed
//   CommList::PtrConst list = CommList::dedupContent(table, content);
//
// Ownership, threads and memory: see ValueCommList.h. Lists may outlive their table; they are then in none.
#pragma once

#include <optional>
#include <string_view>

#include "Keel/DedupHashTable.h"
#include "Tyr/DynamicBuffer.h"
#include "VelBgp/ValueCommList.h"

namespace Routing::Bgp {

#define TYR_ENUMERATIONS "VelBgp/BgpCommunityValue.def"
#include "Tyr/EnumerationDeclare.def"

class CommList;
class CommListContent;
class CommListSnapshot;
class CommListDedupTable;

// "65000:100": both halves in decimal, without leading zeros; with wellKnownNames a well-known value's name instead.
template <bool wellKnownNames>
struct VELBGP_EXPORT CommunityFormatter {
  // Appends the text.
  static void format(Tyr::DynamicBufferInterface& buffer, std::uint32_t value);
  // Appends both halves, whatever the value is called.
  static void formatNotWellKnown(Tyr::DynamicBufferInterface& buffer, std::uint32_t value);
};
extern template struct CommunityFormatter<false>;
extern template struct CommunityFormatter<true>;

struct VELBGP_EXPORT CommListTraits {
  using Value = std::uint32_t;
  using List = CommList;
  using Content = CommListContent;
  using Table = CommListDedupTable;
  static constexpr Tyr::FwkType fwkType{"Routing::Bgp::CommList"};

  // Paul Hsieh's hash over the values as they lie in memory.
  static std::uint32_t hash(std::span<const Value> values);
  static std::uint32_t tableHash(std::span<const Value> values);

  static constexpr BgpPathAttrType attribute = BgpPathAttrType::community;
  static constexpr std::uint32_t octetsEach = 4;
  static void write(Value value, Serialize& buffer);
  static Value read(const std::uint8_t* octets) noexcept;

  static constexpr std::size_t longestText = 12;  // "no-advertise", one more than "65535:65535"
  static constexpr bool hasNames = true;
  static constexpr auto format = CommunityFormatter<true>::format;
  static constexpr auto formatNumbers = CommunityFormatter<false>::format;
};
extern template class ValueCommListContent<CommListTraits>;
extern template class ValueCommList<CommListTraits>;

class VELBGP_EXPORT CommListContent final : public ValueCommListContent<CommListTraits> {};

class VELBGP_EXPORT CommList final : public ValueCommList<CommListTraits> {
 public:
  // totalCommunities() values, ascending, in host order.
  const std::uint32_t* commVectorRawPtr() const noexcept { return comms().data(); }

  // The name of a well-known value, or an empty string; the value of a name, spelled exactly so, or nothing.
  static std::string wellKnownName(std::uint32_t value);
  static std::optional<std::uint32_t> wellKnownValue(std::string_view name);
  // The text of one value, with well-known names.
  static std::string getStringValue(std::uint32_t value);

  // Its values as a map (VelBgp/CommListSnapshot.h).
  Tyr::Ptr<CommListSnapshot> commSnapshot() const;

 private:
  friend ValueCommList<CommListTraits>;

  using ValueCommList::ValueCommList;
  ~CommList() override = default;
};

// toStrep(); "NULL" for a null list. The stream's formatting state is left as it was.
VELBGP_EXPORT std::ostream& formatCommList(std::ostream& stream, const CommList* list);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const CommList* list);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const CommList& list);
VELBGP_EXPORT std::string stringify(const CommList* list);

// What the tables of standard and of large communities are: one hash table. Deliberate: a list's hash() is not where
// its table puts it. Paul Hsieh's hash has no key, and a peer that sends lists which collide would make every lookup
// walk all of them; the table goes by Keel's keyed hash.
class VELBGP_EXPORT CommListDedupTableBase : public Tyr::PtrInterface {
 public:
  // Lookups by hand go by CommListTraits::tableHash, or LargeCommListTraits::tableHash, of the sorted values.
  Keel::DedupHashTable& dedupTable() const noexcept { return *dedupTable_; }
  // Distinct lists that are interned now.
  std::size_t size() const { return dedupTable_->size(); }

  void dumpState(Keel::DumpContext& context, std::uint32_t indent) const;

 protected:
  CommListDedupTableBase() = default;
  ~CommListDedupTableBase() override = default;
  // `name` shows in dumps.
  void initDedupTable(const char* name);

 private:
  Tyr::Ptr<Keel::DedupHashTable> dedupTable_;
};

// One per agent. Must exist before any list is interned.
class VELBGP_EXPORT CommListDedupTable final : public CommListDedupTableBase {
 public:
  using Ptr = Tyr::Ptr<CommListDedupTable>;
  using PtrConst = Tyr::Ptr<const CommListDedupTable>;

  CommListDedupTable() { initDedupTable("commList"); }

 private:
  ~CommListDedupTable() override = default;
};

VELBGP_EXPORT CommListDedupTable::Ptr commListDedupTableFactory();
VELBGP_EXPORT CommListDedupTable::Ptr CommListDedupTableIs();

}  // namespace Routing::Bgp
