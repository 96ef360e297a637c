// Octets as they come: from a file descriptor, and the stretch of a stream that is in memory. Single-threaded.
#pragma once

#include <cstdint>
#include <memory>

#include "tools/velbgp/Text.h"

namespace VelBgpTool {

class Source {
 public:
  Source() = default;
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  virtual ~Source() = default;

  // Gives at most `size` octets; 0 only at the end.
  virtual std::size_t read(std::uint8_t* to, std::size_t size) = 0;
};

class FileInput final : public Source {
 public:
  explicit FileInput(int fd) : fd_(fd) {}

  std::size_t read(std::uint8_t* to, std::size_t size) override;

  bool ended() const { return ended_; }
  // Octets read so far.
  std::uint64_t taken() const { return taken_; }
  // The errno of the read that failed; it is the end of the input.
  int error() const { return error_; }

 private:
  int fd_;
  int error_ = 0;
  bool ended_ = false;
  std::uint64_t taken_ = 0;
};

// Read from the front, filled at the back. Memory grows with the octets that came.
class Window {
 public:
  Window(Source& source, std::size_t size) : source_(source), capacity_(size), octets_(new std::uint8_t[size]) {}

  // All that is here; `least` octets are, unless the input ends before. Valid until the next call but consume().
  Octets peek(std::size_t least);
  void consume(std::size_t count) { begin_ += count; }
  // Drops octets, here or still to come; how many there were to drop.
  std::uint64_t skip(std::uint64_t count);

 private:
  void makeRoom();
  // Makes room and takes what one read gives.
  bool fill();

  Source& source_;
  std::size_t capacity_;
  std::unique_ptr<std::uint8_t[]> octets_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

}  // namespace VelBgpTool
