// Making an object persistent or not, and carrying that to its links. Demotion is
// total (every link of the object stops being saved); promotion restores only the
// links whose other end is persistent too.
#include "Internal.h"

using namespace vkl;

namespace {

// For each entry of this end's array, finds the link and the other end and, if allowed,
// sets or clears the not-persistent mark on both ends' entries and on the link.
void CarryPersistence(DBObject* self, bool outgoing, bool promote) {
  uint32_t count = (outgoing ? self->dwLinksFromCount : self->dwLinksToCount) & VKU_ENTRY_ID_MASK;
  uint32_t* mine = outgoing ? self->pLinksFrom : self->pLinksTo;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t id = mine[i] & VKU_ENTRY_ID_MASK;
    DBLink* link = DatabaseInternals::FindLink(g_pSharedDB, id);
    if (!link) continue;
    DBObject* other = DatabaseInternals::FindObject(g_pSharedDB, outgoing ? link->dwTarget : link->dwSource);
    if (!other) continue;
    if (promote && !other->bPersistent) continue;
    uint32_t otherCount = (outgoing ? other->dwLinksToCount : other->dwLinksFromCount) & VKU_ENTRY_ID_MASK;
    uint32_t* theirs = outgoing ? other->pLinksTo : other->pLinksFrom;
    for (uint32_t j = 0; j < otherCount; ++j) {
      if ((theirs[j] & VKU_ENTRY_ID_MASK) != id) continue;
      theirs[j] = promote ? (theirs[j] & VKU_ENTRY_ID_MASK) : (theirs[j] | VKU_ENTRY_NOT_PERSISTENT);
    }
    mine[i] = promote ? (mine[i] & VKU_ENTRY_ID_MASK) : (mine[i] | VKU_ENTRY_NOT_PERSISTENT);
    link->bPersistent = promote ? 1 : 0;
  }
}

}  // namespace

int CVKUObject::MakePersistent() {
  if (!m_pObject || !g_pSharedDB) return 0;
  if (m_pObject->bPersistent) return 1;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  m_pObject->bPersistent = 1;
  DatabaseInternals::MarkSharedDirty();
  CarryPersistence(m_pObject, true, true);
  CarryPersistence(m_pObject, false, true);
  return 1;
}

int CVKUObject::MakeUnpersistent() {
  if (!m_pObject || !m_pObject->bPersistent || !g_pSharedDB) return 1;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  m_pObject->bPersistent = 0;
  DatabaseInternals::MarkSharedDirty();
  CarryPersistence(m_pObject, true, false);
  CarryPersistence(m_pObject, false, false);
  return 1;
}
