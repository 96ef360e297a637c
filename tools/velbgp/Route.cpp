#include "tools/velbgp/Route.h"

#include <utility>

#include "VelBgp/ReceivedAttributes.h"

namespace VelBgpTool {

namespace {

using Code = RoutePath::Code;

// In the order of their codes; what is wrong with any of them is looked for in all paths.
struct JudgedAttribute {
  Code code;
  const char* name;
};
constexpr JudgedAttribute judgedAttributes[] = {
    {RoutePath::origin, "ORIGIN"},         {RoutePath::asPathCode, "AS_PATH"},        {RoutePath::nextHop, "NEXT_HOP"},
    {RoutePath::mpReach, "MP_REACH_NLRI"}, {RoutePath::mpUnreach, "MP_UNREACH_NLRI"},
};

constexpr const char* originTexts[] = {"IGP", "EGP", "INCOMPLETE"};

std::string wrongSize(Octets value, const char* expected) {
  return std::to_string(value.size()) + " octets, expected " + expected;
}

// The address that a next hop of any family begins with.
Octets firstAddress(Octets nextHop) {
  constexpr std::size_t distinguisher = 8;
  switch (nextHop.size()) {
    case 4:
    case 16:
      return nextHop;
    case 32:
      return nextHop.first(16);
    case 12:
      return nextHop.subspan(distinguisher);
    case 24:
    case 48:
      return nextHop.subspan(distinguisher, 16);
    default:
      return {};
  }
}

// In a RIB attribute 14 is often its next hop alone, behind its length (RFC 6396, 4.3.4).
bool isAbbreviated(Octets reach) { return !reach.empty() && reach[0] == reach.size() - 1; }

}  // namespace

const char* textOf(Route::Type type) {
  constexpr const char* texts[] = {"rib", "announce", "withdraw"};
  return texts[static_cast<std::size_t>(type)];
}

RouteFacts factsOf(const Route& route) {
  if (route.path == nullptr) return {};
  RoutePath& path = *route.path;
  const bool hasAsPath = path.good(RoutePath::asPathCode);
  return {hasAsPath, hasAsPath ? path.asPathText() : std::string_view(),
          path.good(RoutePath::origin) ? path.originText() : nullptr, route.nextHop, path.lists};
}

bool MpField::reachIs(Octets attribute) {
  *this = {};
  Cursor rest(attribute);
  std::uint32_t length = 0;
  const bool whole = rest.twoOctets(family.afi) && rest.octet(family.safi) && rest.octet(length) &&
                     rest.take(length, nextHop) && rest.skip(1);
  nlri = whole ? rest.rest() : Octets();
  return whole;
}

bool MpField::unreachIs(Octets attribute) {
  *this = {};
  Cursor rest(attribute);
  const bool whole = rest.twoOctets(family.afi) && rest.octet(family.safi);
  nlri = rest.rest();
  return whole;
}

void RoutePath::attributesAre(Octets block, const Form& form) {
  ++number_;
  form_ = form;
  seen_ = malformed_ = 0;
  lists = {};
  asPathRead_ = asPathWritten_ = false;
  Routing::Bgp::PathAttributeWalk walk(block);
  while (walk.next()) {
    const auto& attribute = walk.attribute();
    if (attribute.code > mostCode || has(attribute.code)) continue;
    seen_ |= std::uint64_t{1} << attribute.code;
    values_[attribute.code] = attribute.value;
  }
}

std::string RoutePath::judge(Code code) {
  if (!has(code)) return {};
  std::string fault = faultOf(code);
  if (!fault.empty()) malformed_ |= std::uint64_t{1} << code;
  return fault;
}

std::string RoutePath::faultOf(Code code) const {
  const Octets octets = value(code);
  switch (code) {
    case origin:
      if (octets.size() != 1) return wrongSize(octets, "1");
      return octets[0] < std::size(originTexts) ? ""
                                                : "a value of " + std::to_string(octets[0]) + ", expected 0, 1 or 2";
    case asPathCode:
      return AsPath::wellFormed(octets, form_.fourOctetAs ? 4 : 2)
                 ? ""
                 : "segments that are unknown, empty or cut off, expected whole ones of the types 1 to 4";
    case nextHop:
      return octets.size() == 4 ? "" : wrongSize(octets, "4");
    case mpReach:
      return mpReachFault();
    case mpUnreach:
      return mpUnreachFault();
    default:
      return {};
  }
}

std::string RoutePath::mpReachFault() const {
  const Octets octets = value(mpReach);
  MpField field;
  if (field.reachIs(octets)) {
    if (form_.rib || !field.family.hasPrefixes()) return {};
    return nlriFault(field.nlri, form_.pathIds, field.family.mostBits());
  }
  // In a RIB the octet behind the next hop may be missing like all that follows.
  const bool whole = form_.rib && (isAbbreviated(octets) || (octets.size() >= 4 && octets.size() == 4U + octets[3]));
  return whole ? "" : wrongSize(octets, "a family, a next hop and NLRI");
}

std::string RoutePath::mpUnreachFault() const {
  MpField field;
  if (!field.unreachIs(value(mpUnreach))) return wrongSize(value(mpUnreach), "a family and NLRI");
  if (form_.rib || !field.family.hasPrefixes()) return {};
  return nlriFault(field.nlri, form_.pathIds, field.family.mostBits());
}

Octets RoutePath::mpNextHop() const {
  const Octets octets = value(mpReach);
  if (form_.rib && isAbbreviated(octets)) return firstAddress(octets.subspan(1));
  MpField field;
  field.reachIs(octets);
  return firstAddress(field.nextHop);
}

// Whether AS4_PATH tells more than AS_PATH: not where somebody put an AS of two octets into AGGREGATOR, who does not
// know AS4_PATH and has left the one of somebody else standing.
bool RoutePath::as4PathCounts() const {
  if (!form_.mergesAs4 || !has(as4Path)) return false;
  constexpr std::size_t leastAs4Path = 6;
  if (value(as4Path).size() < leastAs4Path || !AsPath::wellFormed(value(as4Path), 4)) return false;
  const bool aggregated = value(aggregator).size() == 6 && value(as4Aggregator).size() == 8;
  return !aggregated || bigEndian(value(aggregator).first(2)) == asTrans;
}

const AsPath& RoutePath::asPath() {
  if (!asPathRead_) {
    asPathRead_ = true;
    asPath_.attributeIs(value(asPathCode), form_.fourOctetAs ? 4 : 2);
    if (as4PathCounts()) asPath_.as4PathIs(value(as4Path));
  }
  return asPath_;
}

std::string_view RoutePath::asPathText() {
  if (!asPathWritten_) {
    asPathWritten_ = true;
    asPathText_.clear();
    asPath().appendTo(asPathText_);
  }
  return asPathText_;
}

const char* RoutePath::originText() const { return originTexts[value(origin)[0]]; }

void RouteWalk::recordIs(const MrtRecord& record, std::uint64_t offset) {
  attribute_ = 0;
  if (record.form() == MrtRecord::Form::rib) return ribIs(record, offset);
  if (record.form() == MrtRecord::Form::update) return updateIs(record, offset);
  if (record.form() == MrtRecord::Form::stateChange) sink_.stateChangeIs(record);
}

void RouteWalk::malformedIs(const MrtHeader& header, Octets body) { sink_.oldStateChangeIs(header, body); }

void RouteWalk::ribIs(const MrtRecord& record, std::uint64_t offset) {
  MrtEntries entries = record.entries();
  const Family family{entries.afi(), entries.safi()};
  const bool isDump = record.header().isTableDump();
  const RoutePath::Form form{true, !isDump, isDump, false};
  std::uint32_t number = 0;
  for (MrtEntry entry; sink_.wantsMore() && entries.next(entry); ++number) {
    pathIs(record, number, entry.attributes, form, offset);
    Route route{Route::Type::rib,
                {entry.time},
                entry.peer,
                false,
                {family, family.hasPrefixes(), entries.pathIds(), {entry.pathId, entry.bits, entry.nlri}},
                &path_,
                path_.ribNextHop(),
                false,
                &record};
    sink_.routeIs(route);
  }
}

void RouteWalk::updateIs(const MrtRecord& record, std::uint64_t offset) {
  if (!fieldsAreWhole(record, offset)) return;
  const MrtMessage& message = record.message();
  pathIs(record, 0, message.attributes, {false, message.fourOctetAs, !message.fourOctetAs, message.addPath}, offset);
  Route route{Route::Type::withdraw, record.receivedAt(), message.peer, message.local, {}, nullptr, {}, false, &record};
  route.target.hasPathId = message.addPath;
  fieldIs(route, message.withdrawn);
  MpField field;
  if (isRead(RoutePath::mpUnreach) && (field.unreachIs(path_.value(RoutePath::mpUnreach)) || lenient_)) {
    attributeIs(route, field);
  }
  route.type = Route::Type::announce;
  route.path = &path_;
  route.nextHop = path_.ownNextHop();
  fieldIs(route, message.announced);
  if (isRead(RoutePath::mpReach) && (field.reachIs(path_.value(RoutePath::mpReach)) || lenient_)) {
    route.nextHop = path_.mpNextHop();
    attributeIs(route, field);
  }
}

bool RouteWalk::isRead(RoutePath::Code code) const { return lenient_ ? path_.has(code) : path_.good(code); }

// Whether both fields of prefixes can be read; the record is malformed if not.
bool RouteWalk::fieldsAreWhole(const MrtRecord& record, std::uint64_t offset) {
  const MrtMessage& message = record.message();
  constexpr std::uint32_t mostBits = 32;
  const char* field = "its withdrawn routes: ";
  std::string fault = nlriFault(message.withdrawn, message.addPath, mostBits);
  if (fault.empty()) {
    field = "its NLRI: ";
    fault = nlriFault(message.announced, message.addPath, mostBits);
  }
  if (fault.empty()) return true;
  sink_.faultIs(offset, record.header().text() + field + fault);
  return false;
}

void RouteWalk::pathIs(const MrtRecord& record, std::uint32_t number, Octets block, const RoutePath::Form& form,
                       std::uint64_t offset) {
  path_.attributesAre(block, form);
  const auto& attributes = record.attributes();
  for (; attribute_ < attributes.size() && attributes[attribute_].path == number; ++attribute_) {
    const CommunityAttribute& attribute = attributes[attribute_];
    if (attribute.wellFormed) {
      path_.lists[attribute.kind] = attribute.value;
    } else {
      sink_.faultIs(offset, faultOf(attribute));
    }
  }
  for (const JudgedAttribute& judged : judgedAttributes) {
    const std::string fault = path_.judge(judged.code);
    if (fault.empty()) continue;
    sink_.faultIs(offset, std::string("the ") + judged.name + " attribute of path " + std::to_string(number + 1) +
                              " of the record: " + fault);
  }
}

void RouteWalk::fieldIs(Route& route, Octets field) {
  route.target.family = {Family::ip4, 1};
  route.ofAttribute = false;
  prefixesAre(route, field);
}

void RouteWalk::attributeIs(Route& route, const MpField& field) {
  route.target.family = field.family;
  route.ofAttribute = true;
  if (readsPrefixes(field.family)) return prefixesAre(route, field.nlri);
  if (field.nlri.empty() || !sink_.wantsMore()) return;
  const bool pathIds = std::exchange(route.target.hasPathId, false);  // they stay inside
  route.target.isPrefix = false;
  route.target.nlri = {0, 0, field.nlri};
  sink_.routeIs(route);
  route.target.hasPathId = pathIds;
}

void RouteWalk::prefixesAre(Route& route, Octets field) {
  RouteTarget& target = route.target;
  target.isPrefix = true;
  for (Cursor rest(field); sink_.wantsMore() && takeNlri(rest, target.hasPathId, target.nlri);) sink_.routeIs(route);
}

bool RouteWalk::readsPrefixes(Family family) const {
  constexpr std::uint32_t unicastAndMulticast = 3;
  if (family.hasPrefixes()) return true;
  return lenient_ && family.safi == unicastAndMulticast && (family.afi == Family::ip4 || family.afi == Family::ip6);
}

}  // namespace VelBgpTool
