#include "Toggle/Toggle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/json.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>

#include "Tyr/Exception.h"

namespace Routing::Toggle {
namespace {

constexpr std::size_t maxFileSize = 1 << 20;

// What is wrong with a toggle file, for the warning.
struct Problem : Tyr::Exception {
  using Exception::Exception;
};

[[noreturn]] void failWithErrno(const char* operation) {
  throw Problem(std::string(operation) + ": " + std::generic_category().message(errno));
}

std::string toggleDirectory() {
  const char* directory = std::getenv("FEATURE_TOGGLE_DIR");
  return directory != nullptr && *directory != '\0' ? directory : "/etc/velbgp/toggles";
}

bool staysInside(const std::string& file) {
  if (file.empty() || file.front() == '/' || file.find('\0') != std::string::npos) return false;
  return ("/" + file + "/").find("/../") == std::string::npos;
}

// Nothing when there is no such file. Neither a FIFO nor a device may hold up the agent, so the file is opened without
// waiting and looked at before it is read.
std::optional<std::string> contents(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (file < 0) {
    if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
    failWithErrno("cannot open");
  }
  const std::unique_ptr<const int, void (*)(const int*)> closer(&file, [](const int* open) { ::close(*open); });
  struct stat status {};
  if (::fstat(file, &status) != 0) failWithErrno("cannot look at");
  if (!S_ISREG(status.st_mode)) throw Problem("not a regular file");
  std::string text;
  char block[4096];
  while (const ssize_t count = ::read(file, block, sizeof block)) {
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) failWithErrno("cannot read");
    text.append(block, static_cast<std::size_t>(count));
    if (text.size() > maxFileSize) throw Problem("larger than one mebibyte");
  }
  return text;
}

boost::json::object parsed(const std::string& text) {
  boost::json::stream_parser parser;
  boost::json::error_code error;
  const std::size_t good = parser.write(text, error);
  if (!error) parser.finish(error);
  if (error) {
    const auto line = 1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(good), '\n');
    throw Problem("line " + std::to_string(line) + ": not JSON: " + error.message());
  }
  boost::json::value value = parser.release();
  if (!value.is_object()) throw Problem("not a JSON object");
  return std::move(value.get_object());
}

std::optional<bool> state(const std::string& name, const std::string& file) {
  if (!staysInside(file)) throw Problem("not a name inside the toggle directory");
  const std::optional<std::string> text = contents(toggleDirectory() + "/" + file);
  if (!text) return std::nullopt;
  const boost::json::object toggles = parsed(*text);
  const boost::json::value* value = toggles.if_contains(name);
  if (value == nullptr) return std::nullopt;
  if (!value->is_bool()) throw Problem("neither true nor false");
  return value->get_bool();
}

// One line, whatever the names contain, in one write.
void warn(const std::string& name, const std::string& file, const std::string& problem, bool defaultState) {
  std::string line = "velbgp: warning: toggle \"" + name + "\" in " + toggleDirectory() + "/" + file + ": " + problem +
                     "; taken as " + (defaultState ? "on" : "off");
  for (char& c : line) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
  }
  line += '\n';
  std::fputs(line.c_str(), stderr);
}

}  // namespace

bool getToggleState(const std::string& name, const std::string& file, bool defaultState) {
  try {
    return state(name, file).value_or(defaultState);
  } catch (const Problem& problem) {
    warn(name, file, problem.what(), defaultState);
    return defaultState;
  }
}

}  // namespace Routing::Toggle
