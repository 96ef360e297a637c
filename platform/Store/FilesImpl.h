// The files of a store beside what the engine does with them: directory, lock, stamp, and a look at the engine's file
// before the engine sees it. LayoutImpl.h draws them.
#pragma once

#include "Store/StoreManager.h"

namespace Routing::Store::detail {

// The places for readers of the engine, and the size of its table, 64 octets each and two before. A table of another
// size would only leave other places.
inline constexpr unsigned maxReaders = 1024;
inline constexpr std::size_t readersOctets = 64 * (maxReaders + 2);

// An open file of the store at `path`. What it does throws; the texts name the path.
class File {
 public:
  File(const std::string& path, std::string name, int flags, mode_t mode, const char* expected);
  File(File&& other) noexcept;
  ~File();

  const std::string& path() const noexcept { return path_; }
  const std::string& name() const noexcept { return name_; }
  int number() const noexcept { return number_; }
  std::size_t octets() const;
  // False when the file ends before that.
  bool read(void* to, std::size_t octets, std::size_t from) const;
  // Whether the name is still that of this file.
  bool isNamed() const;

 private:
  std::string path_;
  std::string name_;
  int number_;
};

// "store PATH: WHAT; expected EXPECTED", WHAT with its reason.
std::string problem(const std::string& path, const std::string& what, const std::string& expected);
// Whether errno or the engine's code says that there is no room, on the disk or in the map.
bool isNoRoom(int code);
// Throws the exception that suits errno or the engine's code `code`, whose message it quotes.
[[noreturn]] void fail(const std::string& path, const std::string& what, int code, const std::string& expected);

std::string dataFile(const std::string& path);
std::string readersFile(const std::string& data);

void requireDirectory(const std::string& path);
// Unless there is one.
void makeDirectory(const std::string& path, mode_t mode);
// The lock is held until the file is closed.
File lockWriter(const std::string& path, mode_t mode);

// The writer's lock file says which start of the machine a writer that does not wait for the disk began in, until that
// writer has closed the store. A mark of another start: nobody knows what reached the disk.
bool machineFailedMeanwhile(const std::string& path);
void markIs(const File& lock);
void markDel(const File& lock) noexcept;
// Drops the files of a store, all but the lock.
void filesDel(const std::string& path);

// True when the store is all there, false when there is none or a half-made one; throws when there is something else.
bool storeExists(const std::string& path);
// The identity that the stamp names.
std::uint64_t readStamp(const std::string& path);
void writeStamp(const std::string& path, std::uint64_t identity, const Options& options);
// A finished file takes its name.
void rename(const std::string& path, const std::string& from, const std::string& to, const Options& options);

// The engine's table of readers, which it opens by itself: looked at before, as the engine would make it for a reader,
// owned by that one, and would go on without it where it may not be written. All its room is taken on the disk, as the
// engine maps it and a page without room ends the process. To be kept open as long as the engine has it: closing any
// descriptor of a file drops the process's locks on it, and the engine's tell who is alive.
File openReaders(const std::string& path, const std::string& file, bool writing, mode_t mode);
void takeReadersRoom(const File& readers);

// Whether the engine's file is one, and as long as its commits before the last one count.
void checkData(const std::string& path);

}  // namespace Routing::Store::detail
