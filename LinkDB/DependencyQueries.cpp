// Dependency queries: the objects an object depends on (a depth-first walk along
// outgoing links) and the objects that refer to it with their own dependencies (one
// step back along incoming links, then forward). Name-only files (type 0x1000) met on
// the way are resolved in the object's directory and the system directories.
//
// The walk is depth first and collects each object once, marking it with bit 30 of its
// flags while the query runs. It keeps its own stack of open link enumerations rather
// than recursing, so that a long chain of dependencies cannot exhaust the thread's
// stack; the order of the results is that of the recursive walk.
#include <stdlib.h>
#include <string.h>
#include <vector>
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

bool Visited(CVKUObject* o) { return (o->GetFlags() & VKU_FLAG_VISITED) != 0; }

// Pushes the object's id at the head of the list and marks it visited. False if the
// node cannot be had: the walk then stops, leaving no unlisted object marked.
bool Collect(CVKUObject* o, FFDepObjResult** list) {
  FFDepObjResult* node = static_cast<FFDepObjResult*>(malloc(sizeof(FFDepObjResult)));
  if (!node) return false;
  node->dwID = static_cast<uint32_t>(o->GetUniqueID());
  node->pNext = *list;
  *list = node;
  o->SetFlags(o->GetFlags() | VKU_FLAG_VISITED);
  return true;
}

struct WalkFrame {
  CVKUObject* pObject;
  unsigned long dwFind;
  bool bStarted;
  bool bOwned;
};

// The forward walk from start; returns false if it had to stop early.
bool WalkForward(CVKUObject* start, char* directory, FFDepObjResult** list) {
  std::vector<WalkFrame> stack;
  stack.push_back(WalkFrame{start, 0, false, false});
  bool ok = true;
  while (!stack.empty()) {
    WalkFrame& f = stack.back();
    CVKULink* link = nullptr;
    bool got;
    if (!f.bStarted) {
      f.bStarted = true;
      f.dwFind = ok ? f.pObject->FindFirstLinkFrom(0xFFFFFFFF, &link) : 0;
      got = f.dwFind != 0;
    } else {
      got = ok && f.pObject->FindNextLinkFrom(f.dwFind, &link);
    }
    if (!got) {
      f.pObject->FindCloseLinkFrom(f.dwFind);
      if (f.bOwned) f.pObject->Release();
      stack.pop_back();
      continue;
    }
    if (!link) continue;
    CVKUObject* target = link->GetTarget();
    link->Release();
    if (!target) continue;
    CVKUObject* expand = nullptr;
    if (Visited(target)) {
      target->Release();
    } else if (target->GetType() != kTypeVFile) {
      if (Collect(target, list)) expand = target; else { ok = false; target->Release(); }
    } else {
      // The name-only file stands for the file it resolves to; it is not collected.
      CVKUObject* resolved = target->Resolve(directory);
      target->Release();
      if (resolved && !Visited(resolved)) {
        if (!Collect(resolved, list)) ok = false;
        else if (resolved->GetType() != kTypeTree2) expand = resolved;
      }
      if (resolved && resolved != expand) resolved->Release();
    }
    if (expand) stack.push_back(WalkFrame{expand, 0, false, true});
  }
  return ok;
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

typedef void (CVKUDatabase::*Walk)(CVKUObject*, char*, FFDepObjResult**);

}  // namespace

void CVKUDatabase::ExpandObjectRef(CVKUObject* object, char* directory, FFDepObjResult** list) {
  WalkForward(object, directory, list);
}

void CVKUDatabase::ExpandObjectRefBackwards(CVKUObject* object, char* directory, FFDepObjResult** list) {
  unsigned long type = object->GetType();
  CVKULink* link = nullptr;
  unsigned long find = object->FindFirstLinkTo(0xFFFFFFFF, &link);
  bool more = find != 0;
  while (more) {
    if (link) {
      // A file's parent links are not followed back. The type tested is that of the
      // last source taken, not of the object, from the first source on.
      bool skip = link->GetType() == VKU_LINK_PARENT && (type == kTypeTree4 || type == kTypeTree2);
      CVKUObject* source = skip ? nullptr : link->GetSource();
      link->Release();
      link = nullptr;
      if (source && !Visited(source)) {
        type = source->GetType();
        if (type != kTypeVFile) {
          if (!Collect(source, list) || !WalkForward(source, directory, list)) more = false;
        } else {
          CVKUObject* resolved = object->Resolve(directory);
          if (resolved && !Visited(resolved)) {
            if (!Collect(resolved, list) || !WalkForward(resolved, directory, list)) more = false;
          }
          if (resolved) resolved->Release();
        }
      }
      if (source) source->Release();
    }
    if (more) more = object->FindNextLinkTo(find, &link) != 0;
  }
  object->FindCloseLinkTo(find);
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
  (db->*walk)(self, directory, &state->pHead);
  if (!state->pHead) {
    free(state);
    return 0;
  }
  for (FFDepObjResult* n = state->pHead; n; n = n->pNext) {
    if (DBObject* o = DatabaseInternals::LookupObject(n->dwID)) {
      MutexGuard lock(DatabaseInternals::SharedMutex());
      o->dwFlags &= ~VKU_FLAG_VISITED;
    }
  }
  FFDepObjResult* first = NextLiving(state->pHead, object);
  if (!first) {  // everything found was deleted meanwhile
    FreeResults(state->pHead);
    free(state);
    return 0;
  }
  if (weight) *weight = 1.0;
  state->pNextResult = first->pNext;
  return reinterpret_cast<unsigned long>(state);
}

unsigned long CVKUObject::FindFirstDependentObject(CVKUObject** object, double* weight) {
  return StartQuery(this, m_pObject, object, weight, &CVKUDatabase::ExpandObjectRef);
}

unsigned long CVKUObject::FindFirstReferencingApp(CVKUObject** object, double* weight) {
  return StartQuery(this, m_pObject, object, weight, &CVKUDatabase::ExpandObjectRefBackwards);
}

// The next result of either query; the two queries share their result-list steps.
int CVKUObject::FindNextDependentObject(unsigned long find, CVKUObject** object, double* weight) {
  if (!find) return 0;
  DepFindState* state = reinterpret_cast<DepFindState*>(find);
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

void CVKUObject::FindCloseDependentObject(unsigned long find) {
  if (!find) return;
  DepFindState* state = reinterpret_cast<DepFindState*>(find);
  FreeResults(state->pHead);
  free(state);
}

void CVKUObject::FindCloseReferencingApp(unsigned long find) { FindCloseDependentObject(find); }
