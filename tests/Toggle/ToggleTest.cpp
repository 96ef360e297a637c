#include "Toggle/Toggle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <optional>

namespace Routing::Toggle {
namespace {

using namespace std::string_literals;

class ToggleTest : public testing::Test {
 protected:
  ToggleTest() {
    std::string pattern = testing::TempDir() + "toggleXXXXXX";
    directory_ = mkdtemp(pattern.data());
    setenv("FEATURE_TOGGLE_DIR", directory_.c_str(), 1);
  }
  ~ToggleTest() override {
    unsetenv("FEATURE_TOGGLE_DIR");
    std::filesystem::remove_all(directory_);
  }

  void fileIs(const std::string& name, const std::string& text) { std::ofstream(directory_ / name) << text; }

  // The toggle is `state`, or else the default, with one line of warning that ends so (none if empty).
  static void expect(const std::string& file, const std::string& warning, std::optional<bool> state = {}) {
    for (const bool defaultState : {false, true}) {
      testing::internal::CaptureStderr();
      EXPECT_EQ(getToggleState("Mvpn", file, defaultState), state.value_or(defaultState)) << file;
      const std::string output = testing::internal::GetCapturedStderr();
      const std::string end = warning.empty() ? "" : warning + "; taken as " + (defaultState ? "on" : "off") + "\n";
      EXPECT_THAT(output, testing::EndsWith(end));
      EXPECT_EQ(output.find('\n') + 1, output.size()) << output;
    }
  }

  std::filesystem::path directory_;
};

TEST_F(ToggleTest, ContentsDecideOrGiveTheDefault) {
  const struct {
    std::string text, warning;
    std::optional<bool> state;
  } rows[] = {
      {R"(  {"Other": [1, {"Mvpn": false}], "Mvpn": true, "Last": null} )", "", true},
      {R"({"Mvpn": true, "\u004dvpn": false})", "", false},
      {R"({"mvpn": false, "Mvpn ": false, "a": {"Mvpn": false}})", "", {}},
      {"", "not JSON: incomplete JSON", {}},
      {"{\"Mvpn\": false,\n\n oops}", "file: line 3: not JSON: syntax error", {}},
      {R"({"Mvpn": false} x)", "line 1: not JSON: extra data", {}},
      {R"(["Mvpn"])", "not a JSON object", {}},
      {R"({"Mvpn": 0})", "neither true nor false", {}},
      {"{\"a\": " + std::string(1000, '['), "not JSON: too deep", {}},
      {R"({"Mvpn": false})" + std::string(1 << 20, ' '), "larger than one mebibyte", {}},
      {"\0\xff"s, "line 1: not JSON: syntax error", {}},
  };
  std::filesystem::create_directory(directory_ / "sub..");
  for (const auto& [text, warning, state] : rows) {
    fileIs("sub../a..file", text);
    expect("sub../a..file", warning, state);
  }
}

TEST_F(ToggleTest, OtherThanAReadableFileInTheDirectoryGivesTheDefault) {
  fileIs("file", R"({"Mvpn": false})");
  std::filesystem::create_directory(directory_ / "inner");
  fileIs("inner/x", "{}");
  ASSERT_EQ(mkfifo((directory_ / "inner/fifo").c_str(), 0600), 0);  // nobody writes: a plain open would wait for ever
  std::filesystem::create_symlink("/dev/zero", directory_ / "inner/device");
  std::filesystem::create_symlink("loop", directory_ / "inner/loop");
  setenv("FEATURE_TOGGLE_DIR", (directory_ / "inner").c_str(), 1);
  for (const char* file : {"missing", "missing/file", "x/file"}) expect(file, "");
  for (const char* file : {".", "fifo", "device"}) expect(file, "not a regular file");
  expect("loop", "cannot open: Too many levels of symbolic links");
  for (const std::string& file : {"../file"s, "x/../../file"s, ".."s, ""s, (directory_ / "file").string(), "x\0y"s}) {
    expect(file, "not a name inside the toggle directory");
  }
  // Names with control characters stay on one line, and without the variable the usual directory counts.
  unsetenv("FEATURE_TOGGLE_DIR");
  expect("../a\nb", "\"Mvpn\" in /etc/velbgp/toggles/../a?b: not a name inside the toggle directory");
}

}  // namespace
}  // namespace Routing::Toggle
