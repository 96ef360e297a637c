// Reads the records of an MRT stream, one after the other, and hands the good ones on.
//
// Lengths are claims: memory grows with the octets that came, never with those that were announced, and never beyond
// the largest body that is read. Records that are skipped are not kept at all. Single-threaded.
#pragma once

#include <cstdint>
#include <string>

#include "tools/velbgp/Input.h"
#include "tools/velbgp/MrtRecord.h"
#include "tools/velbgp/Progress.h"
#include "tools/velbgp/Unpack.h"

namespace VelBgpTool {

struct MrtCounts {
  std::uint64_t records = 0;
  std::uint64_t paths = 0;
  std::uint64_t malformed = 0;
  std::uint64_t skipped = 0;
};

// What hears of the records. Offsets are those of the records in the unpacked stream.
class MrtSink {
 public:
  virtual ~MrtSink() = default;
  // A record that is well formed and not skipped, with paths or without. Valid during the call only.
  virtual void recordIs(const MrtRecord& record, std::uint64_t offset) = 0;
  // The body of a record that is malformed, before the fault is told.
  virtual void malformedIs(const MrtHeader&, Octets) {}
  // Whether to read on.
  virtual bool wantsMore() const { return true; }
  // A malformed record, or the break of a compressed stream, or a failed read.
  virtual void faultIs(std::uint64_t offset, const std::string& fault) = 0;
};

class MrtReader {
 public:
  // Adds to the counts. Attributes that are malformed inside good records are the sink's to count.
  MrtReader(Unpacker& input, MrtSink& sink, MrtCounts& counts, Progress& progress)
      : input_(input), window_(input, 512 * 1024), sink_(sink), counts_(counts), progress_(progress) {}

  // Reads to the end.
  void read();

 private:
  bool readRecord();
  bool readBody(const MrtHeader& header);
  void bodyIs(const MrtHeader& header, Octets body);
  bool dropBody(const MrtHeader& header, const std::string& fault);
  bool endedInside(const std::string& where);
  void recordFault(const MrtHeader& header, const std::string& fault);

  Unpacker& input_;
  Window window_;
  MrtSink& sink_;
  MrtRecord record_;
  MrtCounts& counts_;
  Progress& progress_;
  std::uint64_t offset_ = 0;  // of the current record
};

}  // namespace VelBgpTool
