#include "tools/velbgp/Lister.h"

#include <algorithm>
#include <boost/json/serialize.hpp>

#include "Keel/HashMix.h"
#include "VelBgp/ListPublisher.h"

namespace VelBgpTool {

std::size_t Lister::Hash::operator()(const Routing::Store::Reference& reference) const {
  Keel::HashMix mix;
  mix.mixBytes8(reference.number);
  mix.mixBytes8(reference.anchor);
  return mix.value();
}

void Lister::pathEnds(const Place& place) {
  std::array<Octets, kindCount> values;
  std::copy(wire_.begin(), wire_.end(), values.begin());
  Numbers numbers;
  if (fits(place, values)) {
    for (std::size_t kind = 0; kind < kindCount; ++kind) {
      if (!values[kind].empty()) numbers[kind] = kinds_.at(kind).intern(values[kind]);
    }
  }
  for (auto& octets : wire_) octets.clear();
  print(place, numbers);
}

void Lister::pathIs(const Place& place, const Routing::Bgp::StashedPath& path, Routing::Store::StoreManager& store) {
  std::array<Stashed*, kindCount> lists;
  std::array<Octets, kindCount> values;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    lists[kind] = &stashed(kind, path, store);
    values[kind] = octetsOf(lists[kind]->values);
  }
  Numbers numbers;
  if (fits(place, values)) {
    for (std::size_t kind = 0; kind < kindCount; ++kind) {
      if (!values[kind].empty()) lists[kind]->number = kinds_.at(kind).intern(values[kind]);
      numbers[kind] = lists[kind]->number;
      lists[kind]->values = {};
    }
  }
  print(place, numbers);
}

Lister::Stashed& Lister::stashed(std::size_t kind, const Routing::Bgp::StashedPath& path,
                                 Routing::Store::StoreManager& store) {
  const Kind& readBy = kinds_.at(kind);
  const Routing::Store::Reference reference = readBy.stashed(path);
  const auto known = stashed_[kind].find(reference);
  if (known != stashed_[kind].end()) return known->second;
  return stashed_[kind].emplace(reference, Stashed{readBy.destash(path, store), {}}).first->second;
}

bool Lister::fits(const Place& place, const std::array<Octets, kindCount>& values) {
  bool all = true;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    const std::size_t count = values[kind].size() / kindRows[kind].octets;
    const std::size_t capacity = attributeCapacity(kindRows[kind]);
    if (count <= capacity) continue;
    all = false;
    console_.error(place, std::to_string(count) + " communities of the kind " + kindRows[kind].name +
                              ", expected at most " + std::to_string(capacity) + ", as many as one attribute carries");
  }
  return all;
}

void Lister::print(const Place& place, const Numbers& numbers) {
  if (json_) return console_.line(json(place, numbers));
  boost::json::object out;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    if (!numbers[kind]) continue;
    std::vector<std::string> notes;
    out[kindRows[kind].name] = list(kind, *numbers[kind], notes);
    note(place, notes);
  }
  printForPeople(out);
}

// As the object would be serialized.
std::string Lister::json(const Place& place, const Numbers& numbers) {
  std::string out;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    if (!numbers[kind]) continue;
    out.append(out.empty() ? "{\"" : ",\"").append(kindRows[kind].name).append("\":");
    appendList(out, place, kind, *numbers[kind]);
  }
  return out.empty() ? "{}" : out + "}";
}

void Lister::appendList(std::string& out, const Place& place, std::size_t kind, std::uint32_t number) {
  const auto known = printed_[kind].find(number);
  if (known != printed_[kind].end()) {
    out += known->second.json;
    return note(place, known->second.notes);
  }
  Printed printed;
  printed.json = boost::json::serialize(list(kind, number, printed.notes));
  out += printed.json;
  note(place, printed.notes);
  if (octetsKept_ >= mostOctetsKept) return;
  octetsKept_ += printed.json.size() + sizeof printed;
  printed_[kind].emplace(number, std::move(printed));
}

boost::json::object Lister::list(std::size_t index, std::uint32_t number, std::vector<std::string>& notes) {
  Kind& kind = kinds_.at(index);
  boost::json::object out = kind.list(number, notes);
  const auto matched = match_ != nullptr ? kind.matches(number, *match_) : std::nullopt;
  if (matched) out["match"] = *matched;
  return out;
}

void Lister::note(const Place& place, const std::vector<std::string>& notes) {
  for (const std::string& text : notes) console_.note(place, text);
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
