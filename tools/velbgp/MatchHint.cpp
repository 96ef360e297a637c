#include "tools/velbgp/MatchHint.h"

#include <algorithm>
#include <optional>

#include "Policy/PosixRegex.h"
#include "VelBgp/Parse/ExtCommRouteOrigin.h"
#include "VelBgp/Parse/ExtCommRouteTarget.h"
#include "VelBgp/Parse/ExtCommSourceAs.h"
#include "VelBgp/Parse/ExtCommVrfRouteImport.h"
#include "tools/velbgp/Console.h"

namespace VelBgpTool {

using namespace Routing::Bgp;

namespace {

// The labels of show commands, and those that expressions see.
struct Labels {
  std::string_view shown;
  std::string_view matched;
};
constexpr Labels labels[] = {
    {ExtCommRouteTargetAs::labels.twoOctetAs.ui, ExtCommRouteTargetAs::labels.classificationOnly},
    {ExtCommRouteTargetAs::labels.fourOctetAs.ui, ExtCommRouteTargetAs::labels.classificationOnly},
    {ExtCommRouteTargetIpv4Address::labels.ipv4Address.ui, ExtCommRouteTargetIpv4Address::labels.classificationOnly},
    {ExtCommRouteOriginAs::labels.twoOctetAs.ui, ExtCommRouteOriginAs::labels.classificationOnly},
    {ExtCommRouteOriginAs::labels.fourOctetAs.ui, ExtCommRouteOriginAs::labels.classificationOnly},
    {ExtCommRouteOriginIpv4Address::labels.ipv4Address.ui, ExtCommRouteOriginIpv4Address::labels.classificationOnly},
    {ExtCommSourceAs::labels.twoOctetAs.ui, ExtCommSourceAs::labels.classificationOnly},
    {ExtCommSourceAs::labels.fourOctetAs.ui, ExtCommSourceAs::labels.classificationOnly},
    {ExtCommVrfRouteImportIpv4Address::labels.ipv4Address.ui,
     ExtCommVrfRouteImportIpv4Address::labels.classificationOnly},
};

constexpr std::string_view wordBegin = "(^| )";
constexpr std::string_view wordEnd = "( |$)";

std::string word(std::string_view expression) { return std::string(wordBegin).append(expression).append(wordEnd); }

std::string literally(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (std::string_view("\\.[](){}*+?^$|").find(c) != std::string_view::npos) out += '\\';
    out += c;
  }
  return out;
}

std::string replaced(std::string text, std::string_view from, std::string_view to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// With the router's sign for the ends of words, and the ends of the whole text, as what they are between communities.
std::string_view withoutEnds(std::string_view text) {
  while (!text.empty() && (text.front() == '_' || text.front() == '^')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == '_' || text.back() == '$')) text.remove_suffix(1);
  return text;
}

// A standard community as one number, as some routers print it.
std::optional<AnyCommValue> valueOf(std::string_view text) {
  const auto number = readDecimal<std::uint32_t>(text);
  if (number && *number > 0xffff) return AnyCommValue(*number);
  const auto value = valueFromText(replaced(std::string(text), "\\.", "."));
  return value ? std::optional<AnyCommValue>(*value) : std::nullopt;
}

}  // namespace

std::vector<std::string> otherSpellings(std::string_view expression, Kinds& kinds) {
  std::vector<std::string> found;
  const auto add = [&](std::string other) {
    if (other != expression && !other.empty()) found.push_back(std::move(other));
  };
  const std::string_view plain = withoutEnds(expression);
  if (const auto value = valueOf(plain)) {
    const TypedValue typed = typedValue(*value);
    const std::string text = kinds.at(typed.kind).matchText(typed.wire());
    if (!text.empty() && text != expression) add(word(literally(text)));
    return found;
  }
  std::string other(expression);
  if (other.starts_with('^') && other.ends_with('$') && other.size() > 2) other = word(plain);
  if (other.starts_with('_')) other.replace(0, 1, wordBegin);
  if (other.ends_with('_')) other.replace(other.size() - 1, 1, wordEnd);
  other = replaced(std::move(other), "_", "(^| |$)");
  for (const auto& [shown, matched] : labels) other = replaced(std::move(other), shown, matched);
  add(std::move(other));
  return found;
}

void noteOtherSpelling(std::string_view expression, Kinds& kinds, Console& console) {
  const std::vector<std::string> others = otherSpellings(expression, kinds);
  const auto finds = [&kinds](const std::string& other) {
    try {
      const Routing::RouteMap::PosixRegex regex(other);
      bool any = false;
      for (std::size_t kind = 0; kind < kindCount && !any; ++kind) any = kinds.at(kind).anyMatches(regex);
      return any;
    } catch (const Routing::RouteMap::PosixRegexException&) {
      return false;
    }
  };
  if (others.empty()) return;
  const auto best = std::find_if(others.begin(), others.end(), finds);
  const bool found = best != others.end();
  console.note("--match '" + escaped(expression) + "' finds nothing; lists are matched by other texts, and '" +
               escaped(found ? *best : others.front()) + (found ? "' finds some" : "' says the same of them"));
}

}  // namespace VelBgpTool
