// What the tests of published lists share: an agent that publishes, what a store shows, and a random script with its
// model of that.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "Store/Stores.h"
#include "VelBgp/ListPublisher.h"
#include "VelBgp/WordLists.h"

namespace Routing::Bgp::test {

// With one word more, which tells whether the others are all there; none for an empty list. The others are below it.
inline std::uint32_t checksum(const Words& words, std::size_t count) {
  std::uint32_t sum = 0x811c9dc5;
  for (std::size_t i = 0; i < count; ++i) sum = (sum ^ words[i]) * 0x01000193;
  return sum | 0x80000000;
}
inline Words checked(Words words) {
  std::sort(words.begin(), words.end());
  words.erase(std::unique(words.begin(), words.end()), words.end());
  if (!words.empty()) words.push_back(checksum(words, words.size()));
  return words;
}
inline bool whole(const Words& words) { return words.empty() || words.back() == checksum(words, words.size() - 1); }

struct Contents {
  using Path = std::array<std::optional<Words>, 4>;

  // Once, with its communities once.
  void listIs(std::size_t kind, const Words& words) {
    if (lists[kind].contains(words)) return;
    lists[kind].insert(words);
    if (kind >= comms.size()) return;
    for (const std::uint32_t word : words) {
      if (!comms[kind].contains(word)) comms[kind].insert(word);
    }
  }

  std::array<std::multiset<Words>, 4> lists;  // by the kinds' index
  std::array<std::multiset<std::uint32_t>, 2> comms;
  std::map<std::string, Path> paths;
};

// Every record and path.
inline Contents contentsOf(Store::StoreManager& store) {
  Contents shown;
  store.view().forEachRecord([&](Store::Reference reference, Store::Record record) {
    const Stashed type{record.type};
    forEachKind([&]<typename Kind>(Kind) {
      if (type == Kind::record)
        shown.lists[Kind::index].insert(wordsOf<Kind>(*Kind::List::destash(&reference, &store)));
      if constexpr (hasCommunities<Kind>) {
        if (type != Kind::commRecord) return;
        shown.comms[Kind::index].insert(
            wordOf<Kind>(Kind::valueOf(Kind::Community::destash(&reference, &store).get())));
      }
    });
  });
  forEachStashedPath(store, [&](std::string_view key, const StashedPath& stashed) {
    Contents::Path& path = shown.paths[std::string(key)];
    forEachKind([&]<typename Kind>(Kind) {
      const auto list = Kind::List::destash(&(stashed.*Kind::stashed), &store);
      if (list != nullptr) path[Kind::index] = wordsOf<Kind>(*list);
    });
  });
  return shown;
}

inline void expectSame(const Contents& shown, const Contents& expected) {
  EXPECT_EQ(shown.lists, expected.lists);
  EXPECT_EQ(shown.comms, expected.comms);
  EXPECT_EQ(shown.paths, expected.paths);
}

// All that can be said of what a store shows at any moment.
inline void expectWhole(const Contents& shown) {
  Contents once;
  for (std::size_t kind = 0; kind < shown.lists.size(); ++kind) {
    for (const Words& words : shown.lists[kind]) {
      EXPECT_TRUE(whole(words));
      once.listIs(kind, words);
    }
    for (const auto& [key, path] : shown.paths) {
      EXPECT_TRUE(!path[kind] || shown.lists[kind].contains(*path[kind]));
    }
  }
  EXPECT_TRUE(shown.lists == once.lists) << "a list twice";
  EXPECT_TRUE(shown.comms == once.comms) << "communities of no list, or twice";
}

constexpr std::chrono::hours never{1};

struct Publishing {
  explicit Publishing(const std::string& path, std::chrono::milliseconds interval = never, bool multiThreaded = false)
      : store(Store::StoreManager::openForWriting(path)), agent(std::in_place, multiThreaded) {
    publisherIs(interval);
  }
  void publisherIs(std::chrono::milliseconds interval) {
    publisher.emplace(*store, ListPublisher::Options{interval});
    forEachKind([&]<typename Kind>(Kind) { publisher->listTableIs(((*agent).*Kind::table).get()); });
  }

  std::unique_ptr<Store::StoreManager> store;
  std::optional<Agent> agent;
  std::optional<ListPublisher> publisher;
};

// Interns, releases and names in paths whatever comes up, and knows what is there.
class Script {
 public:
  Script(Publishing& publishing, std::string name) : publishing_(publishing), name_(std::move(name)) {
    random_.seed(static_cast<unsigned>(std::hash<std::string>()(name_)));
  }

  void step() {
    const unsigned choice = random_() % 10;
    if (choice == 0) return pathChanged();
    forEachKind([&, kind = random_() % 4]<typename Kind>(Kind) {
      if (kind != Kind::index) return;
      auto& held = std::get<Kind::index>(held_);
      if (choice < 7 || held.empty()) {
        const Words words = randomWords();
        held[words] = Kind::intern(*publishing_.agent, words);
      } else {
        held.erase(std::next(held.begin(), static_cast<long>(random_() % held.size())));
      }
    });
  }
  void stepped(int count) {
    for (int i = 0; i < count; ++i) step();
  }
  void addTo(Contents& contents) const {
    forEachKind([&]<typename Kind>(Kind) {
      for (const auto& [words, list] : std::get<Kind::index>(held_)) contents.listIs(Kind::index, words);
      for (const auto& [key, path] : paths_) {
        if (path[Kind::index]) contents.listIs(Kind::index, *path[Kind::index]);
      }
    });
    contents.paths.insert(paths_.begin(), paths_.end());
  }
  Contents contents() const {
    Contents contents;
    addTo(contents);
    return contents;
  }
  // Keeps what the paths name.
  void listsReleased() { held_ = {}; }

 private:
  template <typename Kind>
  using Held = std::map<Words, typename Kind::List::PtrConst>;

  // Mostly few and again and again the same.
  Words randomWords() {
    const bool large = random_() % 30 == 0;
    Words words;
    for (auto n = random_() % (large ? 300 : 5); n > 0; --n) words.push_back(random_() % (large ? 10000 : 20));
    return checked(words);
  }
  void pathChanged() {
    const std::string key = name_ + std::to_string(random_() % 12);
    if (random_() % 3 == 0) {
      EXPECT_EQ(publishing_.publisher->pathDel(key), paths_.erase(key) == 1);
      return;
    }
    PathLists lists;
    Contents::Path& path = paths_[key] = {};
    forEachKind([&]<typename Kind>(Kind) {
      if (random_() % 3 == 0) return;
      path[Kind::index] = randomWords();
      lists.*Kind::ofPath = Kind::intern(*publishing_.agent, *path[Kind::index]);
    });
    publishing_.publisher->pathIs(key, lists);
  }

  Publishing& publishing_;
  const std::string name_;
  std::mt19937 random_;
  std::tuple<Held<Extended>, Held<ExtendedIp6>, Held<Large>, Held<Standard>> held_;
  std::map<std::string, Contents::Path> paths_;
};

}  // namespace Routing::Bgp::test
