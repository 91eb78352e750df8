// LinkArrays.h - the outgoing and incoming link arrays of an object. An array of up to
// 2 entries lives in the arena, sized exactly; from the third entry on it moves to the
// general heap with room for a multiple of 10 entries, recorded by bit 30 of its count.
//
// Heap arrays carry their capacity in a word before the first entry, so that an array
// is grown in place exactly while it has room. (Arrays read from a store lie in the
// arena with room for their entries only; the first entry added moves them to the heap.) Small ones come from a pool of slabs
// (one size class per capacity) rather than from malloc one by one: a million small
// arrays cost their entries and one word each, not an allocator header each, and
// freeing one makes its slot ready for the next array of that capacity.
#ifndef VKLINKDB_LINKARRAYS_H
#define VKLINKDB_LINKARRAYS_H

#include "Internal.h"

namespace vkl {

// A heap array with room for capacity entries; null when memory runs out.
uint32_t* NewHeapArray(uint32_t capacity);
void FreeHeapArray(uint32_t* entries);
inline uint32_t HeapArrayCapacity(const uint32_t* entries) { return entries[-1]; }
// The capacity a heap array of count entries is given: a multiple of 10.
inline uint32_t RoundedCapacity(uint32_t count) { return ((count + 9) / 10) * 10; }

// Appends an entry by the growth rules; false (and nothing added) if memory runs out.
bool AppendLinkEntry(CVKUDatabase* db, uint32_t* countField, uint32_t** array, uint32_t entry);

// Removes every entry whose low 30 bits equal id, keeping the order of the others;
// the array is compacted in place and never shrinks. Returns how many went.
uint32_t RemoveLinkEntries(uint32_t* countField, uint32_t* array, uint32_t id);

// Gives the array back (heap or arena) and leaves the object with no entries.
void ReleaseLinkArray(CVKUDatabase* db, uint32_t* countField, uint32_t** array);

}  // namespace vkl

#endif
