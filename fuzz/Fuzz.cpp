#include "fuzz/Fuzz.h"

#include <unistd.h>

#include <fstream>

namespace VelBgpFuzz {

const std::filesystem::path& folder() {
  struct Folder {
    Folder() { std::filesystem::create_directory(path); }
    ~Folder() { std::filesystem::remove_all(path); }
    const std::filesystem::path path = std::filesystem::temp_directory_path() / ("fuzz" + std::to_string(::getpid()));
  };
  static const Folder folder;
  return folder.path;
}

void writeFile(const std::filesystem::path& file, std::string_view octets) {
  TYR_ASSERT((std::ofstream(file, std::ios::binary) << octets).flush().good());
}

}  // namespace VelBgpFuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  VelBgpFuzz::oneInput(VelBgpFuzz::Input({data, size}));
  return 0;
}
