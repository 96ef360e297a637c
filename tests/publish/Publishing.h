// What the tests of published lists share: an agent that publishes, what a store shows, and a random script with its
// model of that.
#pragma once

#include <set>

#include "Store/Stores.h"
#include "VelBgp/ListPublisher.h"
#include "VelBgp/WordLists.h"

namespace Routing::Bgp::test {

using Record = std::pair<Stashed, Words>;  // that of a community has one word

struct Contents {
  using Path = std::map<Stashed, Words>;

  // The record of a list, once, and those of its communities, once.
  void listIs(const Record& list) {
    once(list);
    forEachAttribute([&]<typename Attribute>(Attribute) {
      if constexpr (hasCommunities<Attribute>) {
        if (list.first != Attribute::record) return;
        for (const std::uint32_t word : list.second) once({Attribute::commRecord, {word}});
      }
    });
  }
  void once(const Record& record) {
    if (!records.contains(record)) records.insert(record);
  }

  std::multiset<Record> records;
  std::map<std::string, Path> paths;
};

// Every record and path.
inline Contents contentsOf(Store::StoreManager& store) {
  Contents shown;
  store.view().forEachRecord([&](Store::Reference reference, Store::Record record) {
    const Stashed type{record.type};
    forEachAttribute([&]<typename Attribute>(Attribute) {
      if (type == Attribute::record)
        shown.records.insert({type, wordsOf<Attribute>(*Attribute::List::destash(&reference, &store))});
      if constexpr (hasCommunities<Attribute>) {
        if (type != Attribute::commRecord) return;
        const auto comm = Attribute::Community::destash(&reference, &store);
        shown.records.insert({type, {wordOf<Attribute>(Attribute::valueOf(comm.get()))}});
      }
    });
  });
  forEachStashedPath(store, [&](std::string_view key, const StashedPath& stashed) {
    Contents::Path& path = shown.paths[std::string(key)];
    forEachAttribute([&]<typename Attribute>(Attribute) {
      const auto list = Attribute::List::destash(&(stashed.*Attribute::stashed), &store);
      if (list != nullptr) path[Attribute::record] = wordsOf<Attribute>(*list);
    });
  });
  return shown;
}

inline void expectSame(const Contents& shown, const Contents& expected) {
  EXPECT_EQ(shown.records, expected.records);
  EXPECT_EQ(shown.paths, expected.paths);
}

// All that can be said of what a store shows at any moment.
inline void expectWhole(const Contents& shown) {
  Contents once;
  for (const Record& record : shown.records) {
    if (record.first >= Stashed::extCommList) once.listIs(record);
  }
  for (const auto& [key, path] : shown.paths) {
    for (const Record list : path) EXPECT_TRUE(shown.records.contains(list));
  }
  EXPECT_TRUE(shown.records == once.records) << "a list twice, or communities twice or of no list";
}

constexpr std::chrono::hours never{1};

struct Publishing {
  explicit Publishing(const std::string& path, std::chrono::milliseconds interval = never, bool multiThreaded = false)
      : store(Store::StoreManager::openForWriting(path)), agent(std::in_place, multiThreaded) {
    publisherIs(interval);
  }
  void publisherIs(std::chrono::milliseconds interval) {
    publisher.emplace(*store, ListPublisher::Options{interval});
    tablesAre(true);
  }
  void tablesAre(bool attached) {
    forEachAttribute([&]<typename Attribute>(Attribute) {
      const auto* const table = ((*agent).*Attribute::table).get();
      attached ? publisher->listTableIs(table) : publisher->listTableDel(table);
    });
  }

  std::unique_ptr<Store::StoreManager> store;
  std::optional<Agent> agent;
  std::optional<ListPublisher> publisher;
};

// Interns, releases and names in paths whatever comes up, and knows what is there.
class Script {
 public:
  Script(Publishing& publishing, std::string name, bool withPaths = true)
      : publishing_(publishing), name_(std::move(name)), withPaths_(withPaths) {
    random_.seed(static_cast<unsigned>(std::hash<std::string>()(name_)));
  }

  void stepped(int count) {
    for (; count > 0; --count) {
      const auto choice = random_() % 10;
      if (choice == 0) {
        if (withPaths_) pathChanged();
      } else if (choice < 7 || held_.empty()) {
        forEachAttribute([&, attribute = random_() % 4]<typename Attribute>(Attribute) {
          if (attribute != Attribute::index) return;
          const Words words = randomWords();
          held_[{Attribute::record, words}] = Attribute::intern(*publishing_.agent, words);
        });
      } else {
        held_.erase(std::next(held_.begin(), static_cast<long>(random_() % held_.size())));
      }
    }
  }
  Contents contents(Contents contents = {}) const {
    for (const auto& [record, list] : held_) contents.listIs(record);
    for (const auto& [key, path] : paths_) {
      for (const Record list : path) contents.listIs(list);
    }
    contents.paths.insert(paths_.begin(), paths_.end());
    return contents;
  }
  // As when the next publisher comes.
  Script& pathsDel() {
    paths_.clear();
    return *this;
  }
  // As when the lists' table goes.
  void listsDel(Stashed type) {
    std::erase_if(held_, [type](const auto& held) { return held.first.first == type; });
    for (auto& [key, path] : paths_) path.erase(type);
  }

 private:
  // Mostly few and again and again the same.
  Words randomWords() {
    const bool large = random_() % 30 == 0;
    std::set<std::uint32_t> words;
    for (auto n = random_() % (large ? 300 : 5); n > 0; --n) words.insert(random_() % (large ? 10000 : 20));
    return {words.begin(), words.end()};
  }
  void pathChanged() {
    const std::string key = name_ + std::to_string(random_() % 12);
    if (random_() % 3 == 0) {
      EXPECT_EQ(publishing_.publisher->pathDel(key), paths_.erase(key) == 1);
      return;
    }
    PathLists lists;
    Contents::Path& path = paths_[key] = {};
    forEachAttribute([&]<typename Attribute>(Attribute) {
      if (random_() % 3 == 0) return;
      path[Attribute::record] = randomWords();
      lists.*Attribute::ofPath = Attribute::intern(*publishing_.agent, path[Attribute::record]);
    });
    publishing_.publisher->pathIs(key, lists);
  }

  Publishing& publishing_;
  const std::string name_;
  const bool withPaths_;
  std::mt19937 random_;
  std::map<Record, Tyr::Ptr<const Keel::DedupHandleBase>> held_;
  std::map<std::string, Contents::Path> paths_;
};

}  // namespace Routing::Bgp::test
