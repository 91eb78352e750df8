// LinkArrays.h - the outgoing and incoming link arrays of an object. An array of up to
// 2 entries lives in the arena, sized exactly; from the third entry on it moves to the
// general heap with room for a multiple of 10 entries, recorded by bit 30 of its count.
#ifndef VKLINKDB_LINKARRAYS_H
#define VKLINKDB_LINKARRAYS_H

#include "Internal.h"

namespace vkl {

// Appends an entry by the growth rules; false (and nothing added) if memory runs out.
bool AppendLinkEntry(CVKUDatabase* db, uint32_t* countField, uint32_t** array, uint32_t entry);

// Removes every entry whose low 30 bits equal id, keeping the order of the others;
// the array is compacted in place and never shrinks.
void RemoveLinkEntries(uint32_t* countField, uint32_t* array, uint32_t id);

// Gives the array back (heap or arena) and leaves the object with no entries.
void ReleaseLinkArray(CVKUDatabase* db, uint32_t* countField, uint32_t** array);

}  // namespace vkl

#endif
