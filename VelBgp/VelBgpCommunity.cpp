#include "VelBgp/VelBgpCommunity.h"

#include "BgpCommon/BgpHashMixImpl.h"
#include "Tyr/Exception.h"
#include "VelBgp/InternedExtCommImpl.h"
#include "VelBgp/Parse/ExtComm.h"
#include "VelBgp/Parse/ExtCommContainer.h"

namespace Routing::Bgp {

// ---- The value

std::string valueToStrep(const ExtCommContent& content) {
  Tyr::DynamicBuffer<32> buffer;
  appendContent(buffer, content);
  return buffer.str();
}

std::ostream& operator<<(std::ostream& stream, const ExtCommContent& content) {
  writeAppended(stream, [&content](auto& buffer) { appendContent(buffer, content); });
  return stream;
}

void strepToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, ExtCommContent* content) {
  *content = ExtCommContent(Tyr::readHex64(it, end));
}

ExtCommContent ExtCommContent::strepToValue(std::string_view text) {
  return ExtCommContent(Tyr::readWhole(text, Tyr::readHex64));
}

// ---- The object

std::uint32_t ExtCommTraits::hashOf(const Content& content) noexcept { return singleAttributeHash(content.value(), 0); }

ExtComm::PtrConst ExtCommTraits::decode(const BgpParseExtendedCommunityRule& rule, const Content& content) {
  return rule.parseExtendedCommunity(content);
}

template <>
inline constexpr Stashed stashedCommunityType<ExtCommTraits> = Stashed::extComm;

template class InternedExtCommContent<ExtCommTraits>;
template class InternedExtComm<ExtCommTraits>;

TYR_FWK_TYPE(ExtComm, "Routing::Bgp::ExtComm")
TYR_FWK_TYPE(ExtCommSubtyped, "Routing::Bgp::ExtCommSubtyped")

BgpExtCommPktSubtype ExtCommSubtyped::pktSubtype() const { return BgpExtCommPktSubtype(getContent().subtypeOctet()); }

bool ExtComm::isBetterThan(const PtrConst& other) const {
  TYR_ASSERT(other != nullptr);
  return getContent() < other->getContent();
}

void ExtComm::fourByteAsBitIs(bool fourByteAs) noexcept {
  userDataIs(fourByteAs ? userData() | fourByteAsMask : userData() & ~fourByteAsMask);
}

TYR_FACTORIES(ExtComm::PtrConst, extComm, ExtComm,
              (ExtCommClassification classification, const ExtCommContent& content), (classification, content))

ExtComm::PtrConst ExtCommSubtypedIs(ExtCommClassification classification, const ExtCommContent& content) {
  return Tyr::make<ExtCommSubtyped>(classification, content);
}

// ---- Subtype names

namespace {

// An assertion's text names the type with an ending of its own.
#define EXT_COMM_SUBTYPE_STRING(type, pktSubtypeString, PktSubtype) constexpr BgpExtCommPktType type##_ = type;
#include "VelBgp/ExtCommSubtypeStrings.def"

}  // namespace

#define EXT_COMM_SUBTYPE_STRING(type, pktSubtypeString, PktSubtype)       \
  std::string ExtComm::pktSubtypeString() const {                         \
    TYR_ASSERT(type##_ == pktType());                                     \
    TYR_ASSERT(!pktSubtype().isUnspecified());                            \
    return extCommSubtypeString<PktSubtype>(getContent().subtypeOctet()); \
  }
#include "VelBgp/ExtCommSubtypeStrings.def"

std::string subtypeText(const ExtComm& extComm) {
  if (extComm.pktSubtype().isUnspecified()) return "unspecified";
  switch (extComm.pktType()) {
#define EXT_COMM_SUBTYPE_STRING(type, pktSubtypeString, PktSubtype) \
  case type:                                                        \
    return extComm.pktSubtypeString();
#include "VelBgp/ExtCommSubtypeStrings.def"
    default:
      return "none";
  }
}

// ---- Text forms

void ExtComm::formatDerivedType(std::ostream& stream) const {
  writeAppended(stream, [this](auto& buffer) {
    appendTypeAndSubtype(buffer, *this);
    buffer.append(' ');
    appendValueAndClose(buffer, *this);
  });
}

void ExtComm::formatCommunityValue(std::ostream& stream) const { stream << getContent(); }

std::string ExtComm::toStrepForPolicy(StrepFormat format) const {
  if (!format.classificationAndUI()) return std::string();
  Tyr::DynamicBuffer<> buffer;
  appendTypePrefix(buffer, getContent(), "");
  for (unsigned index = 2; index < 8; ++index) {
    buffer.append(std::string_view(index == 2 ? ":0x" : " 0x"));
    buffer.appendHex(getContent().octet(index), 2);
  }
  return buffer.str();
}

std::string ExtComm::toStrepForUI(bool asdot, bool linkBwWeighted, bool json) const {
  StrepFormat format;
  format.strepFormatClassificationIs(true);
  format.strepFormatUIIs(true);
  format.strepFormatAsdotIs(asdot);
  format.strepFormatLinkBwWeightedIs(linkBwWeighted);
  format.strepFormatJsonIs(json);
  return toStrepForPolicy(format);
}

std::ostream& operator<<(std::ostream& stream, const ExtComm* extComm) { return writeDebugText(stream, extComm); }
std::ostream& operator<<(std::ostream& stream, const ExtComm& extComm) { return stream << &extComm; }

void addExtCommTypeAsString(Tyr::DynamicBufferInterface& buffer, const char* text, std::uint8_t typeOctet,
                            std::uint8_t subtypeOctet, bool transitive) {
  // Deliberate: whether a community is transitive shows in the mark alone, so both variants of a type look alike.
  buffer.appendHex(typeOctet & 0xbfu, 2);
  buffer.appendHex(subtypeOctet, 2);
  buffer.append(std::string_view(text));
  if (!transitive) buffer.append(std::string_view("(NT)"));
}

std::string extCommTypeAsString(const char* text, std::uint8_t typeOctet, std::uint8_t subtypeOctet, bool transitive) {
  Tyr::DynamicBuffer<32> buffer;
  addExtCommTypeAsString(buffer, text, typeOctet, subtypeOctet, transitive);
  return buffer.str();
}

// ---- In a store

namespace {

// For readers without a table. Rules are counted objects, so each thread has a decoder of its own.
ExtComm::PtrConst decodedPrivately(const ExtCommContent& content) {
  thread_local const Tyr::Ptr<BgpParseExtCommContainerSm> decoder = BgpParseExtCommContainerSmIs();
  const auto decoded = boost::const_pointer_cast<ExtComm>(decoder->extCommParser()->parseExtendedCommunity(content));
  decoded->notInTableIs();
  return decoded;
}

}  // namespace

ExtComm::PtrConst ExtComm::destash(const void* stashed, Store::StoreManager* store) {
  if (namesNothing(stashed)) return nullptr;
  StashReader reader(stashed, *store, Stashed::extComm);
  const ExtCommContent content(reader.take<std::uint64_t>());
  reader.takeClassification();  // follows from the value
  reader.requireEnd();
  const auto* const table = store->service<ExtCommDedupTable>();
  return table == nullptr ? decodedPrivately(content) : dedupContent(table, content);
}

// ---- The table

namespace {

const ExtComm* routeTargetOf(const Keel::DedupHandleBase* handle) noexcept {
  const auto* extComm = static_cast<const ExtComm*>(handle);
  return extComm->classification() == extCommClassificationRouteTarget ? extComm : nullptr;
}

}  // namespace

void ExtCommLifeTimeNotifiee::handleInsert(Keel::DedupHandleBase* handle) {
  const ExtComm* const extComm = routeTargetOf(handle);
  if (extComm == nullptr) return;
  const RouteTarget rt{extComm->community()};
  list_->watchedTable() == nullptr ? list_->rtIs(rt) : list_->comes(rt);
}

void ExtCommLifeTimeNotifiee::handleRemove(Keel::DedupHandleBase* rawHandle) {
  const ExtComm* const extComm = routeTargetOf(rawHandle);
  if (extComm == nullptr) return;
  const RouteTarget rt{extComm->community()};
  list_->watchedTable() == nullptr ? static_cast<void>(list_->rtDel(rt)) : list_->goes(rt);
}

void ExtCommLifeTimeNotifiee::handleNotificationStop(Keel::DedupHashTable* table) {
  if (table != nullptr && list_->watchedTable() == table) {
    list_->watchedTableIs(nullptr);
    table->forEach([this](const Keel::DedupHandleBase* handle) {
      if (const ExtComm* const extComm = routeTargetOf(handle)) list_->goes(RouteTarget{extComm->community()});
    });
  }
  list_->rtDelAll();
}

bool ExtCommLifeTimeNotifiee::wantsToHearOf(Keel::DedupHandleBase& handle) noexcept {
  return routeTargetOf(&handle) != nullptr && (list_->watchedTable() == nullptr || list_->isObserved());
}

ExtCommDedupTableBase::ExtCommDedupTableBase(const char* name, BgpParseExtendedCommunityRule::PtrConst parseExtCommRule)
    : parseExtCommRule_(std::move(parseExtCommRule)) {
  if (parseExtCommRule_ == nullptr) throw Tyr::NullArgumentException("parseExtCommRule");
  dedupTable_ = Tyr::make<Keel::DedupHashTable>(name);
  number_ = dedupTable_->number();
}

ExtCommDedupTableBase::~ExtCommDedupTableBase() = default;

void ExtCommDedupTableBase::dumpState(Keel::DumpContext& context, std::uint32_t indent) const {
  dedupTable_->dump(context, indent);
}

ExtCommDedupTable::ExtCommDedupTable(BgpParseExtendedCommunityRule::PtrConst parseExtCommRule)
    : ExtCommDedupTableBase("ExtCommDedupTable", std::move(parseExtCommRule)),
      producerRtList_(Tyr::make<NotifyingRouteTargetList>()),
      lifeTimeNotifiee_(Tyr::make<ExtCommLifeTimeNotifiee>(producerRtList_)) {
  dedupTable_->lifeTimeNotifieeIs(lifeTimeNotifiee_);
  producerRtList_->watchedTableIs(dedupTable_.get());
}

// The hash table goes first and tells the notifiee, which empties the list of route targets for its observers.
ExtCommDedupTable::~ExtCommDedupTable() { dedupTable_.reset(); }

TYR_FACTORIES(ExtCommDedupTable::Ptr, extCommDedupTable, ExtCommDedupTable,
              (BgpParseExtendedCommunityRule::PtrConst rule), (std::move(rule)))

}  // namespace Routing::Bgp
