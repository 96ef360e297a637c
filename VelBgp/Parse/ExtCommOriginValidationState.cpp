#include "VelBgp/Parse/ExtCommOriginValidationState.h"

#include <algorithm>
#include <iterator>

namespace Routing::Bgp {
namespace {

constexpr const char* stateNames[] = {"valid", "not-found", "invalid", "unknown"};
constexpr std::size_t unknown = std::size(stateNames) - 1;

std::string stateName(std::size_t state) { return stateNames[std::min(state, unknown)]; }

}  // namespace

void ExtCommOriginValidationState::formatDerivedType(std::ostream& stream) const {
  const std::string number = state() < unknown ? "" : "(" + std::to_string(state()) + ")";
  formatKind(stream, *this, "OriginValidationState " + stateName(state()) + number);
}

std::string ExtCommOriginValidationState::toStrepForPolicy(StrepFormat format) const {
  return format.classificationAndUI() ? "Origin-Validation-State:" + stateName(state()) : std::string();
}

VELBGP_KIND_FACTORIES(extCommOriginValidationState, ExtCommOriginValidationState)
VELBGP_PLUGIN_FACTORIES(bgpParseExtCommOriginValidationStateSm, BgpParseExtCommOriginValidationStateSm)

}  // namespace Routing::Bgp
