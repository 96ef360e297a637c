// What `velbgp mrt --publish` adds: the agent's lists go into a store while they are interned.
//
// Every distinct set of lists that a path carries is published once, under its number in the order first met. A store
// that cannot be written is reported, and the rest of the work goes on. Single-threaded.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "Store/StoreManager.h"
#include "VelBgp/ListPublisher.h"
#include "tools/velbgp/Kind.h"

namespace VelBgpTool {

class Agent;
class Console;

class Publication {
 public:
  // Before anything is interned in the agent's tables.
  Publication(const std::string& store, const Agent& agent, Console& console);
  // What is published stays.
  ~Publication();

  // The lists of one path, by kind, kindCount of them.
  static constexpr std::uint32_t none = UINT32_MAX;
  using Numbers = std::array<std::uint32_t, kindCount>;
  void pathIs(const Numbers& lists, Kinds& kinds);

  // Waits until all is in the store. Errors are reported.
  void finish();
  std::uint64_t sets() const { return sets_; }

 private:
  class Known;

  const std::string path_;
  Console& console_;
  std::unique_ptr<Store::StoreManager> store_;
  std::unique_ptr<Routing::Bgp::ListPublisher> publisher_;
  std::unique_ptr<Known> known_;
  std::uint64_t sets_ = 0;
};

}  // namespace VelBgpTool
