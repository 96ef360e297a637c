// BgpShowCli::ExtCommCache: the texts of extended communities that a show command has printed, by value.
//
// Show commands print the same few values again and again. They look a value up, and make and insert the text when the
// answer is empty; the cache makes none itself. The asdot texts are kept apart from the others.
//
// Peers choose the values. So they are found by a keyed hash (Keel/HashMix.h), whose key the order of the texts would
// tell: show no texts in the order of the maps. And the caller should set a bound: without one the cache never forgets
// by itself. A full map is emptied before it takes another value.
//
// Ownership: Ptr; lookups return copies. Threads: one at a time. Errors: std::bad_alloc only.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <unordered_map>

#include "Keel/HashMix.h"
#include "Tyr/Export.h"
#include "Tyr/PtrInterface.h"

namespace BgpShowCli {

class VELBGP_EXPORT ExtCommCache final : public Tyr::PtrInterface {
 public:
  using Ptr = Tyr::Ptr<ExtCommCache>;
  using PtrConst = Tyr::Ptr<const ExtCommCache>;
  // By a secret key, so that no peer can choose values which share a bucket.
  struct Hash {
    std::size_t operator()(std::uint64_t value) const noexcept { return Keel::singleAttributeHash(value, 0xcac4e); }
  };
  using Texts = std::unordered_map<std::uint64_t, std::string, Hash>;

  // How many texts each of the two maps may hold; at first as many as there is memory for. A map that holds more is
  // emptied. Asserts that the bound is not 0.
  std::size_t mostTexts() const noexcept { return mostTexts_; }
  void mostTextsIs(std::size_t most);

  // Empty when the value has no text, or an empty one.
  std::string lookup(std::uint64_t value, bool asdot) const;
  // Replaces the text of a value that has one.
  void insert(std::uint64_t value, const std::string& text, bool asdot);

  const Texts& extCommToString() const noexcept { return extCommToString_; }
  void extCommToStringIs(std::uint64_t value, const std::string& text);
  // Returns the text that it removed; empty when there was none.
  std::string extCommToStringDel(std::uint64_t value);
  void extCommToStringDelAll();

  const Texts& extCommToAsdotString() const noexcept { return extCommToAsdotString_; }
  void extCommToAsdotStringIs(std::uint64_t value, const std::string& text);
  std::string extCommToAsdotStringDel(std::uint64_t value);
  void extCommToAsdotStringDelAll();

 private:
  ~ExtCommCache() override;
  void textIs(Texts& texts, std::uint64_t value, const std::string& text);

  std::size_t mostTexts_ = std::numeric_limits<std::size_t>::max();
  Texts extCommToString_;
  Texts extCommToAsdotString_;
};

VELBGP_EXPORT ExtCommCache::Ptr extCommCacheFactory();
VELBGP_EXPORT ExtCommCache::Ptr ExtCommCacheIs();

}  // namespace BgpShowCli
