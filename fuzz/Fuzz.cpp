#include "fuzz/Fuzz.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace VelBgpFuzz {

MemoryFile::MemoryFile(Octets octets) : fd_(::memfd_create("fuzz", MFD_CLOEXEC)) {
  TYR_ASSERT(::pwrite(fd_, octets.data(), octets.size(), 0) == static_cast<ssize_t>(octets.size()));
}
MemoryFile::~MemoryFile() { ::close(fd_); }

const std::filesystem::path& folder() {
  struct Folder {
    Folder() : path(std::filesystem::temp_directory_path() / ("fuzz" + std::to_string(::getpid()))) {
      std::filesystem::create_directory(path);
    }
    ~Folder() { std::filesystem::remove_all(path); }
    const std::filesystem::path path;
  };
  static const Folder folder;
  return folder.path;
}

void writeFile(const std::filesystem::path& file, std::string_view octets) {
  TYR_ASSERT((std::ofstream(file, std::ios::binary) << octets).flush().good());
}

std::string readFile(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace VelBgpFuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  VelBgpFuzz::oneInput(VelBgpFuzz::Input({data, size}));
  return 0;
}
