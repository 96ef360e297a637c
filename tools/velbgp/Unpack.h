// The octets of a file as they were before it was compressed: plain, gzip, bzip2, xz or zstd, told by content; several
// members or streams in a row read as one, of different ones too.
//
// What could be unpacked before compression breaks is given out first. Nothing is believed that the file says of sizes, and
// no decompressor gets more than 128 MiB for its window.
// Single-threaded.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "tools/velbgp/Input.h"

namespace VelBgpTool {

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
  virtual Step step(Octets in, std::span<std::uint8_t> out) = 0;
  // Why it is broken: for the memory that it would take.
  virtual bool wantsTooMuch() const { return false; }
};

class Unpacker final : public Source {
 public:
  explicit Unpacker(int fd) : file_(fd) {}

  // Throws std::bad_alloc when the decompressor gets no memory.
  std::size_t read(std::uint8_t* to, std::size_t size) override;

  // At the end: what broke the compressed stream off, or empty.
  const std::string& breakage() const { return breakage_; }
  int readError() const { return file_.error(); }
  std::uint64_t taken() const { return file_.taken(); }

 private:
  enum class Form { unknown, plain, compressed, ended };

  // Makes the codec for what comes next, if it is compressed.
  void beginMember();
  void skipPadding();
  std::size_t readPlain(std::span<std::uint8_t> out);
  std::size_t unpack(std::span<std::uint8_t> out);
  void broken(const std::string& why);

  FileInput file_;
  Window ahead_{file_, 256 * 1024};
  Form form_ = Form::unknown;
  bool padded_ = false;  // behind the member that ended, zeros may stand
  std::unique_ptr<Codec> codec_;
  std::string breakage_;
};

}  // namespace VelBgpTool
