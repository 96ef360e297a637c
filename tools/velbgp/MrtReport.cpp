#include "tools/velbgp/MrtReport.h"

#include <algorithm>
#include <boost/json/serialize.hpp>

#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/JsonText.h"
#include "tools/velbgp/Names.h"
#include "tools/velbgp/PathBatch.h"
#include "tools/velbgp/RouteText.h"

namespace VelBgpTool {

namespace {

constexpr unsigned barWidth = 20;
constexpr std::uint64_t defaultTop = 10;

std::string classificationName(unsigned classification) {
  return stringValue(Routing::Bgp::ExtCommClassification(classification));
}

std::string plural(std::uint64_t count, const char* one, const char* many) {
  return grouped(count) + " " + (count == 1 ? one : many);
}

// Of a text, a number or nothing.
std::string plainText(const boost::json::value& value) {
  if (value.is_string()) return std::string(value.get_string());
  return value.is_null() ? "" : boost::json::serialize(value);
}

}  // namespace

MrtReport::MrtReport(const Options& options, const std::vector<MrtGroup>& groups, const Interning& interning,
                     Kinds& kinds, const Names& names, const Agent& agent, Console& console)
    : options_(options),
      groups_(groups),
      interning_(interning),
      kinds_(kinds),
      names_(names),
      agent_(agent),
      console_(console) {}

void MrtReport::print() {
  constexpr const char* keyColumns[] = {"", "file,", "peer,peerAs,"};
  if (options_.csv) {
    console_.line(std::string(keyColumns[static_cast<int>(options_.by)]) + "kind,value,text,paths,meaning");
  }
  for (std::uint32_t number = 0; number < groups_.size(); ++number) {
    const Group found = group(number);
    if (options_.json) {
      printJson(found);
    } else if (options_.csv) {
      printCsv(found);
    } else if (found.counts.files != 0 || found.counts.peer) {  // else the errors say it
      if (number != 0) console_.line("");
      printForPeople(found);
    }
  }
}

MrtReport::Group MrtReport::group(std::uint32_t number) const {
  const std::uint64_t shown = options_.json ? 0 : options_.csv ? UINT64_MAX : defaultTop;
  Group found{groups_[number], interning_.matches(number), {}, {}, {}};
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    found.tallies[kind] = &interning_.tally(kind, number);
    found.kinds[kind] = kinds_.at(kind).statistics(*found.tallies[kind], options_.top.value_or(shown));
    for (const auto& [classification, count] : found.kinds[kind].classifications) {
      found.classifications[classification] += count;
    }
  }
  return found;
}

boost::json::object MrtReport::keys(const MrtGroup& group) const {
  boost::json::object out;
  if (group.file) out["file"] = utf8(*group.file);
  if (group.peer) {
    const bool named = !group.peer->address.empty();
    std::string address;
    if (named) appendAddress(address, octetsOf(group.peer->address));
    out["peer"] = named ? boost::json::value(address) : nullptr;
    out["peerAs"] = named ? boost::json::value(group.peer->as) : nullptr;
  }
  return out;
}

void MrtReport::printJson(const Group& group) {
  const MrtCounts& counts = group.counts.counts;
  Tyr::DynamicBuffer<4096> text;
  JsonText out(text);
  out.open('{');
  for (const auto& [name, value] : keys(group.counts)) out.name(name).word(boost::json::serialize(value));
  if (!group.counts.peer) out.name("files").number(group.counts.files).name("records").number(counts.records);
  out.name("paths").number(counts.paths);
  for (std::size_t kind = 0; kind < kindCount; ++kind) writeKind(group, kind, out.name(kindRows[kind].name));
  out.name("classifications").open('{');
  for (const auto& [classification, count] : group.classifications) {
    out.name(classificationName(classification)).number(count);
  }
  out.close('}').name("matches").number(group.matches);
  if (!group.counts.peer) out.name("malformed").number(counts.malformed).name("skipped").number(counts.skipped);
  out.close('}');
  console_.line(text.view());
}

void MrtReport::writeKind(const Group& group, std::size_t kind, JsonText& out) {
  const Statistics& found = group.kinds[kind];
  out.open('{').name("paths").number(group.tallies[kind]->paths);
  out.name("communities").number(group.tallies[kind]->communities);
  out.name("distinctLists").number(found.distinctLists).name("distinctCommunities").number(found.distinctCommunities);
  if (options_.top) writeTop(found, kind, out);
  out.close('}');
}

// Piece by piece: all of them are many.
void MrtReport::writeTop(const Statistics& found, std::size_t index, JsonText& out) {
  const Kind& kind = kinds_.at(index);
  out.name("topLists").open('[');
  for (const auto& [number, paths] : found.topLists) {
    out.open('{').name("paths").number(paths).name("values").open('[');
    kind.forEachValue(number, [&out](Octets value) { out.hex(value); });
    out.close(']').name("text").text(kind.listText(number)).close('}').flush(console_);
  }
  out.close(']').name("topCommunities").open('[');
  for (const auto& [octets, paths] : found.topCommunities) {
    const Octets value = octetsOf(octets);
    out.open('{').name("paths").number(paths).name("value").hex(value).name("text").text(kind.text(value));
    if (const std::string meaning = names_.meaning(index, value); !meaning.empty()) out.name("meaning").text(meaning);
    out.close('}').flush(console_);
  }
  out.close(']');
}

void MrtReport::printCsv(const Group& group) {
  std::string keysText;
  for (const auto& [name, value] : keys(group.counts)) {
    appendCsv(keysText, plainText(value));
    keysText += ',';
  }
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    for (const auto& [octets, paths] : group.kinds[kind].topCommunities) {
      const Octets value = octetsOf(octets);
      std::string line = keysText + kindRows[kind].name + "," + hexValue(value) + ",";
      appendCsv(line, kinds_.at(kind).text(value));
      line += "," + std::to_string(paths) + ",";
      appendCsv(line, names_.meaning(kind, value));
      console_.line(line);
    }
  }
}

void MrtReport::printForPeople(const Group& group) {
  std::string title;
  for (const auto& [name, value] : keys(group.counts)) {
    title += (title.empty() ? "" : ", ") +
             (name == "file"   ? ""
              : name == "peer" ? "peer "
                               : std::string("AS ")) +
             (value.is_null() ? "unknown" : escaped(plainText(value)));
  }
  if (!title.empty()) console_.line(heading(console_, title));
  printCounts(group);
  printKinds(group);
  printClassifications(group);
  if (options_.by == By::all) {
    console_.line("");
    console_.line("Route targets in use: " + grouped(agent_.extComms()->producerRtList()->rtCount()));
  }
  for (std::size_t kind = 0; kind < kindCount; ++kind) printTop(group, kind);
}

void MrtReport::printCounts(const Group& group) {
  const MrtCounts& counts = group.counts.counts;
  if (group.counts.peer) {
    return console_.line(plural(counts.paths, "path", "paths") +
                         (options_.match ? ", " + plural(group.matches, "path matches", "paths match") : ""));
  }
  console_.line(plural(group.counts.files, "file", "files") + ", " + plural(counts.records, "record", "records") +
                ", " + plural(counts.paths, "path", "paths"));
  console_.line((options_.match ? plural(group.matches, "path matches", "paths match") + ", " : "") +
                grouped(counts.malformed) + " malformed, " + grouped(counts.skipped) + " skipped");
}

void MrtReport::printKinds(const Group& group) {
  Columns columns(2);
  columns.rowIs({"", "", "", "DISTINCT", "DISTINCT", "OCTETS"});
  columns.rowIs({"KIND", "PATHS", "COMMUNITIES", "LISTS", "COMMUNITIES", "SAVED"});
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    const Tally& received = *group.tallies[kind];
    const Statistics& found = group.kinds[kind];
    columns.rowIs({kindRows[kind].name, grouped(received.paths), grouped(received.communities),
                   grouped(found.distinctLists), grouped(found.distinctCommunities),
                   grouped((received.communities - found.distinctCommunities) * kindRows[kind].octets)});
  }
  console_.line("");
  columns.print(console_);
  if (options_.by == By::all) console_.line("Octets saved: the values received, less one copy of each distinct value.");
}

void MrtReport::printClassifications(const Group& group) {
  std::uint64_t most = 0;
  for (const auto& [classification, count] : group.classifications) most = std::max(most, count);
  Columns columns;
  columns.rowIs({"CLASSIFICATION", "COMMUNITIES"});
  for (const auto& [classification, count] : group.classifications) {
    columns.rowIs({classificationName(classification), grouped(count), bar(count, most, barWidth)});
  }
  if (columns.empty()) return;
  console_.line("");
  columns.print(console_);
}

void MrtReport::printTop(const Group& group, std::size_t kind) {
  const Statistics& found = group.kinds[kind];
  if (found.topLists.empty()) return;
  console_.line("");
  console_.line(heading(console_, std::string("Lists of the kind ") + kindRows[kind].name + " on most paths"));
  for (const auto& [number, paths] : found.topLists) {
    std::string text;
    kinds_.at(kind).forEachValue(
        number, [&](Octets value) { text += (text.empty() ? "" : ", ") + kinds_.at(kind).text(value); });
    printUse(paths, found.topLists.front().second, text);
  }
  console_.line("");
  console_.line(heading(console_, std::string("Communities of the kind ") + kindRows[kind].name + " on most paths"));
  for (const auto& [octets, paths] : found.topCommunities) {
    const Octets value = octetsOf(octets);
    const std::string meaning = names_.meaning(kind, value);
    printUse(paths, found.topCommunities.front().second,
             kinds_.at(kind).text(value) + (meaning.empty() ? "" : "  " + meaning));
  }
}

void MrtReport::printUse(std::uint64_t paths, std::uint64_t most, const std::string& text) {
  console_.line(wrapped(rightAligned(grouped(paths), grouped(most).size()) + "  " + bar(paths, most, barWidth) + "  ",
                        text, console_.columns()));
}

}  // namespace VelBgpTool
