// The value of a large community (RFC 8092): three 32-bit numbers in host order.
//
// Ordered by global administrator, then by first, then by second local data part, unsigned: the order in which lists
// hold them. A plain value of 12 octets; no errors.
#pragma once

#include <compare>
#include <cstdint>

namespace Acl {

class CommunityValue {
 public:
  constexpr CommunityValue() noexcept = default;
  constexpr CommunityValue(std::uint32_t globalAdmin, std::uint32_t localData1, std::uint32_t localData2) noexcept
      : globalAdmin_(globalAdmin), localData1_(localData1), localData2_(localData2) {}

  constexpr std::uint32_t globalAdmin() const noexcept { return globalAdmin_; }
  constexpr std::uint32_t localData1() const noexcept { return localData1_; }
  constexpr std::uint32_t localData2() const noexcept { return localData2_; }

  friend constexpr auto operator<=>(const CommunityValue&, const CommunityValue&) noexcept = default;

 private:
  std::uint32_t globalAdmin_ = 0;
  std::uint32_t localData1_ = 0;
  std::uint32_t localData2_ = 0;
};
static_assert(sizeof(CommunityValue) == 12);

}  // namespace Acl
