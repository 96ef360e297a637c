// The smallest interned object: one 64-bit value. Counts constructions and destructions, so that a test sees a leak.
#pragma once

#include <atomic>
#include <cstdint>

#include "Keel/DedupHashTable.h"

namespace Keel::test {

class WordContent final : public DedupContentHandle {
 public:
  explicit WordContent(std::uint64_t value) : value(value) {}
  std::uint32_t hash() const override;
  const std::uint64_t value;
};

class Word final : public DedupHandleBase {
 public:
  using PtrConst = Tyr::Ptr<const Word>;

  explicit Word(std::uint64_t value) : value(value) { ++alive; }
  const Tyr::FwkType& fwkType() const override {
    static constexpr Tyr::FwkType type{"Keel::test::Word"};
    return type;
  }
  std::uint32_t hash() const override { return hashOf(value); }
  bool compare(const DedupHandleBase* other) const override { return static_cast<const Word*>(other)->value == value; }
  bool compareByContent(const DedupContentHandle& content) const override {
    return static_cast<const WordContent&>(content).value == value;
  }

  // Few distinct hashes: chains are long, and equal hashes of unequal values happen.
  static std::uint32_t hashOf(std::uint64_t value) { return static_cast<std::uint32_t>(value % 97) * 0x9e3779b9u; }
  static PtrConst intern(DedupHashTable& table, std::uint64_t value) {
    DedupHandleBase* found = table.lookupByContent(WordContent(value), hashOf(value));
    if (found == nullptr) {
      const Tyr::Ptr<Word> fresh(new Word(value));
      found = table.dedup(fresh.get());
    }
    return PtrConst(static_cast<const Word*>(found), false);
  }

  const std::uint64_t value;
  static inline std::atomic<int> alive{0};

 private:
  ~Word() override { --alive; }
};

inline std::uint32_t WordContent::hash() const { return Word::hashOf(value); }

}  // namespace Keel::test
