// The MRT reader on records made by hand: what each form carries, and that whatever is wrong with one is found, named,
// counted once, and over at the next record.
#include "tools/velbgp/MrtReader.h"

#include <bzlib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <random>

#include "tools/velbgp/Kind.h"

namespace VelBgpTool {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string be(unsigned octets, std::uint64_t value) {
  std::string out;
  while (octets-- != 0) out += static_cast<char>(value >> (8 * octets));
  return out;
}
std::string zeros(std::size_t count) { return std::string(count, '\0'); }

std::string record(unsigned type, unsigned subtype, const std::string& body) {
  return be(4, 1) + be(2, type) + be(2, subtype) + be(4, body.size()) + body;
}
std::string attribute(unsigned code, const std::string& value) {
  return be(1, 0xc0) + be(1, code) + be(1, value.size()) + value;
}
const std::string extended = attribute(16, be(8, 0x0002fde800000064));

std::string entry(const std::string& attributes, const std::string& pathId = {}) {
  return be(2, 0) + be(4, 0) + pathId + be(2, attributes.size()) + attributes;
}
// The fields of a RIB record from the prefix on.
std::string rib(unsigned bits, unsigned count, const std::string& entries) {
  return be(4, 9) + be(1, bits) + zeros((bits + 7) / 8) + be(2, count) + entries;
}
std::string generic(unsigned afi, unsigned safi, const std::string& rest) {
  return be(4, 9) + be(2, afi) + be(1, safi) + rest;
}
std::string bgp(unsigned type, const std::string& rest) {
  return std::string(16, '\xff') + be(2, 19 + rest.size()) + be(1, type) + rest;
}
std::string update(const std::string& attributes, const std::string& withdrawn = {}) {
  return bgp(2, be(2, withdrawn.size()) + withdrawn + be(2, attributes.size()) + attributes + be(4, 0x180a0000));
}
// A BGP4MP body up to the message or the states.
std::string peers(unsigned asOctets, unsigned family) {
  return zeros(2 * asOctets) + zeros(2) + be(2, family) + zeros(family == 2 ? 32 : 8);
}
std::string message(const std::string& bgpMessage) { return record(16, 4, peers(4, 1) + bgpMessage); }

const std::string goodRecord = message(update(extended));

struct Seen : MrtSink {
  std::vector<std::string> attributes;  // "path/kind/octets"
  std::vector<std::string> faults;
  std::vector<std::uint64_t> offsets;
  MrtCounts counts;

  void recordIs(const MrtRecord& record, std::uint64_t offset) override {
    offsets.push_back(offset);
    for (const auto& found : record.attributes()) {
      attributes.push_back(std::to_string(found.path) + "/" + kindRows[found.kind].name + "/" +
                           std::to_string(found.value.size()));
    }
  }
  void faultIs(std::uint64_t offset, const std::string& fault) override {
    offsets.push_back(offset);
    faults.push_back(fault);
  }
};

Seen readStream(const std::string& octets) {
  const int fd = ::memfd_create("mrt", 0);
  EXPECT_EQ(::write(fd, octets.data(), octets.size()), static_cast<ssize_t>(octets.size()));
  ::lseek(fd, 0, SEEK_SET);
  Seen seen;
  Unpacker input(fd);
  MrtReader(input, seen, seen.counts).read();
  ::close(fd);
  return seen;
}

struct GoodRow {
  const char* what;
  std::string octets;
  std::uint64_t paths;
  std::vector<std::string> attributes;
};

TEST(MrtReader, FindsThePathsOfEveryForm) {
  const std::string id = be(4, 7);
  const std::string prefix = be(1, 8) + be(1, 10);
  const std::vector<std::string> one = {"0/extended/8"};
  const std::string peer4 = be(1, 2) + zeros(4 + 4 + 4);
  const std::string peer6 = be(1, 1) + zeros(4 + 16 + 2);
  const std::vector<GoodRow> rows = {
      {"peer table", record(13, 1, zeros(4) + be(2, 3) + "abc" + be(2, 2) + peer4 + peer6), 0, {}},
      {"places of peers", record(13, 7, zeros(4) + be(2, 0) + zeros(8) + be(2, 1) + peer6 + zeros(8)), 0, {}},
      {"no attributes", record(13, 2, rib(0, 2, entry({}) + entry(extended))), 2, {"1/extended/8"}},
      {"longest prefixes",
       record(13, 3, rib(32, 1, entry(extended))) + record(13, 4, rib(128, 1, entry(extended))) +
           record(13, 5, rib(121, 1, entry(extended))),
       3,
       {one[0], one[0], one[0]}},
      {"additional paths",
       record(13, 8, rib(24, 2, entry({}, id) + entry(extended, id))) + record(13, 9, rib(9, 1, entry(extended, id))) +
           record(13, 10, rib(128, 1, entry({}, id))) + record(13, 11, rib(64, 1, entry({}, id))),
       5,
       {"1/extended/8", "0/extended/8"}},
      {"generic", record(13, 6, generic(1, 128, be(1, 112) + zeros(14) + be(2, 1) + entry(extended))), 1, one},
      {"generic EVPN", record(13, 6, generic(25, 70, be(1, 2) + be(1, 33) + zeros(33) + be(2, 1) + entry(extended))), 1,
       one},
      {"generic flow", record(13, 6, generic(1, 133, be(2, 0xf100) + zeros(256) + be(2, 1) + entry(extended))), 1, one},
      {"generic, id in the NLRI", record(13, 12, generic(1, 1, id + prefix + be(2, 1) + entry(extended))), 1, one},
      {"generic, id in the entry", record(13, 12, generic(1, 1, prefix + be(2, 1) + entry(extended, id))), 1, one},
      {"messages",
       record(16, 1, peers(2, 1) + update(extended)) + record(16, 6, peers(2, 2) + update(extended)) +
           record(16, 7, peers(4, 2) + update({})) + record(16, 8, peers(2, 1) + update(extended)) +
           record(16, 9, peers(4, 1) + update(extended)) + record(16, 10, peers(2, 1) + update({})) +
           record(16, 11, peers(4, 1) + update(extended)),
       5,
       {5, one[0]}},
      {"with microseconds", record(17, 4, zeros(4) + peers(4, 1) + update(extended)), 1, one},
      {"states, and messages that are no UPDATE",
       record(16, 0, peers(2, 1) + zeros(4)) + record(17, 5, zeros(4) + peers(4, 2) + zeros(4)) + message(bgp(4, {})) +
           message(bgp(7, "anything")),
       0,
       {}},
      {"withdrawn routes alone", message(update({}, be(4, 0x180a0000))), 0, {}},
      {"all kinds, odd lengths, long form, repeats",
       message(update(attribute(8, be(4, 1)) + attribute(32, "x") + be(4, 0x50190014) + zeros(20) + attribute(16, {}) +
                      extended + attribute(99, "?"))),
       1,
       {"0/standard/4", "0/large/1", "0/extendedIp6/20", "0/extended/0"}},
  };
  for (const GoodRow& row : rows) {
    SCOPED_TRACE(row.what);
    const Seen seen = readStream(row.octets);
    EXPECT_THAT(seen.faults, IsEmpty());
    EXPECT_EQ(seen.counts.paths, row.paths);
    EXPECT_EQ(seen.counts.skipped, 0U);
    EXPECT_EQ(seen.attributes, row.attributes);
  }
}

TEST(MrtReader, SkipsWhatItDoesNotRead) {
  std::string octets;
  for (const auto& [type, subtype] : std::initializer_list<std::pair<unsigned, unsigned>>{
           {12, 1}, {13, 0}, {13, 13}, {16, 2}, {16, 3}, {16, 12}, {17, 3}, {0, 0}, {65535, 65535}}) {
    octets += record(type, subtype, std::string(70'000, 'x'));
  }
  const Seen seen = readStream(octets + record(48, 0, {}) + goodRecord);
  EXPECT_EQ(seen.counts.records, 11U);
  EXPECT_EQ(seen.counts.skipped, 10U);
  EXPECT_EQ(seen.counts.paths, 1U);
  EXPECT_THAT(seen.faults, IsEmpty());
}

struct BadRow {
  const char* fault;
  std::string octets;
};

TEST(MrtReader, ReportsAMalformedRecordOnceAndUsesNothingOfIt) {
  const std::string manyOctets(70'000, '\0');
  const std::string twoPaths = rib(8, 2, entry(extended) + entry(extended));
  const std::vector<BadRow> rows = {
      {"inside its peer table's header", record(13, 1, zeros(4) + be(2, 9) + "short" + be(2, 0))},
      {"inside a peer", record(13, 1, zeros(4) + be(2, 0) + be(2, 2) + be(1, 0) + zeros(10))},
      {"left over at its end (1)", record(13, 1, zeros(4) + be(2, 0) + be(2, 0) + "x")},
      {"inside a peer", record(13, 7, zeros(4) + be(2, 0) + zeros(8) + be(2, 1) + be(1, 0) + zeros(10))},
      {"inside its RIB header", record(13, 2, zeros(4))},
      {"33 bits, expected at most 32", record(13, 2, rib(33, 1, entry(extended)))},
      {"33 bits, expected at most 32", record(13, 9, rib(33, 0, {}))},
      {"129 bits, expected at most 128", record(13, 4, rib(129, 1, entry(extended)))},
      {"129 bits, expected at most 128", record(13, 11, rib(129, 0, {}))},
      {"inside its prefix", record(13, 4, be(4, 0) + be(1, 128) + zeros(15))},
      {"inside its RIB header", record(13, 2, rib(8, 0, {}).substr(0, 7))},
      {"inside a RIB entry", record(13, 2, twoPaths.substr(0, twoPaths.size() - 1))},
      {"inside a RIB entry", record(13, 2, rib(8, 2, entry(extended)))},
      {"left over at its end (3)", record(13, 2, twoPaths + "abc")},
      {"inside a path attribute", record(13, 2, rib(8, 2, entry(extended) + entry(extended.substr(0, 10))))},
      {"a path attribute's header", record(13, 2, rib(8, 2, entry(extended) + entry(be(2, 0xc010))))},
      {"a path attribute's header", record(13, 2, rib(8, 1, entry(be(3, 0xd01000))))},
      {"inside a path attribute", record(13, 2, rib(8, 1, entry(be(4, 0xd010ffff) + zeros(9))))},
      {"do not end where the record does", record(13, 6, generic(1, 128, be(1, 112) + zeros(14) + be(2, 2)))},
      {"33 bits, expected at most 32", record(13, 6, generic(1, 1, be(1, 33) + zeros(5) + be(2, 0)))},
      {"do not end where the record does", record(13, 12, generic(1, 1, be(1, 8) + zeros(1) + be(2, 1) + "no entry"))},
      {"inside its RIB header", record(13, 12, zeros(6))},
      {"inside its header", record(16, 1, zeros(7))},
      {"inside its microseconds", record(17, 4, zeros(3))},
      {"address family 0, expected", record(16, 4, peers(4, 0) + update(extended))},
      {"address family 3, expected", record(16, 0, peers(2, 3) + zeros(4))},
      {"inside its addresses", record(16, 4, peers(4, 2).substr(0, 40))},
      {"inside its states", record(16, 5, peers(4, 1) + zeros(3))},
      {"left over at its end (1)", record(16, 5, peers(4, 1) + zeros(5))},
      {"inside its BGP header", message(bgp(2, {}).substr(0, 18))},
      {"announces 38 octets, expected the record's 42", message(update(extended) + zeros(4))},
      {"announces 19 octets, expected the record's 20", message(bgp(4, {}) + "x")},
      {"an UPDATE of 22 octets, expected at least 23", message(bgp(2, zeros(3)))},
      {"inside its withdrawn routes", message(bgp(2, be(2, 1) + be(2, 0)))},
      {"inside its withdrawn routes", message(bgp(2, be(2, 3) + be(2, 0)))},
      {"inside its path attributes", message(bgp(2, be(2, 0) + be(2, 12) + extended))},
      {"inside a path attribute", message(update(extended + be(3, 0xc01001)))},
      {"a body of 70000 octets, expected at most 65583", record(16, 4, manyOctets)},
  };
  for (const BadRow& row : rows) {
    SCOPED_TRACE(row.fault);
    const Seen seen = readStream(goodRecord + row.octets + goodRecord);
    EXPECT_THAT(seen.faults, ElementsAre(HasSubstr(row.fault)));
    EXPECT_EQ(seen.counts.malformed, 1U);
    EXPECT_EQ(seen.counts.records, 3U);
    EXPECT_EQ(seen.counts.paths, 2U);
    EXPECT_THAT(seen.attributes, ElementsAre("0/extended/8", "0/extended/8"));
    EXPECT_THAT(seen.offsets, ElementsAre(0, goodRecord.size(), goodRecord.size() + row.octets.size()));
  }
}

TEST(MrtReader, AStreamThatEndsAnywhereLosesOnlyItsLastRecord) {
  const std::string skippedRecord = record(12, 1, zeros(5));
  const std::string whole = goodRecord + skippedRecord + goodRecord;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    SCOPED_TRACE(size);
    const Seen seen = readStream(whole.substr(0, size));
    std::size_t start = 0;
    std::uint64_t complete = 0;
    for (const auto& part : {goodRecord, skippedRecord, goodRecord}) {
      if (start + part.size() > size) break;
      start += part.size();
      ++complete;
    }
    EXPECT_EQ(seen.counts.malformed, start == size ? 0U : 1U);
    EXPECT_EQ(seen.counts.records, complete + (size - start >= 12 ? 1 : 0));
    EXPECT_EQ(seen.counts.paths + seen.counts.skipped, complete);
    if (start != size) {
      EXPECT_EQ(seen.offsets.back(), start);
    }
  }
}

TEST(MrtReader, HostileLengthsEndWithTheInput) {
  for (const unsigned type : {12U, 13U, 16U}) {
    const Seen seen = readStream(be(4, 1) + be(2, type) + be(2, 4) + be(4, 0xffffffff) + zeros(600'000));
    EXPECT_THAT(seen.faults, ElementsAre("the input ends inside a record's body, expected all of it"));
    EXPECT_EQ(seen.counts.records, 1U);
  }
}

std::string gzipped(const std::string& octets) {
  z_stream stream{};
  EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY), Z_OK);
  std::string out(deflateBound(&stream, octets.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(octets.data()));
  stream.avail_in = static_cast<uInt>(octets.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

std::string bzipped(const std::string& octets) {
  std::string out(octets.size() + octets.size() / 100 + 600, '\0');
  auto size = static_cast<unsigned>(out.size());
  EXPECT_EQ(BZ2_bzBuffToBuffCompress(out.data(), &size, const_cast<char*>(octets.data()),
                                     static_cast<unsigned>(octets.size()), 9, 0, 0),
            BZ_OK);
  out.resize(size);
  return out;
}

TEST(Unpacker, ReadsMembersInARowAsOne) {
  const std::string half = goodRecord.substr(0, 30);
  const std::string rest = goodRecord.substr(30);
  // One minute of 2005 has the time stamp "BZh9": a plain file all the same.
  const std::string april2005 = "BZh9" + goodRecord.substr(4);
  for (const std::string& octets :
       {goodRecord + goodRecord, gzipped(half) + gzipped(rest + goodRecord), bzipped(half) + bzipped(rest + goodRecord),
        gzipped(half) + gzipped({}) + bzipped(rest) + bzipped({}) + gzipped(goodRecord), april2005 + goodRecord}) {
    const Seen seen = readStream(octets);
    EXPECT_THAT(seen.faults, IsEmpty());
    EXPECT_EQ(seen.counts.paths, 2U);
  }
}

TEST(Unpacker, BrokenCompressionKeepsWhatCameOutAndIsOneFault) {
  std::mt19937 random(1);
  std::string noise(1000, '\0');
  for (char& octet : noise) octet = static_cast<char>(random());
  const std::string whole = goodRecord + record(12, 0, noise) + goodRecord;
  for (const std::string& packed : {gzipped(whole), bzipped(whole)}) {
    std::uint64_t before = 0;
    for (std::size_t size = 4; size < packed.size(); ++size) {
      const Seen seen = readStream(packed.substr(0, size));
      ASSERT_EQ(seen.counts.malformed, 1U) << size;
      ASSERT_EQ(seen.faults.size(), 1U) << size;
      ASSERT_GE(seen.counts.records, before) << "less came out of more, at " << size;
      before = seen.counts.records;
    }
    EXPECT_THAT(readStream(packed + "trailing").faults, ElementsAre(HasSubstr("octets follow the compressed data")));
    EXPECT_EQ(readStream(packed + "trailing").counts.paths, 2U);
    std::string damaged = packed;
    damaged[damaged.size() / 2] ^= 0x10;
    EXPECT_THAT(readStream(damaged).faults, ElementsAre(HasSubstr("damaged")));
  }
  EXPECT_EQ(readStream(gzipped(whole).substr(0, gzipped(whole).size() - 3)).counts.paths, 2U);
}

TEST(MrtReader, SurvivesAnyDamage) {
  const std::string whole = goodRecord +
                            record(13, 6, generic(1, 128, be(1, 112) + zeros(14) + be(2, 1) + entry(extended))) +
                            record(13, 2, rib(24, 2, entry(extended) + entry({}))) +
                            record(13, 1, zeros(4) + be(2, 0) + be(2, 1) + be(1, 3) + zeros(24)) + goodRecord;
  std::mt19937 random(2);
  for (int round = 0; round < 5000; ++round) {
    std::string damaged = whole;
    for (unsigned i = 0; i < 1 + round % 4U; ++i) damaged[random() % damaged.size()] = static_cast<char>(random());
    const Seen seen = readStream(damaged);
    ASSERT_EQ(seen.faults.size(), seen.counts.malformed);
    ASSERT_TRUE(std::is_sorted(seen.offsets.begin(), seen.offsets.end()));
    ASSERT_LE(seen.offsets.empty() ? 0 : seen.offsets.back(), damaged.size());
  }
}

}  // namespace
}  // namespace VelBgpTool
