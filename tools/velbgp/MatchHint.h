// What is said about an expression that found nothing, where its text is a community's in a spelling that expressions do
// not see.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/velbgp/Kind.h"

namespace VelBgpTool {

class Console;

// Expressions that may be meant: for a value in any spelling the one that finds it, with the labels of policy for those
// of show commands, with the ends of words for a router's "_", with the ends of words for those of the whole text.
std::vector<std::string> otherSpellings(std::string_view expression, Kinds& kinds);

// Prints a note for an expression that matched nothing: the first of these that matches any list of these kinds, or the
// first. Nothing where there is none.
void noteOtherSpelling(std::string_view expression, Kinds& kinds, Console& console);

}  // namespace VelBgpTool
