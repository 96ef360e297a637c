#include "Store/ReadView.h"

#include <sys/mman.h>

#include <cerrno>

#include "Store/EnvironmentImpl.h"
#include "Store/PageCheckImpl.h"
#include "Tyr/Assert.h"

namespace Routing::Store {
namespace detail {
namespace {

constexpr const char* soundFile = "data.mdb as the writer left it";

std::string nameOf(Reference reference) {
  return "record " + std::to_string(reference.number) + " of anchor " + std::to_string(reference.anchor);
}

MDB_val engineKey(std::string_view key) { return {key.size(), const_cast<char*>(key.data())}; }

Octets octetsOf(const MDB_val& value) { return {static_cast<const std::uint8_t*>(value.mv_data), value.mv_size}; }

struct Unmapper {
  std::size_t octets;
  void operator()(void* base) const { ::munmap(base, octets); }
};

}  // namespace

// Counts as a loop while it is there.
class Snapshot::Cursor {
 public:
  explicit Cursor(const Snapshot& snapshot) : snapshot_(snapshot) {
    snapshot.requireLive();
    if (::mdb_cursor_open(snapshot.transaction_, snapshot.environment_->tree_, &cursor_) != 0) throw std::bad_alloc();
    ++snapshot.loops_;
  }
  Cursor(const Cursor&) = delete;
  ~Cursor() {
    ::mdb_cursor_close(cursor_);
    --snapshot_.loops_;
  }

  // Whether there is such an entry.
  bool moveTo(MDB_cursor_op place) {
    snapshot_.requireLive();
    return snapshot_.isFound(::mdb_cursor_get(cursor_, &key_, &value_, place));
  }
  bool moveTo(std::string_view least) {
    key_ = engineKey(least);
    return moveTo(MDB_SET_RANGE);
  }
  std::string_view key() const { return {static_cast<const char*>(key_.mv_data), key_.mv_size}; }
  Octets value() const { return octetsOf(value_); }

 private:
  const Snapshot& snapshot_;
  MDB_cursor* cursor_ = nullptr;
  MDB_val key_{};
  MDB_val value_{};
};

Snapshot::Snapshot(std::shared_ptr<Environment> environment) : environment_(std::move(environment)) { begin(); }

// In a child of fork() the place is its parent's.
Snapshot::~Snapshot() {
  if (environment_->ownProcess()) ::mdb_txn_abort(transaction_);
}

void Snapshot::begin() {
  environment_->checkFile();
  const int code = environment_->beginReading(transaction_);
  if (code != 0) environment_->failReading("cannot begin to read", code);
  live_ = true;
  tooOld_ = false;
  commit_ = ::mdb_txn_id(transaction_);
}

bool Snapshot::refresh() {
  TYR_ASSERT_TEXT(loops_ == 0, "no refresh from inside a loop over the view");
  const std::uint64_t before = commit_;
  if (live_ && environment_->ownProcess()) ::mdb_txn_reset(transaction_);
  live_ = false;
  begin();
  return commit_ != before;
}

// What the walk over the pages says, unless the writer has gone on and overwritten the commit's meta page.
std::optional<std::string> Snapshot::damage() const {
  const std::size_t octets = environment_->checkFile();
  void* const base = ::mmap(nullptr, octets, PROT_READ, MAP_SHARED, environment_->file_, 0);
  if (base == MAP_FAILED) fail(environment_->path(), "cannot map it", errno, "addresses for all of it, twice");
  const std::unique_ptr<void, Unmapper> mapping(base, Unmapper{octets});
  const Octets file(static_cast<const std::uint8_t*>(base), octets);
  MDB_stat status{};
  if (::mdb_stat(transaction_, environment_->tree_, &status) != 0) return std::nullopt;
  const Octets page = file.subspan(commit_ % 2 * environment_->pageOctets_);
  const auto meta = readPlain<Meta>(page);
  const auto again = readPlain<Meta>(page);
  const Tree& tree = meta.trees[1];
  if (meta.commit != commit_ || std::memcmp(&meta, &again, sizeof meta) != 0 || tree.entries != status.ms_entries ||
      tree.depth != status.ms_depth) {
    return std::nullopt;
  }
  return damageIn(file, meta, environment_->pageOctets_);
}

void Snapshot::checkPages() {
  requireLive();
  std::optional<std::string> wrong = damage();
  for (int tries = 0; !wrong && tries < 100; ++tries) {
    refresh();
    wrong = damage();
  }
  if (wrong && wrong->empty()) return;
  throw StoreFormatException(problem(environment_->path(),
                                     dataFile(environment_->path()) + " is damaged: " +
                                         wrong.value_or("no meta page of commit " + std::to_string(commit_)),
                                     soundFile));
}

void Snapshot::requireLive() const {
  if (live_ && environment_->info().me_last_txnid > commit_ + mostCommitsBehind && environment_->ownProcess()) {
    ::mdb_txn_reset(transaction_);
    live_ = false;
    tooOld_ = true;
  }
  if (live_) return;
  if (tooOld_) {
    throw OldViewException(problem(environment_->path(),
                                   "the view has ended: the writer is more than " + std::to_string(mostCommitsBehind) +
                                       " commits further than the shown one, " + std::to_string(commit_),
                                   "a refresh in good time"));
  }
  throw StoreException(problem(environment_->path(), "the view has ended: its last refresh failed", "a refresh first"));
}

void Snapshot::failDamaged(const std::string& what) const {
  throw DamagedRecordException(problem(environment_->path(), what, soundFile));
}

bool Snapshot::isFound(int code) const {
  if (code != 0 && code != MDB_NOTFOUND) environment_->failReading("cannot read it", code);
  return code == 0;
}

std::optional<Octets> Snapshot::entry(std::string_view key) const {
  requireLive();
  MDB_val name = engineKey(key);
  MDB_val value;
  if (!isFound(::mdb_get(transaction_, environment_->tree_, &name, &value))) return std::nullopt;
  return octetsOf(value);
}

// Records come last.
std::uint64_t Snapshot::lastNumber() const {
  Cursor at(*this);
  return at.moveTo(MDB_LAST) && at.key().starts_with(recordPrefix) ? numberOf(octetsOf(at.key())) : 0;
}

Octets Snapshot::find(Reference reference) const {
  const std::optional<Octets> stored = reference.null() ? std::nullopt : entry(recordKey(reference.number));
  if (!stored) {
    throw StaleReferenceException(problem(environment_->path(), nameOf(reference) + " is not there", "a live record"));
  }
  const std::optional<RecordHead> head = readRecordHead(*stored);
  if (!head || head->anchor != reference.anchor) {
    recordOf(reference, *stored);  // the anchor may be what is damaged
    throw StaleReferenceException(
        problem(environment_->path(), nameOf(reference) + " is stale: its number has another anchor", "a live record"));
  }
  return *stored;
}

Record Snapshot::recordOf(Reference reference, Octets stored) const {
  const std::optional<Record> record = readRecord(stored);
  if (!record) failDamaged(nameOf(reference) + " is damaged: its checksum does not match");
  return *record;
}

void Snapshot::forEach(std::string_view prefix, const std::function<void(Octets key, Octets value)>& visit) const {
  Cursor at(*this);
  std::string_view before;
  for (bool more = at.moveTo(prefix); more && at.key().starts_with(prefix); more = at.moveTo(MDB_NEXT)) {
    if (at.key() <= before) failDamaged("keys are out of order");  // else a loop over damaged pages may never end
    before = at.key();
    visit(octetsOf(before), at.value());
  }
}

}  // namespace detail

ReadView::ReadView(std::shared_ptr<detail::Environment> environment)
    : snapshot_(std::make_unique<detail::Snapshot>(std::move(environment))) {}
ReadView::ReadView(ReadView&&) noexcept = default;
ReadView& ReadView::operator=(ReadView&&) noexcept = default;
ReadView::~ReadView() = default;

std::uint64_t ReadView::commits() const noexcept { return snapshot_->commit(); }
bool ReadView::refresh() { return snapshot_->refresh(); }
Record ReadView::translate(Reference reference) const {
  return snapshot_->recordOf(reference, snapshot_->find(reference));
}

Record ReadView::translate(const void* stashed) const {
  if (stashed == nullptr) throw Tyr::NullArgumentException("stashed");
  return translate(detail::readPlain<Reference>({static_cast<const std::uint8_t*>(stashed), sizeof(Reference)}));
}

std::optional<Octets> ReadView::key(std::uint32_t space, Octets key) const {
  if (key.size() > maxKeyOctets) return std::nullopt;
  const detail::EntryKey name = detail::keyKey(space, key);
  const std::optional<Octets> stored = snapshot_->entry(name);
  if (!stored) return std::nullopt;
  const std::optional<Octets> value = detail::readKeyValue(detail::octetsOf(name), *stored);
  if (!value) snapshot_->failDamaged("the value of a key is damaged");
  return value;
}

void ReadView::forEachKey(std::uint32_t space, const std::function<void(Octets key, Octets value)>& visit,
                          const std::function<void(Octets key)>& damaged, Octets prefix) const {
  if (prefix.size() > maxKeyOctets) return;
  const std::size_t spaceOctets = detail::spaceKey(space).size();
  std::size_t untold = 0;
  snapshot_->forEach(detail::keyKey(space, prefix), [&](Octets key, Octets stored) {
    const std::optional<Octets> value = detail::readKeyValue(key, stored);
    const Octets name = key.subspan(spaceOctets);
    if (value) return visit(name, *value);
    damaged ? damaged(name) : static_cast<void>(++untold);
  });
  if (untold == 1) snapshot_->failDamaged("the value of a key is damaged");
  if (untold != 0) snapshot_->failDamaged(std::to_string(untold) + " values are damaged");
}

void ReadView::forEachRecord(const std::function<void(Reference, Record)>& visit) const {
  snapshot_->forEach(detail::recordPrefix, [&](Octets key, Octets stored) {
    const std::optional<detail::RecordHead> head = detail::readRecordHead(stored);
    const Reference reference{detail::numberOf(key), head ? head->anchor : 0};
    visit(reference, snapshot_->recordOf(reference, stored));
  });
}

}  // namespace Routing::Store
