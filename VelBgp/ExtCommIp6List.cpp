#include "VelBgp/ExtCommIp6List.h"

#include <array>
#include <ostream>
#include <utility>

#include "Keel/HashMix.h"
#include "Tyr/Assert.h"
#include "Tyr/Exception.h"
#include "VelBgp/ExtCommTextImpl.h"
#include "VelBgp/StashImpl.h"
#include "VelBgp/VelBgpCommunityListImpl.h"

namespace Routing::Bgp {

// ---- What both lists are

ExtCommIp6ListDedupContent::~ExtCommIp6ListDedupContent() = default;

std::uint32_t ExtCommIp6ListDedupContent::hash() const { return list_.hash(); }

ExtCommIp6ListBase::~ExtCommIp6ListBase() = default;

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

std::uint32_t ExtCommIp6ListBase::hash() const {
  if (isDeduped()) return storedHash();
  Keel::HashMix mix;
  for (const ExtCommIp6::PtrConst& p : comms_) {
    TYR_ASSERT_TEXT(p->everDeduped(), "__null == ( p ) || ( p )->dedupState() != Keel::dedupHandleStateNeverDeduped()");
    mix.mixBytes8(reinterpret_cast<std::uintptr_t>(p.get()));
  }
  return mix.value();
}

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

ExtCommIp6ClassificationList::~ExtCommIp6ClassificationList() = default;

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
  return findOrDedup(table->extCommClassificationListDedupTable(), list.get(), [] {});
}

// ---- Lists

ExtCommIp6List::~ExtCommIp6List() = default;

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
  return findOrDedup(table->extCommListDedupTable(), this, [this, table] { split(table); });
}

ExtCommIp6List::PtrConst ExtCommIp6List::dedup(const ExtCommIp6ListDedupTable* table) const {
  return copy()->dedup(table);
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
  std::string text;
  for (const ExtCommIp6::PtrConst& comm : comms_) (text += comm->toStrepForPolicy(format)) += ' ';
  return text;
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
  list->commVectorSorted_ = reader.take<std::uint8_t>() != 0;
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

ExtCommIp6List::Ptr extCommIp6ListFactory() { return Tyr::make<ExtCommIp6List>(); }
ExtCommIp6List::Ptr ExtCommIp6ListIs() { return extCommIp6ListFactory(); }

// ---- The table

ExtCommIp6ListDedupTable::ExtCommIp6ListDedupTable() { handleInitialized(); }

ExtCommIp6ListDedupTable::~ExtCommIp6ListDedupTable() = default;

void ExtCommIp6ListDedupTable::handleInitialized() {
  extCommListDedupTable_ = Tyr::make<Keel::DedupHashTable>("extCommIp6List");
  extCommClassificationListDedupTable_ = Tyr::make<Keel::DedupHashTable>("extCommIp6ClassificationList");
}

void ExtCommIp6ListDedupTable::dumpState(Keel::DumpContext& context, std::uint32_t indent) const {
  context.line(indent, "ExtCommIp6ListDedupTable");
  context.line(indent + 2, "extCommIp6");
  extCommListDedupTable_->dump(context, indent + 4);
  context.line(indent + 2, "extCommIp6Classification");
  extCommClassificationListDedupTable_->dump(context, indent + 4);
}

ExtCommIp6ListDedupTable::Ptr extCommIp6ListDedupTableFactory() { return Tyr::make<ExtCommIp6ListDedupTable>(); }
ExtCommIp6ListDedupTable::Ptr ExtCommIp6ListDedupTableIs() { return extCommIp6ListDedupTableFactory(); }

}  // namespace Routing::Bgp
