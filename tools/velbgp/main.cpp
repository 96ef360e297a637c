// velbgp: the library on a command line. See velbgp.1.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <new>

#include "Policy/PosixRegex.h"
#include "tools/velbgp/Commands.h"
#include "tools/velbgp/Console.h"
#include "tools/velbgp/Text.h"

using namespace VelBgpTool;

namespace {

constexpr int statusGood = 0;
constexpr int statusBad = 1;
constexpr int statusUnusable = 2;

// Fills the places of closed standard streams with ones that fail as closed ones do, lest a file that is opened later
// takes them and results are written into it.
void holdStandardStreams() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(fd, F_GETFD) == -1) static_cast<void>(::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY));
  }
}

int runCommand(const Options& options, Console& console) {
  std::optional<Routing::RouteMap::PosixRegex> match;
  try {
    if (options.match) match.emplace(*options.match);
  } catch (const Routing::RouteMap::PosixRegexException& error) {
    console.error(std::string("--match: ") + error.what());
    return statusUnusable;
  }
  options.command(options, match ? &*match : nullptr, console);
  return statusGood;
}

int runTool(int argc, char** argv, Console& console) {
  int status = statusGood;
  try {
    if (const auto options = parseCommandLine(argc, argv, console, status)) status = runCommand(*options, console);
    console.flush();
  } catch (const OutputFailure& failure) {
    // A reader that has seen enough is no error.
    if (failure.error != EPIPE) console.error(std::string("cannot write the output: ") + std::strerror(failure.error));
  } catch (const std::bad_alloc&) {
    console.error("out of memory");
  } catch (const std::exception& error) {  // the system refused something that has no place of its own
    console.error(escaped(error.what()));
  }
  console.progressDel();
  return status == statusGood && console.failed() ? statusBad : status;
}

}  // namespace

int main(int argc, char** argv) {
  holdStandardStreams();
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);  // a limit on file sizes is an error like a full disk
  Console console(STDOUT_FILENO, STDERR_FILENO);
  return runTool(argc, argv, console);
}
