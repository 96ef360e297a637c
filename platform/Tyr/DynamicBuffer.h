// A text buffer that starts on the stack: for building one text, piece by piece, without an allocation.
//
//   Tyr::DynamicBuffer<> buffer;            // 128 octets inside the object
//   buffer.append("AS:");
//   buffer.appendDecimal(64500);
//   return buffer.str();
//
// Functions that add to a text take a DynamicBufferInterface&. Writes are never cut: when fewer octets remain than a
// write needs, the capacity becomes max(min(2 * used, 1024), used + needed), on the heap. That is frugal for one
// community, so reserve() first for a text of thousands. Numbers are written the same in every locale. No virtual
// calls.
//
// Ownership: the buffer owns its octets; data() and view() hold until the next write. Not copyable.
// Threads: one at a time. Errors: std::bad_alloc, std::length_error beyond the address space; the text so far is kept.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "Tyr/Export.h"

namespace Tyr {

class VELBGP_EXPORT DynamicBufferInterface {
 public:
  DynamicBufferInterface(const DynamicBufferInterface&) = delete;
  DynamicBufferInterface& operator=(const DynamicBufferInterface&) = delete;

  // One octet.
  void append(char c) {
    if (used_ == capacity_) grow(1);
    data_[used_++] = c;
  }
  // `text` may be a part of this buffer.
  void append(std::string_view text) {
    if (capacity_ - used_ < text.size()) return appendGrowing(text);
    if (!text.empty()) std::memcpy(data_ + used_, text.data(), text.size());
    used_ += text.size();
  }
  void append(const char* text) { append(std::string_view(text)); }

  // Without leading zeros.
  void appendDecimal(std::uint64_t value) {
    if (capacity_ - used_ < longestDecimal) return appendDecimalTightly(value);
    used_ = static_cast<std::size_t>(std::to_chars(data_ + used_, data_ + used_ + longestDecimal, value).ptr - data_);
  }
  // Lower case, filled with zeros up to `digits`; a value that needs more digits gets them.
  void appendHex(std::uint64_t value, unsigned digits) {
    if (digits != 2 || value > 0xff) return appendLongHex(value, digits);
    append("0123456789abcdef"[value >> 4]);
    append("0123456789abcdef"[value & 0xf]);
  }
  // An IPv4 address given in host order: 0xc0000201 is "192.0.2.1".
  void appendDottedQuad(std::uint32_t address);
  // As a C++ stream prints a number by default: at most six significant digits, an exponent where that is shorter.
  void appendFloat(double value);

  // Not terminated by a zero octet.
  const char* data() const noexcept { return data_; }
  std::size_t size() const noexcept { return used_; }
  bool empty() const noexcept { return used_ == 0; }
  std::size_t capacity() const noexcept { return capacity_; }
  std::string_view view() const noexcept { return {data_, used_}; }
  std::string str() const { return {data_, used_}; }

  // Keeps the capacity.
  void clear() noexcept { used_ = 0; }
  // Makes room for `capacity` octets in all.
  void reserve(std::size_t capacity) {
    if (capacity > capacity_) reallocate(capacity);
  }

 protected:
  DynamicBufferInterface(char* inlineData, std::size_t inlineCapacity) noexcept
      : data_(inlineData), capacity_(inlineCapacity) {}
  ~DynamicBufferInterface() {
    if (onHeap_) release();
  }

 private:
  void grow(std::size_t needed);
  void reallocate(std::size_t capacity);
  void release() noexcept;
  void appendGrowing(std::string_view text);
  void appendLongHex(std::uint64_t value, unsigned digits);
  // Where the number may fit although the longest one would not.
  void appendDecimalTightly(std::uint64_t value);

  static constexpr std::size_t longestDecimal = 20;

  char* data_;
  std::size_t used_ = 0;
  std::size_t capacity_;
  bool onHeap_ = false;
};

// N octets of text take no allocation.
template <std::size_t N = 128>
class DynamicBuffer final : public DynamicBufferInterface {
 public:
  DynamicBuffer() noexcept : DynamicBufferInterface(inline_, N) {}

 private:
  char inline_[N];
};

}  // namespace Tyr
