// A toggle file of any content: the answer is what the file says, or the default.
#include <boost/json/parse.hpp>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "Toggle/Toggle.h"
#include "fuzz/Fuzz.h"

namespace VelBgpFuzz {
namespace {

// The whole text at once, by the parser's other entry.
bool expected(std::string_view text, bool defaultState) {
  boost::json::error_code error;
  const boost::json::value value = boost::json::parse(text, error);
  const boost::json::value* toggle = error || !value.is_object() ? nullptr : value.get_object().if_contains("Mvpn");
  return toggle != nullptr && toggle->is_bool() ? toggle->get_bool() : defaultState;
}

}  // namespace

void oneInput(Input input) {
  static std::FILE* const nowhere = std::fopen("/dev/null", "w");
  ::setenv("FEATURE_TOGGLE_DIR", folder().c_str(), 1);
  const std::string_view text = textOf(input.rest());
  writeFile(folder() / "file", text);
  for (const bool defaultState : {false, true}) {
    std::FILE* const shown = std::exchange(stderr, nowhere);  // without the warnings
    const bool state = Routing::Toggle::getToggleState("Mvpn", "file", defaultState);
    stderr = shown;
    TYR_ASSERT(state == expected(text, defaultState));
  }
}

}  // namespace VelBgpFuzz
