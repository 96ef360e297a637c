// The files of a store beside what the engine does with them: directory, lock, stamp, and a look at the engine's file
// before the engine sees it. LayoutImpl.h draws them.
#pragma once

#include <cstdint>
#include <string>

#include "Store/StoreManager.h"

namespace Store::detail {

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

// The map size that the engine's file names, after a look at whether it is one and all there.
std::size_t dataChecked(const std::string& path);

}  // namespace Store::detail
