#include "VelBgp/ListPublisher.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "VelBgp/CommunityTables.h"
#include "VelBgp/PublisherRecordsImpl.h"

namespace Routing::Bgp {

using namespace detail;

// Shared with the notifiees, which the tables keep for as long as they live.
//
// Interning notes under the mutex and never waits for more than another note. A note of a list that goes must not fail,
// so room for it was made before: `gone` holds at most the lists that were in the notes last taken or before (known_),
// and taking notes leaves a vector with room for as many.
class ListPublisher::State {
 public:
  State(Store::StoreManager& store, Options options)
      : records_(std::in_place, store), interval_(std::clamp(options.interval, shortest, longest)) {
    TYR_ASSERT_ADVICE(store.writable(), "a publisher writes its store: open it by StoreManager::openForWriting()");
    thread_ = std::thread([this] { run(); });
  }

  void close() {
    {
      const std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    wake_.notify_all();
    thread_.join();
    PublishedPaths paths;
    ByAttribute<Keel::DedupHashTable*> tables;
    {
      const std::lock_guard lock(mutex_);
      closed_ = true;
      paths.swap(paths_);
      tables = std::exchange(tables_, {});
    }
    // Nobody notes any more: all else goes while no thread that interns waits for it.
    *notes_ = Notes();
    *taken_ = Notes();
    unwritten_ = Notes();
    records_.reset();
    for (Keel::DedupHashTable* const table : tables) {
      if (table != nullptr) table->lifeTimeNotifieeIs(nullptr);
    }
  }
  // Asked without the mutex, which spares the work of making a note. A thread that reads an old answer is refused
  // later, under the mutex.
  bool closed() const noexcept { return closed_.load(std::memory_order_relaxed); }

  // The table counts as attached once the notifiee heard of all that is there.
  void tableComes(std::size_t attribute, Keel::DedupHashTable& table, Tyr::Ptr<Keel::DedupLifeTimeNotifiee> notifiee) {
    const std::lock_guard attaching(attachMutex_);
    {
      const std::lock_guard lock(mutex_);
      TYR_ASSERT_ADVICE(tables_[attribute] == nullptr,
                        "a table of this attribute is attached already: detach it by listTableDel() first");
    }
    table.lifeTimeNotifieeIs(std::move(notifiee));
    {
      const std::lock_guard lock(mutex_);
      tables_[attribute] = &table;
    }
    try {
      for (std::size_t part = 0; part < PublishedPaths::partCount; ++part) nameAgain(part, attribute);
    } catch (...) {
      table.lifeTimeNotifieeIs(nullptr);
      throw;
    }
  }
  void tableGoes(std::size_t attribute, Keel::DedupHashTable& table) {
    {
      const std::lock_guard lock(mutex_);
      TYR_ASSERT_ADVICE(tables_[attribute] == &table,
                        "the table is not attached: detach one that was passed to listTableIs()");
    }
    table.lifeTimeNotifieeIs(nullptr);
    dropDiscarded();
  }

  void listComes(std::size_t attribute, Slot slot, Image image) {
    const std::lock_guard lock(mutex_);
    if (closed_) return;
    notes_->lists[attribute].come.put(slot, std::move(image));
    ++noted_;
  }
  void listGoes(std::size_t attribute, Slot slot) noexcept {
    const std::lock_guard lock(mutex_);
    if (closed_) return;
    AttributeNotes& notes = notes_->lists[attribute];
    ++noted_;
    if (notes.come.erase(slot)) return;
    TYR_ASSERT(notes.gone.size() < notes.gone.capacity());
    notes.gone.push_back(slot);
  }
  void allGo(std::size_t attribute) noexcept {
    const std::lock_guard lock(mutex_);
    if (closed_) return;
    AttributeNotes& notes = notes_->lists[attribute];
    std::swap(discarded_[attribute], notes.come);
    notes.come.clear();
    notes.gone.clear();
    notes.allGone = true;
    known_[attribute] = 0;
    tables_[attribute] = nullptr;
    ++noted_;
  }

  void pathIs(std::string_view key, PathLists lists) {
    if (key.size() > Store::maxKeyOctets) throw std::length_error("a path's key has at most 255 octets");
    const HashedKey hashed(key);
    HeldLists held(std::move(lists));  // goes after the lock, as lists that go are noted
    const std::lock_guard lock(mutex_);
    requireAttached(held.slots());
    PublishedPath* path = paths_.find(hashed);
    if (path == nullptr) {
      PublishedPath::Ptr fresh = PublishedPath::make(hashed);
      paths_.reserveFor(hashed);
      note({fresh.get(), held.slots(), false});  // the last thing that may throw
      path = paths_.add(std::move(fresh));
    } else {
      note({path, held.slots(), false});
    }
    std::swap(path->lists, held);
    path->gone = false;
  }
  bool pathDel(std::string_view key) {
    if (key.size() > Store::maxKeyOctets) return false;
    const HashedKey hashed(key);
    HeldLists held;  // as above
    const std::lock_guard lock(mutex_);
    PublishedPath* const path = paths_.find(hashed);
    if (path == nullptr || path->gone) return false;
    note({path, {}, true});
    std::swap(path->lists, held);
    path->gone = true;
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
  bool isAttached(std::size_t attribute, Slot slot) const {
    return tables_[attribute] != nullptr && tables_[attribute]->holds(HeldLists::at(slot));
  }
  void requireAttached(const SlotsOfPath& lists) const {
    for (std::size_t attribute = 0; attribute < lists.size(); ++attribute) {
      if (lists[attribute] == 0) continue;
      TYR_ASSERT_ADVICE(isAttached(attribute, lists[attribute]),
                        "a list of a path is in no attached table: pass its table to listTableIs() first");
    }
  }
  void note(const PathNote& note) {
    notes_->paths.put(note);
    ++noted_;
  }
  // Paths that have been there longer than a table name its lists. In parts, so that nobody waits for all of them.
  void nameAgain(std::size_t part, std::size_t attribute) {
    const std::lock_guard lock(mutex_);
    paths_.forEachIn(part, [&](PublishedPath* path) {
      SlotsOfPath slots = path->lists.slots();
      for (std::size_t other = 0; other < slots.size(); ++other) {
        if (slots[other] != 0 && !isAttached(other, slots[other])) slots[other] = 0;
      }
      if (slots[attribute] != 0) note({path, slots, false});
    });
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
      std::string problem = tryToWrite();
      lock.lock();
      problem_.swap(problem);
      (problem_.empty() ? committed_ : failed_) = problem_.empty() ? takenUpTo_ : attempt;
      done_.notify_all();
    }
  }

  // Why not, or empty.
  std::string tryToWrite() noexcept {
    try {
      if (!taken_->empty()) append(unwritten_, *taken_);  // memory ran out right here the last time
      takeNotes();
      append(unwritten_, *taken_);
      if (!unwritten_.empty() || !begun_) records_->commit(unwritten_, takenPaths_);
      begun_ = true;
      forgetGone();
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

  // Frees notes while nobody waits.
  void dropDiscarded() noexcept {
    ByAttribute<BySlotInParts<Image>> discarded;
    const std::lock_guard lock(mutex_);
    std::swap(discarded, discarded_);
  }

  // The store knows now of all paths that are gone. Those that are not back, or noted again, are freed.
  void forgetGone() noexcept {
    const auto end = unwritten_.paths.end();
    for (auto note = unwritten_.paths.begin(); note != end;) {
      std::array<PublishedPath*, 64> gone;
      std::array<PublishedPath::Ptr, gone.size()> forgotten;  // freed after the lock
      std::size_t count = 0;
      for (; note != end && count < gone.size(); ++note) {
        if (note->gone) gone[count++] = note->path;
      }
      const std::lock_guard lock(mutex_);
      for (std::size_t i = 0; i < count; ++i) {
        if (gone[i]->gone && !notes_->paths.has(*gone[i])) forgotten[i] = paths_.take(*gone[i]);
      }
    }
  }

  void takeNotes() {
    dropDiscarded();
    for (bool taken = false; !taken;) {
      taken_->reserve(mayGo());
      const std::lock_guard attaching(attachMutex_);
      const std::lock_guard lock(mutex_);
      const ByAttribute<std::size_t> now = notes_->remaining(known_);
      taken = taken_->hasRoomFor(now);
      if (!taken) continue;
      known_ = now;
      takenUpTo_ = noted_;
      takenPaths_ = paths_.size();
      taken_.swap(notes_);
    }
  }
  // How many lists of each attribute may go before the next notes are taken: those that are known then.
  ByAttribute<std::size_t> mayGo() const {
    const std::lock_guard lock(mutex_);
    return notes_->remaining(known_);
  }

  // Of the thread alone.
  std::optional<Records> records_;
  std::unique_ptr<Notes> taken_ = std::make_unique<Notes>();  // empty but when memory ran out right then
  Notes unwritten_;
  std::uint64_t takenUpTo_ = 0;  // how many changes are in them or in the store
  std::size_t takenPaths_ = 0;   // how many paths there were, those that went included
  bool begun_ = false;

  static constexpr std::chrono::milliseconds shortest{1};
  static constexpr std::chrono::milliseconds longest = std::chrono::hours(24);
  const std::chrono::milliseconds interval_;
  std::mutex attachMutex_;  // notes of a table that is attached are taken when they are whole
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable done_;
  // Under the mutex.
  std::unique_ptr<Notes> notes_ = std::make_unique<Notes>();
  ByAttribute<BySlotInParts<Image>> discarded_;  // of tables that went, whose threads wait while they go
  ByAttribute<std::size_t> known_ = {};
  PublishedPaths paths_;
  ByAttribute<Keel::DedupHashTable*> tables_ = {};
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
  class Notifiee final : public Keel::DedupLifeTimeNotifiee {
   public:
    Notifiee(std::shared_ptr<State> state, std::size_t attribute) noexcept
        : state_(std::move(state)), attribute_(attribute) {}

    void handleInsert(Keel::DedupHandleBase* handle) override {
      if (state_->closed()) return;
      state_->listComes(attribute_, Keel::handleRef(handle), publishedAttributes[attribute_].imageOf(*handle));
    }
    void handleRemove(Keel::DedupHandleBase* rawHandle) override {
      state_->listGoes(attribute_, Keel::handleRef(rawHandle));
    }
    void handleNotificationStop(Keel::DedupHashTable*) override { state_->allGo(attribute_); }

   private:
    ~Notifiee() override = default;

    const std::shared_ptr<State> state_;
    const std::size_t attribute_;
  };
};

namespace {

// Calls use(attribute, table).
template <typename Use>
void withTable(const ExtCommListDedupTable* table, Use&& use) {
  use(extendedLists, Keel::tableAt(table).extCommListDedupTable());
}
template <typename Use>
void withTable(const ExtCommIp6ListDedupTable* table, Use&& use) {
  use(extendedIp6Lists, Keel::tableAt(table).extCommListDedupTable());
}
template <typename Use>
void withTable(const LargeCommListDedupTable* table, Use&& use) {
  use(largeLists, Keel::tableAt(table).dedupTable());
}
template <typename Use>
void withTable(const CommListDedupTable* table, Use&& use) {
  use(standardLists, Keel::tableAt(table).dedupTable());
}

}  // namespace

ListPublisher::ListPublisher(Store::StoreManager& store, Options options)
    : state_(std::make_shared<State>(store, options)) {}

ListPublisher::~ListPublisher() { state_->close(); }

template <typename Table>
void ListPublisher::tableComes(const Table* table) {
  withTable(table, [this](std::size_t attribute, Keel::DedupHashTable& lists) {
    state_->tableComes(attribute, lists, Tyr::make<State::Notifiee>(state_, attribute));
  });
}
template <typename Table>
void ListPublisher::tableGoes(const Table* table) {
  withTable(table, [this](std::size_t attribute, Keel::DedupHashTable& lists) { state_->tableGoes(attribute, lists); });
}
void ListPublisher::listTableIs(const ExtCommListDedupTable* table) { tableComes(table); }
void ListPublisher::listTableIs(const ExtCommIp6ListDedupTable* table) { tableComes(table); }
void ListPublisher::listTableIs(const LargeCommListDedupTable* table) { tableComes(table); }
void ListPublisher::listTableIs(const CommListDedupTable* table) { tableComes(table); }
void ListPublisher::listTableDel(const ExtCommListDedupTable* table) { tableGoes(table); }
void ListPublisher::listTableDel(const ExtCommIp6ListDedupTable* table) { tableGoes(table); }
void ListPublisher::listTableDel(const LargeCommListDedupTable* table) { tableGoes(table); }
void ListPublisher::listTableDel(const CommListDedupTable* table) { tableGoes(table); }
void ListPublisher::tablesAre(const CommunityTables& tables) {
  tableComes(tables.extCommLists());
  tableComes(tables.extCommIp6Lists());
  tableComes(tables.largeCommLists());
  tableComes(tables.commLists());
}

void ListPublisher::pathIs(std::string_view key, PathLists lists) { state_->pathIs(key, std::move(lists)); }
bool ListPublisher::pathDel(std::string_view key) { return state_->pathDel(key); }
void ListPublisher::flush() { state_->flush(); }
std::string ListPublisher::problem() const { return state_->problem(); }

}  // namespace Routing::Bgp
