// A file of any content, read as routes: all ways of printing them say the same number of lines, each of them well
// formed, every prefix is one, and what a table keeps of them can be taken apart again.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <boost/json/parse.hpp>

#include "fuzz/Fuzz.h"
#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/MrtReader.h"
#include "tools/velbgp/RouteTable.h"
#include "tools/velbgp/RouteText.h"

namespace VelBgpFuzz {
namespace {

using namespace VelBgpTool;

// A file in memory.
class Memory {
 public:
  Memory() : file_(::memfd_create("fuzz", MFD_CLOEXEC)) {}
  int file() const { return file_; }
  void octetsAre(std::string_view octets) {
    TYR_ASSERT(::ftruncate(file_, 0) == 0 && ::lseek(file_, 0, SEEK_SET) == 0);
    TYR_ASSERT(::pwrite(file_, octets.data(), octets.size(), 0) == static_cast<ssize_t>(octets.size()));
  }
  std::string take() {
    std::string octets(static_cast<std::size_t>(::lseek(file_, 0, SEEK_END)), '\0');
    TYR_ASSERT(::pread(file_, octets.data(), octets.size(), 0) == static_cast<ssize_t>(octets.size()));
    octetsAre({});
    return octets;
  }

 private:
  const int file_;
};

Memory input;
Memory output;

void read(RouteSink& sink, RouteWalk::Reading reading, Console& console) {
  TYR_ASSERT(::lseek(input.file(), 0, SEEK_SET) == 0);
  Unpacker unpacker(input.file());
  MrtCounts counts;
  Progress progress(console, {}, 0, true);
  RouteWalk walk(sink, reading);
  MrtReader(unpacker, walk, counts, progress).read();
}

struct Printing final : RouteSink {
  explicit Printing(RouteWriter& printer) : writer(printer) {}
  void routeIs(Route& route) override {
    lines += writer.routeIs(route) ? 1 : 0;
    TYR_ASSERT(!route.target.isPrefix || route.target.nlri.octets.size() >= (route.target.nlri.bits + 7) / 8);
    TYR_ASSERT((route.path == nullptr) == (route.type == Route::Type::withdraw));
  }
  void stateChangeIs(const MrtRecord& record) override { lines += writer.stateChangeIs(record) ? 1 : 0; }
  void oldStateChangeIs(const MrtHeader& header, Octets body) override {
    lines += writer.oldStateChangeIs(header, body) ? 1 : 0;
  }
  void faultIs(std::uint64_t, const std::string& fault) override { TYR_ASSERT(!fault.empty()); }

  RouteWriter& writer;
  std::size_t lines = 0;
};

std::string print(decltype(makeJsonWriter)* make, RouteWalk::Reading reading, Agent& agent) {
  std::size_t lines = 0;
  {
    Console console(output.file(), output.file());
    Kinds kinds(agent);
    const auto writer = make({console, kinds, false, [](std::size_t, Octets) { return std::string(); }});
    Printing printing(*writer);
    read(printing, reading, console);
    lines = printing.lines;
    console.flush();
  }
  std::string text = output.take();
  TYR_ASSERT(static_cast<std::size_t>(std::ranges::count(text, '\n')) >= lines);
  return text;
}

template <typename Visit>
std::size_t forEachLine(std::string_view text, Visit&& visit) {
  std::size_t lines = 0;
  for (std::size_t end; (end = text.find('\n')) != std::string_view::npos; text.remove_prefix(end + 1), ++lines) {
    visit(text.substr(0, end));
  }
  return lines;
}

// The fields of a line of CSV, which has no line ends inside.
std::size_t fieldsOf(std::string_view line) {
  bool quoted = false;
  std::size_t fields = 1;
  for (const char c : line) {
    quoted = quoted != (c == '"');
    fields += c == ',' && !quoted ? 1 : 0;
  }
  return fields;
}

void checkTable(Agent& agent) {
  const RouteFilters filters({}, agent);
  RouteStock stock;
  Console console(output.file(), output.file());
  RouteTable table(stock, filters, console, "fuzz");
  read(table, RouteWalk::Reading::strict, console);
  table.forEach([&](const KeptRoute& route) {
    const RouteStock::Key key = stock.keyAt(route.key);
    TYR_ASSERT(table.find(route.key) == &route && route.passes);
    TYR_ASSERT(!key.target.isPrefix || key.target.nlri.bits <= key.target.family.mostBits());
    route.facts(stock);
  });
  output.take();
}

}  // namespace

void oneInput(Input octets) {
  input.octetsAre(textOf(octets.rest()));
  Agent agent(true);
  const std::string json = print(makeJsonWriter, RouteWalk::Reading::strict, agent);
  const std::size_t routes = forEachLine(json, [](std::string_view line) { boost::json::parse(line); });
  const std::string csv = print(makeCsvWriter, RouteWalk::Reading::strict, agent);
  TYR_ASSERT(forEachLine(csv, [](std::string_view line) { TYR_ASSERT(fieldsOf(line) == 16); }) == routes + 1);
  const std::string text = print(makePeopleWriter, RouteWalk::Reading::strict, agent);
  TYR_ASSERT(forEachLine(text, [](std::string_view) {}) == routes + (routes == 0 ? 0 : 1));
  print(makeBgpdumpWriter, RouteWalk::Reading::lenient, agent);
  checkTable(agent);
}

}  // namespace VelBgpFuzz
