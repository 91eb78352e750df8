// Shared fixture of the link-database tests: a fresh shared database in a temporary
// directory of its own, reopened on demand, and a peer that reaches private members.
#ifndef VKLINKDB_TESTSUPPORT_H
#define VKLINKDB_TESTSUPPORT_H

#include <gtest/gtest.h>
#include <stdint.h>
#include <functional>
#include <string>
#include <vector>
#include "Platform.h"
#include "VKLinkDB.h"

struct DatabaseTestPeer {
  static int ObjectInUse(CVKUDatabase* db, unsigned long id) { return db->ObjectInUse(id); }
  static int LinkInUse(CVKUDatabase* db, unsigned long id) { return db->LinkInUse(id); }
  static DBObject* LookupObject(CVKUDatabase* db, unsigned long id) { return db->LookupObject(id); }
  static DBLink* LookupLink(CVKUDatabase* db, unsigned long id) { return db->LookupLink(id); }
  static DBObject* Record(CVKUObject* h) { return h->m_pObject; }
  static DBLink* Record(CVKULink* h) { return h->m_pLink; }
  static unsigned long Dirty(CVKUDatabase* db) { return db->m_bDirty; }
  static void ClearDirty(CVKUDatabase* db) { db->m_bDirty = 0; }
  static uint32_t LastObjectID(CVKUDatabase* db) { return db->m_dwLastObjectID; }
  static uint32_t LastLinkID(CVKUDatabase* db) { return db->m_dwLastLinkID; }
  static DBObject* FirstObject(CVKUDatabase* db) { return db->m_pObjects; }
  // Lookups with the name directory switched off walk the name buckets.
  static void* SwapNameDirectory(CVKUDatabase* db, void* d) {
    void* old = db->m_pNameDirectory;
    db->m_pNameDirectory = d;
    return old;
  }
  // Takes the database mutex (and keeps it: a thread that ends after this abandons it).
  static void LockMutex(CVKUDatabase* db) { vkl::MutexLock(db->m_hMutex); }
};

// The last system error as the library leaves it (GetLastError, errno).
unsigned long LastError();

// Runs fn(0) ... fn(n - 1) on n threads at once and waits for them all.
void OnThreads(int n, const std::function<void(int)>& fn);

// Runs fn on a new thread whose stack is `bytes` long and waits for it; false if the
// thread could not be started.
bool RunOnStack(size_t bytes, const std::function<void()>& fn);

#ifdef _WIN32
// How many bytes of stack fn used, measured by painting the stack below the caller
// before the call and looking for the deepest byte it changed. (Wine gives every thread
// at least 1 MB of stack whatever CreateThread asks, so a small stack cannot be had.)
size_t StackBytesUsed(const std::function<void()>& fn);
#endif

class DbTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Destroys the database (writing the store as its destructor does) and attaches it
  // again from the same directory.
  void Reopen();
  // Destroys the database without writing anything.
  void Discard();
  // Replaces the database by one loaded from these store files (no link.dat if empty).
  void Load(const std::vector<unsigned char>& obj, const std::vector<unsigned char>& link);
  std::string FilePath(const char* name) const;
  // The names of the files in the store folder, sorted.
  std::vector<std::string> FolderFiles() const;
  std::vector<unsigned char> ReadFile(const char* name) const;
  void WriteFile(const char* name, const std::vector<unsigned char>& bytes) const;
  bool FileExists(const char* name) const;

  // Objects made persistent (type given) and owned by the fixture.
  CVKUObject* Add(const char* name, unsigned long type, int persistent = 1);
  // A parent link (type 1) from parent to child.
  void Parent(CVKUObject* parent, CVKUObject* child) { ASSERT_EQ(1, parent->LinkTo(child, 1, 0, 0, nullptr)); }
  std::string FullPath(CVKUObject* o);
  std::string Name(CVKUObject* o);
  // Ids of the objects a query returns, in order; the handles are released.
  std::vector<unsigned long> Dependencies(CVKUObject* o);
  std::vector<unsigned long> ReferencingApps(CVKUObject* o);
  CVKUObject* Find(const char* path);  // GetObjectByPath, owned by the fixture
  // The objects of a full path such as C:\\A\\B.DLL (a type-1 drive, then type 4; the
  // last one of type lastType), made where missing; returns the last one.
  CVKUObject* AddPath(const std::string& path, unsigned long lastType = 4);
  // The system directory as the database's platform layer reports it.
  static std::string SystemDir();

  std::string dir_;
  CVKUDatabase* db_ = nullptr;
  std::vector<CVKUObject*> owned_;
};

#endif
