#include <unistd.h>

#include <string>
#include <vector>

#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Kind.h"
#include "tools/velbgp/Lines.h"
#include "tools/velbgp/Lister.h"

namespace VelBgpTool {

namespace {

// Takes the values among the words; bad ones are reported.
void wordsAre(const Place& place, const std::vector<std::string_view>& found, Lister& lister, Console& console) {
  for (const std::string_view word : found) {
    std::string problem;
    if (const auto value = parseValue(word, problem)) {
      lister.valuesAre(value->kind, value->wire());
    } else {
      console.error(place, problem);
    }
  }
}

void listArguments(const std::vector<std::string>& arguments, Lister& lister, Console& console) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::vector<std::string_view> found = words(arguments[i]);
    if (found.empty()) found.emplace_back();
    wordsAre({"argument", i + 1}, found, lister, console);
  }
  lister.pathEnds({"argument", 1});
}

}  // namespace

void listCommand(const Options& options, const Routing::RouteMap::PosixRegex* match, Console& console) {
  Lister lister(options.json, options.mvpn, match, console);
  if (!options.inputs.empty()) return listArguments(options.inputs, lister, console);
  for (LineReader reader(STDIN_FILENO, console); reader.next();) {
    const Place place{"stdin", reader.number()};
    wordsAre(place, words(reader.line()), lister, console);
    lister.pathEnds(place);
  }
}

}  // namespace VelBgpTool
