// A filter and a text for it: it is taken or refused, with a reason, and what is taken can be asked about any route.
// Families, and communities, that are taken hold for the routes that have them.
#include "Policy/PosixRegex.h"
#include "VelBgp/ValueText.h"
#include "fuzz/Fuzz.h"
#include "tools/velbgp/Agent.h"
#include "tools/velbgp/Moment.h"
#include "tools/velbgp/RouteFilter.h"
#include "tools/velbgp/Wire.h"

namespace VelBgpFuzz {
namespace {

using namespace VelBgpTool;

// Asks a filter about each route of a record.
struct Asking final : RouteSink {
  explicit Asking(const RouteFilters& asked) : filters(asked) {}
  void routeIs(Route& route) override { passed += filters.pass(route) ? 1 : 0; }
  void faultIs(std::uint64_t, const std::string&) override {}
  const RouteFilters& filters;
  std::size_t passed = 0;
};

std::size_t passes(const RouteFilters& filters, std::string_view update) {
  constexpr std::string_view marker("\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff");
  Wire body;
  body.u32(65000).u32(65001).u16(0).u16(1).u32(0xc0000201).u32(0xc0000202).text(marker);
  body.u16(19 + update.size()).u8(2).text(update);
  Wire octets;
  octets.u32(1'500'000'000).u16(16).u16(4).u32(body.size());
  MrtRecord record;
  if (!record.bodyIs(MrtHeader(VelBgpTool::octetsOf(octets.view())), VelBgpTool::octetsOf(body.view()))) return 0;
  Asking asking(filters);
  RouteWalk(asking, RouteWalk::Reading::strict).recordIs(record, 0);
  return asking.passed;
}

std::string updateWith(std::string_view attributes) {
  return Wire().u16(0).u16(attributes.size()).text(attributes).u8(8).u8(10).str();
}

bool taken(const RouteFilterRow& row, const std::string& text) {
  try {
    row.make(text);
    return true;
  } catch (const RouteFilterError& error) {
    TYR_ASSERT(!error.what.empty() && error.what.find('\n') == std::string::npos);
  } catch (const Routing::RouteMap::PosixRegexException&) {
  }
  return false;
}

void checkCommunity(const RouteFilters& filters, const std::string& text) {
  const auto value = Routing::Bgp::valueFromText(text);
  TYR_ASSERT(bool(value));
  const TypedValue typed = typedValue(*value);
  const Wire attribute = Wire().u8(0xc0).u8(kindRows[typed.kind].attribute).u8(typed.octets.size()).text(typed.octets);
  TYR_ASSERT(passes(filters, updateWith(attribute.view())) == 1);
}

}  // namespace

void oneInput(Input input) {
  const auto rows = routeFilterRows();
  const RouteFilterRow& row = rows[input.octet() % rows.size()];
  const std::string text(textOf(input.take(input.octet())));
  if (const auto moment = Moment::read(text)) TYR_ASSERT(moment->roundedUp() - moment->roundedDown() <= 1);
  if (const auto family = Family::read(text)) TYR_ASSERT(Family::read(family->name()) == family);
  if (!taken(row, text)) return;
  Agent agent(true);
  const RouteFilters filters({{&row, false, text}}, agent);
  const RouteFilters negated({{&row, true, text}}, agent);
  const std::string_view option = row.option;
  if (option == "--community") checkCommunity(filters, text);
  const std::string update = updateWith(textOf(input.rest()));
  const RouteFilters all({}, agent);
  TYR_ASSERT(passes(filters, update) + passes(negated, update) == passes(all, update));
}

}  // namespace VelBgpFuzz
