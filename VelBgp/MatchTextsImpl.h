// How lists ask expressions: never twice the same, and with texts that are built once for all expressions in a row.
#pragma once

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "Keel/DedupHandleBase.h"
#include "Policy/MatchMemoryImpl.h"

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
