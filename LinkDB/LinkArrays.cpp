// Growth, removal and release of link arrays, and the pool of small heap arrays.
#include <stdlib.h>
#include <string.h>
#include <mutex>
#include <new>
#include <vector>
#include "LinkArrays.h"

#if defined(__SANITIZE_ADDRESS__)
#define VKL_POOL_ARRAYS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VKL_POOL_ARRAYS 0
#endif
#endif
#ifndef VKL_POOL_ARRAYS
#define VKL_POOL_ARRAYS 1  // under AddressSanitizer every array is its own malloc block
#endif

namespace vkl {

namespace {

// Arrays of up to kPooledMax entries come from slabs, one size class per capacity.
// The pool serves every database of the process, so it has its own lock; it gives its
// slabs back once no pooled array is left.
const uint32_t kPooledMax = 64;
const size_t kSlabBytes = 64 * 1024;

struct ArrayPool {
  std::mutex lock;
  unsigned char* free[kPooledMax + 1] = {};  // first free slot of each class
  unsigned char* next[kPooledMax + 1] = {};  // where the class's newest slab has room
  unsigned char* end[kPooledMax + 1] = {};
  std::vector<void*> slabs;
  size_t live = 0;
};

// Made on first use and never destroyed: arrays may be freed by a database destroyed
// at process exit, after the library's static objects are gone.
ArrayPool& Pool() {
  static ArrayPool* pool = new ArrayPool;
  return *pool;
}

uint32_t* TakeSlot(uint32_t capacity) {
  size_t bytes = (capacity + 1) * sizeof(uint32_t);
  ArrayPool& p = Pool();
  std::lock_guard<std::mutex> guard(p.lock);
  unsigned char* slot = p.free[capacity];
  if (slot) {
    memcpy(&p.free[capacity], slot, sizeof(unsigned char*));  // a free slot holds the next one
  } else {
    if (static_cast<size_t>(p.end[capacity] - p.next[capacity]) < bytes) {
      unsigned char* slab = static_cast<unsigned char*>(malloc(kSlabBytes));
      if (!slab) return nullptr;
      try {
        p.slabs.push_back(slab);
      } catch (const std::bad_alloc&) {
        free(slab);
        return nullptr;
      }
      p.next[capacity] = slab;
      p.end[capacity] = slab + kSlabBytes;
    }
    slot = p.next[capacity];
    p.next[capacity] += bytes;
  }
  ++p.live;
  return reinterpret_cast<uint32_t*>(slot);
}

void GiveSlot(uint32_t* block, uint32_t capacity) {
  ArrayPool& p = Pool();
  std::lock_guard<std::mutex> guard(p.lock);
  unsigned char* slot = reinterpret_cast<unsigned char*>(block);
  memcpy(slot, &p.free[capacity], sizeof(unsigned char*));
  p.free[capacity] = slot;
  if (--p.live == 0) {
    for (void* slab : p.slabs) free(slab);
    std::vector<void*>().swap(p.slabs);
    for (uint32_t c = 0; c <= kPooledMax; ++c) p.free[c] = p.next[c] = p.end[c] = nullptr;
  }
}

}  // namespace

uint32_t* NewHeapArray(uint32_t capacity) {
  if (capacity == 0 || static_cast<uint64_t>(capacity) + 1 > SIZE_MAX / sizeof(uint32_t)) return nullptr;
  uint32_t* block = (VKL_POOL_ARRAYS && capacity <= kPooledMax)
                        ? TakeSlot(capacity)
                        : static_cast<uint32_t*>(malloc((static_cast<size_t>(capacity) + 1) * sizeof(uint32_t)));
  if (!block) return nullptr;
  block[0] = capacity;
  return block + 1;
}

void FreeHeapArray(uint32_t* entries) {
  if (!entries) return;
  uint32_t* block = entries - 1;
  if (VKL_POOL_ARRAYS && block[0] <= kPooledMax)
    GiveSlot(block, block[0]);
  else
    free(block);
}

bool AppendLinkEntry(CVKUDatabase* db, uint32_t* countField, uint32_t** array, uint32_t entry) {
  uint32_t count = *countField & VKU_ENTRY_ID_MASK;
  bool onHeap = (*countField & VKU_COUNT_ON_HEAP) != 0;
  // A heap array takes the entry in place while it has room: up to its multiple of 10.
  if (onHeap && count < HeapArrayCapacity(*array)) {
    (*array)[count] = entry;
    *countField = (count + 1) | VKU_COUNT_ON_HEAP;
    return true;
  }
  bool toHeap = onHeap || count >= 2;
  uint32_t* grown = toHeap ? NewHeapArray(RoundedCapacity(count + 1))
                           : static_cast<uint32_t*>(DatabaseInternals::Carve(db, (count + 1) * sizeof(uint32_t)));
  if (!grown) return false;
  if (count) memcpy(grown, *array, count * sizeof(uint32_t));
  grown[count] = entry;
  if (onHeap)
    FreeHeapArray(*array);
  else if (count)  // the old arena piece is free for the next piece of its size
    DatabaseInternals::GiveBack(db, *array, count * sizeof(uint32_t));
  *array = grown;
  *countField = (count + 1) | (toHeap ? VKU_COUNT_ON_HEAP : 0);
  return true;
}

uint32_t RemoveLinkEntries(uint32_t* countField, uint32_t* array, uint32_t id) {
  uint32_t count = *countField & VKU_ENTRY_ID_MASK;
  uint32_t kept = 0;
  for (uint32_t i = 0; i < count; ++i)
    if ((array[i] & VKU_ENTRY_ID_MASK) != id) array[kept++] = array[i];
  *countField = (*countField & ~VKU_ENTRY_ID_MASK) | kept;
  return count - kept;
}

void ReleaseLinkArray(CVKUDatabase* db, uint32_t* countField, uint32_t** array) {
  if (*countField & VKU_COUNT_ON_HEAP)
    FreeHeapArray(*array);
  else if (*array && (*countField & VKU_ENTRY_ID_MASK))
    DatabaseInternals::GiveBack(db, *array, (*countField & VKU_ENTRY_ID_MASK) * sizeof(uint32_t));
  *array = nullptr;
  *countField = 0;
}

}  // namespace vkl
