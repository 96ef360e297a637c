#include <bit>

#include "VelBgp/DedupBatchImpl.h"
#include "VelBgp/MatchTextsImpl.h"
#include "VelBgp/StashImpl.h"
#include "VelBgp/VelBgpCommunityListImpl.h"

namespace Routing::Bgp {
namespace {

constexpr std::uint32_t bitOf(ExtCommClassification classification) noexcept {
  return 1u << static_cast<unsigned>(classification);
}

}  // namespace

template class ExtCommListBase<ExtCommList, 0>;

ExtCommList::~ExtCommList() {
  RouteMap::MatchMemory::forget(matchNumberOf(*this));
  // The classification lists hold the references, unless the list's making was broken off.
  if ((userData() & splitBit) == 0) return;
  if (dedupState() != Keel::dedupHandleStateNeverDeduped()) prefetchParts();
  comms_.forgetElements();
}

// What is about to be let go: the classification lists, and the community of a list of one with its place in its table.
// Not of a list whose making was broken off, for its communities may be gone.
void ExtCommList::prefetchParts() const noexcept {
  for (const ExtCommClassificationList* list : classificationLists()) __builtin_prefetch(list);
  if (comms_.size() == 1) Keel::DedupHashTable::prefetchLeaving(*comms_[0]);
}

namespace {

// What a list keeps behind itself: the value of a single community, or the references of more but for their count.
constexpr std::size_t octetsBehind(std::uint32_t communities) noexcept {
  if (communities == 1) return sizeof(std::uint64_t);
  return Keel::detail::refBlockOctets(communities) - sizeof(std::uint32_t);
}

}  // namespace

void* ExtCommList::operator new(std::size_t octets, std::uint32_t communities) {
  const std::size_t all = octets + octetsBehind(communities);
  return DedupHandleBase::operator new(all <= Keel::SlabHeap::maxOctets ? all : octets);
}

void ExtCommList::commCountIs(std::uint32_t count) {
  const bool room = Keel::SlabHeap::octetsOf(this) >= sizeof(ExtCommList) + octetsBehind(count);
  comms_.sizeIs(count, room ? &ownBlock_ : nullptr);
  if (room && count == 1) userDataIs(userData() | ownValueBit);
}

void ExtCommList::commIs(std::uint32_t index, ExtComm::PtrConst comm) noexcept {
  if (hasOwnValue()) *reinterpret_cast<std::uint64_t*>(this + 1) = comm->community();
  comms_.elementIs(index, std::move(comm));
}

TYR_FWK_TYPE(ExtCommList, "Routing::Bgp::ExtCommList")

bool ExtCommList::compareByContent(const Keel::DedupContentHandle& content) const {
  return static_cast<const ExtCommListContentBase&>(content).compareWithExtCommList(this);
}

template <typename Equal>
ExtCommList::PtrConst ExtCommList::findOrMake(const ExtCommListDedupTable* table, const ExtCommListContentBase& content,
                                              std::uint32_t hash, Equal&& equal) {
  return Keel::tableAt(table).extCommListDedupTable().findOrDedup<ExtCommList>(
      hash, equal, [&] { return make(table, content, hash); });
}

ExtCommList::PtrConst ExtCommList::dedupContent(const ExtCommListDedupTable* table,
                                                const ExtCommListContentBase& content) {
  return findOrMake(table, content, content.sortAndHash(),
                    [&content](const ExtCommList& list) { return content.compareWithExtCommList(&list); });
}

// The form that attributes arrive in: known at compile time, a hit makes no virtual call.
inline ExtCommList::PtrConst ExtCommList::dedupHashed(const ExtCommListDedupTable* table,
                                                      const ExtCommListContentU64& content, std::uint32_t hash) {
  return findOrMake(table, content, hash, [&content](const ExtCommList& list) { return content.equals(list); });
}

ExtCommList::PtrConst ExtCommList::dedupContent(const ExtCommListDedupTable* table,
                                                const ExtCommListContentU64& content) {
  return dedupHashed(table, content, content.sortAndHashInLine());
}

struct ExtCommList::Batch {
  using Content = const ExtCommListContentU64;
  using PtrConst = ExtCommList::PtrConst;
  static constexpr std::size_t octetsEach = sizeof(std::uint64_t);

  void addContent(auto& buffers) const { buffers.emplace_back(commTable); }
  const Keel::DedupHashTable& table() const noexcept { return Keel::tableAt(listTable).extCommListDedupTable(); }
  std::uint32_t hash(Content& content) const { return content.sortAndHashInLine(); }
  void expectMiss(Content& content) const noexcept { content.prefetchCommunities(); }
  PtrConst intern(Content& content, std::uint32_t hash) const { return dedupHashed(listTable, content, hash); }

  const ExtCommListDedupTable* listTable;
  const ExtCommDedupTable* commTable = nullptr;
};

void ExtCommList::dedupContents(const ExtCommListDedupTable* table, std::span<const ExtCommListContentU64> contents,
                                std::span<PtrConst> lists) {
  dedupAllContents(Batch{table}, contents, lists);
}

void ExtCommList::dedupAttributes(const ExtCommDedupTable* commTable, const ExtCommListDedupTable* table,
                                  std::span<const AttributeOctets> attributes, std::span<PtrConst> lists) {
  dedupAllAttributes(Batch{table, &Keel::tableAt(commTable)}, attributes, lists);
}

ExtCommList::Ptr ExtCommList::make(const ExtCommListDedupTable* table, const ExtCommListContentBase& content,
                                   std::uint32_t hash) {
  // Most lists are of route targets alone, or of one community: their one part has the list's own hash.
  table->rtExtCommClassificationListDedupTableRaw()->prefetchBucket(hash);
  Ptr list(new (static_cast<std::uint32_t>(content.communityCount())) ExtCommList);
  list->notificationActiveIs(true);
  content.populateExtCommList(list.get());
  list->commVectorSortedIs(true);
  list->createClassificationListVector(table, hash);
  list->computeCommVectorAttrs();
  return list;
}

ExtCommList::PtrConst ExtCommList::dedupSingleU64(const ExtCommDedupTable* commTable,
                                                  const ExtCommListDedupTable* table, std::uint64_t value) {
  ExtCommListContentU64 content(commTable);
  content.commIs(value);
  return dedupContent(table, content);
}

// The split of a list under way. Once it runs, the list holds no references itself any more, in whatever way it ends:
// those of a classification move on to its classification list as soon as that is asked for, and a community whose
// reference has moved on is not looked at again: it may be gone.
class ExtCommList::Split {
 public:
  explicit Split(ExtCommList& list)
      : list_(list), classifications_(list.comms_.size(), boost::container::default_init) {
    parted_.resize(list.comms_.size(), boost::container::default_init);
  }
  Split(const Split&) = delete;
  Split& operator=(const Split&) = delete;
  ~Split() {
    for (; left_ != 0; left_ &= left_ - 1) {
      const CommReferences dropped(part(first()));
    }
  }

  // Called for each community in order; cannot fail.
  void add(std::uint32_t place, const ExtComm& comm) {
    const ExtCommClassification classification = comm.classification();
    checkClassification(classification);
    classifications_[place] = classification;
    ++counts_[classification];
    present_ |= bitOf(classification);
  }
  std::uint32_t present() const noexcept { return present_; }

  // Ascending by classification. `hash` is the list's. Without a table the lists are private ones.
  void run(const ExtCommListDedupTable* table, std::uint32_t hash) {
    list_.classificationLists_.array_.sizeIs(static_cast<std::uint32_t>(std::popcount(present_)));
    layOut();
    left_ = present_;
    list_.userDataIs(list_.userData() | splitBit);
    std::uint32_t hashes[Tyr::Range<ExtCommClassification>::size()] = {};
    if (table != nullptr) prepare(*table, hash, hashes);
    for (std::uint32_t place = 0; left_ != 0; ++place) {
      list_.classificationLists_.array_.elementIs(place, splitOff(table, hashes[first()]));
    }
  }

 private:
  using Comms = ExtCommClassificationList::Comms;

  ExtCommClassification first() const noexcept { return ExtCommClassification(std::countr_zero(left_)); }
  Comms part(ExtCommClassification classification) const noexcept {
    return {parted_.data() + ends_[classification] - counts_[classification], counts_[classification]};
  }
  // Each community behind those of its classification that were there before.
  void layOut() noexcept {
    std::uint32_t begin = 0;
    for (std::uint32_t left = present_; left != 0; left &= left - 1) {
      const int classification = std::countr_zero(left);
      ends_[classification] = begin;
      begin += counts_[classification];
    }
    for (std::uint32_t i = 0; i < parted_.size(); ++i) parted_[ends_[classifications_[i]]++] = list_.comms_[i];
  }
  // The hashes of all parts, and their places in the tables on their way here, before the first is looked for.
  void prepare(const ExtCommListDedupTable& table, std::uint32_t hash, std::uint32_t* hashes) const {
    for (std::uint32_t left = left_; left != 0; left &= left - 1) {
      const auto classification = ExtCommClassification(std::countr_zero(left));
      const Comms comms = part(classification);
      hashes[classification] = comms.size() == parted_.size() ? hash : hashExtComms(comms);
      ExtCommClassificationList::tableOf(table, classification).prefetchBucket(hashes[classification]);
    }
  }
  ExtCommClassificationList::PtrConst splitOff(const ExtCommListDedupTable* table, std::uint32_t hash) {
    const ExtCommClassification classification = first();
    CommReferences comms(part(classification));
    left_ &= left_ - 1;
    if (table == nullptr) return ExtCommClassificationList::newFilled(classification, comms);
    auto made = ExtCommClassificationList::dedupSorted(*table, classification, comms, hash);
    borrowFrom(*made, comms.all());
    return made;
  }
  // A classification list that was there already may hold other objects of the same values, interned in another table:
  // the list goes over to those, which are kept alive.
  void borrowFrom(const ExtCommClassificationList& made, Comms ours) noexcept {
    const ExtCommRange kept = made.comms_.range();
    if (std::equal(kept.begin(), kept.end(), ours.begin())) return;
    for (std::uint32_t i = 0, next = 0; next < kept.size(); ++i) {
      if (classifications_[i] == made.classification()) list_.comms_.elementBorrow(i, kept[next++]);
    }
  }

  ExtCommList& list_;
  boost::container::small_vector<ExtCommClassification, 64> classifications_;  // of each community
  boost::container::small_vector<const ExtComm*, 64> parted_;                  // by classification, then by value
  std::uint32_t counts_[Tyr::Range<ExtCommClassification>::size()] = {};
  std::uint32_t ends_[Tyr::Range<ExtCommClassification>::size()];  // of those that occur, once laid out
  std::uint32_t present_ = 0;                                      // the classifications that occur
  std::uint32_t left_ = 0;                                         // those whose references are still the split's
};

void ExtCommList::createClassificationListVector(const ExtCommListDedupTable* table, std::uint32_t hash) {
  TYR_ASSERT(commVectorSorted());
  TYR_ASSERT(classificationLists_.array_.empty());
  bool policyMatchStrepUI = false;
  bool unspecifiedAsNumber = false;
  Split split(*this);
  std::uint32_t place = 0;
  for (const ExtComm* comm : comms_.range()) {
    split.add(place++, *comm);
    transitiveCount_ += comm->getContent().transitive();
    policyMatchStrepUI = policyMatchStrepUI || comm->policyMatchStrepUI();
    unspecifiedAsNumber = unspecifiedAsNumber || comm->isLinkBandwidthWithUnspecifiedAsNumber();
  }
  if (table == nullptr) {
    transitiveCount_ = 0;
    policyMatchStrepUI = false;
  }
  const bool linkBandwidth = (split.present() & bitOf(extCommClassificationLinkBandwidth)) != 0;
  split.run(table, hash);
  CommVectorAttrs attrs = commVectorAttrs();
  attrs.hasPolicyMatchStrepUICommunitiesIs(policyMatchStrepUI);
  attrs.hasLinkBandwidthWithUnspecifiedAsNumberIs(unspecifiedAsNumber);
  attrs.hasLinkBandwidthIs(linkBandwidth);
  commVectorAttrsIs(attrs);
}

void ExtCommList::computeCommVectorAttrs() {
  CommVectorAttrs attrs = commVectorAttrs();
  for (const ExtCommClassificationList* _classificationList : classificationLists()) {
    TYR_ASSERT(_classificationList->isDeduped());
    if (_classificationList->hasPrunableValues()) attrs.hasPrunableValuesIs(true);
    if (_classificationList->classification() == extCommClassificationLinkBandwidth) attrs.hasLinkBandwidthIs(true);
    if (_classificationList->classification() == extCommClassificationOriginValidationState) {
      attrs.hasOriginValidationStateIs(true);
    }
  }
  commVectorAttrsIs(attrs);
}

std::uint32_t ExtCommList::totalCommunities() const { return comms().size(); }

ExtCommClassificationList::PtrConst ExtCommList::classificationList(ExtCommClassification classification) const {
  return classificationLists_.lookup(classification);
}

ExtCommList::Serialization ExtCommList::serialization(bool includeNonTransitive, bool includeLinkBandwidth,
                                                      bool includeOriginAsValidity) {
  Serialization s;
  s.allIs(includeNonTransitive);
  s.transitiveIs(!includeNonTransitive);
  s.linkBandwidthIs(!includeNonTransitive && includeLinkBandwidth);
  s.originAsValidityIs(!includeNonTransitive && includeOriginAsValidity);
  return s;
}

bool ExtCommList::serializable(const ExtComm& comm, Serialization s) { return passesFilter(comm, s); }

std::uint32_t ExtCommList::serializableCommunities(Serialization s) const {
  if (s.all()) return totalCommunities();
  std::uint32_t count = s.transitive() ? transitiveCount_ : 0;
  if (s.linkBandwidth() && hasLinkBandwidth()) ++count;
  if (s.originAsValidity() && hasOriginValidationState()) ++count;
  return count;
}

std::string ExtCommList::serialize(Serialization s) const {
  const std::uint32_t n = serializableCommunities(s);
  if (n == 0) return {};
  return serializeCommunities(BgpPathAttrType::extCommunity, sizeof(std::uint64_t), n, comms(),
                              [s](SerializePathAttribute& attribute, const ExtComm* comm) {
                                if (passesFilter(*comm, s)) attribute.addU64hton(comm->community());
                              });
}

ExtCommList::PtrConst ExtCommList::prune(const ExtCommListDedupTable* table) const {
  if (!hasPrunableValues()) return this;
  ExtCommListContent content;
  for (const ExtCommClassificationList* list : classificationLists()) {
    if (list->hasPrunableValues()) {
      for (ExtComm::PtrConst& comm : list->prune()) content.commIs(std::move(comm));
    } else {
      for (const ExtComm* comm : list->comms()) content.commIs(comm);
    }
  }
  if (!content) return nullptr;
  return dedupContent(table, content);
}

Store::Reference ExtCommList::stash(Store::WriteBatch* batch) const {
  std::vector<Store::Reference> references;
  for (const ExtComm* comm : comms()) references.push_back(comm->stash(batch));
  return stashRecord(*batch, Stashed::extCommList, listImage(commVectorSorted(), references));
}

ExtCommList::PtrConst ExtCommList::destash(const void* stashed, Store::StoreManager* store) {
  if (namesNothing(stashed)) return nullptr;
  StashReader reader(stashed, *store, Stashed::extCommList);
  reader.take<std::uint8_t>();  // whether it is sorted: asked of the communities themselves
  const auto references = reader.takeAll<Store::Reference>();
  const auto count = static_cast<std::uint32_t>(references.size());
  const Ptr list(new (count) ExtCommList);
  list->notificationActiveIs(true);
  list->commCountIs(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    ExtComm::PtrConst comm = ExtComm::destash(&references[i], store);
    existing(comm.get(), *store);
    list->commIs(i, std::move(comm));
  }
  reader.requireAscending(list->comms_.range(), ExtCommLessThan());
  list->commVectorSortedIs(true);
  list->createClassificationListVector(nullptr, 0);
  list->notInTableIs();
  return list;
}

ExtCommListDedupTable::ExtCommListDedupTable()
    : extCommListDedupTable_(Tyr::make<Keel::DedupHashTable>("extCommList")),
      extCommClassificationListDedupTable_(Tyr::make<Keel::DedupHashTable>("extCommClassificationList")),
      rtExtCommClassificationListDedupTable_(Tyr::make<Keel::DedupHashTable>("rtExtCommClassificationList")),
      notifyingRtExtCommListCollection_(Tyr::make<NotifyingRtExtCommListCollection>()) {
  rtExtCommListLifeTimeNotifieeIs(notifyingRtExtCommListCollection_);
  rtExtCommClassificationListDedupTable_->lifeTimeNotifieeIs(rtExtCommListLifeTimeNotifiee_);
  notifyingRtExtCommListCollection_->watchedTableIs(rtExtCommClassificationListDedupTable_.get());
}

RtExtCommListLifeTimeNotifiee::Ptr ExtCommListDedupTable::rtExtCommListLifeTimeNotifieeIs(
    NotifyingRtExtCommListCollection::Ptr collection) {
  if (rtExtCommListLifeTimeNotifiee_ == nullptr || rtExtCommListLifeTimeNotifiee_->collection() != collection) {
    rtExtCommListLifeTimeNotifiee_ = rtExtCommListLifeTimeNotifieeFactory(std::move(collection));
  }
  return rtExtCommListLifeTimeNotifiee_;
}

void ExtCommListDedupTable::dumpState(Keel::DumpContext& context, std::uint32_t indent) const {
  context.line(indent, "ExtCommListDedupTable");
  context.line(indent + 2, "extComm");  // Deliberate: scripts look for this label, though the section is of lists
  extCommListDedupTable_->dump(context, indent + 4);
  context.line(indent + 2, "extCommClassification");
  extCommClassificationListDedupTable_->dump(context, indent + 4);
  context.line(indent + 2, "rtExtCommClassification");
  rtExtCommClassificationListDedupTable_->dump(context, indent + 4);
}

TYR_FACTORIES(ExtCommListDedupTable::Ptr, extCommListDedupTable, ExtCommListDedupTable, (), ())

}  // namespace Routing::Bgp
