// A file of any content, plain or compressed in any way: unpacked to its end, and the same in reads of any size.
#include <tuple>

#include "fuzz/Fuzz.h"
#include "tools/velbgp/Unpack.h"

namespace VelBgpFuzz {

namespace {

std::tuple<std::string, std::string> unpacked(Octets file, std::size_t readSize) {
  const MemoryFile memory(file);
  VelBgpTool::Unpacker unpacker(memory.fd());
  std::vector<std::uint8_t> block(readSize);
  std::string octets;
  while (const std::size_t got = unpacker.read(block.data(), readSize)) octets += textOf(Octets(block).first(got));
  TYR_ASSERT(unpacker.read(block.data(), readSize) == 0);  // the end stays the end
  TYR_ASSERT(unpacker.readError() == 0 && unpacker.taken() == file.size());
  return {octets, unpacker.breakage()};
}

}  // namespace

void oneInput(Input input) {
  const std::size_t readSize = 1 + input.number<std::uint16_t>();
  const Octets file = input.rest();
  TYR_ASSERT(unpacked(file, readSize) == unpacked(file, std::size_t{1} << 20));
}

}  // namespace VelBgpFuzz
