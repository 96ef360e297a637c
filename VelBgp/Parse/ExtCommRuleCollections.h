// Where decoding rules announce themselves, and the keys that name them there.
//
//   BgpParseExtendedCommunityRuleKey, ...    fourteen key types, one for each rule that takes sub-rules
//   BgpParseExtCommAnyRuleKey                one of them: what observers are given
//   BgpParseExtCommRuleCollections           a set of keys of each type, and the observers of all sets
//
// A rule adds its key when it is made and removes it when it is destroyed; the kinds' plugins watch, and add their
// sub-rules to the rule that a key names. Everybody holds the collections as const but the rules.
//
// Ownership: none of the rules. A key is a plain pointer, and during the announcement of a removal it names a rule that
// is being destroyed: it may be given sub-rules then, but no counted pointer may be made of it. Threads: none of its
// own. Announcements are calls on the thread that changes a set, made before the change returns. Errors: adding what is
// there and removing what is not do nothing. What an observer throws at an insertion undoes it and comes out of it; at
// a removal, which may be a destructor's, it is dropped, and all others hear of it. Reading a key from text that names
// no pointer throws Tyr::DeserializationException of the attribute "rule".
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <unordered_set>
#include <variant>

#include "Tyr/Exception.h"
#include "Tyr/Export.h"
#include "Tyr/NotifieeList.h"
#include "Tyr/PtrInterface.h"
#include "Tyr/Strep.h"

namespace Routing::Bgp {

// A pointer attribute in the text form of a raw pointer; a failure names the attribute.
VELBGP_EXPORT const void* readPointerAttribute(Tyr::StrepIterator& it, const Tyr::StrepIterator& end,
                                               const char* attribute);

// Names one instance of Rule. Equality and order are those of the pointer.
template <typename Rule>
class RuleKey {
 public:
  explicit RuleKey(Rule* rule) noexcept : rule_(rule) {}
  RuleKey(Tyr::StrepIterator& it, const Tyr::StrepIterator& end)
      : rule_(static_cast<Rule*>(const_cast<void*>(readPointerAttribute(it, end, "rule")))) {}

  Rule* rule() const noexcept { return rule_; }

  friend bool operator==(const RuleKey& a, const RuleKey& b) noexcept { return a.rule_ == b.rule_; }
  friend bool operator<(const RuleKey& a, const RuleKey& b) noexcept { return std::less<Rule*>()(a.rule_, b.rule_); }
  friend std::string valueToStrep(const RuleKey& key) { return Tyr::pointerToStrep(key.rule_); }
  friend std::ostream& operator<<(std::ostream& stream, const RuleKey& key) { return stream << valueToStrep(key); }

 private:
  Rule* rule_;
};

#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ...)   \
  class Rule;                                      \
  class VELBGP_EXPORT Key : public RuleKey<Rule> { \
   public:                                         \
    using RuleKey<Rule>::RuleKey;                  \
  };
#include "VelBgp/Parse/ExtCommFamilies.def"

// clang-format off
using BgpParseExtCommAnyRuleKey = std::variant<
#define BGP_PARSE_EXT_COMM_ROOT(Rule, Key, ...) Key
#define BGP_PARSE_EXT_COMM_FAMILY(Rule, Key, ...) , Key
#include "VelBgp/Parse/ExtCommFamilies.def"
>;
// clang-format on

// Observers are called with the number of the set that changed and the key that came or went; has() tells which.
using BgpParseExtCommRuleNotifieeList = Tyr::NotifieeList<BgpParseExtCommAnyRuleKey>;

// By the secret key of this process (Keel/HashMix.h).
VELBGP_EXPORT std::size_t hashRuleAddress(const void* rule, std::uint32_t salt) noexcept;

// One set of the collections, announced under `number`.
template <typename Key, unsigned number, std::uint32_t salt>
class VELBGP_EXPORT KeySet {
 public:
  // By the rule's address.
  struct Hash {
    std::size_t operator()(const Key& key) const noexcept { return hashRuleAddress(key.rule(), salt); }
  };
  using Set = std::unordered_set<Key, Hash>;

  KeySet();
  ~KeySet();
  const Set& keys() const noexcept { return *keys_; }
  // X's operations, as BgpParseExtCommRuleCollections tells of them.
  bool has(const Key& key) const;
  Key is(const Key& key, BgpParseExtCommRuleNotifieeList& notifieeList);
  bool del(const Key& key, BgpParseExtCommRuleNotifieeList& notifieeList) noexcept;
  void delAll(BgpParseExtCommRuleNotifieeList& notifieeList);

 private:
  void announceInsert(const Key& element, BgpParseExtCommRuleNotifieeList& notifieeList);

  KeySet(const KeySet&) = delete;
  KeySet& operator=(const KeySet&) = delete;

  Set* const keys_;  // elsewhere, so that only who looks into it pays for compiling it
};

// For each set X, by the names in ExtCommFamilies.def:
//   X()             its keys
//   XIs(key)        adds the key and announces it, unless it is there; returns the element
//   XDel(key)       removes the key and announces it, if it is there; tells whether it was
//   XDelAll()       XDel of each element
//   XHas(key)       membership
class VELBGP_EXPORT BgpParseExtCommRuleCollections final : public Tyr::PtrInterface {
 public:
  using Ptr = Tyr::Ptr<BgpParseExtCommRuleCollections>;
  using PtrConst = Tyr::Ptr<const BgpParseExtCommRuleCollections>;

  BgpParseExtCommRuleCollections();

  // Watching is no change.
  BgpParseExtCommRuleNotifieeList& notifieeList() const noexcept { return notifieeList_; }

#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ruleInstance, handle, instantiate, add, number, salt, ...)   \
  const KeySet<Key, number, salt>::Set& ruleInstance() const noexcept { return ruleInstance##_.keys(); } \
  Key ruleInstance##Is(const Key& key) { return ruleInstance##_.is(key, notifieeList_); }                \
  bool ruleInstance##Del(const Key& key) noexcept { return ruleInstance##_.del(key, notifieeList_); }    \
  void ruleInstance##DelAll() { ruleInstance##_.delAll(notifieeList_); }                                 \
  bool ruleInstance##Has(const Key& key) const { return ruleInstance##_.has(key); }
#include "VelBgp/Parse/ExtCommFamilies.def"

 private:
  ~BgpParseExtCommRuleCollections() override;

#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ruleInstance, handle, instantiate, add, number, salt, ...) \
  KeySet<Key, number, salt> ruleInstance##_;
#include "VelBgp/Parse/ExtCommFamilies.def"

  mutable BgpParseExtCommRuleNotifieeList notifieeList_;
};

VELBGP_EXPORT BgpParseExtCommRuleCollections::Ptr bgpParseExtCommRuleCollectionsFactory();
VELBGP_EXPORT BgpParseExtCommRuleCollections::Ptr BgpParseExtCommRuleCollectionsIs();

}  // namespace Routing::Bgp
