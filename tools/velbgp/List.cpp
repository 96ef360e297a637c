#include <unistd.h>

#include <string>
#include <vector>

#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Kind.h"
#include "tools/velbgp/Lines.h"
#include "tools/velbgp/Lister.h"

namespace VelBgpTool {

using namespace Routing::Bgp;

namespace {

// Takes a value, or reports what is none.
void valueIs(const Place& place, std::string_view text, const ValueTextResult<AnyCommValue>& value, Lister& lister,
             Console& console) {
  if (!value) return console.error(place, problemOf(text, value.error()));
  const TypedValue typed = typedValue(*value);
  lister.valuesAre(typed.kind, typed.wire());
}

void listArguments(const std::vector<std::string>& arguments, Lister& lister, Console& console) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    valueIs({"argument", i + 1}, trimmed(arguments[i]), valueFromText(arguments[i]), lister, console);
  }
  lister.pathEnds({"argument", 1});
}

void listLines(Lister& lister, Console& console) {
  for (LineReader reader(STDIN_FILENO, console); reader.next();) {
    const Place place{"stdin", reader.number()};
    for (ValueTexts texts(reader.line()); const auto typed = texts.next();) {
      valueIs(place, reader.line().substr(typed->offset, typed->length), typed->value, lister, console);
    }
    lister.pathEnds(place);
  }
}

}  // namespace

void listCommand(const Options& options, const Routing::RouteMap::PosixRegex* match, Console& console) {
  Lister lister(options.json, options.mvpn, match, console);
  lister.explainIs(options.explain);
  if (options.names) lister.names().read(*options.names, console);
  options.inputs.empty() ? listLines(lister, console) : listArguments(options.inputs, lister, console);
  lister.noteMatches();
}

}  // namespace VelBgpTool
