#include "tools/velbgp/Unpack.h"

#include <bzlib.h>
#include <zlib.h>

#include <algorithm>
#include <new>
#include <string_view>

namespace VelBgpTool {

namespace {

using Output = std::span<std::uint8_t>;

// A plain MRT file of one minute in April 2005 starts with BZh as well, so a first block is looked for behind it.
bool isBzip2(std::string_view text) {
  if (!text.starts_with("BZh") || text.size() < 4 || text[3] < '1' || text[3] > '9') return false;
  const std::string_view rest = text.substr(4, 6);
  return std::string_view("1AY&SY").starts_with(rest) || std::string_view("\x17\x72\x45\x38\x50\x90").starts_with(rest);
}
constexpr std::size_t magicSize = 10;

// What both libraries do alike, down to the names of a stream's members.
template <typename Stream>
class StreamCodec : public Codec {
 public:
  Step step(Octets in, Output out) override {
    stream_.next_in = reinterpret_cast<decltype(stream_.next_in)>(const_cast<std::uint8_t*>(in.data()));
    stream_.avail_in = static_cast<unsigned>(in.size());
    stream_.next_out = reinterpret_cast<decltype(stream_.next_out)>(out.data());
    stream_.avail_out = static_cast<unsigned>(out.size());
    const State state = unpack();
    return {state, in.size() - stream_.avail_in, out.size() - stream_.avail_out};
  }

 protected:
  virtual State unpack() = 0;
  static State judged(int result, int end, int noMemory) {
    if (result == noMemory) throw std::bad_alloc();
    if (result == end) return State::memberEnd;
    return result == 0 ? State::more : State::broken;
  }

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
    return judged(result == Z_BUF_ERROR ? Z_OK : result, Z_STREAM_END, Z_MEM_ERROR);
  }
};

class Bzip2Codec final : public StreamCodec<bz_stream> {
 public:
  Bzip2Codec() {
    if (BZ2_bzDecompressInit(&stream_, 0, 0) != BZ_OK) throw std::bad_alloc();
  }
  ~Bzip2Codec() override { BZ2_bzDecompressEnd(&stream_); }

 private:
  State unpack() override { return judged(BZ2_bzDecompress(&stream_), BZ_STREAM_END, BZ_MEM_ERROR); }
};

}  // namespace

std::size_t Unpacker::read(std::uint8_t* to, std::size_t size) {
  if (form_ == Form::unknown) {
    beginMember();
    if (!codec_) form_ = Form::plain;
  }
  if (form_ == Form::plain) return readPlain({to, size});
  while (form_ == Form::compressed) {
    if (const std::size_t got = unpack({to, size}); got != 0) return got;
  }
  return 0;
}

std::size_t Unpacker::readPlain(Output out) {
  const Octets waiting = ahead_.peek(0);
  if (waiting.empty()) return file_.read(out.data(), out.size());
  const std::size_t count = std::min(waiting.size(), out.size());
  std::copy_n(waiting.begin(), count, out.begin());
  ahead_.consume(count);
  return count;
}

void Unpacker::beginMember() {
  const std::string_view ahead = textOf(ahead_.peek(magicSize));
  codec_.reset();
  if (ahead.starts_with("\x1f\x8b")) {
    codec_ = std::make_unique<GzipCodec>();
  } else if (isBzip2(ahead)) {
    codec_ = std::make_unique<Bzip2Codec>();
  }
  form_ = codec_ ? Form::compressed : Form::ended;
}

std::size_t Unpacker::unpack(Output out) {
  const Octets ahead = ahead_.peek(1);
  const Codec::Step step = codec_->step(ahead, out);
  ahead_.consume(step.consumed);
  if (step.state == Codec::State::broken) {
    broken("the compressed data are damaged, expected to unpack them to their end");
  } else if (step.state == Codec::State::memberEnd) {
    beginMember();
    if (!codec_ && !ahead_.peek(1).empty())
      broken("octets follow the compressed data, expected another member or the end");
  } else if (step.produced == 0 && ahead.empty()) {
    broken("the compressed data end early, expected the end of their last member");
  }
  return step.produced;
}

void Unpacker::broken(const std::string& why) {
  // A read that failed is the reason then, not the data.
  if (file_.error() == 0) breakage_ = why;
  form_ = Form::ended;
}

}  // namespace VelBgpTool
