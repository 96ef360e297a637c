#include "tools/velbgp/Progress.h"

#include <sys/stat.h>

#include <algorithm>

#include "tools/velbgp/Console.h"
#include "tools/velbgp/Text.h"

namespace VelBgpTool {

namespace {

constexpr auto patience = std::chrono::milliseconds(300);
constexpr auto interval = std::chrono::milliseconds(100);
constexpr unsigned barWidth = 20;
constexpr std::size_t nameLength = 20;

// The end of a name, so that the line stays shorter than a terminal is wide.
std::string shortName(std::string_view source) {
  source.remove_prefix(source.size() - std::min(source.size(), nameLength));
  return escaped(source);
}

// "12.3 MB/s"
std::string rateText(double octetsASecond) {
  const auto tenths = static_cast<std::uint64_t>(octetsASecond / 100'000);
  return grouped(tenths / 10) + "." + std::to_string(tenths % 10) + " MB/s";
}

// "1:05", "2:00:00"
std::string timeText(double seconds) {
  const auto whole = static_cast<std::uint64_t>(std::min(seconds, 360'000.0));
  const auto two = [](std::uint64_t number) { return (number < 10 ? "0" : "") + std::to_string(number); };
  const std::string hours = whole < 3600 ? "" : std::to_string(whole / 3600) + ":";
  const std::uint64_t minutes = whole / 60 % 60;
  return hours + (hours.empty() ? std::to_string(minutes) : two(minutes)) + ":" + two(whole % 60);
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
      begun_(Clock::now()),
      nextDraw_(begun_ + patience) {}

Progress::~Progress() { console_.progressDel(); }

void Progress::draw(std::uint64_t done) {
  const Clock::time_point now = Clock::now();
  nextDraw_ = now + interval;
  const double seconds = std::chrono::duration<double>(now - begun_).count();
  const double rate = static_cast<double>(done) / std::max(seconds, 0.001);
  std::string line = "velbgp: " + source_ + "  ";
  if (whole_ != 0) {
    done = std::min(done, whole_);
    line += "[" + bar(done, whole_, barWidth) + "] " + std::to_string(done * 100 / whole_) + "%  ";
  } else {
    line += grouped(done / 1'000'000) + " MB  ";
  }
  line += rateText(rate);
  if (whole_ != 0 && rate > 0) line += "  " + timeText(static_cast<double>(whole_ - done) / rate) + " left";
  console_.progressIs(line);
}

}  // namespace VelBgpTool
