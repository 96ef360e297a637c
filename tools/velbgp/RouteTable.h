// The routes that a file leaves standing: of a RIB its entries, of updates what they come to in the end.
//
// Tables that are to be compared share a RouteStock, which keeps what they have in common once: the keys of routes
// (peer, its AS, family, prefix or NLRI, path identifier), AS paths, next hops and lists. Single-threaded.
#pragma once

#include <optional>
#include <vector>

#include "tools/velbgp/OctetPool.h"
#include "tools/velbgp/Route.h"
#include "tools/velbgp/RouteFilter.h"

namespace VelBgpTool {

class Console;

struct RouteStock {
  // A key taken apart; spans into the stock.
  struct Key {
    MrtPeer peer;
    RouteTarget target;
  };
  std::uint32_t keyOf(const Route& route);
  Key keyAt(std::uint32_t key) const;

  OctetPool peers;
  OctetPool keys;
  OctetPool texts;  // AS paths, next hops and lists
};

// A route as it is kept; what is absent is `none`.
struct KeptRoute {
  static constexpr std::uint32_t none = ~std::uint32_t{0};

  std::uint32_t key = none;
  std::uint32_t asPath = none;
  std::uint32_t nextHop = none;
  std::array<std::uint32_t, kindCount> lists{none, none, none, none};
  const char* origin = nullptr;
  MrtTime time;
  Route::Type type = Route::Type::withdraw;
  bool passes = false;      // the filters
  std::uint32_t epoch = 0;  // of its peer, when it came

  bool samePath(const KeptRoute& other) const {
    return asPath == other.asPath && nextHop == other.nextHop && origin == other.origin;
  }
  RouteFacts facts(const RouteStock& stock) const;
};

class RouteTable final : public RouteSink {
 public:
  RouteTable(RouteStock& stock, const RouteFilters& filters, Console& console, std::string source)
      : stock_(stock), filters_(filters), console_(console), source_(std::move(source)) {}

  // The standing route of a key, or null.
  const KeptRoute* find(std::uint32_t key) const;
  // visit(route) for each, in the order in which their keys first stood.
  template <typename Visit>
  void forEach(Visit&& visit) const {
    for (const KeptRoute& route : routes_) {
      if (stands(route)) visit(route);
    }
  }

  void routeIs(Route& route) override;
  void stateChangeIs(const MrtRecord& record) override;
  void faultIs(std::uint64_t offset, const std::string& fault) override;

 private:
  bool stands(const KeptRoute& route) const;
  KeptRoute& placeOf(std::uint32_t key);
  std::uint32_t& epochOf(std::uint32_t peer);

  RouteStock& stock_;
  const RouteFilters& filters_;
  Console& console_;
  const std::string source_;
  std::vector<KeptRoute> routes_;      // also what was withdrawn
  std::vector<std::uint32_t> places_;  // in routes_, by key; `none` where there is none
  // Steps on whenever a peer goes away: what came before is no more.
  std::vector<std::uint32_t> epochs_;
};

}  // namespace VelBgpTool
