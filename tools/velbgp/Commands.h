// The subcommands, and what the command line asks of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/velbgp/RouteFilter.h"

namespace Routing::RouteMap {
class PosixRegex;
}

namespace VelBgpTool {

class Console;

struct Options;

// Each prints its results on the console and reports bad input there; the tool's exit status follows from the console.
// `match` is the expression asked for, or null.
using Command = void(const Options& options, const Routing::RouteMap::PosixRegex* match, Console& console);
Command decodeCommand, diffCommand, listCommand, mrtCommand, routesCommand, sampleCommand, storeCommand;

// What `mrt` counts together.
enum class By { all, file, peer };

struct Options {
  Command* command = nullptr;
  bool json = false;
  bool csv = false;
  bool bgpdump = false;
  bool raw = false;
  bool count = false;
  bool mvpn = true;
  std::vector<std::string> inputs;  // values, files or the store
  std::optional<std::string> match;
  std::optional<std::string> names;  // a file of them
  bool explain = false;
  std::optional<std::string> publish;  // a store
  std::string key;                     // the beginning of those that are wanted
  bool follow = false;
  std::optional<std::uint64_t> top;  // at least 1
  By by = By::all;
  std::optional<std::uint64_t> limit;    // at least 1
  std::vector<RouteFilterText> filters;  // that were found good
  std::optional<std::uint64_t> threads;  // at most, at least 1
  std::uint64_t paths = 10'000;
  std::uint64_t seed = 1;
};

// The options of a usable command line; nothing when all is done, with `status` set: help or version was asked for, or
// the command line was not usable and a message says why.
std::optional<Options> parseCommandLine(int argc, const char* const* argv, Console& console, int& status);

}  // namespace VelBgpTool
