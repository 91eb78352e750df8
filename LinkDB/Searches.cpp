// Object searches: FindFirstObject / FindNextObject / FindCloseObject walk the object
// list for objects whose type shares a bit with a mask and whose name matches a
// pattern. Open searches are kept in one list for the whole process.
#include <stdlib.h>
#include <string.h>
#include "FindTable.h"
#include "Internal.h"
#include "Wildcard.h"

using namespace vkl;

struct ObjectFindState {
  ObjectFindState* pNext;
  uint32_t bExtensionOnly;
  char szPattern[100];
  uint32_t dwTypeMask;
  DBObject* pCurrent;
};

namespace {

ObjectFindState* g_pOpenFinds = nullptr;

// pCurrent once a search has reached the end of the list.
DBObject* const kSearchEnded = reinterpret_cast<DBObject*>(static_cast<uintptr_t>(0xFFFFFFFFu));

bool ExtensionMatches(const char* name, const char* pattern) {
  size_t n = strlen(name);
  return n >= 5 && NamesEqual(name + n - 4, pattern + 1);
}

}  // namespace

namespace vkl {
// Called when a database goes away: open searches must not walk its records again.
void EndOpenSearches() {
  for (ObjectFindState* s = g_pOpenFinds; s; s = s->pNext) s->pCurrent = kSearchEnded;
}
}  // namespace vkl

DBObject* CVKUDatabase::FindSupport(ObjectFindState* state) {
  if (state->pCurrent == kSearchEnded) return nullptr;
  DBObject* o = state->pCurrent ? state->pCurrent->pNext : m_pObjects;
  for (; o; o = o->pNext) {
    if (!(o->dwType & state->dwTypeMask) || !o->pszName) continue;
    bool match = state->bExtensionOnly ? ExtensionMatches(o->pszName, state->szPattern)
                                       : WildcardMatch(state->szPattern, o->pszName);
    if (match) {
      state->pCurrent = o;
      return o;
    }
  }
  state->pCurrent = kSearchEnded;
  return nullptr;
}

unsigned long CVKUDatabase::FindFirstObject(char* pattern, unsigned long typeMask, CVKUObject** object) {
  // The pattern field holds 99 characters and its NUL; longer patterns are refused.
  if (!pattern || strlen(pattern) >= sizeof(ObjectFindState::szPattern)) return 0;
  ObjectFindState* state = static_cast<ObjectFindState*>(malloc(sizeof(ObjectFindState)));
  if (!state) return 0;
  MutexGuard lock(m_hMutex);
  state->bExtensionOnly = (strlen(pattern) == 5 && pattern[0] == '*' && pattern[1] == '.') ? 1 : 0;
  strcpy(state->szPattern, pattern);
  state->pCurrent = nullptr;
  state->dwTypeMask = static_cast<uint32_t>(typeMask);
  state->pNext = nullptr;
  DBObject* found = FindSupport(state);
  if (!found) {
    free(state);
    return 0;
  }
  unsigned long handle = OpenFind(FindKind::kObject, state, free);
  if (!handle) return 0;
  state->pNext = g_pOpenFinds;
  g_pOpenFinds = state;
  if (object) *object = NewObjectHandle(found);
  return handle;
}

int CVKUDatabase::FindNextObject(unsigned long find, CVKUObject** object) {
  std::shared_ptr<void> state = BorrowFind(find, FindKind::kObject);
  if (!state) return 0;
  MutexGuard lock(m_hMutex);
  DBObject* found = FindSupport(static_cast<ObjectFindState*>(state.get()));
  if (!found) return 0;
  if (object) *object = NewObjectHandle(found);
  return 1;
}

void CVKUDatabase::FindCloseObject(unsigned long find) {
  std::shared_ptr<void> closed = CloseFind(find, FindKind::kObject);
  if (!closed) return;
  MutexGuard lock(m_hMutex);
  for (ObjectFindState** p = &g_pOpenFinds; *p; p = &(*p)->pNext) {
    if (*p == closed.get()) {
      *p = (*p)->pNext;
      break;
    }
  }
  // The state itself goes with the last reference, after any step still using it.
}

void CVKUDatabase::UpdateFinds(DBObject* object) {
  MutexGuard lock(m_hMutex);
  DBObject* before = nullptr;
  DBObject* o = m_pObjects;
  for (; o && o != object; o = o->pNext) before = o;
  if (!o) return;  // not in this database's list
  for (ObjectFindState* s = g_pOpenFinds; s; s = s->pNext)
    if (s->pCurrent == object) s->pCurrent = before;
}
