// Points in time as people and records have them: microseconds since 1970, in UTC.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VelBgpTool {

class Moment {
 public:
  // Seconds, with a fraction or without, or RFC 3339 ("2019-01-01T00:00:00.5+01:00"). Nothing for all else.
  static std::optional<Moment> read(std::string_view text);

  static constexpr std::int64_t microseconds(std::uint64_t seconds, std::uint32_t fraction) {
    return static_cast<std::int64_t>(seconds) * 1'000'000 + fraction;
  }
  // The microsecond that it is in, and the next one if it is not that one's beginning.
  std::int64_t roundedDown() const { return microseconds_; }
  std::int64_t roundedUp() const { return microseconds_ + (exact_ ? 0 : 1); }

  // "2019-01-01 00:00:00".
  static void appendTo(std::string& text, std::uint64_t seconds);

 private:
  std::int64_t microseconds_ = 0;
  bool exact_ = true;
};

}  // namespace VelBgpTool
