#include <CLI/CLI.hpp>
#include <charconv>

#include "VelBgp/Version.h"
#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Text.h"

namespace VelBgpTool {

namespace {

constexpr int statusUnusable = 2;
// CLI11 takes "[a,b]" apart as an array, and "{}" as none. A value or file of such a name is kept whole by this mark.
constexpr char wholeMark = '\x01';

// Also what ends in the mark of its own accord, lest unmark() take that.
bool needsMark(const std::string& argument) {
  return (argument.starts_with('[') && argument.ends_with(']')) || argument == "{}" || argument.ends_with(wholeMark);
}

void unmark(std::string& argument) {
  if (argument.ends_with(wholeMark)) argument.pop_back();
}

std::vector<std::string> arguments(int argc, const char* const* argv) {
  std::vector<std::string> reversed;
  for (int i = argc - 1; i > 0; --i) {
    std::string argument(argv[i]);
    if (needsMark(argument)) argument += wholeMark;
    // An empty text; CLI11 would take the next argument instead.
    if (argument == "--match=" || argument == "--key=") {
      reversed.emplace_back();
      argument.pop_back();
    }
    reversed.push_back(std::move(argument));
  }
  return reversed;
}

class CommandLine {
 public:
  CommandLine() {
    app_.require_subcommand(1);
    app_.set_version_flag("--version", version, "Print the version and exit");
    app_.footer("Run velbgp SUBCOMMAND --help for its options; velbgp(1) has the details.");
    addDecode();
    addList();
    addMrt();
    addSample();
    addStore();
  }
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  std::optional<Options> parse(std::vector<std::string> reversed, Console& console, int& status) {
    try {
      requireSubcommand(reversed);
      app_.parse(std::move(reversed));
      for (std::string& input : options_.inputs) unmark(input);
      return options_;
    } catch (const CLI::CallForHelp&) {
      const auto chosen = app_.get_subcommands();
      console.print(chosen.empty() ? app_.help() : chosen.front()->help("velbgp"));
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
  static constexpr const char* version = "velbgp " VELBGP_VERSION;

  // CLI11 would only say that one is required.
  void requireSubcommand(const std::vector<std::string>& reversed) {
    if (reversed.empty() || reversed.back().starts_with('-')) return;
    const auto isNamed = [&](const CLI::App* sub) { return sub->get_name() == reversed.back(); };
    if (!app_.get_subcommands(isNamed).empty()) return;
    std::string name = reversed.back();
    unmark(name);
    throw CLI::ValidationError(quote(name) + " is no subcommand, expected decode, list, mrt, sample or store");
  }

  CLI::App* subcommand(Command* command, const char* name, const char* purpose) {
    CLI::App* sub = app_.add_subcommand(name, purpose);
    sub->set_version_flag("--version", version, "Print the version and exit");
    sub->callback([this, command] { options_.command = command; });
    return sub;
  }

  void addJson(CLI::App* sub, const char* what) { sub->add_flag("--json", options_.json, what); }
  void addMvpn(CLI::App* sub) {
    sub->add_flag_callback(
        "--no-mvpn", [this] { options_.mvpn = false; }, "Decode as if the toggle Mvpn were off");
  }
  // An empty text is one too, of an expression that matches everything. CLI11 hands it on to a function only.
  static void addText(CLI::App* sub, const char* name, const char* type, std::optional<std::string>& text,
                      const char* what) {
    const auto take = [&text](std::string given) {
      unmark(given);
      text = std::move(given);
    };
    sub->add_option_function<std::string>(name, take, what)->type_name(type);
  }
  void addMatch(CLI::App* sub) {
    addText(sub, "--match", "REGEX", options_.match, "Match each list with this POSIX extended regular expression");
  }
  CLI::Option* addInputs(CLI::App* sub, const char* name, const char* what) {
    return sub->add_option(name, options_.inputs, what)->type_name("");
  }

  // CLI11's own conversion takes signs, and a leading zero for octal.
  template <std::uint64_t least = 0>
  static std::uint64_t readNumber(const char* name, std::string text) {
    unmark(text);
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc() && end == text.data() + text.size() && number >= least) return number;
    throw CLI::ValidationError(
        name, quote(text) + " is no number, expected one from " + std::to_string(least) + " to 18446744073709551615");
  }
  static void addNumber(CLI::App* sub, const char* name, const char* letter, std::uint64_t& number, const char* what) {
    const auto read = [name, &number](std::string text) { number = readNumber(name, std::move(text)); };
    sub->add_option_function<std::string>(name, read, what)->type_name(letter);
  }
  void addThreads(CLI::App* sub) {
    const auto read = [this](std::string text) { options_.threads = readNumber<1>("--threads", std::move(text)); };
    sub->add_option_function<std::string>("--threads", read, "Use as many threads at most (default 2)")->type_name("N");
  }

  void addDecode() {
    CLI::App* sub = subcommand(decodeCommand, "decode", "Say what each community value is");
    addJson(sub, "One JSON object a value");
    addMvpn(sub);
    addInputs(sub, "VALUE",
              "A:B, A:B:C, rt 65000:100, a name like no-export, or 0x and hex digits; without any, one a line of "
              "standard input");
  }
  void addList() {
    CLI::App* sub = subcommand(listCommand, "list", "Intern the communities of a path as lists");
    addJson(sub, "One JSON object a path");
    addMatch(sub);
    addMvpn(sub);
    addInputs(sub, "VALUE", "The values of one path, of any kind; without any, one path a line of standard input");
  }
  void addMrt() {
    CLI::App* sub = subcommand(mrtCommand, "mrt", "Intern the communities of all paths of MRT files");
    addJson(sub, "One JSON object for all files together");
    addNumber(sub, "--top", "N", options_.top, "Show the N most used lists and communities (default 10)");
    addMatch(sub);
    addThreads(sub);
    addText(sub, "--publish", "STORE", options_.publish, "Put the lists into this store, for other processes to read");
    addMvpn(sub);
    addInputs(sub, "FILE", "MRT files, plain, gzip or bzip2; - is standard input")->required();
  }
  void addSample() {
    CLI::App* sub = subcommand(sampleCommand, "sample", "Write an MRT stream to try things on");
    addNumber(sub, "--paths", "N", options_.paths, "How many paths (default 10000)");
    addNumber(sub, "--seed", "S", options_.seed, "The same seed gives the same stream (default 1)");
  }

  void addStore() {
    CLI::App* sub = subcommand(storeCommand, "store", "Print the lists that mrt --publish put into a store");
    addJson(sub, "One JSON object a published path");
    const auto take = [this](std::string given) {
      unmark(given);
      options_.key = std::move(given);
    };
    sub->add_option_function<std::string>("--key", take, "Only paths whose keys begin so")->type_name("PREFIX");
    sub->add_flag("--follow", options_.follow, "Go on with what changes, till stopped");
    addInputs(sub, "STORE", "The store's directory")->required()->expected(1);
  }

  CLI::App app_{"BGP communities as the VelBgp library sees them", "velbgp"};
  Options options_;
};

}  // namespace

std::optional<Options> parseCommandLine(int argc, const char* const* argv, Console& console, int& status) {
  return CommandLine().parse(arguments(argc, argv), console, status);
}

}  // namespace VelBgpTool
