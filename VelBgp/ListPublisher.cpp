#include "VelBgp/ListPublisher.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/unordered/unordered_flat_map.hpp>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "Keel/DedupHashTable.h"
#include "Keel/HashMix.h"
#include "Tyr/Assert.h"
#include "VelBgp/StashImpl.h"

namespace Routing::Bgp {
namespace {

constexpr std::size_t kinds = 4;  // in the order of PathLists

// A list as long as it is interned: its place in the heap, which no other living object has.
using Slot = Keel::SlabRef;
using SlotsOfPath = std::array<Slot, kinds>;  // 0: no list of the kind

// What a place means for a while is not what a peer can choose, but places come in patterns.
struct SlotHash {
  std::size_t operator()(Slot slot) const noexcept { return Keel::singleAttributeHash(slot, 0); }
};
struct ImageHash {
  std::size_t operator()(const std::string& image) const noexcept {
    Keel::HashMix mix;
    for (const char c : image) mix.mixBytes1(static_cast<std::uint8_t>(c));
    return mix.value();
  }
};
template <typename Value>
using BySlot = boost::unordered_flat_map<Slot, Value, SlotHash>;

// ---- What is noted

// Of one kind of list, since the notes were last taken: first all that went, then what came and is still there.
struct KindNotes {
  bool allGone = false;  // all that was there before, that is
  std::vector<Slot> gone;
  BySlot<Image> come;

  bool empty() const noexcept { return !allGone && gone.empty() && come.empty(); }
};

// By key; nothing: the path went.
using NotesOfPaths = std::map<std::string, std::optional<SlotsOfPath>, std::less<>>;

// Needs no memory.
void append(NotesOfPaths& notes, NotesOfPaths& later) noexcept {
  while (!later.empty()) {
    const auto put = notes.insert(later.extract(later.begin()));
    if (!put.inserted) put.position->second = put.node.mapped();
  }
}

struct Notes {
  std::array<KindNotes, kinds> lists;
  NotesOfPaths paths;

  bool empty() const noexcept {
    return paths.empty() && std::all_of(lists.begin(), lists.end(), [](const KindNotes& kind) { return kind.empty(); });
  }
};

// Needs no memory where there is room for all of both.
void append(KindNotes& notes, KindNotes& later) noexcept {
  if (later.allGone) {
    notes.allGone = true;
    notes.gone.clear();
    notes.come.clear();
  }
  for (const Slot slot : later.gone) {
    if (notes.come.erase(slot) == 0) notes.gone.push_back(slot);
  }
  for (auto& [slot, image] : later.come) notes.come.emplace(slot, std::move(image));
}

// Puts later notes behind earlier ones and leaves none there. All or, when it throws, nothing.
void append(Notes& notes, Notes& later) {
  for (std::size_t kind = 0; kind < kinds; ++kind) {
    notes.lists[kind].gone.reserve(notes.lists[kind].gone.size() + later.lists[kind].gone.size());
    notes.lists[kind].come.reserve(notes.lists[kind].come.size() + later.lists[kind].come.size());
  }
  // From here on nothing needs memory.
  for (std::size_t kind = 0; kind < kinds; ++kind) append(notes.lists[kind], later.lists[kind]);
  append(notes.paths, later.paths);
  later = Notes();
}

// What a list's record will be made from: its values, or of communities that are records themselves their images.
template <typename List>
Image noteOf(const List& list) {
  Image image;
  image.reserve(list.totalCommunities() * imageOctets<std::remove_cvref_t<decltype(**list.comms().begin())>>);
  for (const auto& comm : list.comms()) appendImage(image, *comm);
  return image;
}
template <>
Image noteOf(const LargeCommList& list) {
  return plainImage(list.comms());
}
template <>
Image noteOf(const CommList& list) {
  return plainImage(list.comms());
}

// ---- What is in the store

struct KindRow {
  Stashed list;
  Stashed community;        // of the records that a list refers to
  std::size_t imageOctets;  // of one such community; 0: a list holds its values itself
};
constexpr KindRow kindRows[kinds] = {{Stashed::extCommList, Stashed::extComm, imageOctets<ExtComm>},
                                     {Stashed::extCommIp6List, Stashed::extCommIp6, imageOctets<ExtCommIp6>},
                                     {Stashed::largeCommList, Stashed(), 0},
                                     {Stashed::commList, Stashed(), 0}};

struct Shared {
  Store::Reference reference;
  std::uint64_t users = 0;
};
using Communities = boost::unordered_flat_map<std::string, Shared, ImageHash>;

// The records of one kind, as of the last commit.
struct KindRecords {
  BySlot<Store::Reference> lists;
  Communities communities;
};

// One kind's part of a commit. The records' book is changed only once that is done: a commit that fails leaves it true.
class KindChange {
 public:
  KindChange(const KindRow& row, KindRecords& records, const Store::StoreManager& store, Store::WriteBatch& batch)
      : row_(row), records_(records), store_(store), batch_(batch) {}
  KindChange(const KindChange&) = delete;
  KindChange& operator=(const KindChange&) = delete;
  // Takes back the places that it made and did not fill.
  ~KindChange() {
    for (const auto& [image, shared] : communities_) {
      const auto place = records_.communities.find(image);
      if (place != records_.communities.end() && place->second.reference.null()) records_.communities.erase(place);
    }
  }

  void apply(const KindNotes& notes) {
    allGone_ = notes.allGone;
    if (notes.allGone) {
      for (const auto& [slot, reference] : records_.lists) listGoes(slot, reference);
    }
    for (const Slot slot : notes.gone) listGoes(slot, records_.lists.at(slot));
    for (const auto& [slot, image] : notes.come) come_.emplace(slot, listComes(image));
    dropUnused();
    // Places for what is to come, so that settling needs no memory.
    records_.lists.reserve(records_.lists.size() + come_.size());
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
    for (const auto& [slot, reference] : come_) records_.lists.emplace(slot, reference);
    for (const auto& [image, shared] : communities_) {
      const auto place = records_.communities.find(image);
      shared.users == 0 ? void(records_.communities.erase(place)) : void(place->second = shared);
    }
  }

 private:
  void listGoes(Slot slot, Store::Reference reference) {
    for (const std::string& image : communitiesOf(reference)) {
      Shared& shared = sharedOf(image);
      if (shared.users != 0) --shared.users;
    }
    recordGoes(reference);
    gone_.push_back(slot);
  }

  Store::Reference listComes(const Image& image) {
    if (row_.imageOctets == 0) return stashRecord(batch_, row_.list, image);
    std::vector<Store::Reference> references;
    for (std::size_t at = 0; at < image.size(); at += row_.imageOctets) {
      Shared& shared = sharedOf(std::string(image.begin() + static_cast<std::ptrdiff_t>(at),
                                            image.begin() + static_cast<std::ptrdiff_t>(at + row_.imageOctets)));
      if (shared.reference.null()) shared.reference = recordOf(image.data() + at);
      ++shared.users;
      references.push_back(shared.reference);
    }
    return stashRecord(batch_, row_.list, listImage(true, references));
  }
  Store::Reference recordOf(const std::uint8_t* image) {
    return stashRecord(batch_, row_.community, Image(image, image + row_.imageOctets));
  }

  // As this change leaves it so far.
  Shared& sharedOf(const std::string& image) {
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
  // One that damage has taken already is gone as well: the store goes on.
  void recordGoes(Store::Reference reference) {
    try {
      batch_.recordDel(reference);
    } catch (const Store::StaleReferenceException&) {
    } catch (const Store::DamagedRecordException&) {
    }
  }

  // Read back from the list's record, which is of an earlier commit. A damaged one keeps its communities in the store.
  std::vector<std::string> communitiesOf(Store::Reference reference) const {
    std::vector<std::string> images;
    if (row_.imageOctets == 0) return images;
    try {
      StashReader list(&reference, store_, row_.list);
      list.take<std::uint8_t>();
      for (const Store::Reference& community : list.takeAll<Store::Reference>()) {
        const Store::Octets image = store_.translate(community).payload;
        images.emplace_back(image.begin(), image.end());
      }
    } catch (const Store::StaleReferenceException&) {
      images.clear();
    } catch (const Store::DamagedRecordException&) {
      images.clear();
    }
    return images;
  }

  const KindRow& row_;
  KindRecords& records_;
  const Store::StoreManager& store_;
  Store::WriteBatch& batch_;
  bool allGone_ = false;
  std::vector<Slot> gone_;
  BySlot<Store::Reference> come_;
  Communities communities_;
};

Store::Octets octetsOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// The store, as far as the publisher's thread writes it.
class Records {
 public:
  explicit Records(Store::StoreManager& store) : store_(store) {}

  // All of the notes in one commit, or an exception and nothing.
  void commit(const Notes& notes) {
    store_.refresh();  // the view may have ended after an earlier failure
    Store::WriteBatch batch(store_);
    if (!cleared_) batch.clear();
    std::deque<KindChange> changes;
    for (std::size_t kind = 0; kind < kinds; ++kind) {
      changes.emplace_back(kindRows[kind], records_[kind], store_, batch).apply(notes.lists[kind]);
    }
    if (cleared_) pathsLoseLists(batch, notes);
    for (const auto& [key, slots] : notes.paths) pathChanges(batch, key, slots, changes);
    batch.commit();
    cleared_ = true;
    for (KindChange& change : changes) change.settle();
  }

 private:
  using References = std::array<Store::Reference, kinds>;

  static void pathChanges(Store::WriteBatch& batch, const std::string& key, const std::optional<SlotsOfPath>& slots,
                          const std::deque<KindChange>& changes) {
    if (!slots) return batch.keyDel(stashedPathSpace, octetsOf(key));
    References references;
    for (std::size_t kind = 0; kind < kinds; ++kind) references[kind] = changes[kind].reference((*slots)[kind]);
    batch.keyIs(stashedPathSpace, octetsOf(key), plainImage(references));
  }

  // A table that went took its lists along, also those that paths hold.
  void pathsLoseLists(Store::WriteBatch& batch, const Notes& notes) const {
    if (std::none_of(notes.lists.begin(), notes.lists.end(), [](const KindNotes& kind) { return kind.allGone; }))
      return;
    store_.view().forEachKey(
        stashedPathSpace,
        [&](Store::Octets key, Store::Octets value) {
          References references;
          if (value.size() != sizeof references) return;
          std::memcpy(&references, value.data(), sizeof references);
          for (std::size_t kind = 0; kind < kinds; ++kind) {
            if (notes.lists[kind].allGone) references[kind] = Store::Reference();
          }
          batch.keyIs(stashedPathSpace, key, plainImage(references));
        },
        [](Store::Octets) {});
  }

  Store::StoreManager& store_;
  bool cleared_ = false;
  std::array<KindRecords, kinds> records_;
};

}  // namespace

// ---- The publisher

// Shared with the notifiees, which the tables keep for as long as they live.
//
// Interning notes under the mutex and never waits for more than another note. A note of a list that goes must not fail,
// so room for it was made before: `gone` holds at most the lists that were in the notes last taken or before (known_),
// and taking notes leaves a vector with room for as many.
class ListPublisher::State {
 public:
  State(Store::StoreManager& store, Options options)
      : records_(std::in_place, store), interval_(std::clamp(options.interval, shortest, longest)) {
    thread_ = std::thread([this] { run(); });
  }

  void close() {
    {
      const std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    wake_.notify_all();
    thread_.join();
    std::map<std::string, PathLists, std::less<>> held;
    const std::lock_guard lock(mutex_);
    closed_ = true;
    held.swap(held_);  // goes after the lock: lists that go are noted
    notes_ = Notes();
    taken_ = Notes();
    unwritten_ = Notes();
    records_.reset();
  }
  // To no purpose a little later is no harm.
  bool closed() const noexcept { return closed_.load(std::memory_order_relaxed); }

  void attached(std::size_t kind, const Keel::DedupHashTable& table) {
    const std::lock_guard lock(mutex_);
    TYR_ASSERT(tables_[kind] == nullptr);
    tables_[kind] = &table;
  }

  void listComes(std::size_t kind, Slot slot, Image image) {
    const std::lock_guard lock(mutex_);
    if (closed_) return;
    notes_.lists[kind].come.insert_or_assign(slot, std::move(image));
    ++noted_;
  }
  void listGoes(std::size_t kind, Slot slot) noexcept {
    const std::lock_guard lock(mutex_);
    if (closed_) return;
    KindNotes& notes = notes_.lists[kind];
    ++noted_;
    if (notes.come.erase(slot) != 0) return;
    TYR_ASSERT(notes.gone.size() < notes.gone.capacity());
    notes.gone.push_back(slot);
  }
  void allGo(std::size_t kind) noexcept {
    const std::lock_guard lock(mutex_);
    if (closed_) return;
    KindNotes& notes = notes_.lists[kind];
    notes.come.clear();
    notes.gone.clear();
    notes.allGone = true;
    known_[kind] = 0;
    tables_[kind] = nullptr;
    ++noted_;
  }

  void pathIs(std::string_view key, PathLists lists) {
    if (key.size() > Store::maxKeyOctets) throw std::length_error("a path's key has at most 255 octets");
    NotesOfPaths note;
    std::optional<SlotsOfPath>& slots = note[std::string(key)];
    PathLists before;  // goes after the lock, as lists that go are noted
    const std::lock_guard lock(mutex_);
    slots = SlotsOfPath{slotOf(0, lists.extended.get()), slotOf(1, lists.extendedIp6.get()),
                        slotOf(2, lists.large.get()), slotOf(3, lists.standard.get())};
    PathLists& held = held_[note.begin()->first];  // the last thing that may throw
    before = std::exchange(held, std::move(lists));
    append(notes_.paths, note);
    ++noted_;
  }
  bool pathDel(std::string_view key) {
    NotesOfPaths note;
    note[std::string(key)] = std::nullopt;
    PathLists before;
    const std::lock_guard lock(mutex_);
    const auto held = held_.find(key);
    if (held == held_.end()) return false;
    before = std::move(held->second);
    held_.erase(held);
    append(notes_.paths, note);
    ++noted_;
    return true;
  }

  // Until all is written, or an attempt that began after this has failed.
  void flush() {
    std::unique_lock lock(mutex_);
    const std::uint64_t wanted = noted_;
    const std::uint64_t begun = attempts_;
    hurry_ = true;
    wake_.notify_all();
    done_.wait(lock, [&] { return committed_ >= wanted || failed_ > begun; });
    if (committed_ < wanted) throw Store::StoreException(problem_);
  }
  std::string problem() const {
    const std::lock_guard lock(mutex_);
    return problem_;
  }

 private:
  Slot slotOf(std::size_t kind, const Keel::DedupHandleBase* list) const {
    if (list == nullptr) return 0;
    TYR_ASSERT(tables_[kind] != nullptr && tables_[kind]->holds(*list));
    return Keel::handleRef(list);
  }

  // The thread: takes notes, writes them, and keeps what it could not write.
  void run() {
    std::unique_lock lock(mutex_);
    for (bool last = false; !last;) {
      wake_.wait_for(lock, interval_, [this] { return stopping_ || hurry_; });
      last = stopping_;
      hurry_ = false;
      if (noted_ == committed_) continue;
      const std::uint64_t attempt = ++attempts_;
      lock.unlock();
      std::string problem = written();
      lock.lock();
      problem_.swap(problem);
      (problem_.empty() ? committed_ : failed_) = problem_.empty() ? takenUpTo_ : attempt;
      done_.notify_all();
    }
  }

  // Why not, or empty.
  std::string written() noexcept {
    try {
      if (!taken_.empty()) append(unwritten_, taken_);  // memory ran out right here the last time
      takeNotes();
      append(unwritten_, taken_);
      if (!unwritten_.empty() || !begun_) records_->commit(unwritten_);
      begun_ = true;
      unwritten_ = Notes();
      return {};
    } catch (const std::exception& error) {
      return textOf(error);
    }
  }
  static std::string textOf(const std::exception& error) noexcept {
    try {
      return error.what();
    } catch (const std::bad_alloc&) {
      return "out of memory";  // short enough to need none
    }
  }

  void takeNotes() {
    for (bool taken = false; !taken;) {
      reserve(taken_, needed());
      const std::lock_guard lock(mutex_);
      const Counts now = neededLocked();
      taken = hasRoom(taken_, now);
      if (!taken) continue;
      known_ = now;
      takenUpTo_ = noted_;
      std::swap(taken_, notes_);
    }
  }

  // How many lists may go before the next notes are taken, by kind: those that are known then.
  using Counts = std::array<std::size_t, kinds>;
  Counts neededLocked() const {
    Counts counts;
    for (std::size_t kind = 0; kind < kinds; ++kind) {
      counts[kind] = known_[kind] - notes_.lists[kind].gone.size() + notes_.lists[kind].come.size();
    }
    return counts;
  }
  Counts needed() const {
    const std::lock_guard lock(mutex_);
    return neededLocked();
  }
  static bool hasRoom(const Notes& notes, const Counts& counts) {
    for (std::size_t kind = 0; kind < kinds; ++kind) {
      if (notes.lists[kind].gone.capacity() < counts[kind]) return false;
    }
    return true;
  }
  static void reserve(Notes& notes, const Counts& counts) {
    // More, as lists come meanwhile.
    for (std::size_t kind = 0; kind < kinds; ++kind)
      notes.lists[kind].gone.reserve(counts[kind] + counts[kind] / 8 + 64);
  }

  // Of the thread alone.
  std::optional<Records> records_;
  Notes taken_;  // empty but when memory ran out right then
  Notes unwritten_;
  std::uint64_t takenUpTo_ = 0;  // how many changes are in them or in the store
  bool begun_ = false;

  static constexpr std::chrono::milliseconds shortest{1};
  static constexpr std::chrono::milliseconds longest = std::chrono::hours(24);
  const std::chrono::milliseconds interval_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable done_;
  // Under the mutex.
  Notes notes_;
  Counts known_ = {};
  std::map<std::string, PathLists, std::less<>> held_;
  std::array<const Keel::DedupHashTable*, kinds> tables_ = {};
  std::uint64_t noted_ = 1;      // changes so far; the first is that the store becomes ours
  std::uint64_t committed_ = 0;  // how many of them are in the store
  std::uint64_t attempts_ = 0;   // to commit, begun so far
  std::uint64_t failed_ = 0;     // the last of them that failed
  std::string problem_;
  bool hurry_ = false;
  bool stopping_ = false;
  std::atomic<bool> closed_ = false;  // changed under it, too

  std::thread thread_;

 public:
  // Hears of one table.
  template <typename List, std::size_t kind>
  class Notifiee final : public Keel::DedupLifeTimeNotifiee {
   public:
    explicit Notifiee(std::shared_ptr<State> state) noexcept : state_(std::move(state)) {}

    void handleInsert(Keel::DedupHandleBase* handle) override {
      if (state_->closed()) return;
      state_->listComes(kind, Keel::handleRef(handle), noteOf(static_cast<const List&>(*handle)));
    }
    void handleRemove(Keel::DedupHandleBase* rawHandle) override { state_->listGoes(kind, Keel::handleRef(rawHandle)); }
    void handleNotificationStop(Keel::DedupHashTable*) override { state_->allGo(kind); }

   private:
    ~Notifiee() override = default;

    const std::shared_ptr<State> state_;
  };

  template <typename List, std::size_t kind>
  static void attach(const std::shared_ptr<State>& state, Keel::DedupHashTable& table) {
    const auto notifiee = Tyr::make<Notifiee<List, kind>>(state);
    state->attached(kind, table);
    table.lifeTimeNotifieeIs(notifiee);
  }
};

ListPublisher::ListPublisher(Store::StoreManager& store, Options options)
    : state_(std::make_shared<State>(store, options)) {}

ListPublisher::~ListPublisher() { state_->close(); }

void ListPublisher::listTableIs(const ExtCommListDedupTable* table) {
  State::attach<ExtCommList, 0>(state_, table->extCommListDedupTable());
}
void ListPublisher::listTableIs(const ExtCommIp6ListDedupTable* table) {
  State::attach<ExtCommIp6List, 1>(state_, table->extCommListDedupTable());
}
void ListPublisher::listTableIs(const LargeCommListDedupTable* table) {
  State::attach<LargeCommList, 2>(state_, table->dedupTable());
}
void ListPublisher::listTableIs(const CommListDedupTable* table) {
  State::attach<CommList, 3>(state_, table->dedupTable());
}

void ListPublisher::pathIs(std::string_view key, PathLists lists) { state_->pathIs(key, std::move(lists)); }
bool ListPublisher::pathDel(std::string_view key) { return state_->pathDel(key); }
void ListPublisher::flush() { state_->flush(); }
std::string ListPublisher::problem() const { return state_->problem(); }

// ---- Reading

namespace {

StashedPath pathOf(const Store::StoreManager& store, Store::Octets value) {
  StashedPath path;
  static_assert(sizeof path == kinds * sizeof(Store::Reference));
  if (value.size() != sizeof path) {
    throw Store::DamagedRecordException("store " + store.path() + ": a path has " + std::to_string(value.size()) +
                                        " octets, expected " + std::to_string(sizeof path));
  }
  std::memcpy(&path, value.data(), sizeof path);
  return path;
}

}  // namespace

std::optional<StashedPath> stashedPath(const Store::StoreManager& store, std::string_view key) {
  const auto value = store.key(stashedPathSpace, octetsOf(key));
  return value ? std::optional(pathOf(store, *value)) : std::nullopt;
}

void forEachStashedPath(const Store::StoreManager& store,
                        const std::function<void(std::string_view key, const StashedPath& path)>& visit,
                        const std::function<void(std::string_view key)>& damaged) {
  const auto text = [](Store::Octets key) {
    return std::string_view(reinterpret_cast<const char*>(key.data()), key.size());
  };
  std::function<void(Store::Octets)> told;
  if (damaged) told = [&](Store::Octets key) { damaged(text(key)); };
  store.view().forEachKey(
      stashedPathSpace, [&](Store::Octets key, Store::Octets value) { visit(text(key), pathOf(store, value)); }, told);
}

}  // namespace Routing::Bgp
