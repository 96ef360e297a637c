#include <bitset>
#include <mutex>
#include <type_traits>

#include "Policy/MatchMemoryImpl.h"

namespace Routing::RouteMap {
namespace {

// A word: the object's number in its upper half; for each of sixteen expressions in the lower half two bits, whether the
// answer is known and what it is.
using Word = std::uint64_t;
constexpr unsigned answersOfWord = 16, wordsOfLine = 8, answersOfLine = answersOfWord * wordsOfLine;
constexpr unsigned lineBits = 17;

struct alignas(64) Line {
  std::atomic_ref<Word> word(unsigned i) noexcept { return std::atomic_ref<Word>(words_[i]); }

  Word words_[wordsOfLine];
};
Line lines[std::size_t{1} << lineBits];

constexpr std::uint32_t objectOf(Word word) noexcept { return static_cast<std::uint32_t>(word >> 32); }

Line& lineOf(std::uint32_t object, unsigned part) noexcept {
  return lines[(object * 0x9e3779b1u + part * 0x85ebca6bu) >> (32 - lineBits)];
}
std::atomic_ref<Word> wordOf(std::uint32_t object, unsigned number) noexcept {
  return lineOf(object, number / answersOfLine).word(number % answersOfLine / answersOfWord);
}
constexpr Word bitsOf(unsigned number, unsigned bits) noexcept { return Word{bits} << number % answersOfWord * 2; }
constexpr unsigned known = 1, matching = 2;

std::atomic<unsigned> parts = 1;  // of the numbers that were ever given

// Numbers that were given back stay dirty until there are no others; then the answers of all of them are cleared in one
// walk.
struct Numbers {
  std::mutex mutex;
  std::bitset<MatchMemory::expressions> taken;
  std::bitset<MatchMemory::expressions> dirty;
  static inline std::atomic<bool> full = false;  // so that those without a number need not wait to hear so

  static Numbers& all() {
    static Numbers numbers;
    return numbers;
  }

  // None when all are taken.
  unsigned take() noexcept {
    unsigned number = firstFree();
    if (number == MatchMemory::Number::none && dirty.any()) {
      clean();
      number = firstFree();
    }
    if (number == MatchMemory::Number::none) {
      full.store(true, std::memory_order_relaxed);
      return number;
    }
    taken.set(number);
    if (number >= answersOfLine) parts.store(2, std::memory_order_relaxed);
    return number;
  }
  unsigned firstFree() const noexcept {
    unsigned number = 0;
    while (number < MatchMemory::expressions && (taken[number] || dirty[number])) ++number;
    return number;
  }
  void clean() noexcept {
    std::array<Word, MatchMemory::expressions / answersOfWord> kept;
    kept.fill(~Word{0});
    for (unsigned number = 0; number < MatchMemory::expressions; ++number) {
      if (dirty[number]) kept[number / answersOfWord] &= ~bitsOf(number, known | matching);
    }
    // A line may hold either part of an object's answers.
    for (Line& line : lines) {
      for (unsigned i = 0; i < wordsOfLine; ++i) cleanWord(line.word(i), kept[i] & kept[i + wordsOfLine]);
    }
    dirty.reset();
  }
  static void cleanWord(std::atomic_ref<Word> word, Word kept) noexcept {
    if ((word.load(std::memory_order_relaxed) & ~kept) != 0) word.fetch_and(kept, std::memory_order_relaxed);
  }
};

static_assert(std::is_trivially_destructible_v<Numbers>);  // expressions may go at the end of the process

}  // namespace

unsigned MatchMemory::Number::taken() {
  if (value() != none || Numbers::full.load(std::memory_order_relaxed)) return value();
  Numbers& numbers = Numbers::all();
  const std::lock_guard lock(numbers.mutex);
  if (value() != none) return value();
  const unsigned number = numbers.take();
  value_.store(number, std::memory_order_release);
  return number;
}

MatchMemory::Number::~Number() {
  if (value() == none) return;
  Numbers& numbers = Numbers::all();
  const std::lock_guard lock(numbers.mutex);
  numbers.taken.reset(value());
  numbers.dirty.set(value());
  Numbers::full.store(false, std::memory_order_relaxed);
}

std::optional<bool> MatchMemory::answer(std::uint32_t object, const PosixRegex& regex) {
  const unsigned number = numberOf(regex).value();
  if (number == Number::none) return std::nullopt;
  const Word word = wordOf(object, number).load(std::memory_order_relaxed);
  if (objectOf(word) != object || (word & bitsOf(number, known)) == 0) return std::nullopt;
  return (word & bitsOf(number, matching)) != 0;
}

void MatchMemory::answerIs(std::uint32_t object, const PosixRegex& regex, bool matches) {
  const unsigned number = numberOf(regex).taken();
  if (number == Number::none) return;
  inUse_.store(true, std::memory_order_relaxed);
  const std::atomic_ref<Word> word = wordOf(object, number);
  const Word own = Word{object} << 32, bits = bitsOf(number, matches ? known | matching : known);
  Word before = word.load(std::memory_order_relaxed);
  while (!word.compare_exchange_weak(before, (objectOf(before) == object ? before : own) | bits,
                                     std::memory_order_relaxed)) {
  }
}

void MatchMemory::forgetNow(std::uint32_t object) noexcept {
  stays_[object % stays_.size()].fetch_add(1, std::memory_order_relaxed);
  for (unsigned part = 0; part < parts.load(std::memory_order_relaxed); ++part) {
    Line& line = lineOf(object, part);
    for (unsigned i = 0; i < wordsOfLine; ++i) {
      Word word = line.word(i).load(std::memory_order_relaxed);
      while (objectOf(word) == object && !line.word(i).compare_exchange_weak(word, 0, std::memory_order_relaxed)) {
      }
    }
  }
}

}  // namespace Routing::RouteMap
