// What `velbgp mrt --publish` adds: the agent's lists go into a store while they are interned.
//
// Every distinct set of lists that a path carries is published once, under its number in the order first met. A store
// that cannot be written is reported, and the rest of the work goes on. Single-threaded.
#pragma once

#include <array>
#include <boost/unordered/unordered_flat_set.hpp>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include "Store/StoreManager.h"
#include "VelBgp/ListPublisher.h"
#include "tools/velbgp/Kind.h"

namespace VelBgpTool {

struct Agent;
class Console;

// What the library says of a store, for a message that names the store already.
std::string storeProblem(const std::string& path, std::string_view what);

// What is published stays when it goes.
class Publication {
 public:
  Publication(const std::string& store, const Agent& agent, Console& console);
  // Opens the store, once, before anything is interned in the agent's tables. Until then what is in it stays.
  void begin();

  // The lists of one path, by kind, kindCount of them.
  static constexpr std::uint32_t none = UINT32_MAX;
  using Numbers = std::array<std::uint32_t, kindCount>;
  void pathIs(const Numbers& lists, Kinds& kinds);

  // Waits until all is in the store. Errors are reported.
  void finish();

 private:
  struct Hash {
    std::size_t operator()(const Numbers& lists) const;
  };

  void failed(const std::exception& error) const;

  const std::string path_;
  const Agent& agent_;
  Console& console_;
  bool begun_ = false;
  std::unique_ptr<Routing::Store::StoreManager> store_;
  std::unique_ptr<Routing::Bgp::ListPublisher> publisher_;
  boost::unordered_flat_set<Numbers, Hash> sets_;  // published so far
};

}  // namespace VelBgpTool
