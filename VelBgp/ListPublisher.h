// Makes the interned lists of an agent readable for other processes, through a store that this agent writes.
//
//   ListPublisher   the writing side: mirrors tables of lists into a store, and paths under keys of the caller's
//   PathLists       the lists of one path (VelBgp/PathLists.h)
//   StashedPath     the reading side: references to them
//
//   agent    ListPublisher publisher(*storeForWriting);
//            publisher.listTableIs(extCommListTable);                  // also one that is in use
//            publisher.pathIs("10.0.0.0/8 from 192.0.2.1", {.extended = list});
//   reader   if (const auto path = stashedPath(*storeForReading, "10.0.0.0/8 from 192.0.2.1")) {
//              const auto list = ExtCommList::destash(&path->extended, storeForReading.get());
//
// What is published. One commit shows the attached tables and the paths as they were at one moment: each interned list
// once, each community of theirs once, and for each path the references to its lists. When more than 2,048 of at least
// 49,152 paths changed since the last one, that takes several commits, which a reader can see one by one: first the
// lists that came, then the paths in the order of their keys, each as it was or as it is now, then the lists that went
// are gone. A store belongs to one publisher: its first commit drops all that an earlier one left there, so whoever wants
// that (a restarted agent) reads it before.
//
// What it costs. A list that comes or goes is noted in memory, on the thread that interns or releases it, under a mutex
// that is never held while anything is written. A thread of the publisher's takes the notes every `interval` and
// commits them; what comes and goes between two commits leaves no trace. Failures (a full disk) are kept in problem(),
// and all that is not written yet is tried again at the next interval; interning goes on. Memory: about 100 octets for
// each published list and for each distinct community of extended lists, as much again for each that came or went since
// the last commit; about 45 and the key for each path, and 32 for each that changed. The engine keeps the pages that its
// largest commit changed: 4 KiB for each change at most, 8 MiB in all for paths, but for those that lose their lists
// when a table goes, which is one commit. Attaching a table in use notes all
// lists that are there, and the paths that have lists of it, on the thread that attaches; nothing is committed till that
// is done. Threads that intern meanwhile wait for the note of one list, or for those of a 256th of the paths.
//
// Ownership: a path that is published holds its lists, so that what it names is there; they are released by pathIs and
// pathDel, and by the destructor. The store must outlive the publisher and is used by nobody else meanwhile. Tables may
// outlive it, and are detached by its destructor; none is destroyed meanwhile, nor while it is attached or detached.
// Threads: any thread for what interns and releases; the operations below on the threads that may release lists.
// Errors: assertions as stated; std::bad_alloc, from interning too, with nothing noted; std::system_error from the
// constructor when there is no thread to be had.
#pragma once

#include <memory>
#include <mutex>  // durations, without what <chrono> brings with them: calendars, time zones and streams

#include "Store/StoreManager.h"
#include "VelBgp/Forward.h"
#include "VelBgp/PathLists.h"
#include "VelBgp/VelBgpCommunityList.h"

namespace Routing::Bgp {

class VELBGP_EXPORT ListPublisher {
 public:
  // How a publisher works.
  struct Options {
    // How long changes wait to be committed together: from one millisecond to a day, other values are taken for the
    // nearer.
    std::chrono::milliseconds interval{100};
  };

  explicit ListPublisher(Store::StoreManager& store) : ListPublisher(store, Options()) {}
  ListPublisher(Store::StoreManager& store, Options options);
  // Publishes what is noted, if it can, and detaches the tables.
  ~ListPublisher();
  ListPublisher(const ListPublisher&) = delete;
  ListPublisher& operator=(const ListPublisher&) = delete;

  // Publishes the lists of a table: those that are there first, then what comes and goes, while other threads intern
  // and release too. Asserts that no other table of its attribute is there. A table that is destroyed, detached, or given
  // another notifiee (that of another publisher) takes its lists out of the store, also out of paths; when it is attached
  // again, they are back there. Another may follow it. When it throws, the table is not attached.
  void listTableIs(const ExtCommListDedupTable* table);
  void listTableIs(const ExtCommIp6ListDedupTable* table);
  void listTableIs(const LargeCommListDedupTable* table);
  void listTableIs(const CommListDedupTable* table);
  // All four of them.
  void tablesAre(const CommunityTables& tables);
  // Detaches a table, at any time. Asserts that it is attached.
  void listTableDel(const ExtCommListDedupTable* table);
  void listTableDel(const ExtCommIp6ListDedupTable* table);
  void listTableDel(const LargeCommListDedupTable* table);
  void listTableDel(const CommListDedupTable* table);

  // Publishes a path under a key of up to 255 octets, in place of what was there, also one without any list. Asserts
  // that its lists are in attached tables; they may have been there before. Throws std::length_error for a longer key.
  void pathIs(std::string_view key, PathLists lists);
  // Whether there was one.
  bool pathDel(std::string_view key);

  // Waits until all that was noted before is committed. Throws Store::StoreException when it cannot be; it is tried
  // again at the next interval all the same.
  void flush();
  // Why the last attempt to commit failed; empty when it did not.
  std::string problem() const;

 private:
  class State;

  template <typename Table>
  void tableComes(const Table* table);
  template <typename Table>
  void tableGoes(const Table* table);

  std::shared_ptr<State> state_;
};

// A null reference where the path has no list of an attribute; destashing that gives null.
struct StashedPath {
  Store::Reference extended;
  Store::Reference extendedIp6;
  Store::Reference large;
  Store::Reference standard;
};

// What a store's current view shows. Nothing when there is no such path. Throws the store's exceptions.
VELBGP_EXPORT std::optional<StashedPath> stashedPath(const Store::StoreManager& store, std::string_view key);
// Ascending by key, those whose keys begin with `prefix`; the others are not read. A path that is damaged is passed over
// and told; without `damaged`, Store::DamagedRecordException comes at the end. StashedPaths (VelBgp/StashedPaths.h)
// gives the lists, too.
VELBGP_EXPORT void forEachStashedPath(const Store::StoreManager& store,
                                      const std::function<void(std::string_view key, const StashedPath& path)>& visit,
                                      const std::function<void(std::string_view key)>& damaged = {},
                                      std::string_view prefix = {});

}  // namespace Routing::Bgp
