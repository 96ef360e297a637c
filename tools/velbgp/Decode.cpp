#include <unistd.h>

#include <boost/json/serialize.hpp>

#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Kind.h"
#include "tools/velbgp/Lines.h"
#include "tools/velbgp/Names.h"

namespace VelBgpTool {

namespace {

class Decoder {
 public:
  Decoder(const Options& options, Console& console) : json_(options.json), console_(console), agent_(options.mvpn) {
    if (options.names) names_.read(*options.names, console);
  }

  // One line of input or one argument.
  void inputIs(const Place& place, std::string_view text) {
    const auto value = Routing::Bgp::valueFromText(text);
    if (value) return print(typedValue(*value));
    console_.error(place, problemOf(trimmed(text), value.error()));
  }

 private:
  void print(const TypedValue& value) {
    const Octets wire = value.wire();
    boost::json::object out;
    out["kind"] = kindRows[value.kind].name;
    out["value"] = hexValue(wire);
    kinds_.at(value.kind).decode(wire, out);
    if (const std::string meaning = names_.meaning(value.kind, wire); !meaning.empty()) out["meaning"] = meaning;
    json_ ? console_.line(boost::json::serialize(out)) : printForPeople(out, wire, kinds_.at(value.kind).explain(wire));
  }

  void printForPeople(boost::json::object& out, Octets wire, const Explanation& says) {
    if (!first_) console_.line("");
    first_ = false;
    console_.line(heading(console_, wrapped("", says.sentence, console_.columns())));
    printFields(wire, says.fields);
    printBlock(console_, out, 2);
  }

  void printFields(Octets wire, const std::vector<Field>& fields) {
    constexpr std::size_t digits = 8;
    for (const Field& field : fields) {
      const std::size_t count = field.last - field.first + 1;
      const std::string place = count == 1 ? "octet " + std::to_string(field.first)
                                           : "octets " + std::to_string(field.first) + "-" + std::to_string(field.last);
      console_.line(wrapped("  " + pad(place, 14) + pad(hexDigits(wire.subspan(field.first, count)), digits) + "  ",
                            field.says, console_.columns()));
    }
  }

  bool json_;
  bool first_ = true;
  Console& console_;
  Agent agent_;
  Kinds kinds_{agent_};
  Names names_{kinds_};
};

}  // namespace

void decodeCommand(const Options& options, const Routing::RouteMap::PosixRegex*, Console& console) {
  Decoder decoder(options, console);
  for (std::size_t i = 0; i < options.inputs.size(); ++i) decoder.inputIs({"argument", i + 1}, options.inputs[i]);
  if (!options.inputs.empty()) return;
  for (LineReader reader(STDIN_FILENO, console); reader.next();) {
    decoder.inputIs({"stdin", reader.number()}, reader.line());
  }
}

}  // namespace VelBgpTool
