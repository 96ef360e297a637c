// The AS path of a route: its segments, and its text.
//
// Also of one that was received with AS numbers of two octets, merged with the AS4_PATH beside it (RFC 6793, 4.2.3).
// Reading one allocates nothing once a long one was read. Single-threaded.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/velbgp/Text.h"

namespace VelBgpTool {

// What stands for an AS that two octets have no room for (RFC 6793).
inline constexpr std::uint32_t asTrans = 23456;

class AsPath {
 public:
  enum Type : std::uint8_t { set = 1, sequence, confedSequence, confedSet };
  struct Segment {
    std::uint8_t type;
    std::span<const std::uint32_t> numbers;
  };
  // What is not to be found in a path: nothing, but for a program that prints such.
  enum class EmptySegments { refused, taken };

  // Whether an attribute has known and whole segments only (RFC 7606, 7.2).
  static bool wellFormed(Octets attribute, unsigned asOctets, EmptySegments empty = EmptySegments::refused);

  // Takes in a well-formed attribute.
  void attributeIs(Octets attribute, unsigned asOctets);
  // Merges a well-formed AS4_PATH into the path.
  void as4PathIs(Octets attribute);
  // The same as bgpdump does it: what it lacks at the front it takes from the first segment again and again, and it
  // counts confederations too.
  void as4PathIsForBgpdump(Octets attribute);

  std::size_t segments() const { return segments_.size(); }
  Segment segment(std::size_t i) const {
    return {segments_[i].type, std::span(numbers_).subspan(segments_[i].begin, segments_[i].size)};
  }

  bool contains(std::uint32_t as) const;
  // Whether the route was originated by the AS: the last one, or any of a set that ends the path; confederation
  // segments are passed over.
  bool originatedBy(std::uint32_t as) const;

  // "64500 64501 {64502,64503}".
  void appendTo(std::string& text) const;

 private:
  struct Place {
    std::uint8_t type;
    std::uint32_t begin;  // in numbers_
    std::uint32_t size;
  };
  static bool isConfederation(const Place& place) { return place.type == confedSequence || place.type == confedSet; }
  // How many ASes the path is long: a set counts as one, confederations not at all.
  std::size_t length() const;
  void read(Octets attribute, unsigned asOctets);
  void readAs4(Octets attribute);
  void append(const AsPath& other);
  // Keeps what stands before the last `length` ASes.
  void cutTo(std::size_t length);

  std::vector<Place> segments_;
  std::vector<std::uint32_t> numbers_;
};

}  // namespace VelBgpTool
