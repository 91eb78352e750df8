// PathWalk.h - lookups by path and by name through the accelerators (Accelerators.h),
// with the answers of the database's own walk over the name index.
//
// GetObjectByPath takes the objects of the path's last name from the name bucket, in
// chain order, and keeps the first whose chain of parent links spells the rest of the
// path. Where names repeat (every folder's readme.txt) that bucket is long. The walk
// here goes the other way: from the tops of trees named like the path's first
// component, down the child index one component at a time, applying at each level the
// same rules as the check of a parent chain (the short form for tops, the split of the
// path's first component at its drive). What remains are exactly the objects the
// bucket walk would accept; the first of them in chain order is the answer, and only
// when there are several is the chain walked to find it.
//
// Paths with a '/', an empty component or more than 200 components are left to the
// bucket walk, as are sets of candidates that grow past a few hundred.
#ifndef VKLINKDB_PATHWALK_H
#define VKLINKDB_PATHWALK_H

#include <stddef.h>
#include <stdint.h>
#include "VKLinkDB.h"

namespace vkl {

class Accelerators;

// The object with a full path of n characters, in *found (null if there is none).
// False if the path is left to the bucket walk.
bool WalkPath(CVKUDatabase* db, Accelerators* a, const char* path, size_t n, DBObject** found);

// The first object, in the chain order of the name's bucket, of exactly this type (1,
// 8 or 0x1000) whose current name is name and whose name node is in that bucket.
DBObject* FirstTop(CVKUDatabase* db, Accelerators* a, uint32_t type, const char* name);

}  // namespace vkl

#endif
