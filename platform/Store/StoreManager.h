// StoreManager: a store on disk that one process writes and any number of processes read, each at its own pace.
//
// A store is a directory; it holds records and keys (Store/Record.h). The writer changes it in batches
// (Store/WriteBatch.h), a reader sees one commit at a time (Store/ReadView.h). Nobody waits for anybody, unless a
// reader stays far behind (Room): readers take no lock to read, and a commit leaves alone what any view still shows.
//
//   Writing   const auto store = StoreManager::openForWriting("/run/bgp/store");
//             WriteBatch batch(*store);  const Reference list = batch.recordIs(1, octets);  batch.commit();
//   Reading   const auto store = StoreManager::openForReading("/run/bgp/store");
//             const Record record = store->translate(list);
//             if (store->newestCommit() != store->commits()) store->refresh();   // the writer went on
//
// The manager of a reader holds one current view, moved on by refresh(); that of the writer holds one that moves on
// with each commit of its own. What they translate is valid until then.
//
// One writer: the second is refused when it opens (StoreBusyException). The kernel lets go of the lock when the process
// dies in any way, and the children that it forked, as long as they have not called exec(), have died too. Within
// one process several managers may have one store open and share what the engine needs; only, who writes must open
// first, for a process that began by reading cannot write.
//
// Durability: with Durability::processCrash a commit survives any death of the writer, kill -9 included, as soon as
// commit() has returned; with systemCrash it survives a failure of the machine too, at the price of waiting for the
// disk at each commit. When the machine fails while a store of processCrash is open for writing, its pages may have
// reached the disk in any order: readers refuse it after the next start, and the next writer makes it anew. So they do
// after an orderly restart too if the writer had been killed, as nobody can tell the two apart. Where the machine does
// not name its starts (no /proc), such a store is accepted. Closing one waits for the disk.
//
// Room: the file grows as it is written; it never shrinks. What a commit frees is used again from the commit after the
// next one on, as far as no view shows it. A view that stays behind ends when it is used again (Store/ReadView.h);
// where one is not used, commit() throws StoreBusyException once the writer is mostCommitsAhead of it, names the
// process, and goes on when that moved or died. oldestView() tells who it is before. Each process maps the file once,
// over addresses reserved for as large as it may become (mapOctets), so that what a view shows never moves. Reserved
// addresses are no memory: resident is what is read. Where they are limited (`ulimit -v`), a half, a quarter... is
// reserved, so that as much stays free. A writer whose map is full gets StoreFullException. A reader whose map the
// store has outgrown gets StoreException from refresh(); it can open the store again, once all its managers and views
// of it are gone. Maps of different sizes may be used side by side.
//
// Rights: a reader must be able to read the directory and all its files, `writer.lock` too, and to write
// `data.mdb-lock`, where it notes which commit it reads. So readers are trusted not to harm that file; without it, or
// where it may not be written, as in a read-only mount, they are refused. Local file systems only. Containers: the
// processes of a store must share a pid namespace, as who reads is noted by pid, and two with one pid cannot be told
// apart.
//
// What damage can do: files that are missing, cut short, of something else or of another build are refused when opening
// and, as far as one look at the file shows it, at each refresh() and newestCommit(). A changed octet of a record or
// value is found by its checksum when it is read. The engine's own pages have no checksums; opening walks all of them,
// in time linear in what the store holds, and refuses what contradicts itself (StoreFormatException). PageCheck::off
// leaves that out. Not caught: a file that is cut short between two such looks or, with PageCheck::off, by no more than
// the last commit added to it (the process gets SIGBUS); damage of the engine's pages done after opening or with
// PageCheck::off, where reading may fail with StoreException, miss entries, or be stopped by an assertion of the engine
// or a signal; and damage that contradicts nothing, such as a key that became another, by which an entry is missing
// without a word. Nobody writes there but the engine; damage comes only from other programs or a failing disk.
//
// Ownership: the caller owns the manager; views may outlive it, batches must not.
// Threads: a manager and its batch are used by one thread at a time; different managers from different threads, also
// those of one store. fork(): not supported. In a child, the parent's managers may only be destroyed; commit(),
// refresh() and newestCommit() throw.
// Errors: StoreException and its family (Store/StoreException.h).
#pragma once

#include <sys/types.h>

#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "Store/ReadView.h"

namespace Routing::Store {

namespace detail {
class Changes;
struct Numbers;
struct Writer;
}  // namespace detail

// What the last commit outlives: the writer's end in any way, or that of the machine too (above).
enum class Durability { processCrash, systemCrash };
// Whether opening walks the engine's pages (above).
enum class PageCheck { on, off };

// How large a store may become, in octets of addresses: unless told otherwise, and at least.
inline constexpr std::size_t defaultMapOctets = std::size_t{64} << 30;
inline constexpr std::size_t leastMapOctets = std::size_t{64} << 20;

struct Options {
  Durability durability = Durability::processCrash;
  // How many addresses this process reserves for the store's file, 64 MiB at least: the most that it can grow to. Counts
  // only while no other manager or view of the process has the store open; a file that is larger already is mapped as
  // it is.
  std::size_t mapOctets = defaultMapOctets;
  // How far the writer may get ahead of the oldest view, give or take 64 commits; 0: as far as there is room. What
  // commits free under an old view, the writer cannot use as long as that stays.
  std::uint64_t mostCommitsAhead = 2 * mostCommitsBehind;
  // Rights of the files when a store is made, less the umask; of the directory too, with search where there is read.
  mode_t mode = 0660;
  PageCheck pageCheck = PageCheck::on;
};

class VELBGP_EXPORT StoreManager {
 public:
  // Makes the store if the directory is absent, in a parent that exists, or empty, or if the machine failed (above).
  // Opening makes a commit of its own.
  static std::unique_ptr<StoreManager> openForWriting(const std::string& path, const Options& options = {});
  static std::unique_ptr<StoreManager> openForReading(const std::string& path, PageCheck pageCheck = PageCheck::on,
                                                      std::size_t mapOctets = defaultMapOctets);
  StoreManager(const StoreManager&) = delete;
  StoreManager& operator=(const StoreManager&) = delete;
  ~StoreManager();

  // Absolute.
  const std::string& path() const noexcept;
  bool writable() const noexcept { return writer_ != nullptr; }
  // 64 random bits, drawn when the store was made.
  std::uint64_t identity() const noexcept { return identity_; }

  // The current view, and its operations.
  const ReadView& view() const noexcept { return view_; }
  std::uint64_t commits() const noexcept { return view_.commits(); }
  bool refresh() { return view_.refresh(); }
  Record translate(Reference reference) const { return view_.translate(reference); }
  Record translate(const void* stashed) const { return view_.translate(stashed); }
  std::optional<Octets> key(std::uint32_t space, Octets key) const { return view_.key(space, key); }

  // The number of the store's newest commit, without moving the view on: two system calls, no lock.
  std::uint64_t newestCommit() const;
  // Who shows the oldest commit, this process counted; nothing when nobody reads. The writer can tell by it who is in
  // its way.
  std::optional<OldestView> oldestView() const;
  // Another view, of the newest commit, independent of the manager's.
  ReadView readView() const { return ReadView(environment_); }

  // What upper layers hang on the manager: one object of each type T, theirs to keep and to take away (nullptr) before
  // it goes. service() is null when there is none.
  template <typename T>
  void serviceIs(const T* service) {
    anyServiceIs(typeid(T), service);
  }
  template <typename T>
  const T* service() const noexcept {
    return static_cast<const T*>(anyService(typeid(T)));
  }

 private:
  friend class WriteBatch;
  StoreManager(std::shared_ptr<detail::Environment> environment, std::uint64_t stampedIdentity, PageCheck pageCheck,
               std::unique_ptr<detail::Writer> writer);
  void anyServiceIs(const std::type_info& type, const void* service);
  const void* anyService(const std::type_info& type) const noexcept;
  void reserveAnchors();
  void requireNotTooFarAhead();
  void commit(detail::Changes& changes);

  std::vector<std::pair<const std::type_info*, const void*>> services_;  // one or two
  std::unique_ptr<detail::Writer> writer_;                               // null in a reader
  std::shared_ptr<detail::Environment> environment_;
  ReadView view_;
  std::uint64_t identity_ = 0;
};

}  // namespace Routing::Store
