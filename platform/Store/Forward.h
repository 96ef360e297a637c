// The store's types by name, for headers that only pass them on.
#pragma once

namespace Store {

struct Reference;
class StoreManager;
class WriteBatch;

}  // namespace Store
