// Growth, removal and release of link arrays.
#include <stdlib.h>
#include <string.h>
#include "LinkArrays.h"

namespace vkl {

static uint32_t HeapCapacity(uint32_t count) { return ((count + 9) / 10) * 10; }

bool AppendLinkEntry(CVKUDatabase* db, uint32_t* countField, uint32_t** array, uint32_t entry) {
  uint32_t count = *countField & VKU_ENTRY_ID_MASK;
  bool onHeap = (*countField & VKU_COUNT_ON_HEAP) != 0;
  if (onHeap && count % 10 != 0) {
    (*array)[count] = entry;
    *countField = (count + 1) | VKU_COUNT_ON_HEAP;
    return true;
  }
  uint32_t* grown;
  if (!onHeap && count < 2) {
    grown = static_cast<uint32_t*>(DatabaseInternals::Carve(db, (count + 1) * sizeof(uint32_t)));
  } else {
    grown = static_cast<uint32_t*>(malloc(HeapCapacity(count + 1) * sizeof(uint32_t)));
  }
  if (!grown) return false;
  if (count) memcpy(grown, *array, count * sizeof(uint32_t));
  grown[count] = entry;
  if (onHeap)
    free(*array);
  // (an old arena piece stays where it is: the arena never frees)
  bool nowOnHeap = onHeap || count >= 2;
  *array = grown;
  *countField = (count + 1) | (nowOnHeap ? VKU_COUNT_ON_HEAP : 0);
  return true;
}

void RemoveLinkEntries(uint32_t* countField, uint32_t* array, uint32_t id) {
  uint32_t count = *countField & VKU_ENTRY_ID_MASK;
  uint32_t kept = 0;
  for (uint32_t i = 0; i < count; ++i)
    if ((array[i] & VKU_ENTRY_ID_MASK) != id) array[kept++] = array[i];
  *countField = (*countField & ~VKU_ENTRY_ID_MASK) | kept;
}

void ReleaseLinkArray(CVKUDatabase* db, uint32_t* countField, uint32_t** array) {
  if (*countField & VKU_COUNT_ON_HEAP) free(*array);
  *array = nullptr;
  *countField = 0;
}

}  // namespace vkl
