// StashedPaths: what the paths of a store show, keys and lists in one pass, and what becomes of them.
//
//   StashedPaths paths(*storeForReading, tables);                           // or those whose keys begin with a prefix
//   paths.forEach({.path = [](std::string_view key, const PathLists& lists) { ... }});
//   for (;;) {                                                              // and what changes from now on
//     paths.forEachChange({.path = ..., .gone = [](std::string_view key) { ... }});
//     ... wait ...
//     store->refresh();
//   }
//
// A list is read, and interned in the reader's own tables, when a path that refers to it is met first; the other paths
// are given that object.
//
// What it costs: a step to each key and a look-up for each of its lists, where forEachChange is content with the key for
// what has not changed; nothing at all when the view is the same. That remembers each path, about 100 octets and its key
// if that has more than 15, and keeps the lists of them, and up to as many that
// were theirs before.
//
// Ownership: the store and the tables must outlive it. It keeps lists (above); visitors may keep them, too.
// Threads: one at a time, the one that uses the store; the tables as ever.
// Errors: those of the store's view, and what a visitor throws. What forEachChange visited by then counts as visited: the
// next call goes on from there.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "VelBgp/Forward.h"
#include "VelBgp/PathLists.h"

namespace Routing::Bgp {

class VELBGP_EXPORT StashedPaths {
 public:
  // Called in the order of the keys. What is not given is not called.
  struct Visitor {
    std::function<void(std::string_view key, const PathLists& lists)> path;
    std::function<void(std::string_view key)> gone;
    // Instead of `path`, where the path or a list of it is damaged.
    std::function<void(std::string_view key, const char* problem)> damaged;
  };

  StashedPaths(Store::StoreManager& store, const CommunityTables& tables, std::string prefix = {});
  StashedPaths(const StashedPaths&) = delete;
  StashedPaths& operator=(const StashedPaths&) = delete;
  ~StashedPaths();

  // All paths of the store's current view.
  void forEach(const Visitor& visitor);
  // Those that are not as they were in the view that was shown when this was called last: all of them the first time.
  // A path that changed to the lists that it had already, or that came and went in between, is not among them.
  void forEachChange(const Visitor& visitor);

 private:
  class State;
  const std::unique_ptr<State> state_;
};

}  // namespace Routing::Bgp
