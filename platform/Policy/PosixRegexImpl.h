// The machine room of PosixRegex: a pattern as a program (PosixRegexProgram.cpp) and the matcher that runs it
// (PosixRegexMatcher.cpp). Not installed.
//
// A program is a flat list of instructions that consume one octet of a set, test what stands on both sides of a
// position, jump, or fork. Targets are relative, so a part of a program can be copied or moved as it stands.
//
// The matcher is a finite automaton made while it runs. A state is the set of instructions reached after an octet, with
// the kind of that octet. What a test instruction says depends on the next octet too, so forks and jumps are followed
// only once that is known; the end of the text is a symbol of its own. Octets that no set tells apart share a symbol.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Routing::RouteMap {

using RegexByteSet = std::bitset<256>;

// What stands beside a position.
enum RegexContext : std::uint8_t { regexContextEdge, regexContextOther, regexContextWord };

struct RegexInstruction {
  enum Operation : std::uint8_t { byteIn, test, jump, fork, accept };
  Operation operation;
  std::int32_t first = 0;   // byteIn: number of the set; test: mask of regexContextBit()s; jump, fork: relative target
  std::int32_t second = 0;  // fork: the other relative target
};

struct RegexProgram {
  std::vector<RegexInstruction> code;
  std::vector<RegexByteSet> sets;
  bool usesWords = false;  // some test asks for words
};

constexpr std::int32_t regexContextBit(unsigned before, unsigned after) { return 1 << (3 * before + after); }

// Throws PosixRegexException.
RegexProgram regexProgram(std::string_view pattern);

// Not safe for concurrent use.
class RegexMatcher {
 public:
  explicit RegexMatcher(RegexProgram program);
  bool matches(const char* text);

 private:
  // A state is the offset of its row in transitions_; these small numbers are no offsets.
  using State = std::uint32_t;
  static constexpr State unknown = 0, matched = 1, failed = 2;
  // The context before the position and the instructions to go on from, ascending.
  using Key = std::u32string;

  void symbolsInit();
  RegexContext context(unsigned char octet) const;
  bool startsOnlyAtEdge();
  bool reach(const Key& key, bool start, RegexContext before, RegexContext after);
  void reachPush(std::uint32_t instruction);
  State step(State state, unsigned symbol);
  State stateOf(Key key);
  void dropStates();

  RegexProgram program_;
  std::array<std::uint8_t, 256> symbolOf_{};  // of the terminating zero: the end
  std::vector<unsigned char> octetOf_;        // one octet for each symbol
  std::uint32_t width_ = 0;                   // of a row
  bool startsOnlyAtEdge_ = false;

  std::vector<State> transitions_;
  std::vector<const Key*> keys_;
  std::unordered_map<Key, State> stateByKey_;
  std::size_t octets_ = 0;  // that the states take, about
  unsigned drops_ = 0;
  State initial_ = unknown;

  // Scratch of reach(): the byteIn instructions reached, and what was seen in which round.
  std::vector<std::uint32_t> reached_, pending_, seen_;
  std::uint32_t round_ = 0;
};

}  // namespace Routing::RouteMap
