#include "tools/velbgp/Publication.h"

#include <algorithm>
#include <boost/unordered/unordered_flat_set.hpp>

#include "Keel/HashMix.h"
#include "Store/StoreException.h"
#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Wire.h"

namespace VelBgpTool {

class Publication::Known {
 public:
  bool isNew(const Numbers& lists) { return sets_.insert(lists).second; }

 private:
  struct Hash {
    std::size_t operator()(const Numbers& lists) const {
      Keel::HashMix mix;
      for (const std::uint32_t number : lists) mix.mixBytes4(number);
      return mix.value();
    }
  };
  boost::unordered_flat_set<Numbers, Hash> sets_;
};

Publication::Publication(const std::string& store, const Agent& agent, Console& console)
    : path_(store), console_(console), known_(std::make_unique<Known>()) {
  try {
    store_ = Store::StoreManager::openForWriting(store);
  } catch (const Store::StoreException& error) {
    console_.error({path_, 0, true}, error.what());
    return;
  }
  publisher_ = std::make_unique<Routing::Bgp::ListPublisher>(*store_);
  publisher_->listTableIs(agent.listTable());
  publisher_->listTableIs(agent.ip6ListTable());
  publisher_->listTableIs(agent.largeTable());
  publisher_->listTableIs(agent.standardTable());
}

Publication::~Publication() = default;

void Publication::pathIs(const Numbers& lists, Kinds& kinds) {
  const bool empty = std::all_of(lists.begin(), lists.end(), [](std::uint32_t number) { return number == none; });
  if (publisher_ == nullptr || empty || !known_->isNew(lists)) return;
  Routing::Bgp::PathLists path;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    if (lists[kind] != none) kinds.at(kind).publish(lists[kind], path);
  }
  publisher_->pathIs(Wire().u64(sets_++).view(), std::move(path));
}

void Publication::finish() {
  if (publisher_ == nullptr) return;
  try {
    publisher_->flush();
  } catch (const Store::StoreException& error) {
    console_.error({path_, 0, true}, error.what());
  }
}

}  // namespace VelBgpTool
