// Text to value and back: what the library prints and what people type, read as the one value that it says.
//
//   const auto value = valueFromText("rt 65000:100");               // of any kind
//   if (!value) return log(value.error().message());                // "..., expected ..."
//   const auto target = extCommFromText(text);                      // of one kind, or an error that says which it is
//   for (ValueTexts line(text); const auto typed = line.next();) { ... }     // several on a line
//
// What is read. Blanks are spaces and tabs; outer ones, also a carriage return, fall away. Anything else outside
// printable ASCII is an error. Numbers are digits, leading zeros are fine, there is no sign.
//
//   Hex       "0x" and 8, 16, 24 or 40 hex digits of either case: standard, extended, large, extendedIp6.
//   Standard  A:B, two 16-bit numbers; the well-known names, the seven that are printed and IANA's, in any case.
//   Large     A:B:C, three 32-bit numbers; A also as asdot (H.L).
//   Labels    in any case, "-" and "_" alike, then ":" or blanks, then a value without blanks inside:
//               rt, route-target, target                       ADMINISTRATOR:NUMBER
//               soo, ro, origin, route-origin, site-of-origin  ADMINISTRATOR:NUMBER
//               sas, src-as                                    AS:NUMBER
//               vri, vrf-route-import, rt-import               ADDRESS:NUMBER
//               color                                          N; CO:N or CO(01):N with two binary digits
//               encap                                          a TunnelType, "tunnelType" left out or not; a number
//               ovs                                            valid, not-found, invalid
//               lbw, lb, bandwidth, link-bandwidth             AS:BANDWIDTH (Multipath/LinkBandwidth.h), with blanks
//                                                              before its unit and its weight
//               default-gateway                                nothing
//             and the labels that are printed (Route-Target-AS4:) or that draft-marenamat-idr-bgp-attribute-formatting
//             names (route-target-as2, -as4, -ipv4, -ipv6 and so on): these say the encoding and refuse any other.
//   Administrators   an AS up to 65535 in decimal is the two-octet form, with a number up to 4294967295; a larger one,
//             H.L (0.100 too) and 65000L the four-octet form, with a number up to 65535; a dotted quad without leading
//             zeros the IPv4 form, with the same; [IPv6]:N, or IPv6 with ":N" behind its last colon, an
//             IPv6-address-specific community.
//   Printed   type prefixes (0008-AS:1:2, 0300:0x00 ..., ...-IP6:, "(NT)" for the 0x40 bit), "DefaultGateway",
//             "tunnelType..."; debugging forms exactly as printed.
//
// Without a label nothing else is read: "192.0.2.1:5" is an error that names its readings. Bits that a text does not
// show are zero; a text that drops a number that counts ("Origin-Validation-State:unknown") is an error. No text gives
// another value in silence: where a printed one drops bits, the value that is read prints the same.
//
// What gives its value again: hex, debugging forms, the show commands' forms (of bandwidths the weighted one), the
// texts of policy that have a label, and those of standard and large communities; but for the bits that a text does not
// show, and for an AS up to 65535 in the four-octet form behind "RT:", "SoO:" and "SAS:", which reads as the two-octet
// form.
//
// Errors are results, never exceptions, and take time linear in the text. Reading allocates only for errors, for
// debugging forms and for results of several values. No locale takes part. Ownership: results are plain values; a
// ValueTexts looks at the text that it was given. Threads: any; but debugging forms and textOf() make communities for
// a moment, which outside the agent's thread needs a multi-threaded agent (Tyr/Threading.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Policy/CommunityValue.h"
#include "Tyr/Export.h"
#include "VelBgp/ExtCommIp6.h"
#include "VelBgp/VelBgpCommunity.h"

namespace Routing::Bgp {

using Acl::CommunityValue;

// A community of any kind: extended, extendedIp6, large, standard.
using AnyCommValue = std::variant<ExtCommContent, ExtCommIp6Content, CommunityValue, std::uint32_t>;

struct ValueTextError {
  // Which octets of the text are at fault; none, at its end, where something is missing.
  std::size_t offset = 0;
  std::size_t length = 0;
  // "4200000000 is too large for a standard community's AS"; printable ASCII, however long and strange the text.
  std::string problem;
  // "at most 65535; large communities are A:B:C"
  std::string expected;
  // The texts that say what the typed one may mean; in place of an expectation, or beside it.
  std::vector<std::string> readings;

  // "PROBLEM, expected EXPECTED": one line with all of it, readings with " | " between them.
  VELBGP_EXPORT std::string message() const;
};

template <typename Value>
class ValueTextResult {
 public:
  ValueTextResult(Value value) : content_(std::in_place_index<0>, std::move(value)) {}
  ValueTextResult(ValueTextError error) : content_(std::in_place_index<1>, std::move(error)) {}

  explicit operator bool() const noexcept { return content_.index() == 0; }
  // Only of what is true, and of what is not; else std::bad_variant_access.
  const Value& operator*() const { return std::get<0>(content_); }
  const Value* operator->() const { return &**this; }
  const ValueTextError& error() const { return std::get<1>(content_); }

 private:
  std::variant<Value, ValueTextError> content_;
};

// One text, one value.
VELBGP_EXPORT ValueTextResult<AnyCommValue> valueFromText(std::string_view text);
VELBGP_EXPORT ValueTextResult<ExtCommContent> extCommFromText(std::string_view text);
VELBGP_EXPORT ValueTextResult<ExtCommIp6Content> extCommIp6FromText(std::string_view text);
VELBGP_EXPORT ValueTextResult<CommunityValue> largeCommFromText(std::string_view text);
VELBGP_EXPORT ValueTextResult<std::uint32_t> commFromText(std::string_view text);

// Several values on a line, of any kinds, parted by blanks or commas. One with blanks inside stands in double quotes,
// which open at the start of a word and close at its end; an unclosed quote is one bad value to the end of the line. A
// bare label is one bad value together with the word behind it, so that "rt 65000:100" does not end as a standard
// community.
class ValueTexts {
 public:
  // A value of the line, or what is wrong with it.
  struct Typed {
    // Where it stands in the line, without its quotes. Errors tell their place in the line, too.
    std::size_t offset;
    std::size_t length;
    ValueTextResult<AnyCommValue> value;
  };

  explicit ValueTexts(std::string_view line) noexcept : line_(line), rest_(line) {}
  // Nothing behind the last one.
  VELBGP_EXPORT std::optional<Typed> next();

 private:
  struct Word;
  bool skipSeparators() noexcept;
  Word takeWord() noexcept;
  Typed bad(std::string_view place, std::string problem, std::string expected) const;

  std::string_view line_;
  std::string_view rest_;
};

// All values of a line, or its first error.
VELBGP_EXPORT ValueTextResult<std::vector<AnyCommValue>> valuesFromText(std::string_view line);

// A text that gives this value again: that of show commands, weighted, if it does, else hex.
VELBGP_EXPORT std::string textOf(const AnyCommValue& value);

// What IANA calls a well-known community whose text is its number: "blackhole" for 65535:666. Empty for all others, and
// for the seven that are printed by name. Shown beside a value; nothing is matched against it.
VELBGP_EXPORT std::string_view commMeaning(std::uint32_t value) noexcept;

}  // namespace Routing::Bgp
