#include "tools/velbgp/Lines.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/velbgp/Console.h"

namespace VelBgpTool {

namespace {

constexpr std::string_view blanks = " \t\r";
constexpr std::size_t blockSize = 64 * 1024;

}  // namespace

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string_view> words(std::string_view text) {
  std::vector<std::string_view> found;
  for (text = trimmed(text); !text.empty(); text = trimmed(text)) {
    const std::size_t length = std::min(text.find_first_of(blanks), text.size());
    found.push_back(text.substr(0, length));
    text.remove_prefix(length);
  }
  return found;
}

bool LineReader::next() {
  while (nextPhysical()) {
    const std::string_view content = trimmed(line_);
    if (!content.empty() && content.front() != '#') return true;
  }
  return false;
}

bool LineReader::nextPhysical() {
  std::size_t searched = 0;
  for (;;) {
    const std::string_view rest = std::string_view(buffer_).substr(begin_);
    const std::size_t end = rest.find('\n', searched);
    if (end == std::string_view::npos && !atEnd_) {
      searched = rest.size();
      atEnd_ = !fill();
      continue;
    }
    if (end == std::string_view::npos && rest.empty()) return false;
    line_ = rest.substr(0, end);
    begin_ += std::min(line_.size() + 1, rest.size());
    ++number_;
    return true;
  }
}

// Moves the unfinished line to the front and reads on behind it; false at the end of the input.
bool LineReader::fill() {
  console_.flush();
  buffer_.erase(0, begin_);
  begin_ = 0;
  const std::size_t used = buffer_.size();
  buffer_.resize(used + blockSize);
  ssize_t got;
  do {
    got = ::read(fd_, buffer_.data() + used, blockSize);
  } while (got < 0 && errno == EINTR);
  const int error = errno;
  const auto added = static_cast<std::size_t>(std::max<ssize_t>(got, 0));
  buffer_.resize(used + added);
  if (got < 0) console_.error({"stdin", number_ + 1}, std::string("cannot read: ") + std::strerror(error));
  taken_ += added;
  progress_.doneIs(taken_);
  return added != 0;
}

}  // namespace VelBgpTool
