// The octets of a file as they were before it was compressed: plain, gzip or bzip2, told by content; several members or
// streams in a row read as one.
//
// What could be unpacked before compression breaks is given out first. Nothing is believed that the file says of sizes.
// Single-threaded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace VelBgpTool {

// A file descriptor, read in blocks and looked at before use.
class BlockInput {
 public:
  explicit BlockInput(int fd);

  // Unused octets; empty only at the end. `least` octets are there unless the input ends before.
  std::span<const std::uint8_t> peek(std::size_t least);
  void consume(std::size_t count) { begin_ += count; }
  // Unused octets first, then straight from the file; 0 at the end.
  std::size_t read(std::uint8_t* to, std::size_t size);

  // Octets read from the file so far.
  std::uint64_t taken() const { return taken_; }
  // The errno of the read that failed; it is the end of the input.
  int error() const { return error_; }

 private:
  std::size_t readFile(std::uint8_t* to, std::size_t size);

  int fd_;
  int error_ = 0;
  bool ended_ = false;
  std::uint64_t taken_ = 0;
  std::unique_ptr<std::uint8_t[]> block_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

// One member of a compressed stream.
class Codec {
 public:
  enum class State { more, memberEnd, broken };
  struct Step {
    State state;
    std::size_t consumed;
    std::size_t produced;
  };
  virtual ~Codec() = default;
  virtual Step step(std::span<const std::uint8_t> in, std::span<std::uint8_t> out) = 0;
};

class Unpacker {
 public:
  explicit Unpacker(int fd) : input_(fd) {}

  // At most `size` octets; 0 only at the end. Throws std::bad_alloc when the decompressor gets no memory.
  std::size_t read(std::uint8_t* to, std::size_t size);

  // At the end: what broke the compressed stream off, or empty.
  const std::string& breakage() const { return breakage_; }
  int readError() const { return input_.error(); }
  std::uint64_t taken() const { return input_.taken(); }

 private:
  enum class Form { unknown, plain, compressed, ended };

  // Tells the form of what comes next and prepares for it.
  void begin();
  void beginMember();
  std::size_t unpack(std::span<std::uint8_t> out);
  void broken(const std::string& why);

  BlockInput input_;
  Form form_ = Form::unknown;
  std::unique_ptr<Codec> codec_;
  std::string breakage_;
};

}  // namespace VelBgpTool
