#include "tools/velbgp/MrtReader.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace VelBgpTool {

namespace {

constexpr std::size_t windowSize = 512 * 1024;

std::string named(const MrtHeader& header) {
  return "record of type " + std::to_string(header.type) + ", subtype " + std::to_string(header.subtype) + ": ";
}

}  // namespace

StreamWindow::StreamWindow(Unpacker& input)
    : input_(input), capacity_(windowSize), octets_(new std::uint8_t[windowSize]) {}

Octets StreamWindow::fetch(std::size_t count) {
  while (end_ - begin_ < count && fill()) {
  }
  return {octets_.get() + begin_, std::min(end_ - begin_, count)};
}

std::uint64_t StreamWindow::skip(std::uint64_t count) {
  std::uint64_t dropped = 0;
  for (;;) {
    const std::uint64_t here = std::min<std::uint64_t>(end_ - begin_, count - dropped);
    begin_ += here;
    dropped += here;
    if (dropped == count || !fill()) return dropped;
  }
}

// Room behind the octets that are here: at the front if they were moved up, else twice the memory. That is asked for
// only when all there is has been filled.
void StreamWindow::makeRoom() {
  if (begin_ == 0 && end_ == capacity_) {
    std::unique_ptr<std::uint8_t[]> larger(new std::uint8_t[2 * capacity_]);
    std::memcpy(larger.get(), octets_.get(), end_);
    octets_ = std::move(larger);
    capacity_ *= 2;
  } else if (end_ == capacity_ || begin_ == end_) {
    std::memmove(octets_.get(), octets_.get() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
}

bool StreamWindow::fill() {
  makeRoom();
  const std::size_t got = input_.read(octets_.get() + end_, capacity_ - end_);
  end_ += got;
  return got != 0;
}

void MrtReader::read() {
  while (readRecord()) {
  }
}

bool MrtReader::readRecord() {
  const Octets octets = window_.fetch(MrtHeader::size);
  if (octets.empty()) return endedInside({});
  if (octets.size() < MrtHeader::size) return endedInside("a record's header");
  const MrtHeader header(octets);
  window_.consume(MrtHeader::size);
  ++counts_.records;
  if ((counts_.records & 0x3f) == 0) sink_.progressed();
  if (!readBody(header)) return false;
  offset_ += MrtHeader::size + std::uint64_t{header.length};
  return true;
}

bool MrtReader::readBody(const MrtHeader& header) {
  if (!MrtRecord::reads(header)) return dropBody(header, {});
  if (const std::uint64_t largest = MrtRecord::largestBody(header); header.length > largest) {
    return dropBody(
        header, "a body of " + std::to_string(header.length) + " octets, expected at most " + std::to_string(largest));
  }
  Octets body;
  try {
    body = window_.fetch(header.length);
  } catch (const std::bad_alloc&) {
    return dropBody(header, "no memory for its " + std::to_string(header.length) + " octets, expected it to fit");
  }
  if (body.size() < header.length) return endedInside("a record's body");
  bodyIs(header, body);
  window_.consume(header.length);
  return true;
}

void MrtReader::bodyIs(const MrtHeader& header, Octets body) {
  switch (record_.bodyIs(header, body)) {
    case MrtRecord::Verdict::silent:
      return;
    case MrtRecord::Verdict::malformed:
      return recordFault(header, record_.fault());
    case MrtRecord::Verdict::paths:
      counts_.paths += record_.paths();
      return sink_.recordIs(record_, offset_);
  }
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
  sink_.faultIs(offset_, named(header) + fault);
}

}  // namespace VelBgpTool
