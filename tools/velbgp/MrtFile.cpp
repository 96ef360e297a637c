#include "tools/velbgp/MrtFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/velbgp/Console.h"
#include "tools/velbgp/MrtReader.h"

namespace VelBgpTool {

MrtFile::MrtFile(const std::string& name)
    : standard(name == "-"),
      source(standard ? "stdin" : name),
      fd(standard ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (fd < 0) problem = std::strerror(errno);
  struct stat status {};
  if (fd >= 0 && ::fstat(fd, &status) == 0 && S_ISDIR(status.st_mode)) problem = std::strerror(EISDIR);
}

MrtFile::~MrtFile() {
  if (fd >= 0 && !standard) ::close(fd);
}

bool MrtFile::opens(Console& console) const {
  if (problem.empty()) return true;
  console.error({source, 0, true}, "cannot be read: " + problem + ", expected an MRT file");
  return false;
}

bool MrtFile::read(MrtSink& sink, MrtCounts& counts, Console& console, bool printsAsItGoes) const {
  Unpacker input(fd);
  Progress progress(console, source, sizeOfFile(fd), printsAsItGoes);
  MrtReader(input, sink, counts, progress).read();
  return input.readError() == 0;
}

}  // namespace VelBgpTool
