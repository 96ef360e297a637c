#include "Toggle/Toggle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace Routing::Toggle {
namespace {

using testing::EndsWith;

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

  // Whatever the default, the toggle takes it, with the warning (none if empty) on one line.
  static void expectDefault(const std::string& file, const std::string& warning) {
    for (const bool defaultState : {false, true}) {
      testing::internal::CaptureStderr();
      EXPECT_EQ(getToggleState("Mvpn", file, defaultState), defaultState) << file;
      const std::string output = testing::internal::GetCapturedStderr();
      const std::string taken = warning.empty() ? "" : warning + "; taken as " + (defaultState ? "on" : "off") + "\n";
      EXPECT_THAT(output, EndsWith(taken));
      EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), warning.empty() ? 0 : 1) << output;
      EXPECT_EQ(output.empty(), warning.empty()) << output;
    }
  }

  std::filesystem::path directory_;
};

TEST_F(ToggleTest, TheFileDecides) {
  const std::pair<const char*, bool> rows[] = {
      {R"({"Mvpn": true})", true},
      {R"({"Mvpn": false})", false},
      {R"(  {"Other": [1, {"Mvpn": false}], "Mvpn": true, "Last": null} )", true},
      {R"({"Mvpn": true, "Mvpn": false})", false},
      {R"({"\u004dvpn": true})", true}};
  std::filesystem::create_directory(directory_ / "sub..");
  for (const char* file : {"MvpnLib.json", "sub../a..b.json"}) {
    for (const auto& [text, state] : rows) {
      fileIs(file, text);
      testing::internal::CaptureStderr();
      EXPECT_EQ(getToggleState("Mvpn", file, !state), state) << text;
      EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
  }
}

TEST_F(ToggleTest, WhatIsMissingGivesTheDefaultSilently) {
  fileIs("file", R"({"mvpn": false, "Mvpn ": false, "a": {"Mvpn": false}})");
  for (const char* file : {"file", "missing", "missing/file", "file/file"}) expectDefault(file, "");
  setenv("FEATURE_TOGGLE_DIR", (directory_ / "nowhere").c_str(), 1);
  expectDefault("file", "");
}

TEST_F(ToggleTest, UnusableContentsGiveTheDefaultAndAWarning) {
  const std::string nested(1000, '[');
  const std::pair<std::string, std::string> rows[] = {
      {"", "not JSON: incomplete JSON"},
      {"{\"Mvpn\": false,\n\n oops}", "file: line 3: not JSON: syntax error"},
      {R"({"Mvpn": false} x)", "line 1: not JSON: extra data"},
      {R"({"Mvpn": false)", "not JSON: incomplete JSON"},
      {R"({"Mvpn": FALSE})", "not JSON: syntax error"},
      {R"(["Mvpn"])", "not a JSON object"},
      {"true", "not a JSON object"},
      {R"({"Mvpn": "false"})", "neither true nor false"},
      {R"({"Mvpn": 0})", "neither true nor false"},
      {R"({"Mvpn": null})", "neither true nor false"},
      {"{\"a\": " + nested, "not JSON: too deep"},
      {R"({"Mvpn": false})" + std::string(1 << 20, ' '), "larger than one mebibyte"},
      {std::string("\0\xff", 2), "line 1: not JSON: syntax error"},
  };
  for (const auto& [text, warning] : rows) {
    fileIs("file", text);
    expectDefault("file", warning);
  }
}

TEST_F(ToggleTest, OtherThanAReadableFileGivesTheDefaultAndAWarning) {
  std::filesystem::create_directory(directory_ / "directory");
  ASSERT_EQ(mkfifo((directory_ / "fifo").c_str(), 0600), 0);  // nobody writes: a plain open would wait for ever
  std::filesystem::create_symlink("/dev/zero", directory_ / "device");
  std::filesystem::create_symlink("loop", directory_ / "loop");
  for (const char* file : {"directory", ".", "fifo", "device"}) expectDefault(file, "not a regular file");
  expectDefault("loop", "cannot open: Too many levels of symbolic links");
  expectDefault(std::string(300, 'x'), "cannot open: File name too long");
}

TEST_F(ToggleTest, PathsStayInsideTheDirectory) {
  std::filesystem::create_directory(directory_ / "inner");
  fileIs("file", R"({"Mvpn": false})");
  fileIs("inner/x", "{}");
  setenv("FEATURE_TOGGLE_DIR", (directory_ / "inner").c_str(), 1);
  using namespace std::string_literals;
  for (const std::string& file :
       {"../file"s, "x/../../file"s, ".."s, "../"s, ""s, (directory_ / "file").string(), "x\0y"s}) {
    expectDefault(file, "not a name inside the toggle directory");
  }
  // Names with control characters stay on one line, and without the variable the usual directory counts.
  unsetenv("FEATURE_TOGGLE_DIR");
  expectDefault("../a\nb", "\"Mvpn\" in /etc/velbgp/toggles/../a?b: not a name inside the toggle directory");
}

}  // namespace
}  // namespace Routing::Toggle
