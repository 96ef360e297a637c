// Feature toggles: switches that the operator sets in files, read when a feature starts.
//
// A toggle file is a JSON object of names and booleans, {"Mvpn": false}, in the directory that the environment variable
// FEATURE_TOGGLE_DIR names, or in /etc/velbgp/toggles when it is unset or empty. Names that nobody asks for and their
// values are ignored; of a name that stands twice the last counts.
//
// Threads: callable from any thread as long as none changes the environment. Every call reads the file again; who must
// not see a feature change while running keeps the answer.
// Errors: only std::bad_alloc. A toggle file must not keep an agent from starting, so whatever is wrong with one gives
// the default and one line on standard error.
#pragma once

#include <string>

#include "Tyr/Export.h"

namespace Routing::Toggle {

// The state of the toggle `name` in `file`, a path inside the toggle directory. A missing file or name gives the
// default without a word. With a warning it is given for a file that cannot be read, is no regular file, has more than
// one mebibyte or is not a JSON object (nested at most 32 deep), for a value that is neither true nor false, and for a
// path that is absolute or contains "..".
VELBGP_EXPORT bool getToggleState(const std::string& name, const std::string& file, bool defaultState);

}  // namespace Routing::Toggle
