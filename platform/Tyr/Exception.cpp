#include "Tyr/Exception.h"

// Destructors are here so that each class has one home for its virtual table and type information: an exception thrown
// in the shared library is then caught by type everywhere.
namespace Tyr {

Exception::~Exception() = default;
RangeException::~RangeException() = default;
BadNameException::~BadNameException() = default;
ParseException::~ParseException() = default;
DeserializationException::~DeserializationException() = default;
NullArgumentException::~NullArgumentException() = default;

}  // namespace Tyr
