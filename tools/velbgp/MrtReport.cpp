#include "tools/velbgp/MrtReport.h"

#include <algorithm>
#include <boost/json/serialize.hpp>

#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Console.h"

namespace VelBgpTool {

namespace {

constexpr unsigned barWidth = 30;

// Received communities by classification, ascending.
boost::json::object classifications(Kinds& kinds) {
  std::map<unsigned, std::uint64_t> counts;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    kinds.at(kind).classify(counts);
  }
  boost::json::object out;
  for (const auto& [classification, count] : counts) {
    out[stringValue(Routing::Bgp::ExtCommClassification(classification))] = count;
  }
  return out;
}

void printKinds(const MrtTotals& totals, Kinds& kinds, Console& console) {
  Columns columns;
  columns.rowIs({"KIND", "PATHS", "COMMUNITIES", "DISTINCT LISTS", "DISTINCT COMMUNITIES", "OCTETS SAVED"});
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    const Received& received = totals.received[kind];
    const std::uint64_t distinct = kinds.at(kind).distinctCommunities();
    columns.rowIs({kindRows[kind].name, std::to_string(received.paths), std::to_string(received.communities),
                   std::to_string(kinds.at(kind).distinctLists()), std::to_string(distinct),
                   std::to_string((received.communities - distinct) * kindRows[kind].octets)});
  }
  columns.print(console);
  console.line("Octets saved: the values received, less one copy of each distinct value.");
}

void printClassifications(Kinds& kinds, Console& console) {
  Columns columns;
  columns.rowIs({"CLASSIFICATION", "COMMUNITIES"});
  for (const auto& member : classifications(kinds)) {
    columns.rowIs({std::string(member.key()), boost::json::serialize(member.value())});
  }
  if (columns.empty()) return;
  console.line("");
  columns.print(console);
}

void printTop(const std::string& title, const std::vector<Use>& uses, Console& console) {
  if (uses.empty()) return;
  console.line("");
  console.line(heading(console, title));
  const std::size_t digits = std::to_string(uses.front().count).size();
  for (const Use& use : uses) {
    const std::string count = std::to_string(use.count);
    std::string line = std::string(digits - count.size(), ' ') + count + "  " +
                       bar(use.count, uses.front().count, barWidth) + "  " + use.text;
    // Cut only where a terminal would break the line; a file gets all of it.
    const std::size_t width = console.columns();
    if (width > 3 && line.size() > width) line.replace(width - 3, std::string::npos, "...");
    console.line(line);
  }
}

std::string plural(std::uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

}  // namespace

void printMrtJson(const MrtTotals& totals, Kinds& kinds, Console& console) {
  boost::json::object out;
  out["files"] = totals.files;
  out["records"] = totals.counts.records;
  out["paths"] = totals.counts.paths;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    boost::json::object& counts = out[kindRows[kind].name].emplace_object();
    counts["paths"] = totals.received[kind].paths;
    counts["communities"] = totals.received[kind].communities;
    counts["distinctLists"] = kinds.at(kind).distinctLists();
    counts["distinctCommunities"] = kinds.at(kind).distinctCommunities();
  }
  out["classifications"] = classifications(kinds);
  out["matches"] = totals.matches;
  out["malformed"] = totals.counts.malformed;
  out["skipped"] = totals.counts.skipped;
  console.line(boost::json::serialize(out));
}

void printMrtForPeople(const MrtTotals& totals, Kinds& kinds, const Agent& agent, std::uint64_t top, Console& console) {
  console.line(plural(totals.files, "file", "files") + ", " + plural(totals.counts.records, "record", "records") +
               ", " + plural(totals.counts.paths, "path", "paths") + ", " + plural(totals.matches, "match", "matches") +
               ", " + std::to_string(totals.counts.malformed) + " malformed, " + std::to_string(totals.counts.skipped) +
               " skipped");
  console.line("");
  printKinds(totals, kinds, console);
  printClassifications(kinds, console);
  console.line("");
  console.line("Route targets in use: " + std::to_string(agent.extComms()->producerRtList()->rtCount()));
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    const std::string name = kindRows[kind].name;
    const auto most = static_cast<std::size_t>(top);
    printTop("Most used lists of the kind " + name + ", by paths", kinds.at(kind).topLists(most), console);
    printTop("Most used communities of the kind " + name, kinds.at(kind).topCommunities(most), console);
  }
}

}  // namespace VelBgpTool
