// The rules that turn a raw value into a typed community: a tree keyed by type octet, then by subtype octet.
//
//   BgpParseExtendedCommunityRule            the root: a rule for each type
//   BgpParseExtCommTransTwoOctetAsRule, ...  the thirteen per-type rules: a rule for each subtype
//   BgpParseExtComSubType...RuleBase, ...    the bases of the sub-rules, which the kinds derive and their plugins add
//
// Decoding never fails: where no rule knows a value, or the one that does declines, the level's generic object is made.
// What comes back is new, never interned, and carries the content unchanged.
//
// Ownership: the root owns its type rules and each of these its sub-rules; a later rule for the same code point
// replaces, and releases, the earlier. Rules announce themselves in the collections of their control. Threads: in a
// multi-threaded agent (Tyr/Threading.h) decoding from any number of them; the tree must not change meanwhile. Errors:
// a null rule is refused with Tyr::NullArgumentException.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <unordered_map>
#include <utility>

#include "Tyr/Exception.h"
#include "Tyr/Export.h"
#include "Tyr/PtrInterface.h"
#include "Tyr/Strep.h"
#include "Tyr/Threading.h"
#include "VelBgp/ExtCommIp6.h"
#include "VelBgp/Parse/ExtCommRuleCollections.h"
#include "VelBgp/VelBgpCommunity.h"
#include "VelBgp/VelBgpCommunityPacketTypes.h"

namespace Routing::Bgp {

// What every rule is given: where to announce itself. Null collections mean nowhere. Equality is that of the pointer.
class VELBGP_EXPORT BgpParseExtCommControl {
 public:
  BgpParseExtCommControl() noexcept = default;
  explicit BgpParseExtCommControl(BgpParseExtCommRuleCollections::PtrConst ruleCollections) noexcept
      : ruleCollections_(std::move(ruleCollections)) {}
  // Throws Tyr::DeserializationException of the attribute "ruleCollections". The text must name live collections.
  BgpParseExtCommControl(Tyr::StrepIterator& it, const Tyr::StrepIterator& end);

  const BgpParseExtCommRuleCollections::PtrConst& ruleCollections() const noexcept { return ruleCollections_; }

  friend bool operator==(const BgpParseExtCommControl& a, const BgpParseExtCommControl& b) noexcept {
    return a.ruleCollections_ == b.ruleCollections_;
  }

 private:
  BgpParseExtCommRuleCollections::PtrConst ruleCollections_;
};

VELBGP_EXPORT std::string valueToStrep(const BgpParseExtCommControl& control);
VELBGP_EXPORT std::ostream& operator<<(std::ostream& stream, const BgpParseExtCommControl& control);

class VELBGP_EXPORT BgpParseExtCommRuleBase : public Tyr::PtrInterface {
 public:
  explicit BgpParseExtCommRuleBase(const BgpParseExtCommControl& control) : control_(control) {}

  const BgpParseExtCommControl& control() const noexcept { return control_; }

 protected:
  ~BgpParseExtCommRuleBase() override;
  // The collections to announce in, or null. Rules alone change them.
  BgpParseExtCommRuleCollections* announcedIn() const noexcept {
    return const_cast<BgpParseExtCommRuleCollections*>(control_.ruleCollections().get());
  }

 private:
  const BgpParseExtCommControl control_;
};

class VELBGP_EXPORT BgpParseExtendedCommunityTypeRuleBase : public BgpParseExtCommRuleBase {
 public:
  using PtrConst = Tyr::Ptr<const BgpParseExtendedCommunityTypeRuleBase>;

  BgpParseExtendedCommunityTypeRuleBase(const BgpParseExtCommControl& control, BgpExtCommPktType pktType)
      : BgpParseExtCommRuleBase(control), pktType_(pktType) {}

  BgpExtCommPktType pktType() const noexcept { return pktType_; }
  // May return null to decline.
  virtual ExtComm::PtrConst inhale(const ExtCommContent& content) const = 0;

 protected:
  ~BgpParseExtendedCommunityTypeRuleBase() override;

 private:
  const BgpExtCommPktType pktType_;
};

class VELBGP_EXPORT BgpParseExtendedCommunityIp6TypeRuleBase : public BgpParseExtCommRuleBase {
 public:
  using PtrConst = Tyr::Ptr<const BgpParseExtendedCommunityIp6TypeRuleBase>;

  BgpParseExtendedCommunityIp6TypeRuleBase(const BgpParseExtCommControl& control, BgpExtCommIp6PktType pktType)
      : BgpParseExtCommRuleBase(control), pktType_(pktType) {}

  BgpExtCommIp6PktType pktType() const noexcept { return pktType_; }
  // May return null to decline.
  virtual ExtCommIp6::PtrConst inhale(const ExtCommIp6Content& content) const = 0;

 protected:
  ~BgpParseExtendedCommunityIp6TypeRuleBase() override;

 private:
  const BgpExtCommIp6PktType pktType_;
};

// Rules by number.
class VELBGP_EXPORT AnyRuleMap {
 public:
  AnyRuleMap();
  ~AnyRuleMap();
  AnyRuleMap(const AnyRuleMap&) = delete;
  AnyRuleMap& operator=(const AnyRuleMap&) = delete;
  std::size_t size() const noexcept { return rules_.size(); }
  // Rules that go announce it, and plugins answer with new ones: they meet an empty map.
  void ruleDelAll();

 protected:
  using AnyRulePtr = Tyr::Ptr<const BgpParseExtCommRuleBase>;

  // Null when there is none.
  const BgpParseExtCommRuleBase* anyRule(unsigned number) const;
  void anyRuleIs(unsigned number, AnyRulePtr rule);
  AnyRulePtr anyRuleDel(unsigned number);

 private:
  std::unordered_map<unsigned, AnyRulePtr> rules_;
};

// Rules of one class by code point.
template <typename CodePoint, typename Rule>
class RuleMap : public AnyRuleMap {
 public:
  using RulePtr = Tyr::Ptr<const Rule>;

  // Null when there is none.
  RulePtr rule(CodePoint codePoint) const { return find(codePoint); }
  void ruleIs(CodePoint codePoint, RulePtr rule) { anyRuleIs(codePoint, std::move(rule)); }
  RulePtr ruleDel(CodePoint codePoint) { return boost::static_pointer_cast<const Rule>(anyRuleDel(codePoint)); }

  // What the rule for this octet makes of the content: null when the octet is no code point, when there is no rule for
  // it, or when the rule declines.
  template <typename Content>
  auto inhale(std::uint8_t octet, const Content& content) const {
    using Decoded = decltype(std::declval<const Rule&>().inhale(content));
    const auto codePoint = CodePoint(octet);
    const Rule* const rule = bgpIsValidEnumMember(codePoint) ? find(codePoint) : nullptr;
    if (rule == nullptr) return Decoded();
    // A rule may take itself out. Not where threads decode at a time: then rules stay as they are, and their counts,
    // which all decoders would share, are better left alone.
    const RulePtr held(Tyr::agentMultiThreaded() ? nullptr : rule);
    return rule->inhale(content);
  }

 private:
  const Rule* find(CodePoint codePoint) const { return static_cast<const Rule*>(anyRule(codePoint)); }
};

// What a family of communities decodes from and to, and the object that it makes of a value when no sub-rule does.
struct VELBGP_EXPORT ExtCommForm {
  using Content = ExtCommContent;
  using ObjectPtr = ExtComm::PtrConst;
  using TypeRuleBase = BgpParseExtendedCommunityTypeRuleBase;
};
struct VELBGP_EXPORT ExtCommTwoOctetAsForm : ExtCommForm {
  static ExtComm::PtrConst fallback(const ExtCommContent& content);
};
struct VELBGP_EXPORT ExtCommFourOctetAsForm : ExtCommForm {
  static ExtComm::PtrConst fallback(const ExtCommContent& content);
};
struct VELBGP_EXPORT ExtCommIpv4AddressForm : ExtCommForm {
  static ExtComm::PtrConst fallback(const ExtCommContent& content);
};
struct VELBGP_EXPORT ExtCommSubtypedForm : ExtCommForm {
  static ExtComm::PtrConst fallback(const ExtCommContent& content);
};
struct VELBGP_EXPORT ExtCommIp6Form {
  using Content = ExtCommIp6Content;
  using ObjectPtr = ExtCommIp6::PtrConst;
  using TypeRuleBase = BgpParseExtendedCommunityIp6TypeRuleBase;
  static ExtCommIp6::PtrConst fallback(const ExtCommIp6Content& content);
};

// A sub-rule for one subtype of one type.
template <typename PktSubtype, typename Form>
class VELBGP_EXPORT SubTypeRuleBase : public BgpParseExtCommRuleBase {
 public:
  using SubType = PktSubtype;
  using Content = typename Form::Content;
  using ObjectPtr = typename Form::ObjectPtr;

  SubTypeRuleBase(const BgpParseExtCommControl& control, PktSubtype pktSubType)
      : BgpParseExtCommRuleBase(control), pktSubType_(pktSubType) {}

  PktSubtype pktSubType() const noexcept { return pktSubType_; }
  // May return null to decline.
  virtual ObjectPtr inhale(const Content& content) const = 0;

 private:
  const PktSubtype pktSubType_;
};

// A rule for one type, and its sub-rules.
template <typename SubTypeRule, typename Form, auto pktTypeServed>
class VELBGP_EXPORT PerTypeRule : public Form::TypeRuleBase {
 public:
  using SubType = typename SubTypeRule::SubType;
  using SubTypeRulePtr = Tyr::Ptr<const SubTypeRule>;

  explicit PerTypeRule(const BgpParseExtCommControl& control) : Form::TypeRuleBase(control, pktTypeServed) {}

  // The sub-rule's object, or the form's own. Never null.
  typename Form::ObjectPtr inhale(const typename Form::Content& content) const override {
    auto decoded = subTypeRules_.inhale(content.subtypeOctet(), content);
    return decoded != nullptr ? std::move(decoded) : Form::fallback(content);
  }

  std::size_t subTypeRuleCount() const noexcept { return subTypeRules_.size(); }
  // Null when there is none.
  SubTypeRulePtr subTypeRule(SubType subType) const { return subTypeRules_.rule(subType); }
  // Under the rule's own subtype; replaces.
  void subTypeRuleIs(const SubTypeRulePtr& rule) {
    if (rule == nullptr) throw Tyr::NullArgumentException("subTypeRule");
    subTypeRules_.ruleIs(rule->pktSubType(), rule);
  }
  // Null when there is none.
  SubTypeRulePtr subTypeRuleDel(SubType subType) { return subTypeRules_.ruleDel(subType); }
  void subTypeRuleDelAll() { subTypeRules_.ruleDelAll(); }

 private:
  RuleMap<SubType, SubTypeRule> subTypeRules_;
};

// A constructor ends by announcing the rule, so plugins have filled it before anybody else sees it; a destructor begins
// by taking that back.
#define BGP_PARSE_EXT_COMM_FAMILY(Rule, Key, ruleInstance, handle, instantiate, add, number, salt, SubTypeBase, \
                                  pktType, PktSubtype, Form)                                                    \
  class VELBGP_EXPORT SubTypeBase : public SubTypeRuleBase<PktSubtype, Form> {                                  \
   public:                                                                                                      \
    using PtrConst = Tyr::Ptr<const SubTypeBase>;                                                               \
    using SubTypeRuleBase::SubTypeRuleBase;                                                                     \
  };                                                                                                            \
  class VELBGP_EXPORT Rule : public PerTypeRule<SubTypeBase, Form, pktType> {                                   \
   public:                                                                                                      \
    explicit Rule(const BgpParseExtCommControl& control);                                                       \
    void handleInitialized();                                                                                   \
    void handleDel();                                                                                           \
                                                                                                                \
   protected:                                                                                                   \
    ~Rule() override;                                                                                           \
  };
#include "VelBgp/Parse/ExtCommFamilies.def"

class VELBGP_EXPORT BgpParseExtendedCommunityRule final : public BgpParseExtCommRuleBase {
 public:
  using Ptr = Tyr::Ptr<BgpParseExtendedCommunityRule>;
  using PtrConst = Tyr::Ptr<const BgpParseExtendedCommunityRule>;

  // The thirteen per-type rules are made, filled and inserted in the order of their table; then the root announces
  // itself.
  explicit BgpParseExtendedCommunityRule(const BgpParseExtCommControl& control);

  // Never null.
  ExtComm::PtrConst parseExtendedCommunity(const ExtCommContent& content) const;
  ExtCommIp6::PtrConst parseExtendedCommunityIp6(const ExtCommIp6Content& content) const;
  // toStrepForUI of what `value` decodes to.
  std::string showString(unsigned long value, bool asdot, bool linkBwWeighted, bool json) const;

  // By the rule's own type; a later rule replaces. Del returns what it removed, or null.
  BgpParseExtendedCommunityTypeRuleBase::PtrConst typeRule(BgpExtCommPktType pktType) const;
  void typeRuleIs(const BgpParseExtendedCommunityTypeRuleBase::PtrConst& rule);
  BgpParseExtendedCommunityTypeRuleBase::PtrConst typeRuleDel(BgpExtCommPktType pktType);
  void typeRuleDelAll();
  BgpParseExtendedCommunityIp6TypeRuleBase::PtrConst ip6TypeRule(BgpExtCommIp6PktType pktType) const;
  void ip6TypeRuleIs(const BgpParseExtendedCommunityIp6TypeRuleBase::PtrConst& rule);
  BgpParseExtendedCommunityIp6TypeRuleBase::PtrConst ip6TypeRuleDel(BgpExtCommIp6PktType pktType);
  void ip6TypeRuleDelAll();

  // The first and the last thing that is done to a rule: makes the rules of all types and announces this one; takes the
  // announcement back.
  void handleInitialized();
  void handleDel();

 private:
  ~BgpParseExtendedCommunityRule() override;
  template <typename Rule>
  void perTypeRuleIs();

  RuleMap<BgpExtCommPktType, BgpParseExtendedCommunityTypeRuleBase> typeRules_;
  RuleMap<BgpExtCommIp6PktType, BgpParseExtendedCommunityIp6TypeRuleBase> ip6TypeRules_;
};

VELBGP_EXPORT BgpParseExtendedCommunityRule::Ptr bgpParseExtendedCommunityRuleFactory(
    const BgpParseExtCommControl& control);

}  // namespace Routing::Bgp
