// Why an expression matches a list: in which of the texts that the list is matched by, and which parts of it.
//
// For people who ask about a policy; matchCommunitiesRegex() of the lists is the same question and many times faster.
// Ownership: results own their texts. Threads: any. Errors: std::bad_alloc; there is a list and an expression, else the
// process stops.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tyr/Export.h"
#include "VelBgp/Forward.h"

namespace Routing::RouteMap {
class PosixRegex;
}

namespace Routing::Bgp {

struct MatchReason {
  // The first mode whose text matches: of extended communities "default", "classification" or "ui", of standard and
  // large ones "numeric" or "names".
  std::string_view mode;
  // For each community of the list, in its order, the first part of the text that matches and reaches into the
  // community's own text, or nothing. A match may span several.
  std::vector<std::optional<std::string>> parts;
};

// Nothing when no text of the list matches.
VELBGP_EXPORT std::optional<MatchReason> matchReason(const ExtCommList* list, const RouteMap::PosixRegex* regex);
VELBGP_EXPORT std::optional<MatchReason> matchReason(const CommList* list, const RouteMap::PosixRegex* regex);
VELBGP_EXPORT std::optional<MatchReason> matchReason(const LargeCommList* list, const RouteMap::PosixRegex* regex);

}  // namespace Routing::Bgp
