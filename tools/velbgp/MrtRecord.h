// One MRT record (RFC 6396; RFC 8050 for additional paths), read in place: which paths it carries, from whom, and their
// community attributes.
//
// A record is taken whole or not at all: what is found in a malformed one is not to be used. Nothing is allocated for a
// good record once the parser has seen a large one, and nothing copied but the table of peers, which later records
// refer to. Single-threaded.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/velbgp/Cursor.h"

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

  MrtHeader() = default;
  explicit MrtHeader(Octets octets);

  bool isTableDump() const;
  bool isPeerTable() const;
  // How an error about the record begins.
  std::string text() const;

  std::uint32_t time = 0;
  std::uint16_t type = 0;
  std::uint16_t subtype = 0;
  std::uint32_t length = 0;  // as claimed
};

// When something was received or originated.
struct MrtTime {
  // As received: a million microseconds and more are seconds.
  static MrtTime received(std::uint32_t seconds, std::uint32_t microseconds, bool hasMicroseconds) {
    constexpr std::uint32_t million = 1'000'000;
    return {seconds + std::uint64_t{microseconds / million}, microseconds % million, hasMicroseconds};
  }

  std::uint64_t seconds = 0;
  std::uint32_t microseconds = 0;  // below a million
  bool hasMicroseconds = false;    // of BGP4MP_ET
};

// A peer as a record names it; without an address where it names none.
struct MrtPeer {
  Octets address;  // 4 or 16 octets
  std::uint32_t as = 0;
};

// One path of a RIB.
struct MrtEntry {
  MrtPeer peer;
  std::uint32_t time = 0;  // when it was originated
  std::uint32_t pathId = 0;
  std::uint32_t bits = 0;  // of the prefix
  Octets nlri;             // the prefix's octets, host bits and all; of families without prefixes the whole NLRI
  Octets attributes;
};

// The paths of a RIB record, one after the other, read where they stand.
class MrtEntries {
 public:
  // Moves to the next one. False at the end, and at one that is cut off: left() is then not 0, or some were missing.
  bool next(MrtEntry& entry) { return form_ == Form::tableDump ? nextOfDump(entry) : nextOfRib(entry); }

  std::uint32_t afi() const { return afi_; }
  std::uint32_t safi() const { return safi_; }
  bool pathIds() const { return pathIds_ || nlriHasId_; }
  // Octets behind the path that was read last.
  std::size_t left() const { return rest_.left(); }
  bool complete() const { return left() == 0 && (form_ == Form::tableDump || count_ == 0); }

 private:
  friend class MrtRecord;
  enum class Form { rib, tableDump };

  bool nextOfRib(MrtEntry& entry);
  bool nextOfDump(MrtEntry& entry);

  Form form_ = Form::rib;
  bool pathIds_ = false;    // in each entry
  bool nlriHasId_ = false;  // one for all
  std::uint32_t afi_ = 0;
  std::uint32_t safi_ = 0;
  std::uint32_t count_ = 0;  // still to come, but for TABLE_DUMP
  MrtEntry common_;          // what a record says once
  Cursor rest_;
  const std::vector<MrtPeer>* peers_ = nullptr;
};

// An UPDATE, and who sent it.
struct MrtMessage {
  MrtPeer peer;  // the first of the record
  bool local;    // the collector sent it
  bool addPath;
  bool fourOctetAs;
  Octets marker;
  Octets withdrawn;
  Octets attributes;
  Octets announced;
};

// What became of a peering.
struct MrtStateChange {
  static constexpr std::uint32_t established = 6;
  MrtPeer peer;
  std::uint32_t oldState = 0;
  std::uint32_t newState = 0;
};

class MrtRecord {
 public:
  enum class Form { silent, peerTable, rib, update, stateChange };

  // Whether records of this type and subtype are read at all; others are skipped.
  static bool reads(const MrtHeader& header);
  // The largest body that such a record can have and be taken for well formed.
  static std::uint64_t largestBody(const MrtHeader& header);

  // Reads a body of a type that is read; false if it is malformed. All below is of the body read last and points into
  // it, but for the peers, which are those of the peer table read last.
  bool bodyIs(const MrtHeader& header, Octets body);
  // No peers are known: the table that would tell them cannot be read.
  void peersDel() { peers_.clear(); }

  const MrtHeader& header() const { return header_; }
  Form form() const { return form_; }
  std::uint32_t paths() const { return paths_; }
  // Path by path, each path's well-formed ones by kind, then the others in the order in which they stand.
  const std::vector<CommunityAttribute>& attributes() const { return attributes_; }
  // Of a RIB.
  const MrtEntries& entries() const { return entries_; }
  const std::vector<MrtPeer>& peers() const { return peers_; }
  // Of an UPDATE, of a state change.
  const MrtMessage& message() const { return message_; }
  const MrtStateChange& stateChange() const { return stateChange_; }
  MrtTime receivedAt() const { return MrtTime::received(header_.time, microseconds_, hasMicroseconds_); }
  // What is wrong with a malformed record.
  const std::string& fault() const { return fault_; }

 private:
  // These throw what is wrong with a malformed record.
  void read(const MrtHeader& header, Cursor body);
  void tableDump(std::uint16_t subtype, Cursor& body);
  void tableDumpV2(std::uint16_t subtype, Cursor& body);
  void rib(Cursor& body, unsigned mostBits);
  void genericRib(Cursor& body, bool addPath);
  void readEntries(Cursor& body);
  bool entriesFit(MrtEntries entries, Cursor body) const;
  void peerTable(Cursor& body, bool withPlaces);
  void bgp4mp(std::uint16_t subtype, Cursor& body);
  void bgpMessage(Cursor& body);
  void attributesOf(Octets block);

  MrtHeader header_;
  Form form_ = Form::silent;
  std::uint32_t paths_ = 0;
  std::vector<CommunityAttribute> attributes_;
  MrtEntries entries_;
  MrtMessage message_{};
  MrtStateChange stateChange_;
  bool hasMicroseconds_ = false;
  std::uint32_t microseconds_ = 0;
  std::vector<std::uint8_t> peerOctets_;  // what peers_ points into
  std::vector<MrtPeer> peers_;
  std::string fault_;
};

// What is said about a community attribute that is malformed.
std::string faultOf(const CommunityAttribute& attribute);

}  // namespace VelBgpTool
