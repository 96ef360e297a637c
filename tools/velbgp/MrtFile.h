// A file of MRT records, opened and read.
#pragma once

#include <string>

namespace VelBgpTool {

class Console;
class MrtSink;
struct MrtCounts;

struct MrtFile {
  // "-" is standard input.
  explicit MrtFile(const std::string& name);
  ~MrtFile();
  MrtFile(const MrtFile&) = delete;
  MrtFile& operator=(const MrtFile&) = delete;

  // False, with an error printed, when it cannot be read.
  bool opens(Console& console) const;
  // Reads it to its end, or until the sink has enough. False when the system failed.
  bool read(MrtSink& sink, MrtCounts& counts, Console& console, bool printsAsItGoes) const;

  const bool standard;
  const std::string source;
  const int fd;
  std::string problem;  // why it cannot be read, or empty
};

}  // namespace VelBgpTool
