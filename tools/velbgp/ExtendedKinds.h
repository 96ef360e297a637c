// The kinds "extended" and "extendedIp6": communities of a type, a subtype and a classification.
#pragma once

#include <memory>

#include "tools/velbgp/Kind.h"

namespace VelBgpTool {

std::unique_ptr<Kind> makeExtendedKind(Agent& agent);
std::unique_ptr<Kind> makeExtendedIp6Kind(Agent& agent);

}  // namespace VelBgpTool
