#include "VelBgp/VelBgpSerialize.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "Tyr/Assert.h"

namespace Routing::Bgp {
namespace {

constexpr std::uint32_t longHeader = flagOctets + codeOctets + extendedLenOctets;
constexpr std::uint32_t shortHeader = flagOctets + codeOctets + lenOctets;
constexpr std::uint32_t largestAttribute = 0xffff;

}  // namespace

Serialize::~Serialize() {
  if (data_ != inline_) delete[] data_;
}

void Serialize::addBytes(const void* octets, std::size_t count) {
  if (count == 0) return;
  std::memcpy(room(count), octets, count);
  size_ += static_cast<std::uint32_t>(count);
}

void Serialize::growBuffer(std::uint32_t size) {
  if (size <= capacity_) return;
  auto* const data = new std::uint8_t[size];
  std::memcpy(data, data_, std::min(size_, capacity_));
  if (data_ != inline_) delete[] data_;
  data_ = data;
  capacity_ = size;
}

// In 64 bits, where neither the sum nor the doubling wraps.
void Serialize::makeRoom(std::size_t needed) {
  constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
  if (needed > most - size_) throw std::length_error("Routing::Bgp::Serialize");
  const std::uint64_t size = std::max(std::uint64_t{size_} + needed, std::min(most, 2 * std::uint64_t{capacity_}));
  growBuffer(static_cast<std::uint32_t>(size));
}

std::string Serialize::serializedBytes(std::uint32_t start) const {
  if (start >= size_) return {};
  return {reinterpret_cast<const char*>(data_) + start, size_ - start};
}

SerializePathAttribute::SerializePathAttribute(BgpPathAttrType attrType, BgpPathAttrFlag flags,
                                               std::uint32_t attrSize) {
  clearAndReInit(attrType, flags, attrSize);
}

void SerializePathAttribute::clearAndReInit(BgpPathAttrType attrType, BgpPathAttrFlag flags, std::uint32_t attrSize) {
  sizeIs(0);
  // A size that no header can announce ends in reInitHdr's assertion; it need not be allocated first.
  growBuffer(std::min(attrSize, largestAttribute) + longHeader);
  reInitHdr(attrType, flags, attrSize);
}

void SerializePathAttribute::reInitHdr(BgpPathAttrType type, BgpPathAttrFlag attrFlags, std::uint32_t attrSize) {
  const auto attrType = static_cast<std::uint16_t>(type);
  TYR_ASSERT(attrType <= 0xFF);
  BgpUpdateMsgAttributeFlags flags(static_cast<std::uint8_t>(attrFlags));
  if (attrSize > 0xFF) flags.extendedLengthIs(true);
  addU8(flags.value());
  addU8(static_cast<std::uint8_t>(attrType));
  attributeSize_ = attrSize;
  if (flags.extendedLength()) {
    TYR_ASSERT_ADVICE(attrSize <= 0xFFFF,
                      "no attribute carries that much: VelBgp/AttributeWriter.h tells a list's size and refuses");
    addU16hton(static_cast<std::uint16_t>(attrSize));
    headerLength_ = longHeader;
  } else {
    addU8(static_cast<std::uint8_t>(attrSize));
    headerLength_ = shortHeader;
  }
}

SerializePathAttributeAutoExtLen::SerializePathAttributeAutoExtLen() noexcept { addU32hton(0); }

std::string SerializePathAttributeAutoExtLen::patchHdrAndStringify(BgpPathAttrType attrType, BgpPathAttrFlag flags) {
  const std::uint32_t end = size();
  const auto valueLength = static_cast<std::uint16_t>(end - longHeader);
  const std::uint32_t start = valueLength <= 0xFF ? longHeader - shortHeader : 0;
  sizeIs(start);
  reInitHdr(attrType, flags, valueLength);
  sizeIs(end);
  return serializedBytes(start);
}

std::string SerializePathAttributeAutoExtLen::serializeAttributeValue() const { return serializedBytes(longHeader); }

SerializedBgpPrefixSidAttribute::SerializedBgpPrefixSidAttribute(PrefixSidTlvType type, std::uint16_t length) {
  TYR_ASSERT(type <= 0xFF);
  addU8(static_cast<std::uint8_t>(type));
  addU16hton(length);
}

}  // namespace Routing::Bgp
