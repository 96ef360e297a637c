// The extended community (RFC 4360): its 8-octet value, its interned object, and the table that interns it.
//
// Ownership: ExtComm::PtrConst (one word). The object leaves its table with its last pointer.
// Threads: objects are immutable. Interning follows the table's variant (Keel/DedupHashTable.h).
#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <string_view>

#include "Store/Forward.h"
#include "Tyr/DynamicBuffer.h"
#include "Tyr/FlagSet.h"
#include "Tyr/FwkType.h"
#include "VelBgp/NotifyingRouteTargetList.h"
#include "VelBgp/VelBgpCommunityPacketTypes.h"

namespace Routing::Bgp {

class BgpParseExtendedCommunityRule;
class ExtComm;
class ExtCommDedupTable;

// The wire value: one number, the first wire octet most significant. Equality and order are those of the number.
class ExtCommContent {
 public:
  constexpr ExtCommContent() noexcept = default;
  constexpr explicit ExtCommContent(std::uint64_t value) noexcept : value_(value) {}

  constexpr std::uint64_t value() const noexcept { return value_; }
  constexpr std::uint8_t typeOctet() const noexcept { return octet(0); }
  constexpr std::uint8_t subtypeOctet() const noexcept { return octet(1); }
  // Wire octet 0 to 7.
  constexpr std::uint8_t octet(unsigned index) const noexcept {
    return static_cast<std::uint8_t>(value_ >> (56 - 8 * index));
  }
  constexpr std::uint16_t localAdmin2Octets() const noexcept { return static_cast<std::uint16_t>(value_); }
  constexpr std::uint32_t localAdmin4Octets() const noexcept { return static_cast<std::uint32_t>(value_); }

  // The 0x40 bit of the type octet; a transitive community has it clear.
  static constexpr std::uint64_t transitiveFlag = 0x4000000000000000;
  constexpr bool transitive() const noexcept { return (value_ & transitiveFlag) == 0; }

  // Reads a whole text of the form below.
  VELBGP_EXPORT static ExtCommContent strepToValue(std::string_view text);

  friend constexpr auto operator<=>(const ExtCommContent&, const ExtCommContent&) noexcept = default;

 private:
  std::uint64_t value_ = 0;
};

// "0x" and 16 lower-case hex digits; the stream's formatting flags neither matter nor change.
VELBGP_EXPORT std::string valueToStrep(const ExtCommContent& content);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtCommContent& content);
// Takes that text from the front of the range; throws Tyr::ParseException, and nothing is changed, if there is none.
VELBGP_EXPORT void strepToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, ExtCommContent* content);

// What objects of one content are looked up by.
template <typename Traits>
class VELBGP_EXPORT InternedExtCommContent : public Keel::DedupContentHandle {
 public:
  explicit InternedExtCommContent(const typename Traits::Content& content) noexcept : content_(content) {}
  std::uint32_t hash() const override { return Traits::hashOf(content_); }
  const typename Traits::Content& content() const noexcept { return content_; }

 private:
  typename Traits::Content content_;
};

// What ExtComm and ExtCommIp6 (VelBgp/ExtCommIp6.h) are: an object of one content, and the classification that it was
// decoded to. Traits tell the names of the class, of its content, of its table and of its type octet's enumeration with
// the unknown member, the content's hash, and how the table's rule decodes.
template <typename Traits>
class VELBGP_EXPORT InternedExtComm : public Keel::DedupHandleBase {
 public:
  using Content = typename Traits::Content;
  using Ptr = Tyr::Ptr<typename Traits::Comm>;
  using PtrConst = Tyr::Ptr<const typename Traits::Comm>;

  std::uint32_t hash() const override { return Traits::hashOf(content_); }
  // By content alone. Deliberate: the classification follows from the content, so it takes no part.
  bool compare(const Keel::DedupHandleBase* other) const override {
    return static_cast<const InternedExtComm*>(other)->content_ == content_;
  }
  // `content` is an InternedExtCommContent.
  bool compareByContent(const Keel::DedupContentHandle& content) const override {
    return static_cast<const InternedExtCommContent<Traits>&>(content).content() == content_;
  }

  // Unspecified here, the subtype octet in the subtyped class and its heirs.
  virtual BgpExtCommPktSubtype pktSubtype() const { return BgpExtCommPktSubtype(); }
  // The debugging form, "<...>". The stream's formatting state is left as it was.
  virtual void formatDerivedType(std::ostream& stream) const = 0;

  // A content of one word comes as a copy.
  std::conditional_t<sizeof(Content) <= sizeof(void*), Content, const Content&> getContent() const noexcept {
    return content_;
  }
  ExtCommClassification classification() const noexcept { return ExtCommClassification(userDataOctet(0)); }
  // The enumeration's unknown member for a type octet that is none of the others.
  typename Traits::PktType pktType() const noexcept {
    const auto type = typename Traits::PktType(content_.typeOctet());
    return bgpIsValidEnumMember(type) ? type : Traits::unknownPktType;
  }

  // What the stream operator prints.
  std::string toStrep() const;
  // The subtype's name; "none" for types that have no subtypes, "unspecified" for objects that have none.
  void formatSubtype(std::ostream& stream) const;

  // The one interned object of this value: found, or decoded by the table's root rule and inserted. Never null.
  static PtrConst dedupContent(const typename Traits::Table* table, const Content& content);

  // Writes the community as a record.
  Store::Reference stash(Store::WriteBatch* batch) const;

 protected:
  InternedExtComm(ExtCommClassification classification, const Content& content) noexcept : content_(content) {
    userDataIs(classification);
  }
  ~InternedExtComm() override = default;

  static PtrConst dedupHashed(const typename Traits::Table* table, const Content& content, std::uint32_t hash);

 private:
  const Content content_;
};

struct VELBGP_EXPORT ExtCommTraits {
  using Comm = ExtComm;
  using Content = ExtCommContent;
  using Table = ExtCommDedupTable;
  using PktType = BgpExtCommPktType;
  static constexpr PktType unknownPktType = extCommPktTypeUnknown;

  static std::uint32_t hashOf(const Content& content) noexcept;
  static Tyr::Ptr<const Comm> decode(const BgpParseExtendedCommunityRule& rule, const Content& content);
};
extern template class InternedExtCommContent<ExtCommTraits>;
extern template class InternedExtComm<ExtCommTraits>;

using ExtCommDedupContent = InternedExtCommContent<ExtCommTraits>;

class VELBGP_EXPORT ExtComm : public InternedExtComm<ExtCommTraits> {
 public:
#define ROUTING_BGP_EXT_COMM_STREP_FORMAT_FLAGS(FLAG) \
  FLAG(strepFormatDefault)                            \
  FLAG(strepFormatClassification)                     \
  FLAG(strepFormatUI) FLAG(strepFormatJson) FLAG(strepFormatAsdot) FLAG(strepFormatLinkBwWeighted)
  // Options of the text forms: six flags in one octet.
  class StrepFormat {
    TYR_FLAG_SET(StrepFormat, "Routing::Bgp::ExtComm::StrepFormat", ROUTING_BGP_EXT_COMM_STREP_FORMAT_FLAGS)

   public:
    // Both bits: the form that show commands print.
    constexpr bool classificationAndUI() const noexcept { return strepFormatClassification() && strepFormatUI(); }
  };
#undef ROUTING_BGP_EXT_COMM_STREP_FORMAT_FLAGS

  ExtComm(ExtCommClassification classification, const ExtCommContent& content) noexcept
      : InternedExtComm(classification, content) {}

  const Tyr::FwkType& fwkType() const override;

 protected:
  ~ExtComm() override = default;

 public:
  void formatDerivedType(std::ostream& stream) const override;
  // The policy and UI form. Generic communities have a text only with the classification and UI bits together.
  virtual std::string toStrepForPolicy(StrepFormat format) const;
  virtual bool isValid() const { return true; }
  // Deliberate: the smaller value is the better one, here and for link bandwidth. `other` is not null.
  virtual bool isBetterThan(const PtrConst& other) const;
  virtual bool isLinkBandwidth() const { return false; }
  virtual bool isLinkBandwidthWithUnspecifiedAsNumber() const { return false; }
  // The kind's UI text is the text that route policy matches.
  virtual bool policyMatchStrepUI() const { return false; }

  // The eight octets as a number, the first one most significant.
  std::uint64_t community() const noexcept { return getContent().value(); }

  // The subtype's name under the community's own type, or "subtype=" and the octet in decimal. Each asserts that it is
  // asked of its own type, and that there is a subtype.
#define EXT_COMM_SUBTYPE_STRING(type, pktSubtypeString, PktSubtype) std::string pktSubtypeString() const;
#include "VelBgp/ExtCommSubtypeStrings.def"

  // "0x" and 16 hex digits.
  void formatCommunityValue(std::ostream& stream) const;
  // toStrepForPolicy with the classification and UI bits and those asked for.
  std::string toStrepForUI(bool asdot, bool linkBwWeighted, bool json) const;

  // dedupContent of each of n values, with the table's memory fetched ahead; sink(index, PtrConst) gets the results.
  template <typename Sink>
  static void dedupContents(const ExtCommDedupTable* table, const std::uint64_t* values, std::uint32_t n, Sink&& sink);

  // Where a table puts this content: by the secret key of this process (Keel/HashMix.h).
  static std::uint32_t hashOf(const ExtCommContent& content) noexcept { return ExtCommTraits::hashOf(content); }

  // The community that a reference names, which lies in memory at any address: interned in the ExtCommDedupTable that
  // the store has as its service (Store::StoreManager::serviceIs). Without one a private object, decoded as by default,
  // that is in no table and never will be. Null for a null reference. Throws the store's exceptions. From one thread,
  // like all making and releasing of objects, unless the agent is multi-threaded (Tyr/Threading.h): readers too.
  static PtrConst destash(const void* stashed, Store::StoreManager* store);

 protected:
  // One bit of the user data is the AS-number kinds': which of the two layouts (its one member, kept in spare room).
  bool fourByteAsBit() const noexcept { return (userData() & fourByteAsMask) != 0; }
  void fourByteAsBitIs(bool fourByteAs) noexcept;

 private:
  static constexpr std::uint32_t fourByteAsMask = 1u << 8;
};

// A community whose second octet is a subtype; the kinds in VelBgp/Parse derive from it.
class VELBGP_EXPORT ExtCommSubtyped : public ExtComm {
 public:
  using ExtComm::ExtComm;
  const Tyr::FwkType& fwkType() const override;
  BgpExtCommPktSubtype pktSubtype() const override;

 protected:
  ~ExtCommSubtyped() override = default;
};
static_assert(sizeof(ExtComm) == 32 && sizeof(ExtCommSubtyped) == sizeof(ExtComm));

// New, never deduped, notification-active objects.
VELBGP_EXPORT ExtComm::PtrConst extCommFactory(ExtCommClassification classification, const ExtCommContent& content);
VELBGP_EXPORT ExtComm::PtrConst ExtCommIs(ExtCommClassification classification, const ExtCommContent& content);
VELBGP_EXPORT ExtComm::PtrConst ExtCommSubtypedIs(ExtCommClassification classification, const ExtCommContent& content);

// The debugging form; "NULL" for a null pointer.
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtComm* extComm);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const ExtComm& extComm);

// The type prefix of UI texts: type octet without its 0x40 bit and subtype octet in hex, `text`, "(NT)" if not
// transitive. Deliberate: the 0x40 bit shows only as "(NT)", never in the digits.
VELBGP_EXPORT void addExtCommTypeAsString(Tyr::DynamicBufferInterface& buffer, const char* text, std::uint8_t typeOctet,
                                          std::uint8_t subtypeOctet, bool transitive);
VELBGP_EXPORT std::string extCommTypeAsString(const char* text, std::uint8_t typeOctet, std::uint8_t subtypeOctet,
                                              bool transitive);

// Keeps a NotifyingRouteTargetList equal to the set of interned route targets.
class VELBGP_EXPORT ExtCommLifeTimeNotifiee final : public Keel::DedupLifeTimeNotifiee {
 public:
  explicit ExtCommLifeTimeNotifiee(NotifyingRouteTargetList::Ptr list) noexcept : list_(std::move(list)) {}
  void handleInsert(Keel::DedupHandleBase* handle) override;
  void handleRemove(Keel::DedupHandleBase* rawHandle) override;
  void handleNotificationStop(Keel::DedupHashTable* table) override;
  bool wantsToHearOf(Keel::DedupHandleBase& handle) noexcept override;

 private:
  ~ExtCommLifeTimeNotifiee() override = default;

  const NotifyingRouteTargetList::Ptr list_;
};

// A hash table of communities and the root rule that decodes them, which it keeps alive. One per agent. Communities may
// outlive it; they are then in no table (Keel/DedupHashTable.h).
class VELBGP_EXPORT ExtCommDedupTableBase : public Tyr::PtrInterface {
 public:
  Keel::DedupHashTable& dedupTable() const noexcept { return *dedupTable_; }
  const BgpParseExtendedCommunityRule* parseExtCommRule() const noexcept { return parseExtCommRule_.get(); }
  // Distinct communities that are interned now.
  std::size_t size() const { return dedupTable_->size(); }
  // The hash table's.
  std::uint16_t number() const noexcept { return number_; }

  void dumpState(Keel::DumpContext& context, std::uint32_t indent) const;

 protected:
  // `name` shows in dumps. Throws Tyr::NullArgumentException without a rule.
  ExtCommDedupTableBase(const char* name, Tyr::Ptr<const BgpParseExtendedCommunityRule> parseExtCommRule);
  ~ExtCommDedupTableBase() override;

  Tyr::Ptr<Keel::DedupHashTable> dedupTable_;

 private:
  std::uint16_t number_ = 0;
  const Tyr::Ptr<const BgpParseExtendedCommunityRule> parseExtCommRule_;
};

// What a content keeps of the table that its values are to be interned in. Counting itself on the table would cost more
// than a lookup that hits; so it keeps the table's number, and a table that is null or gone stops the process when it is
// needed.
template <typename Table>
class TableAddress {
 public:
  explicit TableAddress(const Table* table) noexcept
      : table_(table), number_(table == nullptr ? std::uint16_t{0} : table->number()) {}
  const Table* get() const noexcept {
    Keel::tableAt(table_);
    TYR_ASSERT_ADVICE(
        Keel::DedupHashTable::isAlive(number_),
        "a content is used after its table of communities is gone: keep the table as long as the content");
    return table_;
  }
  const Table* operator->() const noexcept { return get(); }

 private:
  const Table* table_;
  std::uint16_t number_;
};

class VELBGP_EXPORT ExtCommDedupTable final : public ExtCommDedupTableBase {
 public:
  using Ptr = Tyr::Ptr<ExtCommDedupTable>;
  using PtrConst = Tyr::Ptr<const ExtCommDedupTable>;

  explicit ExtCommDedupTable(Tyr::Ptr<const BgpParseExtendedCommunityRule> parseExtCommRule);

  // The values of the route targets that are interned now.
  const NotifyingRouteTargetList::Ptr& producerRtList() const noexcept { return producerRtList_; }
  const Tyr::Ptr<ExtCommLifeTimeNotifiee>& lifeTimeNotifiee() const noexcept { return lifeTimeNotifiee_; }

 private:
  ~ExtCommDedupTable() override;

  const NotifyingRouteTargetList::Ptr producerRtList_;
  const Tyr::Ptr<ExtCommLifeTimeNotifiee> lifeTimeNotifiee_;
};

template <typename Sink>
void ExtComm::dedupContents(const ExtCommDedupTable* table, const std::uint64_t* values, std::uint32_t n, Sink&& sink) {
  // Three passes over a block, so that the memory of all its lookups is under way before the first one waits for it.
  constexpr std::uint32_t block = 64;
  std::array<std::uint32_t, block> hashes;
  const Keel::DedupHashTable& dedupTable = Keel::tableAt(table).dedupTable();
  for (std::uint32_t first = 0; first < n; first += block) {
    const std::uint32_t count = std::min(block, n - first);
    for (std::uint32_t i = 0; i < count; ++i) {
      hashes[i] = hashOf(ExtCommContent(values[first + i]));
      dedupTable.prefetchBucket(hashes[i]);
    }
    for (std::uint32_t i = 0; i < count; ++i) dedupTable.prefetchEntry(hashes[i]);
    for (std::uint32_t i = 0; i < count; ++i) {
      sink(first + i, dedupHashed(table, ExtCommContent(values[first + i]), hashes[i]));
    }
  }
}

// To call one of these, or the constructor, include VelBgp/Parse/ExtCommContainer.h too: the rule comes from there, and
// its class, which a copy of the pointer needs complete, is only declared here.
VELBGP_EXPORT ExtCommDedupTable::Ptr extCommDedupTableFactory(Tyr::Ptr<const BgpParseExtendedCommunityRule> rule);
VELBGP_EXPORT ExtCommDedupTable::Ptr ExtCommDedupTableIs(Tyr::Ptr<const BgpParseExtendedCommunityRule> rule);

}  // namespace Routing::Bgp

template <>
struct std::hash<Routing::Bgp::ExtCommContent> {
  std::size_t operator()(const Routing::Bgp::ExtCommContent& content) const noexcept {
    return Routing::Bgp::ExtComm::hashOf(content);
  }
};
