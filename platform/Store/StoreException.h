// What can go wrong with a store. All derive from StoreException; every text names the store's path, what happened with
// the system's or the engine's own message, and what was expected. StoreException itself is thrown for what has no
// class of its own: permissions, no place for another reader, no addresses, an ended view, a key or record beyond the
// limits, use after fork().
#pragma once

#include "Tyr/Exception.h"
#include "Tyr/Export.h"

namespace Routing::Store {

class VELBGP_EXPORT StoreException : public Tyr::Exception {
 public:
  using Exception::Exception;
  ~StoreException() override;
};

// There is no store at the path, or not yet, or it was made anew while it was opened.
class VELBGP_EXPORT StoreAbsentException : public StoreException {
 public:
  using StoreException::StoreException;
  ~StoreAbsentException() override;
};

// What is there is no store of this build: something else, emptied, cut short, replaced under a reader, of another
// layout version, octet order, word or page size, without its table of readers, or its pages contradict each other.
class VELBGP_EXPORT StoreFormatException : public StoreException {
 public:
  using StoreException::StoreException;
  ~StoreFormatException() override;
};

// Another writer has the store, or this process reads it already and so cannot begin to write.
class VELBGP_EXPORT StoreBusyException : public StoreException {
 public:
  using StoreException::StoreException;
  ~StoreBusyException() override;
};

// No room on the disk, in a quota, under a limit on file sizes or in the map. The last commit stands; a later batch may succeed.
class VELBGP_EXPORT StoreFullException : public StoreException {
 public:
  using StoreException::StoreException;
  ~StoreFullException() override;
};

// The reference names no record of this view: null, of a removed record (its number may be in use again), of a commit
// that the view does not show, or of another store.
class VELBGP_EXPORT StaleReferenceException : public StoreException {
 public:
  using StoreException::StoreException;
  ~StaleReferenceException() override;
};

// What was read does not match its checksum, or entries are out of order.
class VELBGP_EXPORT DamagedRecordException : public StoreException {
 public:
  using StoreException::StoreException;
  ~DamagedRecordException() override;
};

}  // namespace Routing::Store
