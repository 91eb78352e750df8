// Links: creation and deletion, linking two objects, enumerating the links at an
// object, and the CVKULink handle.
#include <stdlib.h>
#include <new>
#include "FindTable.h"
#include "Internal.h"
#include "LinkArrays.h"

using namespace vkl;

// Find state of a link enumeration: index of the current entry and the type mask.
struct LinkFindState {
  uint32_t dwIndex;
  uint32_t dwTypeMask;
};

CVKULink* DatabaseInternals::NewLinkHandle(DBLink* record) {
  CVKULink* h = new (std::nothrow) CVKULink;
  if (h) h->m_pLink = record;
  return h;
}

DBLink* CVKUDatabase::MakeNewLink(unsigned long source, unsigned long target, unsigned long type,
                                  unsigned long, unsigned long, unsigned char*, int persistent) {
  // The record and its index node in one piece (RecordPieces.h).
  DBLink* l = DatabaseInternals::CarveLink(this);
  if (!l) return nullptr;
  if (persistent) DatabaseInternals::MarkSharedDirty();
  l->dwSource = static_cast<uint32_t>(source);
  l->dwTarget = static_cast<uint32_t>(target);
  l->dwID = ++m_dwLastLinkID;
  l->dwType = static_cast<uint32_t>(type);
  l->bPersistent = persistent ? 1 : 0;
  DatabaseInternals::PushLink(this, l);
  IndexLink(l);
  return l;
}

int CVKUDatabase::DeleteLink(unsigned long id, int fromSource, int fromTarget) {
  MutexGuard lock(m_hMutex);
  DBLink* l = nullptr;
  Accelerators* a = DatabaseInternals::Accel(this);
  if (a) {
    // Out of the link index now; out of the link list with the next batch.
    if (id > 0xFFFFFFFFul || !(l = a->RemoveLink(this, static_cast<uint32_t>(id)))) return 0;
  } else {
    UnlinkIndexNode<DBLink>(&m_LinkIndex[id & (kLinkBuckets - 1)], id);
    DBLink** at = &m_pLinks;
    while (*at && (*at)->dwID != id) at = &(*at)->pNext;
    l = *at;
    if (!l) return 0;
    *at = l->pNext;
  }
  if (fromSource) {
    if (DBObject* s = DatabaseInternals::FindObject(this, l->dwSource)) RemoveLinkEntries(&s->dwLinksFromCount, s->pLinksFrom, l->dwID);
  }
  if (fromTarget) {
    if (DBObject* t = DatabaseInternals::FindObject(this, l->dwTarget)) {
      uint32_t removed = RemoveLinkEntries(&t->dwLinksToCount, t->pLinksTo, l->dwID);
      // The child index has one entry for each parent link in the incoming array.
      if (l->dwType == VKU_LINK_PARENT && (a = DatabaseInternals::Accel(this)))
        while (removed--) a->ParentRemoved(l->dwSource, t);
    }
  }
  if (l->bPersistent) DatabaseInternals::MarkSharedDirty();
  DoFree(l);
  return 1;
}

int CVKUObject::LinkTo(CVKUObject* target, unsigned long type, unsigned long a, unsigned long b,
                       unsigned char* c) {
  if (!m_pObject || !target || !target->m_pObject) return 0;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  CVKUDatabase* db = g_pSharedDB;
  if (!db) return 0;
  DBObject* self = m_pObject;
  DBObject* other = target->m_pObject;
  int persistent = self->bPersistent && other->bPersistent;
  if (persistent) {
    // An equal persistent link (same type, same source) is not made twice. It is looked
    // for among the target's incoming links; while the accelerators are on, every link
    // is in both its ends' arrays, so the shorter of the source's outgoing array and
    // the target's incoming array tells the same.
    uint32_t from = self->dwLinksFromCount & VKU_ENTRY_ID_MASK, to = other->dwLinksToCount & VKU_ENTRY_ID_MASK;
    if (DatabaseInternals::Accel(db) && from < to) {
      for (uint32_t i = 0; i < from; ++i) {
        DBLink* l = DatabaseInternals::FindLink(db, self->pLinksFrom[i] & VKU_ENTRY_ID_MASK);
        if (l && l->dwType == type && l->dwTarget == other->dwID) return 1;
      }
    } else {
      for (uint32_t i = 0; i < to; ++i) {
        DBLink* l = DatabaseInternals::FindLink(db, other->pLinksTo[i] & VKU_ENTRY_ID_MASK);
        if (l && l->dwType == type && l->dwSource == self->dwID) return 1;
      }
    }
  }
  DBLink* l = db->MakeNewLink(self->dwID, other->dwID, type, a, b, c, persistent);
  if (!l) return 0;
  uint32_t entry = l->dwID | (persistent ? 0 : VKU_ENTRY_NOT_PERSISTENT);
  bool outgoing = AppendLinkEntry(db, &self->dwLinksFromCount, &self->pLinksFrom, entry);
  bool incoming = AppendLinkEntry(db, &other->dwLinksToCount, &other->pLinksTo, entry);
  if (Accelerators* accel = DatabaseInternals::Accel(db)) {
    // A link missing from one of its arrays is what the accelerators cannot follow.
    if (!outgoing || !incoming)
      accel->Invalidate(db);
    else if (l->dwType == VKU_LINK_PARENT)
      accel->ParentAdded(db, self->dwID, other);
  }
  return 1;
}

namespace {

// One step of a link enumeration over an array, from index `from`: the index of the
// first entry whose link shares a bit with mask, or -1. The caller holds the mutex.
long NextMatch(const uint32_t* entries, uint32_t count, uint32_t from, uint32_t mask, DBLink** found) {
  if (!g_pSharedDB) return -1;
  for (uint32_t i = from; i < count; ++i) {
    DBLink* l = DatabaseInternals::FindLink(g_pSharedDB, entries[i] & VKU_ENTRY_ID_MASK);
    if (l && (l->dwType & mask)) {
      *found = l;
      return static_cast<long>(i);
    }
  }
  return -1;
}

unsigned long FindFirstIn(DBObject* o, bool outgoing, unsigned long typeMask, CVKULink** link) {
  if (!o) return 0;
  uint32_t count = (outgoing ? o->dwLinksFromCount : o->dwLinksToCount) & VKU_ENTRY_ID_MASK;
  if (count == 0) return 0;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  uint32_t from = 0;
  for (;;) {
    const uint32_t* entries = outgoing ? o->pLinksFrom : o->pLinksTo;
    count = (outgoing ? o->dwLinksFromCount : o->dwLinksToCount) & VKU_ENTRY_ID_MASK;
    DBLink* l = nullptr;
    long i = NextMatch(entries, count, from, static_cast<uint32_t>(typeMask), &l);
    if (i < 0) return 0;
    LinkFindState* state = static_cast<LinkFindState*>(malloc(sizeof(LinkFindState)));
    if (!state) {  // go on with the next entry
      from = static_cast<uint32_t>(i) + 1;
      continue;
    }
    state->dwIndex = static_cast<uint32_t>(i);
    state->dwTypeMask = static_cast<uint32_t>(typeMask);
    unsigned long handle = OpenFind(FindKind::kLink, state, free);
    if (!handle) {  // as a failed allocation of the state: go on with the next entry
      from = static_cast<uint32_t>(i) + 1;
      continue;
    }
    if (link) *link = NewLinkHandle(l);
    return handle;
  }
}

int FindNextIn(DBObject* o, bool outgoing, unsigned long find, CVKULink** link) {
  if (!o) return 0;
  std::shared_ptr<void> held = BorrowFind(find, FindKind::kLink);
  if (!held) return 0;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  LinkFindState* state = static_cast<LinkFindState*>(held.get());
  const uint32_t* entries = outgoing ? o->pLinksFrom : o->pLinksTo;
  uint32_t count = (outgoing ? o->dwLinksFromCount : o->dwLinksToCount) & VKU_ENTRY_ID_MASK;
  DBLink* l = nullptr;
  long i = NextMatch(entries, count, state->dwIndex + 1, state->dwTypeMask, &l);
  if (i < 0) return 0;
  state->dwIndex = static_cast<uint32_t>(i);
  if (link) *link = NewLinkHandle(l);
  return 1;
}

void FindClose(unsigned long find) { CloseFind(find, FindKind::kLink); }

}  // namespace

unsigned long CVKUObject::FindFirstLinkTo(unsigned long typeMask, CVKULink** link) {
  return FindFirstIn(m_pObject, false, typeMask, link);
}
int CVKUObject::FindNextLinkTo(unsigned long find, CVKULink** link) { return FindNextIn(m_pObject, false, find, link); }
void CVKUObject::FindCloseLinkTo(unsigned long find) { FindClose(find); }

unsigned long CVKUObject::FindFirstLinkFrom(unsigned long typeMask, CVKULink** link) {
  return FindFirstIn(m_pObject, true, typeMask, link);
}
int CVKUObject::FindNextLinkFrom(unsigned long find, CVKULink** link) { return FindNextIn(m_pObject, true, find, link); }
void CVKUObject::FindCloseLinkFrom(unsigned long find) { FindClose(find); }

int CVKUObject::DoesObjectLinkTo(char* name, unsigned long typeMask) {
  if (!m_pObject || !name) return 0;
  // The mutex is held over the whole walk: LinkTo on another thread replaces the
  // incoming array when it grows, and frees the old one.
  MutexGuard lock(DatabaseInternals::SharedMutex());
  CVKUDatabase* db = g_pSharedDB;
  if (!db) return 0;
  for (uint32_t i = 0; i < (m_pObject->dwLinksToCount & VKU_ENTRY_ID_MASK); ++i) {
    DBLink* l = DatabaseInternals::FindLink(db, m_pObject->pLinksTo[i] & VKU_ENTRY_ID_MASK);
    if (!l) continue;
    DBObject* s = DatabaseInternals::FindObject(db, l->dwSource);
    if (s && (s->dwType & typeMask) && NamesEqual(s->pszName, name)) return 1;
  }
  return 0;
}

// ---- CVKULink -------------------------------------------------------------------

CVKULink::CVKULink() : m_pLink(nullptr), m_dwRefCount(1) {}

CVKULink& CVKULink::operator=(const CVKULink& other) {
  m_pLink = other.m_pLink;
  m_dwRefCount = other.m_dwRefCount;
  return *this;
}

unsigned long CVKULink::AddRef() { return ++m_dwRefCount; }

unsigned long CVKULink::Release() {
  if (--m_dwRefCount == 0) {
    delete this;
    return 0;
  }
  return m_dwRefCount;
}

CVKUObject* CVKULink::GetSource() {
  if (!m_pLink) return nullptr;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  DBObject* o = g_pSharedDB ? DatabaseInternals::FindObject(g_pSharedDB, m_pLink->dwSource) : nullptr;
  return o ? NewObjectHandle(o) : nullptr;
}

CVKUObject* CVKULink::GetTarget() {
  if (!m_pLink) return nullptr;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  DBObject* o = g_pSharedDB ? DatabaseInternals::FindObject(g_pSharedDB, m_pLink->dwTarget) : nullptr;
  return o ? NewObjectHandle(o) : nullptr;
}

unsigned long CVKULink::GetType() {
  if (!m_pLink) return 0;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  return m_pLink->dwType;
}

int CVKULink::Delete() {
  if (!m_pLink) return 1;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  if (!g_pSharedDB || !g_pSharedDB->DeleteLink(m_pLink->dwID, 1, 1)) return 0;
  m_pLink = nullptr;
  return 1;
}
