#include "Store/StoreException.h"

// Destructors are here so that each class has one home for its virtual table and type information.
namespace Routing::Store {

StoreException::~StoreException() = default;
StoreAbsentException::~StoreAbsentException() = default;
StoreFormatException::~StoreFormatException() = default;
StoreBusyException::~StoreBusyException() = default;
StoreFullException::~StoreFullException() = default;
StaleReferenceException::~StaleReferenceException() = default;
DamagedRecordException::~DamagedRecordException() = default;

}  // namespace Routing::Store
