#include "Store/FilesImpl.h"

#include <fcntl.h>
#include <lmdb.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>

#include "Store/LayoutImpl.h"
#include "Store/PageCheckImpl.h"

namespace Routing::Store::detail {
namespace {

std::string lockFile(const std::string& path) { return path + "/writer.lock"; }

bool exists(const std::string& path, const std::string& file) {
  struct stat status {};
  if (::stat(file.c_str(), &status) == 0) return true;
  if (errno != ENOENT) fail(path, "cannot look at " + file, errno, "a store that this user may read");
  return false;
}

Descriptor opened(const std::string& path, const std::string& file, int flags, mode_t mode,
                  const std::string& expected) {
  Descriptor descriptor(::open(file.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode));
  if (descriptor.number() < 0) fail(path, "cannot open " + file, errno, expected);
  return descriptor;
}

std::size_t sizeOf(const std::string& path, const std::string& file, const Descriptor& descriptor) {
  struct stat status {};
  if (::fstat(descriptor.number(), &status) != 0) fail(path, "cannot look at " + file, errno, "a regular file");
  if (!S_ISREG(status.st_mode)) throw StoreFormatException(problem(path, file + " is no file", "a regular file"));
  return static_cast<std::size_t>(status.st_size);
}

// False when the file ends before that.
bool readAt(const std::string& path, const std::string& file, const Descriptor& descriptor, void* to,
            std::size_t octets, std::size_t from) {
  ssize_t count;
  do {
    count = ::pread(descriptor.number(), to, octets, static_cast<off_t>(from));
  } while (count < 0 && errno == EINTR);
  if (count < 0) fail(path, "cannot read " + file, errno, "a readable file");
  return static_cast<std::size_t>(count) == octets;
}

static_assert(sizeof(std::size_t) == 8, "the engine's file lies otherwise on other machines");

constexpr std::uint32_t metaMagic = 0xbeefc0de;
constexpr std::uint32_t metaVersion = 1;
constexpr std::uint16_t metaFlag = 8;

constexpr const char* wholeFile = "the engine's file as the writer left it";

Meta metaReadOnce(const std::string& path, const std::string& file, const Descriptor& data, std::size_t at) {
  Meta meta{};
  if (readAt(path, file, data, &meta, sizeof meta, at)) return meta;
  throw StoreFormatException(problem(path, file + " is cut short", wholeFile));
}

// Until it reads the same twice, as a commit may just be overwriting it.
Meta metaRead(const std::string& path, const std::string& file, const Descriptor& data, std::size_t at) {
  Meta meta = metaReadOnce(path, file, data, at);
  for (int tries = 0; tries < 1000; ++tries) {
    const Meta again = metaReadOnce(path, file, data, at);
    if (std::memcmp(&meta, &again, sizeof meta) == 0) break;
    meta = again;
  }
  if (meta.magic != metaMagic || meta.version != metaVersion || (meta.pageFlags & metaFlag) == 0) {
    throw StoreFormatException(problem(path, file + " is not a store's file", wholeFile));
  }
  return meta;
}

// Pages larger than the machine's could not be told from their addresses.
void requirePageSize(const std::string& path, const std::string& file, std::size_t octets) {
  const auto machine = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  if (std::has_single_bit(octets) && octets >= 512 && machine % octets == 0) return;
  throw StoreFormatException(problem(path, file + " has pages of " + std::to_string(octets) + " octets",
                                     "pages that fit this machine's of " + std::to_string(machine)));
}

std::string sizes(std::size_t is, std::uint64_t named) {
  return std::to_string(is) + " octets where it names " + std::to_string(named);
}

bool within(const Tree& tree, std::uint64_t lastPage) {
  return tree.root == noPage || (tree.root > 1 && tree.root <= lastPage);
}

void requireWhole(const std::string& path, const std::string& file, const Meta& meta, std::size_t pageOctets,
                  std::size_t fileOctets) {
  const bool rootsWithin = within(meta.trees[0], meta.lastPage) && within(meta.trees[1], meta.lastPage);
  if (meta.lastPage == 0 || meta.lastPage >= meta.mapOctets / pageOctets || meta.mapOctets > INT64_MAX ||
      meta.trees[0].pageOctets != pageOctets || !rootsWithin) {
    throw StoreFormatException(problem(path, file + " is damaged: a meta page contradicts itself", wholeFile));
  }
  if (meta.mapOctets > fileOctets) {
    throw StoreFormatException(problem(path, file + " is cut short: " + sizes(fileOctets, meta.mapOctets), wholeFile));
  }
}

template <typename Number>
void requireSame(const std::string& path, const char* what, Number is, Number expected) {
  if (is == expected) return;
  throw StoreFormatException(problem(path, std::string("another ") + what + ": " + std::to_string(is),
                                     std::string(what) + " " + std::to_string(expected)));
}

void requireStamp(const std::string& path, const Stamp& stamp) {
  const Stamp ours;
  if (stamp.magic != ours.magic) {
    throw StoreFormatException(problem(path, stampFile(path) + " is not a store's stamp", "the stamp of a store"));
  }
  requireSame(path, "octet order", stamp.octetOrder, ours.octetOrder);
  requireSame(path, "layout version", stamp.version, ours.version);
  requireSame(path, "word size", stamp.wordOctets, ours.wordOctets);
}

void synced(const std::string& path, const std::string& file, const Options& options) {
  if (options.durability != Durability::systemCrash) return;
  const Descriptor descriptor = opened(path, file, O_RDONLY, 0, "a disk that takes it");
  if (::fsync(descriptor.number()) != 0) fail(path, "cannot write " + file + " to the disk", errno, "a sound disk");
}

void written(const std::string& path, const std::string& file, Octets octets, mode_t mode) {
  const Descriptor to = opened(path, file, O_WRONLY | O_CREAT | O_TRUNC, mode, "a directory that this user may write");
  const ssize_t count = ::write(to.number(), octets.data(), octets.size());
  if (count == static_cast<ssize_t>(octets.size())) return;
  fail(path, "cannot write " + file, count < 0 ? errno : ENOSPC, "room on the disk");
}

std::string contents(const Descriptor& file) {
  char octets[64];
  const ssize_t count = ::pread(file.number(), octets, sizeof octets, 0);
  return std::string(octets, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
}

// Drawn by the kernel at each start; empty where it does not tell.
std::string startOfMachine() {
  const Descriptor file(::open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC));
  return file.number() < 0 ? std::string() : contents(file);
}

bool isLeftover(const std::string& name) {
  constexpr const char* ours[] = {"writer.lock",   "stamp",        "stamp.new",
                                  "data.mdb-lock", "data.mdb.new", "data.mdb.new-lock"};
  return std::find(std::begin(ours), std::end(ours), name) != std::end(ours);
}

// A directory with other files in it is not ours to fill.
void requireNothingElse(const std::string& path) {
  std::error_code error;
  for (std::filesystem::directory_iterator at(path, error), end; !error && at != end; at.increment(error)) {
    if (isLeftover(at->path().filename())) continue;
    throw StoreFormatException(
        problem(path, "not a store: it has no data.mdb but " + at->path().string(), "a store or an empty directory"));
  }
  if (error) fail(path, "cannot list the directory", error.value(), "a directory that this user may read");
}

std::string message(int code) { return code > 0 ? std::generic_category().message(code) : ::mdb_strerror(code); }

}  // namespace

Descriptor::~Descriptor() {
  if (number_ >= 0) ::close(number_);
}

std::string problem(const std::string& path, const std::string& what, const std::string& expected) {
  return "store " + path + ": " + what + "; expected " + expected;
}

void fail(const std::string& path, const std::string& what, int code, const std::string& expected) {
  const std::string text = problem(path, what + ": " + message(code), expected);
  switch (code) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      throw StoreFullException(text);
    case MDB_INVALID:
    case MDB_VERSION_MISMATCH:
    case MDB_CORRUPTED:
    case MDB_PAGE_NOTFOUND:
      throw StoreFormatException(text);
    default:
      throw StoreException(text);
  }
}

std::string dataFile(const std::string& path) { return path + "/data.mdb"; }
std::string readersFile(const std::string& data) { return data + "-lock"; }
std::string stampFile(const std::string& path) { return path + "/stamp"; }

void requireDirectory(const std::string& path) {
  constexpr const char* expected = "the directory of a store";
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    if (errno != ENOENT) fail(path, "cannot look at it", errno, expected);
    throw StoreAbsentException(problem(path, "no store there: " + message(errno), expected));
  }
  if (!S_ISDIR(status.st_mode)) throw StoreFormatException(problem(path, "not a directory", expected));
}

void directoryMade(const std::string& path, mode_t mode) {
  const mode_t search = mode | ((mode & 0444) >> 2);
  if (::mkdir(path.c_str(), search) != 0 && errno != EEXIST) {
    fail(path, "cannot make the directory", errno, "a parent directory that exists and that this user may write");
  }
  requireDirectory(path);
}

bool machineFailedMeanwhile(const std::string& path) {
  if (!exists(path, lockFile(path))) return false;
  const Descriptor lock = opened(path, lockFile(path), O_RDONLY, 0, "a writer.lock that this user may read");
  const std::string mark = contents(lock);
  const std::string start = startOfMachine();
  return !mark.empty() && !start.empty() && mark != start;
}

void markIs(const std::string& path, const Descriptor& lock) {
  const std::string mark = startOfMachine();
  markDel(lock);
  const ssize_t count = ::pwrite(lock.number(), mark.data(), mark.size(), 0);
  if (count != static_cast<ssize_t>(mark.size()) || ::fsync(lock.number()) != 0) {
    fail(path, "cannot write " + lockFile(path), count < 0 ? errno : ENOSPC, "a sound disk with room");
  }
}

Descriptor readersOpened(const std::string& path, const std::string& file, bool writing, mode_t mode) {
  if (!writing && !exists(path, file)) {
    throw StoreFormatException(problem(path, "it has no " + file, "a store whose writer has opened it since"));
  }
  Descriptor readers =
      opened(path, file, O_RDWR | (writing ? O_CREAT : 0), mode, "a data.mdb-lock that this user may write");
  readersRoomTaken(path, file, readers);
  return readers;
}

// Where the file system cannot, nothing better is to be had.
void readersRoomTaken(const std::string& path, const std::string& file, const Descriptor& readers) {
  const std::size_t is = sizeOf(path, file, readers);
  const auto octets = static_cast<off_t>(is == 0 ? readersOctets : is);
  int code = 0;
  do {
    code = ::fallocate(readers.number(), 0, 0, octets);
  } while (code != 0 && errno == EINTR);
  if (code == 0 || errno == EOPNOTSUPP) return;
  fail(path, "cannot take room for " + file, errno, "room on the disk for 64 KiB");
}

bool named(const Descriptor& descriptor, const std::string& file) {
  struct stat ours {};
  struct stat other {};
  if (::fstat(descriptor.number(), &ours) != 0 || ::stat(file.c_str(), &other) != 0) return false;
  return ours.st_dev == other.st_dev && ours.st_ino == other.st_ino;
}

// One that stays is no harm: the next writer takes it away, or makes the store anew.
void markDel(const Descriptor& lock) noexcept {
  if (::ftruncate(lock.number(), 0) != 0) return;
}

void filesDel(const std::string& path) {
  // In this order a store that is half gone is one that was not finished.
  for (const std::string& file : {dataFile(path), readersFile(dataFile(path)), stampFile(path)}) {
    if (::unlink(file.c_str()) != 0 && errno != ENOENT) fail(path, "cannot remove " + file, errno, "to make it anew");
  }
}

Descriptor writerLocked(const std::string& path, mode_t mode) {
  Descriptor lock = opened(path, lockFile(path), O_RDWR | O_CREAT, mode, "a directory that this user may write");
  if (::flock(lock.number(), LOCK_EX | LOCK_NB) == 0) return lock;
  if (errno != EWOULDBLOCK) fail(path, "cannot lock " + lockFile(path), errno, "a file system with locks");
  throw StoreBusyException(problem(path, "another writer has it open: " + message(errno), "one writer at a time"));
}

bool storeThere(const std::string& path) {
  if (!exists(path, dataFile(path))) {
    requireNothingElse(path);
    return false;
  }
  if (exists(path, stampFile(path))) return true;
  throw StoreFormatException(problem(path, "not a store: it has no stamp", "a store or an empty directory"));
}

std::uint64_t stampRead(const std::string& path) {
  const std::string file = stampFile(path);
  const Descriptor descriptor = opened(path, file, O_RDONLY, 0, "a stamp that this user may read");
  if (sizeOf(path, file, descriptor) == 0) throw StoreFormatException(problem(path, file + " is empty", "a stamp"));
  Stamp stamp;
  if (!readAt(path, file, descriptor, &stamp, sizeof stamp, 0)) {
    throw StoreFormatException(problem(path, file + " is cut short", std::to_string(sizeof stamp) + " octets"));
  }
  requireStamp(path, stamp);
  return stamp.identity;
}

void stampWritten(const std::string& path, std::uint64_t identity, const Options& options) {
  const std::string unfinished = stampFile(path) + ".new";
  Stamp stamp;
  stamp.identity = identity;
  written(path, unfinished, octetsOf(stamp), options.mode);
  renamed(path, unfinished, stampFile(path), options);
  synced(path, path + "/..", options);  // where the directory itself may be new
}

void renamed(const std::string& path, const std::string& from, const std::string& to, const Options& options) {
  synced(path, from, options);
  if (::rename(from.c_str(), to.c_str()) != 0) fail(path, "cannot rename " + from, errno, "a sound disk");
  synced(path, path, options);
}

std::size_t dataChecked(const std::string& path) {
  const std::string file = dataFile(path);
  const Descriptor data = opened(path, file, O_RDONLY, 0, "a data.mdb that this user may read");
  if (sizeOf(path, file, data) == 0) throw StoreFormatException(problem(path, file + " has size 0", wholeFile));
  const Meta first = metaRead(path, file, data, 0);
  const std::size_t pageOctets = first.trees[0].pageOctets;
  requirePageSize(path, file, pageOctets);
  const Meta second = metaRead(path, file, data, pageOctets);
  // Looked at last: a writer makes the file longer before it says so.
  const std::size_t fileOctets = sizeOf(path, file, data);
  requireWhole(path, file, first, pageOctets, fileOctets);
  requireWhole(path, file, second, pageOctets, fileOctets);
  return static_cast<std::size_t>(std::max(first.mapOctets, second.mapOctets));
}

}  // namespace Routing::Store::detail
