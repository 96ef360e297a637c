// EditList: what route policy does to a list of communities, one way for all four kinds.
//
//   const ExtCommList::PtrConst edited = EditList(list, tables)          // tables: a CommunityTables
//                                            .minusClassification(extCommClassificationColor)
//                                            .minusMatching(&expression)
//                                            .plus(0x0002fde800000064)
//                                            .interned();
//
// Edits work one after the other, each on what those before it left. Nothing is interned on the way but what an
// expression or a classification has to look at; interned() looks the result up once, and not at all where it has the
// communities of the list that it was made from: then it is that list. A result without communities is null, whatever it
// was made from: there is no attribute to send.
//
// What an expression takes: the communities that it matches when they are the only one of a list. So all texts count that
// matchCommunitiesRegex() of a list looks at, of the one community, never across two: of an extended community its default
// and its classification text, and its UI text if policy matches that; of a standard one the numbers, and the name; of a
// large one its text. An IPv6-address-specific one is matched by its policy text, "2001:db8::1:100".
//
// What a prefix of route targets takes: route targets alone, those whose first bits are the prefix's. So "0/0" takes all
// route targets, and nothing else.
//
// Ownership: the edit keeps its list alive; tables are to outlive it. Threads: an edit belongs to one thread; interning
// follows the tables' variant (Keel/DedupHashTable.h). Errors: a null table or expression stops the process;
// std::bad_alloc. Cost: an edit that changes nothing is the search for what it would change, and up to 64 communities
// nothing is allocated on the way.
#pragma once

#include <algorithm>
#include <boost/container/small_vector.hpp>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "VelBgp/CommunityTables.h"
#include "VelBgp/ExtCommIp6DedupTable.h"
#include "VelBgp/ExtCommIp6List.h"
#include "VelBgp/RouteTargetPrefix.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace Routing::Bgp {

// What the kinds differ in. Tables: where the values and the lists of a kind are interned, made of CommunityTables or of
// the kind's own tables. Argument: what a value is given as. member: an element of a list's comms(), or a value.
template <typename List>
struct EditKind;

template <typename CommTable, typename ListTable>
struct EditCommTables {
  EditCommTables(const CommTable* comms, const ListTable* lists) noexcept : comms(comms), lists(lists) {}
  EditCommTables(const CommunityTables& tables) noexcept;  // NOLINT: either is a way to say which tables

  const CommTable* comms;
  const ListTable* lists;
};

template <>
inline EditCommTables<ExtCommDedupTable, ExtCommListDedupTable>::EditCommTables(const CommunityTables& tables) noexcept
    : comms(tables.extComms()), lists(tables.extCommLists()) {}
template <>
inline EditCommTables<ExtCommIp6DedupTable, ExtCommIp6ListDedupTable>::EditCommTables(
    const CommunityTables& tables) noexcept
    : comms(tables.extCommIp6s()), lists(tables.extCommIp6Lists()) {}

template <>
struct EditKind<ExtCommList> {
  static constexpr bool isClassified = true;
  using Value = std::uint64_t;
  // A value, in any of the forms that callers have one in.
  struct Argument {
    Argument(std::uint64_t value) noexcept : value(value) {}                      // NOLINT
    Argument(const ExtCommContent& content) noexcept : value(content.value()) {}  // NOLINT
    Argument(const ExtComm* comm) noexcept : value(comm->community()) {}          // NOLINT
    Argument(const ExtComm::PtrConst& comm) noexcept : Argument(comm.get()) {}    // NOLINT
    operator std::uint64_t() const noexcept { return value; }                     // NOLINT
    std::uint64_t value;
  };
  using Tables = EditCommTables<ExtCommDedupTable, ExtCommListDedupTable>;
  static const Keel::DedupHashTable& table(const Tables& tables) {
    return Keel::tableAt(tables.lists).extCommListDedupTable();
  }
  static ExtCommListContentU64 content(const Tables& tables) { return ExtCommListContentU64(tables.comms); }
  static const ExtComm* comm(const Tables&, const ExtComm* member) noexcept { return member; }
  static ExtComm::PtrConst comm(const Tables& tables, std::uint64_t member) {
    return ExtComm::dedupContent(tables.comms, ExtCommContent(member));
  }
  static bool matches(const ExtComm& comm, const RouteMap::PosixRegex* regex) { return matchExtComm(&comm, regex); }
};

template <>
struct EditKind<ExtCommIp6List> {
  static constexpr bool isClassified = true;
  using Value = ExtCommIp6Content;
  // A value, or the community of it; refers to either, so it is made for a call alone.
  struct Argument {
    Argument(const ExtCommIp6Content& value) noexcept : value(value) {}                 // NOLINT
    Argument(const ExtCommIp6::PtrConst& comm) noexcept : value(comm->getContent()) {}  // NOLINT
    operator const ExtCommIp6Content&() const noexcept { return value; }                // NOLINT
    const ExtCommIp6Content& value;
  };
  using Tables = EditCommTables<ExtCommIp6DedupTable, ExtCommIp6ListDedupTable>;
  static const Keel::DedupHashTable& table(const Tables& tables) {
    return Keel::tableAt(tables.lists).extCommListDedupTable();
  }
  static ExtCommIp6ListContent content(const Tables& tables) { return ExtCommIp6ListContent(tables.comms); }
  static const ExtCommIp6* comm(const Tables&, const ExtCommIp6::PtrConst& member) noexcept { return member.get(); }
  static ExtCommIp6::PtrConst comm(const Tables& tables, const ExtCommIp6Content& member) {
    return ExtCommIp6::dedupContent(tables.comms, member);
  }
  static bool matches(const ExtCommIp6& comm, const RouteMap::PosixRegex* regex) {
    return matchExtCommIp6(&comm, regex);
  }
};

// Of plain values, which are their communities.
template <typename List, typename ListTable>
struct EditValueKind {
  static constexpr bool isClassified = false;
  using Value = typename List::Value;
  using Argument = const Value&;
  // The table of the lists; plain values need none of their own.
  struct Tables {
    Tables(const ListTable* lists) noexcept : lists(lists) {}  // NOLINT
    Tables(const CommunityTables& tables) noexcept;            // NOLINT

    const ListTable* lists;
  };
  static const Keel::DedupHashTable& table(const Tables& tables) { return Keel::tableAt(tables.lists).dedupTable(); }
  static typename List::Content content(const Tables&) { return typename List::Content(); }
  static const Value* comm(const Tables&, const Value& member) noexcept { return &member; }
  static bool matches(const Value& value, const RouteMap::PosixRegex* regex) {
    return List::matchCommunityRegex(value, regex);
  }
};
template <>
inline EditValueKind<CommList, CommListDedupTable>::Tables::Tables(const CommunityTables& tables) noexcept
    : lists(tables.commLists()) {}
template <>
inline EditValueKind<LargeCommList, LargeCommListDedupTable>::Tables::Tables(const CommunityTables& tables) noexcept
    : lists(tables.largeCommLists()) {}
template <>
struct EditKind<CommList> : EditValueKind<CommList, CommListDedupTable> {};
template <>
struct EditKind<LargeCommList> : EditValueKind<LargeCommList, LargeCommListDedupTable> {};

template <typename List>
class EditList {
  using Kind = EditKind<List>;

 public:
  using PtrConst = typename List::PtrConst;
  using Value = typename Kind::Value;
  // What a value is given as: of extended communities the number, an ExtCommContent or the community, of IPv6 ones the
  // content or the community.
  using Argument = typename Kind::Argument;
  using Tables = typename Kind::Tables;

  // Of an interned list, or of none. Tables: a CommunityTables; or {communities, lists} of the two kinds whose communities
  // are objects, and the table of lists of the others.
  EditList(PtrConst list, Tables tables) : list_(std::move(list)), tables_(tables) {}

  // Adds a value, unless it is there.
  EditList& plus(Argument value) {
    if (open_ || !holds(value)) add(value);
    return *this;
  }
  // Of a range of values or communities; of another list, or none if it is null.
  template <typename Range>
  EditList& plusAll(const Range& values) {
    forEachOf(values, [this](const auto& value) { plus(value); });
    return *this;
  }

  // Removes a value, if it is there.
  EditList& minus(Argument value) {
    if (open_ || holds(value))
      dropValues([&value](const Value& one) { return one == static_cast<const Value&>(value); });
    return *this;
  }
  // A range as for plusAll().
  template <typename Range>
  EditList& minusAll(const Range& values) {
    Values unwanted;
    forEachOf(values, [&unwanted](const auto& value) { unwanted.push_back(valueOf(value)); });
    std::sort(unwanted.begin(), unwanted.end());
    dropValues([&unwanted](const Value& one) { return std::binary_search(unwanted.begin(), unwanted.end(), one); });
    return *this;
  }
  // Those for which takes(value) is true.
  template <typename Takes>
  EditList& minusIf(Takes&& takes) {
    dropValues(takes);
    return *this;
  }
  // Those whose text the expression is found in, as matchExtComm() and its like say. Not null.
  EditList& minusMatching(const RouteMap::PosixRegex* regex) {
    const RouteMap::PosixRegex& expression = RouteMap::expressionAt(regex);
    dropComms([&expression](const auto& comm) { return Kind::matches(comm, &expression); });
    return *this;
  }
  // Of the two kinds whose lists are split by classification.
  EditList& minusClassification(ExtCommClassification classification) requires(Kind::isClassified) {
    dropComms([classification](const auto& comm) { return comm.classification() == classification; });
    return *this;
  }
  // Of extended communities.
  EditList& minusCovered(const RouteTargetPrefix& prefix) requires(std::is_same_v<List, ExtCommList>) {
    dropComms([&prefix](const auto& comm) {
      return comm.classification() == extCommClassificationRouteTarget && prefix.covers(RouteTarget{comm.community()});
    });
    return *this;
  }
  // All: what is added from here on is the list.
  EditList& minusEverything() {
    values_.clear();
    open_ = true;
    return *this;
  }

  // Another value in the place of one that is there; where it is not, nothing.
  EditList& replaced(Argument value, Argument by) {
    if (!holds(value)) return *this;
    const Value added = by;  // it may be a part of what goes
    return minus(value).plus(added);
  }

  // Whether the result holds this value so far.
  bool holds(Argument value) const {
    if (open_) return std::find(values_.begin(), values_.end(), static_cast<const Value&>(value)) != values_.end();
    return list_ != nullptr && list_->comm(value) != nullptr;
  }

  // The interned list of what is there now. More edits may follow.
  PtrConst interned() {
    std::sort(values_.begin(), values_.end());
    values_.erase(std::unique(values_.begin(), values_.end()), values_.end());
    if (!isChanged()) return keptAsItIs();
    return values_.empty() ? nullptr : intern(values_);
  }

 private:
  using Values = boost::container::small_vector<Value, 64>;

  static Value valueOf(Argument value) { return value; }
  template <typename Range, typename Visit>
  static void forEachOf(const Range& values, Visit&& visit) {
    if constexpr (std::is_convertible_v<const Range&, const List*>) {
      ifAny(static_cast<const List*>(values), visit);
    } else if constexpr (std::is_convertible_v<const Range&, PtrConst>) {
      ifAny(static_cast<const PtrConst&>(values).get(), visit);
    } else {
      for (const auto& value : values) visit(value);
    }
  }
  template <typename Visit>
  static void ifAny(const List* list, Visit&& visit) {
    if (list == nullptr) return;
    for (const auto& value : list->comms()) visit(value);
  }

  void open() {
    if (!open_) ifAny(list_.get(), [this](const auto& member) { values_.push_back(valueOf(member)); });
    open_ = true;
  }
  void add(const Value& value) {
    open();
    values_.push_back(value);
  }
  template <typename Takes>
  void dropValues(Takes&& takes) {
    dropMembers([&takes](const auto& member) { return takes(static_cast<const Value&>(valueOf(member))); });
  }
  template <typename Takes>
  void dropComms(Takes&& takes) {
    dropMembers([&](const auto& member) { return takes(*Kind::comm(tables_, member)); });
  }
  // The members of a list that was not changed yet are its own, which know more than their values.
  template <typename Takes>
  void dropMembers(Takes&& takes) {
    if (open_) {
      values_.erase(std::remove_if(values_.begin(), values_.end(), takes), values_.end());
      return;
    }
    Values kept;
    ifAny(list_.get(), [&](const auto& member) {
      if (!takes(member)) kept.push_back(valueOf(member));
    });
    if (list_ == nullptr || kept.size() == list_->comms().size()) return;
    values_ = std::move(kept);
    open_ = true;
  }

  bool isChanged() const {
    if (!open_) return false;
    if (list_ == nullptr) return !values_.empty();
    const auto& comms = list_->comms();
    return !std::equal(values_.begin(), values_.end(), comms.begin(), comms.end(),
                       [](const Value& ours, const auto& theirs) { return ours == valueOf(theirs); });
  }
  // The list itself, unless it is in another table or none.
  PtrConst keptAsItIs() const {
    if (list_ == nullptr || list_->empty()) return nullptr;
    return Kind::table(tables_).holds(*list_) ? list_ : intern(list_->comms());
  }
  template <typename Members>
  PtrConst intern(const Members& members) const {
    auto content = Kind::content(tables_);
    content.expectedCommunityCountIs(members.size());
    for (const auto& member : members) content.commIs(valueOf(member));
    return List::dedupContent(tables_.lists, content);
  }

  const PtrConst list_;
  const Tables tables_;
  bool open_ = false;  // the communities are in values_, no longer the list's
  Values values_;      // in any order, some twice
};
template <typename List, typename Tables>
EditList(Tyr::Ptr<const List>, Tables&&) -> EditList<List>;

}  // namespace Routing::Bgp
