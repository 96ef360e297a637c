#include "tools/velbgp/Publication.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "Keel/HashMix.h"
#include "Store/StoreException.h"
#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Text.h"

namespace VelBgpTool {

std::string storeProblem(const std::string& path, std::string_view what) {
  const std::string prefix = "store " + std::filesystem::absolute(path).string() + ": ";
  if (what.starts_with(prefix)) what.remove_prefix(prefix.size());
  return escaped(what);
}

namespace {

// Digits, and as many of them, so that the keys' order is that of the numbers.
std::string keyOf(std::size_t number) {
  constexpr std::size_t digits = 10;
  const std::string text = std::to_string(number);
  return std::string(digits - std::min(digits, text.size()), '0') + text;
}

}  // namespace

std::size_t Publication::Hash::operator()(const Numbers& lists) const {
  Keel::HashMix mix;
  for (const std::uint32_t number : lists) mix.mixBytes4(number);
  return mix.value();
}

Publication::Publication(const std::string& store, const Agent& agent, Console& console)
    : path_(store), agent_(agent), console_(console) {}

void Publication::begin() {
  if (begun_) return;
  begun_ = true;
  try {
    store_ = Routing::Store::StoreManager::openForWriting(path_);
    publisher_ = std::make_unique<Routing::Bgp::ListPublisher>(*store_);
  } catch (const Routing::Store::StoreException& error) {
    return failed(error);
  } catch (const std::system_error& error) {  // no thread to be had
    return failed(error);
  }
  publisher_->listTableIs(agent_.extCommLists());
  publisher_->listTableIs(agent_.extCommIp6Lists());
  publisher_->listTableIs(agent_.largeCommLists());
  publisher_->listTableIs(agent_.commLists());
}

void Publication::failed(const std::exception& error) const {
  console_.error({path_, 0, true}, storeProblem(path_, error.what()));
}

void Publication::pathIs(const Numbers& lists, Kinds& kinds) {
  const bool empty = std::all_of(lists.begin(), lists.end(), [](std::uint32_t number) { return number == none; });
  if (publisher_ == nullptr || empty || !sets_.insert(lists).second) return;
  Routing::Bgp::PathLists path;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    if (lists[kind] != none) kinds.at(kind).publish(lists[kind], path);
  }
  publisher_->pathIs(keyOf(sets_.size() - 1), std::move(path));
}

void Publication::finish() {
  if (publisher_ == nullptr) return;
  try {
    publisher_->flush();
  } catch (const Routing::Store::StoreException& error) {
    failed(error);
  }
}

}  // namespace VelBgpTool
