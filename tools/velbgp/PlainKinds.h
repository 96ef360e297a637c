// The kinds "standard" and "large": communities that are plain numbers and have no classification.
#pragma once

#include <memory>

#include "tools/velbgp/Kind.h"

namespace VelBgpTool {

std::unique_ptr<Kind> makeStandardKind(Agent& agent);
std::unique_ptr<Kind> makeLargeKind(Agent& agent);

ReadValue readStandard, readLarge;

}  // namespace VelBgpTool
