#include "tools/velbgp/Lister.h"

#include <algorithm>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <boost/locale/utf.hpp>
#include <utility>

#include "Policy/PosixRegex.h"
#include "VelBgp/PathLists.h"
#include "tools/velbgp/JsonText.h"
#include "tools/velbgp/MatchHint.h"

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
    if (fitting && !wire_[kind].empty()) numbers[kind] = kinds_.at(kind).intern(wire_[kind]);
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
  const bool any = std::any_of(lists.begin(), lists.end(), [](std::string_view list) { return !list.empty(); });
  if (!json_) {
    printForPeople(lists, key);
    if (any) printMeanings(numbers);
    if (any && explain_) printExplained(numbers);
    return;
  }
  Tyr::DynamicBuffer<4096> text;
  JsonText out(text);
  out.open('{');
  if (key != nullptr) keyIs(out, *key);
  for (const std::string_view list : lists) {
    if (!list.empty()) out.word(list).flush(console_);
  }
  if (any && explain_) out.name("explain").word(boost::json::serialize(explained(numbers)));
  out.close('}');
  console_.line(text.view());
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
  anyMatch_ = anyMatch_ || matched.value_or(false);
  out.close('}');
  made.json = text.str();
  return made;
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
    kinds_.at(kind).forEachValue(*numbers[kind], [&](Octets value) {
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
    kinds_.at(kind).forEachValue(*numbers[kind], [&](Octets value) {
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
