#include "fuzz/Fuzz.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace VelBgpFuzz {

MemoryFile::MemoryFile(Octets octets) : fd_(::memfd_create("fuzz", MFD_CLOEXEC)) {
  TYR_ASSERT(fd_ >= 0 && ::pwrite(fd_, octets.data(), octets.size(), 0) == static_cast<ssize_t>(octets.size()));
}

MemoryFile::~MemoryFile() { ::close(fd_); }

Folder::Folder() {
  std::string pattern = std::filesystem::temp_directory_path() / "fuzzXXXXXX";
  TYR_ASSERT(::mkdtemp(pattern.data()) != nullptr);
  path_ = pattern;
}

Folder::~Folder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void written(const std::filesystem::path& file, Octets octets) {
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream << textOf(octets);
  TYR_ASSERT(stream.flush().good());
}

std::string contents(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace VelBgpFuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  VelBgpFuzz::Input input({data, size});
  VelBgpFuzz::oneInput(input);
  return 0;
}
