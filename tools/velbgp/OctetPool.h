// Octets that are kept once, and named by a number from then on. Single-threaded.
#pragma once

#include <boost/unordered/unordered_flat_set.hpp>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/velbgp/Text.h"

namespace VelBgpTool {

class OctetPool {
 public:
  OctetPool() : numbers_(0, Hash{this}, Equal{this}) {}
  OctetPool(const OctetPool&) = delete;
  OctetPool& operator=(const OctetPool&) = delete;

  std::size_t size() const { return places_.size(); }
  // Numbers go up from 0.
  std::uint32_t numberOf(std::string_view octets) {
    const auto known = numbers_.find(octets);
    if (known != numbers_.end()) return *known;
    const auto number = static_cast<std::uint32_t>(places_.size());
    places_.push_back({octets_.size(), octets.size()});
    octets_ += octets;
    numbers_.insert(number);
    return number;
  }
  std::uint32_t numberOf(Octets octets) { return numberOf(textOf(octets)); }
  // Valid until more octets come.
  std::string_view at(std::uint32_t number) const {
    return std::string_view(octets_).substr(places_[number].begin, places_[number].size);
  }
  Octets octetsAt(std::uint32_t number) const { return octetsOf(at(number)); }

 private:
  struct Place {
    std::size_t begin, size;
  };
  struct Hash {
    using is_transparent = void;
    const OctetPool* pool;
    std::size_t operator()(std::string_view octets) const { return boost::hash<std::string_view>()(octets); }
    std::size_t operator()(std::uint32_t number) const { return (*this)(pool->at(number)); }
  };
  struct Equal {
    using is_transparent = void;
    const OctetPool* pool;
    bool operator()(std::uint32_t a, std::uint32_t b) const { return a == b; }
    bool operator()(std::string_view octets, std::uint32_t number) const { return octets == pool->at(number); }
    bool operator()(std::uint32_t number, std::string_view octets) const { return octets == pool->at(number); }
  };

  std::string octets_;
  std::vector<Place> places_;
  boost::unordered_flat_set<std::uint32_t, Hash, Equal> numbers_;
};

}  // namespace VelBgpTool
