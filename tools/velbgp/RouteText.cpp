#include "tools/velbgp/RouteText.h"

#include <algorithm>
#include <charconv>

#include "Addr/Ip4Addr.h"
#include "Addr/Ip6Addr.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Moment.h"

namespace VelBgpTool {

namespace {

class JsonWriter final : public RouteWriter {
 public:
  explicit JsonWriter(const RouteWriting& writing) : console_(writing.console), json_(writing.kinds, writing.raw) {}

  bool routeIs(const Route& route) override {
    line_.clear();
    JsonText out(line_);
    json_.typeAndTime(out.open('{'), route.type, route.time);
    json_.key(out, route.peer, route.local, route.target);
    json_.facts(out, factsOf(route));
    out.close('}');
    console_.line(line_.view());
    return true;
  }

 private:
  Console& console_;
  JsonRoutes json_;
  Tyr::DynamicBuffer<1024> line_;
};

class CsvWriter final : public RouteWriter {
 public:
  explicit CsvWriter(const RouteWriting& writing) : console_(writing.console), csv_(writing.kinds, writing.raw) {
    console_.line(
        "type,time,peer,peerAs,local,family,prefix,nlri,pathId,asPath,origin,nextHop,standard,extended,extendedIp6,"
        "large");
  }

  bool routeIs(const Route& route) override {
    line_ = textOf(route.type);
    line_ += ',';
    line_ += TimeText(route.time).view();
    line_ += ',';
    csv_.appendPeer(line_, route.peer);
    line_ += route.local ? ",true," : ",,";
    csv_.appendTarget(line_, route.target);
    const RouteFacts facts = factsOf(route);
    line_ += ',';
    appendCsv(line_, facts.asPath);
    line_.append(1, ',').append(facts.origin != nullptr ? facts.origin : "") += ',';
    csv_.appendAddress(line_, facts.nextHop);
    for (const std::size_t kind : routeKinds) {
      line_ += ',';
      const Octets list = facts.lists[kind];
      if (!list.empty()) line_ += lists_[kind].of(list, [&] { return field(kind, list); });
    }
    console_.line(line_);
    return true;
  }

 private:
  std::string field(std::size_t kind, Octets list) {
    std::string values;
    csv_.texts().forEachValue(kind, list, [&](const std::string& value, Octets) {
      if (!values.empty()) values += ';';
      values += value;
    });
    std::string field;
    appendCsv(field, values);
    return field;
  }

  Console& console_;
  CsvRoutes csv_;
  std::array<TextMemory, kindCount> lists_;
  std::string line_;
};

class PeopleWriter final : public RouteWriter {
 public:
  explicit PeopleWriter(const RouteWriting& writing)
      : console_(writing.console), texts_(writing.kinds, writing.raw), meaning_(writing.meaning) {}

  bool routeIs(const Route& route) override {
    if (std::exchange(first_, false)) printHeading();
    line_.clear();
    column(textOf(route.type), typeWidth);
    const std::size_t time = line_.size();
    Moment::appendTo(line_, route.time.seconds);
    fill(time, timeWidth);
    column(route.peer.address.empty() ? "-" : texts_.address(route.peer.address), peerWidth);
    const std::size_t prefix = line_.size();
    column(target(route), prefixWidth);
    const std::size_t path = line_.size();
    if (route.path != nullptr) appendPath(route);
    while (line_.ends_with(' ')) line_.pop_back();
    printLine(prefix, path);
    return true;
  }

 private:
  static constexpr std::size_t typeWidth = 8;
  static constexpr std::size_t timeWidth = 19;
  static constexpr std::size_t peerWidth = 20;
  static constexpr std::size_t prefixWidth = 24;

  void printHeading() {
    line_.clear();
    column("TYPE", typeWidth);
    column("TIME (UTC)", timeWidth);
    column("PEER", peerWidth);
    column("PREFIX", prefixWidth);
    console_.line(heading(console_, line_ + "PATH"));
  }
  void column(std::string_view text, std::size_t width) {
    const std::size_t begin = line_.size();
    line_ += text;
    fill(begin, width);
  }
  void fill(std::size_t begin, std::size_t width) {
    const std::size_t size = line_.size() - begin;
    line_.append(size < width ? width - size + 1 : 1, ' ');
  }

  std::string target(const Route& route) {
    if (!route.target.isPrefix) return texts_.family(route.target.family) + " " + hexValue(route.target.nlri.octets);
    std::string text = texts_.prefix(route.target);
    if (route.target.hasPathId) text += " #" + std::to_string(route.target.nlri.pathId);
    constexpr std::uint32_t unicast = 1;
    if (route.target.family.safi != unicast) text += " multicast";
    return text;
  }

  void appendPath(const Route& route) {
    if (route.path->good(RoutePath::asPathCode)) line_ += route.path->asPathText();
    line_ += ' ';
    for (const std::size_t kind : routeKinds) {
      const Octets list = route.path->lists[kind];
      if (!list.empty()) line_ += lists_[kind].of(list, [&] { return values(kind, list); });
    }
  }
  std::string values(std::size_t kind, Octets list) {
    std::string text;
    texts_.forEachValue(kind, list, [&](const std::string& value, Octets octets) {
      text.append(" ").append(value);
      if (const std::string meaning = meaning_(kind, octets); !meaning.empty())
        text.append(" (" + escaped(meaning) + ")");
    });
    return text;
  }

  // On a terminal that would break the line, what has no room goes on below: the path, if need be the prefix, too.
  void printLine(std::size_t prefix, std::size_t path) {
    const std::size_t width = console_.columns();
    if (width == 0 || line_.size() <= width) return console_.line(line_);
    const std::size_t end = path <= width + 1 ? path : prefix;
    console_.line(std::string_view(line_).substr(0, end - 1));
    console_.line(wrapped("    ", std::string_view(line_).substr(end), width));
  }

  Console& console_;
  RouteTexts texts_;
  const MeaningOf meaning_;
  std::array<TextMemory, kindCount> lists_;
  bool first_ = true;
  std::string line_;
};

}  // namespace

std::array<std::uint8_t, 16> maskedOctets(const Nlri& nlri) {
  std::array<std::uint8_t, 16> octets{};
  const std::size_t size = std::min<std::size_t>({nlri.octets.size(), (nlri.bits + 7) / 8, octets.size()});
  std::copy_n(nlri.octets.begin(), size, octets.begin());
  if (nlri.bits % 8 != 0 && nlri.bits / 8 < size)
    octets[nlri.bits / 8] &= static_cast<std::uint8_t>(0xff00 >> nlri.bits % 8);
  return octets;
}

void appendNumber(std::string& text, std::uint64_t number) {
  char digits[20];
  text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

void appendAddress(std::string& text, Octets address) {
  if (address.size() == 4) {
    text += Routing::Addr::Ip4Addr(static_cast<std::uint32_t>(bigEndian(address))).toStrep();
    return;
  }
  std::array<std::uint8_t, 16> octets;
  std::copy_n(address.begin(), octets.size(), octets.begin());
  text += Routing::Addr::Ip6Addr(octets).toStrep();
}

void appendCsv(std::string& line, std::string_view field) {
  if (field.find_first_of(",\"\r\n") == std::string_view::npos) {
    line += field;
    return;
  }
  line += '"';
  for (const char c : field) line.append(c == '"' ? 2 : 1, c);
  line += '"';
}

const std::string& RouteTexts::address(Octets octets) {
  return addresses_.of(octets, [octets] {
    std::string text;
    appendAddress(text, octets);
    return text;
  });
}

const std::string& RouteTexts::prefix(const RouteTarget& target) {
  const Prefix prefix{maskedOctets(target.nlri), target.family.afi == Family::ip4 ? 4u : 16u, target.nlri.bits};
  // The paths of a RIB record come in a row.
  if (prefix != prefix_) {
    prefix_ = prefix;
    prefixText_.clear();
    appendAddress(prefixText_, Octets(prefix.octets).first(prefix.size));
    prefixText_ += '/';
    appendNumber(prefixText_, prefix.bits);
  }
  return prefixText_;
}

const std::string& RouteTexts::family(Family family) {
  if (familyText_.empty() || family != family_) {
    family_ = family;
    familyText_ = family.name();
  }
  return familyText_;
}

std::string RouteTexts::value(std::size_t kind, Octets octets) {
  if (raw_) return hexValue(octets);
  return values_[kind].of(octets, [&] { return kinds_.at(kind).text(octets); });
}

void CsvRoutes::appendAddress(std::string& line, Octets address) {
  if (!address.empty()) line += texts_.address(address);
}

void CsvRoutes::appendPeer(std::string& line, const MrtPeer& peer) {
  appendAddress(line, peer.address);
  line += ',';
  if (!peer.address.empty()) appendNumber(line, peer.as);
}

void CsvRoutes::appendTarget(std::string& line, const RouteTarget& target) {
  line.append(texts_.family(target.family)) += ',';
  if (target.isPrefix) line += texts_.prefix(target);
  line += ',';
  if (!target.isPrefix) line += hexValue(target.nlri.octets);
  line += ',';
  if (target.hasPathId) appendNumber(line, target.nlri.pathId);
}

TimeText::TimeText(const MrtTime& time) {
  char* end = std::to_chars(text_, std::end(text_), time.seconds).ptr;
  if (time.hasMicroseconds) {
    char* const point = end;
    end = std::to_chars(point, std::end(text_), 1'000'000 + time.microseconds).ptr;
    *point = '.';  // in place of the million, which gave the zeros
  }
  size_ = static_cast<std::size_t>(end - text_);
}

void JsonRoutes::typeAndTime(JsonText& out, Route::Type type, const MrtTime& time) {
  out.name<"type">().plain(textOf(type)).name<"time">().word(TimeText(time).view());
}

void JsonRoutes::key(JsonText& out, const MrtPeer& peer, bool local, const RouteTarget& target) {
  if (!peer.address.empty()) out.name<"peer">().plain(texts_.address(peer.address)).name<"peerAs">().number(peer.as);
  if (local) out.name<"local">().word("true");
  out.name<"family">().plain(texts_.family(target.family));
  if (target.isPrefix) {
    out.name<"prefix">().plain(texts_.prefix(target));
  } else {
    out.name<"nlri">().hex(target.nlri.octets);
  }
  if (target.hasPathId) out.name<"pathId">().number(target.nlri.pathId);
}

void JsonRoutes::facts(JsonText& out, const RouteFacts& facts) {
  if (facts.hasAsPath) out.name<"asPath">().plain(facts.asPath);
  if (facts.origin != nullptr) out.name<"origin">().plain(facts.origin);
  if (!facts.nextHop.empty()) out.name<"nextHop">().plain(texts_.address(facts.nextHop));
  for (const std::size_t kind : routeKinds) {
    const Octets values = facts.lists[kind];
    if (values.empty()) continue;
    out.name(kindRows[kind].name).word(lists_[kind].of(values, [&] { return list(kind, values); }));
  }
}

std::string JsonRoutes::list(std::size_t kind, Octets values) {
  Tyr::DynamicBuffer<1024> text;
  JsonText out(text);
  out.open('[');
  texts_.forEachValue(kind, values, [&out](const std::string& value, Octets) { out.text(value); });
  out.close(']');
  return text.str();
}

std::unique_ptr<RouteWriter> makePeopleWriter(const RouteWriting& writing) {
  return std::make_unique<PeopleWriter>(writing);
}
std::unique_ptr<RouteWriter> makeJsonWriter(const RouteWriting& writing) {
  return std::make_unique<JsonWriter>(writing);
}
std::unique_ptr<RouteWriter> makeCsvWriter(const RouteWriting& writing) { return std::make_unique<CsvWriter>(writing); }

}  // namespace VelBgpTool
