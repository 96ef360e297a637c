// Which routes are wanted: the filters of `routes` and `diff`, a row each.
//
// Of a filter that is given several times any has to hold, of those that are turned round all; and all of what is left.
// One on something that a route does not have does not hold. Single-threaded.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/velbgp/Route.h"

namespace VelBgpTool {

struct Agent;
class Console;

struct RoutePredicate {
  std::function<bool(const Route&, Agent&)> holds;
  // Says what may be wrong with one that held for no route; mostly there is nothing to be said.
  std::function<void(Agent&, Console&)> end = {};
};

// A text that is no such filter; what was expected.
struct RouteFilterError {
  std::string what;
};

struct RouteFilterRow {
  const char* option;  // "--peer"
  const char* type;    // of what follows, or null if nothing does
  const char* help;
  // Rows in a row with the same group are alternatives of one filter.
  int group;
  // Throws RouteFilterError, and PosixRegexException.
  RoutePredicate (*make)(std::string_view text);
};

// In the order in which they are asked: what is cheap first.
std::span<const RouteFilterRow> routeFilterRows();

// One as it was typed.
struct RouteFilterText {
  const RouteFilterRow* row;
  bool negated;
  std::string text;
};

class RouteFilters {
 public:
  // The agent keeps what expressions are matched with: it has to outlive the filters.
  RouteFilters(const std::vector<RouteFilterText>& texts, Agent& agent);

  bool empty() const { return groups_.empty() && negated_.empty(); }
  bool pass(const Route& route) const;
  // All routes were asked for.
  void end(Console& console) const;

 private:
  Agent& agent_;
  std::vector<std::vector<RoutePredicate>> groups_;
  std::vector<RoutePredicate> negated_;
};

}  // namespace VelBgpTool
