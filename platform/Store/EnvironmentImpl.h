// Environment: the engine's hold on one store, one for each store and process, shared by the managers and views there.
//
// The engine must not open one file twice in a process: closing the second would drop the process's place in the table
// of readers for the first. So open environments are registered by file, and closing one and opening the next exclude
// each other.
//
// The engine maps the file once. When it grows, the mapping moves, also under other managers of this process, and with
// it every address in it. So the octets that views hand out lie in a mapping of our own (Mapping), which each view
// keeps until it is refreshed; the engine's is used under a lock that excludes its moving, and only to learn where in
// the file an entry lies.
//
//   moving_   shared: whatever uses the engine; exclusive: moving the engine's mapping. Never held while a visitor of
//             the user's runs. Between processes nothing is locked: they notice a grown file by the page numbers in it.
#pragma once

#include <lmdb.h>
#include <sys/types.h>

#include <memory>
#include <optional>
#include <shared_mutex>
#include <string>
#include <utility>
#include <vector>

#include "Store/FilesImpl.h"
#include "Store/LayoutImpl.h"
#include "Store/PageCheckImpl.h"
#include "Store/StoreManager.h"

namespace Routing::Store::detail {

// All of the engine's file, for reading.
class Mapping {
 public:
  // Throws std::system_error.
  Mapping(int file, std::size_t octets);
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;
  ~Mapping();

  std::size_t size() const noexcept { return octets_; }
  Octets octets() const noexcept { return {base_, octets_}; }
  // The same octets as those of an entry in the engine's mapping; nothing if they are not in the file.
  std::optional<Octets> located(const MDB_val& value, std::size_t pageOctets) const;

 private:
  const std::uint8_t* base_;
  std::size_t octets_;
};

class Environment {
 public:
  // That of this process, or a new one; for reading without options. The store's files have been looked at before.
  static std::shared_ptr<Environment> open(const std::string& path, const Options* options);
  // A new store's file, with just its header.
  static void made(const std::string& path, const Header& header, const Options& options);

  Environment(std::string path, const std::string& file, unsigned flags, mode_t mode, std::size_t mapOctets);
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  ~Environment();

  const std::string& path() const noexcept { return path_; }
  // Throws unless the store's file is still the one that was opened, whole, and the process the one that opened it.
  void fileChecked() const;
  // False in a child of fork(), which must leave alone what it shares with its parent.
  bool ownProcess() const noexcept;
  std::uint64_t newestCommit() const;
  // Waits until all commits are on the disk; false when they are not, or in a child of fork().
  bool synced() const noexcept;
  // Gives up the places of dead readers.
  void readersChecked() const;
  // All of them, or none and an exception. The file grows as need be.
  void changesMade(const Changes& changes);

 private:
  friend class Snapshot;
  int transaction(const Changes& changes);
  int written(MDB_txn* transaction, const Changes& changes) const;
  void treeOpened();
  // As large as the file says, after another process made it grow.
  void sizeTakenOver();
  void grown(std::size_t octetsNeeded);
  void mapped(std::size_t octets);
  void usable() const;
  // Renews the transaction if there is one; looks once for places of dead readers.
  int readingBegun(MDB_txn*& transaction) const;
  [[noreturn]] void failed(const char* what, int code) const;
  [[noreturn]] void readingFailed(const char* what, int code) const;
  bool looksFull() const;
  std::size_t mappedOctets() const;
  // The process goes on to write through this environment.
  void writingIs(const Options& options);

  const std::string path_;
  const pid_t process_;
  const bool writable_;
  const std::string readersFile_;
  const Descriptor readers_;
  bool broken_ = false;  // the engine lost its mapping
  MDB_env* engine_ = nullptr;
  MDB_dbi tree_ = 0;
  std::size_t pageOctets_ = 0;
  int file_ = -1;  // the engine's
  mutable std::shared_mutex moving_;
  std::shared_ptr<const Mapping> mapping_;
};

// What a ReadView does.
class Snapshot {
 public:
  explicit Snapshot(std::shared_ptr<Environment> environment);
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;
  ~Snapshot();

  const Environment& environment() const noexcept { return *environment_; }
  std::uint64_t commit() const noexcept { return commit_; }
  bool refresh();
  void end() noexcept;
  // Walks all pages of the commit, or of a newer one that the view then shows. Throws StoreFormatException.
  void pagesChecked();

  std::optional<Octets> entry(const std::string& key) const;
  // The number of the last record, 0 without any.
  std::uint64_t lastNumber() const;
  // All that is stored of the record that a reference names.
  Octets checked(Reference reference) const;
  Record translate(Reference reference) const;
  Record recordOf(Reference reference, Octets stored) const;
  // Entries whose keys begin with `prefix`, in order.
  void forEach(const std::string& prefix, const std::function<void(Octets key, Octets value)>& visit) const;

 private:
  using Entries = std::vector<std::pair<Octets, Octets>>;
  void begin();
  int begun();
  void requireLive() const;
  Octets located(const MDB_val& value) const;
  std::optional<Meta> meta() const;
  Entries entriesFrom(std::string_view from, std::string_view prefix) const;
  void requireAscending(const Entries& entries, std::string_view from) const;
  int collected(MDB_cursor* cursor, std::string_view from, std::string_view prefix, Entries& entries) const;

  std::shared_ptr<Environment> environment_;
  std::shared_ptr<const Mapping> mapping_;
  MDB_txn* transaction_ = nullptr;
  bool live_ = false;
  mutable unsigned loops_ = 0;
  std::uint64_t commit_ = 0;
};

}  // namespace Routing::Store::detail
