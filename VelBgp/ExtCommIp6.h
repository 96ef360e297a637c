// The IPv6-address-specific extended community (RFC 5701): its 20-octet value and its interned object. The table that
// interns it is in VelBgp/ExtCommIp6DedupTable.h.
//
// Numbers are in host order, the address is in address order.
// Ownership: ExtCommIp6::PtrConst (one word). The object leaves its table with its last pointer.
// Threads: objects are immutable. Interning follows the table's variant (Keel/DedupHashTable.h). Errors:
// Tyr::ParseException from reading a text; assertions where an operation says so.
#pragma once

#include "Addr/Ip6Addr.h"
#include "VelBgp/VelBgpCommunity.h"

namespace Routing::RouteMap {
class PosixRegex;
}

namespace Routing::Bgp {

class ExtCommIp6;
class ExtCommIp6DedupTable;

// The value. Ordered by type, subtype, address and local administrator, all unsigned.
class ExtCommIp6Content {
 public:
  constexpr ExtCommIp6Content() noexcept = default;
  constexpr ExtCommIp6Content(std::uint8_t type, std::uint8_t subtype, const Addr::Ip6Addr& addr,
                              std::uint16_t localAdmin) noexcept
      : type_(type), subtype_(subtype), addr_(addr), localAdmin_(localAdmin) {}
  // Takes the text below from the front of the range; throws Tyr::ParseException and leaves `it` if there is none.
  VELBGP_EXPORT ExtCommIp6Content(Tyr::StrepIterator& it, const Tyr::StrepIterator& end);

  constexpr std::uint8_t type() const noexcept { return type_; }
  constexpr std::uint8_t subtype() const noexcept { return subtype_; }
  constexpr const Addr::Ip6Addr& addr() const noexcept { return addr_; }
  constexpr std::uint16_t localAdmin() const noexcept { return localAdmin_; }
  constexpr void typeIs(std::uint8_t type) noexcept { type_ = type; }
  constexpr void subtypeIs(std::uint8_t subtype) noexcept { subtype_ = subtype; }
  constexpr void addrIs(const Addr::Ip6Addr& addr) noexcept { addr_ = addr; }
  constexpr void localAdminIs(std::uint16_t localAdmin) noexcept { localAdmin_ = localAdmin; }

  // The names that ExtCommContent has for them: decoding serves both.
  constexpr std::uint8_t typeOctet() const noexcept { return type_; }
  constexpr std::uint8_t subtypeOctet() const noexcept { return subtype_; }
  // The 0x40 bit of the type octet is clear.
  constexpr bool transitive() const noexcept { return (type_ & 0x40) == 0; }

  VELBGP_EXPORT std::uint32_t hash() const noexcept;

  // Reads a whole text.
  VELBGP_EXPORT static ExtCommIp6Content strepToValue(std::string_view text);

  friend constexpr auto operator<=>(const ExtCommIp6Content&, const ExtCommIp6Content&) noexcept = default;

 private:
  std::uint8_t type_ = 0;
  std::uint8_t subtype_ = 0;
  Addr::Ip6Addr addr_;
  std::uint16_t localAdmin_ = 0;
};
static_assert(sizeof(ExtCommIp6Content) == 20);

// "type=", the octet, ";subtype=", the octet, ";addr=", the address, ";localAdmin=", the number in decimal. Deliberate:
// the two octets are written as they are, whatever they are, a zero octet too. The stream's formatting flags neither
// matter nor change.
VELBGP_EXPORT std::string valueToStrep(const ExtCommIp6Content& content);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommIp6Content& content);
// Takes that text from the front of the range; nothing is changed if there is none.
VELBGP_EXPORT void strepToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, ExtCommIp6Content* content);

struct VELBGP_EXPORT ExtCommIp6Traits {
  using Comm = ExtCommIp6;
  using Content = ExtCommIp6Content;
  using Table = ExtCommIp6DedupTable;
  using PktType = BgpExtCommIp6PktType;
  static constexpr PktType unknownPktType = extCommIp6PktTypeUnknown;

  static std::uint32_t hashOf(const Content& content) noexcept { return content.hash(); }
  static Tyr::Ptr<const Comm> decode(const BgpParseExtendedCommunityRule& rule, const Content& content);
};
extern template class InternedExtCommContent<ExtCommIp6Traits>;
extern template class InternedExtComm<ExtCommIp6Traits>;

using ExtCommIp6DedupContent = InternedExtCommContent<ExtCommIp6Traits>;

class VELBGP_EXPORT ExtCommIp6 : public InternedExtComm<ExtCommIp6Traits> {
 public:
#define ROUTING_BGP_EXT_COMM_IP6_STREP_FORMAT_FLAGS(FLAG) \
  FLAG(strepFormatDefault)                                \
  FLAG(strepFormatClassification)                         \
  FLAG(strepFormatUI) FLAG(strepFormatAsdot) FLAG(strepFormatLinkBwWeighted)
  // Options of the text forms: five flags in one octet.
  class StrepFormat {
    TYR_FLAG_SET(StrepFormat, "Routing::Bgp::ExtCommIp6::StrepFormat", ROUTING_BGP_EXT_COMM_IP6_STREP_FORMAT_FLAGS)

   public:
    // Flag by flag: without JSON, the flags behind it have other bits here.
    constexpr explicit StrepFormat(const ExtComm::StrepFormat& format) noexcept {
      strepFormatDefaultIs(format.strepFormatDefault());
      strepFormatClassificationIs(format.strepFormatClassification());
      strepFormatUIIs(format.strepFormatUI());
      strepFormatAsdotIs(format.strepFormatAsdot());
      strepFormatLinkBwWeightedIs(format.strepFormatLinkBwWeighted());
    }
    // Both bits: the form that show commands print.
    constexpr bool classificationAndUI() const noexcept { return strepFormatClassification() && strepFormatUI(); }
  };
#undef ROUTING_BGP_EXT_COMM_IP6_STREP_FORMAT_FLAGS

  ExtCommIp6(ExtCommClassification classification, const ExtCommIp6Content& content) noexcept
      : InternedExtComm(classification, content) {}

  const Tyr::FwkType& fwkType() const override;

 protected:
  ~ExtCommIp6() override = default;

 public:
  void formatDerivedType(std::ostream& stream) const override;
  // The policy and UI form: address, ":", local administrator; with the classification and UI bits together the type
  // and ":" in front. Other bits have no effect.
  virtual std::string toStrepForPolicy(StrepFormat format) const;

  // The subtype's name under the community's own type, or "subtype=" and the octet in decimal. Each asserts that it is
  // asked of its own type, and that there is a subtype.
  std::string pktSubtypeTransIpv6AddressAsString() const;
  std::string pktSubtypeNonTransIpv6AddressAsString() const;

  // The community that a reference names, which lies in memory at any address: a private ExtCommIp6 of the stored
  // classification, in no table and never to be. Deliberate: never an ExtCommIp6Subtyped. Null for a null reference.
  // Throws the store's exceptions. Threads as for ExtComm::destash.
  static PtrConst destash(const void* stashed, Store::StoreManager* store);
};

// A community whose second octet is a subtype.
class VELBGP_EXPORT ExtCommIp6Subtyped : public ExtCommIp6 {
 public:
  using ExtCommIp6::ExtCommIp6;
  const Tyr::FwkType& fwkType() const override;
  BgpExtCommPktSubtype pktSubtype() const override;

 protected:
  ~ExtCommIp6Subtyped() override = default;
};
static_assert(sizeof(ExtCommIp6) <= 48 && sizeof(ExtCommIp6Subtyped) == sizeof(ExtCommIp6));

// New, never deduped, notification-active objects.
VELBGP_EXPORT ExtCommIp6::PtrConst extCommIp6Factory(ExtCommClassification classification,
                                                     const ExtCommIp6Content& content);
VELBGP_EXPORT ExtCommIp6::PtrConst ExtCommIp6Is(ExtCommClassification classification, const ExtCommIp6Content& content);
VELBGP_EXPORT ExtCommIp6::PtrConst ExtCommIp6SubtypedIs(ExtCommClassification classification,
                                                        const ExtCommIp6Content& content);

// Whether the expression matches the community's policy text. Asserts that there is an expression.
VELBGP_EXPORT bool matchExtCommIp6(const ExtCommIp6* comm, const RouteMap::PosixRegex* regex);

// The debugging form; "NULL" for a null pointer.
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommIp6* extComm);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommIp6& extComm);

}  // namespace Routing::Bgp

template <>
struct std::hash<Routing::Bgp::ExtCommIp6Content> {
  std::size_t operator()(const Routing::Bgp::ExtCommIp6Content& content) const noexcept { return content.hash(); }
};
