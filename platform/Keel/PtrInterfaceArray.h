// PtrInterfaceArray: a fixed array of counted references to interned objects in one word.
//
//   empty         the word is all ones but bit 0
//   one element   the word is its address (bit 0 is clear): no allocation
//   more          bit 0 is set and the rest is the address of a block: a 32-bit count, then a 32-bit SlabRef each;
//                 bit 1 says that the block is a part of the array's owner and goes with it
//
// Filled once, in place, by its one owner; read-only and readable from any thread afterwards. The destructor gives the
// elements' references back, unless forgetElements() said that somebody else holds them.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <new>
#include <utility>

#include "Keel/DedupHandleBase.h"
#include "Keel/SlabHeap.h"

namespace Keel {

namespace detail {

struct RefBlock {
  std::uint32_t count;
  SlabRef refs[1];
};
constexpr std::size_t refBlockOctets(std::uint32_t count) noexcept {
  return sizeof(std::uint32_t) + count * sizeof(SlabRef);
}
VELBGP_EXPORT RefBlock* newRefBlock(std::uint32_t count);
// What such a block takes.
VELBGP_EXPORT std::size_t memoryOctetsOf(const RefBlock& block) noexcept;
// All references 0, so that a half-filled array can be destroyed.
VELBGP_EXPORT void clearRefBlock(RefBlock* block, std::uint32_t count) noexcept;
VELBGP_EXPORT void deleteRefBlock(RefBlock* block) noexcept;
// Gives back a reference on each that is not null.
VELBGP_EXPORT void releaseRefs(const SlabRef* refs, std::uint32_t count) noexcept;

}  // namespace detail

// A view of the elements, as const T*, in order. Valid as long as the array.
template <typename T>
class PtrInterfaceRange {
 public:
  // Forward, over plain pointers.
  class iterator {
   public:
    using iterator_category = std::random_access_iterator_tag;
    using iterator_concept = std::random_access_iterator_tag;
    using value_type = const T*;
    using difference_type = std::ptrdiff_t;
    using reference = const T*;
    using pointer = void;

    iterator() noexcept = default;
    iterator(const SlabRef* ref, const T* single, difference_type index) noexcept
        : refs_(ref), single_(single), index_(index) {}

    reference operator*() const noexcept { return (*this)[0]; }
    reference operator[](difference_type n) const noexcept {
      return refs_ == nullptr ? single_ : handleAt<T>(refs_[index_ + n]);
    }
    iterator& operator+=(difference_type n) noexcept {
      index_ += n;
      return *this;
    }
    iterator& operator-=(difference_type n) noexcept { return *this += -n; }
    iterator& operator++() noexcept { return *this += 1; }
    iterator& operator--() noexcept { return *this += -1; }
    iterator operator++(int) noexcept { return std::exchange(*this, *this + 1); }
    iterator operator--(int) noexcept { return std::exchange(*this, *this - 1); }
    friend iterator operator+(iterator it, difference_type n) noexcept { return it += n; }
    friend iterator operator+(difference_type n, iterator it) noexcept { return it += n; }
    friend iterator operator-(iterator it, difference_type n) noexcept { return it += -n; }
    friend difference_type operator-(const iterator& a, const iterator& b) noexcept { return a.index_ - b.index_; }
    friend bool operator==(const iterator& a, const iterator& b) noexcept { return a.index_ == b.index_; }
    friend auto operator<=>(const iterator& a, const iterator& b) noexcept { return a.index_ <=> b.index_; }

   private:
    const SlabRef* refs_ = nullptr;
    const T* single_ = nullptr;
    difference_type index_ = 0;
  };
  using const_iterator = iterator;
  using value_type = const T*;

  PtrInterfaceRange(const SlabRef* refs, const T* single, std::uint32_t size) noexcept
      : refs_(refs), single_(single), size_(size) {}

  std::uint32_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  const T* operator[](std::size_t index) const noexcept {
    return refs_ == nullptr ? single_ : handleAt<T>(refs_[index]);
  }
  const T* front() const noexcept { return (*this)[0]; }
  const T* back() const noexcept { return (*this)[size_ - 1]; }
  iterator begin() const noexcept { return {refs_, single_, 0}; }
  iterator end() const noexcept { return {refs_, single_, static_cast<std::ptrdiff_t>(size_)}; }

  // The references themselves, or null when there are fewer than two elements.
  const SlabRef* refs() const noexcept { return refs_; }

 private:
  const SlabRef* refs_;
  const T* single_;
  std::uint32_t size_;
};

template <typename T>
class PtrInterfaceArray {
 public:
  PtrInterfaceArray() noexcept = default;
  PtrInterfaceArray(const PtrInterfaceArray&) = delete;
  PtrInterfaceArray& operator=(const PtrInterfaceArray&) = delete;
  ~PtrInterfaceArray() {
    // Some are null in an array that was not filled to its end.
    if (isBlock()) {
      detail::releaseRefs(block()->refs, block()->count);
    } else if (const T* const element = range().front(); element != nullptr) {
      element->referenceRelease();
    }
    forgetElements();
  }

  // Makes room for exactly `count` elements, to be filled before they are read, in an empty array: for more than one in
  // `ownersRoom`, memory of the owner's for such a block that is aligned to 4, or in a block of its own. Throws
  // std::bad_alloc.
  void sizeIs(std::uint32_t count, void* ownersRoom = nullptr) {
    TYR_ASSERT(empty());
    if (count == 1) word_ = 0;
    if (count < 2) return;
    auto* block = ownersRoom == nullptr ? detail::newRefBlock(count) : static_cast<detail::RefBlock*>(ownersRoom);
    detail::clearRefBlock(block, count);
    word_ = reinterpret_cast<std::uintptr_t>(block) | blockBit | (ownersRoom == nullptr ? 0 : ownersBit);
  }
  // Takes over the caller's reference. The place was null.
  void elementIs(std::uint32_t index, Tyr::Ptr<const T> element) noexcept { elementBorrow(index, element.detach()); }
  // Puts in the place of an element another one, of which somebody else holds a reference.
  void elementBorrow(std::uint32_t index, const T* element) noexcept {
    if (isBlock()) {
      block()->refs[index] = handleRef(element);
    } else {
      word_ = reinterpret_cast<std::uintptr_t>(element);
    }
  }
  // Empties the array without giving references back.
  void forgetElements() noexcept {
    if (isBlock() && (word_ & ownersBit) == 0) detail::deleteRefBlock(block());
    word_ = emptyWord;
  }

  // What it takes besides its word and its owner's room.
  std::size_t blockOctets() const noexcept {
    return isBlock() && (word_ & ownersBit) == 0 ? detail::memoryOctetsOf(*block()) : 0;
  }

  bool empty() const noexcept { return word_ == emptyWord; }
  std::uint32_t size() const noexcept { return isBlock() ? block()->count : (empty() ? 0 : 1); }
  const T* operator[](std::uint32_t index) const noexcept { return range()[index]; }
  PtrInterfaceRange<T> range() const noexcept {
    if (isBlock()) return {block()->refs, nullptr, block()->count};
    return {nullptr, empty() ? nullptr : reinterpret_cast<const T*>(word_), empty() ? 0u : 1u};
  }

 private:
  static constexpr std::uintptr_t blockBit = 1;
  static constexpr std::uintptr_t ownersBit = 2;
  static constexpr std::uintptr_t emptyWord = ~blockBit;

  bool isBlock() const noexcept { return (word_ & blockBit) != 0; }
  detail::RefBlock* block() const noexcept {
    return reinterpret_cast<detail::RefBlock*>(word_ & ~(blockBit | ownersBit));
  }

  std::uintptr_t word_ = emptyWord;
};

}  // namespace Keel
