#include <algorithm>
#include <map>
#include <set>

#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/MrtFile.h"
#include "tools/velbgp/Names.h"
#include "tools/velbgp/RouteTable.h"
#include "tools/velbgp/RouteText.h"

namespace VelBgpTool {

namespace {

enum class Change { added, gone, communities, path };
constexpr const char* changeNames[] = {"new", "gone", "communities", "path"};
constexpr std::size_t changeCount = std::size(changeNames);

struct Difference {
  Change change;
  std::uint32_t key;
  const KeptRoute* before;  // null for what is new
  const KeptRoute* after;   // null for what is gone
};

// The values of a list that another one of the same kind has not, each once, in their order.
std::vector<Octets> missing(Octets list, Octets other, std::size_t size) {
  std::set<std::string_view> seen;
  for (; !other.empty(); other = other.subspan(size)) seen.insert(textOf(other.first(size)));
  std::vector<Octets> values;
  for (; !list.empty(); list = list.subspan(size)) {
    if (seen.insert(textOf(list.first(size))).second) values.push_back(list.first(size));
  }
  return values;
}

using Values = std::vector<std::pair<std::size_t, Octets>>;  // a kind and a value

Values missing(const RouteFacts& facts, const RouteFacts& other) {
  Values values;
  for (const std::size_t kind : routeKinds) {
    for (const Octets value : missing(facts.lists[kind], other.lists[kind], kindRows[kind].octets)) {
      values.emplace_back(kind, value);
    }
  }
  return values;
}

// What hears of the differences, one after the other.
class Report {
 public:
  explicit Report(const RouteStock& stock) : stock_(stock) {}
  virtual ~Report() = default;
  void differenceIs(const Difference& difference) {
    const auto facts = [this](const KeptRoute* route) {
      return route != nullptr ? route->facts(stock_) : RouteFacts();
    };
    const RouteFacts before = facts(difference.before);
    const RouteFacts after = facts(difference.after);
    differenceIs(difference, before, after, missing(after, before), missing(before, after));
  }
  virtual void end() {}

 protected:
  virtual void differenceIs(const Difference& difference, const RouteFacts& before, const RouteFacts& after,
                            const Values& added, const Values& removed) = 0;
  const RouteStock& stock_;
};

class JsonReport final : public Report {
 public:
  JsonReport(const RouteStock& stock, Kinds& kinds, Console& console)
      : Report(stock), json_(kinds, false), console_(console) {}

 protected:
  void differenceIs(const Difference& difference, const RouteFacts& before, const RouteFacts& after,
                    const Values& added, const Values& removed) override {
    const RouteStock::Key key = stock_.keyAt(difference.key);
    line_.clear();
    JsonText out(line_);
    out.open('{').name("change").plain(changeNames[static_cast<std::size_t>(difference.change)]);
    json_.key(out, key.peer, false, key.target);
    valuesAre(out.name("added"), added);
    valuesAre(out.name("removed"), removed);
    if (difference.before != nullptr) sideIs(out.name("old"), *difference.before, before);
    if (difference.after != nullptr) sideIs(out.name("new"), *difference.after, after);
    out.close('}');
    console_.line(line_.view());
  }

 private:
  void valuesAre(JsonText& out, const Values& values) {
    out.open('[');
    for (const auto& [kind, value] : values) out.text(json_.texts().value(kind, value));
    out.close(']');
  }
  void sideIs(JsonText& out, const KeptRoute& route, const RouteFacts& facts) {
    JsonRoutes::typeAndTime(out.open('{'), route.type, route.time);
    json_.facts(out, facts);
    out.close('}');
  }

  JsonRoutes json_;
  Console& console_;
  Tyr::DynamicBuffer<1024> line_;
};

class CsvReport final : public Report {
 public:
  CsvReport(const RouteStock& stock, Kinds& kinds, Console& console)
      : Report(stock), csv_(kinds, false), console_(console) {
    console_.line(
        "change,peer,peerAs,family,prefix,nlri,pathId,added,removed,oldAsPath,newAsPath,oldOrigin,newOrigin,"
        "oldNextHop,newNextHop");
  }

 protected:
  void differenceIs(const Difference& difference, const RouteFacts& before, const RouteFacts& after,
                    const Values& added, const Values& removed) override {
    const RouteStock::Key key = stock_.keyAt(difference.key);
    line_ = changeNames[static_cast<std::size_t>(difference.change)];
    line_ += ',';
    csv_.appendPeer(line_, key.peer);
    line_ += ',';
    csv_.appendTarget(line_, key.target);
    for (const Values* values : {&added, &removed}) valuesAre(*values);
    for (const RouteFacts* facts : {&before, &after}) {
      line_ += ',';
      appendCsv(line_, facts->asPath);
    }
    for (const RouteFacts* facts : {&before, &after}) {
      line_.append(1, ',').append(facts->origin != nullptr ? facts->origin : "");
    }
    for (const RouteFacts* facts : {&before, &after}) {
      line_ += ',';
      csv_.appendAddress(line_, facts->nextHop);
    }
    console_.line(line_);
  }

 private:
  void valuesAre(const Values& values) {
    std::string all;
    for (const auto& [kind, value] : values) {
      if (!all.empty()) all += ';';
      all += csv_.texts().value(kind, value);
    }
    line_ += ',';
    appendCsv(line_, all);
  }

  CsvRoutes csv_;
  Console& console_;
  std::string line_;
};

// Totals by kind of change and by community.
class PeopleReport final : public Report {
 public:
  PeopleReport(const RouteStock& stock, Kinds& kinds, const Names& names, Console& console)
      : Report(stock), texts_(kinds, false), names_(names), console_(console) {}

  void end() override {
    printChanges();
    if (!communities_.empty()) printCommunities();
  }

 protected:
  void differenceIs(const Difference& difference, const RouteFacts&, const RouteFacts&, const Values& added,
                    const Values& removed) override {
    ++changes_[static_cast<std::size_t>(difference.change)];
    for (const auto& [kind, value] : added) ++uses(kind, value).added;
    for (const auto& [kind, value] : removed) ++uses(kind, value).removed;
  }

 private:
  struct Uses {
    std::uint64_t added = 0;
    std::uint64_t removed = 0;
    std::uint64_t all() const { return added + removed; }
  };
  // By the place of the kind, and the value.
  using Community = std::pair<std::size_t, std::string>;

  Uses& uses(std::size_t kind, Octets value) {
    const auto place = static_cast<std::size_t>(std::ranges::find(routeKinds, kind) - std::begin(routeKinds));
    return communities_[{place, std::string(textOf(value))}];
  }

  void printChanges() {
    std::array<std::size_t, changeCount> order{0, 1, 2, 3};
    std::ranges::stable_sort(order, std::greater(), [this](std::size_t change) { return changes_[change]; });
    Columns columns;
    columns.rowIs({"CHANGE", "ROUTES"});
    for (const std::size_t change : order) columns.rowIs({changeNames[change], std::to_string(changes_[change])});
    columns.print(console_);
  }

  void printCommunities() {
    std::vector<std::pair<Community, Uses>> most(communities_.begin(), communities_.end());
    std::ranges::stable_sort(most, std::greater(), [](const auto& entry) { return entry.second.all(); });
    console_.line("");
    printRow("ADDED", "REMOVED", "COMMUNITY", true);
    for (const auto& [community, uses] : most) {
      const std::size_t kind = routeKinds[community.first];
      const Octets value = octetsOf(community.second);
      const std::string meaning = names_.meaning(kind, value);
      printRow(std::to_string(uses.added), std::to_string(uses.removed),
               texts_.value(kind, value) + (meaning.empty() ? "" : "  " + escaped(meaning)), false);
    }
  }
  void printRow(const std::string& added, const std::string& removed, const std::string& text, bool isHeading) {
    static constexpr std::size_t width = 10;
    const auto right = [](const std::string& number) {
      return std::string(width - std::min(width, number.size()), ' ') + number;
    };
    std::string line = right(added) + " " + right(removed) + "  " + text;
    const std::size_t columns = console_.columns();
    if (columns > 3 && line.size() > columns) line.replace(columns - 3, std::string::npos, "...");
    console_.line(isHeading ? heading(console_, line) : line);
  }

  RouteTexts texts_;
  const Names& names_;
  Console& console_;
  std::array<std::uint64_t, changeCount> changes_{};
  std::map<Community, Uses> communities_;
};

// Whether the same communities are there, in any order.
bool sameCommunities(const KeptRoute& a, const KeptRoute& b, const RouteStock& stock) {
  if (a.lists == b.lists) return true;
  const RouteFacts left = a.facts(stock);
  const RouteFacts right = b.facts(stock);
  return missing(left, right).empty() && missing(right, left).empty();
}

class Comparison {
 public:
  Comparison(const RouteStock& stock, const RouteTable& before, const RouteTable& after, Report& report)
      : stock_(stock), before_(before), after_(after), report_(report) {}

  void run() {
    after_.forEach([this](const KeptRoute& route) { routeIs(route); });
    before_.forEach([this](const KeptRoute& route) {
      if (after_.find(route.key) == nullptr) tell({Change::gone, route.key, &route, nullptr});
    });
    report_.end();
  }

 private:
  void routeIs(const KeptRoute& route) {
    const KeptRoute* const old = before_.find(route.key);
    if (old == nullptr) return tell({Change::added, route.key, nullptr, &route});
    if (!route.samePath(*old)) return tell({Change::path, route.key, old, &route});
    if (!sameCommunities(route, *old, stock_)) tell({Change::communities, route.key, old, &route});
  }
  void tell(const Difference& difference) {
    const auto passes = [](const KeptRoute* route) { return route != nullptr && route->passes; };
    if (passes(difference.before) || passes(difference.after)) report_.differenceIs(difference);
  }

  const RouteStock& stock_;
  const RouteTable& before_;
  const RouteTable& after_;
  Report& report_;
};

std::unique_ptr<Report> makeReport(const Options& options, const RouteStock& stock, Kinds& kinds, const Names& names,
                                   Console& console) {
  if (options.json) return std::make_unique<JsonReport>(stock, kinds, console);
  if (options.csv) return std::make_unique<CsvReport>(stock, kinds, console);
  return std::make_unique<PeopleReport>(stock, kinds, names, console);
}

}  // namespace

void diffCommand(const Options& options, const Routing::RouteMap::PosixRegex*, Console& console) {
  const MrtFile oldFile(options.inputs[0]);
  const MrtFile newFile(options.inputs[1]);
  const bool oldOpens = oldFile.opens(console);
  if (!newFile.opens(console) || !oldOpens) return;
  Agent agent(options.mvpn);
  Kinds kinds(agent);
  Names names(kinds);
  if (options.names) names.read(*options.names, console);
  const RouteFilters filters(options.filters, agent);
  RouteStock stock;
  const auto load = [&](const MrtFile& file, RouteTable& table) {
    RouteWalk walk(table);
    MrtCounts counts;
    return file.read(walk, counts, console, false);
  };
  RouteTable before(stock, filters, console, oldFile.source);
  RouteTable after(stock, filters, console, newFile.source);
  if (!load(oldFile, before) || !load(newFile, after)) return;
  filters.end(console);
  const auto report = makeReport(options, stock, kinds, names, console);
  Comparison(stock, before, after, *report).run();
}

}  // namespace VelBgpTool
