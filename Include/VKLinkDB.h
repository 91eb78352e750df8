// VKLinkDB.h - the link database: a persistent graph of named objects (drives,
// directories, files, registry keys, applications) joined by typed, directed links.
//
// A client obtains the one shared database of the process with AttachDatabase(dir),
// adds objects and links through it, works on them through CVKUObject and CVKULink
// handles that it releases when done, and releases the database; the last release (or
// the unloading of the library) writes obj.dat and link.dat back to the directory.
// Operations report failure as 0 or null and never throw.
#ifndef VKLINKDB_H
#define VKLINKDB_H

#include <stdint.h>

#include "VKLinkDBVersion.h"

#if defined(_WIN32) && defined(VKLINKDB_BUILD)
#define VKLINKDB_API __declspec(dllexport)
#elif defined(_WIN32)
#define VKLINKDB_API __declspec(dllimport)
#else
#define VKLINKDB_API
#endif

// Object types the database itself interprets (paths, Resolve); all others are the
// client's own bit masks.
#define VKU_TYPE_DRIVE 1        // top of a file tree, named like "C:"
#define VKU_TYPE_HIVE 8         // top of a registry tree, named like "HKLM"
#define VKU_TYPE_VFILE 0x1000   // a file known by its name only
#define VKU_LINK_PARENT 1       // link type of the parent relation

// Marks in a link-array entry; the low 30 bits are the link id.
#define VKU_ENTRY_ID_MASK 0x3FFFFFFFUL
#define VKU_ENTRY_NOT_PERSISTENT 0x40000000UL
#define VKU_ENTRY_MARK 0x80000000UL
// Bit 30 of a link count: the array lives on the general heap, not in the arena.
#define VKU_COUNT_ON_HEAP 0x40000000UL
// Bit 30 of dwFlags: visited mark of the dependency walks.
#define VKU_FLAG_VISITED 0x40000000UL

// What the first AttachDatabase found in the store folder (CVKUDatabase::GetLoadStatus).
#define VKU_LOAD_NONE 0             // no database has been attached yet
#define VKU_LOAD_LOADED 1           // the store was read
#define VKU_LOAD_NEW 2              // the folder held no store: the database began with its root
#define VKU_LOAD_REJECTED 3         // the store failed its checks: the database began with its
                                    // root, and the files are moved aside (obj.dat.bad, ...)
                                    // before the first write
#define VKU_LOAD_LOCKED 4           // AttachDatabase failed: another process has the folder
#define VKU_LOAD_NAME_TOO_LONG 5    // AttachDatabase failed: the folder's name is too long
#define VKU_LOAD_OUTCOME_MASK 0xFFUL
// Added to LOADED, NEW or REJECTED: the folder cannot be written (missing, read-only,
// or no folder given); Flush fails and nothing is saved.
#define VKU_LOAD_NOT_WRITABLE 0x100UL

#pragma pack(push, 1)
// One object, as kept in memory; the same 45 bytes (on the 32-bit target) open its
// entry in obj.dat.
struct DBObject {
  DBObject* pNext;
  char* pszName;
  uint32_t dwID;
  uint32_t dwType;
  uint32_t dwFlags;
  uint32_t dwLinksFromCount;
  uint32_t* pLinksFrom;
  uint32_t dwLinksToCount;
  uint32_t* pLinksTo;
  unsigned char bPersistent;
  uint32_t dwDataSize;
  unsigned char* pData;
};

// One link, as kept in memory and (21 bytes on the 32-bit target) in link.dat.
struct DBLink {
  DBLink* pNext;
  uint32_t dwID;
  uint32_t dwSource;
  uint32_t dwTarget;
  uint32_t dwType;
  unsigned char bPersistent;
};
#pragma pack(pop)

#if defined(_WIN32) && !defined(_WIN64)
static_assert(sizeof(DBObject) == 45, "DBObject must be packed to 45 bytes");
static_assert(sizeof(DBLink) == 21, "DBLink must be packed to 21 bytes");
#endif

// Client record copied out by CVKUObject::GetFileData; the database does not
// interpret its bytes.
struct FileData {
  unsigned char abData[24];
};

struct ObjectFindState;
struct FFDepObjResult;
struct IndexNode;
class CVKUObject;
class CVKULink;
struct DatabaseTestPeer;
struct DatabaseInternals;

class VKLINKDB_API CVKUDatabase {
 public:
  CVKUDatabase();
  ~CVKUDatabase();
  CVKUDatabase& operator=(const CVKUDatabase&);

  unsigned long AddRef();
  unsigned long Release();
  void SetLock(int);
  int CheckLock();
  void SetSaveFlag(int);

  // Store files. Flush returns 1 once the store is on the disk (or there was nothing to
  // write), 0 if it could not be written: the previous store is then left in place and
  // GetLastError tells why.
  int Initialize(char* directory);
  int Flush();
  void DumpDatabase(char*);
  // What the first AttachDatabase of the shared database found (VKU_LOAD_...), or why
  // the last one failed.
  static unsigned long GetLoadStatus();

  // Objects.
  CVKUObject* AddObject(char* name, unsigned long type, unsigned long flags,
                        unsigned long dataSize, void* data, int persistent);

  // Paths.
  CVKUObject* GetRootObject();
  int SafeGetFullPath(DBObject* object, char* buffer, int depth);
  CVKUObject* GetObjectByPath(char* path);
  CVKUObject* LookupVFILE(char* name);

  // Object searches.
  unsigned long FindFirstObject(char* pattern, unsigned long typeMask, CVKUObject** object);
  int FindNextObject(unsigned long find, CVKUObject** object);
  void FindCloseObject(unsigned long find);

 private:
  friend class CVKUObject;
  friend class CVKULink;
  friend struct DatabaseTestPeer;
  friend struct DatabaseInternals;

  void* DoMalloc(unsigned long size);
  void DoFree(void* block);
  void IndexObject(DBObject* object);
  void IndexLink(DBLink* link);
  int ObjectInUse(unsigned long id);
  int LinkInUse(unsigned long id);
  DBObject* LookupObject(unsigned long id);
  DBLink* LookupLink(unsigned long id);

  DBObject* MakeNewObject(char* name, unsigned long type, unsigned long flags,
                          unsigned long dataSize, unsigned char* data, int persistent);
  int DeleteObject(unsigned long id);

  int GetFullPath(DBObject* object, char* buffer);
  int DoesObjectHaveCorrectPath(DBObject* object, char* parentPath);

  DBLink* MakeNewLink(unsigned long source, unsigned long target, unsigned long type,
                      unsigned long, unsigned long, unsigned char*, int persistent);
  int DeleteLink(unsigned long id, int fromSource, int fromTarget);

  DBObject* FindSupport(ObjectFindState* state);
  void UpdateFinds(DBObject* object);
  void ExpandObjectRef(CVKUObject* object, char* directory, FFDepObjResult** list);
  void ExpandObjectRefBackwards(CVKUObject* object, char* directory, FFDepObjResult** list);

  unsigned long m_dwRefCount;
  uint32_t m_dwLastObjectID;
  uint32_t m_dwLastLinkID;
  DBObject* m_pObjects;
  DBLink* m_pLinks;
  IndexNode* m_ObjectIndex[16384];
  IndexNode* m_LinkIndex[65536];
  IndexNode* m_NameIndex[16384];
  char m_szObjFile[260];
  char m_szLinkFile[260];
  void* m_hMutex;
  void* m_pArena;
  unsigned long m_bDirty;
  unsigned long m_bLocked;
  unsigned long m_bSave;
  // Private to the library: the accelerator of name lookups (see NameDirectory.h).
  void* m_pNameDirectory;
  // Private to the library: the store folder, its lock and checks (see StoreFolder.h);
  // null until Initialize.
  void* m_pStore;
};

// A reference-counted handle on one object record. Every operation works on the
// process-wide shared database.
class VKLINKDB_API CVKUObject {
 public:
  CVKUObject();
  CVKUObject(const CVKUObject&) = default;
  CVKUObject& operator=(const CVKUObject&);

  unsigned long AddRef();
  unsigned long Release();

  int GetName(char* buffer, unsigned long size);
  int SetName(char* name);
  unsigned long GetType();
  unsigned long GetFlags();
  int SetFlags(unsigned long flags);
  unsigned long GetDataSize();
  int GetData(unsigned long size, unsigned char* buffer);
  int GetFileData(FileData* out);
  int SetData(unsigned long size, unsigned char* data);
  int IsPersistent();
  int MakePersistent();
  int MakeUnpersistent();
  unsigned long GetUniqueID();
  int Delete();

  int GetFullPath(char* buffer);
  CVKUObject* Resolve(char* directory);
  // 1 when the object's full path is a file or registry key of the operating system
  // (see IsProtectedPath).
  int IsProtected();

  int LinkTo(CVKUObject* target, unsigned long type, unsigned long, unsigned long, unsigned char*);
  unsigned long FindFirstLinkTo(unsigned long typeMask, CVKULink** link);
  int FindNextLinkTo(unsigned long find, CVKULink** link);
  void FindCloseLinkTo(unsigned long find);
  unsigned long FindFirstLinkFrom(unsigned long typeMask, CVKULink** link);
  int FindNextLinkFrom(unsigned long find, CVKULink** link);
  void FindCloseLinkFrom(unsigned long find);
  int DoesObjectLinkTo(char* name, unsigned long typeMask);

  unsigned long FindFirstDependentObject(CVKUObject** object, double* weight);
  int FindNextDependentObject(unsigned long find, CVKUObject** object, double* weight);
  void FindCloseDependentObject(unsigned long find);
  unsigned long FindFirstReferencingApp(CVKUObject** object, double* weight);
  int FindNextReferencingApp(unsigned long find, CVKUObject** object, double* weight);
  void FindCloseReferencingApp(unsigned long find);

 private:
  friend class CVKUDatabase;
  friend class CVKULink;
  friend struct DatabaseTestPeer;
  friend struct DatabaseInternals;

  DBObject* m_pObject;
  unsigned long m_dwRefCount;
};

// A reference-counted handle on one link record.
class VKLINKDB_API CVKULink {
 public:
  CVKULink();
  CVKULink(const CVKULink&) = default;
  CVKULink& operator=(const CVKULink&);

  unsigned long AddRef();
  unsigned long Release();

  CVKUObject* GetSource();
  CVKUObject* GetTarget();
  unsigned long GetType();
  int Delete();

 private:
  friend class CVKUDatabase;
  friend class CVKUObject;
  friend struct DatabaseTestPeer;
  friend struct DatabaseInternals;

  DBLink* m_pLink;
  unsigned long m_dwRefCount;
};

#if defined(_WIN32) && !defined(_WIN64)
static_assert(sizeof(CVKUObject) == 8 && sizeof(CVKULink) == 8,
              "a handle is two 32-bit words: record pointer, then count");
#endif

extern "C" VKLINKDB_API CVKUDatabase* AttachDatabase(char* directory);

// 1 when `path` is a file of the running Windows release, from the lists embedded in
// the library. The path is a full one, drive, directories and name, as in
// C:\WINDOWS\system32\kernel32.dll; case and doubled backslashes do not matter. A path
// that is only a directory above listed files answers 0 the first time and 1 from then
// on; on a release the library does not know every path answers 0.
extern "C" VKLINKDB_API int IsProtectedPath(const char* path);

#endif  // VKLINKDB_H
