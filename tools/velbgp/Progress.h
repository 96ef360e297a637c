// How far long work has come, drawn on standard error while that is a terminal: a bar where the whole is known, else
// what was done, and how fast, and the time that is left.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace VelBgpTool {

class Console;

// The size of an open file, or 0 where it cannot be known.
std::uint64_t sizeOfFile(int fd);

class Progress {
 public:
  // `whole` is what doneIs() will come to, 0 if unknown; both count octets. Work that prints as it goes is not drawn
  // into its own output: nothing is drawn while that is a terminal too.
  Progress(Console& console, std::string_view source, std::uint64_t whole, bool printsAsItGoes);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Draws now and then, however often it is called, and nothing for short work.
  void doneIs(std::uint64_t done) {
    if (shown_ && Clock::now() >= nextDraw_) draw(done);
  }

 private:
  using Clock = std::chrono::steady_clock;
  void draw(std::uint64_t done);

  Console& console_;
  bool shown_;
  std::string source_;
  std::uint64_t whole_;
  Clock::time_point begun_;
  Clock::time_point nextDraw_;
};

}  // namespace VelBgpTool
