#include "tools/velbgp/Progress.h"

#include <sys/stat.h>

#include <algorithm>

#include "tools/velbgp/Console.h"
#include "tools/velbgp/Text.h"

namespace VelBgpTool {

namespace {

constexpr auto patience = std::chrono::milliseconds(300);
constexpr auto interval = std::chrono::milliseconds(100);
constexpr unsigned barWidth = 30;
constexpr std::size_t nameLength = 30;

// The end of a name, so that the line stays shorter than a terminal is wide.
std::string shortName(std::string_view source) {
  source.remove_prefix(source.size() - std::min(source.size(), nameLength));
  return escaped(source);
}

}  // namespace

std::uint64_t sizeOfFile(int fd) {
  struct stat status {};
  const bool known = ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
  return known ? static_cast<std::uint64_t>(status.st_size) : 0;
}

Progress::Progress(Console& console, std::string_view source, std::uint64_t whole, bool printsAsItGoes)
    : console_(console),
      shown_(console.errIsTerminal() && !(printsAsItGoes && console.outIsTerminal())),
      source_(shortName(source)),
      whole_(whole),
      nextDraw_(Clock::now() + patience) {}

Progress::~Progress() { console_.progressDel(); }

void Progress::draw(std::uint64_t done) {
  nextDraw_ = Clock::now() + interval;
  std::string line = "velbgp: " + source_ + "  ";
  if (whole_ != 0) {
    done = std::min(done, whole_);
    line += "[" + bar(done, whole_, barWidth) + "] " + std::to_string(done * 100 / whole_) + "%";
  } else {
    line += std::to_string(done / 1'000'000) + " MB";
  }
  console_.progressIs(line);
}

}  // namespace VelBgpTool
