#include "tools/velbgp/Commands.h"
namespace VelBgpTool {
void diffCommand(const Options&, const Routing::RouteMap::PosixRegex*, Console&) {}
}  // namespace VelBgpTool
