#include "tools/velbgp/AsPath.h"

#include <algorithm>
#include <charconv>

#include "tools/velbgp/Cursor.h"

namespace VelBgpTool {

namespace {

struct Marks {
  char begin, between, end;
};
// Of each type of segment; a blank stands for none at the ends.
constexpr Marks marks[] = {{}, {'{', ',', '}'}, {' ', ' ', ' '}, {'(', ' ', ')'}, {'[', ',', ']'}};

bool takeSegment(Cursor& path, unsigned asOctets, std::uint32_t& type, Octets& numbers) {
  std::uint32_t count = 0;
  return path.octet(type) && path.octet(count) && path.take(std::size_t{count} * asOctets, numbers);
}

void appendDecimal(std::string& text, std::uint32_t number) {
  char digits[10];
  text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

}  // namespace

bool AsPath::wellFormed(Octets attribute, unsigned asOctets, EmptySegments empty) {
  Cursor path(attribute);
  std::uint32_t type = 0;
  Octets numbers;
  while (path.left() != 0) {
    if (!takeSegment(path, asOctets, type, numbers) || type < set || type > confedSet) return false;
    if (numbers.empty() && empty == EmptySegments::refused) return false;
  }
  return true;
}

void AsPath::attributeIs(Octets attribute, unsigned asOctets) {
  segments_.clear();
  numbers_.clear();
  read(attribute, asOctets);
}

void AsPath::read(Octets attribute, unsigned asOctets) {
  Cursor path(attribute);
  std::uint32_t type = 0;
  for (Octets numbers; takeSegment(path, asOctets, type, numbers);) {
    segments_.push_back({static_cast<std::uint8_t>(type), static_cast<std::uint32_t>(numbers_.size()),
                         static_cast<std::uint32_t>(numbers.size() / asOctets)});
    for (; !numbers.empty(); numbers = numbers.subspan(asOctets)) {
      numbers_.push_back(static_cast<std::uint32_t>(bigEndian(numbers.first(asOctets))));
    }
  }
}

std::size_t AsPath::length() const {
  std::size_t length = 0;
  for (const Place& place : segments_) {
    if (!isConfederation(place)) length += place.type == set ? 1 : place.size;
  }
  return length;
}

// Confederation segments have no place in AS4_PATH (RFC 6793, 6).
void AsPath::readAs4(Octets attribute) {
  attributeIs(attribute, 4);
  std::erase_if(segments_, isConfederation);
}

void AsPath::append(const AsPath& other) {
  for (const Place& place : other.segments_) {
    const auto numbers = std::span(other.numbers_).subspan(place.begin, place.size);
    segments_.push_back({place.type, static_cast<std::uint32_t>(numbers_.size()), place.size});
    numbers_.insert(numbers_.end(), numbers.begin(), numbers.end());
  }
}

void AsPath::as4PathIs(Octets attribute) {
  AsPath newer;
  newer.readAs4(attribute);
  const std::size_t own = length();
  const std::size_t known = newer.length();
  if (own < known) return;
  cutTo(own - known);
  append(newer);
}

void AsPath::as4PathIsForBgpdump(Octets attribute) {
  const auto lengthOf = [](const Place& place) {
    return std::size_t{place.type == set || place.type == confedSet ? 1 : place.size};
  };
  if (segments_.empty() || lengthOf(segments_.front()) == 0) return as4PathIs(attribute);
  AsPath newer;
  newer.readAs4(attribute);
  const std::size_t known = newer.length();
  std::size_t own = 0;
  for (const Place& place : segments_) own += lengthOf(place);
  if (own < known) return;
  const Place first = segments_.front();
  segments_.clear();
  for (std::size_t left = own - known; left != 0; left -= std::min(left, lengthOf(first))) {
    segments_.push_back(first);
    if (left < lengthOf(first)) segments_.back().size = static_cast<std::uint32_t>(left);
  }
  append(newer);
}

// Confederation segments go with what they stand behind, the first with the path's beginning.
void AsPath::cutTo(std::size_t length) {
  std::size_t kept = 0;
  for (; kept < segments_.size(); ++kept) {
    Place& place = segments_[kept];
    if (isConfederation(place)) continue;
    if (length == 0) break;
    if (place.type == sequence && place.size > length) {
      place.size = static_cast<std::uint32_t>(length);
      ++kept;
      break;
    }
    length -= place.type == set ? 1 : place.size;
  }
  segments_.resize(kept);
}

bool AsPath::contains(std::uint32_t as) const {
  for (std::size_t i = 0; i < segments(); ++i) {
    if (std::ranges::find(segment(i).numbers, as) != segment(i).numbers.end()) return true;
  }
  return false;
}

bool AsPath::originatedBy(std::uint32_t as) const {
  for (std::size_t i = segments(); i-- != 0;) {
    if (isConfederation(segments_[i]) || segments_[i].size == 0) continue;
    const Segment last = segment(i);
    if (last.type == sequence) return last.numbers.back() == as;
    return std::ranges::find(last.numbers, as) != last.numbers.end();
  }
  return false;
}

void AsPath::appendTo(std::string& text) const {
  bool space = false;
  for (std::size_t i = 0; i < segments(); ++i) {
    const auto [type, numbers] = segment(i);
    const Marks& mark = marks[type];
    if (space) text += ' ';
    if (mark.begin != ' ') text += mark.begin;
    for (const std::uint32_t& number : numbers) {
      if (&number != numbers.data()) text += mark.between;
      appendDecimal(text, number);
    }
    if (mark.end != ' ') text += mark.end;
    space = !numbers.empty();
  }
}

}  // namespace VelBgpTool
