#include "Store/EnvironmentImpl.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <map>
#include <mutex>
#include <tuple>

namespace Routing::Store::detail {
namespace {

struct CursorCloser {
  void operator()(MDB_cursor* cursor) const { ::mdb_cursor_close(cursor); }
};

constexpr std::size_t littleRoom = 64 * 1024;  // on a disk that is as good as full

// A child of fork() does not meet its parent's environments here.
using FileId = std::tuple<pid_t, dev_t, ino_t>;

// Recursive: who takes hold of an environment and fails lets go of it with the lock held.
struct Registry {
  struct Held {
    std::unique_ptr<Environment> environment;
    std::size_t holders = 0;
  };
  std::recursive_mutex mutex;
  std::map<FileId, Held> environments;
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

// In a child of fork() the engine would give back places that are its parent's, and the registry's lock may be held by
// a thread that is not there.
void letGo(const Environment& environment, const FileId& id) {
  if (!environment.ownProcess()) return;
  const std::lock_guard lock(registry().mutex);
  const auto held = registry().environments.find(id);
  if (--held->second.holders == 0) registry().environments.erase(held);
}

unsigned engineFlags(const Options& options, bool writing) {
  constexpr unsigned always = MDB_NOSUBDIR | MDB_NOTLS;
  if (!writing) return always | MDB_RDONLY;
  return options.durability == Durability::systemCrash ? always : always | MDB_NOSYNC;
}

bool grants(std::size_t octets) {
  void* const base = ::mmap(nullptr, octets, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  return base != MAP_FAILED && ::munmap(base, octets) == 0;
}

// Halved until the system would grant twice that: the rest is for the page check and all else that the process needs
// addresses for.
std::size_t grantedOctets(const std::string& path, std::size_t wanted) {
  for (std::size_t octets = wanted; octets >= leastMapOctets; octets /= 2) {
    if (octets <= SIZE_MAX / 2 && grants(2 * octets)) return octets;
  }
  throw StoreException(problem(path, "cannot map 64 MiB", "mapOctets of 64 MiB or more, and addresses for twice that"));
}

MDB_val engineValue(Octets octets) { return {octets.size(), const_cast<std::uint8_t*>(octets.data())}; }

}  // namespace

std::shared_ptr<Environment> Environment::open(const std::string& path, const Options& options, bool writing) {
  const FileId id = fileId(path);
  const std::lock_guard lock(registry().mutex);
  auto& environments = registry().environments;
  auto held = environments.find(id);
  if (held == environments.end()) {
    checkData(path);
    auto environment = std::make_unique<Environment>(path, dataFile(path), options, writing);
    struct stat status {};
    if (::fstat(environment->file_, &status) != 0 || idOf(status) != id) {
      throw StoreAbsentException(problem(path, dataFile(path) + " was replaced meanwhile", "to be opened again"));
    }
    held = environments.emplace(id, Registry::Held{std::move(environment)}).first;
  } else if (writing) {
    held->second.environment->writingIs(options);
  }
  ++held->second.holders;
  return {held->second.environment.get(), [id](const Environment* last) { letGo(*last, id); }};
}

// The registry's lock is held, so nobody else changes the engine's flags. Readers look at other bits of that word, and
// this one may change between two commits.
void Environment::writingIs(const Options& options) {
  if (!writable_) {
    throw StoreBusyException(problem(path_, "this process has it open for reading only", "to open for writing first"));
  }
  ::mdb_env_set_flags(engine_.get(), MDB_NOSYNC, options.durability == Durability::processCrash);
}

void Environment::make(const std::string& path, Changes& first, const Options& options) {
  const std::string unfinished = dataFile(path) + ".new";
  const std::string readers = readersFile(unfinished);
  ::unlink(unfinished.c_str());
  ::unlink(readers.c_str());
  Environment(path, unfinished, options, true).commit(first);
  // First the table of readers, so that none ever finds the store without it.
  rename(path, readers, readersFile(dataFile(path)), options);
  rename(path, unfinished, dataFile(path), options);
}

Environment::Environment(std::string path, const std::string& file, const Options& options, bool writing)
    : path_(std::move(path)),
      process_(::getpid()),
      writable_(writing),
      readers_(openReaders(path_, readersFile(file), writing, options.mode)) {
  MDB_env* engine = nullptr;
  int code = ::mdb_env_create(&engine);
  engine_.reset(engine);
  if (code == 0) code = ::mdb_env_set_maxreaders(engine, maxReaders);
  if (code == 0) code = ::mdb_env_set_mapsize(engine, grantedOctets(path_, options.mapOctets));
  if (code == 0) code = ::mdb_env_open(engine, file.c_str(), engineFlags(options, writing), options.mode);
  if (code != 0) {
    fail(path_, "cannot open " + file, code,
         "data.mdb readable and data.mdb-lock writable, both by the same engine, and addresses for all of data.mdb");
  }
  takeReadersRoom(readers_);
  if (!readers_.isNamed()) {
    throw StoreAbsentException(problem(path_, readers_.name() + " was replaced meanwhile", "to be opened again"));
  }
  ::mdb_env_get_fd(engine, &file_);
  openTree();
}

bool Environment::ownProcess() const noexcept { return ::getpid() == process_; }

void Environment::openTree() {
  MDB_txn* transaction = nullptr;
  MDB_stat status{};
  int code = beginReading(transaction);
  if (code == 0) code = ::mdb_dbi_open(transaction, nullptr, 0, &tree_);
  if (code == 0) code = ::mdb_stat(transaction, tree_, &status);
  ::mdb_txn_abort(transaction);
  if (code != 0) failReading("cannot look into it", code);
  pageOctets_ = status.ms_psize;
}

std::size_t Environment::checkFile() const {
  if (!ownProcess()) throw StoreException(problem(path_, "used after fork()", "the process that opened it"));
  const std::size_t longest = longest_;  // before this look: another thread may look after it, and see more
  struct stat ours {};
  struct stat named {};
  constexpr const char* expected = "the file that was opened, as the writer left it";
  if (::fstat(file_, &ours) != 0 || ::stat(dataFile(path_).c_str(), &named) != 0) {
    fail(path_, "cannot look at " + dataFile(path_) + " any more", errno, expected);
  }
  if (idOf(ours) != idOf(named)) {
    throw StoreFormatException(problem(path_, dataFile(path_) + " was replaced by another file", expected));
  }
  const auto octets = static_cast<std::size_t>(ours.st_size);
  if (octets < longest) throw StoreFormatException(problem(path_, dataFile(path_) + " was cut short", expected));
  if (octets > longest) longest_ = octets;
  return octets;
}

MDB_envinfo Environment::info() const {
  MDB_envinfo info{};
  ::mdb_env_info(engine_.get(), &info);
  return info;
}

std::uint64_t Environment::newestCommit() const {
  checkFile();
  return info().me_last_txnid;
}

bool Environment::sync() const noexcept { return ownProcess() && ::mdb_env_sync(engine_.get(), 1) == 0; }

namespace {

// The engine's line for each of its places: process, thread, and the commit or a dash.
int lookAtReader(const char* line, void* oldest) noexcept {
  OldestView view{};
  unsigned long commit = 0;
  if (std::sscanf(line, "%d %*s %lu", &view.process, &commit) != 2) return 0;
  view.commit = commit;
  auto& least = *static_cast<std::optional<OldestView>*>(oldest);
  if (!least || view.commit < least->commit) least = view;
  return 0;
}

}  // namespace

std::optional<OldestView> Environment::oldestView() const {
  std::optional<OldestView> oldest;
  if (ownProcess()) ::mdb_reader_list(engine_.get(), lookAtReader, &oldest);
  return oldest;
}

void Environment::checkReaders() const {
  int dead = 0;
  ::mdb_reader_check(engine_.get(), &dead);
}

// To what the last commit counts, as LayoutImpl.h promises.
int Environment::lengthen() const {
  struct stat status {};
  if (::fstat(file_, &status) != 0) return errno;
  const auto counted = static_cast<off_t>((info().me_last_pgno + 1) * pageOctets_);
  return status.st_size >= counted || ::ftruncate(file_, counted) == 0 ? 0 : errno;
}

int Environment::write(MDB_txn* transaction, const Changes& changes) const {
  const int code = changes.clear() ? ::mdb_drop(transaction, tree_, 0) : 0;
  if (code != 0) return code;
  // A cursor looks at the page where it is before it looks for another: neighbours are written in a row. What goes makes
  // it begin anew.
  std::unique_ptr<MDB_cursor, CursorCloser> cursor;
  return changes.forEach([&](Octets name, const std::optional<Octets>& octets) {
    MDB_val key = engineValue(name);
    if (!octets) {
      cursor.reset();
      const int removed = ::mdb_del(transaction, tree_, &key, nullptr);
      return removed == MDB_NOTFOUND ? 0 : removed;
    }
    if (cursor == nullptr) {
      MDB_cursor* opened = nullptr;
      if (const int failed = ::mdb_cursor_open(transaction, tree_, &opened); failed != 0) return failed;
      cursor.reset(opened);
    }
    MDB_val value = engineValue(*octets);
    return ::mdb_cursor_put(cursor.get(), &key, &value, 0);
  });
}

// The engine calls a write that the system cut short an input/output error.
int Environment::write(const Changes& changes) const {
  MDB_txn* transaction = nullptr;
  int code = lengthen();
  if (code == 0) code = ::mdb_txn_begin(engine_.get(), nullptr, 0, &transaction);
  if (code == 0) code = write(transaction, changes);
  if (code == 0) {
    code = ::mdb_txn_commit(transaction);
  } else {
    ::mdb_txn_abort(transaction);
  }
  return code == EIO && looksFull() ? ENOSPC : code;
}

// Where there is no room, a reader that died may hold some.
void Environment::commit(Changes& changes) const {
  changes.sort();
  int code = write(changes);
  if (isNoRoom(code)) {
    checkReaders();
    code = write(changes);
  }
  if (code != 0) failWriting(code);
}

bool Environment::looksFull() const {
  struct statvfs status {};
  struct rlimit limit {};
  struct stat file {};
  ::fstat(file_, &file);
  if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur <= static_cast<rlim_t>(file.st_size)) return true;
  return ::fstatvfs(file_, &status) == 0 && status.f_bavail * status.f_frsize < littleRoom;
}

int Environment::beginReading(MDB_txn*& transaction) const {
  const auto begin = [&] {
    return transaction != nullptr ? ::mdb_txn_renew(transaction)
                                  : ::mdb_txn_begin(engine_.get(), nullptr, MDB_RDONLY, &transaction);
  };
  const int code = begin();
  if (code != MDB_READERS_FULL) return code;
  checkReaders();
  return begin();
}

void Environment::failReading(const char* what, int code) const {
  if (code == MDB_READERS_FULL) {
    const std::string expected = "at most " + std::to_string(maxReaders) + " views at a time";
    throw StoreException(problem(path_, "no place for another reader", expected));
  }
  if (code == MDB_MAP_RESIZED) {
    throw StoreException(problem(path_, "it outgrew the " + std::to_string(info().me_mapsize) + " octets mapped of it",
                                 "to be opened again with a larger mapOctets and addresses for that"));
  }
  fail(path_, what, code, "data.mdb as the writer left it, on a sound disk");
}

void Environment::failWriting(int code) const {
  if (code == MDB_MAP_FULL) {
    throw StoreFullException(problem(path_, "the " + std::to_string(info().me_mapsize) + " octets mapped are full",
                                     "a larger mapOctets when it is opened; the last commit stands"));
  }
  fail(path_, "cannot write it", code, "a sound disk with room; the last commit stands");
}

}  // namespace Routing::Store::detail
