// A file of any content, plain or compressed in any way: unpacked to its end, and the same in reads of any size.
#include <vector>

#include "fuzz/Fuzz.h"
#include "tools/velbgp/Unpack.h"

namespace VelBgpFuzz {

namespace {

struct Unpacked {
  std::string octets;
  std::string breakage;
  std::uint64_t taken;
  bool operator==(const Unpacked&) const = default;
};

Unpacked unpacked(Octets file, std::size_t readSize) {
  const MemoryFile memory(file);
  VelBgpTool::Unpacker unpacker(memory.fd());
  std::vector<std::uint8_t> block(readSize);
  std::string octets;
  while (const std::size_t got = unpacker.read(block.data(), block.size())) octets += textOf(Octets(block).first(got));
  TYR_ASSERT(unpacker.read(block.data(), block.size()) == 0);  // the end stays the end
  TYR_ASSERT(unpacker.readError() == 0);
  return {octets, unpacker.breakage(), unpacker.taken()};
}

}  // namespace

void oneInput(Input& input) {
  const std::size_t readSize = 1 + input.number<std::uint16_t>();
  const Octets file = input.rest();
  const Unpacked whole = unpacked(file, std::size_t{1} << 20);
  TYR_ASSERT(whole.taken == file.size());
  TYR_ASSERT(unpacked(file, readSize) == whole);
}

}  // namespace VelBgpFuzz
