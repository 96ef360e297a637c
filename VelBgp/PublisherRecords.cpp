#include <algorithm>
#include <boost/sort/pdqsort/pdqsort.hpp>
#include <deque>
#include <span>

#include "VelBgp/PublisherRecordsImpl.h"

namespace Routing::Bgp::detail {
namespace {

// Does what needs a record that is there. False where damage has taken it already: the store goes on without it.
template <typename Action>
bool unlessDamaged(Action&& action) {
  try {
    action();
    return true;
  } catch (const Store::StaleReferenceException&) {
    return false;
  } catch (const Store::DamagedRecordException&) {
    return false;
  }
}

// One attribute's part of a commit. The book of records is changed only once that is done: a commit that fails leaves
// it true.
class AttributeChange {
 public:
  AttributeChange(const PublishedAttribute& attribute, AttributeRecords& records, const Store::StoreManager& store,
                  Store::WriteBatch& batch)
      : attribute_(attribute), records_(records), store_(store), batch_(batch) {}
  AttributeChange(const AttributeChange&) = delete;
  AttributeChange& operator=(const AttributeChange&) = delete;
  // Takes back the places that it made and did not fill.
  ~AttributeChange() {
    for (const auto& [image, shared] : communities_) {
      const auto place = records_.communities.find(image);
      if (place != records_.communities.end() && place->second.reference.null()) records_.communities.erase(place);
    }
  }

  // The lists that went are dropped, or stay as leaving ones.
  void apply(const AttributeNotes& notes, bool drop) {
    allGone_ = notes.allGone;
    dropsLeaving_ = drop;
    if (notes.allGone) {
      for (const auto& [slot, reference] : records_.lists) listGoes(slot, reference);
    }
    if (drop) {
      for (const Slot slot : notes.gone) listGoes(slot, records_.lists.at(slot));
      for (const Store::Reference& reference : records_.leaving) recordsOfListGo(reference);
    } else {
      for (const Slot slot : notes.gone) listLeaves(slot, records_.lists.at(slot));
    }
    for (const auto& part : notes.come.parts()) {
      for (const auto& [slot, image] : part) come_.emplace(slot, listComes(image));
    }
    dropUnused();
    // Places for what is to come, so that settling needs no memory.
    records_.lists.reserve(records_.lists.size() + come_.size());
    roomFor(records_.lists, come_.size());
    records_.leaving.reserve(records_.leaving.size() + leaving_.size());
    for (const auto& [image, shared] : communities_) records_.communities.try_emplace(image);
  }

  // The record of a list as of this commit, or the null reference.
  Store::Reference reference(Slot slot) const {
    if (const auto it = come_.find(slot); it != come_.end()) return it->second;
    const auto it = records_.lists.find(slot);
    return it == records_.lists.end() || allGone_ ? Store::Reference() : it->second;
  }

  // The commit is done. Needs no memory.
  void settle() noexcept {
    for (const Slot slot : gone_) records_.lists.erase(slot);
    if (dropsLeaving_) records_.leaving = std::vector<Store::Reference>();
    records_.leaving.insert(records_.leaving.end(), leaving_.begin(), leaving_.end());
    for (const auto& [slot, reference] : come_) records_.lists.emplace(slot, reference);
    for (const auto& [image, shared] : communities_) {
      const auto place = records_.communities.find(image);
      shared.users == 0 ? void(records_.communities.erase(place)) : void(place->second = shared);
    }
  }

 private:
  void listGoes(Slot slot, Store::Reference reference) {
    recordsOfListGo(reference);
    gone_.push_back(slot);
  }
  void listLeaves(Slot slot, Store::Reference reference) {
    leaving_.push_back(reference);
    gone_.push_back(slot);
  }
  void recordsOfListGo(Store::Reference reference) {
    for (const std::string& image : imagesIn(reference)) {
      SharedRecord& shared = sharedOf(image);
      if (shared.users != 0) --shared.users;
    }
    recordGoes(reference);
  }

  Store::Reference listComes(const Image& image) {
    if (attribute_.communityOctets == 0) return stashRecord(batch_, attribute_.list, image);
    std::vector<Store::Reference> references;
    for (auto at = image.begin(); at != image.end();) {
      const auto end = at + static_cast<std::ptrdiff_t>(attribute_.communityOctets);
      SharedRecord& shared = sharedOf(std::string(at, end));
      if (shared.reference.null()) shared.reference = stashRecord(batch_, attribute_.community, Image(at, end));
      ++shared.users;
      references.push_back(shared.reference);
      at = end;
    }
    return stashRecord(batch_, attribute_.list, listImage(true, references));
  }

  // As this change leaves it so far.
  SharedRecord& sharedOf(const std::string& image) {
    const auto [place, isNew] = communities_.try_emplace(image);
    if (isNew) {
      const auto it = records_.communities.find(image);
      if (it != records_.communities.end()) place->second = it->second;
    }
    return place->second;
  }
  void dropUnused() {
    for (const auto& [image, shared] : communities_) {
      if (shared.users == 0 && !shared.reference.null()) recordGoes(shared.reference);
    }
  }
  void recordGoes(Store::Reference reference) {
    unlessDamaged([&] { batch_.recordDel(reference); });
  }

  // The images of a list's communities, read back from its record, which is of an earlier commit. Those of a damaged
  // list stay in the store.
  std::vector<std::string> imagesIn(Store::Reference reference) const {
    std::vector<std::string> images;
    if (attribute_.communityOctets == 0) return images;
    const bool read = unlessDamaged([&] {
      StashReader list(&reference, store_, attribute_.list);
      list.take<std::uint8_t>();
      for (const Store::Reference& community : list.takeAll<Store::Reference>()) {
        const Store::Octets image = store_.translate(community).payload;
        images.emplace_back(image.begin(), image.end());
      }
    });
    if (!read) images.clear();
    return images;
  }

  const PublishedAttribute& attribute_;
  AttributeRecords& records_;
  const Store::StoreManager& store_;
  Store::WriteBatch& batch_;
  bool allGone_ = false;
  bool dropsLeaving_ = false;
  std::vector<Slot> gone_;
  std::vector<Store::Reference> leaving_;
  BySlot<Store::Reference> come_;
  Communities communities_;
};

using References = ByAttribute<Store::Reference>;

// Of the lists that a path leads to. `referenceOf(attribute, slot)` is the record of a list.
template <typename ReferenceOf>
References referencesOf(const PathNote& note, ReferenceOf&& referenceOf) {
  References references;
  for (std::size_t attribute = 0; attribute < references.size(); ++attribute) {
    if (note.slots[attribute] != 0) references[attribute] = referenceOf(attribute, note.slots[attribute]);
  }
  return references;
}

// Octets of a text from `at` on, zeros behind it, as a number that is in order as they are.
std::uint64_t wordOf(std::string_view text, std::size_t at) {
  std::uint64_t word = 0;
  if (at < text.size()) std::memcpy(&word, text.data() + at, std::min(text.size() - at, sizeof word));
  return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
}

}  // namespace

// A few at a time: first what each look at another place in memory finds, so that the processor waits for several of
// them at once.
template <typename ReferenceOf>
void Records::changePaths(Store::WriteBatch& batch, SortedPaths paths, ReferenceOf&& referenceOf) {
  constexpr std::size_t atOnce = 16;
  std::array<References, atOnce> references;
  for (; !paths.empty(); paths = paths.subspan(std::min(atOnce, paths.size()))) {
    const SortedPaths some = paths.first(std::min(atOnce, paths.size()));
    for (const SortedPath& path : paths.subspan(some.size()).first(std::min(atOnce, paths.size() - some.size()))) {
      path.note.path->prefetch();
    }
    std::transform(some.begin(), some.end(), references.begin(),
                   [&](const SortedPath& path) { return referencesOf(path.note, referenceOf); });
    for (std::size_t i = 0; i < some.size(); ++i) {
      const Store::Octets key = octetsOf(some[i].note.path->key());
      some[i].note.gone ? batch.keyDel(stashedPathSpace, key)
                        : batch.keyIs(stashedPathSpace, key, octetsOf(references[i]));
    }
  }
}

std::vector<Records::SortedPath> Records::sorted(const NotesOfPaths& paths) {
  std::vector<SortedPath> sorted;
  sorted.reserve(paths.size());
  for (const PathNote& note : paths) {
    const std::string_view key = note.path->key();
    sorted.push_back({Keel::detail::Uint128{wordOf(key, 0)} << 64 | wordOf(key, sizeof(std::uint64_t)), note});
  }
  boost::sort::pdqsort_branchless(sorted.begin(), sorted.end(),
                                  [](const SortedPath& a, const SortedPath& b) { return a.begin < b.begin; });
  // Those that begin alike, by the keys themselves: each is looked at once, and fetched ahead.
  constexpr std::ptrdiff_t ahead = 16;
  for (auto first = sorted.begin(), last = first; first != sorted.end(); first = last) {
    for (; last != sorted.end() && last->begin == first->begin; ++last) {
      if (sorted.end() - last > ahead) last[ahead].note.path->prefetch();
    }
    if (last - first > 1)
      std::sort(first, last,
                [](const SortedPath& a, const SortedPath& b) { return a.note.path->key() < b.note.path->key(); });
  }
  return sorted;
}

void Records::commit(Notes& notes, std::size_t paths) {
  const std::vector<SortedPath> all = sorted(notes.paths);
  const std::size_t pages = std::min(all.size(), paths / pathsOfPage);
  if (pages <= mostPagesAtOnce) return commitLists(notes, all, Leaving::go);

  commitLists(notes, {}, Leaving::stay);
  notes.lists = {};
  const std::size_t commits = (pages + mostPagesAtOnce - 1) / mostPagesAtOnce;
  for (std::size_t i = 0; i < commits; ++i) {
    const std::size_t begin = all.size() * i / commits;
    commitPaths(SortedPaths(all).subspan(begin, all.size() * (i + 1) / commits - begin));
  }
  commitLists(notes, {}, Leaving::go);
}

void Records::commitLists(const Notes& notes, SortedPaths paths, Leaving leaving) {
  store_.refresh();  // the view may have ended after an earlier failure
  Store::WriteBatch batch(store_);
  if (!cleared_) batch.clear();
  std::deque<AttributeChange> changes;
  for (std::size_t attribute = 0; attribute < records_.size(); ++attribute) {
    changes.emplace_back(publishedAttributes[attribute], records_[attribute], store_, batch)
        .apply(notes.lists[attribute], leaving == Leaving::go);
  }
  if (cleared_) pathsLoseLists(batch, notes);
  changePaths(batch, paths, [&](std::size_t attribute, Slot slot) { return changes[attribute].reference(slot); });
  batch.commit();
  cleared_ = true;
  for (AttributeChange& change : changes) change.settle();
}

void Records::commitPaths(SortedPaths paths) {
  store_.refresh();
  Store::WriteBatch batch(store_);
  changePaths(batch, paths, [this](std::size_t attribute, Slot slot) {
    const auto& lists = records_[attribute].lists;
    const auto found = lists.find(slot);
    return found == lists.end() ? Store::Reference() : found->second;
  });
  batch.commit();
}

// A table that went took its lists along, also those that paths hold.
void Records::pathsLoseLists(Store::WriteBatch& batch, const Notes& notes) const {
  if (std::none_of(notes.lists.begin(), notes.lists.end(),
                   [](const AttributeNotes& attribute) { return attribute.allGone; }))
    return;
  store_.view().forEachKey(
      stashedPathSpace,
      [&](Store::Octets key, Store::Octets value) {
        References references;
        if (value.size() != sizeof references) return;
        std::memcpy(&references, value.data(), sizeof references);
        for (std::size_t attribute = 0; attribute < references.size(); ++attribute) {
          if (notes.lists[attribute].allGone) references[attribute] = Store::Reference();
        }
        batch.keyIs(stashedPathSpace, key, plainImage(references));
      },
      [](Store::Octets) {});
}

}  // namespace Routing::Bgp::detail
