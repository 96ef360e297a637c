// CommVectorContent: what all contents of community lists keep, and what a caller does alike with each of them.
//
// A content belongs to its caller and to one thread, takes communities in any order and with repeats, and can be used
// again after reset(). Sorting changes its order, never what it stands for. Errors: std::bad_alloc; past the vector's
// largest size boost::container::length_error, which is a std::exception but no std::logic_error.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "Keel/DedupHandleBase.h"
#include "Tyr/Export.h"

namespace Routing::Bgp {

// The value of a community attribute as it was received, without its header.
using AttributeOctets = std::span<const std::uint8_t>;
// Whether there are values in it, and whole ones of so many octets (RFC 7606).
constexpr bool isWhole(AttributeOctets octets, std::size_t each) noexcept {
  return !octets.empty() && octets.size() % each == 0;
}

class CommVectorState {
 public:
  bool commVectorSorted() const noexcept { return commVectorSorted_; }

 protected:
  mutable bool commVectorSorted_ = false;
};

class VELBGP_EXPORT CommContentBase : public Keel::DedupContentHandle, public CommVectorState {};

// Base is CommVectorState or an heir of it.
template <typename Element, typename Base>
class VELBGP_EXPORT CommVectorContent : public Base {
 public:
  // 64 communities inside the object.
  using Vector = boost::container::small_vector<Element, 64>;

  void expectedCommunityCountIs(std::size_t count) { comms_.reserve(count); }
  // In the order given until the content was interned or sorted, then ascending and without repeats.
  const Vector& comms() const noexcept { return comms_; }
  explicit operator bool() const noexcept { return !comms_.empty(); }
  // Without communities, as if new; keeps its memory.
  void reset() noexcept {
    comms_.clear();
    this->commVectorSorted_ = false;
  }

 protected:
  // Last, whatever is there.
  void add(Element comm) {
    this->commVectorSorted_ = false;
    comms_.push_back(std::move(comm));
  }

  // In place of what was there one element for each `each` octets, which read(octets) makes of them.
  template <typename Read>
  void readAll(AttributeOctets octets, std::size_t each, Read&& read) {
    comms_.resize(octets.size() / each, boost::container::default_init);
    const std::uint8_t* from = octets.data();
    for (Element& comm : comms_) {
      comm = read(from);
      from += each;
    }
    this->commVectorSorted_ = false;
  }

  mutable Vector comms_;
};

}  // namespace Routing::Bgp
