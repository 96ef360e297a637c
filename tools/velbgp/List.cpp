#include <unistd.h>

#include <array>
#include <boost/json/serialize.hpp>
#include <vector>

#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Kind.h"
#include "tools/velbgp/Lines.h"

namespace VelBgpTool {

namespace {

// The communities of one path, kept by kind as they would stand in its attributes.
class Lister {
 public:
  Lister(const Options& options, const Routing::RouteMap::PosixRegex* match, Console& console)
      : json_(options.json), match_(match), console_(console), agent_(options.mvpn) {}

  // Takes the values among the words; bad ones are reported.
  void wordsAre(const Place& place, const std::vector<std::string_view>& found) {
    for (const std::string_view word : found) {
      std::string problem;
      if (const auto value = parseValue(word, problem)) {
        const Octets wire = value->wire();
        wire_[value->kind].insert(wire_[value->kind].end(), wire.begin(), wire.end());
      } else {
        console_.error(place, problem);
      }
    }
  }

  // Ends the path: prints its lists.
  void pathEnds(const Place& place) {
    boost::json::object out;
    if (fits(place)) {
      for (std::size_t kind = 0; kind < kindCount; ++kind) {
        if (!wire_[kind].empty()) out[kindRows[kind].name] = list(place, kind);
      }
    }
    for (auto& octets : wire_) octets.clear();
    json_ ? console_.line(boost::json::serialize(out)) : printForPeople(out);
  }

 private:
  bool fits(const Place& place) {
    bool all = true;
    for (std::size_t kind = 0; kind < kindCount; ++kind) {
      const std::size_t count = wire_[kind].size() / kindRows[kind].octets;
      const std::size_t capacity = attributeCapacity(kindRows[kind]);
      if (count <= capacity) continue;
      all = false;
      console_.error(place, std::to_string(count) + " communities of the kind " + kindRows[kind].name +
                                ", expected at most " + std::to_string(capacity) +
                                ", as many as one attribute carries");
    }
    return all;
  }

  boost::json::object list(const Place& place, std::size_t index) {
    Kind& kind = kinds_.at(index);
    const std::uint32_t number = kind.pathIs(wire_[index]);
    std::vector<std::string> notes;
    boost::json::object out = kind.list(number, notes);
    if (match_ != nullptr && kind.matchable()) out["match"] = kind.matches(number, *match_);
    for (const std::string& note : notes) console_.note(place, note);
    return out;
  }

  void printForPeople(const boost::json::object& out) {
    if (!first_) console_.line("");
    first_ = false;
    if (out.empty()) console_.line("(none)");
    for (const auto& member : out) {
      console_.line(heading(console_, std::string_view(member.key())));
      printBlock(console_, member.value().get_object(), 2);
    }
  }

  bool json_;
  bool first_ = true;
  const Routing::RouteMap::PosixRegex* match_;
  Console& console_;
  Agent agent_;
  Kinds kinds_{agent_};
  std::array<std::vector<std::uint8_t>, kindCount> wire_;
};

void listArguments(const std::vector<std::string>& arguments, Lister& lister) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::vector<std::string_view> found = words(arguments[i]);
    if (found.empty()) found.emplace_back();
    lister.wordsAre({"argument", i + 1}, found);
  }
  lister.pathEnds({"argument", 1});
}

}  // namespace

void listCommand(const Options& options, const Routing::RouteMap::PosixRegex* match, Console& console) {
  Lister lister(options, match, console);
  if (!options.inputs.empty()) return listArguments(options.inputs, lister);
  for (LineReader reader(STDIN_FILENO, console); reader.next();) {
    const Place place{"stdin", reader.number()};
    lister.wordsAre(place, words(reader.line()));
    lister.pathEnds(place);
  }
}

}  // namespace VelBgpTool
