#include "VelBgp/Parse/ExtCommRuleCollections.h"

#include "BgpCommon/BgpHashMixImpl.h"

namespace Routing::Bgp {
namespace {

// Observers know the sets by these numbers.
constexpr unsigned firstNumber = 130;
constexpr unsigned numbers[] = {
#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ruleInstance, handle, instantiate, add, number, ...) number,
#include "VelBgp/Parse/ExtCommFamilies.def"
};

constexpr bool numbersAscendByOne() {
  unsigned expected = firstNumber;
  for (const unsigned number : numbers) {
    if (number != expected++) return false;
  }
  return true;
}
static_assert(std::size(numbers) == 14 && numbersAscendByOne());
static_assert(std::variant_size_v<BgpParseExtCommAnyRuleKey> == std::size(numbers));

}  // namespace

const void* readPointerAttribute(Tyr::StrepIterator& it, const Tyr::StrepIterator& end, const char* attribute) {
  try {
    return Tyr::readPointer(it, end);
  } catch (const Tyr::ParseException& error) {
    throw Tyr::DeserializationException(attribute, error.what());
  }
}

std::size_t hashRuleAddress(const void* rule, std::uint32_t salt) noexcept {
  return singleAttributeHash(reinterpret_cast<std::uintptr_t>(rule), salt);
}

template <typename Key, unsigned number, std::uint32_t salt>
KeySet<Key, number, salt>::KeySet() : keys_(new Set) {}
template <typename Key, unsigned number, std::uint32_t salt>
KeySet<Key, number, salt>::~KeySet() {
  delete keys_;
}

template <typename Key, unsigned number, std::uint32_t salt>
bool KeySet<Key, number, salt>::has(const Key& key) const {
  return keys_->contains(key);
}

template <typename Key, unsigned number, std::uint32_t salt>
Key KeySet<Key, number, salt>::is(const Key& key, BgpParseExtCommRuleNotifieeList& notifieeList) {
  const auto [place, inserted] = keys_->insert(key);
  const Key element = *place;  // observers may change the set
  if (inserted) announceInsert(element, notifieeList);
  return element;
}

template <typename Key, unsigned number, std::uint32_t salt>
bool KeySet<Key, number, salt>::del(const Key& key, BgpParseExtCommRuleNotifieeList& notifieeList) noexcept {
  const Key element = key;  // `key` may be the set's own
  if (keys_->erase(element) == 0) return false;
  notifieeList.notifyAll(number, element);
  return true;
}

template <typename Key, unsigned number, std::uint32_t salt>
void KeySet<Key, number, salt>::delAll(BgpParseExtCommRuleNotifieeList& notifieeList) {
  const Set walked = *keys_;
  for (const Key& key : walked) del(key, notifieeList);
}

// An observer that throws ends the making of the rule, whose key must not stay behind, here or with other observers.
template <typename Key, unsigned number, std::uint32_t salt>
void KeySet<Key, number, salt>::announceInsert(const Key& element, BgpParseExtCommRuleNotifieeList& notifieeList) {
  try {
    notifieeList.notify(number, element);
  } catch (...) {
    del(element, notifieeList);
    throw;
  }
}

#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ruleInstance, handle, instantiate, add, number, salt, ...) \
  template class KeySet<Key, number, salt>;
#include "VelBgp/Parse/ExtCommFamilies.def"

BgpParseExtCommRuleCollections::BgpParseExtCommRuleCollections() = default;
BgpParseExtCommRuleCollections::~BgpParseExtCommRuleCollections() = default;

TYR_FACTORIES(BgpParseExtCommRuleCollections::Ptr, bgpParseExtCommRuleCollections, BgpParseExtCommRuleCollections, (),
              ())

}  // namespace Routing::Bgp
