#include "Store/WriteBatch.h"

#include "Store/EnvironmentImpl.h"
#include "Store/WriterImpl.h"
#include "Tyr/Assert.h"

namespace Routing::Store {
namespace {

void requireFits(const StoreManager& manager, const char* what, std::size_t octets, std::size_t limit) {
  if (octets <= limit) return;
  throw StoreException(detail::problem(manager.path(), std::string(what) + " of " + std::to_string(octets) + " octets",
                                       "at most " + std::to_string(limit)));
}

}  // namespace

WriteBatch::WriteBatch(StoreManager& manager) : manager_(manager), changes_(std::make_unique<detail::Changes>()) {
  TYR_ASSERT_ADVICE(manager.writable(), "a store that is to be written is opened by StoreManager::openForWriting()");
  TYR_ASSERT_TEXT(!manager.writer_->batchOpen, "one batch at a time");
  if (!manager.view_.snapshot_->live()) manager.refresh();  // it could not follow the last commit
  manager.writer_->batchOpen = true;
}

WriteBatch::~WriteBatch() {
  if (changes_ != nullptr) end(taken_);
}

void WriteBatch::end(const std::vector<std::uint64_t>& freed) noexcept {
  manager_.writer_->numbers.free(freed);
  changes_.reset();
  manager_.writer_->batchOpen = false;
}

std::uint64_t WriteBatch::takeNumber() {
  if (fresh_ != nullptr) return fresh_->take();
  taken_.push_back(0);
  return taken_.back() = manager_.writer_->numbers.take();
}

Reference WriteBatch::recordIs(std::uint32_t type, Octets payload) {
  TYR_ASSERT(changes_ != nullptr);
  requireFits(manager_, "a record", payload.size(), maxRecordOctets);
  detail::Writer& writer = *manager_.writer_;
  if (writer.nextAnchor == writer.anchorBound) manager_.reserveAnchors();
  const std::uint64_t anchor = writer.nextAnchor++;
  detail::Bytes value = detail::recordValue(type, anchor, payload);
  const std::uint64_t number = takeNumber();
  changes_->entries[detail::recordKey(number)] = std::move(value);
  return {number, anchor};
}

// What the batch has for the number decides, then, unless all that was there before goes, the last commit. A damaged
// record there counts: nobody can tell whose it is, or read it.
bool WriteBatch::names(Reference reference) const {
  const auto found = changes_->entries.find(detail::recordKey(reference.number));
  if (found != changes_->entries.end()) {
    return found->second && detail::readRecordHead(*found->second)->anchor == reference.anchor;
  }
  if (changes_->clear) return false;
  try {
    manager_.view_.snapshot_->find(reference);
  } catch (const DamagedRecordException&) {
  }
  return true;
}

void WriteBatch::recordDel(Reference reference) {
  TYR_ASSERT(changes_ != nullptr);
  if (!names(reference)) {
    throw StaleReferenceException(
        detail::problem(manager_.path(), "record " + std::to_string(reference.number) + " is stale in this batch",
                        "a record that was not removed"));
  }
  freed_.push_back(reference.number);
  changes_->entries[detail::recordKey(reference.number)] = std::nullopt;
}

void WriteBatch::keyIs(std::uint32_t space, Octets key, Octets value) {
  TYR_ASSERT(changes_ != nullptr);
  requireFits(manager_, "a key", key.size(), maxKeyOctets);
  requireFits(manager_, "a value", value.size(), maxRecordOctets);
  const std::string name = detail::keyKey(space, key);
  changes_->entries[name] = detail::keyValue(name, value);
}

void WriteBatch::keyDel(std::uint32_t space, Octets key) {
  TYR_ASSERT(changes_ != nullptr);
  if (key.size() <= maxKeyOctets) changes_->entries[detail::keyKey(space, key)] = std::nullopt;
}

void WriteBatch::clear() {
  TYR_ASSERT(changes_ != nullptr);
  fresh_ = std::make_unique<detail::Numbers>();
  freed_.clear();
  changes_->entries.clear();
  changes_->clear = true;
}

void WriteBatch::commit() {
  TYR_ASSERT(changes_ != nullptr);
  try {
    if (changes_->clear || !changes_->entries.empty()) manager_.commit(*changes_);
  } catch (...) {
    end(taken_);
    throw;
  }
  if (fresh_ != nullptr) manager_.writer_->numbers = std::move(*fresh_);
  end(freed_);
}

}  // namespace Routing::Store
