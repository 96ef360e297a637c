#include "Keel/DedupHandleBase.h"

#include "Keel/DedupHashTable.h"

namespace Keel {

DedupContentHandle::~DedupContentHandle() = default;

DedupHandleBase::~DedupHandleBase() = default;

bool DedupHandleBase::isDeduped() const { return dedupState() == dedupHandleStateDeduped(); }

bool DedupHandleBase::everDeduped() const { return dedupState() != dedupHandleStateNeverDeduped(); }

void DedupHandleBase::assertIsDeduped() const { TYR_ASSERT(everDeduped()); }

void DedupHandleBase::notInTableIs() noexcept {
  TYR_ASSERT(!isDeduped());
  owner_.store(ownerBarred, std::memory_order_relaxed);
}

void DedupHandleBase::lastReferenceRelease() const noexcept {
  auto* self = const_cast<DedupHandleBase*>(this);
  if (DedupHashTable::letGo(self)) delete self;
}

}  // namespace Keel
