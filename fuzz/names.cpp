// Tables of names, expressions that somebody typed, and what is said of values: any text, any octets.
#include "tools/velbgp/Names.h"

#include <optional>

#include "fuzz/Fuzz.h"
#include "tools/velbgp/Agent.h"
#include "tools/velbgp/MatchHint.h"

namespace VelBgpFuzz {
namespace {

using namespace VelBgpTool;

// Every octet stands in one field, in order.
void explained(const Explanation& says, std::size_t octets) {
  TYR_ASSERT(!says.sentence.empty());
  unsigned next = 0;
  for (const Field& field : says.fields) {
    TYR_ASSERT(field.first == next && field.last >= field.first && !field.says.empty());
    next = field.last + 1;
  }
  TYR_ASSERT(next == octets);
}

}  // namespace

void oneInput(Input input) {
  const std::size_t kind = input.octet() % kindCount;
  const Octets given = input.take(kindRows[kind].octets);
  std::vector<std::uint8_t> value(given.begin(), given.end());
  value.resize(kindRows[kind].octets);
  Agent agent(true);
  Kinds kinds(agent);
  explained(kinds.at(kind).explain(value), value.size());

  const std::string_view text = textOf(input.rest());
  Names names(kinds);
  std::optional<TypedValue> first;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const std::string_view line = text.substr(begin, end - begin);
    begin = end + 1;
    const bool accepted = names.lineIs(line).empty();
    const auto typed = Routing::Bgp::valueFromText(line.substr(0, line.find_first_of(" \t")));
    if (accepted && !first && typed && !line.starts_with('"')) first = typedValue(*typed);
    otherSpellings(line, kinds);
  }
  names.meaning(kind, value);
  TYR_ASSERT(!first || !names.meaning(first->kind, first->wire()).empty());

  // What is printed of a value names it.
  Names exact(kinds);
  for (const std::string& spelling : kinds.at(kind).spellings(value)) exact.lineIs('"' + spelling + "\" known");
  exact.lineIs(hexValue(value) + " known");
  TYR_ASSERT(exact.meaning(kind, value) == "known");
}

}  // namespace VelBgpFuzz
