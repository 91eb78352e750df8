// FindTable.h - the table of open searches behind the opaque find handles.
//
// Every FindFirst... of the database returns an unsigned long that the caller passes
// to FindNext... and FindClose.... The handle is a small number, never 0, that names
// an entry of one process-wide table; it is not the address of the search's state, so
// it fits an unsigned long of any width (32 bits on 64-bit Windows) and a handle that
// is made up, already closed or of another kind of search is refused instead of being
// followed. Handles are not reused while the process lives (until the counter wraps).
//
// A state stays alive while any caller is stepping it: Borrow hands out a shared
// reference, and Close only removes the entry, so a close racing a step on another
// thread frees the state after that step has finished.
#ifndef VKLINKDB_FINDTABLE_H
#define VKLINKDB_FINDTABLE_H

#include <memory>

namespace vkl {

enum class FindKind { kObject = 1, kLink = 2, kDependency = 3 };

// Enters a search's state, which `release` frees once the entry is closed and no step
// still uses it. Returns the handle, or 0 (after releasing the state) if the table
// cannot grow.
unsigned long OpenFind(FindKind kind, void* state, void (*release)(void*));

// The state of an open search of that kind, or null for any other handle.
std::shared_ptr<void> BorrowFind(unsigned long handle, FindKind kind);

// Removes an open search of that kind and hands its state back (still alive while a
// step holds it); null if the handle names no such search.
std::shared_ptr<void> CloseFind(unsigned long handle, FindKind kind);

}  // namespace vkl

#endif
