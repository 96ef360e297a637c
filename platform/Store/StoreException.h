// What can go wrong with a store. All derive from StoreException; every text names the store's path, what happened with
// the system's or the engine's own message, and what was expected. StoreException itself is thrown for what has no
// class of its own: permissions, no place for another reader, no addresses, an ended view, a key or record beyond the
// limits, use after fork().
#pragma once

#include "Tyr/Exception.h"
#include "Tyr/Export.h"

namespace Routing::Store {

struct VELBGP_EXPORT StoreException : Tyr::Exception {
  using Exception::Exception;
};

// There is no store at the path, or not yet, or it was made anew while it was opened.
struct VELBGP_EXPORT StoreAbsentException : StoreException {
  using StoreException::StoreException;
};

// What is there is no store of this build: something else, emptied, cut short, replaced under a reader, of another
// layout version, octet order, word or page size, without its table of readers, or its pages contradict each other.
struct VELBGP_EXPORT StoreFormatException : StoreException {
  using StoreException::StoreException;
};

// Another writer has the store, or this process reads it already and so cannot begin to write; or a reader shows so old
// a commit that the writer may not go on.
struct VELBGP_EXPORT StoreBusyException : StoreException {
  using StoreException::StoreException;
};

// No room on the disk, in a quota, under a limit on file sizes or in the map. The last commit stands; a later batch may
// succeed.
struct VELBGP_EXPORT StoreFullException : StoreException {
  using StoreException::StoreException;
};

// The reference names no record of this view: null, of a removed record (its number may be in use again), of a commit
// that the view does not show, or of another store.
struct VELBGP_EXPORT StaleReferenceException : StoreException {
  using StoreException::StoreException;
};

// The view was too far behind the writer, and has ended. A refresh begins anew.
struct VELBGP_EXPORT OldViewException : StoreException {
  using StoreException::StoreException;
};

// What was read does not match its checksum, or entries are out of order.
struct VELBGP_EXPORT DamagedRecordException : StoreException {
  using StoreException::StoreException;
};

}  // namespace Routing::Store
