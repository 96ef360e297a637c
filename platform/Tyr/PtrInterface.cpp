#include "Tyr/PtrInterface.h"

namespace Tyr {

PtrInterface::~PtrInterface() = default;

}  // namespace Tyr
