#include "Tyr/DynamicBuffer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <functional>
#include <limits>
#include <new>
#include <stdexcept>

namespace Tyr {
namespace {

// The two digits of each octet.
constexpr auto hexPairs = [] {
  std::array<std::array<char, 2>, 256> pairs{};
  for (unsigned octet = 0; octet < 256; ++octet) {
    pairs[octet] = {"0123456789abcdef"[octet >> 4], "0123456789abcdef"[octet & 0xf]};
  }
  return pairs;
}();

void writeHex16(char* text, std::uint64_t value) noexcept {
  for (std::size_t i = 16; i > 0; value >>= 8) {
    i -= 2;
    std::memcpy(text + i, hexPairs[value & 0xff].data(), 2);
  }
}

}  // namespace

void DynamicBufferInterface::grow(std::size_t needed) {
  if (needed > std::numeric_limits<std::size_t>::max() / 2 - used_) throw std::length_error("Tyr::DynamicBuffer");
  reallocate(std::max(std::min<std::size_t>(2 * used_, 1024), used_ + needed));
}

// realloc rather than new: a long text that outgrows its block can often stay where it is.
void DynamicBufferInterface::reallocate(std::size_t capacity) {
  auto* data = static_cast<char*>(std::realloc(onHeap_ ? data_ : nullptr, capacity));
  if (data == nullptr) throw std::bad_alloc();
  if (!onHeap_) std::memcpy(data, data_, used_);
  data_ = data;
  capacity_ = capacity;
  onHeap_ = true;
}

void DynamicBufferInterface::release() noexcept { std::free(data_); }

void DynamicBufferInterface::appendGrowing(std::string_view text) {
  const char* const begin = data_;
  const bool ownText = std::less_equal<>()(begin, text.data()) && std::less<>()(text.data(), begin + used_);
  const auto place = ownText ? static_cast<std::size_t>(text.data() - begin) : 0;
  grow(text.size());
  std::memcpy(data_ + used_, ownText ? data_ + place : text.data(), text.size());
  used_ += text.size();
}

void DynamicBufferInterface::appendDecimalTightly(std::uint64_t value) {
  char digits[longestDecimal];
  const char* const end = std::to_chars(digits, digits + longestDecimal, value).ptr;
  append(std::string_view(digits, static_cast<std::size_t>(end - digits)));
}

void DynamicBufferInterface::appendLongHex(std::uint64_t value, unsigned digits) {
  if (digits == 16 && capacity_ - used_ >= 16) {
    writeHex16(data_ + used_, value);  // in place: every debugging form of a community ends so
    used_ += 16;
    return;
  }
  for (; digits > 16; --digits) append('0');
  const unsigned count = std::max(digits, (static_cast<unsigned>(std::bit_width(value)) + 3) / 4);
  char text[16];
  writeHex16(text, value);
  append(std::string_view(text + sizeof text - count, count));
}

void DynamicBufferInterface::appendDottedQuad(std::uint32_t address) {
  char text[15];
  char* at = text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    at = std::to_chars(at, text + sizeof text, (address >> shift) & 0xff).ptr;
    if (shift != 0) *at++ = '.';
  }
  append(std::string_view(text, static_cast<std::size_t>(at - text)));
}

void DynamicBufferInterface::appendFloat(double value) {
  char text[32];
  const auto result = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 6);
  append(std::string_view(text, static_cast<std::size_t>(result.ptr - text)));
}

}  // namespace Tyr
