// BgpParseExtCommContainerSm: one complete decoder.
//
//   auto container = BgpParseExtCommContainerSmIs();
//   auto communities = ExtCommDedupTableIs(container->extCommParser());
//
// It makes the rule collections, the kinds' plugins and, last, the rule tree, which the plugins fill while it is built.
// The toggle "Mvpn" of "MvpnLib.json" decides whether VRF route import and source AS are kinds of the decoder; without
// them their values are generic communities.
//
// Ownership: the container owns all of it; the rule tree lives on with whoever else holds it, complete, but no plugin
// watches it any more.
// Threads: made, changed and destroyed on one thread. Decoding: VelBgp/Parse/ExtCommRule.h.
// Errors: a null plugin is refused with Tyr::NullArgumentException; Tyr::RangeException when indices run out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Tyr/Export.h"
#include "Tyr/PtrInterface.h"
#include "VelBgp/Parse/ExtComm.h"

namespace Routing::Bgp {

// The toggle's answer, read once per process. Any thread.
VELBGP_EXPORT bool toggleMvpnEnabled();

// A plugin in the container's queue.
struct TyrExtCommParserSms {
  std::uint32_t index;
  BgpParseExtCommPluginBaseSm::Ptr plugin;
};

class VELBGP_EXPORT BgpParseExtCommContainerSm final : public Tyr::PtrInterface {
 public:
  using Ptr = Tyr::Ptr<BgpParseExtCommContainerSm>;
  using PtrConst = Tyr::Ptr<const BgpParseExtCommContainerSm>;
  // Ascending by index.
  using ExtCommParserSms = std::vector<TyrExtCommParserSms>;

  BgpParseExtCommContainerSm();
  // With the toggle's answer given.
  explicit BgpParseExtCommContainerSm(bool mvpn);

  const BgpParseExtCommRuleCollections::Ptr& parseExtCommRuleCollections() const noexcept {
    return parseExtCommRuleCollections_;
  }
  // Makes new collections; Del returns what it dropped.
  const BgpParseExtCommRuleCollections::Ptr& parseExtCommRuleCollectionsIs();
  BgpParseExtCommRuleCollections::Ptr parseExtCommRuleCollectionsDel();

  // The root rule.
  const BgpParseExtendedCommunityRule::Ptr& extCommParser() const noexcept { return extCommParser_; }
  // Makes a new root, and with it the tree; Del returns what it dropped.
  const BgpParseExtendedCommunityRule::Ptr& extCommParserIs(const BgpParseExtCommControl& control);
  BgpParseExtendedCommunityRule::Ptr extCommParserDel();

  const ExtCommParserSms& extCommParserSms() const noexcept { return extCommParserSms_; }
  // Appends, and returns the index: one more than the last entry's, and never less than one that was handed out before.
  // Deliberate: the index of a last entry that was removed is handed out again.
  std::uint32_t extCommParserSmsEnq(const BgpParseExtCommPluginBaseSm::Ptr& plugin);
  // Inserts or replaces the entry at an index.
  void extCommParserSmsIs(std::uint32_t index, const BgpParseExtCommPluginBaseSm::Ptr& plugin);
  // Remove the first entry, the one at an index, the one at a place (not end()); they return the plugin, or null.
  BgpParseExtCommPluginBaseSm::Ptr extCommParserSmsDeq();
  BgpParseExtCommPluginBaseSm::Ptr extCommParserSmsDel(std::uint32_t index);
  BgpParseExtCommPluginBaseSm::Ptr extCommParserSmsDel(ExtCommParserSms::const_iterator place);
  void extCommParserSmsDelAll();
  // The first and the last plugin; null when there is none.
  BgpParseExtCommPluginBaseSm::Ptr extCommParserSmsFront() const;
  BgpParseExtCommPluginBaseSm::Ptr extCommParserSmsBack() const;

 private:
  ~BgpParseExtCommContainerSm() override;
  void handleInitialized(bool mvpn);
  ExtCommParserSms::iterator placeOf(std::uint32_t index);

  BgpParseExtCommRuleCollections::Ptr parseExtCommRuleCollections_;
  BgpParseExtendedCommunityRule::Ptr extCommParser_;
  ExtCommParserSms extCommParserSms_;
  std::uint32_t extCommParserSmsNextIndex_ = 0;
};

VELBGP_EXPORT BgpParseExtCommContainerSm::Ptr bgpParseExtCommContainerSmFactory();
VELBGP_EXPORT BgpParseExtCommContainerSm::Ptr bgpParseExtCommContainerSmFactory(bool mvpn);
VELBGP_EXPORT BgpParseExtCommContainerSm::Ptr BgpParseExtCommContainerSmIs();

}  // namespace Routing::Bgp
