// Environment: the engine's hold on one store, one for each store and process, shared by the managers and views there.
//
// The engine must not open one file twice in a process: closing the second would drop the process's place in the table
// of readers for the first. So open environments are registered by file, and closing one and opening the next exclude
// each other. It maps the file once, for reading only, over more addresses than the file has octets (StoreManager.h).
#pragma once

#include <lmdb.h>

#include <atomic>

#include "Store/ChangesImpl.h"
#include "Store/FilesImpl.h"

namespace Routing::Store::detail {

class Environment {
 public:
  // That of this process, or a new one, which looks at the store's files first.
  static std::shared_ptr<Environment> open(const std::string& path, const Options& options, bool writing);
  // A new store's file.
  static void make(const std::string& path, Changes& first, const Options& options);

  Environment(std::string path, const std::string& file, const Options& options, bool writing);

  const std::string& path() const noexcept { return path_; }
  // The file's size. Throws unless it is still the one that was opened, and as long as ever, and the process the one
  // that opened it.
  std::size_t checkFile() const;
  // False in a child of fork(), which must leave alone what it shares with its parent.
  bool ownProcess() const noexcept;
  std::uint64_t newestCommit() const;
  // Waits until all commits are on the disk; false when they are not, or in a child of fork().
  bool sync() const noexcept;
  // The reader of the oldest commit that is being read, in this process too.
  std::optional<OldestView> oldestView() const;
  // Gives up the places of dead readers.
  void checkReaders() const;
  // All of them, or none and an exception.
  void commit(Changes& changes) const;

 private:
  friend class Snapshot;
  struct EngineCloser {
    void operator()(MDB_env* engine) const { ::mdb_env_close(engine); }
  };

  void openTree();
  // The process goes on to write through this environment.
  void writingIs(const Options& options);
  // Renews the transaction if there is one; looks once for places of dead readers.
  int beginReading(MDB_txn*& transaction) const;
  int lengthen() const;
  int write(const Changes& changes) const;
  int write(MDB_txn* transaction, const Changes& changes) const;
  bool looksFull() const;
  MDB_envinfo info() const;
  [[noreturn]] void failReading(const char* what, int code) const;
  [[noreturn]] void failWriting(int code) const;

  const std::string path_;
  const pid_t process_;
  const bool writable_;
  const File readers_;
  std::unique_ptr<MDB_env, EngineCloser> engine_;
  MDB_dbi tree_ = 0;
  std::size_t pageOctets_ = 0;
  int file_ = -1;                                // the engine's
  mutable std::atomic<std::size_t> longest_{0};  // that the file was seen
};

// What a ReadView does.
class Snapshot {
 public:
  explicit Snapshot(std::shared_ptr<Environment> environment);
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;
  ~Snapshot();

  std::uint64_t commit() const noexcept { return commit_; }
  bool live() const noexcept { return live_; }
  // When it throws, what was shown has ended.
  bool refresh();
  // Walks all pages of the commit, or of a newer one that the view then shows. Throws StoreFormatException.
  void checkPages();

  std::optional<Octets> entry(std::string_view key) const;
  // The number of the last record, 0 without any.
  std::uint64_t lastNumber() const;
  // All that is stored of the record that a reference names.
  Octets find(Reference reference) const;
  Record recordOf(Reference reference, Octets stored) const;
  // Entries whose keys begin with `prefix`, in order.
  void forEach(std::string_view prefix, const std::function<void(Octets key, Octets value)>& visit) const;
  [[noreturn]] void failDamaged(const std::string& what) const;

 private:
  class Cursor;
  void begin();
  // Ends a view that is too old.
  void requireLive() const;
  bool isFound(int code) const;
  std::optional<std::string> damage() const;

  std::shared_ptr<Environment> environment_;
  MDB_txn* transaction_ = nullptr;
  mutable bool live_ = false;
  mutable bool tooOld_ = false;  // which is why it does not live
  mutable unsigned loops_ = 0;
  std::uint64_t commit_ = 0;
};

}  // namespace Routing::Store::detail
