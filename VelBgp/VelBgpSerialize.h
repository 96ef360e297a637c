// Writing path attributes of any kind: an octet buffer, and the header in front of a value. The attributes of lists of
// communities are written by VelBgp/AttributeWriter.h.
//
//   SerializePathAttribute attribute(BgpPathAttrType::extCommunity, BgpPathAttrFlag::optionalTransitive, 8 * n);
//   for (...) attribute.addU64hton(value);
//   return attribute.serializedBytes(0);
//
//   Serialize                           the buffer: 4096 octets inside the object, on the heap when more are needed
//   SerializePathAttribute              begins with a header that announces the size of the value
//   SerializePathAttributeAutoExtLen    takes the value first and puts the header in front of it
//   SerializedBgpPrefixSidAttribute     begins with the header of a Prefix-SID TLV
//
// Sizes are in octets, numbers go out in network order. An object is large and meant for the stack; it owns its octets
// and cannot be copied. Threads: one at a time. Errors: std::bad_alloc; std::length_error past 2^32 - 1 octets; what
// was written before stays.
#pragma once

#include <cstddef>

#include "VelBgp/BgpPathAttributeEnums.h"

namespace Routing::Bgp {

class VELBGP_EXPORT Serialize {
 public:
  // As many lie inside the object, before memory is asked for.
  static constexpr std::uint32_t inlineOctets = 4096;

  Serialize() noexcept {}  // the inline octets stay as they are: clearing them would cost more than most attributes
  ~Serialize();
  Serialize(const Serialize&) = delete;
  Serialize& operator=(const Serialize&) = delete;

  // One octet, or a number with its most significant octet first.
  void addU8(std::uint8_t octet) { *room(1) = octet, ++size_; }
  void addU16hton(std::uint16_t value) { addHton<2>(value); }
  void addU32hton(std::uint32_t value) { addHton<4>(value); }
  void addU64hton(std::uint64_t value) { addHton<8>(value); }
  // `octets` is not a part of this buffer.
  void addBytes(const void* octets, std::size_t count);

  // Makes room for `size` octets in all.
  void growBuffer(std::uint32_t size);

  const std::uint8_t* data() const noexcept { return data_; }
  std::uint32_t size() const noexcept { return size_; }
  std::uint32_t capacity() const noexcept { return capacity_; }
  // The octets from `start` on; none if there are not so many.
  std::string serializedBytes(std::uint32_t start) const;

 protected:
  // The write position. What it moves over keeps its octets; it stays within the capacity.
  void sizeIs(std::uint32_t size) noexcept { size_ = size; }

 private:
  std::uint8_t* room(std::size_t needed) {
    if (capacity_ - size_ < needed) makeRoom(needed);
    return data_ + size_;
  }
  void makeRoom(std::size_t needed);
  template <unsigned octets>
  void addHton(std::uint64_t value) {
    std::uint8_t* const place = room(octets);
    for (unsigned i = octets; i-- > 0; value >>= 8) place[i] = static_cast<std::uint8_t>(value);
    size_ += octets;
  }

  std::uint8_t* data_ = inline_;
  std::uint32_t size_ = 0;
  std::uint32_t capacity_ = inlineOctets;
  std::uint8_t inline_[inlineOctets];
};

class VELBGP_EXPORT SerializePathAttribute : public Serialize {
 public:
  // Writes the header of an attribute whose value will have attrSize octets.
  SerializePathAttribute(BgpPathAttrType attrType, BgpPathAttrFlag flags, std::uint32_t attrSize);

  // Starts again, with room for the whole attribute.
  void clearAndReInit(BgpPathAttrType attrType, BgpPathAttrFlag flags, std::uint32_t attrSize);
  // Writes a header here: flags, type, and a length of one octet, or of two if the size needs them or the flags have
  // the extended-length bit; the bit is set where it is needed and never cleared. Asserts that the type is an octet
  // and, once both octets are written, that the size fits in 16 bits.
  void reInitHdr(BgpPathAttrType attrType, BgpPathAttrFlag flags, std::uint32_t attrSize);

  // Octets of the header, 3 or 4; 0 while there is none.
  std::uint32_t headerLength() const noexcept { return headerLength_; }
  // Octets of the value, as the header announces them.
  std::uint32_t attributeSize() const noexcept { return attributeSize_; }

 protected:
  SerializePathAttribute() noexcept = default;

 private:
  std::uint32_t headerLength_ = 0;
  std::uint32_t attributeSize_ = 0;
};

// The value is appended behind four octets that are kept free for the longer header.
class VELBGP_EXPORT SerializePathAttributeAutoExtLen : public SerializePathAttribute {
 public:
  SerializePathAttributeAutoExtLen() noexcept;

  // Header and value. Deliberate: the size of the value is taken modulo 2^16, and where the flags ask for the extended
  // length on a value of at most 255 octets, the header runs over the value's first octet.
  std::string patchHdrAndStringify(BgpPathAttrType attrType, BgpPathAttrFlag flags);
  // The value alone.
  std::string serializeAttributeValue() const;

 private:
  // A header of the caller's would stand in the place of ours.
  using SerializePathAttribute::clearAndReInit;
  using SerializePathAttribute::reInitHdr;
};

// One TLV of the Prefix-SID attribute: type octet and 16-bit length are written, the value is appended.
class VELBGP_EXPORT SerializedBgpPrefixSidAttribute : public Serialize {
 public:
  // Asserts that the type is an octet, so not one of the members that are no TLV types.
  SerializedBgpPrefixSidAttribute(PrefixSidTlvType type, std::uint16_t length);
};

}  // namespace Routing::Bgp
