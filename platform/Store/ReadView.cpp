#include "Store/ReadView.h"

#include <algorithm>
#include <cstring>
#include <mutex>

#include "Store/EnvironmentImpl.h"
#include "Store/FilesImpl.h"
#include "Tyr/Assert.h"

namespace Store {
namespace detail {
namespace {

constexpr std::size_t entriesAtOnce = 64;
constexpr const char* soundFile = "data.mdb as the writer left it";

std::string nameOf(Reference reference) {
  return "record " + std::to_string(reference.number) + " of anchor " + std::to_string(reference.anchor);
}

MDB_val engineKey(std::string_view key) { return {key.size(), const_cast<char*>(key.data())}; }

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

Snapshot::~Snapshot() {
  const std::shared_lock lock(environment_->moving_);
  if (transaction_ != nullptr && environment_->ownProcess()) ::mdb_txn_abort(transaction_);
}

void Snapshot::end() noexcept {
  if (live_ && environment_->ownProcess()) ::mdb_txn_reset(transaction_);
  live_ = false;
  mapping_.reset();
}

int Snapshot::begun() {
  const std::shared_lock lock(environment_->moving_);
  environment_->usable();
  const int code = transaction_ != nullptr ? ::mdb_txn_renew(transaction_)
                                           : ::mdb_txn_begin(environment_->engine_, nullptr, MDB_RDONLY, &transaction_);
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
  if (code != 0) fail(environment_->path(), "cannot begin to read", code, "at most 1024 views of all processes");
}

bool Snapshot::refresh() {
  TYR_ASSERT_TEXT(loops_ == 0, "no refresh from inside a loop over the view");
  const std::uint64_t before = commit_;
  end();
  begin();
  return commit_ != before;
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
  if (code != 0) environment_->failed("cannot read it", code);
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
  if (code != 0 && code != MDB_NOTFOUND) environment_->failed("cannot read it", code);
  if (code == MDB_NOTFOUND || !beginsWith(key, recordPrefix)) return 0;
  return numberOf({static_cast<const std::uint8_t*>(key.mv_data), key.mv_size});
}

std::pair<RecordHead, Octets> Snapshot::checked(Reference reference) const {
  const std::optional<Octets> stored = reference.null() ? std::nullopt : entry(recordKey(reference.number));
  if (!stored) {
    throw StaleReferenceException(problem(environment_->path(), nameOf(reference) + " is not there", "a live record"));
  }
  const std::optional<RecordHead> head = recordHeadRead(*stored);
  if (!head) {
    throw DamagedRecordException(problem(environment_->path(), nameOf(reference) + " is damaged", soundFile));
  }
  if (head->anchor != reference.anchor) {
    throw StaleReferenceException(
        problem(environment_->path(), nameOf(reference) + " is stale: its number has another anchor", "a live record"));
  }
  return {*head, *stored};
}

Record Snapshot::translate(Reference reference) const {
  const std::optional<Record> record = recordRead(checked(reference).second);
  if (record) return *record;
  throw DamagedRecordException(
      problem(environment_->path(), nameOf(reference) + " is damaged: its checksum does not match", soundFile));
}

int Snapshot::collected(MDB_cursor* cursor, std::string_view from, std::string_view prefix, Entries& entries) const {
  MDB_val key = engineKey(from);
  MDB_val value;
  int code = ::mdb_cursor_get(cursor, &key, &value, MDB_SET_RANGE);
  while (code == 0 && beginsWith(key, prefix) && entries.size() < entriesAtOnce) {
    entries.emplace_back(located(key), located(value));
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
  if (code != 0) environment_->failed("cannot read it", code);
  return entries;
}

// By the handful, as the engine's mapping may not be held still while a visitor runs.
void Snapshot::forEach(const std::string& prefix, const std::function<void(Octets key, Octets value)>& visit) const {
  requireLive();
  const Counted counted(loops_);
  std::string from = prefix;
  for (Entries entries = entriesFrom(from, prefix); !entries.empty(); entries = entriesFrom(from, prefix)) {
    for (const auto& [key, value] : entries) visit(key, value);
    const Octets last = entries.back().first;
    from.assign(reinterpret_cast<const char*>(last.data()), last.size());
    from += '\0';  // the next possible key
  }
}

}  // namespace detail

namespace {

Octets keyValueChecked(const detail::Snapshot& snapshot, Octets key, Octets stored) {
  const std::optional<Octets> value = detail::keyValueRead(key, stored);
  if (value) return *value;
  throw DamagedRecordException(
      detail::problem(snapshot.environment().path(), "the value of a key is damaged", detail::soundFile));
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
  return keyValueChecked(*snapshot_, detail::octetsOf(name), *stored);
}

void ReadView::forEachKey(std::uint32_t space, const std::function<void(Octets key, Octets value)>& visit) const {
  const std::string prefix = detail::spaceKey(space);
  snapshot_->forEach(prefix, [&](Octets key, Octets stored) {
    visit(key.subspan(prefix.size()), keyValueChecked(*snapshot_, key, stored));
  });
}

void ReadView::forEachRecord(const std::function<void(Reference, Record)>& visit) const {
  snapshot_->forEach(detail::recordPrefix, [&](Octets key, Octets stored) {
    const std::optional<detail::RecordHead> head = detail::recordHeadRead(stored);
    const Reference reference{detail::numberOf(key), head ? head->anchor : 0};
    visit(reference, snapshot_->translate(reference));
  });
}

}  // namespace Store
