#include "show/ExtCommCache.h"

#include "Tyr/Assert.h"

namespace BgpShowCli {
namespace {

std::string take(ExtCommCache::Texts& texts, std::uint64_t value) {
  const auto node = texts.extract(value);
  return node.empty() ? std::string() : node.mapped();
}

}  // namespace

ExtCommCache::~ExtCommCache() = default;

std::string ExtCommCache::lookup(std::uint64_t value, bool asdot) const {
  const Texts& texts = asdot ? extCommToAsdotString_ : extCommToString_;
  const auto it = texts.find(value);
  return it == texts.end() ? std::string() : it->second;
}

void ExtCommCache::insert(std::uint64_t value, const std::string& text, bool asdot) {
  if (asdot) return extCommToAsdotStringIs(value, text);
  extCommToStringIs(value, text);
}

void ExtCommCache::mostTextsIs(std::size_t most) {
  TYR_ASSERT(most != 0);
  mostTexts_ = most;
  for (Texts* texts : {&extCommToString_, &extCommToAsdotString_}) {
    if (texts->size() > most) texts->clear();
  }
}

void ExtCommCache::textIs(Texts& texts, std::uint64_t value, const std::string& text) {
  std::string copy = text;
  if (texts.size() >= mostTexts_ && !texts.contains(value)) texts.clear();
  texts[value].swap(copy);
}

void ExtCommCache::extCommToStringIs(std::uint64_t value, const std::string& text) {
  textIs(extCommToString_, value, text);
}
std::string ExtCommCache::extCommToStringDel(std::uint64_t value) { return take(extCommToString_, value); }
void ExtCommCache::extCommToStringDelAll() { extCommToString_.clear(); }

void ExtCommCache::extCommToAsdotStringIs(std::uint64_t value, const std::string& text) {
  textIs(extCommToAsdotString_, value, text);
}
std::string ExtCommCache::extCommToAsdotStringDel(std::uint64_t value) { return take(extCommToAsdotString_, value); }
void ExtCommCache::extCommToAsdotStringDelAll() { extCommToAsdotString_.clear(); }

TYR_FACTORIES(ExtCommCache::Ptr, extCommCache, ExtCommCache, (), ())

}  // namespace BgpShowCli
