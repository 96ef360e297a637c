#include "VelBgp/Parse/ExtCommRule.h"

#include <ostream>

#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp {

BgpParseExtCommControl::BgpParseExtCommControl(Tyr::StrepIterator& it, const Tyr::StrepIterator& end)
    : ruleCollections_(
          static_cast<const BgpParseExtCommRuleCollections*>(readPointerAttribute(it, end, "ruleCollections"))) {}

std::string valueToStrep(const BgpParseExtCommControl& control) {
  return Tyr::pointerToStrep(control.ruleCollections().get());
}

std::ostream& operator<<(std::ostream& stream, const BgpParseExtCommControl& control) {
  return stream << valueToStrep(control);
}

BgpParseExtCommRuleBase::~BgpParseExtCommRuleBase() = default;
BgpParseExtendedCommunityTypeRuleBase::~BgpParseExtendedCommunityTypeRuleBase() = default;
BgpParseExtendedCommunityIp6TypeRuleBase::~BgpParseExtendedCommunityIp6TypeRuleBase() = default;

AnyRuleMap::AnyRuleMap() = default;
AnyRuleMap::~AnyRuleMap() = default;

void AnyRuleMap::ruleDelAll() { std::exchange(rules_, {}).clear(); }

const BgpParseExtCommRuleBase* AnyRuleMap::anyRule(unsigned number) const {
  const auto found = rules_.find(number);
  return found == rules_.end() ? nullptr : found->second.get();
}

void AnyRuleMap::anyRuleIs(unsigned number, AnyRulePtr rule) { rules_[number].swap(rule); }

AnyRuleMap::AnyRulePtr AnyRuleMap::anyRuleDel(unsigned number) {
  const auto found = rules_.find(number);
  if (found == rules_.end()) return nullptr;
  AnyRulePtr removed = std::move(found->second);
  rules_.erase(found);
  return removed;
}

ExtComm::PtrConst ExtCommTwoOctetAsForm::fallback(const ExtCommContent& content) {
  return ExtCommAsNumberIs(extCommClassificationUnSpecified, content, false);
}
ExtComm::PtrConst ExtCommFourOctetAsForm::fallback(const ExtCommContent& content) {
  return ExtCommAsNumberIs(extCommClassificationUnSpecified, content, true);
}
ExtComm::PtrConst ExtCommIpv4AddressForm::fallback(const ExtCommContent& content) {
  return ExtCommIpv4AddressIs(extCommClassificationUnSpecified, content);
}
ExtComm::PtrConst ExtCommSubtypedForm::fallback(const ExtCommContent& content) {
  return ExtCommSubtypedIs(extCommClassificationUnSpecified, content);
}
ExtCommIp6::PtrConst ExtCommIp6Form::fallback(const ExtCommIp6Content& content) {
  return ExtCommIp6SubtypedIs(extCommClassificationUnSpecified, content);
}

#define BGP_PARSE_EXT_COMM_FAMILY(Rule, Key, ruleInstance, ...)                                     \
  Rule::Rule(const BgpParseExtCommControl& control) : PerTypeRule(control) { handleInitialized(); } \
  Rule::~Rule() { handleDel(); }                                                                    \
  void Rule::handleInitialized() {                                                                  \
    if (auto* in = announcedIn()) in->ruleInstance##Is(Key(this));                                  \
  }                                                                                                 \
  void Rule::handleDel() {                                                                          \
    if (auto* in = announcedIn()) in->ruleInstance##Del(Key(this));                                 \
  }
#include "VelBgp/Parse/ExtCommFamilies.def"

BgpParseExtendedCommunityRule::BgpParseExtendedCommunityRule(const BgpParseExtCommControl& control)
    : BgpParseExtCommRuleBase(control) {
  handleInitialized();
}

BgpParseExtendedCommunityRule::~BgpParseExtendedCommunityRule() {
  handleDel();
  typeRuleDelAll();
  ip6TypeRuleDelAll();
}

namespace {

// The two maps of the root, told apart by the rule's base.
void insert(BgpParseExtendedCommunityRule& root, const BgpParseExtendedCommunityTypeRuleBase::PtrConst& rule) {
  root.typeRuleIs(rule);
}
void insert(BgpParseExtendedCommunityRule& root, const BgpParseExtendedCommunityIp6TypeRuleBase::PtrConst& rule) {
  root.ip6TypeRuleIs(rule);
}

}  // namespace

template <typename Rule>
void BgpParseExtendedCommunityRule::perTypeRuleIs() {
  insert(*this, Tyr::make<Rule>(control()));
}

void BgpParseExtendedCommunityRule::handleInitialized() {
#define BGP_PARSE_EXT_COMM_FAMILY(Rule, ...) perTypeRuleIs<Rule>();
#include "VelBgp/Parse/ExtCommFamilies.def"
  if (auto* in = announcedIn()) in->extendedCommunityTypeRuleInstanceIs(BgpParseExtendedCommunityRuleKey(this));
}

void BgpParseExtendedCommunityRule::handleDel() {
  if (auto* in = announcedIn()) in->extendedCommunityTypeRuleInstanceDel(BgpParseExtendedCommunityRuleKey(this));
}

namespace {

// The type rule's object, or what `makePlain` makes.
template <typename Rules, typename Content, typename Plain>
Plain decode(const Rules& rules, const Content& content, Plain (*makePlain)(ExtCommClassification, const Content&)) {
  Plain decoded = rules.inhale(content.typeOctet(), content);
  return decoded != nullptr ? std::move(decoded) : makePlain(extCommClassificationUnSpecified, content);
}

}  // namespace

ExtComm::PtrConst BgpParseExtendedCommunityRule::parseExtendedCommunity(const ExtCommContent& content) const {
  return decode(typeRules_, content, ExtCommIs);
}

ExtCommIp6::PtrConst BgpParseExtendedCommunityRule::parseExtendedCommunityIp6(const ExtCommIp6Content& content) const {
  return decode(ip6TypeRules_, content, ExtCommIp6Is);
}

std::string BgpParseExtendedCommunityRule::showString(unsigned long value, bool asdot, bool linkBwWeighted,
                                                      bool json) const {
  return parseExtendedCommunity(ExtCommContent(value))->toStrepForUI(asdot, linkBwWeighted, json);
}

BgpParseExtendedCommunityTypeRuleBase::PtrConst BgpParseExtendedCommunityRule::typeRule(
    BgpExtCommPktType pktType) const {
  return typeRules_.rule(pktType);
}

void BgpParseExtendedCommunityRule::typeRuleIs(const BgpParseExtendedCommunityTypeRuleBase::PtrConst& rule) {
  if (rule == nullptr) throw Tyr::NullArgumentException("typeRule");
  typeRules_.ruleIs(rule->pktType(), rule);
}

BgpParseExtendedCommunityTypeRuleBase::PtrConst BgpParseExtendedCommunityRule::typeRuleDel(BgpExtCommPktType pktType) {
  return typeRules_.ruleDel(pktType);
}

void BgpParseExtendedCommunityRule::typeRuleDelAll() { typeRules_.ruleDelAll(); }

BgpParseExtendedCommunityIp6TypeRuleBase::PtrConst BgpParseExtendedCommunityRule::ip6TypeRule(
    BgpExtCommIp6PktType pktType) const {
  return ip6TypeRules_.rule(pktType);
}

void BgpParseExtendedCommunityRule::ip6TypeRuleIs(const BgpParseExtendedCommunityIp6TypeRuleBase::PtrConst& rule) {
  if (rule == nullptr) throw Tyr::NullArgumentException("ip6TypeRule");
  ip6TypeRules_.ruleIs(rule->pktType(), rule);
}

BgpParseExtendedCommunityIp6TypeRuleBase::PtrConst BgpParseExtendedCommunityRule::ip6TypeRuleDel(
    BgpExtCommIp6PktType pktType) {
  return ip6TypeRules_.ruleDel(pktType);
}

void BgpParseExtendedCommunityRule::ip6TypeRuleDelAll() { ip6TypeRules_.ruleDelAll(); }

BgpParseExtendedCommunityRule::Ptr bgpParseExtendedCommunityRuleFactory(const BgpParseExtCommControl& control) {
  return Tyr::make<BgpParseExtendedCommunityRule>(control);
}

}  // namespace Routing::Bgp
