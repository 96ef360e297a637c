#include "VelBgp/ExtCommIp6.h"

#include <limits>

#include "Policy/PosixRegex.h"
#include "Tyr/Exception.h"
#include "VelBgp/ExtCommIp6DedupTable.h"
#include "VelBgp/InternedExtCommImpl.h"
#include "VelBgp/Parse/ExtCommRule.h"

namespace Routing::Bgp {

// ---- The value

namespace {

// The administrators, with what the form writes around the local one.
void appendAdmins(Tyr::DynamicBufferInterface& buffer, const ExtCommIp6Content& content, std::string_view between) {
  content.addr().appendTo(buffer);
  buffer.append(between);
  buffer.appendDecimal(content.localAdmin());
}

void appendContent(Tyr::DynamicBufferInterface& buffer, const ExtCommIp6Content& content) {
  buffer.append("type=");
  buffer.append(static_cast<char>(content.type()));
  buffer.append(";subtype=");
  buffer.append(static_cast<char>(content.subtype()));
  buffer.append(";addr=");
  appendAdmins(buffer, content, ";localAdmin=");
}

// The octet behind a label.
std::uint8_t readOctet(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, std::string_view label) {
  Tyr::expectText(it, end, label);
  if (it == end) throw Tyr::ParseException("the text ends before the octet behind \"" + std::string(label) + "\"");
  return static_cast<std::uint8_t>(*it++);
}

// An address has no ";": it ends where the next label begins.
Addr::Ip6Addr readAddr(Tyr::StrepIterator& it, const Tyr::StrepIterator& end) {
  Tyr::expectText(it, end, ";addr=");
  const Tyr::StrepIterator behind = std::find(it, end, ';');
  const Addr::Ip6Addr addr(std::string_view(it, static_cast<std::size_t>(behind - it)));
  it = behind;
  return addr;
}

ExtCommIp6Content readContent(Tyr::StrepIterator& it, const Tyr::StrepIterator& end) {
  Tyr::StrepIterator next = it;
  ExtCommIp6Content content;
  content.typeIs(readOctet(next, end, "type="));
  content.subtypeIs(readOctet(next, end, ";subtype="));
  content.addrIs(readAddr(next, end));
  Tyr::expectText(next, end, ";localAdmin=");
  constexpr std::uint16_t max = std::numeric_limits<std::uint16_t>::max();
  content.localAdminIs(static_cast<std::uint16_t>(Tyr::readUnsigned(next, end, max)));
  it = next;
  return content;
}

}  // namespace

ExtCommIp6Content::ExtCommIp6Content(Tyr::StrepIterator& it, const Tyr::StrepIterator& end)
    : ExtCommIp6Content(readContent(it, end)) {}

ExtCommIp6Content ExtCommIp6Content::strepToValue(std::string_view text) { return Tyr::readWhole(text, readContent); }

void strepToValue(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, ExtCommIp6Content* content) {
  *content = readContent(it, end);
}

std::uint32_t ExtCommIp6Content::hash() const noexcept {
  Keel::HashMix mix;
  mix.mixBytes1(type_);
  mix.mixBytes1(subtype_);
  for (unsigned index = 0; index < 4; ++index) mix.mixBytes4(addr_.word(index));
  mix.mixBytes2(localAdmin_);
  return mix.value();
}

std::string valueToStrep(const ExtCommIp6Content& content) {
  Tyr::DynamicBuffer<> buffer;
  appendContent(buffer, content);
  return buffer.str();
}

std::ostream& operator<<(std::ostream& stream, const ExtCommIp6Content& content) {
  Tyr::DynamicBuffer<> buffer;
  appendContent(buffer, content);
  writeText(stream, buffer.view());
  return stream;
}

// ---- The object

ExtCommIp6::PtrConst ExtCommIp6Traits::decode(const BgpParseExtendedCommunityRule& rule, const Content& content) {
  return rule.parseExtendedCommunityIp6(content);
}

template <>
inline constexpr Stashed stashedCommunityType<ExtCommIp6Traits> = Stashed::extCommIp6;

// In no unnamed namespace: templates look for it among the functions of our own.
static std::string subtypeText(const ExtCommIp6& extComm);

template class InternedExtCommContent<ExtCommIp6Traits>;
template class InternedExtComm<ExtCommIp6Traits>;

TYR_FWK_TYPE(ExtCommIp6, "Routing::Bgp::ExtCommIp6")
TYR_FWK_TYPE(ExtCommIp6Subtyped, "Routing::Bgp::ExtCommIp6Subtyped")

BgpExtCommPktSubtype ExtCommIp6Subtyped::pktSubtype() const { return BgpExtCommPktSubtype(getContent().subtype()); }

TYR_FACTORIES(ExtCommIp6::PtrConst, extCommIp6, ExtCommIp6,
              (ExtCommClassification classification, const ExtCommIp6Content& content), (classification, content))

ExtCommIp6::PtrConst ExtCommIp6SubtypedIs(ExtCommClassification classification, const ExtCommIp6Content& content) {
  return Tyr::make<ExtCommIp6Subtyped>(classification, content);
}

// ---- Subtype names

namespace {

// An assertion's text names the type with an ending of its own.
constexpr BgpExtCommIp6PktType extCommIp6PktTypeTransIpv6Address_ = extCommIp6PktTypeTransIpv6Address;
constexpr BgpExtCommIp6PktType extCommIp6PktTypeNonTransIpv6Address_ = extCommIp6PktTypeNonTransIpv6Address;

}  // namespace

std::string ExtCommIp6::pktSubtypeTransIpv6AddressAsString() const {
  TYR_ASSERT(extCommIp6PktTypeTransIpv6Address_ == pktType());
  TYR_ASSERT(!pktSubtype().isUnspecified());
  return extCommSubtypeString<BgpExtCommIp6PktSubtypeTransIpv6Address>(getContent().subtype());
}

std::string ExtCommIp6::pktSubtypeNonTransIpv6AddressAsString() const {
  TYR_ASSERT(extCommIp6PktTypeNonTransIpv6Address_ == pktType());
  TYR_ASSERT(!pktSubtype().isUnspecified());
  return extCommSubtypeString<BgpExtCommIp6PktSubtypeNonTransIpv6Address>(getContent().subtype());
}

static std::string subtypeText(const ExtCommIp6& extComm) {
  if (extComm.pktSubtype().isUnspecified()) return "unspecified";
  switch (extComm.pktType()) {
    case extCommIp6PktTypeTransIpv6Address:
      return extComm.pktSubtypeTransIpv6AddressAsString();
    case extCommIp6PktTypeNonTransIpv6Address:
      return extComm.pktSubtypeNonTransIpv6AddressAsString();
    default:
      return "none";
  }
}

// ---- Text forms

void ExtCommIp6::formatDerivedType(std::ostream& stream) const {
  writeAppended(stream, [this](auto& buffer) {
    appendTypeAndSubtype(buffer, *this);
    buffer.append(" addr=");
    appendAdmins(buffer, getContent(), " localAdmin=");
    buffer.append('>');
  });
}

std::string ExtCommIp6::toStrepForPolicy(StrepFormat format) const {
  Tyr::DynamicBuffer<80> buffer;
  if (format.classificationAndUI()) {
    const ExtCommIp6Content& content = getContent();
    addExtCommTypeAsString(buffer, "-IP6", content.type(), content.subtype(), content.transitive());
    buffer.append(':');
  }
  appendAdmins(buffer, getContent(), ":");
  return buffer.str();
}

bool matchExtCommIp6(const ExtCommIp6* comm, const RouteMap::PosixRegex* regex) {
  const RouteMap::PosixRegex& expression = RouteMap::expressionAt(regex);
  ExtCommIp6::StrepFormat format;
  format.strepFormatClassificationIs(true);
  return expression.execute(comm->toStrepForPolicy(format)) == 0;
}

std::ostream& operator<<(std::ostream& stream, const ExtCommIp6* extComm) { return writeDebugText(stream, extComm); }
std::ostream& operator<<(std::ostream& stream, const ExtCommIp6& extComm) { return stream << &extComm; }

// ---- In a store

ExtCommIp6::PtrConst ExtCommIp6::destash(const void* stashed, Store::StoreManager* store) {
  if (namesNothing(stashed)) return nullptr;
  StashReader reader(stashed, *store, Stashed::extCommIp6);
  const ExtCommClassification classification = reader.takeClassification();
  const auto content = reader.take<ExtCommIp6Content>();
  reader.requireEnd();
  const auto made = boost::const_pointer_cast<ExtCommIp6>(extCommIp6Factory(classification, content));
  made->notInTableIs();
  return made;
}

// ---- The table

ExtCommIp6DedupTable::ExtCommIp6DedupTable(BgpParseExtendedCommunityRule::PtrConst parseExtCommRule)
    : ExtCommDedupTableBase("ExtCommIp6DedupTable", std::move(parseExtCommRule)) {}

TYR_FACTORIES(ExtCommIp6DedupTable::Ptr, extCommIp6DedupTable, ExtCommIp6DedupTable,
              (BgpParseExtendedCommunityRule::PtrConst rule), (std::move(rule)))

}  // namespace Routing::Bgp
