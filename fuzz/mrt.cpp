// A file of any content, plain or compressed in any way, unpacked and read as MRT: to its end, alike in reads of any
// size, and what is plain alike when it is compressed.
#include <bzlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/Fuzz.h"
#include "tools/velbgp/Console.h"
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

struct Unpacked {
  Unpacked(std::string_view file, std::size_t readSize) {
    Unpacker unpacker(opened(file));
    std::vector<std::uint8_t> block(readSize);
    while (const std::size_t got = unpacker.read(block.data(), readSize)) octets += textOf(Octets(block).first(got));
    TYR_ASSERT(unpacker.readError() == 0 && unpacker.taken() == file.size());
    breakage = unpacker.breakage();
  }
  std::string octets;
  std::string breakage;
};

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
  MrtCounts counts;
  Console console(STDOUT_FILENO, STDERR_FILENO);
  Progress progress(console, {}, 0, true);
  MrtReader(unpacker, protocol, counts, progress).read();
  return protocol.text + std::to_string(counts.records) + ' ' + std::to_string(counts.paths);
}

std::string packed(std::string_view plain) {
  std::string out(plain.size() + plain.size() / 100 + 600, '\0');
  auto size = static_cast<unsigned>(out.size());
  TYR_ASSERT(BZ2_bzBuffToBuffCompress(out.data(), &size, const_cast<char*>(plain.data()),
                                      static_cast<unsigned>(plain.size()), 1, 0, 0) == BZ_OK);
  return out.substr(0, size);
}

}  // namespace

void oneInput(Input input) {
  const auto readSize = input.number<std::uint16_t>();
  const std::string_view file = textOf(input.rest());
  const Unpacked large(file, std::size_t{1} << 16);
  const Unpacked small(file, 64U + readSize);
  // Where the data break, bzip2 does not tell how much of the last read it has filled.
  const std::size_t same = large.breakage.empty() ? SIZE_MAX : std::min(large.octets.size(), small.octets.size());
  TYR_ASSERT(small.breakage == large.breakage && small.octets.substr(0, same) == large.octets.substr(0, same));
  const std::string expected = protocol(file);
  if (large.octets != file) return;
  // In two streams, so that a record may stand in both.
  const std::size_t half = file.size() / 2;
  TYR_ASSERT(protocol(packed(file.substr(0, half)) + packed(file.substr(half))) == expected);
}

}  // namespace VelBgpFuzz
