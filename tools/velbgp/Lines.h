// Typed input: the lines of a text stream.
//
// Nothing is assumed about a line's length, its characters or its end; one that is too long to be kept is reported and
// passed over. Single-threaded.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "tools/velbgp/Input.h"
#include "tools/velbgp/Progress.h"

namespace VelBgpTool {

class Console;

// Without outer spaces, tabs and carriage returns.
std::string_view trimmed(std::string_view text);

// Reads standard input, or another file, line by line. Before it waits for more, it flushes the console: whoever feeds us line by line
// sees each answer before being asked for the next.
class LineReader final : private Source {
 public:
  // Far more than what the longest lists of all attributes take, in any of their texts.
  static constexpr std::size_t longestLine = 16 << 20;

  LineReader(int fd, Console& console, std::string source = "stdin")
      : file_(fd), console_(console), source_(std::move(source)), progress_(console, source_, sizeOfFile(fd), true) {}

  // Steps to the next line that is neither blank nor a comment; false at the end. A read error is reported and is an
  // end.
  bool next();
  // Without its line feed. Valid until the next step.
  std::string_view line() const { return line_; }
  // Which line of the input this is, from 1, those skipped counted.
  std::uint64_t number() const { return number_; }

 private:
  bool nextPhysical();
  // Passes over the rest of a line, its end too.
  void dropLine();
  std::size_t read(std::uint8_t* to, std::size_t size) override;

  FileInput file_;
  Window window_{*this, 64 * 1024};
  Console& console_;
  const std::string source_;
  Progress progress_;
  std::string_view line_;
  std::uint64_t number_ = 0;
};

}  // namespace VelBgpTool
