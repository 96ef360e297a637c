#include "VelBgp/ValueText.h"

#include <algorithm>
#include <array>
#include <limits>

#include "Multipath/LinkBandwidth.h"
#include "VelBgp/LargeCommList.h"
#include "VelBgp/MakeValue.h"
#include "VelBgp/Parse/ExtCommContainer.h"
#include "VelBgp/Parse/ExtCommTunnelEncap.h"
#include "VelBgp/ValueTextTablesImpl.h"

namespace Routing::Bgp {

using namespace typing;

namespace {

// ---- Characters and pieces

constexpr std::uint32_t most16 = std::numeric_limits<std::uint16_t>::max();
constexpr std::uint32_t most32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::string_view blanks = " \t";
constexpr std::string_view outerBlanks = " \t\r";
constexpr std::string_view separators = " \t\r,";

constexpr bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }
constexpr char lower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; }
constexpr bool isLabelCharacter(char c) noexcept {
  return isDigit(c) || c == '-' || c == '_' || (lower(c) >= 'a' && lower(c) <= 'z');
}
constexpr bool isPrintable(char c) noexcept { return c == '\t' || (c >= ' ' && c <= '~'); }
// Below 16 for a hex digit.
constexpr unsigned hexDigit(char c) noexcept {
  if (isDigit(c)) return static_cast<unsigned>(c - '0');
  return lower(c) >= 'a' && lower(c) <= 'f' ? static_cast<unsigned>(lower(c) - 'a') + 10 : 16;
}

// As labels are compared: in any case, "-" and "_" alike.
constexpr char labelCharacter(char c) noexcept { return c == '_' ? '-' : lower(c); }
constexpr bool alike(std::string_view a, std::string_view b) noexcept {
  return std::ranges::equal(a, b, {}, labelCharacter, labelCharacter);
}

std::string_view trimmed(std::string_view text, std::string_view what) noexcept {
  const std::size_t first = text.find_first_not_of(what);
  if (first == text.npos) return text.substr(text.size());
  return text.substr(first, text.find_last_not_of(what) - first + 1);
}

constexpr std::string_view labelAtFront(std::string_view text) noexcept {
  const auto end = std::ranges::find_if_not(text, isLabelCharacter);
  return text.substr(0, static_cast<std::size_t>(end - text.begin()));
}

// A piece of the text as errors show it.
std::string shown(std::string_view piece) {
  constexpr std::size_t longest = 40;
  return std::string(piece.substr(0, longest)) + (piece.size() > longest ? "..." : "");
}

// ---- Well-known names

std::optional<std::uint32_t> namedValue(std::string_view text) noexcept {
  for (const Tyr::EnumRow& row : tyrEnumTable(BgpCommunityValue{}).rows) {
    if (alike(text, row.text)) return row.number;
  }
  const auto found = std::ranges::find_if(names, [text](const Name& name) { return alike(text, name.text); });
  return found == std::end(names) ? std::nullopt : std::optional(found->value);
}

// ---- Labels

// Null for all other text.
const Label* labelOf(std::string_view text) noexcept {
  const auto found = std::ranges::find_if(labels, [text](const Label& label) { return alike(text, label.text); });
  return found == std::end(labels) ? nullptr : &*found;
}

// ---- One text

using AnyRead = std::optional<AnyCommValue>;

// Four hex digits and what may stand behind them, as UI texts of communities without a kind begin.
struct TypePrefix {
  std::uint8_t type;
  std::uint8_t subtype;
  std::string_view form;   // "-AS", "-AS4", "-IP", "-IP6" or empty
  std::string_view value;  // behind the ":"
};

class Reading {
 public:
  explicit Reading(std::string_view text) noexcept : text_(text) {}

  AnyRead anyRead();
  ValueTextError takeError() { return std::move(error_); }

 private:
  struct Administrator {
    Encoding encoding;
    std::uint32_t number;  // or the IPv4 address
    Addr::Ip6Addr address;
    std::uint32_t local;
  };

  std::nullopt_t fail(std::string_view place, std::string problem, std::string expected);
  std::nullopt_t noCommunity(std::string_view text);

  std::optional<std::uint32_t> number(std::string_view digits, std::uint32_t most, const char* what,
                                      const char* instead = "");
  std::optional<std::uint32_t> asdot(std::string_view text, std::size_t dot);

  AnyRead trimmedRead(std::string_view text);
  AnyRead hex(std::string_view text);
  AnyRead plain(std::string_view text);
  AnyRead standard(std::string_view text, std::size_t colon);
  AnyRead large(std::string_view text, std::size_t first, std::size_t second);
  std::nullopt_t unlabelled(std::string_view text);

  AnyRead labelled(const Label& label, std::string_view text, std::string_view value);
  AnyRead administrated(const Label& label, std::string_view value);
  std::optional<Administrator> administrator(std::string_view text, unsigned encodings);
  bool admin(std::string_view text, unsigned encodings, Administrator& out);
  bool asNumber(std::string_view text, unsigned encodings, Administrator& out);
  AnyRead colored(std::string_view value);
  AnyRead tunnel(std::string_view value);
  AnyRead validation(std::string_view value);
  AnyRead bandwidth(std::string_view value);

  std::optional<TypePrefix> typePrefix(std::string_view text) const;
  AnyRead prefixed(const TypePrefix& prefix);
  AnyRead sixOctets(const TypePrefix& prefix);
  AnyRead debugging(std::string_view text);

  std::string_view text_;
  ValueTextError error_;
};

// What the text may mean: behind the labels that take any administrator, if that gives a value which is wanted.
std::vector<std::string> readingsOf(std::string_view text, bool (*wanted)(const AnyCommValue& value)) {
  std::vector<std::string> readings;
  for (const char* const label : {"rt ", "soo "}) {
    std::string labelledText = label + std::string(text.substr(0, 64));
    const AnyRead value = text.size() <= 64 ? Reading(labelledText).anyRead() : std::nullopt;
    if (value && wanted(*value)) readings.push_back(std::move(labelledText));
  }
  return readings;
}

bool anything(const AnyCommValue&) { return true; }

std::nullopt_t Reading::fail(std::string_view place, std::string problem, std::string expected) {
  error_.offset = static_cast<std::size_t>(place.data() - text_.data());
  error_.length = place.size();
  error_.problem = std::move(problem);
  error_.expected = std::move(expected);
  error_.readings.clear();
  return std::nullopt;
}

std::nullopt_t Reading::noCommunity(std::string_view text) {
  return fail(
      text, text.empty() ? "no text" : shown(text) + " is no community",
      "A:B, A:B:C, a well-known name, a label and its value (rt 65000:100), a printed form, or 0x and 8, 16, 24 "
      "or 40 hex digits");
}

AnyRead Reading::anyRead() {
  const std::string_view text = trimmed(text_, outerBlanks);
  const auto strange = std::ranges::find_if_not(text, isPrintable);
  if (strange == text.end()) return trimmedRead(text);
  return fail(text.substr(static_cast<std::size_t>(strange - text.begin()), 1), "an octet that is no printable ASCII",
              "a community");
}

AnyRead Reading::trimmedRead(std::string_view text) {
  if (text.starts_with("0x")) return hex(text);
  if (text.starts_with('<')) return debugging(text);
  if (const auto prefix = typePrefix(text)) return prefixed(*prefix);
  if (text.empty() || isDigit(text.front())) return plain(text);  // no label and no name begins so
  const std::string_view word = labelAtFront(text);
  if (word.size() == text.size()) {
    if (const auto value = namedValue(text)) return *value;
  }
  if (const Label* const label = labelOf(word)) return labelled(*label, text, text.substr(word.size()));
  constexpr std::string_view tunnelType = "tunnelType";
  if (alike(text.substr(0, tunnelType.size()), tunnelType)) return tunnel(text);
  return plain(text);
}

// ---- Numbers

std::optional<std::uint32_t> Reading::number(std::string_view digits, std::uint32_t most, const char* what,
                                             const char* instead) {
  if (digits.empty() || !std::ranges::all_of(digits, isDigit)) {
    return fail(digits, (digits.empty() ? "nothing" : shown(digits)) + " for " + what, "decimal digits");
  }
  std::uint64_t value = 0;
  for (const char digit : digits) value = std::min<std::uint64_t>(value * 10 + hexDigit(digit), most32 + 1ULL);
  if (value <= most) return static_cast<std::uint32_t>(value);
  return fail(digits, shown(digits) + " is too large for " + what, "at most " + std::to_string(most) + instead);
}

std::optional<std::uint32_t> Reading::asdot(std::string_view text, std::size_t dot) {
  const char* const what = "half of an AS";
  const auto high = number(text.substr(0, dot), most16, what);
  const auto low = high ? number(text.substr(dot + 1), most16, what) : std::nullopt;
  return low ? std::optional(*high << 16 | *low) : std::nullopt;
}

AnyRead Reading::hex(std::string_view text) {
  const std::string_view digits = text.substr(2);
  const auto wrong = std::ranges::find_if(digits, [](char c) { return hexDigit(c) > 15; });
  if (wrong != digits.end()) {
    return fail(digits.substr(static_cast<std::size_t>(wrong - digits.begin()), 1),
                shown(text) + " has something else than hex digits", "8, 16, 24 or 40 of them");
  }
  std::array<std::uint8_t, 20> octets{};
  for (std::size_t i = 0; i < std::min<std::size_t>(digits.size(), 40); ++i) {
    octets[i / 2] = static_cast<std::uint8_t>(octets[i / 2] << 4 | hexDigit(digits[i]));
  }
  const auto word = [&octets](std::size_t i) {
    return std::uint32_t{octets[i]} << 24 | std::uint32_t{octets[i + 1]} << 16 | std::uint32_t{octets[i + 2]} << 8 |
           octets[i + 3];
  };
  if (digits.size() == 8) return word(0);
  if (digits.size() == 16) return ExtCommContent(std::uint64_t{word(0)} << 32 | word(4));
  if (digits.size() == 24) return CommunityValue(word(0), word(4), word(8));
  if (digits.size() != 40) {
    return fail(text, shown(text) + " has " + std::to_string(digits.size()) + " hex digits",
                "8 (standard), 16 (extended), 24 (large) or 40 (extendedIp6)");
  }
  Addr::Ip6Addr::Octets address;
  std::copy_n(octets.data() + 2, address.size(), address.data());
  return ExtCommIp6Content(octets[0], octets[1], Addr::Ip6Addr(address), static_cast<std::uint16_t>(word(16)));
}

// ---- Without a label

AnyRead Reading::plain(std::string_view text) {
  const std::size_t first = text.find(':');
  if (first == text.npos || !isDigit(text[0])) return unlabelled(text);
  const std::size_t second = text.find(':', first + 1);
  const bool digits = text.find_first_not_of("0123456789:") == text.npos;
  if (second == text.npos) return digits ? standard(text, first) : unlabelled(text);
  const bool third = text.find(':', second + 1) != text.npos;
  const std::string_view behind = text.substr(first);
  if (third || second == first + 1 || behind.find_first_not_of("0123456789:") != text.npos) return unlabelled(text);
  return text.find_first_not_of("0123456789:.") == text.npos ? large(text, first, second) : unlabelled(text);
}

AnyRead Reading::standard(std::string_view text, std::size_t colon) {
  const char* const instead = "; large communities are A:B:C";
  const auto as = number(text.substr(0, colon), most16, "a standard community's AS", instead);
  const auto value =
      as ? number(text.substr(colon + 1), most16, "a standard community's number", instead) : std::nullopt;
  if (value) return *as << 16 | *value;
  error_.readings = readingsOf(text, anything);
  return std::nullopt;
}

AnyRead Reading::large(std::string_view text, std::size_t first, std::size_t second) {
  const std::string_view admin = text.substr(0, first);
  const std::size_t dot = admin.find('.');
  const auto as = dot == admin.npos ? number(admin, most32, "a large community's AS") : asdot(admin, dot);
  const char* const what = "a large community's number";
  const auto one = as ? number(text.substr(first + 1, second - first - 1), most32, what) : std::nullopt;
  const auto two = one ? number(text.substr(second + 1), most32, what) : std::nullopt;
  if (two) return CommunityValue(*as, *one, *two);
  return std::nullopt;
}

std::nullopt_t Reading::unlabelled(std::string_view text) {
  std::vector<std::string> readings = readingsOf(text, anything);
  if (readings.empty()) return noCommunity(text);
  fail(text, shown(text) + " does not say what it is", "");
  error_.readings = std::move(readings);
  return std::nullopt;
}

// ---- Behind a label

AnyRead Reading::labelled(const Label& label, std::string_view text, std::string_view value) {
  const std::string_view word = text.substr(0, text.size() - value.size());
  if (label.form == Form::gateway) {
    if (value.empty()) return defaultGateway();
    return fail(value, shown(value) + " behind " + shown(word), "nothing");
  }
  const bool parted = value.starts_with(':') || trimmed(value, blanks).size() < value.size();
  if (value.starts_with(':')) value.remove_prefix(1);
  value = trimmed(value, blanks);
  if (value.empty()) return fail(value, shown(word) + " without a value", shown(word) + " and its value");
  if (!parted) return noCommunity(text);
  switch (label.form) {
    case Form::color:
      return colored(value);
    case Form::tunnel:
      return tunnel(value);
    case Form::validation:
      return validation(value);
    case Form::bandwidth:
      return bandwidth(value);
    default:
      return administrated(label, value);
  }
}

AnyRead Reading::administrated(const Label& label, std::string_view value) {
  const auto found = administrator(value, label.encodings);
  if (!found) return std::nullopt;
  const auto local = static_cast<std::uint16_t>(found->local);
  switch (found->encoding) {
    case as2:
      return twoOctetAsContent(extCommPktTypeTransTwoOctetAs, label.subtype, static_cast<std::uint16_t>(found->number),
                               found->local);
    case as4:
      return fourOctetAsContent(extCommPktTypeTransFourOctetAs, label.subtype, found->number, local);
    case ip4:
      return fourOctetAsContent(extCommPktTypeTransIpv4Address, label.subtype, found->number, local);
    default:
      return ExtCommIp6Content(extCommIp6PktTypeTransIpv6Address, label.subtype, found->address, local);
  }
}

std::string formsOf(unsigned encodings) {
  std::string forms;
  const auto add = [&](unsigned encoding, const char* form) {
    if ((encodings & encoding) != 0) forms += (forms.empty() ? "" : " or ") + std::string(form);
  };
  add(encodings == as2 ? 0U : anyAs, "AS:NUMBER");
  add(encodings == as2 ? as2 : 0U, "AS:NUMBER with an AS up to 65535 in decimal");
  add(ip4, "IPv4:NUMBER");
  add(ip6, "[IPv6]:NUMBER");
  return forms;
}

std::optional<Reading::Administrator> Reading::administrator(std::string_view text, unsigned encodings) {
  const std::size_t colon = text.rfind(':');
  if (colon == text.npos) return fail(text, shown(text) + " has no number behind a colon", formsOf(encodings));
  Administrator found{};
  if (!admin(text.substr(0, colon), encodings, found)) return std::nullopt;
  if ((found.encoding & encodings) == 0) {
    return fail(text, shown(text) + " has another encoding than its label says", formsOf(encodings));
  }
  const bool wide = found.encoding == as2;
  const char* const what = wide ? "a number beside an AS of two octets" : "a number of two octets";
  const auto local = number(text.substr(colon + 1), wide ? most32 : most16, what);
  if (!local) return std::nullopt;
  found.local = *local;
  return found;
}

bool Reading::admin(std::string_view text, unsigned encodings, Administrator& out) {
  if (text.find(':') == text.npos && text.find('[') == text.npos) {
    if (std::ranges::count(text, '.') < 2) return asNumber(text, encodings, out);
    const auto address = Addr::Ip4Addr::read(text);
    out.encoding = ip4;
    if (address) out.number = address->value();
    if (!address) fail(text, shown(text) + " is no IPv4 address", "four numbers up to 255 without leading zeros");
    return address.has_value();
  }
  const bool brackets = text.starts_with('[') && text.ends_with(']');
  const auto address = Addr::Ip6Addr::read(brackets ? text.substr(1, text.size() - 2) : text);
  out.encoding = ip6;
  if (address) out.address = *address;
  if (!address) fail(text, shown(text) + " is no IPv6 address", formsOf(encodings));
  return address.has_value();
}

bool Reading::asNumber(std::string_view text, unsigned encodings, Administrator& out) {
  const std::size_t dot = text.find('.');
  const bool marked = text.ends_with('L');
  const auto asn =
      dot != text.npos ? asdot(text, dot) : number(marked ? text.substr(0, text.size() - 1) : text, most32, "an AS");
  if (!asn) return false;
  const bool four = marked || dot != text.npos || *asn > most16 || (encodings & anyAs) == as4;
  out.encoding = four ? as4 : as2;
  out.number = *asn;
  return true;
}

// N, CO:N or CO(00):N with two binary digits.
AnyRead Reading::colored(std::string_view value) {
  std::uint64_t colorOnly = 0;
  std::string_view digits = value;
  if (const std::size_t colon = value.find(':'); colon != value.npos) {
    std::string_view bits = value.substr(0, colon);
    digits = value.substr(colon + 1);
    if (bits.size() == 6 && alike(bits.substr(0, 3), "CO(") && bits[5] == ')') bits = bits.substr(3, 2);
    if (bits.size() != 2 || bits.find_first_not_of("01") != bits.npos) {
      return fail(value.substr(0, colon), shown(value.substr(0, colon)) + " for a color's flags", "00, 01, 10 or 11");
    }
    colorOnly = hexDigit(bits[0]) * 2 + hexDigit(bits[1]);
  }
  const auto number32 = number(digits, most32, "a color");
  return number32 ? AnyRead(color(*number32, colorOnly)) : std::nullopt;
}

// Of what is compared without "-" and "_": mpls-in-gre.
bool sameName(std::string_view typed, std::string_view name) noexcept {
  for (const char c : typed) {
    if (c == '-' || c == '_') continue;
    if (name.empty() || lower(c) != lower(name.front())) return false;
    name.remove_prefix(1);
  }
  return name.empty();
}

AnyRead Reading::tunnel(std::string_view value) {
  if (isDigit(value[0])) {
    const auto number16 = number(value, most16, "a tunnel type");
    return number16 ? AnyRead(tunnelEncap(*number16)) : std::nullopt;
  }
  constexpr std::string_view stem = "tunnelType";
  const std::size_t open = value.find('(');
  const std::string_view name = value.substr(0, open);
  for (const Tyr::EnumRow& row : tyrEnumTable(TunnelType{}).rows) {
    if (!sameName(name, row.name) && !sameName(name, std::string_view(row.name).substr(stem.size()))) continue;
    const bool unknown = row.number == tunnelTypeUnknown;
    const bool numbered = open != value.npos && value.ends_with(')');
    if (!unknown && open == value.npos) return tunnelEncap(row.number);
    if (!unknown || !numbered) break;
    const auto number16 = number(value.substr(open + 1, value.size() - open - 2), most16, "a tunnel type");
    if (!number16) return std::nullopt;
    if (!bgpIsValidEnumMember(TunnelType(*number16))) return tunnelEncap(*number16);
    return fail(value, std::to_string(*number16) + " is a tunnel type with a name", enumName(TunnelType(*number16)));
  }
  return fail(value, shown(value) + " is no tunnel type", "the name of one, its number, or tunnelTypeUnknown(NUMBER)");
}

AnyRead Reading::validation(std::string_view value) {
  constexpr std::string_view states[] = {"valid", "not-found", "invalid"};
  const auto state = std::ranges::find_if(states, [value](std::string_view name) { return alike(value, name); });
  if (state != std::end(states)) return originValidationState(OriginValidation(state - std::begin(states)));
  return fail(value, shown(value) + " tells no validation state",
              "valid, not-found or invalid; others are typed in hex");
}

AnyRead Reading::bandwidth(std::string_view value) {
  const std::size_t colon = value.find(':');
  if (colon == value.npos) return fail(value, shown(value) + " has no bandwidth behind a colon", "AS:BANDWIDTH");
  const auto as = number(value.substr(0, colon), most16, "a link bandwidth's AS");
  if (!as) return std::nullopt;
  const Ucmp::LinkBandwidthReading read = Ucmp::LinkBandwidth::read(value.substr(colon + 1));
  if (read.problem == nullptr) return linkBandwidth(*as, read.bandwidth.octetsPerSecond());
  return fail(read.place, (read.place.empty() ? "nothing" : shown(read.place)) + " " + read.problem, read.expected);
}

// ---- Printed forms

std::optional<TypePrefix> Reading::typePrefix(std::string_view text) const {
  if (text.size() < 5 || std::ranges::any_of(text.substr(0, 4), [](char c) { return hexDigit(c) > 15; })) {
    return std::nullopt;
  }
  const auto octet = [text](std::size_t i) {
    return static_cast<std::uint8_t>(hexDigit(text[i]) << 4 | hexDigit(text[i + 1]));
  };
  TypePrefix prefix{octet(0), octet(2), {}, text.substr(4)};
  for (const std::string_view form : {"-AS4", "-AS", "-IP6", "-IP"}) {
    if (!prefix.form.empty() || !alike(prefix.value.substr(0, form.size()), form)) continue;
    prefix.form = prefix.value.substr(0, form.size());
    prefix.value.remove_prefix(form.size());
  }
  constexpr std::string_view mark = "(NT)";
  const bool marked = alike(prefix.value.substr(0, mark.size()), mark);
  if (marked) prefix.value.remove_prefix(mark.size());
  if (!prefix.value.starts_with(':')) return std::nullopt;
  prefix.value.remove_prefix(1);
  // Four digits alone begin a standard community as well.
  if (prefix.form.empty() && !marked && !prefix.value.starts_with("0x")) return std::nullopt;
  if ((prefix.type & 0x40) != 0) return std::nullopt;  // shown by the mark, never by a digit
  if (marked) prefix.type |= 0x40;
  return prefix;
}

AnyRead Reading::prefixed(const TypePrefix& prefix) {
  if (prefix.form.empty()) return sixOctets(prefix);
  struct Row {
    std::string_view form;
    unsigned type;
    Encoding encoding;
  };
  constexpr Row rows[] = {{"-AS", extCommPktTypeTransTwoOctetAs, as2},
                          {"-AS4", extCommPktTypeTransFourOctetAs, as4},
                          {"-IP", extCommPktTypeTransIpv4Address, ip4},
                          {"-IP6", 0, ip6}};
  const Row& row = *std::ranges::find_if(rows, [&](const Row& r) { return alike(r.form, prefix.form); });
  if (row.encoding != ip6 && (prefix.type & 0xbfU) != row.type) {
    return fail(prefix.form, shown(prefix.form) + " behind a type that is not of that form", "the form of the type");
  }
  const auto value = administrated({{}, Form::administrator, prefix.subtype, row.encoding}, prefix.value);
  if (!value) return std::nullopt;
  if (const auto* const content = std::get_if<ExtCommContent>(&*value)) {
    return sixOctetContent(prefix.type, prefix.subtype, content->value());
  }
  ExtCommIp6Content content = std::get<ExtCommIp6Content>(*value);
  content.typeIs(prefix.type);
  return content;
}

// "0x00 0x01 ...": six of them.
AnyRead Reading::sixOctets(const TypePrefix& prefix) {
  const char* const expected = "six octets, 0x and two hex digits each";
  std::uint64_t octets = 0;
  std::string_view rest = prefix.value;
  for (unsigned i = 0; i < 6; ++i) {
    const std::string_view octet = rest.substr(0, 4);
    const bool read =
        octet.size() == 4 && octet.starts_with("0x") && hexDigit(octet[2]) < 16 && hexDigit(octet[3]) < 16;
    if (!read) return fail(octet, (octet.empty() ? "nothing" : shown(octet)) + " for an octet", expected);
    octets = octets << 8 | hexDigit(octet[2]) << 4 | hexDigit(octet[3]);
    rest.remove_prefix(4);
    const std::string_view behind = rest.substr(std::min(rest.find_first_not_of(blanks), rest.size()));
    if (!behind.empty() && behind.size() == rest.size()) return fail(rest, shown(rest) + " behind an octet", expected);
    rest = behind;
  }
  if (!rest.empty()) return fail(rest, shown(rest) + " behind the last octet", expected);
  return sixOctetContent(prefix.type, prefix.subtype, octets);
}

// Decoders of this thread, with all kinds and without those that the toggle "Mvpn" guards: rules are counted objects.
const BgpParseExtendedCommunityRule& privateDecoder(bool mvpn) {
  thread_local const BgpParseExtCommContainerSm::Ptr with = bgpParseExtCommContainerSmFactory(true);
  thread_local const BgpParseExtCommContainerSm::Ptr without = bgpParseExtCommContainerSmFactory(false);
  return *(mvpn ? with : without)->extCommParser();
}

// What the subtype of an IPv6-address-specific community was before it was printed; nothing if none was.
std::optional<std::uint8_t> subtypeNamed(std::string_view text, bool transitive) noexcept {
  const Tyr::EnumTable& table = transitive ? tyrEnumTable(BgpExtCommIp6PktSubtypeTransIpv6Address{})
                                           : tyrEnumTable(BgpExtCommIp6PktSubtypeNonTransIpv6Address{});
  for (const Tyr::EnumRow& row : table.rows) {
    if (row.wire && row.name == text) return static_cast<std::uint8_t>(row.number);
  }
  constexpr std::string_view stem = "subtype=";
  if (!text.starts_with(stem)) return std::nullopt;
  unsigned octet = 0;
  for (const char digit : text.substr(stem.size())) octet = octet * 10 + (hexDigit(digit) & 0xfU);
  return static_cast<std::uint8_t>(octet);
}

// What is taken apart here need not be right: what it gives is printed, and compared with the text.
AnyRead debuggedIp6(std::string_view text) {
  constexpr std::string_view addressLabel = " addr=", localLabel = " localAdmin=";
  const std::size_t address = text.find(addressLabel);
  const std::size_t local = text.find(localLabel);
  if (address == text.npos || local == text.npos || local < address || text.size() > 200) return std::nullopt;
  const std::size_t addressBegin = address + addressLabel.size();
  const auto addr = Addr::Ip6Addr::read(text.substr(addressBegin, local - addressBegin));
  const std::string_view opening = text.substr(1, address - 1);
  const std::size_t blank = std::min(opening.find(' '), opening.size() - 1);
  const bool transitive = opening.substr(0, blank) == enumName(extCommIp6PktTypeTransIpv6Address);
  const auto subtype = subtypeNamed(opening.substr(blank + 1), transitive);
  if (!addr || !subtype) return std::nullopt;
  std::uint32_t localAdmin = 0;
  for (const char digit : text.substr(local + localLabel.size())) {
    if (isDigit(digit)) localAdmin = localAdmin * 10 + hexDigit(digit);
  }
  const auto type = transitive ? extCommIp6PktTypeTransIpv6Address : extCommIp6PktTypeNonTransIpv6Address;
  const ExtCommIp6Content content(static_cast<std::uint8_t>(type), *subtype, *addr,
                                  static_cast<std::uint16_t>(localAdmin));
  if (privateDecoder(true).parseExtendedCommunityIp6(content)->toStrep() != text) return std::nullopt;
  return content;
}

AnyRead Reading::debugging(std::string_view text) {
  constexpr std::size_t ending = sizeof("0x0123456789abcdef>") - 1;
  const std::string_view end = text.substr(text.size() - std::min(text.size(), ending));
  if (end.starts_with("0x") && end.ends_with('>')) {
    const AnyRead value = Reading(end.substr(0, ending - 1)).anyRead();
    const auto* const content = value ? std::get_if<ExtCommContent>(&*value) : nullptr;
    for (const bool mvpn : {true, false}) {
      if (content == nullptr || text.size() > 200) break;
      if (privateDecoder(mvpn).parseExtendedCommunity(*content)->toStrep() == text) return value;
    }
  }
  if (const AnyRead value = debuggedIp6(text)) return value;
  return fail(text, shown(text) + " is no debugging form that shows all of its value",
              "one exactly as printed, or hex");
}

// ---- Of one kind

constexpr const char* kindNames[] = {"an extended community", "an IPv6-address-specific extended community",
                                     "a large community", "a standard community"};

ValueTextError errorAt(std::string_view text, std::string_view place, std::string problem, std::string expected) {
  return {
      static_cast<std::size_t>(place.data() - text.data()), place.size(), std::move(problem), std::move(expected), {}};
}

template <typename Value>
ValueTextResult<Value> kindFromText(std::string_view text) {
  ValueTextResult<AnyCommValue> any = valueFromText(text);
  if (!any) return any.error();
  if (const auto* const value = std::get_if<Value>(&*any)) return *value;
  const std::string_view place = trimmed(text, outerBlanks);
  ValueTextError error =
      errorAt(text, place, shown(place) + " is " + kindNames[any->index()], kindNames[AnyCommValue(Value()).index()]);
  error.readings = readingsOf(place, [](const AnyCommValue& value) { return std::holds_alternative<Value>(value); });
  return error;
}

}  // namespace

std::string ValueTextError::message() const {
  std::string joined;
  for (const std::string& reading : readings) joined += (joined.empty() ? "" : " | ") + reading;
  const char* const between = expected.empty() || joined.empty() ? "" : ", or ";
  return problem + ", expected " + expected + between + joined;
}

ValueTextResult<AnyCommValue> valueFromText(std::string_view text) {
  Reading reading(text);
  if (const AnyRead value = reading.anyRead()) return *value;
  return reading.takeError();
}

ValueTextResult<ExtCommContent> extCommFromText(std::string_view text) { return kindFromText<ExtCommContent>(text); }

ValueTextResult<ExtCommIp6Content> extCommIp6FromText(std::string_view text) {
  return kindFromText<ExtCommIp6Content>(text);
}

ValueTextResult<CommunityValue> largeCommFromText(std::string_view text) { return kindFromText<CommunityValue>(text); }

ValueTextResult<std::uint32_t> commFromText(std::string_view text) { return kindFromText<std::uint32_t>(text); }

// ---- Several texts

// A word and, if it can be no value, why.
struct ValueTexts::Word {
  std::string_view text;
  const char* problem;
};

bool ValueTexts::skipSeparators() noexcept {
  rest_.remove_prefix(std::min(rest_.find_first_not_of(separators), rest_.size()));
  return !rest_.empty();
}

ValueTexts::Word ValueTexts::takeWord() noexcept {
  const std::size_t close = rest_.front() == '"' ? rest_.find('"', 1) : 0;
  const std::size_t length = close == rest_.npos ? close : rest_.find_first_of(separators, close);
  Word word{rest_.substr(0, length), nullptr};
  rest_.remove_prefix(word.text.size());
  if (close == std::string_view::npos) {
    word.problem = "a quote without its end";
  } else if (close != 0 && word.text.size() > close + 1) {
    word.problem = "text behind the closing quote";
  } else if (close != 0) {
    word.text = word.text.substr(1, close - 1);
  }
  return word;
}

ValueTexts::Typed ValueTexts::bad(std::string_view place, std::string problem, std::string expected) const {
  ValueTextError error = errorAt(line_, place, std::move(problem), std::move(expected));
  return {error.offset, error.length, std::move(error)};
}

std::optional<ValueTexts::Typed> ValueTexts::next() {
  if (!skipSeparators()) return std::nullopt;
  const Word word = takeWord();
  if (word.problem != nullptr) return bad(word.text, word.problem, "a value in double quotes, and a blank behind it");
  const std::string_view stripped = trimmed(word.text, outerBlanks);
  const std::string_view labelText = stripped.ends_with(':') ? stripped.substr(0, stripped.size() - 1) : stripped;
  const Label* const label = labelOf(labelText);
  if (label != nullptr && label->form != Form::gateway) {
    std::string_view end = word.text;
    if (skipSeparators()) end = takeWord().text;
    const auto length = static_cast<std::size_t>(end.data() + end.size() - word.text.data());
    return bad({word.text.data(), length}, shown(labelText) + " and its value are two words",
               shown(labelText) + ":VALUE, or both in double quotes");
  }
  const auto offset = static_cast<std::size_t>(word.text.data() - line_.data());
  Reading reading(word.text);
  if (const AnyRead value = reading.anyRead()) return Typed{offset, word.text.size(), *value};
  ValueTextError error = reading.takeError();
  error.offset += offset;
  return Typed{offset, word.text.size(), std::move(error)};
}

ValueTextResult<std::vector<AnyCommValue>> valuesFromText(std::string_view line) {
  std::vector<AnyCommValue> values;
  for (ValueTexts texts(line); auto typed = texts.next();) {
    if (!typed->value) return typed->value.error();
    values.push_back(*typed->value);
  }
  return values;
}

// ---- Value to text

namespace {

std::string shownText(const ExtCommContent& content) {
  return privateDecoder(true).parseExtendedCommunity(content)->toStrepForUI(false, true, false);
}
std::string shownText(const ExtCommIp6Content& content) {
  ExtComm::StrepFormat format;
  format.strepFormatClassificationIs(true);
  format.strepFormatUIIs(true);
  return privateDecoder(true).parseExtendedCommunityIp6(content)->toStrepForPolicy(ExtCommIp6::StrepFormat(format));
}
std::string shownText(const CommunityValue& value) { return LargeCommList::getStringValue(value); }
std::string shownText(std::uint32_t value) { return CommList::getStringValue(value); }

}  // namespace

// The two other kinds and IPv6-address-specific communities have texts that tell all.
std::string textOf(const AnyCommValue& value) {
  std::string text = std::visit([](const auto& v) { return shownText(v); }, value);
  const auto* const content = std::get_if<ExtCommContent>(&value);
  if (content == nullptr) return text;
  const auto again = valueFromText(text);
  return again && *again == value ? text : valueToStrep(*content);
}

std::string_view commMeaning(std::uint32_t value) noexcept {
  if (value < communityGshut || tyrEnumTable(BgpCommunityValue{}).row(value) != nullptr) return {};
  const auto found = std::ranges::find(names, value, &Name::value);
  return found == std::end(names) ? std::string_view() : found->text;
}

}  // namespace Routing::Bgp
