// Lookups by path and by name through the accelerators (see PathWalk.h).
#include "PathWalk.h"
#include <string.h>
#include <algorithm>
#include <vector>
#include "Accelerators.h"
#include "Internal.h"

namespace vkl {

namespace {

enum : uint32_t { kTypeDrive = 1, kTypeTree2 = 2, kTypeTree4 = 4, kTypeHive = 8, kTypeKey16 = 16, kTypeKey32 = 32 };
const size_t kMaxComponents = 200;  // the parent-chain check gives up 260 levels deep
const size_t kMaxCandidates = 256;

void Unique(std::vector<DBObject*>& v) {
  if (v.size() < 2) return;
  std::sort(v.begin(), v.end());
  v.erase(std::unique(v.begin(), v.end()), v.end());
}

// Of objects whose name nodes are all in bucket, the one whose node comes first.
DBObject* FirstInChain(CVKUDatabase* db, uint32_t bucket, const std::vector<DBObject*>& candidates) {
  if (candidates.size() < 2) return candidates.empty() ? nullptr : candidates[0];
  for (IndexNode* node = DatabaseInternals::NameBucket(db, bucket); node; node = node->pNext)
    if (std::find(candidates.begin(), candidates.end(), node->pRecord) != candidates.end())
      return static_cast<DBObject*>(node->pRecord);
  return nullptr;
}

// The objects of type 1 or 8 named by the n characters at name: the parents that the
// short form of the parent-chain check accepts.
void TopsOfTrees(Accelerators* a, const char* name, size_t n, std::vector<DBObject*>& out) {
  out.clear();
  a->Tops(kTypeDrive, name, n, out);
  a->Tops(kTypeHive, name, n, out);
}

// Whether the parent-chain check of o against a path of one component takes the short
// form (it does for any path of fewer than 4 characters).
bool ShortFormAtTop(const DBObject* o) { return o->dwType == kTypeKey16 || o->dwType == kTypeHive; }

}  // namespace

DBObject* FirstTop(CVKUDatabase* db, Accelerators* a, uint32_t type, const char* name) {
  std::vector<DBObject*>& found = a->m_Scratch[0];
  found.clear();
  a->Tops(type, name, strlen(name), found);
  uint32_t bucket = NameHash(name);
  size_t kept = 0;
  for (DBObject* o : found)
    if (a->IndexedBucket(o) == bucket) found[kept++] = o;
  found.resize(kept);
  return FirstInChain(db, bucket, found);
}

bool WalkPath(CVKUDatabase* db, Accelerators* a, const char* path, size_t n, DBObject** found) {
  uint32_t type1, type2;
  if (n > 2 && path[1] == ':') {
    type1 = kTypeTree4;
    type2 = kTypeTree2;
  } else if (n > 4) {
    type1 = kTypeKey16;
    type2 = kTypeKey32;
  } else {
    return false;
  }
  if (memchr(path, '/', n)) return false;
  // The components; c_j is [begin(j), ends[j]).
  size_t ends[kMaxComponents];
  size_t count = 0;
  for (size_t i = 0, start = 0; i <= n; ++i) {
    if (i < n && path[i] != '\\') continue;
    if (i == start || count == kMaxComponents) return false;  // an empty component, or too many
    ends[count++] = i;
    start = i + 1;
  }
  if (count < 2) return false;
  auto begin = [&](size_t j) { return j == 0 ? 0 : ends[j - 1] + 1; };

  std::vector<DBObject*>& current = a->m_Scratch[0];
  std::vector<DBObject*>& next = a->m_Scratch[1];
  std::vector<DBObject*>& parents = a->m_Scratch[2];
  current.clear();

  // Level 1: objects named c1 whose parents spell c0. A path of fewer than 4 characters,
  // or a key or hive checked against a path without a separator, takes the short form:
  // a parent of type 1 or 8 named c0.
  const char* c1 = path + begin(1);
  size_t length0 = ends[0], length1 = ends[1] - begin(1);
  TopsOfTrees(a, path, length0, parents);
  Unique(parents);
  for (DBObject* p : parents) {
    next.clear();
    a->Children(p->dwID, c1, length1, next);
    for (DBObject* x : next)
      if (length0 < 4 || ShortFormAtTop(x)) current.push_back(x);
  }
  if (length0 >= 4) {
    // The long form splits c0 like a path: its drive ("X:", or nothing) is what a top
    // must be named, and the rest what the top's child, the parent, must be named.
    size_t drive = path[1] == ':' ? 2 : 0;
    TopsOfTrees(a, path, drive, parents);
    Unique(parents);
    next.clear();
    for (DBObject* q : parents) a->Children(q->dwID, path + drive, length0 - drive, next);
    Unique(next);
    if (next.size() > kMaxCandidates) return false;
    parents.swap(next);
    for (DBObject* p : parents) {
      next.clear();
      a->Children(p->dwID, c1, length1, next);
      for (DBObject* x : next)
        if (!ShortFormAtTop(x)) current.push_back(x);
    }
  }
  Unique(current);

  // Each further level: the children named c_j of the objects found so far, or, while
  // the path so far is shorter than 4 characters, of the tops named like all of it.
  for (size_t j = 2; j < count; ++j) {
    if (current.size() > kMaxCandidates) return false;
    size_t prefix = ends[j - 1];
    const std::vector<DBObject*>* from = &current;
    if (prefix < 4) {
      TopsOfTrees(a, path, prefix, parents);
      Unique(parents);
      from = &parents;
    }
    next.clear();
    for (DBObject* p : *from) a->Children(p->dwID, path + begin(j), ends[j] - begin(j), next);
    Unique(next);
    current.swap(next);
  }

  // The answer: of the path's types, with a name node in the bucket of its name, the
  // one that comes first in that bucket's chain.
  const char* name = path + begin(count - 1);
  uint32_t bucket = NameHash(name);
  size_t kept = 0;
  for (DBObject* x : current)
    if ((x->dwType == type1 || x->dwType == type2) && a->IndexedBucket(x) == bucket) current[kept++] = x;
  current.resize(kept);
  *found = FirstInChain(db, bucket, current);
  return true;
}

}  // namespace vkl
