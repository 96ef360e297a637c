// A file of any content, plain or compressed in any way, unpacked and read as MRT: to its end, the same in reads of any
// size, and what is plain the same when it is compressed.
#include <bzlib.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include "fuzz/Fuzz.h"
#include "tools/velbgp/Kind.h"
#include "tools/velbgp/MrtReader.h"

namespace VelBgpFuzz {
namespace {

using namespace VelBgpTool;

// The file that is read: one in memory, with these octets.
int opened(std::string_view octets) {
  static const int file = ::memfd_create("fuzz", MFD_CLOEXEC);
  TYR_ASSERT(::ftruncate(file, 0) == 0 && ::lseek(file, 0, SEEK_SET) == 0);
  TYR_ASSERT(::pwrite(file, octets.data(), octets.size(), 0) == static_cast<ssize_t>(octets.size()));
  return file;
}

std::string unpacked(std::string_view file, std::size_t readSize) {
  Unpacker unpacker(opened(file));
  std::vector<std::uint8_t> block(readSize);
  std::string text;
  while (const std::size_t got = unpacker.read(block.data(), readSize)) text += textOf(Octets(block).first(got));
  TYR_ASSERT(unpacker.readError() == 0 && unpacker.taken() == file.size());
  return text + unpacker.breakage();
}

// Writes down all that it hears.
struct Protocol final : MrtSink {
  void recordIs(const MrtRecord& record, std::uint64_t offset) override {
    line(offset, std::to_string(record.paths()) + " paths");
    std::uint32_t path = 0;
    for (const CommunityAttribute& attribute : record.attributes()) {
      TYR_ASSERT(attribute.path >= path && attribute.path < record.paths() && attribute.kind < kindCount);
      path = attribute.path;
      line(path, kindRows[attribute.kind].name + hexDigits(attribute.value));
    }
  }
  void faultIs(std::uint64_t offset, const std::string& fault) override { line(offset, fault); }
  void line(std::uint64_t number, const std::string& what) { text += std::to_string(number) + ": " + what + '\n'; }

  std::string text;
};

std::string protocol(std::string_view file) {
  Unpacker unpacker(opened(file));
  Protocol protocol;
  MrtReader reader(unpacker, protocol);
  reader.read();
  return protocol.text + std::to_string(reader.counts().records) + ' ' + std::to_string(reader.counts().paths);
}

std::string packed(std::string_view plain, bool gzip) {
  std::string out(plain.size() + plain.size() / 100 + 600, '\0');
  auto size = static_cast<unsigned>(out.size());
  if (gzip) {
    z_stream stream{};
    TYR_ASSERT(deflateInit2(&stream, 1, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(plain.data()));
    stream.avail_in = static_cast<unsigned>(plain.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = size;
    TYR_ASSERT(deflate(&stream, Z_FINISH) == Z_STREAM_END && deflateEnd(&stream) == Z_OK);
    size -= stream.avail_out;
  } else {
    TYR_ASSERT(BZ2_bzBuffToBuffCompress(out.data(), &size, const_cast<char*>(plain.data()),
                                        static_cast<unsigned>(plain.size()), 1, 0, 0) == BZ_OK);
  }
  return out.substr(0, size);
}

}  // namespace

void oneInput(Input input) {
  const auto readSize = input.number<std::uint16_t>();
  const std::string_view file = textOf(input.rest());
  const std::string plain = unpacked(file, std::size_t{1} << 20);
  TYR_ASSERT(unpacked(file, 1 + std::size_t{readSize}) == plain);
  const std::string expected = protocol(file);
  if (plain != file) return;
  // Two members, so that a record may stand in both.
  const std::size_t half = file.size() / 2;
  const bool gzipFirst = readSize % 2 == 0;
  TYR_ASSERT(protocol(packed(file.substr(0, half), gzipFirst) + packed(file.substr(half), !gzipFirst)) == expected);
}

}  // namespace VelBgpFuzz
