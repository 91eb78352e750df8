// Dependency queries: the objects an object depends on (a depth-first walk along
// outgoing links) and the objects that refer to it with their own dependencies (one
// step back along incoming links, then forward). Name-only files (type 0x1000) met on
// the way are resolved in the object's directory and the system directories.
//
// The walk is depth first and collects each object once, marking it with bit 30 of its
// flags while the query runs. It keeps its own stack of positions in the link arrays
// rather than recursing, so that a long chain of dependencies cannot exhaust the
// thread's stack; the order of the results is that of the recursive walk. A query holds
// the database mutex from the start of its walk until it has cleared the marks again,
// so it sees one state of the graph, and a query on another thread never sees its
// marks (the marks live in the shared objects).
#include <stdlib.h>
#include <string.h>
#include <vector>
#include "FindTable.h"
#include "Internal.h"

using namespace vkl;

struct FFDepObjResult {
  FFDepObjResult* pNext;
  uint32_t dwID;
};

namespace {

struct DepFindState {
  FFDepObjResult* pHead;
  FFDepObjResult* pNextResult;
};

enum : uint32_t { kTypeTree2 = 2, kTypeTree4 = 4, kTypeVFile = 0x1000 };

bool Visited(const DBObject* o) { return (o->dwFlags & VKU_FLAG_VISITED) != 0; }

// Pushes the object's id at the head of the list and marks it visited. False if the
// node cannot be had: the walk then stops, leaving no unlisted object marked.
bool Collect(DBObject* o, FFDepObjResult** list) {
  FFDepObjResult* node = static_cast<FFDepObjResult*>(malloc(sizeof(FFDepObjResult)));
  if (!node) return false;
  node->dwID = o->dwID;
  node->pNext = *list;
  *list = node;
  o->dwFlags |= VKU_FLAG_VISITED;
  return true;
}

// The next link of an outgoing or incoming array from index *next on that a mask of
// 0xFFFFFFFF matches (any link but those of type 0); *next moves past it.
DBLink* NextLink(CVKUDatabase* db, const DBObject* o, bool outgoing, uint32_t* next) {
  uint32_t count = (outgoing ? o->dwLinksFromCount : o->dwLinksToCount) & VKU_ENTRY_ID_MASK;
  const uint32_t* entries = outgoing ? o->pLinksFrom : o->pLinksTo;
  while (*next < count) {
    DBLink* l = DatabaseInternals::FindLink(db, entries[(*next)++] & VKU_ENTRY_ID_MASK);
    if (l && l->dwType) return l;
  }
  return nullptr;
}

struct WalkFrame {
  DBObject* pObject;
  uint32_t dwNext;
};

// The forward walk from start; returns false if it had to stop early.
bool WalkForward(CVKUDatabase* db, DBObject* start, const char* directory, FFDepObjResult** list) {
  std::vector<WalkFrame> stack;
  stack.push_back(WalkFrame{start, 0});
  while (!stack.empty()) {
    WalkFrame& f = stack.back();
    DBLink* link = NextLink(db, f.pObject, true, &f.dwNext);
    if (!link) {
      stack.pop_back();
      continue;
    }
    DBObject* target = DatabaseInternals::FindObject(db, link->dwTarget);
    if (!target || Visited(target)) continue;
    DBObject* expand = nullptr;
    if (target->dwType != kTypeVFile) {
      if (!Collect(target, list)) return false;
      expand = target;
    } else {
      // The name-only file stands for the file it resolves to; it is not collected.
      DBObject* resolved = ResolveName(db, target, directory);
      if (resolved && !Visited(resolved)) {
        if (!Collect(resolved, list)) return false;
        if (resolved->dwType != kTypeTree2) expand = resolved;
      }
    }
    if (expand) stack.push_back(WalkFrame{expand, 0});
  }
  return true;
}

// The directory of a full path: cut at its last "\\" from the fourth character on; a
// path whose only separator lies in its first three characters is used whole.
void DirectoryOf(char* path) {
  if (strlen(path) <= 3) return;
  if (char* cut = strrchr(path + 3, '\\')) *cut = 0;
}

void FreeResults(FFDepObjResult* node) {
  while (node) {
    FFDepObjResult* next = node->pNext;
    free(node);
    node = next;
  }
}

// The next node from `from` on whose object still exists; a new handle on it in *object.
FFDepObjResult* NextLiving(FFDepObjResult* from, CVKUObject** object) {
  for (; from; from = from->pNext) {
    if (DBObject* o = DatabaseInternals::LookupObject(from->dwID)) {
      if (object) *object = NewObjectHandle(o);
      return from;
    }
  }
  return nullptr;
}

// Frees a query's state with its result list (the find table's release function).
void ReleaseQuery(void* p) {
  DepFindState* state = static_cast<DepFindState*>(p);
  FreeResults(state->pHead);
  free(state);
}

typedef void (CVKUDatabase::*Walk)(CVKUObject*, char*, FFDepObjResult**);

}  // namespace

void CVKUDatabase::ExpandObjectRef(CVKUObject* object, char* directory, FFDepObjResult** list) {
  MutexGuard lock(m_hMutex);
  if (object && object->m_pObject) WalkForward(this, object->m_pObject, directory, list);
}

void CVKUDatabase::ExpandObjectRefBackwards(CVKUObject* object, char* directory, FFDepObjResult** list) {
  MutexGuard lock(m_hMutex);
  if (!object || !object->m_pObject) return;
  DBObject* self = object->m_pObject;
  uint32_t type = self->dwType;
  uint32_t next = 0;
  while (DBLink* link = NextLink(this, self, false, &next)) {
    // A file's parent links are not followed back. The type tested is that of the
    // last source taken, not of the object, from the first source on.
    if (link->dwType == VKU_LINK_PARENT && (type == kTypeTree4 || type == kTypeTree2)) continue;
    DBObject* source = DatabaseInternals::FindObject(this, link->dwSource);
    if (!source || Visited(source)) continue;
    type = source->dwType;
    DBObject* collected = source;
    if (type == kTypeVFile) {
      // Resolves the object being expanded, not the source: only a name-only object
      // resolves, so this collects something only when the object is one.
      collected = ResolveName(this, self, directory);
      if (!collected || Visited(collected)) continue;
    }
    if (!Collect(collected, list) || !WalkForward(this, collected, directory, list)) return;
  }
}

static unsigned long StartQuery(CVKUObject* self, DBObject* record, CVKUObject** object, double* weight, Walk walk) {
  CVKUDatabase* db = g_pSharedDB;
  if (!record || !db) return 0;
  char directory[kFullPathSize];
  if (!self->GetFullPath(directory)) return 0;
  DirectoryOf(directory);
  DepFindState* state = static_cast<DepFindState*>(malloc(sizeof(DepFindState)));
  if (!state) return 0;
  state->pHead = state->pNextResult = nullptr;
  // Held over the walk and the clearing of its marks (the walk takes it again inside).
  MutexGuard lock(DatabaseInternals::SharedMutex());
  (db->*walk)(self, directory, &state->pHead);
  if (!state->pHead) {
    free(state);
    return 0;
  }
  for (FFDepObjResult* n = state->pHead; n; n = n->pNext)
    if (DBObject* o = DatabaseInternals::FindObject(db, n->dwID)) o->dwFlags &= ~VKU_FLAG_VISITED;
  FFDepObjResult* first = NextLiving(state->pHead, nullptr);
  if (!first) {  // everything found was deleted meanwhile
    ReleaseQuery(state);
    return 0;
  }
  state->pNextResult = first->pNext;
  unsigned long handle = OpenFind(FindKind::kDependency, state, ReleaseQuery);
  if (!handle) return 0;
  if (object) *object = NewObjectHandle(DatabaseInternals::FindObject(db, first->dwID));
  if (weight) *weight = 1.0;
  return handle;
}

unsigned long CVKUObject::FindFirstDependentObject(CVKUObject** object, double* weight) {
  return StartQuery(this, m_pObject, object, weight, &CVKUDatabase::ExpandObjectRef);
}

unsigned long CVKUObject::FindFirstReferencingApp(CVKUObject** object, double* weight) {
  return StartQuery(this, m_pObject, object, weight, &CVKUDatabase::ExpandObjectRefBackwards);
}

// The next result of either query; the two queries share their result-list steps.
int CVKUObject::FindNextDependentObject(unsigned long find, CVKUObject** object, double* weight) {
  std::shared_ptr<void> held = BorrowFind(find, FindKind::kDependency);
  if (!held) return 0;
  // The result list is stepped under the database mutex, so that two threads stepping
  // one query take turns.
  MutexGuard lock(DatabaseInternals::SharedMutex());
  DepFindState* state = static_cast<DepFindState*>(held.get());
  FFDepObjResult* node = NextLiving(state->pNextResult, object);
  if (!node) {
    state->pNextResult = nullptr;
    return 0;
  }
  state->pNextResult = node->pNext;
  if (weight) *weight = 1.0;
  return 1;
}

int CVKUObject::FindNextReferencingApp(unsigned long find, CVKUObject** object, double* weight) {
  return FindNextDependentObject(find, object, weight);
}

void CVKUObject::FindCloseDependentObject(unsigned long find) { CloseFind(find, FindKind::kDependency); }

void CVKUObject::FindCloseReferencingApp(unsigned long find) { FindCloseDependentObject(find); }
