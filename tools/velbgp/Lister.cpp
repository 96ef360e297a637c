#include "tools/velbgp/Lister.h"

#include <algorithm>
#include <boost/json/parse.hpp>
#include <boost/locale/utf.hpp>
#include <utility>

#include "VelBgp/PathLists.h"
#include "tools/velbgp/JsonText.h"

namespace VelBgpTool {

namespace {

bool isUtf8(std::string_view text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at != end) {
    if (!boost::locale::utf::is_valid_codepoint(boost::locale::utf::utf_traits<char>::decode(at, end))) return false;
  }
  return true;
}

JsonText& keyIs(JsonText& out, std::string_view key) {
  return isUtf8(key) ? out.name("key").text(key) : out.name("keyHex").hex(octetsOf(key));
}
std::string keyText(std::string_view key) { return "key " + (isUtf8(key) ? escaped(key) : hexValue(octetsOf(key))); }

}  // namespace

void Lister::pathEnds(const Place& place) {
  bool fitting = true;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    fitting &= fits(place, kind, wire_[kind].size() / kindRows[kind].octets);
  }
  Numbers numbers;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    if (fitting && !wire_[kind].empty()) numbers[kind] = kinds_.at(kind).pathIs(wire_[kind]);
    wire_[kind].clear();
  }
  print(place, numbers);
}

void Lister::pathIs(const Place& place, std::string_view key, const Routing::Bgp::PathLists& lists) {
  Numbers numbers;
  for (std::size_t kind = 0; kind < kindCount; ++kind) numbers[kind] = kinds_.at(kind).listOf(lists);
  print(place, numbers, &key);
}

void Lister::pathGoes(std::string_view key) {
  if (!json_) {
    if (!std::exchange(first_, false)) console_.line("");
    return console_.line(heading(console_, keyText(key) + " gone"));
  }
  Tyr::DynamicBuffer<> text;
  JsonText out(text);
  keyIs(out.open('{'), key).name("gone").word("true").close('}');
  console_.line(text.view());
}

bool Lister::fits(const Place& place, std::size_t kind, std::size_t count) {
  const std::size_t capacity = attributeCapacity(kindRows[kind]);
  if (count <= capacity) return true;
  console_.error(place, std::to_string(count) + " communities of the kind " + kindRows[kind].name +
                            ", expected at most " + std::to_string(capacity) + ", as many as one attribute carries");
  return false;
}

// A line goes to the console in pieces: together they are nowhere else.
void Lister::print(const Place& place, const Numbers& numbers, const std::string_view* key) {
  Lists lists;
  bool fitting = true;
  for (std::size_t kind = 0; kind < kindCount; ++kind) {
    if (!numbers[kind]) continue;
    const Printed& list = printed(place, kind, *numbers[kind]);
    fitting &= fits(place, kind, list.communities);
    lists[kind] = list.json;
  }
  if (!fitting) lists = {};
  if (!json_) return printForPeople(lists, key);
  Tyr::DynamicBuffer<> begin;
  JsonText out(begin);
  out.open('{');
  if (key != nullptr) keyIs(out, *key);
  console_.print(begin.view());
  bool first = key == nullptr;
  for (const std::string_view list : lists) {
    if (list.empty()) continue;
    if (!std::exchange(first, false)) console_.print(",");
    console_.print(list);
  }
  console_.line("}");
}

const Lister::Printed& Lister::printed(const Place& place, std::size_t kind, std::uint32_t number) {
  std::vector<Printed>& kept = printed_[kind];
  if (number >= kept.size()) kept.resize(number + 1);
  Printed* found = &kept[number];
  if (found->json.empty()) {
    Printed made = makePrinted(kind, number);
    const std::size_t octets = made.json.size() + sizeof made;
    if (octetsKept_ + octets > mostOctetsKept)
      found = &notKept_[kind];
    else
      octetsKept_ += octets;
    *found = std::move(made);
  }
  for (const std::string& text : found->notes) console_.note(place, text);
  return *found;
}

Lister::Printed Lister::makePrinted(std::size_t index, std::uint32_t number) {
  Kind& kind = kinds_.at(index);
  Printed made;
  made.communities = kind.totalCommunities(number);
  Tyr::DynamicBuffer<4096> text;
  JsonText out(text);
  out.name(kindRows[index].name).open('{');
  if (made.communities <= attributeCapacity(kindRows[index])) kind.list(number, out, made.notes);
  const auto matched = match_ != nullptr ? kind.matches(number, *match_) : std::nullopt;
  if (matched) out.name("match").word(*matched ? "true" : "false");
  out.close('}');
  made.json = text.str();
  return made;
}

void Lister::printForPeople(const Lists& lists, const std::string_view* key) {
  if (!std::exchange(first_, false)) console_.line("");
  if (key != nullptr) console_.line(heading(console_, keyText(*key)));
  bool none = true;
  for (const std::string_view list : lists) {
    if (list.empty()) continue;
    none = false;
    const boost::json::value members = boost::json::parse("{" + std::string(list) + "}");
    for (const auto& member : members.get_object()) {
      console_.line(heading(console_, std::string_view(member.key())));
      printBlock(console_, member.value().get_object(), 2);
    }
  }
  if (none) console_.line("(none)");
}

}  // namespace VelBgpTool
