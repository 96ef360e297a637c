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
  Counts extended;  // paths, communities, distinct lists, distinct communities
  std::uint64_t malformed;
  std::uint64_t skipped;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.file; }

const Row rows[] = {
    {"updates.20190101.0000.gz", 54514, 53283, {780, 3314, 26, 73}, 0, 0},
    {"updates.et-header.2015.gz", 89686, 89675, {1896, 2536, 471, 674}, 0, 0},
    {"freertr-bgp4.mrt", 33974, 16954, {14456, 17942, 43, 48}, 0, 0},
    {"ipv6-rib.bz2", 25879, 609246, {0, 0, 0, 0}, 0, 0},
    {"rib.20140523.0600_firstMB.bz2", 9074, 270005, {0, 0, 0, 0}, 1, 0},
    {"bird-mrtdump_rib.mrt", 14, 18, {0, 0, 0, 0}, 0, 0},
    {"openbgpd_rib_table-v2.mrt", 24, 33, {2, 2, 1, 1}, 0, 0},
    {"openbgpd_rib_table.mrt", 31, 0, {0, 0, 0, 0}, 0, 31},
    {"updates.20001104.0124.gz", 1286, 220, {0, 0, 0, 0}, 63, 0},
    {"derived-wire-messages.mrt", 157, 157, {118, 164, 56, 64}, 0, 0},
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
  Counts extended;
  for (const auto& count : found.at("extended").as_object()) {
    extended.push_back(boost::json::value_to<std::uint64_t>(count.value()));
  }
  EXPECT_EQ(extended, GetParam().extended);
  EXPECT_EQ(number("files"), 1U);
  EXPECT_EQ(number("records"), GetParam().records);
  EXPECT_EQ(number("paths"), GetParam().paths);
  EXPECT_EQ(number("malformed"), GetParam().malformed);
  EXPECT_EQ(number("skipped"), GetParam().skipped);
  std::uint64_t classified = 0;
  for (const auto& count : found.at("classifications").as_object()) {
    classified += boost::json::value_to<std::uint64_t>(count.value());
  }
  EXPECT_EQ(classified, GetParam().extended[1]);
}

INSTANTIATE_TEST_SUITE_P(Files, RecordedData, testing::ValuesIn(rows), [](const auto& info) {
  std::string name = info.param.file;
  for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
  return name;
});

}  // namespace
