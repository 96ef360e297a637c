// `velbgp mrt` on recorded files, whose counts were taken by parsers that share nothing with ours.
#include <gtest/gtest.h>

#include <boost/json/parse.hpp>
#include <boost/json/value_to.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Counts = std::vector<std::uint64_t>;

struct Row {
  const char* file;
  std::uint64_t records;
  std::uint64_t paths;
  // Of each kind: paths, communities, distinct lists, distinct communities; nothing: none at all.
  Counts extended, extendedIp6, large, standard;
  std::uint64_t malformed;
  std::uint64_t skipped;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.file; }

const Row rows[] = {
    {"updates.20190101.0000.gz",
     54514,
     53283,
     {780, 3314, 26, 73},
     {},
     {7546, 14641, 73, 80},
     {33369, 141968, 2524, 2897},
     0,
     0},
    {"updates.et-header.2015.gz", 89686, 89675, {1896, 2536, 471, 674}, {}, {}, {89674, 89674, 64, 64}, 0, 0},
    {"freertr-bgp4.mrt", 33974, 16954, {14456, 17942, 43, 48}, {}, {1426, 2762, 90, 118}, {7292, 21512, 161, 90}, 0, 0},
    {"ipv6-rib.bz2", 25879, 609246, {}, {}, {}, {451596, 1241107, 5492, 5385}, 0, 0},
    {"rib.20140523.0600_firstMB.bz2", 9074, 270005, {}, {}, {}, {132003, 574237, 3656, 3356}, 1, 0},
    {"bird-mrtdump_rib.mrt", 14, 18, {}, {}, {}, {12, 36, 2, 6}, 0, 0},
    {"openbgpd_rib_table-v2.mrt", 24, 33, {2, 2, 1, 1}, {}, {}, {}, 0, 0},
    {"openbgpd_rib_table.mrt", 31, 0, {}, {}, {}, {}, 0, 31},
    {"updates.20001104.0124.gz", 1286, 220, {}, {}, {}, {95, 253, 6, 7}, 63, 0},
    {"derived-wire-messages.mrt", 157, 157, {118, 164, 56, 64}, {1, 1, 1, 1}, {8, 14, 3, 5}, {38, 45, 8, 8}, 0, 0},
};

fs::path dataFolder() {
  const char* named = std::getenv("VELBGP_TEST_DATA");
  return named != nullptr ? named : VELBGP_TEST_DATA_DEFAULT;
}

std::string outputOf(const std::string& command) {
  std::string out;
  FILE* pipe = ::popen(command.c_str(), "r");
  for (int c; (c = std::fgetc(pipe)) != EOF;) out += static_cast<char>(c);
  ::pclose(pipe);
  return out;
}

class RecordedData : public testing::TestWithParam<Row> {};

TEST_P(RecordedData, CountsAgree) {
  const fs::path file = dataFolder() / GetParam().file;
  if (!fs::exists(file)) GTEST_SKIP() << "no recorded data: " << file << " (VELBGP_TEST_DATA names their folder)";
  const auto found =
      boost::json::parse(outputOf(VELBGP_TOOL_DIR "/velbgp mrt --json '" + file.string() + "' 2>/dev/null"))
          .as_object();
  const auto number = [&](const char* key) { return boost::json::value_to<std::uint64_t>(found.at(key)); };
  const auto counts = [&](const char* kind) {
    Counts all;
    for (const auto& count : found.at(kind).as_object())
      all.push_back(boost::json::value_to<std::uint64_t>(count.value()));
    return all == Counts{0, 0, 0, 0} ? Counts() : all;
  };
  EXPECT_EQ(counts("extended"), GetParam().extended);
  EXPECT_EQ(counts("extendedIp6"), GetParam().extendedIp6);
  EXPECT_EQ(counts("large"), GetParam().large);
  EXPECT_EQ(counts("standard"), GetParam().standard);
  EXPECT_EQ(number("files"), 1U);
  EXPECT_EQ(number("records"), GetParam().records);
  EXPECT_EQ(number("paths"), GetParam().paths);
  EXPECT_EQ(number("malformed"), GetParam().malformed);
  EXPECT_EQ(number("skipped"), GetParam().skipped);
  std::uint64_t classified = 0;
  for (const auto& count : found.at("classifications").as_object()) {
    classified += boost::json::value_to<std::uint64_t>(count.value());
  }
  const auto received = [](const Counts& kind) { return kind.empty() ? 0 : kind[1]; };
  EXPECT_EQ(classified, received(GetParam().extended) + received(GetParam().extendedIp6));
}

INSTANTIATE_TEST_SUITE_P(Files, RecordedData, testing::ValuesIn(rows), [](const auto& info) {
  std::string name = info.param.file;
  for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
  return name;
});

}  // namespace
