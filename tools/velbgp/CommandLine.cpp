#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <map>
#include <sstream>

#include "Policy/PosixRegex.h"
#include "VelBgp/Version.h"
#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Text.h"

namespace VelBgpTool {

namespace {

constexpr int statusUnusable = 2;
constexpr std::size_t helpColumns = 80;
constexpr std::size_t helpIndent = 30;  // where CLI11 begins what is said of an option

// CLI11 takes "[a,b]" apart as an array, "{}" and nothing as none. This mark at its end keeps an option's value whole.
constexpr char wholeMark = '\x01';

void unmark(std::string& argument) {
  if (argument.ends_with(wholeMark)) argument.pop_back();
}

// How many characters are to be changed, left out or put in.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t i = 0; i <= b.size(); ++i) row[i] = i;
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t changed = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

// What exists for a name that does not: the one that is meant, if one is near, else all.
std::string offered(std::string_view name, const std::vector<std::string>& existing) {
  std::string all;
  const std::string* best = nullptr;
  std::size_t least = std::min<std::size_t>(3, name.size() / 2) + 1;
  for (const std::string& each : existing) {
    const std::size_t changes = each.starts_with(name) ? 0 : distance(name.substr(0, 64), each);
    if (changes < least) best = &each;
    least = std::min(least, changes);
    all.append(&each == &existing.front() ? "" : &each == &existing.back() ? " or " : ", ").append(each);
  }
  return best != nullptr ? ", did you mean " + *best + "?" : ", expected " + all;
}

// Lines that a terminal would break go on below what they say.
std::string fitted(const std::string& help) {
  std::string out;
  std::istringstream lines(help);
  for (std::string line; std::getline(lines, line);) {
    const bool describes = line.size() > helpIndent && line[helpIndent - 1] == ' ' && line.starts_with("  ");
    const std::size_t start = describes ? helpIndent : 0;
    out += wrapped(line.substr(0, start), std::string_view(line).substr(start), helpColumns) + "\n";
  }
  return out;
}

class CommandLine {
 public:
  CommandLine() {
    app_.require_subcommand(1);
    app_.set_version_flag("--version", version, "Print the version and exit");
    app_.footer("Run velbgp SUBCOMMAND --help for its options; velbgp(1) has the details.");
    addDecode();
    addDiff();
    addList();
    addMrt();
    addRoutes();
    addSample();
    addStore();
  }
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  std::optional<Options> parse(int argc, const char* const* argv, Console& console, int& status) {
    try {
      app_.parse(optionsOf({argv + std::min(argc, 1), argv + argc}));
      checkOperands(*app_.get_subcommands().front());
      takeFilters();
      return options_;
    } catch (const CLI::CallForHelp&) {
      const auto chosen = app_.get_subcommands();
      console.print(fitted(chosen.empty() ? app_.help() : chosen.front()->help("velbgp")));
    } catch (const CLI::CallForVersion& wanted) {
      console.line(wanted.what());
    } catch (const CLI::ParseError& error) {
      std::string what = error.what();
      std::erase(what, wholeMark);
      while (what.ends_with('\n')) what.pop_back();
      console.error(escaped(what) + " (see velbgp --help)");
      status = statusUnusable;
    }
    return std::nullopt;
  }

 private:
  static constexpr const char* negation = "--not";
  static constexpr const char* version = "velbgp " VELBGP_VERSION;
  using Arguments = std::vector<std::string>;

  // What CLI11 is to read, last one first: the subcommand and its options. The operands are taken out, so that none is
  // mistaken for an option: all behind "--", and what does not begin with "-", or is a number.
  Arguments optionsOf(const Arguments& given) {
    if (given.empty()) return {};
    Arguments read = {given.front()};
    if (given.front().starts_with('-')) {
      optionOf(app_, given.front());
      return read;
    }
    CLI::App& sub = subcommandOf(given.front());
    for (std::size_t i = 1; i < given.size(); ++i) {
      const std::string& argument = given[i];
      if (argument == "--") {
        options_.inputs.insert(options_.inputs.end(), given.begin() + static_cast<std::ptrdiff_t>(i) + 1, given.end());
        break;
      }
      if (!isOption(argument)) {
        options_.inputs.push_back(argument);
      } else if (optionOf(sub, argument).get_items_expected_max() == 0 ||
                 (i + 1 == given.size() && !hasValue(argument))) {
        read.push_back(argument);
      } else {
        read.push_back((hasValue(argument) ? argument : argument + "=" + given[++i]) + wholeMark);
      }
    }
    std::reverse(read.begin(), read.end());
    return read;
  }

  static bool isOption(std::string_view argument) {
    return argument.size() > 1 && argument[0] == '-' && std::isdigit(static_cast<unsigned char>(argument[1])) == 0;
  }
  static bool hasValue(std::string_view option) { return option.find('=') != std::string_view::npos; }

  // Throw for what there is not.
  static CLI::Option& optionOf(CLI::App& app, const std::string& argument) {
    const std::string name = argument.substr(0, argument.find('='));
    if (CLI::Option* option = app.get_option_no_throw(name); option != nullptr && isOption(name)) return *option;
    Arguments existing;
    for (const CLI::Option* option : app.get_options()) {
      if (!option->get_lnames().empty()) existing.push_back("--" + option->get_lnames().front());
    }
    throw CLI::ValidationError(quote(name) + " is no option of " + app.get_name() + offered(name, existing));
  }
  CLI::App& subcommandOf(const std::string& name) {
    Arguments existing;
    for (CLI::App* sub : app_.get_subcommands({})) {
      if (sub->get_name() == name) return *sub;
      existing.push_back(sub->get_name());
    }
    throw CLI::ValidationError(quote(name) + " is no subcommand" + offered(name, existing));
  }

  void checkOperands(const CLI::App& sub) const {
    const Operands& allowed = operands_.at(&sub);
    if (options_.inputs.size() < allowed.least) {
      const std::string_view names = allowed.name;  // with one given, of two the other is missing
      throw CLI::RequiredError(std::string(options_.inputs.empty() ? names : names.substr(names.find(' ') + 1)));
    }
    if (options_.inputs.size() > allowed.most) {
      throw CLI::ValidationError(quote(options_.inputs[allowed.most]) + " is one argument too many for " +
                                 sub.get_name());
    }
    if (allowed.most == 2 && options_.inputs == Arguments{"-", "-"}) {
      throw CLI::ValidationError("standard input is one file, expected another one beside it");
    }
  }

  CLI::App* subcommand(Command* command, const char* name, const char* purpose) {
    CLI::App* sub = app_.add_subcommand(name, purpose);
    sub->set_version_flag("--version", version, "Print the version and exit");
    sub->callback([this, command] { options_.command = command; });
    operands_[sub] = {};
    return sub;
  }

  CLI::Option* addJson(CLI::App* sub, const char* what) { return sub->add_flag("--json", options_.json, what); }
  CLI::Option* addCsv(CLI::App* sub, const char* what, CLI::Option* json) {
    return sub->add_flag("--csv", options_.csv, what)->excludes(json);
  }
  void addMvpn(CLI::App* sub) {
    sub->add_flag_callback(
        "--no-mvpn", [this] { options_.mvpn = false; }, "Decode as if the toggle Mvpn were off");
  }
  // An empty text is one too, of an expression that matches everything. CLI11 hands it on to a function only.
  template <typename Text>
  static void addText(CLI::App* sub, const char* name, const char* type, Text& text, const char* what) {
    const auto take = [&text](std::string given) {
      unmark(given);
      text = std::move(given);
    };
    sub->add_option_function<std::string>(name, take, what)->type_name(type);
  }
  void addMatch(CLI::App* sub) {
    addText(sub, "--match", "REGEX", options_.match, "Match each list with this POSIX extended regular expression");
  }
  // CLI11 never sees any; it prints them in its help.
  struct Operands {
    const char* name = "";
    std::size_t least = 0;
    std::size_t most = 0;
  };
  void addOperands(CLI::App* sub, const Operands& operands, const char* what) {
    operands_[sub] = operands;
    sub->add_option(operands.name, ignored_, what)->type_name(operands.most > 2 ? "..." : "");
  }
  void addNames(CLI::App* sub) {
    addText(sub, "--names", "FILE", options_.names,
            "Say what communities mean by this table: a pattern and a meaning a line");
  }

  // CLI11's own conversion takes signs, and a leading zero for octal.
  template <std::uint64_t least = 0>
  static std::uint64_t readNumber(const char* name, std::string text) {
    unmark(text);
    const auto number = readDecimal<std::uint64_t>(text);
    if (number && *number >= least) return *number;
    throw CLI::ValidationError(
        name, quote(text) + " is no number, expected one from " + std::to_string(least) + " to 18446744073709551615");
  }
  // The filters of routes. Their order is what says which of them --not is about: it is taken from CLI11 behind all.
  void addFilters(CLI::App* sub) {
    for (const RouteFilterRow& row : routeFilterRows()) {
      CLI::Option* option = row.type == nullptr
                                ? sub->add_flag(row.option)->description(row.help)
                                : sub->add_option(row.option, row.help)->type_name(row.type)->expected(1);
      option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)->group("Filters");
    }
    sub->add_flag(negation)
        ->description("Turn round the one filter behind it")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->group("Filters");
  }
  void takeFilters() {
    const CLI::App* sub = app_.get_subcommands().front();
    std::map<const CLI::Option*, std::size_t> taken;
    bool negated = false;
    for (const CLI::Option* option : sub->parse_order()) {
      const std::string name = option->get_name();
      if (name == negation) {
        if (std::exchange(negated, true)) throw CLI::ValidationError(negation, "a filter is expected behind it");
        continue;
      }
      const auto rows = routeFilterRows();
      const auto row = std::ranges::find_if(rows, [&](const RouteFilterRow& filter) { return name == filter.option; });
      const bool isFilter = row != rows.end() && sub->get_option_no_throw(negation) != nullptr;
      if (negated && !isFilter) break;
      if (isFilter) takeFilter(*row, std::exchange(negated, false), option->results()[taken[option]++]);
    }
    if (negated) throw CLI::ValidationError(negation, "a filter is expected behind it");
  }
  void takeFilter(const RouteFilterRow& row, bool negated, std::string text) {
    unmark(text);
    try {
      row.make(text);
    } catch (const RouteFilterError& error) {
      throw CLI::ValidationError(row.option, error.what);
    } catch (const Routing::RouteMap::PosixRegexException& error) {
      throw CLI::ValidationError(row.option, error.what());
    }
    options_.filters.push_back({&row, negated, std::move(text)});
  }
  static void addNumber(CLI::App* sub, const char* name, const char* letter, std::uint64_t& number, const char* what) {
    const auto read = [name, &number](std::string text) { number = readNumber(name, std::move(text)); };
    sub->add_option_function<std::string>(name, read, what)->type_name(letter);
  }
  void addTop(CLI::App* sub) {
    const auto read = [this](std::string text) {
      unmark(text);
      options_.top = text == "all" ? UINT64_MAX : readNumber<1>("--top", std::move(text));
    };
    sub->add_option_function<std::string>("--top", read, "The N most used lists and communities, or all (10)")
        ->type_name("N|all");
  }
  void addBy(CLI::App* sub) {
    const auto read = [this](std::string text) {
      unmark(text);
      if (text != "file" && text != "peer") {
        throw CLI::ValidationError("--by", quote(text) + " is nothing to count by, expected file or peer");
      }
      options_.by = text == "file" ? By::file : By::peer;
    };
    sub->add_option_function<std::string>("--by", read, "Each file apart, or each peer")->type_name("file|peer");
  }
  void addThreads(CLI::App* sub) {
    const auto read = [this](std::string text) { options_.threads = readNumber<1>("--threads", std::move(text)); };
    sub->add_option_function<std::string>("--threads", read, "Use as many threads at most (default 2)")->type_name("N");
  }

  void addDecode() {
    CLI::App* sub = subcommand(decodeCommand, "decode", "Say what each community value is");
    addJson(sub, "One JSON object a value");
    addNames(sub);
    addMvpn(sub);
    addOperands(sub, {"VALUE", 0, SIZE_MAX},
                "A:B, A:B:C, rt 65000:100, a name like no-export, or 0x and hex digits; without any, one a line of "
                "standard input");
  }
  void addList() {
    CLI::App* sub = subcommand(listCommand, "list", "Intern the communities of a path as lists");
    addJson(sub, "One JSON object a path");
    addMatch(sub);
    sub->add_flag("--explain", options_.explain, "Say why each value is sent, kept by pruning, and matched");
    addNames(sub);
    addMvpn(sub);
    addOperands(sub, {"VALUE", 0, SIZE_MAX},
                "The values of one path, of any kind; without any, one path a line of standard input");
  }
  void addMrt() {
    CLI::App* sub = subcommand(mrtCommand, "mrt", "Intern the communities of all paths of MRT files");
    addCsv(sub, "One line of CSV a community", addJson(sub, "One JSON object for all together"));
    addBy(sub);
    addTop(sub);
    addMatch(sub);
    addThreads(sub);
    addText(sub, "--publish", "STORE", options_.publish, "Put the lists into this store, for other processes to read");
    addNames(sub);
    addMvpn(sub);
    addOperands(sub, {"FILE", 1, SIZE_MAX}, "MRT files, plain, gzip, bzip2, xz or zstd; - is standard input");
  }
  void addRoutes() {
    CLI::App* sub = subcommand(routesCommand, "routes", "Print the routes of MRT files, one a line");
    CLI::Option* json = addJson(sub, "One JSON object a route");
    CLI::Option* csv = addCsv(sub, "Comma-separated values, behind a line of names", json);
    sub->add_flag("--bgpdump", options_.bgpdump, "As bgpdump -m prints them")->excludes(json)->excludes(csv);
    sub->add_flag("--raw", options_.raw, "Communities in hex");
    sub->add_flag("--count", options_.count, "Only how many there are");
    const auto read = [this](std::string text) { options_.limit = readNumber<1>("--limit", std::move(text)); };
    sub->add_option_function<std::string>("--limit", read, "Stop after N of them")->type_name("N");
    addNames(sub);
    addMvpn(sub);
    addFilters(sub);
    addOperands(sub, {"FILE", 1, SIZE_MAX}, "MRT files, plain or compressed; - is standard input");
  }
  void addDiff() {
    CLI::App* sub = subcommand(diffCommand, "diff", "Say what changed between the routes of two MRT files");
    addCsv(sub, "Comma-separated values, behind a line of names", addJson(sub, "One JSON object a route that changed"));
    addNames(sub);
    addMvpn(sub);
    addFilters(sub);
    addOperands(sub, {"OLD NEW", 2, 2}, "The MRT files");
  }
  void addSample() {
    CLI::App* sub = subcommand(sampleCommand, "sample", "Write an MRT stream to try things on");
    addNumber(sub, "--paths", "N", options_.paths, "How many paths (default 10000)");
    addNumber(sub, "--seed", "S", options_.seed, "The same seed gives the same stream (default 1)");
  }

  void addStore() {
    CLI::App* sub = subcommand(storeCommand, "store", "Print the lists that mrt --publish put into a store");
    addJson(sub, "One JSON object a published path");
    addText(sub, "--key", "PREFIX", options_.key, "Only paths whose keys begin so");
    sub->add_flag("--follow", options_.follow, "Go on with what changes, till stopped");
    addOperands(sub, {"STORE", 1, 1}, "The store's directory");
  }

  CLI::App app_{"BGP communities as the VelBgp library sees them", "velbgp"};
  Options options_;
  std::map<const CLI::App*, Operands> operands_;
  std::vector<std::string> ignored_;
};

}  // namespace

std::optional<Options> parseCommandLine(int argc, const char* const* argv, Console& console, int& status) {
  return CommandLine().parse(argc, argv, console, status);
}

}  // namespace VelBgpTool
