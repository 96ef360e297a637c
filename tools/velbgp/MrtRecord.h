// One MRT record (RFC 6396; RFC 8050 for additional paths), read in place: which paths it carries, and their community
// attributes.
//
// A record is taken whole or not at all: what is found in a malformed one is not to be used. Nothing is copied and
// nothing allocated for a good record once the parser has seen a large one. Single-threaded.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/velbgp/Text.h"

namespace VelBgpTool {

// A community attribute as it stands in the record; of a repeated attribute the first.
struct CommunityAttribute {
  std::uint32_t path;  // among the record's paths, from 0
  std::uint32_t kind;  // row of kindRows
  bool wellFormed;     // whole values, at least one
  Octets value;
};

struct MrtHeader {
  static constexpr std::size_t size = 12;

  explicit MrtHeader(Octets octets);

  std::uint16_t type;
  std::uint16_t subtype;
  std::uint32_t length;  // as claimed
};

class Cursor;

class MrtRecord {
 public:
  // Whether records of this type and subtype are read at all; others are skipped.
  static bool reads(const MrtHeader& header);
  // The largest body that such a record can have and be taken for well formed.
  static std::uint64_t largestBody(const MrtHeader& header);

  // Reads a body of a type that is read; false if it is malformed. All below is of the body read last and points into
  // it.
  bool bodyIs(const MrtHeader& header, Octets body);

  std::uint32_t paths() const { return paths_; }
  // Path by path, each path's well-formed ones by kind, then the others in the order in which they stand.
  const std::vector<CommunityAttribute>& attributes() const { return attributes_; }
  // What is wrong with a malformed record.
  const std::string& fault() const { return fault_; }

 private:
  // These throw what is wrong with a malformed record.
  void read(const MrtHeader& header, Cursor body);
  void tableDump(std::uint16_t subtype, Cursor& body);
  void rib(Cursor& body, unsigned mostBits, bool pathIds);
  void genericRib(Cursor& body, bool addPath);
  void ribEntries(Cursor& body, bool pathIds);
  void bgp4mp(std::uint16_t subtype, Cursor& body);
  void bgpMessage(Cursor& body);
  void attributesOf(Octets block);

  std::uint32_t paths_ = 0;
  std::vector<CommunityAttribute> attributes_;
  std::string fault_;
};

}  // namespace VelBgpTool
