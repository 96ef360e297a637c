#include "tools/velbgp/RouteText.h"

#include <algorithm>
#include <boost/json/serialize.hpp>
#include <boost/json/string.hpp>
#include <boost/json/value.hpp>
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
    line_ = '{';
    json_.appendTypeAndTime(line_, route.type, route.time);
    json_.appendKey(line_, route.peer, route.local, route.target);
    json_.appendFacts(line_, factsOf(route));
    line_ += '}';
    console_.line(line_);
    return true;
  }

 private:
  Console& console_;
  JsonRoutes json_;
  std::string line_;
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
    appendTime(line_, route.time);
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
  const auto octets = maskedOctets(target.nlri);
  const std::size_t size = target.family.afi == Family::ip4 ? 4 : 16;
  std::string key(1, static_cast<char>(target.nlri.bits));
  key.append(reinterpret_cast<const char*>(octets.data()), size);
  // The paths of a RIB record come in a row.
  if (key != prefixKey_) {
    prefixText_.clear();
    appendAddress(prefixText_, Octets(octets).first(size));
    prefixText_ += '/';
    appendNumber(prefixText_, target.nlri.bits);
    prefixKey_ = std::move(key);
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

void appendTime(std::string& text, const MrtTime& time) {
  appendNumber(text, time.seconds);
  if (!time.hasMicroseconds) return;
  const std::string digits = std::to_string(1'000'000 + time.microseconds);
  text += '.';
  text.append(digits, 1);
}

std::string jsonText(std::string_view text) { return boost::json::serialize(boost::json::string(text)); }

void JsonRoutes::appendTypeAndTime(std::string& line, Route::Type type, const MrtTime& time) {
  line.append(R"("type":")").append(textOf(type)).append(R"(","time":)");
  appendTime(line, time);
}

void JsonRoutes::appendKey(std::string& line, const MrtPeer& peer, bool local, const RouteTarget& target) {
  if (!peer.address.empty()) {
    line.append(R"(,"peer":")").append(texts_.address(peer.address)).append(R"(","peerAs":)");
    appendNumber(line, peer.as);
  }
  if (local) line += R"(,"local":true)";
  line.append(R"(,"family":")").append(texts_.family(target.family));
  if (target.isPrefix) {
    line.append(R"(","prefix":")").append(texts_.prefix(target)) += '"';
  } else {
    line.append(R"(","nlri":")").append(hexValue(target.nlri.octets)) += '"';
  }
  if (!target.hasPathId) return;
  line += R"(,"pathId":)";
  appendNumber(line, target.nlri.pathId);
}

void JsonRoutes::appendFacts(std::string& line, const RouteFacts& facts) {
  if (facts.hasAsPath) line.append(R"(,"asPath":")").append(facts.asPath) += '"';
  if (facts.origin != nullptr) line.append(R"(,"origin":")").append(facts.origin) += '"';
  if (!facts.nextHop.empty()) line.append(R"(,"nextHop":")").append(texts_.address(facts.nextHop)) += '"';
  for (const std::size_t kind : routeKinds) {
    const Octets values = facts.lists[kind];
    if (!values.empty()) line += lists_[kind].of(values, [&] { return list(kind, values); });
  }
}

// The member of a list, comma and name and all.
std::string JsonRoutes::list(std::size_t kind, Octets values) {
  std::string text = std::string(",\"") + kindRows[kind].name + "\":";
  char before = '[';
  texts_.forEachValue(kind, values, [&](const std::string& value, Octets) {
    text += before;
    text += jsonText(value);
    before = ',';
  });
  return text + ']';
}

std::unique_ptr<RouteWriter> makePeopleWriter(const RouteWriting& writing) {
  return std::make_unique<PeopleWriter>(writing);
}
std::unique_ptr<RouteWriter> makeJsonWriter(const RouteWriting& writing) {
  return std::make_unique<JsonWriter>(writing);
}
std::unique_ptr<RouteWriter> makeCsvWriter(const RouteWriting& writing) { return std::make_unique<CsvWriter>(writing); }

}  // namespace VelBgpTool
