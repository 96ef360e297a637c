// The store's types by name, for headers that only pass them on.
#pragma once

namespace Routing::Store {

struct Reference;
class StoreManager;
class WriteBatch;

}  // namespace Routing::Store
