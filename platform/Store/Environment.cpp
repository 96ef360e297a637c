#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>
#include <system_error>
#include <tuple>

#include "Store/EnvironmentImpl.h"

namespace Routing::Store::detail {
namespace {

constexpr std::size_t smallestMap = 64 * 1024;
constexpr std::size_t largestStep = std::size_t{1} << 30;

// A child of fork() does not meet its parent's environments here.
using FileId = std::tuple<pid_t, dev_t, ino_t>;

// An entry stays until its environment is closed, though nobody can get it any more; who wants the file waits for that.
// Recursive: opening may fail with the lock held, and closes what it opened.
struct Registry {
  std::recursive_mutex mutex;
  std::condition_variable_any closed;
  std::map<FileId, std::weak_ptr<Environment>> environments;
};

Registry& registry() {
  static Registry& it = *new Registry;  // views may be destroyed after every static
  return it;
}

FileId idOf(const struct stat& status) { return {::getpid(), status.st_dev, status.st_ino}; }

FileId fileId(const std::string& path) {
  struct stat status {};
  if (::stat(dataFile(path).c_str(), &status) != 0) {
    fail(path, "cannot look at " + dataFile(path), errno, "a store that this user may read");
  }
  return idOf(status);
}

unsigned engineFlags(const Options* options) {
  constexpr unsigned always = MDB_NOSUBDIR | MDB_NOTLS;
  if (options == nullptr) return always | MDB_RDONLY;
  return options->durability == Durability::systemCrash ? always : always | MDB_NOSYNC;
}

MDB_val engineValue(Octets octets) { return {octets.size(), const_cast<std::uint8_t*>(octets.data())}; }

// In a child of fork() the registry's lock may be held by a thread that is not there.
void closed(Environment* last, const FileId& id) {
  if (!last->ownProcess()) return delete last;
  const std::lock_guard lock(registry().mutex);
  delete last;
  registry().environments.erase(id);
  registry().closed.notify_all();
}

std::shared_ptr<Environment> opened(const std::string& path, const FileId& id, const Options* options) {
  auto environment =
      std::make_unique<Environment>(path, dataFile(path), engineFlags(options), options ? options->mode : 0660, 0);
  return {environment.release(), [id](Environment* last) { closed(last, id); }};
}

}  // namespace

Mapping::Mapping(int file, std::size_t octets) : octets_(octets) {
  void* base = ::mmap(nullptr, octets, PROT_READ, MAP_SHARED, file, 0);
  if (base == MAP_FAILED) throw std::system_error(errno, std::generic_category());
  base_ = static_cast<const std::uint8_t*>(base);
}

Mapping::~Mapping() { ::munmap(const_cast<std::uint8_t*>(base_), octets_); }

// Each page, or the first of a run of them, begins with its number: with that, an address tells its place in the file.
std::optional<Octets> Mapping::located(const MDB_val& value, std::size_t pageOctets) const {
  const auto address = reinterpret_cast<std::uintptr_t>(value.mv_data);
  const std::size_t inPage = address % pageOctets;
  std::uint64_t page;
  std::memcpy(&page, static_cast<const std::uint8_t*>(value.mv_data) - inPage, sizeof page);
  if (page >= octets_ / pageOctets) return std::nullopt;
  const std::size_t place = page * pageOctets + inPage;
  if (value.mv_size > octets_ - place) return std::nullopt;
  return Octets(base_ + place, value.mv_size);
}

std::shared_ptr<Environment> Environment::open(const std::string& path, const Options* options) {
  const FileId id = fileId(path);
  std::unique_lock lock(registry().mutex);
  auto& environments = registry().environments;
  for (auto found = environments.find(id); found != environments.end(); found = environments.find(id)) {
    std::shared_ptr<Environment> environment = found->second.lock();
    if (environment == nullptr) {
      registry().closed.wait(lock);
      continue;
    }
    if (options != nullptr) environment->writingIs(*options);
    return environment;
  }
  dataChecked(path);
  std::shared_ptr<Environment> environment = opened(path, id, options);
  struct stat status {};
  if (::fstat(environment->file_, &status) != 0 || idOf(status) != id) {
    throw StoreAbsentException(problem(path, dataFile(path) + " was replaced meanwhile", "to be opened again"));
  }
  environments[id] = environment;
  return environment;
}

void Environment::writingIs(const Options& options) {
  if (!writable_) {
    throw StoreBusyException(problem(path_, "this process has it open for reading only", "to open for writing first"));
  }
  const std::unique_lock lock(moving_);
  ::mdb_env_set_flags(engine_, MDB_NOSYNC, options.durability == Durability::processCrash);
}

void Environment::made(const std::string& path, const Header& header, const Options& options) {
  const std::string unfinished = dataFile(path) + ".new";
  const std::string readers = readersFile(unfinished);
  ::unlink(unfinished.c_str());
  ::unlink(readers.c_str());
  {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const std::size_t octets = std::max(options.initialMapOctets, smallestMap) / page * page;
    Environment environment(path, unfinished, engineFlags(&options), options.mode, octets);
    Changes changes;
    changes.headerIs(header);
    environment.changesMade(changes);
  }
  // First the table of readers, so that none ever finds the store without it.
  renamed(path, readers, readersFile(dataFile(path)), options);
  renamed(path, unfinished, dataFile(path), options);
}

Environment::Environment(std::string path, const std::string& file, unsigned flags, mode_t mode, std::size_t mapOctets)
    : path_(std::move(path)),
      process_(::getpid()),
      writable_((flags & MDB_RDONLY) == 0),
      readersFile_(readersFile(file)),
      readers_(readersOpened(path_, readersFile_, writable_, mode)) {
  constexpr const char* expected = "data.mdb readable and data.mdb-lock writable, both by the same engine";
  int code = ::mdb_env_create(&engine_);
  if (code == 0) code = ::mdb_env_set_maxreaders(engine_, maxReaders);
  if (code == 0 && mapOctets != 0) code = ::mdb_env_set_mapsize(engine_, mapOctets);
  if (code == 0) code = ::mdb_env_open(engine_, file.c_str(), flags, mode);
  try {
    if (code != 0) fail(path_, "cannot open " + file, code, expected);
    readersRoomTaken(path_, readersFile_, readers_);
    if (!named(readers_, readersFile_)) {
      throw StoreAbsentException(problem(path_, readersFile_ + " was replaced meanwhile", "to be opened again"));
    }
    ::mdb_env_get_fd(engine_, &file_);
    if (mapOctets != 0 && ::ftruncate(file_, static_cast<off_t>(mapOctets)) != 0) failed("cannot grow it", errno);
    treeOpened();
  } catch (const std::system_error& error) {
    ::mdb_env_close(engine_);
    fail(path_, "cannot map it", error.code().value(), "enough room for addresses");
  } catch (...) {
    ::mdb_env_close(engine_);
    throw;
  }
}

// In a child of fork() the engine would give back places that are its parent's.
Environment::~Environment() {
  if (ownProcess()) ::mdb_env_close(engine_);
}

bool Environment::ownProcess() const noexcept { return ::getpid() == process_; }

// It may grow between two looks at it; nobody else uses this mapping yet.
void Environment::treeOpened() {
  MDB_txn* transaction = nullptr;
  int code = readingBegun(transaction);
  while (code == MDB_MAP_RESIZED) {
    code = ::mdb_env_set_mapsize(engine_, dataChecked(path_));
    if (code == 0) code = readingBegun(transaction);
  }
  if (code != 0) readingFailed("cannot look into it", code);
  MDB_stat status{};
  code = ::mdb_dbi_open(transaction, nullptr, 0, &tree_);
  if (code == 0) code = ::mdb_stat(transaction, tree_, &status);
  ::mdb_txn_abort(transaction);
  if (code != 0) readingFailed("cannot look into it", code);
  pageOctets_ = status.ms_psize;
  MDB_envinfo info{};
  ::mdb_env_info(engine_, &info);
  mapping_ = std::make_shared<Mapping>(file_, info.me_mapsize);
}

void Environment::fileChecked() const {
  if (!ownProcess()) throw StoreException(problem(path_, "used after fork()", "the process that opened it"));
  // Before the size: the file grows before what is mapped of it does.
  const std::size_t mapped = mappedOctets();
  struct stat ours {};
  struct stat named {};
  constexpr const char* expected = "the file that was opened, as the writer left it";
  if (::fstat(file_, &ours) != 0 || ::stat(dataFile(path_).c_str(), &named) != 0) {
    fail(path_, "cannot look at " + dataFile(path_) + " any more", errno, expected);
  }
  if (idOf(ours) != idOf(named)) {
    throw StoreFormatException(problem(path_, dataFile(path_) + " was replaced by another file", expected));
  }
  if (static_cast<std::size_t>(ours.st_size) < mapped) {
    throw StoreFormatException(problem(path_, dataFile(path_) + " was cut short", expected));
  }
}

std::size_t Environment::mappedOctets() const {
  const std::shared_lock lock(moving_);
  return mapping_->size();
}

void Environment::usable() const {
  if (broken_) throw StoreException(problem(path_, "its mapping was lost", "room for addresses; open it again"));
}

std::uint64_t Environment::newestCommit() const {
  fileChecked();
  const std::shared_lock lock(moving_);
  usable();
  MDB_envinfo info{};
  ::mdb_env_info(engine_, &info);
  return info.me_last_txnid;
}

bool Environment::synced() const noexcept { return ownProcess() && ::mdb_env_sync(engine_, 1) == 0; }

void Environment::readersChecked() const {
  const std::shared_lock lock(moving_);
  int dead = 0;
  ::mdb_reader_check(engine_, &dead);
}

void Environment::mapped(std::size_t octets) {
  const std::unique_lock lock(moving_);
  usable();
  if (octets <= mapping_->size()) return;  // another thread was faster
  try {
    auto mapping = std::make_shared<Mapping>(file_, octets);
    const int code = ::mdb_env_set_mapsize(engine_, octets);
    broken_ = code != 0;
    if (code != 0) fail(path_, "cannot map more of it", code, "enough room for addresses; open it again");
    mapping_ = std::move(mapping);
  } catch (const std::system_error& error) {
    fail(path_, "cannot map more of it", error.code().value(), "enough room for addresses");
  }
}

void Environment::sizeTakenOver() { mapped(dataChecked(path_)); }

// Twice as large, then by steps; the file first, then its mapping, and the engine stores the new size when it commits.
void Environment::grown(std::size_t octetsNeeded) {
  const std::size_t now = mappedOctets();
  const std::size_t step = std::max(std::min(now, largestStep), octetsNeeded);
  const std::size_t octets = (now + step) / smallestMap * smallestMap;
  if (::ftruncate(file_, static_cast<off_t>(octets)) != 0) failed("cannot grow it", errno);
  mapped(octets);
}

int Environment::written(MDB_txn* transaction, const Changes& changes) const {
  int code = changes.clear ? ::mdb_drop(transaction, tree_, 0) : 0;
  for (auto at = changes.entries.begin(); code == 0 && at != changes.entries.end(); ++at) {
    MDB_val key = engineValue(octetsOf(at->first));
    if (at->second) {
      MDB_val value = engineValue(*at->second);
      code = ::mdb_put(transaction, tree_, &key, &value, 0);
    } else {
      code = ::mdb_del(transaction, tree_, &key, nullptr);
      if (code == MDB_NOTFOUND) code = 0;
    }
  }
  return code;
}

int Environment::transaction(const Changes& changes) {
  const std::shared_lock lock(moving_);
  usable();
  MDB_txn* transaction = nullptr;
  int code = ::mdb_txn_begin(engine_, nullptr, 0, &transaction);
  if (code != 0) return code;
  code = written(transaction, changes);
  if (code == 0) return ::mdb_txn_commit(transaction);
  ::mdb_txn_abort(transaction);
  return code;
}

void Environment::changesMade(const Changes& changes) {
  for (int code = transaction(changes); code != 0; code = transaction(changes)) {
    switch (code) {
      case MDB_MAP_FULL:
        readersChecked();
        grown(changes.octets());
        break;
      case MDB_MAP_RESIZED:
        sizeTakenOver();
        break;
      default:
        failed("cannot write it", code);
    }
  }
}

// The engine calls a write that the system cut short an input/output error.
bool Environment::looksFull() const {
  struct statvfs status {};
  struct rlimit limit {};
  struct stat file {};
  ::fstat(file_, &file);
  if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur < static_cast<rlim_t>(file.st_size)) return true;
  return ::fstatvfs(file_, &status) == 0 && status.f_bavail * status.f_frsize < smallestMap;
}

int Environment::readingBegun(MDB_txn*& transaction) const {
  const auto begun = [&] {
    return transaction != nullptr ? ::mdb_txn_renew(transaction)
                                  : ::mdb_txn_begin(engine_, nullptr, MDB_RDONLY, &transaction);
  };
  const int code = begun();
  if (code != MDB_READERS_FULL) return code;
  int dead = 0;
  ::mdb_reader_check(engine_, &dead);
  return begun();
}

void Environment::readingFailed(const char* what, int code) const {
  if (code == MDB_READERS_FULL) {
    const std::string expected = "at most " + std::to_string(maxReaders) + " views at a time";
    throw StoreException(problem(path_, "no place for another reader", expected));
  }
  fail(path_, what, code, "data.mdb as the writer left it, on a sound disk");
}

void Environment::failed(const char* what, int code) const {
  if (code == EIO && looksFull()) code = ENOSPC;
  fail(path_, what, code, "a sound disk with room; the last commit stands");
}

}  // namespace Routing::Store::detail
