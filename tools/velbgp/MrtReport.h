// What `velbgp mrt` found, and how it is printed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Kind.h"
#include "tools/velbgp/MrtReader.h"

namespace VelBgpTool {

struct Agent;
class Console;
class Interning;
class JsonText;
class Names;

// What is counted together: all, or what one file or one peer has.
struct MrtGroup {
  // As a record names it; without an address where it names none.
  struct Peer {
    std::string address;  // octets
    std::uint32_t as;
  };

  std::optional<std::string> file = {};
  std::optional<Peer> peer = {};
  std::uint64_t files = 0;
  MrtCounts counts = {};

  // What one more file has.
  void add(const MrtCounts& more) {
    ++files;
    counts.records += more.records;
    counts.paths += more.paths;
    counts.malformed += more.malformed;
    counts.skipped += more.skipped;
  }
};

class MrtReport {
 public:
  MrtReport(const Options& options, const std::vector<MrtGroup>& groups, const Interning& interning, Kinds& kinds,
            const Names& names, const Agent& agent, Console& console);
  // In the form that the options ask for.
  void print();

 private:
  // A group with what its kinds come to.
  struct Group {
    const MrtGroup& counts;
    std::uint64_t matches;
    std::array<const Tally*, kindCount> tallies;
    std::array<Statistics, kindCount> kinds;
    std::map<unsigned, std::uint64_t> classifications;
  };
  Group group(std::uint32_t number) const;

  // What tells a group from the others: in JSON, in CSV, and in words.
  boost::json::object keys(const MrtGroup& group) const;

  void printJson(const Group& group);
  void writeKind(const Group& group, std::size_t kind, JsonText& out);
  void writeTop(const Statistics& found, std::size_t kind, JsonText& out);
  void printCsv(const Group& group);

  void printForPeople(const Group& group);
  void printCounts(const Group& group);
  void printKinds(const Group& group);
  void printClassifications(const Group& group);
  void printTop(const Group& group, std::size_t kind);
  void printUse(std::uint64_t paths, std::uint64_t most, const std::string& text);

  const Options& options_;
  const std::vector<MrtGroup>& groups_;
  const Interning& interning_;
  Kinds& kinds_;
  const Names& names_;
  const Agent& agent_;
  Console& console_;
};

}  // namespace VelBgpTool
