#include <algorithm>
#include <chrono>
#include <csignal>

#include "Store/StoreException.h"
#include "Store/StoreManager.h"
#include "VelBgp/StashedPaths.h"
#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Lister.h"
#include "tools/velbgp/Publication.h"

namespace VelBgpTool {

namespace {

using Routing::Bgp::PathLists;
using Routing::Bgp::StashedPaths;
using Routing::Store::StoreManager;

volatile std::sig_atomic_t stopped = 0;

struct Stopped {};

// The first of these signals ends the work in good order, a second one as ever.
void watchForStop() {
  struct sigaction action = {};
  action.sa_handler = [](int) { stopped = 1; };
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : {SIGINT, SIGTERM}) ::sigaction(signal, &action, nullptr);
}

class StorePrinter {
 public:
  StorePrinter(const Options& options, StoreManager& store, Console& console)
      : name_(options.inputs.front()),
        store_(store),
        console_(console),
        lister_(options.json, true, nullptr, console),
        paths_(store, lister_.agent(), options.key) {}
  StorePrinter(const StorePrinter&) = delete;
  StorePrinter& operator=(const StorePrinter&) = delete;

  void print() { paths_.forEach(visitor_); }
  // And what changes, till somebody stops it or nobody reads any more.
  void follow() {
    watchForStop();
    try {
      while (!changesPrinted()) continue;
    } catch (const Stopped&) {
    }
  }

 private:
  using Clock = std::chrono::steady_clock;
  using Milliseconds = std::chrono::milliseconds;
  static constexpr Milliseconds shortestWait{50};
  static constexpr Milliseconds longestWait{1000};

  // Prints what is new and waits; whether nobody reads any more. The larger the store, the longer the wait.
  bool changesPrinted() {
    const auto begin = Clock::now();
    try {
      paths_.forEachChange(visitor_);
    } catch (const Routing::Store::OldViewException&) {
      // The writer went on for long meanwhile: what is left is read from its newest commit.
    }
    console_.flush();
    const auto spent = std::chrono::duration_cast<Milliseconds>(Clock::now() - begin);
    const bool gone = console_.readerGoesWithin(std::clamp(4 * spent, shortestWait, longestWait));
    stopIfAsked();
    store_.refresh();
    return gone;
  }
  static void stopIfAsked() {
    if (stopped != 0) throw Stopped();
  }

  const std::string& name_;
  StoreManager& store_;
  Console& console_;
  Lister lister_;
  StashedPaths paths_;
  std::uint64_t number_ = 0;
  const StashedPaths::Visitor visitor_ = {[this](std::string_view key, const PathLists& lists) {
                                            stopIfAsked();
                                            lister_.pathIs({name_, ++number_}, key, lists);
                                          },
                                          [this](std::string_view key) { lister_.pathGoes(key); },
                                          [this](std::string_view, const char* problem) {
                                            console_.error({name_, ++number_}, storeProblem(store_.path(), problem));
                                          }};
};

}  // namespace

void storeCommand(const Options& options, const Routing::RouteMap::PosixRegex*, Console& console) {
  const std::string& name = options.inputs.front();
  try {
    const auto store = StoreManager::openForReading(name);
    StorePrinter printer(options, *store, console);
    options.follow ? printer.follow() : printer.print();
  } catch (const Routing::Store::StoreException& error) {
    console.error({name, 0, true}, storeProblem(name, error.what()));
  }
}

}  // namespace VelBgpTool
