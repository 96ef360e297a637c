#include "tools/velbgp/Unpack.h"

#include <bzlib.h>
#include <lzma.h>
#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

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

// A frame that holds no data may come before those that do. A plain MRT file of one of sixteen seconds starts alike; no
// writer makes such frames of the sizes that a record's type would be read as.
bool isSkippableFrame(std::string_view text, bool first) {
  if (text.size() < 8 || (static_cast<unsigned char>(text[0]) & 0xf0) != 0x50 || text.substr(1, 3) != "\x2a\x4d\x18") {
    return false;
  }
  const bool recordType = text[4] == 0 && std::string_view("\x0c\x0d\x10\x11").find(text[5]) != std::string_view::npos;
  return !first || !recordType || text[6] != 0;
}

// What a decompressor may ask for, whatever the file says: the windows of the largest levels of both programs.
constexpr int largestWindow = 27;
constexpr std::uint64_t largestMemory = (std::uint64_t{1} << largestWindow) + (std::uint64_t{1} << 20);

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

class XzCodec final : public StreamCodec<lzma_stream> {
 public:
  XzCodec() {
    if (lzma_stream_decoder(&stream_, largestMemory, 0) != LZMA_OK) throw std::bad_alloc();
  }
  ~XzCodec() override { lzma_end(&stream_); }
  bool wantsTooMuch() const override { return wantsTooMuch_; }

 private:
  State unpack() override {
    const lzma_ret result = lzma_code(&stream_, LZMA_RUN);
    wantsTooMuch_ = result == LZMA_MEMLIMIT_ERROR;
    return judged(result == LZMA_BUF_ERROR ? LZMA_OK : result, LZMA_STREAM_END, LZMA_MEM_ERROR);
  }

  bool wantsTooMuch_ = false;
};

class ZstdCodec final : public Codec {
 public:
  ZstdCodec() : stream_(ZSTD_createDStream()) {
    if (stream_ == nullptr) throw std::bad_alloc();
    ZSTD_DCtx_setParameter(stream_.get(), ZSTD_d_windowLogMax, largestWindow);
  }
  Step step(Octets in, Output out) override {
    ZSTD_inBuffer from{in.data(), in.size(), 0};
    ZSTD_outBuffer to{out.data(), out.size(), 0};
    const std::size_t result = ZSTD_decompressStream(stream_.get(), &to, &from);
    return {judged(result), from.pos, to.pos};
  }
  bool wantsTooMuch() const override { return wantsTooMuch_; }

 private:
  State judged(std::size_t result) {
    const ZSTD_ErrorCode error = ZSTD_getErrorCode(result);
    if (error == ZSTD_error_memory_allocation) throw std::bad_alloc();
    wantsTooMuch_ = error == ZSTD_error_frameParameter_windowTooLarge;
    if (error != ZSTD_error_no_error) return State::broken;
    return result == 0 ? State::memberEnd : State::more;
  }
  struct Free {
    void operator()(ZSTD_DStream* stream) const { ZSTD_freeDStream(stream); }
  };

  std::unique_ptr<ZSTD_DStream, Free> stream_;
  bool wantsTooMuch_ = false;
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

// What a stream of xz may have behind it: zeros, in fours.
void Unpacker::skipPadding() {
  while (ahead_.peek(4).size() >= 4 && bigEndian(ahead_.peek(4).first<4>()) == 0) ahead_.consume(4);
}

void Unpacker::beginMember() {
  if (padded_) skipPadding();
  const std::string_view ahead = textOf(ahead_.peek(magicSize));
  codec_.reset();
  padded_ = false;
  if (ahead.starts_with("\x1f\x8b")) {
    codec_ = std::make_unique<GzipCodec>();
  } else if (isBzip2(ahead)) {
    codec_ = std::make_unique<Bzip2Codec>();
  } else if (ahead.starts_with(std::string_view("\xfd\x37zXZ\0", 6))) {
    codec_ = std::make_unique<XzCodec>();
    padded_ = true;
  } else if (ahead.starts_with("\x28\xb5\x2f\xfd") || isSkippableFrame(ahead, form_ == Form::unknown)) {
    codec_ = std::make_unique<ZstdCodec>();
  }
  form_ = codec_ ? Form::compressed : Form::ended;
}

std::size_t Unpacker::unpack(Output out) {
  const Octets ahead = ahead_.peek(1);
  const Codec::Step step = codec_->step(ahead, out);
  ahead_.consume(step.consumed);
  if (step.state == Codec::State::broken) {
    broken(codec_->wantsTooMuch() ? "the compressed data need a window of more than 128 MiB, expected at most so much"
                                  : "the compressed data are damaged, expected to unpack them to their end");
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
