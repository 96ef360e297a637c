// The tool as its users meet it. Each case is a shell script NAME.cmd in cases/, run in an empty folder with NAME.in as
// its input, and beside it what must come out: NAME.out, NAME.err (nothing, where there is no file), and in the script
// the exit status, "# status: N" (0, where there is none). "# no sanitizer" leaves a case out of builds with one,
// "# recorded data" one out where the folder of recorded files, VELBGP_TEST_DATA, is missing.
// MRT records are written as lines of hex digits, which records.pl packs.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

fs::path with(fs::path path, const char* extension) { return path.replace_extension(extension); }

int wantedStatus(const std::string& script) {
  constexpr std::string_view mark = "# status: ";
  const std::size_t at = script.find(mark);
  return at == std::string::npos ? 0 : std::stoi(script.substr(at + mark.size()));
}

std::vector<fs::path> cases() {
  std::vector<fs::path> found;
  for (const auto& file : fs::directory_iterator(VELBGP_TEST_CASES)) {
    if (file.path().extension() == ".cmd") found.push_back(file.path());
  }
  std::sort(found.begin(), found.end());
  return found;
}

class ToolCase : public testing::TestWithParam<fs::path> {};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#elif defined(__has_feature)
constexpr bool sanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool sanitized = false;
#endif

TEST_P(ToolCase, PrintsWhatItShould) {
  const std::string script = contents(GetParam());
  ::setenv("VELBGP_TEST_DATA", VELBGP_TEST_DATA_DEFAULT, 0);
  const fs::path data = std::getenv("VELBGP_TEST_DATA");
  if (sanitized && script.find("# no sanitizer") != std::string::npos) GTEST_SKIP();
  if (!fs::exists(data) && script.starts_with("# recorded data")) GTEST_SKIP() << "no recorded data: " << data;
  const std::string name = "velbgp-" + GetParam().stem().string() + "." + std::to_string(::getpid());
  const fs::path folder = fs::path(testing::TempDir()) / name;
  fs::create_directories(folder);
  const fs::path input = with(GetParam(), ".in");
  const std::string command = "cd '" + folder.string() +
                              "' && mkdir scratch && cd scratch && PATH='" VELBGP_TOOL_DIR
                              "':$PATH LC_ALL=C FEATURE_TOGGLE_DIR=/nonexistent sh '" +
                              GetParam().string() + "' <'" + (fs::exists(input) ? input.string() : "/dev/null") +
                              "' >../out 2>../err";
  const int status = std::system(command.c_str());
  EXPECT_EQ(contents(folder / "out"), contents(with(GetParam(), ".out")));
  EXPECT_EQ(contents(folder / "err"), contents(with(GetParam(), ".err")));
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), wantedStatus(script));
  fs::remove_all(folder);
}

INSTANTIATE_TEST_SUITE_P(Files, ToolCase, testing::ValuesIn(cases()), [](const auto& info) {
  std::string name = info.param.stem().string();
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

}  // namespace
