#include "Store/ReadView.h"

#include <algorithm>
#include <cstring>
#include <mutex>

#include "Store/EnvironmentImpl.h"
#include "Store/FilesImpl.h"
#include "Tyr/Assert.h"

namespace Routing::Store {
namespace detail {
namespace {

constexpr std::size_t entriesAtOnce = 64;
constexpr const char* soundFile = "data.mdb as the writer left it";

std::string nameOf(Reference reference) {
  return "record " + std::to_string(reference.number) + " of anchor " + std::to_string(reference.anchor);
}

MDB_val engineKey(std::string_view key) { return {key.size(), const_cast<char*>(key.data())}; }

std::string_view viewOf(Octets octets) { return {reinterpret_cast<const char*>(octets.data()), octets.size()}; }

bool beginsWith(const MDB_val& key, std::string_view prefix) {
  return key.mv_size >= prefix.size() && std::memcmp(key.mv_data, prefix.data(), prefix.size()) == 0;
}

struct CursorCloser {
  void operator()(MDB_cursor* cursor) const { ::mdb_cursor_close(cursor); }
};
using Cursor = std::unique_ptr<MDB_cursor, CursorCloser>;

Cursor cursorOpened(MDB_txn* transaction, MDB_dbi tree) {
  MDB_cursor* cursor = nullptr;
  if (::mdb_cursor_open(transaction, tree, &cursor) != 0) throw std::bad_alloc();
  return Cursor(cursor);
}

class Counted {
 public:
  explicit Counted(unsigned& count) : count_(count) { ++count_; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() { --count_; }

 private:
  unsigned& count_;
};

}  // namespace

Snapshot::Snapshot(std::shared_ptr<Environment> environment) : environment_(std::move(environment)) { begin(); }

// In a child of fork() the place is its parent's, and a thread that is not there may hold the lock.
Snapshot::~Snapshot() {
  if (transaction_ == nullptr || !environment_->ownProcess()) return;
  const std::shared_lock lock(environment_->moving_);
  ::mdb_txn_abort(transaction_);
}

void Snapshot::end() noexcept {
  if (live_ && environment_->ownProcess()) ::mdb_txn_reset(transaction_);
  live_ = false;
  mapping_.reset();
}

int Snapshot::begun() {
  const std::shared_lock lock(environment_->moving_);
  environment_->usable();
  const int code = environment_->readingBegun(transaction_);
  if (code != 0) return code;
  live_ = true;
  mapping_ = environment_->mapping_;
  commit_ = ::mdb_txn_id(transaction_);
  return 0;
}

void Snapshot::begin() {
  environment_->fileChecked();
  int code = begun();
  while (code == MDB_MAP_RESIZED) {
    environment_->sizeTakenOver();
    code = begun();
  }
  if (code != 0) environment_->readingFailed("cannot begin to read", code);
}

bool Snapshot::refresh() {
  TYR_ASSERT_TEXT(loops_ == 0, "no refresh from inside a loop over the view");
  const std::uint64_t before = commit_;
  end();
  begin();
  return commit_ != before;
}

// The commit's meta page, unless the writer has gone on and overwritten it.
std::optional<Meta> Snapshot::meta() const {
  const std::shared_lock lock(environment_->moving_);
  MDB_stat status{};
  if (::mdb_stat(transaction_, environment_->tree_, &status) != 0) return std::nullopt;
  for (const std::size_t at : {std::size_t{0}, environment_->pageOctets_}) {
    Meta meta;
    Meta again;
    std::memcpy(&meta, mapping_->octets().data() + at, sizeof meta);
    std::memcpy(&again, mapping_->octets().data() + at, sizeof again);
    const Tree& tree = meta.trees[1];
    if (meta.commit == commit_ && std::memcmp(&meta, &again, sizeof meta) == 0 && tree.entries == status.ms_entries &&
        tree.depth == status.ms_depth) {
      return meta;
    }
  }
  return std::nullopt;
}

void Snapshot::pagesChecked() {
  requireLive();
  std::optional<Meta> shown = meta();
  for (int tries = 0; !shown && tries < 100; ++tries) {
    refresh();
    shown = meta();
  }
  const std::string wrong = shown ? detail::pagesChecked(mapping_->octets(), *shown, environment_->pageOctets_)
                                  : "no meta page of commit " + std::to_string(commit_);
  if (wrong.empty()) return;
  throw StoreFormatException(
      problem(environment_->path(), dataFile(environment_->path()) + " is damaged: " + wrong, soundFile));
}

void Snapshot::requireLive() const {
  if (live_) return;
  throw StoreException(problem(environment_->path(), "the view has ended: its last refresh failed", "a refresh first"));
}

Octets Snapshot::located(const MDB_val& value) const {
  const std::optional<Octets> octets = mapping_->located(value, environment_->pageOctets_);
  if (octets) return *octets;
  throw DamagedRecordException(problem(environment_->path(), "an entry lies outside the file", soundFile));
}

std::optional<Octets> Snapshot::entry(const std::string& key) const {
  requireLive();
  const std::shared_lock lock(environment_->moving_);
  environment_->usable();
  MDB_val name = engineKey(key);
  MDB_val value;
  const int code = ::mdb_get(transaction_, environment_->tree_, &name, &value);
  if (code == MDB_NOTFOUND) return std::nullopt;
  if (code != 0) environment_->readingFailed("cannot read it", code);
  return located(value);
}

// Records come last.
std::uint64_t Snapshot::lastNumber() const {
  requireLive();
  const std::shared_lock lock(environment_->moving_);
  environment_->usable();
  const Cursor cursor = cursorOpened(transaction_, environment_->tree_);
  MDB_val key;
  MDB_val value;
  const int code = ::mdb_cursor_get(cursor.get(), &key, &value, MDB_LAST);
  if (code != 0 && code != MDB_NOTFOUND) environment_->readingFailed("cannot read it", code);
  if (code == MDB_NOTFOUND || !beginsWith(key, recordPrefix)) return 0;
  return numberOf({static_cast<const std::uint8_t*>(key.mv_data), key.mv_size});
}

Octets Snapshot::checked(Reference reference) const {
  const std::optional<Octets> stored = reference.null() ? std::nullopt : entry(recordKey(reference.number));
  if (!stored) {
    throw StaleReferenceException(problem(environment_->path(), nameOf(reference) + " is not there", "a live record"));
  }
  const std::optional<RecordHead> head = recordHeadRead(*stored);
  if (!head || head->anchor != reference.anchor) {
    recordOf(reference, *stored);  // the anchor may be what is damaged
    throw StaleReferenceException(
        problem(environment_->path(), nameOf(reference) + " is stale: its number has another anchor", "a live record"));
  }
  return *stored;
}

Record Snapshot::translate(Reference reference) const { return recordOf(reference, checked(reference)); }

Record Snapshot::recordOf(Reference reference, Octets stored) const {
  const std::optional<Record> record = recordRead(stored);
  if (record) return *record;
  throw DamagedRecordException(
      problem(environment_->path(), nameOf(reference) + " is damaged: its checksum does not match", soundFile));
}

// Else a loop over damaged pages may never end.
void Snapshot::requireAscending(const Entries& entries, std::string_view from) const {
  const auto keyAt = [&](std::size_t back) { return viewOf(entries[entries.size() - back].first); };
  if (entries.size() == 1 ? keyAt(1) >= from : keyAt(1) > keyAt(2)) return;
  throw DamagedRecordException(problem(environment_->path(), "keys are out of order", soundFile));
}

int Snapshot::collected(MDB_cursor* cursor, std::string_view from, std::string_view prefix, Entries& entries) const {
  MDB_val key = engineKey(from);
  MDB_val value;
  int code = ::mdb_cursor_get(cursor, &key, &value, MDB_SET_RANGE);
  while (code == 0 && beginsWith(key, prefix) && entries.size() < entriesAtOnce) {
    entries.emplace_back(located(key), located(value));
    requireAscending(entries, from);
    code = ::mdb_cursor_get(cursor, &key, &value, MDB_NEXT);
  }
  return code == MDB_NOTFOUND ? 0 : code;
}

Snapshot::Entries Snapshot::entriesFrom(std::string_view from, std::string_view prefix) const {
  const std::shared_lock lock(environment_->moving_);
  environment_->usable();
  Entries entries;
  const Cursor cursor = cursorOpened(transaction_, environment_->tree_);
  const int code = collected(cursor.get(), from, prefix, entries);
  if (code != 0) environment_->readingFailed("cannot read it", code);
  return entries;
}

// By the handful, as the engine's mapping may not be held still while a visitor runs.
void Snapshot::forEach(const std::string& prefix, const std::function<void(Octets key, Octets value)>& visit) const {
  requireLive();
  const Counted counted(loops_);
  std::string from = prefix;
  for (Entries entries = entriesFrom(from, prefix); !entries.empty(); entries = entriesFrom(from, prefix)) {
    for (const auto& [key, value] : entries) visit(key, value);
    from = viewOf(entries.back().first);
    from += '\0';  // the next possible key
  }
}

}  // namespace detail

namespace {

[[noreturn]] void valuesDamaged(const detail::Snapshot& snapshot, std::size_t count) {
  const std::string what = count == 1 ? "the value of a key is damaged" : std::to_string(count) + " values are damaged";
  throw DamagedRecordException(detail::problem(snapshot.environment().path(), what, detail::soundFile));
}

}  // namespace

ReadView::ReadView(std::shared_ptr<detail::Environment> environment)
    : snapshot_(std::make_unique<detail::Snapshot>(std::move(environment))) {}
ReadView::ReadView(ReadView&&) noexcept = default;
ReadView& ReadView::operator=(ReadView&&) noexcept = default;
ReadView::~ReadView() = default;

std::uint64_t ReadView::commits() const noexcept { return snapshot_->commit(); }
bool ReadView::refresh() { return snapshot_->refresh(); }
Record ReadView::translate(Reference reference) const { return snapshot_->translate(reference); }

Record ReadView::translate(const void* stashed) const {
  if (stashed == nullptr) throw Tyr::NullArgumentException("stashed");
  Reference reference;
  std::memcpy(&reference, stashed, sizeof reference);
  return translate(reference);
}

std::optional<Octets> ReadView::key(std::uint32_t space, Octets key) const {
  if (key.size() > maxKeyOctets) return std::nullopt;
  const std::string name = detail::keyKey(space, key);
  const std::optional<Octets> stored = snapshot_->entry(name);
  if (!stored) return std::nullopt;
  const std::optional<Octets> value = detail::keyValueRead(detail::octetsOf(name), *stored);
  if (!value) valuesDamaged(*snapshot_, 1);
  return value;
}

void ReadView::forEachKey(std::uint32_t space, const std::function<void(Octets key, Octets value)>& visit,
                          const std::function<void(Octets key)>& damaged) const {
  const std::string prefix = detail::spaceKey(space);
  std::size_t untold = 0;
  snapshot_->forEach(prefix, [&](Octets key, Octets stored) {
    const std::optional<Octets> value = detail::keyValueRead(key, stored);
    const Octets name = key.subspan(prefix.size());
    if (value) return visit(name, *value);
    damaged ? damaged(name) : static_cast<void>(++untold);
  });
  if (untold != 0) valuesDamaged(*snapshot_, untold);
}

void ReadView::forEachRecord(const std::function<void(Reference, Record)>& visit) const {
  snapshot_->forEach(detail::recordPrefix, [&](Octets key, Octets stored) {
    const std::optional<detail::RecordHead> head = detail::recordHeadRead(stored);
    const Reference reference{detail::numberOf(key), head ? head->anchor : 0};
    visit(reference, snapshot_->recordOf(reference, stored));
  });
}

}  // namespace Routing::Store
