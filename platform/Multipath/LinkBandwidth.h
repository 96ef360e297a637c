// The bandwidth of a link as unequal-cost multipath sees it: a single-precision number of octets per second, as link
// bandwidth communities carry it. Every one of the 2^32 bit patterns is a value and has a text.
//
// Text: bits per second in the largest decimal unit (bps, Kbps, ..., Rbps, Qbps) that leaves at least one whole unit,
// with at most three decimals and no trailing zeros: "1 Gbps", "1.25 Gbps", "2722258773.108 Qbps" for the largest. The
// exact number of bits is rounded once, to the nearest, a tie to the even digit (as printf does); what rounds to 1,000
// of a unit is 1 of the next. Less than half a thousandth of a bit is "0 bps". Negative numbers carry a "-"; the rest
// is "inf", "-inf" and "nan". No locale changes any of it.
//
// The weighted text adds the weight that unequal-cost balancing gives the path: the octets per second in plain decimal,
// exact for whole numbers and otherwise with as many decimals as tell the float from its neighbours; two links whose
// plain texts agree may differ here: "1 Gbps (weight 125000000)". A bandwidth that is not valid takes no part in the
// balancing: "0 bps (no weight)".
//
// These texts are read back, and what people type: a decimal number, perhaps with a fraction and an exponent, blanks,
// and one of the units (as above, or all in small letters); octets per second without a unit. What is read is the
// nearest float, a tie to the even one. A weight behind it decides, and has to agree with the number: the number as it
// is shown for the weight, or one that reads as the same float. Plain texts round, weighted ones give the float again.
//
// A value type: owns nothing, no exceptions, as safe between threads as a float.
#pragma once

#include <string>
#include <string_view>

#include "Tyr/Export.h"

namespace Tyr {
class DynamicBufferInterface;
}

namespace Routing::Ucmp {

struct LinkBandwidthReading;

class LinkBandwidth {
 public:
  constexpr explicit LinkBandwidth(float octetsPerSecond) noexcept : octetsPerSecond_(octetsPerSecond) {}

  constexpr float octetsPerSecond() const noexcept { return octetsPerSecond_; }

  // Finite and greater than zero: such a link can take a share of the traffic.
  VELBGP_EXPORT bool isValid() const noexcept;

  // The text, as this header's head shows it in both forms.
  VELBGP_EXPORT std::string toStrep(bool weighted) const;
  // Appends the same text.
  VELBGP_EXPORT void appendTo(Tyr::DynamicBufferInterface& buffer, bool weighted) const;

  // Reads a whole text without outer blanks; never negative, infinite or NaN.
  VELBGP_EXPORT static LinkBandwidthReading read(std::string_view text) noexcept;

 private:
  float octetsPerSecond_;
};

// A bandwidth or, with a problem, which part of the text has it and what was expected there. The words follow on that
// part: "is no unit".
struct LinkBandwidthReading {
  LinkBandwidth bandwidth{0};
  std::string_view place;
  const char* problem = nullptr;
  const char* expected = nullptr;
};

}  // namespace Routing::Ucmp
