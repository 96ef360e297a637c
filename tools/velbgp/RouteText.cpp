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

// The octets of a prefix with nothing behind its length.
std::array<std::uint8_t, 16> maskedOctets(const Nlri& nlri) {
  std::array<std::uint8_t, 16> octets{};
  const std::size_t size = std::min<std::size_t>({nlri.octets.size(), (nlri.bits + 7) / 8, octets.size()});
  std::copy_n(nlri.octets.begin(), size, octets.begin());
  if (nlri.bits % 8 != 0 && nlri.bits / 8 < size)
    octets[nlri.bits / 8] &= static_cast<std::uint8_t>(0xff00 >> nlri.bits % 8);
  return octets;
}

void appendMicroseconds(std::string& line, const Route& route) {
  appendNumber(line, route.seconds);
  if (!route.hasMicroseconds()) return;
  const std::string digits = std::to_string(1'000'000 + route.microseconds);
  line += '.';
  line.append(digits, 1);
}

std::string jsonText(std::string_view text) { return boost::json::serialize(boost::json::string(text)); }

class JsonWriter final : public RouteWriter {
 public:
  explicit JsonWriter(const RouteWriting& writing) : console_(writing.console), tail_(writing.kinds, writing.raw) {}

  bool routeIs(const Route& route) override {
    RouteTexts& texts = tail_.texts();
    line_ = '{';
    appendTypeAndTime(line_, route);
    if (!route.peer.address.empty()) {
      line_.append(R"(,"peer":")").append(texts.address(route.peer.address)).append(R"(","peerAs":)");
      appendNumber(line_, route.peer.as);
    }
    if (route.local) line_ += R"(,"local":true)";
    line_.append(R"(,"family":")").append(texts.family(route.family));
    if (route.isPrefix) {
      line_.append(R"(","prefix":")").append(texts.prefix(route)) += '"';
    } else {
      line_.append(R"(","nlri":")").append(hexValue(route.nlri.octets)) += '"';
    }
    if (route.hasPathId) {
      line_ += R"(,"pathId":)";
      appendNumber(line_, route.nlri.pathId);
    }
    tail_.appendTo(line_, route);
    line_ += '}';
    console_.line(line_);
    return true;
  }

 private:
  Console& console_;
  JsonRouteTail tail_;
  std::string line_;
};

class CsvWriter final : public RouteWriter {
 public:
  explicit CsvWriter(const RouteWriting& writing) : console_(writing.console), texts_(writing.kinds, writing.raw) {
    console_.line(
        "type,time,peer,peerAs,local,family,prefix,nlri,pathId,asPath,origin,nextHop,standard,extended,extendedIp6,"
        "large");
  }

  bool routeIs(const Route& route) override {
    line_ = textOf(route.type);
    line_ += ',';
    appendMicroseconds(line_, route);
    line_ += ',';
    if (!route.peer.address.empty()) line_ += texts_.address(route.peer.address);
    line_ += ',';
    if (!route.peer.address.empty()) appendNumber(line_, route.peer.as);
    line_.append(route.local ? ",true," : ",,").append(texts_.family(route.family)) += ',';
    if (route.isPrefix) line_ += texts_.prefix(route);
    line_ += ',';
    if (!route.isPrefix) line_ += hexValue(route.nlri.octets);
    line_ += ',';
    if (route.hasPathId) appendNumber(line_, route.nlri.pathId);
    route.path != nullptr ? appendPath(route) : void(line_ += ",,,,,,,");
    console_.line(line_);
    return true;
  }

 private:
  void appendPath(const Route& route) {
    line_ += ',';
    if (route.path->good(RoutePath::asPathCode)) appendCsv(line_, route.path->asPathText());
    line_ += ',';
    if (route.path->good(RoutePath::origin)) line_ += route.path->originText();
    line_ += ',';
    if (!route.nextHop.empty()) line_ += texts_.address(route.nextHop);
    for (const std::size_t kind : routeKinds) {
      line_ += ',';
      const Octets list = route.path->lists[kind];
      if (!list.empty()) line_ += lists_[kind].of(list, [&] { return field(kind, list); });
    }
  }
  std::string field(std::size_t kind, Octets list) {
    std::string values;
    texts_.forEachValue(kind, list, [&](const std::string& value, Octets) {
      if (!values.empty()) values += ';';
      values += value;
    });
    std::string field;
    appendCsv(field, values);
    return field;
  }

  Console& console_;
  RouteTexts texts_;
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
    Moment::appendTo(line_, route.seconds);
    fill(time, timeWidth);
    column(route.peer.address.empty() ? "-" : texts_.address(route.peer.address), peerWidth);
    column(target(route), prefixWidth);
    if (route.path != nullptr) appendPath(route);
    while (line_.ends_with(' ')) line_.pop_back();
    printLine();
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
    if (!route.isPrefix) return texts_.family(route.family) + " " + hexValue(route.nlri.octets);
    std::string text = texts_.prefix(route);
    if (route.hasPathId) text += " #" + std::to_string(route.nlri.pathId);
    constexpr std::uint32_t unicast = 1;
    if (route.family.safi != unicast) text += " multicast";
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
      if (const std::string meaning = meaning_(kind, octets); !meaning.empty()) text.append(" (" + meaning + ")");
    });
    return text;
  }

  // Cut only where a terminal would break the line; a file gets all of it.
  void printLine() {
    const std::size_t width = console_.columns();
    if (width > 3 && line_.size() > width) line_.replace(width - 3, std::string::npos, "...");
    console_.line(line_);
  }

  Console& console_;
  RouteTexts texts_;
  const MeaningOf meaning_;
  std::array<TextMemory, kindCount> lists_;
  bool first_ = true;
  std::string line_;
};

}  // namespace

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

const std::string& RouteTexts::prefix(const Route& route) {
  const auto octets = maskedOctets(route.nlri);
  const std::size_t size = route.family.afi == Family::ip4 ? 4 : 16;
  std::string key(1, static_cast<char>(route.nlri.bits));
  key.append(reinterpret_cast<const char*>(octets.data()), size);
  // The paths of a RIB record come in a row.
  if (key != prefixKey_) {
    prefixText_.clear();
    appendAddress(prefixText_, Octets(octets).first(size));
    prefixText_ += '/';
    appendNumber(prefixText_, route.nlri.bits);
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

void appendTypeAndTime(std::string& line, const Route& route) {
  line.append(R"("type":")").append(textOf(route.type)).append(R"(","time":)");
  appendMicroseconds(line, route);
}

void JsonRouteTail::appendTo(std::string& line, const Route& route) {
  if (route.path == nullptr) return;
  RoutePath& path = *route.path;
  if (path.good(RoutePath::asPathCode)) line.append(R"(,"asPath":")").append(path.asPathText()) += '"';
  if (path.good(RoutePath::origin)) line.append(R"(,"origin":")").append(path.originText()) += '"';
  if (!route.nextHop.empty()) line.append(R"(,"nextHop":")").append(texts_.address(route.nextHop)) += '"';
  for (const std::size_t kind : routeKinds) {
    const Octets values = path.lists[kind];
    if (!values.empty()) line += lists_[kind].of(values, [&] { return list(kind, values); });
  }
}

// The member of a list, comma and name and all.
std::string JsonRouteTail::list(std::size_t kind, Octets values) {
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
