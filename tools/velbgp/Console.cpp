#include "tools/velbgp/Console.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "tools/velbgp/Text.h"

namespace VelBgpTool {

namespace {

constexpr std::size_t bufferSize = 64 * 1024;

bool environmentHas(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0';
}

bool terminalHasColour() {
  const char* terminal = std::getenv("TERM");
  return terminal != nullptr && std::string_view(terminal) != "dumb";
}

// Writes all of the text; the errno of a failure, else 0.
int writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(fd, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

}  // namespace

Console::Console(int outFd, int errFd)
    : outFd_(outFd),
      errFd_(errFd),
      outIsTerminal_(::isatty(outFd) == 1),
      errIsTerminal_(::isatty(errFd) == 1),
      colour_(outIsTerminal_ && !environmentHas("NO_COLOR") && terminalHasColour()) {
  out_.reserve(bufferSize);
}

void Console::print(std::string_view text) {
  if (outClosed_) return;
  out_.append(text);
  if (out_.size() >= bufferSize) flush();
}

void Console::line(std::string_view text) {
  out_.append(text);
  print("\n");
}

void Console::flush() {
  if (outClosed_ || out_.empty()) return;
  if (outIsTerminal_) progressDel();
  const int error = writeAll(outFd_, out_);
  out_.clear();
  if (error == 0) return;
  outClosed_ = true;
  throw OutputFailure{error};
}

bool Console::readerGoesWithin(std::chrono::milliseconds time) const {
  pollfd out{outFd_, 0, 0};
  return ::poll(&out, 1, static_cast<int>(time.count())) > 0;
}

void Console::error(const Place& place, std::string_view what) {
  failed_ = true;
  complain("velbgp: ", &place, what);
}

void Console::error(std::string_view what) {
  failed_ = true;
  complain("velbgp: ", nullptr, what);
}

void Console::note(const Place& place, std::string_view what) { complain("velbgp: note: ", &place, what); }
void Console::note(std::string_view what) { complain("velbgp: note: ", nullptr, what); }

void Console::complain(std::string_view label, const Place* place, std::string_view what) {
  // On one screen an error belongs behind the results of the input before it.
  if (outIsTerminal_ && errIsTerminal_) flush();
  progressDel();
  std::string line(label);
  if (place != nullptr) {
    line += escaped(place->source);
    line += place->isOffset ? ":@" : ":";
    line += std::to_string(place->number) + ": ";
  }
  line.append(what).push_back('\n');
  writeAll(errFd_, line);
}

unsigned Console::columns() const {
  winsize size{};
  if (!outIsTerminal_ || ::ioctl(outFd_, TIOCGWINSZ, &size) != 0) return 0;
  return size.ws_col;
}

void Console::progressIs(std::string_view text) {
  if (!errIsTerminal_) return;
  std::string line = "\r";
  line.append(text).append("\x1b[K");
  writeAll(errFd_, line);
  progressShown_ = true;
}

void Console::progressDel() {
  if (!progressShown_) return;
  progressShown_ = false;
  writeAll(errFd_, "\r\x1b[K");
}

}  // namespace VelBgpTool
