// The answers that immutable, interned objects have got from expressions, so that nobody asks twice.
//
//   if (const auto known = MatchMemory::answer(number, regex)) return *known;
//   ... ask the engine ...
//   MatchMemory::answerIs(number, regex, matched);
//
// An object is known by a number of its own that is not zero, as long as it lives, whatever its kind: forget() at the
// latest before another object gets the number.
//
// Memory: one table for the process, of 2^17 lines of 64 octets: 8 MiB at most, taken by the page as lines are touched.
// A line holds the answers of 128 expressions for one object; of two objects (or of an object's second 128 expressions)
// that fall on one line, the later answers replace the earlier ones. At most 256 expressions at a time take part, those
// that lists asked first; further ones are always asked.
//
// Cost: an answer is one load from one line; a new one is a compare-and-swap there. Once anything was remembered, each
// object that goes looks at one line more, or two when there are more than 128 expressions.
//
// How it is exact: a word of a line holds the object's number and the answers of sixteen expressions, so whoever reads
// it knows whose answers it read, without a lock. An object is forgotten by the thread that deletes it, behind all who
// could have asked for it; an expression's number is given out again after its answers were cleared.
//
// Threads: any. Errors: none.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "Policy/PosixRegex.h"

namespace Routing::RouteMap {

class MatchMemory {
 public:
  static constexpr unsigned expressions = 256;

  static std::optional<bool> answer(std::uint32_t object, const PosixRegex& regex);
  static void answerIs(std::uint32_t object, const PosixRegex& regex, bool matches);
  static void forget(std::uint32_t object) noexcept {
    if (inUse_.load(std::memory_order_relaxed)) forgetNow(object);
  }

  // Changes when one of some objects goes, of which this may be one: what was noted of an object that lives under an
  // equal number holds.
  static std::uint64_t stay(std::uint32_t object) noexcept {
    return stays_[object % stays_.size()].load(std::memory_order_relaxed);
  }

  static std::uint64_t stayToNote(std::uint32_t object) noexcept {
    inUse_.store(true, std::memory_order_relaxed);
    return stay(object);
  }

  // The number of an expression, from its first answer that is remembered for as long as it lives.
  class Number {
   public:
    static constexpr unsigned none = expressions;

    Number() noexcept = default;
    Number(const Number&) = delete;
    Number& operator=(const Number&) = delete;
    ~Number();

    // None as well before it was taken. Acquire: what another had under this number was cleared before it was taken.
    unsigned value() const noexcept { return value_.load(std::memory_order_acquire); }
    unsigned taken();

   private:
    std::atomic<unsigned> value_ = none;
  };

 private:
  static Number& numberOf(const PosixRegex& regex);
  static void forgetNow(std::uint32_t object) noexcept;

  static inline std::atomic<bool> inUse_ = false;
  static inline std::array<std::atomic<std::uint64_t>, 1024> stays_{};
};

}  // namespace Routing::RouteMap
