#include "Store/StoreManager.h"

#include <filesystem>
#include <random>

#include "Store/EnvironmentImpl.h"
#include "Store/WriterImpl.h"

namespace Routing::Store {
namespace detail {
namespace {

constexpr std::uint64_t commitsBetweenReaderChecks = 64;

std::uint64_t randomWord() {
  std::random_device source;
  return (std::uint64_t{source()} << 32) | source();
}

// The path goes on to name the store when the process changes its directory.
std::string absolute(const std::string& path) {
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::absolute(path, error);
  return error ? path : whole.string();
}

void makeStore(const std::string& path, const Options& options) {
  const std::uint64_t identity = randomWord();
  writeStamp(path, identity, options);
  Changes header;
  header.headerIs(identity, randomWord());
  Environment::make(path, header, options);
}

Header requireHeader(const std::string& path, const Snapshot& snapshot, std::uint64_t stampedIdentity) {
  const std::optional<Octets> stored = snapshot.entry(headerKey);
  const std::optional<Header> header = stored ? readHeader(*stored) : std::nullopt;
  if (!header) throw StoreFormatException(problem(path, "its header is missing or damaged", "the header of a store"));
  if (header->identity != stampedIdentity) {
    throw StoreFormatException(problem(path, "stamp and data.mdb are of two stores", "files of one store"));
  }
  return *header;
}

}  // namespace
}  // namespace detail

std::unique_ptr<StoreManager> StoreManager::openForWriting(const std::string& name, const Options& options) {
  const std::string path = detail::absolute(name);
  detail::makeDirectory(path, options.mode);
  std::unique_ptr<detail::Writer> writer(new detail::Writer{detail::lockWriter(path, options.mode)});
  if (detail::machineFailedMeanwhile(path)) detail::filesDel(path);
  if (!detail::storeExists(path)) detail::makeStore(path, options);
  const std::uint64_t identity = detail::readStamp(path);
  auto environment = detail::Environment::open(path, options, true);
  std::unique_ptr<StoreManager> manager(
      new StoreManager(std::move(environment), identity, options.pageCheck, std::move(writer)));
  if (options.durability == Durability::processCrash) {
    detail::markIs(manager->writer_->lock);
  } else if (manager->environment_->sync()) {
    detail::markDel(manager->writer_->lock);
  }
  manager->environment_->checkReaders();
  manager->writer_->mostCommitsAhead = options.mostCommitsAhead;
  manager->reserveAnchors();
  manager->refresh();
  manager->writer_->numbers.next = manager->view_.snapshot_->lastNumber() + 1;
  return manager;
}

std::unique_ptr<StoreManager> StoreManager::openForReading(const std::string& name, PageCheck pageCheck,
                                                           std::size_t mapOctets) {
  const std::string path = detail::absolute(name);
  detail::requireDirectory(path);
  if (detail::machineFailedMeanwhile(path)) {
    throw StoreFormatException(detail::problem(path, "the machine failed while it was written",
                                               "a store that was closed, or that a writer has made anew"));
  }
  if (!detail::storeExists(path)) {
    throw StoreAbsentException(detail::problem(path, "no store there yet", "a store that its writer has made"));
  }
  const std::uint64_t identity = detail::readStamp(path);
  Options options;
  options.mapOctets = mapOctets;
  auto environment = detail::Environment::open(path, options, false);
  return std::unique_ptr<StoreManager>(new StoreManager(std::move(environment), identity, pageCheck, nullptr));
}

StoreManager::StoreManager(std::shared_ptr<detail::Environment> environment, std::uint64_t stampedIdentity,
                           PageCheck pageCheck, std::unique_ptr<detail::Writer> writer)
    : writer_(std::move(writer)),
      environment_(std::move(environment)),
      view_(environment_),
      identity_(stampedIdentity) {
  if (pageCheck == PageCheck::on) view_.snapshot_->checkPages();
  const detail::Header header = detail::requireHeader(path(), *view_.snapshot_, stampedIdentity);
  if (writer_ != nullptr) writer_->nextAnchor = writer_->anchorBound = header.anchorBound;
}

// In a child of fork() the mark is its parent's.
StoreManager::~StoreManager() {
  if (writer_ != nullptr && environment_ != nullptr && environment_->sync()) detail::markDel(writer_->lock);
}

void StoreManager::anyServiceIs(const std::type_info& type, const void* service) {
  for (auto& [known, its] : services_) {
    if (*known == type) {
      its = service;
      return;
    }
  }
  services_.emplace_back(&type, service);
}

const void* StoreManager::anyService(const std::type_info& type) const noexcept {
  for (const auto& [known, its] : services_) {
    if (*known == type) return its;
  }
  return nullptr;
}

const std::string& StoreManager::path() const noexcept { return environment_->path(); }
std::uint64_t StoreManager::newestCommit() const { return environment_->newestCommit(); }
std::optional<OldestView> StoreManager::oldestView() const { return environment_->oldestView(); }

// Stored before any of them is given out. The view stays where it is: this happens in the middle of batches.
void StoreManager::reserveAnchors() {
  const std::uint64_t bound = writer_->anchorBound + detail::anchorsAhead;
  detail::Changes changes;
  changes.headerIs(identity_, bound);
  environment_->checkFile();
  environment_->commit(changes);
  writer_->anchorBound = bound;
}

// A reader that died is not in the way.
void StoreManager::requireNotTooFarAhead() {
  detail::Writer& writer = *writer_;
  if (!writer.tooFarAhead && writer.commits % detail::commitsBetweenReaderChecks != 0) return;
  environment_->checkReaders();
  if (writer.mostCommitsAhead == 0) return;
  const std::optional<OldestView> oldest = oldestView();
  const std::uint64_t newest = newestCommit();
  writer.tooFarAhead = oldest && newest > oldest->commit + writer.mostCommitsAhead;
  if (!writer.tooFarAhead) return;
  throw StoreBusyException(detail::problem(
      path(),
      "process " + std::to_string(oldest->process) + " still shows commit " + std::to_string(oldest->commit) + " of " +
          std::to_string(newest),
      "at most " + std::to_string(writer.mostCommitsAhead) + " in between, that process to go on or to end"));
}

// The commit stands whatever becomes of the view: one that cannot follow has ended, and says so when it is used.
void StoreManager::commit(detail::Changes& changes) {
  if (changes.clear()) changes.headerIs(identity_, writer_->anchorBound);
  requireNotTooFarAhead();
  environment_->checkFile();
  environment_->commit(changes);
  try {
    view_.refresh();
  } catch (const std::exception&) {
  }
  ++writer_->commits;
}

}  // namespace Routing::Store
