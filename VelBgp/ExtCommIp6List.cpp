#include "VelBgp/ExtCommIp6List.h"

#include <boost/endian/conversion.hpp>

#include "Tyr/Exception.h"
#include "VelBgp/DedupBatchImpl.h"
#include "VelBgp/ExtCommIp6DedupTable.h"
#include "VelBgp/ExtCommTextImpl.h"
#include "VelBgp/StashImpl.h"
#include "VelBgp/VelBgpCommunityListImpl.h"

namespace Routing::Bgp {

// ---- What both lists are

std::uint32_t ExtCommIp6ListDedupContent::hash() const { return list_.hash(); }

void ExtCommIp6ListBase::assertNeverDeduped() const {
  TYR_ASSERT_TEXT(!everDeduped(),
                  "__null == ( this ) || ( this )->dedupState() == Keel::dedupHandleStateNeverDeduped()");
}

void ExtCommIp6ListBase::expectedCommunityCountIs(std::size_t count) {
  assertNeverDeduped();
  comms_.reserve(count);
}

void ExtCommIp6ListBase::commIs(ExtCommIp6::PtrConst comm) {
  assertNeverDeduped();
  if (comm == nullptr) throw Tyr::NullArgumentException("comm");
  ExtCommVectorAdd(std::move(comm), comms_);
  commVectorSorted_ = false;
}

ExtCommIp6::PtrConst ExtCommIp6ListBase::comm(const ExtCommIp6Content& content) const {
  return lookupByValue(commVectorSorted_, comms_, content);
}

namespace {

template <typename Comms>
std::uint32_t hashOfIdentities(const Comms& comms) {
  Keel::HashMix mix;
  for (const ExtCommIp6::PtrConst& p : comms) {
    TYR_ASSERT_TEXT(p->everDeduped(), "__null == ( p ) || ( p )->dedupState() != Keel::dedupHandleStateNeverDeduped()");
    mix.mixBytes8(reinterpret_cast<std::uintptr_t>(p.get()));
  }
  return mix.value();
}

}  // namespace

std::uint32_t ExtCommIp6ListBase::hash() const { return isDeduped() ? storedHash() : hashOfIdentities(comms_); }

bool ExtCommIp6ListBase::compareByContent(const Keel::DedupContentHandle& content) const {
  return compare(&static_cast<const ExtCommIp6ListDedupContent&>(content).list());
}

std::string ExtCommIp6ListBase::toStrep() const { return bracketed(this); }

std::ostream& operator<<(std::ostream& stream, const ExtCommIp6ListBase* list) {
  return writeText(stream, bracketed(list));
}
std::ostream& operator<<(std::ostream& stream, const ExtCommIp6ListBase& list) { return stream << &list; }

template <typename List, typename Prepare>
Tyr::Ptr<const List> ExtCommIp6ListBase::findOrDedup(Keel::DedupHashTable& table, List* list, Prepare&& prepare) {
  return table.findOrDedup<List>(
      list->hash(), [list](const List& interned) { return list->compare(&interned); },
      [&] {
        list->comms_.shrink_to_fit();  // what is interned stays, maybe for long
        prepare();
        return Tyr::Ptr<List>(list);
      });
}

// ---- Classification lists

ExtCommIp6ClassificationList::ExtCommIp6ClassificationList(ExtCommClassification classification)
    : classification_(classification) {
  checkClassification(classification);
}

TYR_FWK_TYPE(ExtCommIp6ClassificationList, "Routing::Bgp::ExtCommIp6ClassificationList")

bool ExtCommIp6ClassificationList::compare(const Keel::DedupHandleBase* other) const {
  const auto* list = static_cast<const ExtCommIp6ClassificationList*>(other);
  return classification_ == list->classification_ && comms_ == list->comms_;
}

void ExtCommIp6ClassificationList::commVectorSortedIs(bool sorted) {
  assertNeverDeduped();
  commVectorSorted_ = sorted;
}

ExtCommIp6ClassificationList::PtrConst ExtCommIp6ClassificationList::dedup(const ExtCommIp6ListDedupTable* table) {
  TYR_ASSERT_TEXT(commVectorSorted(), "_classificationList->commVectorSorted()");
  for (const ExtCommIp6::PtrConst& comm : comms_) TYR_ASSERT(comm->classification() == classification_);
  Ptr list(this);
  if (everDeduped()) {
    list = Tyr::make<ExtCommIp6ClassificationList>(classification_);
    list->comms_ = comms_;
    list->commVectorSorted_ = true;
  }
  return findOrDedup(Keel::tableAt(table).extCommClassificationListDedupTable(), list.get(), [] {});
}

// ---- Lists

TYR_FWK_TYPE(ExtCommIp6List, "Routing::Bgp::ExtCommIp6List")

bool ExtCommIp6List::compare(const Keel::DedupHandleBase* other) const {
  return comms_ == static_cast<const ExtCommIp6List*>(other)->comms_;
}

void ExtCommIp6List::append(const PtrConst& list) {
  assertNeverDeduped();
  if (list == nullptr) throw Tyr::NullArgumentException("list");
  if (list == this) return;  // it has them all
  comms_.insert(comms_.end(), list->comms_.begin(), list->comms_.end());
  commVectorSorted_ = false;
}

ExtCommIp6List::Ptr ExtCommIp6List::copy() const {
  Ptr list = extCommIp6ListFactory();
  list->comms_ = comms_;
  list->commVectorSorted_ = commVectorSorted_;
  return list;
}

// A list that did not make it into the table, for want of memory or because another thread was first, is a builder
// still: it lets go of what it was given for its life there.
class ExtCommIp6List::OpenAgain {
 public:
  explicit OpenAgain(ExtCommIp6List* list) noexcept : list_(list) {}
  OpenAgain(const OpenAgain&) = delete;
  OpenAgain& operator=(const OpenAgain&) = delete;
  ~OpenAgain() {
    if (list_->everDeduped()) return;
    list_->classificationLists_.clear();
    list_->totalTransitiveCommunities_ = 0;
  }

 private:
  const Ptr list_;
};

ExtCommIp6List::PtrConst ExtCommIp6List::dedup(const ExtCommIp6ListDedupTable* table) {
  if (everDeduped()) return std::as_const(*this).dedup(table);
  const OpenAgain unlessInterned(this);
  sortAndUniqueOnce(commVectorSorted_, comms_, ExtCommLessThan());
  return findOrDedup(Keel::tableAt(table).extCommListDedupTable(), this, [this, table] { split(table); });
}

ExtCommIp6List::PtrConst ExtCommIp6List::dedup(const ExtCommIp6ListDedupTable* table) const {
  return copy()->dedup(table);
}

// ---- Contents

ExtCommIp6ListContent::ExtCommIp6ListContent(const ExtCommIp6DedupTable* table) noexcept : table_(table) {}

namespace {

ExtCommIp6Content readIp6Content(const std::uint8_t* octets) noexcept {
  Addr::Ip6Addr::Octets address;
  std::copy_n(octets + 2, address.size(), address.begin());
  return {octets[0], octets[1], Addr::Ip6Addr(address), boost::endian::load_big_u16(octets + 18)};
}

}  // namespace

void ExtCommIp6ListContent::attributeIs(AttributeOctets octets) {
  readAll(octets, sizeof(ExtCommIp6Content), readIp6Content);
}

void ExtCommIp6ListContent::append(const ExtCommIp6ListBase* list) {
  if (list == nullptr) throw Tyr::NullArgumentException("list");
  for (const ExtCommIp6::PtrConst& comm : list->comms()) add(comm->getContent());
}

void ExtCommIp6ListContent::sortAndUnique() const { sortAndUniqueOnce(commVectorSorted_, comms_); }

ExtCommIp6List::PtrConst ExtCommIp6List::dedupContent(const ExtCommIp6ListDedupTable* table,
                                                      const ExtCommIp6ListContent& content) {
  content.sortAndUnique();
  boost::container::small_vector<ExtCommIp6::PtrConst, 64> comms;
  comms.reserve(content.comms().size());
  for (const ExtCommIp6Content& value : content.comms()) {
    comms.push_back(ExtCommIp6::dedupContent(content.table_.get(), value));
  }
  const auto equal = [&comms](const ExtCommIp6List& list) {
    return std::equal(comms.begin(), comms.end(), list.comms_.begin(), list.comms_.end());
  };
  const auto make = [&] {
    Ptr list = extCommIp6ListFactory();
    list->comms_.assign(comms.begin(), comms.end());
    list->commVectorSorted_ = true;
    list->split(table);
    return list;
  };
  return Keel::tableAt(table).extCommListDedupTable().findOrDedup<ExtCommIp6List>(hashOfIdentities(comms), equal, make);
}

// ---- Many at once

struct ExtCommIp6List::Builders {
  using Content = ExtCommIp6List;
  using PtrConst = ExtCommIp6List::PtrConst;

  const Keel::DedupHashTable& table() const noexcept { return Keel::tableAt(listTable).extCommListDedupTable(); }
  static std::uint32_t hash(ExtCommIp6List& builder) {
    if (!builder.everDeduped()) sortAndUniqueOnce(builder.commVectorSorted_, builder.comms_, ExtCommLessThan());
    return builder.hash();
  }
  static void expectMiss(const Content&) noexcept {}
  PtrConst intern(ExtCommIp6List& builder, std::uint32_t) const { return builder.dedup(listTable); }

  const ExtCommIp6ListDedupTable* listTable;
};

void ExtCommIp6List::dedupContents(const ExtCommIp6ListDedupTable* table, std::span<const Ptr> builders,
                                   std::span<PtrConst> lists) {
  TYR_ASSERT(builders.size() == lists.size());
  dedupInGroups(
      Builders{table}, [builders](std::size_t i, std::size_t) { return builders[i].get(); }, lists);
}

// Where a list is cannot be known before its communities are there, so the group is looked up by those; most attributes
// carry one.
struct ExtCommIp6List::Attributes {
  using Content = const AttributeOctets;
  using PtrConst = ExtCommIp6List::PtrConst;
  static constexpr std::size_t octetsEach = sizeof(ExtCommIp6Content);

  const Keel::DedupHashTable& table() const noexcept { return Keel::tableAt(commTable).dedupTable(); }
  static std::uint32_t hash(AttributeOctets octets) noexcept { return readIp6Content(octets.data()).hash(); }
  static void expectMiss(AttributeOctets) noexcept {}
  PtrConst intern(AttributeOctets octets, std::uint32_t) const {
    ExtCommIp6ListContent content(commTable);
    content.attributeIs(octets);
    return dedupContent(listTable, content);
  }

  const ExtCommIp6DedupTable* commTable;
  const ExtCommIp6ListDedupTable* listTable;
};

void ExtCommIp6List::dedupAttributes(const ExtCommIp6DedupTable* commTable, const ExtCommIp6ListDedupTable* table,
                                     std::span<const AttributeOctets> attributes, std::span<PtrConst> lists) {
  TYR_ASSERT(attributes.size() == lists.size());
  const auto whole = [attributes](std::size_t i, std::size_t) {
    return isWhole(attributes[i], Attributes::octetsEach) ? &attributes[i] : nullptr;
  };
  dedupInGroups(Attributes{commTable, table}, whole, lists);
}

namespace {

// By classification; null where there is none yet.
using OpenLists = std::array<ExtCommIp6ClassificationList::Ptr, Tyr::Range<ExtCommClassification>::size()>;

ExtCommIp6ClassificationList& ExtCommIp6ListFindOrCreateClassificationList(OpenLists& lists,
                                                                           ExtCommClassification classification) {
  checkClassification(classification);
  ExtCommIp6ClassificationList::Ptr& _classificationList = lists[classification];
  if (_classificationList == nullptr) {
    _classificationList = Tyr::make<ExtCommIp6ClassificationList>(classification);
  }
  TYR_ASSERT_TEXT(!_classificationList->everDeduped(),
                  "__null == ( _classificationList ) || ( _classificationList )->dedupState() == "
                  "Keel::dedupHandleStateNeverDeduped()");
  return *_classificationList;
}

// In place of each list the interned one; without a table the list itself.
ExtCommIp6List::ClassificationLists internAll(const OpenLists& lists, const ExtCommIp6ListDedupTable* table) {
  ExtCommIp6List::ClassificationLists interned;
  for (std::size_t i = 0; i < lists.size(); ++i) {
    if (lists[i] == nullptr) continue;
    interned.resize(i + 1);
    lists[i]->commVectorSortedIs(true);  // a part of a sorted vector
    interned[i] = table == nullptr ? lists[i] : lists[i]->dedup(table);
  }
  return interned;
}

}  // namespace

void ExtCommIp6List::split(const ExtCommIp6ListDedupTable* table) {
  OpenLists lists;
  for (const ExtCommIp6::PtrConst& comm : comms_) {
    ExtCommIp6ListFindOrCreateClassificationList(lists, comm->classification()).commIs(comm);
    totalTransitiveCommunities_ += comm->getContent().transitive();
  }
  classificationLists_ = internAll(lists, table);
}

ExtCommIp6ClassificationList::PtrConst ExtCommIp6List::classificationList(ExtCommClassification classification) const {
  TYR_ASSERT_TEXT(everDeduped(),
                  "__null == ( this ) || ( this )->dedupState() != Keel::dedupHandleStateNeverDeduped()");
  return classification < classificationLists_.size() ? classificationLists_[classification] : nullptr;
}

std::string ExtCommIp6List::serialize(bool sendNonTransExtComms) const {
  const std::uint32_t n = sendNonTransExtComms ? totalCommunities() : totalTransitiveCommunities();
  if (n == 0) return {};
  return serializeCommunities(BgpPathAttrType::extCommunityIp6, sizeof(ExtCommIp6Content), n, comms_,
                              [=](SerializePathAttribute& attribute, const ExtCommIp6::PtrConst& comm) {
                                const ExtCommIp6Content& content = comm->getContent();
                                if (!sendNonTransExtComms && !content.transitive()) return;
                                attribute.addU8(content.type());
                                attribute.addU8(content.subtype());
                                attribute.addBytes(content.addr().octets().data(), content.addr().octets().size());
                                attribute.addU16hton(content.localAdmin());
                              });
}

std::string ExtCommIp6List::commsStringForm() const {
  ExtCommIp6::StrepFormat format;
  format.strepFormatClassificationIs(true);
  Tyr::DynamicBuffer<512> text;
  for (const ExtCommIp6::PtrConst& comm : comms_) {
    text.append(comm->toStrepForPolicy(format));
    text.append(' ');
  }
  return text.str();
}

Store::Reference ExtCommIp6List::stash(Store::WriteBatch* batch) const {
  std::vector<Store::Reference> references;
  for (const ExtCommIp6::PtrConst& comm : comms_) references.push_back(comm->stash(batch));
  return stashRecord(*batch, Stashed::extCommIp6List, listImage(commVectorSorted_, references));
}

ExtCommIp6List::PtrConst ExtCommIp6List::destash(const void* stashed, Store::StoreManager* store) {
  if (namesNothing(stashed)) return nullptr;
  StashReader reader(stashed, *store, Stashed::extCommIp6List);
  const Ptr list = extCommIp6ListFactory();
  reader.take<std::uint8_t>();  // whether it is sorted: asked of the communities themselves
  for (const Store::Reference& reference : reader.takeAll<Store::Reference>()) {
    list->comms_.push_back(ExtCommIp6::destash(&reference, store));
    existing(list->comms_.back().get(), *store);
  }
  reader.requireAscending(list->comms_, ExtCommLessThan());
  list->commVectorSorted_ = true;
  list->split(nullptr);
  list->notInTableIs();
  return list;
}

TYR_FACTORIES(ExtCommIp6List::Ptr, extCommIp6List, ExtCommIp6List, (), ())

// ---- The table

void ExtCommIp6ListDedupTable::dumpState(Keel::DumpContext& context, std::uint32_t indent) const {
  context.line(indent, "ExtCommIp6ListDedupTable");
  context.line(indent + 2, "extCommIp6");
  extCommListDedupTable_->dump(context, indent + 4);
  context.line(indent + 2, "extCommIp6Classification");
  extCommClassificationListDedupTable_->dump(context, indent + 4);
}

TYR_FACTORIES(ExtCommIp6ListDedupTable::Ptr, extCommIp6ListDedupTable, ExtCommIp6ListDedupTable, (), ())

}  // namespace Routing::Bgp
