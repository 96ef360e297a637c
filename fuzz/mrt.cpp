// An MRT stream of any content, plain and compressed: the same records and faults, in order, each within itself.
#include <bzlib.h>
#include <zlib.h>

#include "fuzz/Fuzz.h"
#include "tools/velbgp/Kind.h"
#include "tools/velbgp/MrtReader.h"

namespace VelBgpFuzz {

namespace {

using namespace VelBgpTool;

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
    paths += record.paths();
  }
  void faultIs(std::uint64_t offset, const std::string& fault) override { line(offset, fault); }
  void line(std::uint64_t number, const std::string& what) { text += std::to_string(number) + ": " + what + '\n'; }

  std::string text;
  std::uint64_t paths = 0;
};

std::string protocol(Octets file) {
  const MemoryFile memory(file);
  Unpacker unpacker(memory.fd());
  Protocol protocol;
  MrtReader reader(unpacker, protocol);
  reader.read();
  const MrtCounts& counts = reader.counts();
  TYR_ASSERT(counts.paths == protocol.paths && counts.malformed + counts.skipped <= counts.records + 1);
  return protocol.text;
}

std::string packed(Octets plain, bool gzip) {
  std::string out(plain.size() + plain.size() / 100 + 600, '\0');
  auto* const from = const_cast<std::uint8_t*>(plain.data());
  if (gzip) {
    z_stream stream{};
    stream.next_in = from;
    stream.avail_in = static_cast<unsigned>(plain.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<unsigned>(out.size());
    TYR_ASSERT(deflateInit2(&stream, 1, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK);
    TYR_ASSERT(deflate(&stream, Z_FINISH) == Z_STREAM_END && deflateEnd(&stream) == Z_OK);
    return out.substr(0, stream.total_out);
  }
  auto size = static_cast<unsigned>(out.size());
  TYR_ASSERT(BZ2_bzBuffToBuffCompress(out.data(), &size, reinterpret_cast<char*>(from),
                                      static_cast<unsigned>(plain.size()), 1, 0, 0) == BZ_OK);
  return out.substr(0, size);
}

}  // namespace

void oneInput(Input input) {
  const bool gzipFirst = (input.octet() & 1) != 0;
  const Octets stream = input.rest();
  const std::string expected = protocol(stream);
  // What begins as a compressed stream does is taken for one.
  if (!stream.empty() && (stream[0] == 0x1f || stream[0] == 'B')) return;
  // Two members, so that a record may stand in both.
  const std::size_t half = stream.size() / 2;
  const std::string both = packed(stream.first(half), gzipFirst) + packed(stream.subspan(half), !gzipFirst);
  TYR_ASSERT(protocol(octetsOf(both)) == expected);
}

}  // namespace VelBgpFuzz
