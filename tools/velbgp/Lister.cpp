#include "tools/velbgp/Lister.h"

#include <algorithm>
#include <boost/json/serialize.hpp>
#include <utility>

#include "Keel/HashMix.h"
#include "Policy/PosixRegex.h"
#include "VelBgp/ListPublisher.h"
#include "tools/velbgp/MatchHint.h"

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
  printMeanings(numbers);
  if (explain_) printExplained(numbers);
}

// As the object would be serialized.
std::string Lister::json(const Place& place, const Numbers& numbers) {
  std::string out;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    if (!numbers[kind]) continue;
    out.append(out.empty() ? "{\"" : ",\"").append(kindRows[kind].name).append("\":");
    appendList(out, place, kind, *numbers[kind]);
  }
  if (out.empty()) return "{}";
  if (explain_) out += ",\"explain\":" + boost::json::serialize(explained(numbers));
  return out + "}";
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
  anyMatch_ = anyMatch_ || matched.value_or(false);
  return out;
}

boost::json::array Lister::explained(const Numbers& numbers) {
  boost::json::array out;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    if (numbers[kind]) kinds_.at(kind).explainList(*numbers[kind], match_, out);
  }
  return out;
}

void Lister::printMeanings(const Numbers& numbers) {
  bool first = true;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    if (!numbers[kind]) continue;
    forEachValue(kind, *numbers[kind], [&](Octets value) {
      const std::string meaning = names_.meaning(kind, value);
      if (meaning.empty()) return;
      if (std::exchange(first, false)) console_.line(heading(console_, "meanings"));
      console_.line(wrapped("  " + kinds_.at(kind).text(value) + "  ", meaning, console_.columns()));
    });
  }
}

// One sentence for each value.
void Lister::printExplained(const Numbers& numbers) {
  console_.line(heading(console_, "why"));
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    if (!numbers[kind]) continue;
    boost::json::array why;
    kinds_.at(kind).explainList(*numbers[kind], match_, why);
    auto entry = why.begin();
    forEachValue(kind, *numbers[kind], [&](Octets value) {
      console_.line(
          wrapped("  ", kinds_.at(kind).text(value) + sentenceOf((entry++)->get_object()), console_.columns()));
    });
  }
}

// " is sent ..., is kept by pruning, and matches ..."
std::string Lister::sentenceOf(const boost::json::object& why) const {
  std::string sent, withheld;
  for (const auto& [filter, passes] : why.at("sent").get_object()) {
    std::string& names = passes.get_bool() ? sent : withheld;
    names.append(names.empty() ? "" : ", ").append(filter);
  }
  std::string text = " is sent under " + (withheld.empty() ? "every filter" : sent);
  if (!withheld.empty()) text += " but, since it is not transitive, not under " + withheld;
  const std::string_view prune = why.at("prune").get_string();
  text += prune == "kept" ? "; pruning keeps it" : "; pruning drops it" + std::string(prune.substr(prune.find(':')));
  if (match_ == nullptr) return text + ".";
  if (why.at("match").is_null()) return text + "; the expression does not find it.";
  const boost::json::object& match = why.at("match").get_object();
  return text + "; the expression finds " + quote(match.at("text").get_string()) + " in the text of mode " +
         std::string(match.at("mode").get_string()) + ".";
}

void Lister::noteMatches() {
  if (match_ != nullptr && !anyMatch_) noteOtherSpelling(match_->pattern(), kinds_, console_);
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
