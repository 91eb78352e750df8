// Object paths: the full path of an object along its parent links (link type 1), the
// object for a full path through the name index, name-only file objects (type 0x1000)
// and their resolution in the system directories.
#include <string.h>
#include <functional>
#include <new>
#include <unordered_map>
#include <utility>
#include "Internal.h"
#include "PathSplit.h"
#include "PathWalk.h"

using namespace vkl;

namespace {

enum : uint32_t { kTypeDrive = 1, kTypeTree2 = 2, kTypeTree4 = 4, kTypeHive = 8, kTypeKey16 = 16,
                  kTypeKey32 = 32, kTypeVFile = 0x1000 };

// What one path walk already knows of its (object, state) steps: that a step fails, or
// that it succeeds with a path of some length. Parent links may branch and join again
// (objects with several parents, cycles); without this a walk that tries every parent
// at every level takes exponential time, with it each step is worked out once. The
// answers are those of the plain walk. If memory runs out it stops remembering.
class StepMemo {
 public:
  static const int kUnknown = -2, kFails = -1;
  int Lookup(const DBObject* o, uint32_t state) const {
    if (m_Map.empty()) return kUnknown;
    auto it = m_Map.find(Step(o, state));
    return it == m_Map.end() ? kUnknown : it->second;
  }
  // Successes are worth remembering only once some object has had to try a second
  // parent: until then every step is met once. This keeps plain trees free of the cost.
  void TriedAnotherParent() { m_bBranching = true; }
  void RecordSuccess(const DBObject* o, uint32_t state, int length) {
    if (m_bBranching) Record(o, state, length);
  }
  void Record(const DBObject* o, uint32_t state, int outcome) {
    try {
      m_Map[Step(o, state)] = outcome;
    } catch (const std::bad_alloc&) {
    }
  }

 private:
  typedef std::pair<const DBObject*, uint32_t> Step;
  struct StepHash {
    size_t operator()(const Step& k) const { return std::hash<const void*>()(k.first) * 31 + k.second; }
  };
  std::unordered_map<Step, int, StepHash> m_Map;
  bool m_bBranching = false;
};

// The source of the i-th incoming link of o if that link is a parent link, else null.
// The path code runs with the mutex held by its caller.
DBObject* ParentAt(DBObject* o, uint32_t i) {
  CVKUDatabase* db = g_pSharedDB;
  if (!db) return nullptr;
  DBLink* l = DatabaseInternals::FindLink(db, o->pLinksTo[i] & VKU_ENTRY_ID_MASK);
  if (!l || l->dwType != VKU_LINK_PARENT) return nullptr;
  return DatabaseInternals::FindObject(db, l->dwSource);
}

uint32_t IncomingCount(const DBObject* o) { return o->dwLinksToCount & VKU_ENTRY_ID_MASK; }

void DropTrailingBackslash(char* s) {
  size_t n = strlen(s);
  if (n > 0 && s[n - 1] == '\\') s[n - 1] = 0;
}

// Builds the full path into buffer (capacity cap including the NUL); 0 if there is
// none or it does not fit.
int BuildFullPath(DBObject* o, char* buffer, size_t cap, int depth, StepMemo& memo) {
  if (depth >= static_cast<int>(kMaxPathDepth) || memo.Lookup(o, depth) == StepMemo::kFails) return 0;
  const char* name = o->pszName ? o->pszName : "";
  size_t nameLength = strlen(name);
  if (o->dwType == kTypeDrive || o->dwType == kTypeHive) {
    if (nameLength >= cap) return 0;
    memcpy(buffer, name, nameLength + 1);
    return 1;
  }
  if (o->dwType != kTypeTree2 && o->dwType != kTypeTree4 && o->dwType != kTypeKey16 && o->dwType != kTypeKey32)
    return 0;
  // With the accelerators, the parent of an object with at most one parent link is
  // named by its own entry in the child index: no need to look at each incoming link.
  uint32_t soleParent = 0;
  Accelerators* a = g_pSharedDB ? DatabaseInternals::Accel(g_pSharedDB) : nullptr;
  int parents = a ? a->SoleParent(o, &soleParent) : -1;
  bool triedOne = false;
  for (uint32_t i = 0; i < (parents < 0 ? IncomingCount(o) : static_cast<uint32_t>(parents)); ++i) {
    DBObject* parent = parents < 0 ? ParentAt(o, i) : a->Object(soleParent);
    if (!parent) continue;
    if (triedOne) memo.TriedAnotherParent();
    triedOne = true;
    // A parent whose path is known to leave no room for this name is passed over
    // without building that path again.
    int known = memo.Lookup(parent, depth + 1);
    if (known == StepMemo::kFails || (known >= 0 && known + 1 + nameLength >= cap)) continue;
    if (!BuildFullPath(parent, buffer, cap, depth + 1, memo)) continue;
    size_t n = strlen(buffer);
    if (n + 1 + nameLength >= cap) continue;  // too long this way; try another parent
    buffer[n] = '\\';
    memcpy(buffer + n + 1, name, nameLength + 1);
    memo.RecordSuccess(o, depth, static_cast<int>(n + 1 + nameLength));
    return 1;
  }
  memo.Record(o, depth, StepMemo::kFails);
  return 0;
}

bool Fits(size_t a, size_t b, size_t c = 0) { return a + b + c < kPathBufferSize; }

// Length of path[0, n) without one trailing "\\".
size_t WithoutTrailingBackslash(const char* path, size_t n) { return n > 0 && path[n - 1] == '\\' ? n - 1 : n; }

bool UsesShortForm(const DBObject* o, const char* path, size_t n) {
  return n < 4 || ((o->dwType == kTypeKey16 || o->dwType == kTypeHive) && !memchr(path, '\\', n));
}

// Whether some chain of parent links above o spells path[0, n). Each level works on a
// shorter prefix of the one path, so nothing is copied: a frame stays small even at
// the deepest level (260). The answer depends on the object, the prefix's length and
// the depth left.
int HasCorrectPath(DBObject* o, const char* path, size_t n, int depth, StepMemo& memo) {
  if (depth >= static_cast<int>(kMaxPathDepth) || n >= kPathBufferSize) return 0;
  uint32_t state = static_cast<uint32_t>(n) << 9 | static_cast<uint32_t>(depth);
  if (memo.Lookup(o, state) == StepMemo::kFails) return 0;
  if (UsesShortForm(o, path, n)) {
    size_t top = WithoutTrailingBackslash(path, n);
    for (uint32_t i = 0; i < IncomingCount(o); ++i) {
      DBObject* parent = ParentAt(o, i);
      if (parent && (parent->dwType == kTypeDrive || parent->dwType == kTypeHive) && NameIs(parent->pszName, path, top))
        return 1;
    }
    return 0;
  }
  // The last component is file name plus extension; above it, drive plus directory.
  PathParts parts = SplitPathParts(path, n);
  for (uint32_t i = 0; i < IncomingCount(o); ++i) {
    DBObject* parent = ParentAt(o, i);
    if (!parent || !NameIs(parent->pszName, path + parts.dirEnd, n - parts.dirEnd)) continue;
    if (HasCorrectPath(parent, path, WithoutTrailingBackslash(path, parts.dirEnd), depth + 1, memo)) return 1;
  }
  memo.Record(o, state, StepMemo::kFails);
  return 0;
}

bool Accept(DBObject* o, const char* name, uint32_t type1, uint32_t type2, const char* parentPath) {
  if ((o->dwType != type1 && o->dwType != type2) || !NamesEqual(o->pszName, name)) return false;
  if (!parentPath) return true;
  StepMemo memo;
  return HasCorrectPath(o, parentPath, strlen(parentPath), 0, memo) != 0;
}

// The first object in the name bucket of name, in bucket order, whose type is one of
// the two given (type2 may equal type1) and, if parentPath is given, whose parents
// spell it. The caller holds the mutex.
DBObject* FindInNameBucket(CVKUDatabase* db, const char* name, uint32_t type1, uint32_t type2, const char* parentPath) {
  for (IndexNode* node = DatabaseInternals::NameBucket(db, NameHash(name)); node; node = node->pNext) {
    DBObject* o = static_cast<DBObject*>(node->pRecord);
    if (Accept(o, name, type1, type2, parentPath)) return o;
  }
  return nullptr;
}

// directory + "\\" (unless it already ends in one) + name, if it fits.
bool JoinPath(char* out, const char* directory, const char* name) {
  size_t d = strlen(directory);
  bool sep = !(d > 0 && directory[d - 1] == '\\');
  if (!Fits(d, sep ? 1 : 0, strlen(name))) return false;
  strcpy(out, directory);
  if (sep) strcat(out, "\\");
  strcat(out, name);
  return true;
}

int g_nNTFamily = -1;

bool IsNTFamily() {
  if (g_nNTFamily < 0) g_nNTFamily = ProbeNTFamily() ? 1 : 0;
  return g_nNTFamily == 1;
}

}  // namespace

CVKUObject* CVKUDatabase::GetRootObject() {
  MutexGuard lock(m_hMutex);
  DBObject* root = DatabaseInternals::FindObject(this, 1);
  return root ? NewObjectHandle(root) : nullptr;
}

int CVKUDatabase::SafeGetFullPath(DBObject* object, char* buffer, int depth) {
  if (!object || !buffer) return 0;
  StepMemo memo;
  return BuildFullPath(object, buffer, kFullPathSize, depth, memo);
}

int CVKUDatabase::GetFullPath(DBObject* object, char* buffer) {
  MutexGuard lock(m_hMutex);
  return SafeGetFullPath(object, buffer, 0);
}

int CVKUObject::GetFullPath(char* buffer) {
  if (!m_pObject || !buffer || !g_pSharedDB) return 0;
  return g_pSharedDB->GetFullPath(m_pObject, buffer);
}

int CVKUDatabase::DoesObjectHaveCorrectPath(DBObject* object, char* parentPath) {
  if (!object || !parentPath) return 0;
  size_t n = strlen(parentPath);
  StepMemo memo;
  int result = HasCorrectPath(object, parentPath, n, 0, memo);
  // The short form drops a trailing separator from the caller's buffer.
  if (n < kPathBufferSize && UsesShortForm(object, parentPath, n)) DropTrailingBackslash(parentPath);
  return result;
}

DBObject* vkl::FindByPath(CVKUDatabase* db, const char* path) {
  size_t n = strlen(path);
  if (n >= kPathBufferSize) return nullptr;
  // Through the accelerators when they can answer (PathWalk.h); the same answer as
  // the walk of the name bucket below.
  if (Accelerators* a = DatabaseInternals::Accel(db)) {
    try {
      DBObject* found = nullptr;
      if (n > 4 || (n > 2 && path[1] == ':')) {
        if (WalkPath(db, a, path, n, &found)) return found;
      } else {
        return FirstTop(db, a, n >= 3 ? kTypeHive : kTypeDrive, path);
      }
    } catch (const std::bad_alloc&) {  // no room for the walk's lists: the bucket walk
    }
  }
  if (n > 2 && path[1] == ':') {
    PathParts parts = SplitPathParts(path);
    char parent[kPathBufferSize];
    memcpy(parent, path, parts.dirEnd);
    parent[parts.dirEnd] = 0;
    DropTrailingBackslash(parent);
    return FindInNameBucket(db, path + parts.dirEnd, kTypeTree4, kTypeTree2, parent);
  }
  if (n > 4) {
    char parent[kPathBufferSize];
    strcpy(parent, path);
    const char* last = "";
    if (char* cut = strrchr(parent, '\\')) {
      *cut = 0;
      last = cut + 1;
    }
    char name[kPathBufferSize];
    strcpy(name, last);
    DropTrailingBackslash(parent);
    return FindInNameBucket(db, name, kTypeKey16, kTypeKey32, parent);
  }
  if (n >= 3) return FindInNameBucket(db, path, kTypeHive, kTypeHive, nullptr);
  return FindInNameBucket(db, path, kTypeDrive, kTypeDrive, nullptr);
}

DBObject* vkl::ResolveName(CVKUDatabase* db, DBObject* object, const char* directory) {
  if (object->dwType != kTypeVFile || !object->pszName) return nullptr;
  char name[kPathBufferSize];
  size_t n = BoundedLength(object->pszName, kPathBufferSize - 1);
  memcpy(name, object->pszName, n);
  name[n] = 0;

  char path[kPathBufferSize];
  DBObject* found = nullptr;
  if (directory && *directory && JoinPath(path, directory, name)) found = FindByPath(db, path);
  char systemDir[kPathBufferSize];
  if (!found && GetSystemDir(systemDir, sizeof(systemDir)) && JoinPath(path, systemDir, name))
    found = FindByPath(db, path);
  char windowsDir[kPathBufferSize];
  bool haveWindowsDir = !found && GetWindowsDir(windowsDir, sizeof(windowsDir));
  if (!found && haveWindowsDir && IsNTFamily() && Fits(7, n)) {
    char systemName[kPathBufferSize];
    strcpy(systemName, "SYSTEM\\");
    strcat(systemName, name);
    if (JoinPath(path, windowsDir, systemName)) found = FindByPath(db, path);
  }
  if (!found && haveWindowsDir && JoinPath(path, windowsDir, name)) found = FindByPath(db, path);
  return found;
}

CVKUObject* CVKUDatabase::GetObjectByPath(char* path) {
  if (!path) return nullptr;
  MutexGuard lock(m_hMutex);
  DBObject* found = FindByPath(this, path);
  return found ? NewObjectHandle(found) : nullptr;
}

CVKUObject* CVKUDatabase::LookupVFILE(char* name) {
  if (!name) return nullptr;
  // Under the mutex, although its callers are not required to hold it: the chains and
  // the accelerators change under other threads' deletions and renames.
  MutexGuard lock(m_hMutex);
  DBObject* found = nullptr;
  bool answered = false;
  if (Accelerators* a = DatabaseInternals::Accel(this)) {
    try {
      found = FirstTop(this, a, kTypeVFile, name);
      answered = true;
    } catch (const std::bad_alloc&) {
    }
  }
  if (!answered) found = FindInNameBucket(this, name, kTypeVFile, kTypeVFile, nullptr);
  return found ? NewObjectHandle(found) : nullptr;
}

CVKUObject* CVKUObject::Resolve(char* directory) {
  if (!m_pObject) return nullptr;
  MutexGuard lock(DatabaseInternals::SharedMutex());
  if (!g_pSharedDB) return nullptr;
  DBObject* found = ResolveName(g_pSharedDB, m_pObject, directory);
  return found ? NewObjectHandle(found) : nullptr;
}
