#include "tools/velbgp/MrtReader.h"

#include <cstring>
#include <new>

namespace VelBgpTool {

void MrtReader::read() {
  while (sink_.wantsMore() && readRecord()) {
  }
}

bool MrtReader::readRecord() {
  const Octets octets = window_.peek(MrtHeader::size);
  if (octets.empty()) return endedInside({});
  if (octets.size() < MrtHeader::size) return endedInside("a record's header");
  const MrtHeader header(octets);
  window_.consume(MrtHeader::size);
  ++counts_.records;
  if ((counts_.records & 0x3f) == 0) progress_.doneIs(input_.taken());
  if (!readBody(header)) return false;
  offset_ += MrtHeader::size + std::uint64_t{header.length};
  return true;
}

bool MrtReader::readBody(const MrtHeader& header) {
  if (const std::uint64_t largest = MrtRecord::largestBody(header); header.length > largest) {
    return dropBody(
        header, "a body of " + std::to_string(header.length) + " octets, expected at most " + std::to_string(largest));
  }
  if (!MrtRecord::reads(header)) return dropBody(header, {});
  Octets body;
  try {
    body = window_.peek(header.length);
  } catch (const std::bad_alloc&) {
    return dropBody(header, "no memory for its " + std::to_string(header.length) + " octets, expected it to fit");
  }
  if (body.size() < header.length) return endedInside("a record's body");
  bodyIs(header, body.first(header.length));
  window_.consume(header.length);
  return true;
}

void MrtReader::bodyIs(const MrtHeader& header, Octets body) {
  if (!record_.bodyIs(header, body)) {
    sink_.malformedIs(header, body);
    return recordFault(header, record_.fault());
  }
  counts_.paths += record_.paths();
  sink_.recordIs(record_, offset_);
}

// Drops a body: for a fault, or to skip the record.
bool MrtReader::dropBody(const MrtHeader& header, const std::string& fault) {
  if (window_.skip(header.length) < header.length) return endedInside("a record's body");
  if (fault.empty()) {
    ++counts_.skipped;
  } else {
    recordFault(header, fault);
  }
  return true;
}

// The end of the input, between records or inside one: one fault at most, whatever the reason.
bool MrtReader::endedInside(const std::string& where) {
  if (input_.readError() != 0) {
    sink_.faultIs(offset_, std::string("cannot read on: ") + std::strerror(input_.readError()));
    counts_.malformed += where.empty() ? 0 : 1;
  } else if (!input_.breakage().empty() || !where.empty()) {
    ++counts_.malformed;
    sink_.faultIs(offset_, !input_.breakage().empty() ? input_.breakage()
                                                      : "the input ends inside " + where + ", expected all of it");
  }
  return false;
}

void MrtReader::recordFault(const MrtHeader& header, const std::string& fault) {
  ++counts_.malformed;
  if (header.isPeerTable()) record_.peersDel();
  sink_.faultIs(offset_, header.text() + fault);
}

}  // namespace VelBgpTool
