#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/MrtFile.h"
#include "tools/velbgp/Names.h"
#include "tools/velbgp/RouteText.h"

namespace VelBgpTool {

namespace {

std::unique_ptr<RouteWriter> makeWriter(const Options& options, Kinds& kinds, const Names& names, Console& console) {
  const auto make = options.json      ? makeJsonWriter
                    : options.csv     ? makeCsvWriter
                    : options.bgpdump ? makeBgpdumpWriter
                                      : makePeopleWriter;
  const auto meaningOf = [&names](std::size_t kind, Octets value) { return names.meaning(kind, value); };
  return make({console, kinds, options.raw, meaningOf});
}

// Lets the wanted routes through to the writer, or counts them.
class Selection final : public RouteSink {
 public:
  Selection(const RouteFilters& filters, RouteWriter* writer, std::optional<std::uint64_t> limit, Console& console)
      : filters_(filters), writer_(writer), limit_(limit), console_(console) {}

  void sourceIs(const std::string& source) { source_ = source; }
  std::uint64_t count() const { return count_; }

  void routeIs(Route& route) override {
    if (filters_.pass(route) && (writer_ == nullptr || writer_->routeIs(route))) ++count_;
  }
  void stateChangeIs(const MrtRecord& record) override {
    if (writer_ != nullptr && filters_.empty() && writer_->stateChangeIs(record)) ++count_;
  }
  void oldStateChangeIs(const MrtHeader& header, Octets body) override {
    if (writer_ != nullptr && filters_.empty() && writer_->oldStateChangeIs(header, body)) ++count_;
  }
  void faultIs(std::uint64_t offset, const std::string& fault) override {
    if (wantsMore()) console_.error({source_, offset, true}, fault);
  }
  bool wantsMore() const override { return !limit_ || count_ < *limit_; }

 private:
  const RouteFilters& filters_;
  RouteWriter* const writer_;
  const std::optional<std::uint64_t> limit_;
  Console& console_;
  std::string source_;
  std::uint64_t count_ = 0;
};

void printCount(const Options& options, std::uint64_t count, Console& console) {
  const std::string number = std::to_string(count);
  if (options.json) return console.line("{\"count\":" + number + "}");
  if (options.csv) console.line("count");
  console.line(number);
}

}  // namespace

void routesCommand(const Options& options, const Routing::RouteMap::PosixRegex*, Console& console) {
  Agent agent(options.mvpn);
  Kinds kinds(agent);
  Names names(kinds);
  if (options.names) names.read(*options.names, console);
  const RouteFilters filters(options.filters, agent);
  const auto writer = options.count ? nullptr : makeWriter(options, kinds, names, console);
  Selection selection(filters, writer.get(), options.limit, console);
  const auto reading = options.bgpdump ? RouteWalk::Reading::lenient : RouteWalk::Reading::strict;
  bool opened = false;
  MrtCounts counts;
  for (const std::string& name : options.inputs) {
    if (!selection.wantsMore()) break;
    const MrtFile file(name);
    if (!file.opens(console)) continue;
    opened = true;
    selection.sourceIs(file.source);
    RouteWalk walk(selection, reading);
    file.read(walk, counts, console, !options.count);
  }
  if (selection.wantsMore() && opened) filters.end(console);
  if (options.count && opened) printCount(options, selection.count(), console);
}

}  // namespace VelBgpTool
