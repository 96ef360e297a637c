#include "Store/FilesImpl.h"

#include <dirent.h>
#include <fcntl.h>
#include <lmdb.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>

#include "Store/LayoutImpl.h"
#include "Store/PageCheckImpl.h"

namespace Routing::Store::detail {
namespace {

static_assert(sizeof(std::size_t) == 8, "the engine's file lies otherwise on other machines, and is mapped at once");

std::string lockFile(const std::string& path) { return path + "/writer.lock"; }
std::string stampFile(const std::string& path) { return path + "/stamp"; }

bool exists(const std::string& path, const std::string& file) {
  struct stat status {};
  if (::stat(file.c_str(), &status) == 0) return true;
  if (errno != ENOENT) fail(path, "cannot look at " + file, errno, "a store that this user may read");
  return false;
}

[[noreturn]] void failFormat(const File& file, const std::string& what, const std::string& expected) {
  throw StoreFormatException(problem(file.path(), file.name() + what, expected));
}

// ---- The engine's file

constexpr std::uint32_t metaMagic = 0xbeefc0de;
constexpr std::uint32_t metaVersion = 1;
constexpr std::uint16_t metaFlag = 8;
constexpr std::uint32_t leastPage = 512;
constexpr std::uint32_t largestPage = 32768;

constexpr const char* wholeFile = "the engine's file as the writer left it";

// Until it reads the same twice, as a commit may just be overwriting it.
Meta readMeta(const File& data, std::size_t at) {
  Meta meta{};
  Meta before{};
  for (int tries = 0; tries < 1000; ++tries) {
    if (!data.read(&meta, sizeof meta, at)) failFormat(data, " is cut short", wholeFile);
    if (std::memcmp(&meta, &before, sizeof meta) == 0) break;
    before = meta;
  }
  if (meta.magic != metaMagic || meta.version != metaVersion || (meta.page.flags & metaFlag) == 0) {
    failFormat(data, " is not a store's file", wholeFile);
  }
  return meta;
}

bool within(const Tree& tree, std::uint64_t lastPage) {
  return tree.root == noPage || (tree.root > 1 && tree.root <= lastPage);
}

void requireSound(const File& data, const Meta& meta, std::size_t pageOctets) {
  if (meta.lastPage != 0 && meta.lastPage < meta.mapOctets / pageOctets && meta.mapOctets <= INT64_MAX &&
      meta.trees[0].pageOctets == pageOctets && within(meta.trees[0], meta.lastPage) &&
      within(meta.trees[1], meta.lastPage)) {
    return;
  }
  failFormat(data, " is damaged: a meta page contradicts itself", wholeFile);
}

// The engine takes sizes from the page with the greater commit number, the first of equals, and trees from the page
// that this number belongs to, the one that is checked. So they must be one page.
void requireInTheirPlaces(const File& data, const Meta& first, const Meta& second) {
  if (first.page.number == 0 && second.page.number == 1 && first.commit % 2 == 0 && second.commit % 2 == 1) return;
  failFormat(data, " is damaged: its meta pages contradict each other", wholeFile);
}

// ---- Other files

template <typename Number>
void requireSame(const std::string& path, const char* what, Number is, Number expected) {
  if (is == expected) return;
  throw StoreFormatException(problem(path, std::string("another ") + what + ": " + std::to_string(is),
                                     std::string(what) + " " + std::to_string(expected)));
}

void sync(const std::string& path, const std::string& name, const Options& options) {
  if (options.durability != Durability::systemCrash) return;
  const File file(path, name, O_RDONLY, 0, "a disk that takes it");
  if (::fsync(file.number()) != 0) fail(path, "cannot write " + name + " to the disk", errno, "a sound disk");
}

void write(const File& file, Octets octets) {
  const ssize_t count = ::pwrite(file.number(), octets.data(), octets.size(), 0);
  if (count == static_cast<ssize_t>(octets.size())) return;
  fail(file.path(), "cannot write " + file.name(), count < 0 ? errno : ENOSPC, "a sound disk with room");
}

std::string contents(int file) {
  char octets[64];
  const ssize_t count = ::pread(file, octets, sizeof octets, 0);
  return std::string(octets, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
}

// Drawn by the kernel at each start; empty where it does not tell.
std::string startOfMachine() {
  const int file = ::open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC);
  std::string start = contents(file);
  if (file >= 0) ::close(file);
  return start;
}

struct DirectoryCloser {
  void operator()(DIR* directory) const { ::closedir(directory); }
};

// A directory with other files in it is not ours to fill. Not by the standard library's iterator, which ends the
// process when it finds no memory.
void requireNothingElse(const std::string& path) {
  constexpr std::string_view leftovers[] = {
      ".", "..", "writer.lock", "stamp", "stamp.new", "data.mdb-lock", "data.mdb.new", "data.mdb.new-lock"};
  const std::unique_ptr<DIR, DirectoryCloser> directory(::opendir(path.c_str()));
  errno = directory == nullptr ? errno : 0;
  while (const dirent* entry = directory == nullptr ? nullptr : ::readdir(directory.get())) {
    if (std::ranges::find(leftovers, std::string_view(entry->d_name)) != std::end(leftovers)) continue;
    const std::string other = std::filesystem::path(path) / entry->d_name;
    throw StoreFormatException(
        problem(path, "not a store: it has no data.mdb but " + other, "a store or an empty directory"));
  }
  if (errno != 0) fail(path, "cannot list the directory", errno, "a directory that this user may read");
}

std::string message(int code) { return code > 0 ? std::generic_category().message(code) : ::mdb_strerror(code); }

}  // namespace

File::File(const std::string& path, std::string name, int flags, mode_t mode, const char* expected)
    : path_(path),
      name_(std::move(name)),
      number_(::open(name_.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode)) {
  if (number_ < 0) fail(path_, "cannot open " + name_, errno, expected);
}

File::File(File&& other) noexcept
    : path_(std::move(other.path_)), name_(std::move(other.name_)), number_(std::exchange(other.number_, -1)) {}

File::~File() {
  if (number_ >= 0) ::close(number_);
}

std::size_t File::octets() const {
  struct stat status {};
  if (::fstat(number_, &status) != 0) fail(path_, "cannot look at " + name_, errno, "a regular file");
  if (!S_ISREG(status.st_mode)) failFormat(*this, " is no file", "a regular file");
  return static_cast<std::size_t>(status.st_size);
}

bool File::read(void* to, std::size_t octets, std::size_t from) const {
  const ssize_t count = TEMP_FAILURE_RETRY(::pread(number_, to, octets, static_cast<off_t>(from)));
  if (count < 0) fail(path_, "cannot read " + name_, errno, "a readable file");
  return static_cast<std::size_t>(count) == octets;
}

bool File::isNamed() const {
  struct stat ours {};
  struct stat other {};
  if (::fstat(number_, &ours) != 0 || ::stat(name_.c_str(), &other) != 0) return false;
  return ours.st_dev == other.st_dev && ours.st_ino == other.st_ino;
}

std::string problem(const std::string& path, const std::string& what, const std::string& expected) {
  return "store " + path + ": " + what + "; expected " + expected;
}

bool isNoRoom(int code) { return code == ENOSPC || code == EDQUOT || code == EFBIG || code == MDB_MAP_FULL; }

void fail(const std::string& path, const std::string& what, int code, const std::string& expected) {
  const std::string text = problem(path, what + ": " + message(code), expected);
  if (isNoRoom(code)) throw StoreFullException(text);
  constexpr int format[] = {MDB_INVALID, MDB_VERSION_MISMATCH, MDB_CORRUPTED, MDB_PAGE_NOTFOUND};
  if (std::find(std::begin(format), std::end(format), code) != std::end(format)) throw StoreFormatException(text);
  throw StoreException(text);
}

std::string dataFile(const std::string& path) { return path + "/data.mdb"; }
std::string readersFile(const std::string& data) { return data + "-lock"; }

void requireDirectory(const std::string& path) {
  constexpr const char* expected = "the directory of a store";
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    if (errno != ENOENT) fail(path, "cannot look at it", errno, expected);
    throw StoreAbsentException(problem(path, "no store there: " + message(errno), expected));
  }
  if (!S_ISDIR(status.st_mode)) throw StoreFormatException(problem(path, "not a directory", expected));
}

void makeDirectory(const std::string& path, mode_t mode) {
  const mode_t search = mode | ((mode & 0444) >> 2);
  if (::mkdir(path.c_str(), search) != 0 && errno != EEXIST) {
    fail(path, "cannot make the directory", errno, "a parent directory that exists and that this user may write");
  }
  requireDirectory(path);
}

bool machineFailedMeanwhile(const std::string& path) {
  if (!exists(path, lockFile(path))) return false;
  const File lock(path, lockFile(path), O_RDONLY, 0, "a writer.lock that this user may read");
  const std::string mark = contents(lock.number());
  const std::string start = startOfMachine();
  return !mark.empty() && !start.empty() && mark != start;
}

void markIs(const File& lock) {
  markDel(lock);
  write(lock, octetsOf(startOfMachine()));
  if (::fsync(lock.number()) != 0) fail(lock.path(), "cannot write " + lock.name(), errno, "a sound disk");
}

// One that stays is no harm: the next writer takes it away, or makes the store anew.
void markDel(const File& lock) noexcept {
  if (::ftruncate(lock.number(), 0) != 0) return;
}

File openReaders(const std::string& path, const std::string& file, bool writing, mode_t mode) {
  if (!writing && !exists(path, file)) {
    throw StoreFormatException(problem(path, "it has no " + file, "a store whose writer has opened it since"));
  }
  File readers(path, file, O_RDWR | (writing ? O_CREAT : 0), mode, "a data.mdb-lock that this user may write");
  takeReadersRoom(readers);
  return readers;
}

// Where the file system cannot, nothing better is to be had.
void takeReadersRoom(const File& readers) {
  const std::size_t is = readers.octets();
  const auto octets = static_cast<off_t>(is == 0 ? readersOctets : is);
  if (TEMP_FAILURE_RETRY(::fallocate(readers.number(), 0, 0, octets)) == 0 || errno == EOPNOTSUPP) return;
  fail(readers.path(), "cannot take room for " + readers.name(), errno, "room on the disk for 64 KiB");
}

void filesDel(const std::string& path) {
  // In this order a store that is half gone is one that was not finished.
  for (const std::string& file : {dataFile(path), readersFile(dataFile(path)), stampFile(path)}) {
    if (::unlink(file.c_str()) != 0 && errno != ENOENT) fail(path, "cannot remove " + file, errno, "to make it anew");
  }
}

File lockWriter(const std::string& path, mode_t mode) {
  File lock(path, lockFile(path), O_RDWR | O_CREAT, mode, "a directory that this user may write");
  if (::flock(lock.number(), LOCK_EX | LOCK_NB) == 0) return lock;
  if (errno != EWOULDBLOCK) fail(path, "cannot lock " + lock.name(), errno, "a file system with locks");
  throw StoreBusyException(problem(path, "another writer has it open: " + message(errno), "one writer at a time"));
}

bool storeExists(const std::string& path) {
  if (!exists(path, dataFile(path))) {
    requireNothingElse(path);
    return false;
  }
  if (exists(path, stampFile(path))) return true;
  throw StoreFormatException(problem(path, "not a store: it has no stamp", "a store or an empty directory"));
}

std::uint64_t readStamp(const std::string& path) {
  const File file(path, stampFile(path), O_RDONLY, 0, "a stamp that this user may read");
  const Stamp ours;
  Stamp stamp;
  if (file.octets() == 0) failFormat(file, " is empty", "a stamp");
  if (!file.read(&stamp, sizeof stamp, 0)) {
    failFormat(file, " is cut short", std::to_string(sizeof stamp) + " octets");
  }
  if (stamp.magic != ours.magic) failFormat(file, " is not a store's stamp", "the stamp of a store");
  requireSame(path, "octet order", stamp.octetOrder, ours.octetOrder);
  requireSame(path, "layout version", stamp.version, ours.version);
  requireSame(path, "word size", stamp.wordOctets, ours.wordOctets);
  return stamp.identity;
}

void writeStamp(const std::string& path, std::uint64_t identity, const Options& options) {
  const std::string unfinished = stampFile(path) + ".new";
  Stamp stamp;
  stamp.identity = identity;
  write(File(path, unfinished, O_WRONLY | O_CREAT | O_TRUNC, options.mode, "a directory that this user may write"),
        octetsOf(stamp));
  rename(path, unfinished, stampFile(path), options);
  sync(path, path + "/..", options);  // where the directory itself may be new
}

void rename(const std::string& path, const std::string& from, const std::string& to, const Options& options) {
  sync(path, from, options);
  if (::rename(from.c_str(), to.c_str()) != 0) fail(path, "cannot rename " + from, errno, "a sound disk");
  sync(path, path, options);
}

void checkData(const std::string& path) {
  const File data(path, dataFile(path), O_RDONLY, 0, "a data.mdb that this user may read");
  if (data.octets() == 0) failFormat(data, " has size 0", wholeFile);
  const Meta first = readMeta(data, 0);
  const std::uint32_t pageOctets = first.trees[0].pageOctets;
  if (!std::has_single_bit(pageOctets) || pageOctets < leastPage || pageOctets > largestPage) {
    failFormat(data, " has pages of " + std::to_string(pageOctets) + " octets", "a power of two from 512 to 32768");
  }
  const Meta second = readMeta(data, pageOctets);
  requireSound(data, first, pageOctets);
  requireSound(data, second, pageOctets);
  requireInTheirPlaces(data, first, second);
  const std::uint64_t counted = (std::min(first.lastPage, second.lastPage) + 1) * pageOctets;
  const std::size_t octets = data.octets();
  if (octets >= counted) return;
  failFormat(data, " is cut short: " + std::to_string(octets) + " octets of " + std::to_string(counted), wholeFile);
}

}  // namespace Routing::Store::detail
