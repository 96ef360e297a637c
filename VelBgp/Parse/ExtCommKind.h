// What the kinds of communities share: a kind is a row of labels, and what differs.
//
//   ExtCommKind<Kind, Form>            the base of a kind's class over its form: ExtCommSubtyped, ExtCommAsNumber, ...
//   ExtCommLabelledKind<Kind, Form>    the same with both texts, which the labels tell; for the forms of ExtComm.h
//   KindRule<subtype, Kind, ...>       the base of the sub-rule that makes such objects
//   BgpParseExtCommKindSm<Rules...>    the base of the plugin that puts the sub-rules in their places
//   VELBGP_..._FACTORIES               the two functions that make one of these objects
//
// A whole kind, in the library or on its installed headers:
//
//   class ExtCommDomain : public ExtCommLabelledKind<ExtCommDomain, ExtCommIpv4Address> {
//    public:
//     static constexpr ExtCommIpv4Labels labels = {
//         "ExtCommDomain", extCommClassificationUnSpecified, {"Domain ", "OSPF-Domain-IP:"}, "DOM:"};
//     using ExtCommLabelledKind::ExtCommLabelledKind;
//
//    protected:
//     ~ExtCommDomain() override = default;
//   };
//   class DomainRule : public KindRule<extCommPktSubtypeTransIpv4AddressOspfDomainIdentifier, ExtCommDomain> {
//    public:
//     using KindRule::KindRule;
//   };
//   class DomainSm : public BgpParseExtCommKindSm<DomainRule> {
//    public:
//     using BgpParseExtCommKindSm::BgpParseExtCommKindSm;
//   };
//   ...
//   container->extCommParserSmsEnq(Tyr::make<DomainSm>(container->parseExtCommRuleCollections()));
//
// A kind of the library has two files, which CMakeLists.txt names, and its plugin's place in ExtCommContainer.cpp.
//
// Ownership and threads: VelBgp/VelBgpCommunity.h, VelBgp/Parse/ExtCommPlugin.h. No errors, but where they are named.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "Tyr/Export.h"
#include "Tyr/FwkType.h"
#include "Tyr/PtrInterface.h"
#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp {

// What a kind is called under one of its layouts: in the debugging form, with the blank that follows, and in the form
// for show commands, with the colon.
struct ExtCommLayoutLabels {
  const char* debug;
  const char* ui;
};
// A kind's row: the type's name, and what a community of the kind is once it is decoded; for the forms of ExtComm.h
// also the labels under each layout and the label of texts that have the classification bit alone.
struct ExtCommLabels {
  const char* type;
  ExtCommClassification classification;
};
struct ExtCommAsLabels {
  const char* type;
  ExtCommClassification classification;
  ExtCommLayoutLabels twoOctetAs;
  ExtCommLayoutLabels fourOctetAs;
  const char* classificationOnly;
};
struct ExtCommIpv4Labels {
  const char* type;
  ExtCommClassification classification;
  ExtCommLayoutLabels ipv4Address;
  const char* classificationOnly;
};

// The debugging form of a kind: "<", `text`, a blank, the value, ">".
VELBGP_EXPORT void formatKind(std::ostream& stream, const ExtComm& extComm, std::string_view text);
// With the label, the administrator, ":" and the local number as text. An object that was built by hand, with a type
// octet other than those of the transitive AS types, stops the process: no label is its own.
VELBGP_EXPORT void formatKind(std::ostream& stream, const ExtCommAsNumber& extComm, const ExtCommAsLabels& labels);
VELBGP_EXPORT void formatKind(std::ostream& stream, const ExtCommIpv4Address& extComm, const ExtCommIpv4Labels& labels);

// The policy and UI form: the label that the format asks for, then administrator, ":" and local number.
VELBGP_EXPORT std::string kindToStrep(const ExtCommAsNumber& extComm, ExtComm::StrepFormat format,
                                      const ExtCommAsLabels& labels);
VELBGP_EXPORT std::string kindToStrep(const ExtCommIpv4Address& extComm, ExtComm::StrepFormat format,
                                      const ExtCommIpv4Labels& labels);

// Kind::labels gives the type's name and the classification. A kind has no member: what it tells, it reads from the
// content.
template <typename Kind, typename Form>
class VELBGP_EXPORT ExtCommKind : public Form {
 public:
  // `layout` is what the form's constructor takes behind the content, if anything.
  template <typename... Layout>
  explicit ExtCommKind(const ExtCommContent& content, Layout... layout) noexcept
      : Form(Kind::labels.classification, content, layout...) {}

  const Tyr::FwkType& fwkType() const override {
    static constexpr Tyr::FwkType type{Kind::labels.type};
    return type;
  }

 protected:
  ~ExtCommKind() override { static_assert(sizeof(Kind) == sizeof(ExtComm)); }
};

template <typename Kind, typename Form>
class VELBGP_EXPORT ExtCommLabelledKind : public ExtCommKind<Kind, Form> {
 public:
  using ExtCommKind<Kind, Form>::ExtCommKind;

  void formatDerivedType(std::ostream& stream) const override { formatKind(stream, *this, Kind::labels); }
  std::string toStrepForPolicy(ExtComm::StrepFormat format) const override {
    return kindToStrep(*this, format, Kind::labels);
  }

 protected:
  ~ExtCommLabelledKind() override = default;
};

// The base of the sub-rules for a subtype of this enumeration.
template <typename PktSubtype>
struct SubTypeRuleBaseOf;
#define BGP_PARSE_EXT_COMM_FAMILY(Rule, Key, ruleInstance, handle, instantiate, add, number, salt, SubTypeBase, \
                                  pktType, PktSubtype, Form)                                                    \
  template <>                                                                                                   \
  struct SubTypeRuleBaseOf<PktSubtype> {                                                                        \
    using Type = SubTypeBase;                                                                                   \
  };
#include "VelBgp/Parse/ExtCommFamilies.def"

// Claims one subtype, of the type that its enumeration belongs to, and makes a Kind of every value, with `layout` after
// the content.
template <auto pktSubTypeClaimed, typename Kind, auto... layout>
class VELBGP_EXPORT KindRule : public SubTypeRuleBaseOf<decltype(pktSubTypeClaimed)>::Type {
  using Base = typename SubTypeRuleBaseOf<decltype(pktSubTypeClaimed)>::Type;

 public:
  explicit KindRule(const BgpParseExtCommControl& control) : Base(control, pktSubTypeClaimed) {}
  typename Base::ObjectPtr inhale(const typename Base::Content& content) const override {
    return Tyr::make<Kind>(content, layout...);
  }
};

// Adds each of its rules to the per-type rules that it fits. It has caught up when its constructor returns; an heir
// that overrides a hook besides calls that family's handler in its own constructor.
template <typename... Rules>
class VELBGP_EXPORT BgpParseExtCommKindSm : public BgpParseExtCommPluginBaseSm {
 public:
  explicit BgpParseExtCommKindSm(const BgpParseExtCommRuleCollections::PtrConst& ruleCollections)
      : BgpParseExtCommPluginBaseSm(ruleCollections) {
    handleStartup();
  }

#define BGP_PARSE_EXT_COMM_FAMILY(Rule, Key, ruleInstance, handle, instantiateSubRule, addSubRule, number, salt,  \
                                  SubTypeBase, ...)                                                               \
  void instantiateSubRule(const Key& key, const BgpParseExtCommControl& control) const override {                 \
    addFitting<SubTypeBase>([this, &key](const SubTypeBase::PtrConst& rule) { addSubRule(key, rule); }, control); \
  }
#include "VelBgp/Parse/ExtCommFamilies.def"

 protected:
  ~BgpParseExtCommKindSm() override = default;

 private:
  template <typename SubTypeBase, typename Add>
  static void addFitting(const Add& add, const BgpParseExtCommControl& control) {
    (addIfFitting<SubTypeBase, Rules>(add, control), ...);
  }
  template <typename SubTypeBase, typename Rule, typename Add>
  static void addIfFitting([[maybe_unused]] const Add& add, [[maybe_unused]] const BgpParseExtCommControl& control) {
    if constexpr (std::is_base_of_v<SubTypeBase, Rule>) add(Tyr::make<Rule>(control));
  }
};

// The signatures of factories: of a kind, of one with the two AS layouts, of a plugin.
using ExtCommKindFactory = ExtComm::PtrConst(const ExtCommContent& content);
using ExtCommAsKindFactory = ExtComm::PtrConst(const ExtCommContent& content, bool fourByteAs);
using BgpParseExtCommPluginFactory =
    BgpParseExtCommPluginBaseSm::Ptr(const BgpParseExtCommRuleCollections::PtrConst& ruleCollections);

// Define the two functions that make an object of a kind or a plugin (TYR_FACTORIES in Tyr/PtrInterface.h).
#define VELBGP_KIND_FACTORIES(name, Kind) \
  TYR_FACTORIES(ExtComm::PtrConst, name, Kind, (const ExtCommContent& content), (content))
#define VELBGP_AS_KIND_FACTORIES(name, Kind) \
  TYR_FACTORIES(ExtComm::PtrConst, name, Kind, (const ExtCommContent& content, bool fourByteAs), (content, fourByteAs))
#define VELBGP_PLUGIN_FACTORIES(name, Plugin)                   \
  TYR_FACTORIES(BgpParseExtCommPluginBaseSm::Ptr, name, Plugin, \
                (const BgpParseExtCommRuleCollections::PtrConst& ruleCollections), (ruleCollections))

}  // namespace Routing::Bgp
