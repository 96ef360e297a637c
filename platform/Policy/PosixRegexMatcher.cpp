#include <algorithm>
#include <map>
#include <utility>

#include "Policy/PosixRegexImpl.h"

namespace Routing::RouteMap {
namespace {

constexpr std::size_t maxOctetsOfStates = 512 * 1024;

constexpr bool isWordOctet(unsigned char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

}  // namespace

RegexMatcher::RegexMatcher(RegexProgram program) : program_(std::move(program)), seen_(program_.code.size()) {
  symbolsInit();
  startsOnlyAtEdge_ = startsOnlyAtEdge();
}

// Octets share a symbol when they are members of the same sets. The end comes first, as symbol 0.
void RegexMatcher::symbolsInit() {
  std::map<std::vector<bool>, std::uint8_t> symbolByMembership;
  octetOf_.push_back('\0');
  for (unsigned octet = 1; octet < 256; ++octet) {
    std::vector<bool> membership{context(static_cast<unsigned char>(octet)) == regexContextWord};
    for (const RegexByteSet& set : program_.sets) membership.push_back(set[octet]);
    const auto number = static_cast<std::uint8_t>(octetOf_.size());
    const auto [at, isNew] = symbolByMembership.try_emplace(std::move(membership), number);
    if (isNew) octetOf_.push_back(static_cast<unsigned char>(octet));
    symbolOf_[octet] = at->second;
  }
  // At least four, so that no row's offset is one of the small numbers that are no states.
  width_ = static_cast<std::uint32_t>(std::max<std::size_t>(octetOf_.size(), 4));
  transitions_.assign(width_, unknown);
  keys_.assign(1, nullptr);
}

// Words are told apart only for patterns that ask.
RegexContext RegexMatcher::context(unsigned char octet) const {
  if (octet == '\0') return regexContextEdge;
  return program_.usesWords && isWordOctet(octet) ? regexContextWord : regexContextOther;
}

// Whether a match can begin nowhere but at the text's first octet.
bool RegexMatcher::startsOnlyAtEdge() {
  for (const RegexContext before : {regexContextOther, regexContextWord}) {
    for (const RegexContext after : {regexContextEdge, regexContextOther, regexContextWord}) {
      if (reach({}, true, before, after) || !reached_.empty()) return false;
    }
  }
  return true;
}

bool RegexMatcher::matches(const char* text) {
  if (initial_ == unknown) initial_ = stateOf({regexContextEdge});
  State state = initial_;
  for (;; ++text) {
    const unsigned symbol = symbolOf_[static_cast<unsigned char>(*text)];
    State next = transitions_[state + symbol];
    if (next <= failed) [[unlikely]] {
      if (next == unknown) next = step(state, symbol);
      if (next == matched || next == failed) return next == matched;
    }
    state = next;
  }
}

// The state after one more octet, noted in the table (unless the row was dropped meanwhile).
RegexMatcher::State RegexMatcher::step(State state, unsigned symbol) {
  const Key& key = *keys_[state / width_];
  const auto before = static_cast<RegexContext>(key[0]);
  const RegexContext after = context(octetOf_[symbol]);
  const bool start = before == regexContextEdge || !startsOnlyAtEdge_;
  if (reach(key, start, before, after)) return transitions_[state + symbol] = matched;
  if (after == regexContextEdge) return transitions_[state + symbol] = failed;
  Key next{after};
  for (const std::uint32_t at : reached_) {
    const auto set = static_cast<std::size_t>(program_.code[at].first);
    if (program_.sets[set][octetOf_[symbol]]) next.push_back(at + 1);
  }
  if (next.size() == 1 && startsOnlyAtEdge_) return transitions_[state + symbol] = failed;
  std::sort(next.begin() + 1, next.end());
  const unsigned drops = drops_;
  const State made = stateOf(std::move(next));
  if (drops_ == drops) transitions_[state + symbol] = made;
  return made;
}

RegexMatcher::State RegexMatcher::stateOf(Key key) {
  if (const auto found = stateByKey_.find(key); found != stateByKey_.end()) return found->second;
  const std::size_t cost = key.size() * sizeof(char32_t) + width_ * sizeof(State) + 128;
  if (octets_ + cost > maxOctetsOfStates) dropStates();
  // In this order an exception leaves at worst a row that no state has.
  const auto row = static_cast<State>(keys_.size() * width_);
  transitions_.resize(row + width_, unknown);
  keys_.push_back(nullptr);
  keys_.back() = &stateByKey_.emplace(std::move(key), row).first->first;
  octets_ += cost;
  return row;
}

void RegexMatcher::dropStates() {
  stateByKey_.clear();
  keys_.resize(1);
  transitions_.resize(width_);
  octets_ = 0;
  initial_ = unknown;
  ++drops_;
}

// Follows forks, jumps and tests between two octets, from the instructions of the key and, if start, from the first
// one; the byteIn instructions that are reached stand in reached_. Answers whether the end of the program is.
bool RegexMatcher::reach(const Key& key, bool start, RegexContext before, RegexContext after) {
  if (++round_ == 0) {
    std::fill(seen_.begin(), seen_.end(), 0);
    round_ = 1;
  }
  reached_.clear();
  pending_.clear();
  for (std::size_t i = 1; i < key.size(); ++i) reachPush(key[i]);
  if (start) reachPush(0);
  while (!pending_.empty()) {
    const std::uint32_t at = pending_.back();
    pending_.pop_back();
    const RegexInstruction& instruction = program_.code[at];
    switch (instruction.operation) {
      case RegexInstruction::byteIn:
        reached_.push_back(at);
        break;
      case RegexInstruction::test:
        if (instruction.first & regexContextBit(before, after)) reachPush(at + 1);
        break;
      case RegexInstruction::fork:
        reachPush(at + static_cast<std::uint32_t>(instruction.second));
        [[fallthrough]];
      case RegexInstruction::jump:
        reachPush(at + static_cast<std::uint32_t>(instruction.first));
        break;
      case RegexInstruction::accept:
        return true;
    }
  }
  return false;
}

void RegexMatcher::reachPush(std::uint32_t instruction) {
  if (seen_[instruction] == round_) return;
  seen_[instruction] = round_;
  pending_.push_back(instruction);
}

}  // namespace Routing::RouteMap
