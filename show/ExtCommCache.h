// BgpShowCli::ExtCommCache: the texts of extended communities that a show command has printed, by value.
//
// Show commands print the same few values again and again. They look a value up, and make and insert the text when the
// answer is empty; the cache makes none itself. The asdot texts are kept apart from the others. It never forgets by
// itself.
//
// Ownership: Ptr; lookups return copies. Threads: one at a time. Errors: std::bad_alloc only.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "Tyr/Export.h"
#include "Tyr/PtrInterface.h"

namespace BgpShowCli {

class VELBGP_EXPORT ExtCommCache final : public Tyr::PtrInterface {
 public:
  using Ptr = Tyr::Ptr<ExtCommCache>;
  using PtrConst = Tyr::Ptr<const ExtCommCache>;
  using Texts = std::unordered_map<std::uint64_t, std::string>;

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

  Texts extCommToString_;
  Texts extCommToAsdotString_;
};

VELBGP_EXPORT ExtCommCache::Ptr extCommCacheFactory();
VELBGP_EXPORT ExtCommCache::Ptr ExtCommCacheIs();

}  // namespace BgpShowCli
