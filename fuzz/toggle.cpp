// A toggle file of any content: the answer is what the file says, or the default.
#include <boost/json/parse.hpp>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <utility>

#include "Toggle/Toggle.h"
#include "fuzz/Fuzz.h"

namespace VelBgpFuzz {

namespace {

constexpr const char* name = "Mvpn";
constexpr const char* file = "toggles.json";

// What a parser of its own finds.
std::optional<bool> stated(std::string_view text) {
  boost::json::error_code error;
  const boost::json::value value = boost::json::parse(text, error);
  if (error || !value.is_object()) return std::nullopt;
  const boost::json::value* toggle = value.get_object().if_contains(name);
  return toggle != nullptr && toggle->is_bool() ? std::optional(toggle->get_bool()) : std::nullopt;
}

// The warnings go nowhere.
bool state(bool defaultState) {
  static std::FILE* const nowhere = std::fopen("/dev/null", "w");
  std::FILE* const shown = std::exchange(stderr, nowhere);
  const bool answer = Routing::Toggle::getToggleState(name, file, defaultState);
  stderr = shown;
  return answer;
}

}  // namespace

void oneInput(Input& input) {
  static const Folder folder;
  ::setenv("FEATURE_TOGGLE_DIR", folder.path().c_str(), 1);
  const Octets text = input.rest();
  written(folder.path() / file, text);
  const std::optional<bool> expected = stated(textOf(text));
  for (const bool defaultState : {false, true}) TYR_ASSERT(state(defaultState) == expected.value_or(defaultState));
}

}  // namespace VelBgpFuzz
