// How lists ask expressions: never twice the same, and with texts that are built once for all expressions in a row.
#pragma once

#include <array>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Keel/DedupHandleBase.h"
#include "Policy/MatchMemoryImpl.h"
#include "VelBgp/MatchReason.h"

namespace Routing::Bgp {

// A list is known by its reference, as long as it lives. One that is still being built may change.
inline std::uint32_t matchNumberOf(const Keel::DedupHandleBase& list) noexcept { return Keel::handleRef(&list); }
inline bool isFinal(const Keel::DedupHandleBase& list) noexcept {
  return list.dedupState() != Keel::dedupHandleStateNeverDeduped();
}

// The texts of a list, by mode, each made when it is first asked for. Each thread keeps those of the last list that it
// matched: a few times the list's text, and what is longer than 64 KiB only until the next list.
class MatchTexts {
 public:
  static constexpr unsigned mostModes = 3;

  // Valid until the next call on this thread. make() gives the text, which ends at its first NUL.
  template <typename Make>
  static const std::string& text(const Keel::DedupHandleBase& list, unsigned mode, Make&& make) {
    thread_local MatchTexts last;
    if (last.isOf(list) && last.known_[mode]) return last.texts_[mode];
    std::string made = make();  // may match other lists
    made.resize(std::strlen(made.c_str()));
    if (!last.isOf(list)) last.begin(list);
    last.known_[mode] = isFinal(list);
    return last.texts_[mode] = std::move(made);
  }

 private:
  bool isOf(const Keel::DedupHandleBase& list) const noexcept {
    return list_ == matchNumberOf(list) && stay_ == RouteMap::MatchMemory::stay(list_);
  }
  void begin(const Keel::DedupHandleBase& list) {
    list_ = matchNumberOf(list);
    stay_ = RouteMap::MatchMemory::stayToNote(list_);
    known_ = {};
    for (std::string& text : texts_) {
      if (text.capacity() > 64 * 1024) text = std::string();
    }
  }

  std::uint32_t list_ = 0;
  std::uint64_t stay_ = 0;
  std::array<bool, mostModes> known_{};
  std::array<std::string, mostModes> texts_;
};

// Calls ask(text) for the text of each mode, but for one that is the same as the one before, until an answer is true.
// make(mode) gives a text.
template <typename Make, typename Ask>
bool anyTextOf(const Keel::DedupHandleBase& list, unsigned modes, Make&& make, Ask&& ask) {
  std::string before;  // a copy: making the next one may move the texts
  for (unsigned mode = 0; mode < modes; ++mode) {
    const std::string& text = MatchTexts::text(list, mode, [&] { return make(mode); });
    if ((mode == 0 || text != before) && ask(text)) return true;
    if (mode + 1 < modes) before = text;
  }
  return false;
}

template <typename Make>
bool matchList(const Keel::DedupHandleBase& list, const RouteMap::PosixRegex* regex, unsigned modes, Make&& make) {
  const RouteMap::PosixRegex& expression = RouteMap::expressionAt(regex);
  const bool remembered = isFinal(list);
  if (remembered) {
    if (const auto known = RouteMap::MatchMemory::answer(matchNumberOf(list), expression)) return *known;
  }
  const auto ask = [&expression](const std::string& text) { return expression.execute(text) == 0; };
  const bool matches = anyTextOf(list, modes, make, ask);
  if (remembered) RouteMap::MatchMemory::answerIs(matchNumberOf(list), expression, matches);
  return matches;
}

// Where the text of each community stands in a list's text; an end before its beginning for one that has none there.
struct TextPlace {
  std::size_t begin = 1;
  std::size_t end = 0;
};

// The parts of a text that match, for the communities that stand at these places. None if nothing matches.
inline std::vector<std::optional<std::string>> matchedParts(std::string_view text, std::span<const TextPlace> places,
                                                            const RouteMap::PosixRegex& regex) {
  std::vector<std::optional<std::string>> parts;
  for (std::size_t from = 0; from <= text.size();) {
    const auto found = regex.find(text, from);
    if (!found) break;
    parts.resize(places.size());
    const auto begin = static_cast<std::size_t>(found->data() - text.data());
    const std::size_t end = begin + found->size();
    for (std::size_t i = 0; i < places.size(); ++i) {
      const bool touches = begin <= places[i].end && end >= places[i].begin && places[i].begin <= places[i].end;
      const bool isInside = found->empty() || (begin < places[i].end && end > places[i].begin);
      if (touches && isInside && !parts[i]) parts[i] = std::string(*found);
    }
    from = found->empty() ? end + 1 : end;
  }
  return parts;
}

// text(mode, places) gives the text of a mode and fills in the places.
template <typename Text>
std::optional<MatchReason> matchReasonOf(const RouteMap::PosixRegex* regex, std::span<const std::string_view> modes,
                                         Text&& textOfMode) {
  const RouteMap::PosixRegex& expression = RouteMap::expressionAt(regex);
  for (unsigned mode = 0; mode < modes.size(); ++mode) {
    std::vector<TextPlace> places;
    std::string text = textOfMode(mode, places);
    text.resize(std::strlen(text.c_str()));
    auto parts = matchedParts(text, places, expression);
    if (!parts.empty()) return MatchReason{modes[mode], std::move(parts)};
  }
  return std::nullopt;
}

template <typename Make>
std::vector<bool> matchListWithSet(const Keel::DedupHandleBase& list, const RouteMap::PosixRegexSet& set,
                                   unsigned modes, Make&& make) {
  std::vector<bool> matched(set.expressions().size());
  anyTextOf(list, modes, make, [&](const std::string& text) {
    set.execute(text, matched);
    return false;
  });
  return matched;
}

}  // namespace Routing::Bgp
