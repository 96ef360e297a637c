// The large communities of a path (RFC 8092) as one interned list. Used as the standard communities are (CommList.h).
// Ownership, threads and memory: see ValueCommList.h.
#pragma once

#include "Policy/CommunityValue.h"
#include "VelBgp/CommList.h"

namespace Routing::Bgp {

using Acl::CommunityValue;

class LargeCommList;
class LargeCommListContent;
class LargeCommListSnapshot;
class LargeCommListDedupTable;

// "65536:1:2"; with asdot "1.0:1:2": a global administrator of at least 65536 as its halves (RFC 5396).
struct VELBGP_EXPORT LargeCommunityFormatter {
  // Appends the text.
  static void format(Tyr::DynamicBufferInterface& buffer, const CommunityValue& value, bool asdot);
  // The same text.
  static std::string tacString(const CommunityValue& value, bool asdot);
};

struct VELBGP_EXPORT LargeCommListTraits {
  using Value = CommunityValue;
  using List = LargeCommList;
  using Content = LargeCommListContent;
  using Table = LargeCommListDedupTable;
  static constexpr Tyr::FwkType fwkType{"Routing::Bgp::LargeCommList"};

  static std::uint32_t hash(std::span<const Value> values);
  static std::uint32_t tableHash(std::span<const Value> values) { return hash(values); }

  static constexpr BgpPathAttrType attribute = BgpPathAttrType::largeCommunity;
  static constexpr std::uint32_t octetsEach = 12;
  static void write(const Value& value, Serialize& buffer);
  static Value read(const std::uint8_t* octets) noexcept;

  static constexpr std::size_t longestText = 32;  // three numbers of ten digits and two colons
  static constexpr bool hasNames = false;
  static void format(Tyr::DynamicBufferInterface& buffer, const Value& value) {
    LargeCommunityFormatter::format(buffer, value, false);
  }
  static constexpr auto formatNumbers = format;
};
extern template class ValueCommListContent<LargeCommListTraits>;
extern template class ValueCommList<LargeCommListTraits>;

class VELBGP_EXPORT LargeCommListContent final : public ValueCommListContent<LargeCommListTraits> {};

class VELBGP_EXPORT LargeCommList final : public ValueCommList<LargeCommListTraits> {
 public:
  // The text of one value: plain, or dotted when asked for.
  static std::string getStringValue(const CommunityValue& value);
  static std::string displayString(const CommunityValue& value, bool asdot);

  // Its values as a map (VelBgp/CommListSnapshot.h).
  Tyr::Ptr<LargeCommListSnapshot> commSnapshot() const;

 private:
  friend ValueCommList<LargeCommListTraits>;

  using ValueCommList::ValueCommList;
  ~LargeCommList() override = default;
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

  LargeCommListDedupTable() { initDedupTable("largeCommList"); }

 private:
  ~LargeCommListDedupTable() override = default;
};

VELBGP_EXPORT LargeCommListDedupTable::Ptr largeCommListDedupTableFactory();
VELBGP_EXPORT LargeCommListDedupTable::Ptr LargeCommListDedupTableIs();

}  // namespace Routing::Bgp

template <>
struct std::hash<Acl::CommunityValue> {
  std::size_t operator()(const Acl::CommunityValue& value) const {
    return Routing::Bgp::LargeCommListTraits::hash({&value, 1});
  }
};
