#include "tools/velbgp/Unpack.h"

#include <bzlib.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string_view>

namespace VelBgpTool {

namespace {

constexpr std::size_t blockSize = 256 * 1024;

using Input = std::span<const std::uint8_t>;
using Output = std::span<std::uint8_t>;

bool startsWith(Input octets, std::string_view magic) {
  return octets.size() >= magic.size() && std::memcmp(octets.data(), magic.data(), magic.size()) == 0;
}

bool isGzip(Input octets) { return startsWith(octets, "\x1f\x8b"); }

// A plain MRT file of one minute in April 2005 starts with BZh as well, so a first block is looked for behind it.
bool isBzip2(Input octets) {
  if (!startsWith(octets, "BZh") || octets.size() < 4 || octets[3] < '1' || octets[3] > '9') return false;
  const Input rest = octets.subspan(4, std::min<std::size_t>(octets.size() - 4, 6));
  const auto begins = [&](std::string_view magic) { return startsWith(rest, magic.substr(0, rest.size())); };
  return begins("1AY&SY") || begins("\x17\x72\x45\x38\x50\x90");
}
constexpr std::size_t magicSize = 10;

// What both libraries do alike, down to the names of a stream's members.
template <typename Stream>
class StreamCodec : public Codec {
 public:
  Step step(Input in, Output out) override {
    stream_.next_in = reinterpret_cast<decltype(stream_.next_in)>(const_cast<std::uint8_t*>(in.data()));
    stream_.avail_in = static_cast<unsigned>(in.size());
    stream_.next_out = reinterpret_cast<decltype(stream_.next_out)>(out.data());
    stream_.avail_out = static_cast<unsigned>(out.size());
    const State state = unpack();
    return {state, in.size() - stream_.avail_in, out.size() - stream_.avail_out};
  }

 protected:
  virtual State unpack() = 0;

  Stream stream_{};
};

class GzipCodec final : public StreamCodec<z_stream> {
 public:
  GzipCodec() {
    constexpr int gzipOnly = 16;
    if (inflateInit2(&stream_, MAX_WBITS + gzipOnly) != Z_OK) throw std::bad_alloc();
  }
  ~GzipCodec() override { inflateEnd(&stream_); }

 private:
  State unpack() override {
    const int result = inflate(&stream_, Z_NO_FLUSH);
    if (result == Z_MEM_ERROR) throw std::bad_alloc();
    if (result == Z_OK || result == Z_BUF_ERROR) return State::more;
    return result == Z_STREAM_END ? State::memberEnd : State::broken;
  }
};

class Bzip2Codec final : public StreamCodec<bz_stream> {
 public:
  Bzip2Codec() {
    if (BZ2_bzDecompressInit(&stream_, 0, 0) != BZ_OK) throw std::bad_alloc();
  }
  ~Bzip2Codec() override { BZ2_bzDecompressEnd(&stream_); }

 private:
  State unpack() override {
    const int result = BZ2_bzDecompress(&stream_);
    if (result == BZ_MEM_ERROR) throw std::bad_alloc();
    if (result == BZ_OK) return State::more;
    return result == BZ_STREAM_END ? State::memberEnd : State::broken;
  }
};

}  // namespace

BlockInput::BlockInput(int fd) : fd_(fd), block_(new std::uint8_t[blockSize]) {}

Input BlockInput::peek(std::size_t least) {
  while (end_ - begin_ < least) {
    std::memmove(block_.get(), block_.get() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    const std::size_t got = readFile(block_.get() + end_, blockSize - end_);
    if (got == 0) break;
    end_ += got;
  }
  return {block_.get() + begin_, end_ - begin_};
}

std::size_t BlockInput::read(std::uint8_t* to, std::size_t size) {
  const std::size_t waiting = std::min(end_ - begin_, size);
  if (waiting == 0) return readFile(to, size);
  std::memcpy(to, block_.get() + begin_, waiting);
  begin_ += waiting;
  return waiting;
}

std::size_t BlockInput::readFile(std::uint8_t* to, std::size_t size) {
  // A terminal's end of input is not asked for twice.
  if (ended_ || size == 0) return 0;
  ssize_t got;
  do {
    got = ::read(fd_, to, size);
  } while (got < 0 && errno == EINTR);
  ended_ = got <= 0;
  if (got < 0) {
    error_ = errno;
    return 0;
  }
  taken_ += static_cast<std::uint64_t>(got);
  return static_cast<std::size_t>(got);
}

std::size_t Unpacker::read(std::uint8_t* to, std::size_t size) {
  if (form_ == Form::unknown) begin();
  if (form_ == Form::plain) return input_.read(to, size);
  while (form_ == Form::compressed) {
    if (const std::size_t got = unpack({to, size}); got != 0) return got;
  }
  return 0;
}

void Unpacker::begin() {
  beginMember();
  if (!codec_) form_ = Form::plain;
}

void Unpacker::beginMember() {
  const Input ahead = input_.peek(magicSize);
  codec_.reset();
  if (isGzip(ahead)) {
    codec_ = std::make_unique<GzipCodec>();
  } else if (isBzip2(ahead)) {
    codec_ = std::make_unique<Bzip2Codec>();
  }
  form_ = codec_ ? Form::compressed : Form::ended;
}

std::size_t Unpacker::unpack(Output out) {
  const Input ahead = input_.peek(1);
  const Codec::Step step = codec_->step(ahead, out);
  input_.consume(step.consumed);
  if (step.state == Codec::State::broken) {
    broken("the compressed data are damaged, expected to unpack them to their end");
  } else if (step.state == Codec::State::memberEnd) {
    beginMember();
    if (!codec_ && !input_.peek(1).empty())
      broken("octets follow the compressed data, expected another member or the end");
  } else if (step.produced == 0 && ahead.empty()) {
    broken("the compressed data end early, expected the end of their last member");
  }
  return step.produced;
}

void Unpacker::broken(const std::string& why) {
  // A read that failed is the reason then, not the data.
  if (input_.error() == 0) breakage_ = why;
  form_ = Form::ended;
}

}  // namespace VelBgpTool
