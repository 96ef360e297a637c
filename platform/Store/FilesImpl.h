// The files of a store beside what the engine does with them: directory, lock, stamp, and a look at the engine's file
// before the engine sees it. LayoutImpl.h draws them.
#pragma once

#include <cstdint>
#include <string>

#include "Store/StoreManager.h"

namespace Routing::Store::detail {

// The places for readers of the engine, and the size of its table, 64 octets each and two before. A table of another
// size would only leave other places.
inline constexpr unsigned maxReaders = 1024;
inline constexpr std::size_t readersOctets = 64 * (maxReaders + 2);

class Descriptor {
 public:
  explicit Descriptor(int number = -1) noexcept : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(other.number_) { other.number_ = -1; }
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor();
  int number() const noexcept { return number_; }

 private:
  int number_;
};

// "store PATH: WHAT; expected EXPECTED", WHAT with its reason.
std::string problem(const std::string& path, const std::string& what, const std::string& expected);
// Throws the exception that suits errno or the engine's code `code`, whose message it quotes.
[[noreturn]] void fail(const std::string& path, const std::string& what, int code, const std::string& expected);

std::string dataFile(const std::string& path);
std::string readersFile(const std::string& data);
std::string stampFile(const std::string& path);

void requireDirectory(const std::string& path);
// Makes the directory if there is none.
void directoryMade(const std::string& path, mode_t mode);
// The lock is held until the descriptor is closed.
Descriptor writerLocked(const std::string& path, mode_t mode);

// The writer's lock file says which start of the machine a writer that does not wait for the disk began in, until that
// writer has closed the store. A mark of another start: nobody knows what reached the disk.
bool machineFailedMeanwhile(const std::string& path);
void markIs(const std::string& path, const Descriptor& lock);
void markDel(const Descriptor& lock) noexcept;
// Drops the files of a store, all but the lock.
void filesDel(const std::string& path);

// True when the store is all there, false when there is none or a half-made one; throws when there is something else.
bool storeThere(const std::string& path);
// The identity that the stamp names.
std::uint64_t stampRead(const std::string& path);
void stampWritten(const std::string& path, std::uint64_t identity, const Options& options);
// A finished file takes its name.
void renamed(const std::string& path, const std::string& from, const std::string& to, const Options& options);

// The engine's table of readers, which it opens by itself: looked at before, as the engine would make it for a reader,
// owned by that one, and would go on without it where it may not be written. All its room is taken on the disk, as the
// engine maps it and a page without room ends the process. To be kept open as long as the engine has it: closing any
// descriptor of a file drops the process's locks on it, and the engine's tell who is alive.
Descriptor readersOpened(const std::string& path, const std::string& file, bool writing, mode_t mode);
void readersRoomTaken(const std::string& path, const std::string& file, const Descriptor& readers);
// Whether the name is still that of the open file.
bool named(const Descriptor& descriptor, const std::string& file);

// The map size that the engine's file names, after a look at whether it is one and all there.
std::size_t dataChecked(const std::string& path);

}  // namespace Routing::Store::detail
