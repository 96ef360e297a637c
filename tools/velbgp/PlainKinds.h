// The kinds "standard" and "large": communities that are plain numbers and have no classification.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "tools/velbgp/Kind.h"

namespace VelBgpTool {

std::unique_ptr<Kind> makeStandardKind(Agent& agent);
std::unique_ptr<Kind> makeLargeKind(Agent& agent);

// Read a value as people type it into its wire octets; false for all other text, and for numbers out of range.
bool readStandard(std::string_view text, std::uint8_t* octets);
bool readLarge(std::string_view text, std::uint8_t* octets);

}  // namespace VelBgpTool
