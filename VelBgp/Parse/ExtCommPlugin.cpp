#include "VelBgp/Parse/ExtCommPlugin.h"

#include <vector>

#include "Tyr/Assert.h"
#include "Tyr/Trace.h"

namespace Routing::Bgp {

// The reactor: hears of every change of the collections and calls the plugin's handler for it.
class BgpParseExtCommPluginBaseSm::TyrRuleCollections {
 public:
  TyrRuleCollections(BgpParseExtCommRuleCollections::PtrConst notifier, const BgpParseExtCommPluginBaseSm* plugin)
      : notifier_(std::move(notifier)), plugin_(plugin) {
    handle_ = notifier_->notifieeList().attach(
        [this](unsigned attribute, const BgpParseExtCommAnyRuleKey& key) { handleNotification(attribute, key); });
  }

 private:
  void handleNotification(unsigned attribute, const BgpParseExtCommAnyRuleKey& key) const {
    TYR_TRACE(9, "attribute: " << attribute << " plugin: " << plugin_);
    switch (attribute) {
#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ruleInstance, handleRuleInstance, instantiate, add, number, ...) \
  case number:                                                                                               \
    return plugin_->handleRuleInstance(std::get<Key>(key));
#include "VelBgp/Parse/ExtCommFamilies.def"
      default:
        return;
    }
  }

  const BgpParseExtCommRuleCollections::PtrConst notifier_;
  const BgpParseExtCommPluginBaseSm* const plugin_;
  BgpParseExtCommRuleNotifieeList::Handle handle_;
};

BgpParseExtCommPluginBaseSm::BgpParseExtCommPluginBaseSm(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections)
    : ruleCollections_(ruleCollections) {
  if (ruleCollections_ != nullptr) tyrRuleCollections_ = std::make_unique<TyrRuleCollections>(ruleCollections_, this);
}

BgpParseExtCommPluginBaseSm::~BgpParseExtCommPluginBaseSm() { tyrRuleCollections_.reset(); }

namespace {

// The root's sub-rules are rules of a type.
// Deliberate: this assertion's text has its operands the other way round from the others'; logs are searched for both.
void addSubRuleTo(BgpParseExtendedCommunityRule* root, const BgpParseExtendedCommunityTypeRuleBase::PtrConst& rule) {
  TYR_ASSERT(__null != rule);
  root->typeRuleIs(rule);
}
template <typename PerType, typename SubTypeRulePtr>
void addSubRuleTo(PerType* perTypeRule, const SubTypeRulePtr& rule) {
  TYR_ASSERT(rule != __null);
  perTypeRule->subTypeRuleIs(rule);
}

// Walks a copy, since a hook may change the set, and passes over what has left it meanwhile.
template <typename Set, typename Handle>
void forEachPresent(const BgpParseExtCommRuleCollections* collections,
                    const Set& (BgpParseExtCommRuleCollections::*keys)() const noexcept, Handle&& handle) {
  if (collections == nullptr) return;
  const Set walked = (collections->*keys)();
  for (const auto& key : walked) {
    if ((collections->*keys)().contains(key)) handle(key);
  }
}

}  // namespace

#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ruleInstance, handleRuleInstance, instantiateSubRule, ...)     \
  void BgpParseExtCommPluginBaseSm::instantiateSubRule(const Key&, const BgpParseExtCommControl&) const {} \
  void BgpParseExtCommPluginBaseSm::handleRuleInstance(const Key& key) const {                             \
    instantiateSubRule(key, key.rule()->control());                                                        \
  }                                                                                                        \
  void BgpParseExtCommPluginBaseSm::handleRuleInstance() const {                                           \
    forEachPresent(ruleCollections_.get(), &BgpParseExtCommRuleCollections::ruleInstance,                  \
                   [this](const Key& key) { handleRuleInstance(key); });                                   \
  }
#include "VelBgp/Parse/ExtCommFamilies.def"

#define BGP_PARSE_EXT_COMM_ROOT(Rule, Key, ruleInstance, handle, instantiate, addSubRule, ...)                      \
  void BgpParseExtCommPluginBaseSm::addSubRule(const Key& key,                                                      \
                                               const BgpParseExtendedCommunityTypeRuleBase::PtrConst& rule) const { \
    addSubRuleTo(key.rule(), rule);                                                                                 \
  }
#define BGP_PARSE_EXT_COMM_FAMILY(Rule, Key, ruleInstance, handle, instantiate, addSubRule, number, salt, SubTypeBase, \
                                  ...)                                                                                 \
  void BgpParseExtCommPluginBaseSm::addSubRule(const Key& key, const SubTypeBase::PtrConst& rule) const {              \
    addSubRuleTo(key.rule(), rule);                                                                                    \
  }
#include "VelBgp/Parse/ExtCommFamilies.def"

void BgpParseExtCommPluginBaseSm::handleStartup() const {
#define BGP_PARSE_EXT_COMM_KEYED(Rule, Key, ruleInstance, handleRuleInstance, ...) handleRuleInstance();
#include "VelBgp/Parse/ExtCommFamilies.def"
}

BgpParseExtCommPluginBaseSm::Ptr BgpParseExtCommPluginBaseSmIs(
    const BgpParseExtCommRuleCollections::PtrConst& ruleCollections) {
  return Tyr::make<BgpParseExtCommPluginBaseSm>(ruleCollections);
}

}  // namespace Routing::Bgp
