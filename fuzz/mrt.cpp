// An MRT stream of any content. Its records lie inside it, in order, and reading it compressed gives the same.
#include <bzlib.h>
#include <zlib.h>

#include <vector>

#include "fuzz/Fuzz.h"
#include "tools/velbgp/Kind.h"
#include "tools/velbgp/MrtReader.h"

namespace VelBgpFuzz {

namespace {

using namespace VelBgpTool;

// Writes down all that it hears.
class Protocol final : public MrtSink {
 public:
  void recordIs(const MrtRecord& record, std::uint64_t offset) override {
    next(offset);
    text_ += std::to_string(offset) + ": " + std::to_string(record.paths()) + " paths\n";
    TYR_ASSERT(record.paths() != 0);
    paths_ += record.paths();
    std::uint32_t path = 0;
    for (const CommunityAttribute& attribute : record.attributes()) {
      TYR_ASSERT(attribute.path >= path && attribute.path < record.paths() && attribute.kind < kindCount);
      path = attribute.path;
      text_ += std::to_string(path) + " " + kindRows[attribute.kind].name + " " + hexDigits(attribute.value) + "\n";
    }
  }
  void faultIs(std::uint64_t offset, const std::string& fault) override {
    next(offset);
    TYR_ASSERT(!fault.empty());
    text_ += std::to_string(offset) + ": " + fault + "\n";
  }

  const std::string& text() const { return text_; }
  std::uint64_t paths() const { return paths_; }

 private:
  void next(std::uint64_t offset) {
    TYR_ASSERT(offset >= offset_);
    offset_ = offset;
  }

  std::uint64_t offset_ = 0;
  std::uint64_t paths_ = 0;
  std::string text_;
};

std::string protocol(Octets file) {
  const MemoryFile memory(file);
  Unpacker unpacker(memory.fd());
  Protocol protocol;
  MrtReader reader(unpacker, protocol);
  reader.read();
  const MrtCounts& counts = reader.counts();
  TYR_ASSERT(counts.paths == protocol.paths() && counts.malformed + counts.skipped <= counts.records + 1);
  return protocol.text();
}

std::vector<std::uint8_t> gzip(Octets plain) {
  constexpr int gzipFormat = 16;
  z_stream stream{};
  TYR_ASSERT(deflateInit2(&stream, 1, Z_DEFLATED, MAX_WBITS + gzipFormat, 8, Z_DEFAULT_STRATEGY) == Z_OK);
  std::vector<std::uint8_t> packed(deflateBound(&stream, plain.size()));
  stream.next_in = const_cast<Bytef*>(plain.data());
  stream.avail_in = static_cast<uInt>(plain.size());
  stream.next_out = packed.data();
  stream.avail_out = static_cast<uInt>(packed.size());
  TYR_ASSERT(deflate(&stream, Z_FINISH) == Z_STREAM_END);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

std::vector<std::uint8_t> bzip2(Octets plain) {
  auto size = static_cast<unsigned>(plain.size() + plain.size() / 100 + 600);
  std::vector<std::uint8_t> packed(size);
  char* const from = reinterpret_cast<char*>(const_cast<std::uint8_t*>(plain.data()));
  char* const to = reinterpret_cast<char*>(packed.data());
  TYR_ASSERT(BZ2_bzBuffToBuffCompress(to, &size, from, static_cast<unsigned>(plain.size()), 1, 0, 0) == BZ_OK);
  packed.resize(size);
  return packed;
}

}  // namespace

void oneInput(Input& input) {
  const bool gzipFirst = (input.octet() & 1) != 0;
  const Octets stream = input.rest();
  const auto pack = [&](bool first, Octets octets) { return first == gzipFirst ? gzip(octets) : bzip2(octets); };
  // In two members, so that a record may stand in both.
  const Octets front = stream.first(stream.size() / 2);
  std::vector<std::uint8_t> packed = pack(true, front);
  const std::vector<std::uint8_t> back = pack(false, stream.subspan(front.size()));
  packed.insert(packed.end(), back.begin(), back.end());
  const std::string expected = protocol(packed);
  // What begins as a compressed stream does is taken for one.
  const bool looksPacked = !stream.empty() && (stream[0] == 0x1f || stream[0] == 'B');
  TYR_ASSERT(protocol(stream) == expected || looksPacked);
}

}  // namespace VelBgpFuzz
