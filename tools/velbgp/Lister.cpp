#include "tools/velbgp/Lister.h"

#include <boost/json/serialize.hpp>
#include <string>

namespace VelBgpTool {

void Lister::pathEnds(const Place& place) {
  boost::json::object out;
  if (fits(place)) {
    for (std::size_t kind = 0; kind < kindCount; ++kind) {
      if (!wire_[kind].empty()) out[kindRows[kind].name] = list(place, kind);
    }
  }
  for (auto& octets : wire_) octets.clear();
  json_ ? console_.line(boost::json::serialize(out)) : printForPeople(out);
}

bool Lister::fits(const Place& place) {
  bool all = true;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    const std::size_t count = wire_[kind].size() / kindRows[kind].octets;
    const std::size_t capacity = attributeCapacity(kindRows[kind]);
    if (count <= capacity) continue;
    all = false;
    console_.error(place, std::to_string(count) + " communities of the kind " + kindRows[kind].name +
                              ", expected at most " + std::to_string(capacity) + ", as many as one attribute carries");
  }
  return all;
}

boost::json::object Lister::list(const Place& place, std::size_t index) {
  Kind& kind = kinds_.at(index);
  const std::uint32_t number = kind.pathIs(wire_[index]);
  std::vector<std::string> notes;
  boost::json::object out = kind.list(number, notes);
  const auto matched = match_ != nullptr ? kind.matches(number, *match_) : std::nullopt;
  if (matched) out["match"] = *matched;
  for (const std::string& note : notes) console_.note(place, note);
  return out;
}

void Lister::printForPeople(const boost::json::object& out) {
  if (!first_) console_.line("");
  first_ = false;
  if (out.empty()) console_.line("(none)");
  for (const auto& member : out) {
    console_.line(heading(console_, std::string_view(member.key())));
    printBlock(console_, member.value().get_object(), 2);
  }
}

}  // namespace VelBgpTool
