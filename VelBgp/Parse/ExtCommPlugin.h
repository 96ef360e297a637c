// BgpParseExtCommPluginBaseSm: the base of what teaches a decoder a kind of community.
//
// A plugin watches the rule collections; whenever a rule announces itself there, the plugin's hook for that rule's
// family is called, and adds the kind's sub-rules. A kind derives, hands the collections to the base, overrides the
// hooks of the families in which it decodes, and calls handleStartup() at the end of its constructor, for the rules
// that were announced before. A hook makes a sub-rule with the control that it is given and passes it on:
//
//   void instantiateExtCommSubTypeTransOpaqueSubRule(const BgpParseExtCommSubTypeTransOpaqueRuleKey& key,
//                                                    const BgpParseExtCommControl& control) const override {
//     addExtCommSubTypeTransOpaqueSubRule(key, Tyr::make<MyRule>(control));
//   }
//
// Ownership: the base holds the collections. Sub-rules belong to the rule that they are added to.
// Threads: everything runs on the thread that builds and tears down the decoder.
// Errors: adding a null rule stops the process. What a hook throws passes through the constructor of the rule that is
// being announced; a hook must not throw while a rule is being destroyed.
#pragma once

#include <memory>

#include "Tyr/Export.h"
#include "Tyr/PtrInterface.h"
#include "VelBgp/Parse/ExtCommRule.h"
#include "VelBgp/Parse/ExtCommRuleCollections.h"

namespace Routing::Bgp {

class VELBGP_EXPORT BgpParseExtCommPluginBaseSm : public Tyr::PtrInterface {
 public:
  using Ptr = Tyr::Ptr<BgpParseExtCommPluginBaseSm>;
  using PtrConst = Tyr::Ptr<const BgpParseExtCommPluginBaseSm>;

  // Null collections make a plugin that never reacts.
  explicit BgpParseExtCommPluginBaseSm(const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

  // The hooks, one for each family; nothing is done for one that the kind does not override.
#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ruleInstance, handleRuleInstance, instantiateSubRule, ...) \
  virtual void instantiateSubRule(const Key& key, const BgpParseExtCommControl& control) const;
#include "VelBgp/Parse/ExtCommFamilies.def"

  // Calls the hooks for all that is in the collections, set by set in the order of their numbers.
  void handleStartup() const;

  // The handlers: of one key, which calls the family's hook, and of all keys that are in the set now.
  // Deliberate: a handler does not ask whether the key is in its set, so a rule that is being destroyed is given
  // sub-rules once more. They go with it, and which calls reach the kinds depends on nothing but the announcements.
#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ruleInstance, handleRuleInstance, ...) \
  void handleRuleInstance(const Key& key) const;                                   \
  void handleRuleInstance() const;
#include "VelBgp/Parse/ExtCommFamilies.def"

  // Add a sub-rule, which must not be null, to the rule that the key names.
#define BGP_PARSE_EXT_COMM_ROOT(Rule, Key, ruleInstance, handleRuleInstance, instantiateSubRule, addSubRule, ...) \
  void addSubRule(const Key& key, const BgpParseExtendedCommunityTypeRuleBase::PtrConst& rule) const;
#define BGP_PARSE_EXT_COMM_FAMILY(Rule, Key, ruleInstance, handleRuleInstance, instantiateSubRule, addSubRule, number, \
                                  salt, SubTypeBase, ...)                                                              \
  void addSubRule(const Key& key, const SubTypeBase::PtrConst& rule) const;
#include "VelBgp/Parse/ExtCommFamilies.def"

  const BgpParseExtCommRuleCollections::PtrConst& ruleCollections() const noexcept { return ruleCollections_; }

 protected:
  ~BgpParseExtCommPluginBaseSm() override;

 private:
  class TyrRuleCollections;

  const BgpParseExtCommRuleCollections::PtrConst ruleCollections_;
  std::unique_ptr<TyrRuleCollections> tyrRuleCollections_;  // null without collections
};

// A plugin that teaches nothing.
VELBGP_EXPORT BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommPluginBaseSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

}  // namespace Routing::Bgp
