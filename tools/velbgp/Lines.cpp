#include "tools/velbgp/Lines.h"

#include <algorithm>
#include <cstring>

#include "tools/velbgp/Console.h"

namespace VelBgpTool {

namespace {

constexpr std::string_view blanks = " \t\r";

}  // namespace

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool LineReader::next() {
  while (nextPhysical()) {
    const std::string_view content = trimmed(line_);
    if (!content.empty() && content.front() != '#') return true;
  }
  return false;
}

bool LineReader::nextPhysical() {
  for (std::size_t searched = 0;;) {
    const std::string_view rest = textOf(window_.peek(searched + 1));
    const std::size_t end = rest.find('\n', searched);
    if (std::min(end, rest.size()) > longestLine) {
      console_.error({source_, ++number_},
                     "a line of more than " + std::to_string(longestLine) + " octets, expected at most so many");
      dropLine();
      searched = 0;
      continue;
    }
    if (end == std::string_view::npos && rest.size() > searched) {
      searched = rest.size();
      continue;
    }
    if (rest.empty()) return false;
    line_ = rest.substr(0, end);
    window_.consume(std::min(line_.size() + 1, rest.size()));
    ++number_;
    return true;
  }
}

void LineReader::dropLine() {
  for (;;) {
    const std::string_view rest = textOf(window_.peek(1));
    if (rest.empty()) return;
    const std::size_t end = rest.find('\n');
    window_.consume(std::min(end, rest.size() - 1) + 1);
    if (end != std::string_view::npos) return;
  }
}

std::size_t LineReader::read(std::uint8_t* to, std::size_t size) {
  if (file_.ended()) return 0;
  console_.flush();
  const std::size_t got = file_.read(to, size);
  if (file_.error() != 0) {
    console_.error({source_, number_ + 1}, std::string("cannot read: ") + std::strerror(file_.error()));
  }
  progress_.doneIs(file_.taken());
  return got;
}

}  // namespace VelBgpTool
