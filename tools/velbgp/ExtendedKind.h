// The kind "extended": 8-octet extended communities.
#pragma once

#include <memory>

#include "tools/velbgp/Kind.h"

namespace VelBgpTool {

std::unique_ptr<Kind> makeExtendedKind(Agent& agent);

}  // namespace VelBgpTool
