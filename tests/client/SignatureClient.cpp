// A client written only against the published member signatures, without the
// library's header: it declares the classes itself, links against VKLinkDB.dll
// through the import library, and checks a few behaviours end to end. It fails to
// link if any exported name or parameter type differs.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <initializer_list>
#include <string>

struct DBObject;
struct FileData;

class __declspec(dllimport) CVKUObject;
class __declspec(dllimport) CVKULink;

class __declspec(dllimport) CVKUDatabase {
 public:
  unsigned long AddRef();
  unsigned long Release();
  void SetLock(int);
  int CheckLock();
  void SetSaveFlag(int);
  int Initialize(char*);
  int Flush();
  void DumpDatabase(char*);
  static unsigned long GetLoadStatus();
  CVKUObject* AddObject(char*, unsigned long, unsigned long, unsigned long, void*, int);
  CVKUObject* GetRootObject();
  int SafeGetFullPath(DBObject*, char*, int);
  CVKUObject* GetObjectByPath(char*);
  CVKUObject* LookupVFILE(char*);
  unsigned long FindFirstObject(char*, unsigned long, CVKUObject**);
  int FindNextObject(unsigned long, CVKUObject**);
  void FindCloseObject(unsigned long);
};

class __declspec(dllimport) CVKUObject {
 public:
  unsigned long AddRef();
  unsigned long Release();
  int GetName(char*, unsigned long);
  int SetName(char*);
  unsigned long GetType();
  unsigned long GetFlags();
  int SetFlags(unsigned long);
  unsigned long GetDataSize();
  int GetData(unsigned long, unsigned char*);
  int GetFileData(FileData*);
  int SetData(unsigned long, unsigned char*);
  int IsPersistent();
  int MakePersistent();
  int MakeUnpersistent();
  unsigned long GetUniqueID();
  int Delete();
  int GetFullPath(char*);
  CVKUObject* Resolve(char*);
  int LinkTo(CVKUObject*, unsigned long, unsigned long, unsigned long, unsigned char*);
  unsigned long FindFirstLinkTo(unsigned long, CVKULink**);
  int FindNextLinkTo(unsigned long, CVKULink**);
  void FindCloseLinkTo(unsigned long);
  unsigned long FindFirstLinkFrom(unsigned long, CVKULink**);
  int FindNextLinkFrom(unsigned long, CVKULink**);
  void FindCloseLinkFrom(unsigned long);
  int DoesObjectLinkTo(char*, unsigned long);
  unsigned long FindFirstDependentObject(CVKUObject**, double*);
  int FindNextDependentObject(unsigned long, CVKUObject**, double*);
  void FindCloseDependentObject(unsigned long);
  unsigned long FindFirstReferencingApp(CVKUObject**, double*);
  int FindNextReferencingApp(unsigned long, CVKUObject**, double*);
  void FindCloseReferencingApp(unsigned long);
};

class __declspec(dllimport) CVKULink {
 public:
  unsigned long AddRef();
  unsigned long Release();
  CVKUObject* GetSource();
  CVKUObject* GetTarget();
  unsigned long GetType();
  int Delete();
};

extern "C" __declspec(dllimport) CVKUDatabase* AttachDatabase(char*);

static int g_passed = 0, g_failed = 0;
#define CHECK(cond)                                              \
  do {                                                           \
    if (cond) {                                                  \
      ++g_passed;                                                \
    } else {                                                     \
      ++g_failed;                                                \
      fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #cond); \
    }                                                            \
  } while (0)

static char* S(const char* s) { return const_cast<char*>(s); }

static void Run(const std::string& dir) {
  CVKUDatabase* db = AttachDatabase(S(dir.c_str()));
  CHECK(db != nullptr);
  if (!db) return;
  CHECK(CVKUDatabase::GetLoadStatus() == 2);  // no store yet
  CHECK(AttachDatabase(S("ignored")) == db);
  CHECK(db->Release() == 1);

  CVKUObject* drive = db->AddObject(S("C:"), 1, 0, 0, nullptr, 1);
  CVKUObject* dir1 = db->AddObject(S("TOOLS"), 4, 0, 0, nullptr, 1);
  CVKUObject* exe = db->AddObject(S("TOOL.EXE"), 4, 0, 0, nullptr, 1);
  CVKUObject* lib = db->AddObject(S("LIB.DLL"), 4, 0, 0, nullptr, 1);
  CVKUObject* vlib = db->AddObject(S("lib.dll"), 0x1000, 0, 0, nullptr, 1);
  CHECK(drive && dir1 && exe && lib && vlib);
  CHECK(drive->LinkTo(dir1, 1, 0, 0, nullptr) == 1);
  CHECK(dir1->LinkTo(exe, 1, 0, 0, nullptr) == 1);
  CHECK(dir1->LinkTo(lib, 1, 0, 0, nullptr) == 1);
  CHECK(exe->LinkTo(vlib, 0x10, 0, 0, nullptr) == 1);

  char path[260] = "";
  CHECK(lib->GetFullPath(path) == 1 && strcmp(path, "C:\\TOOLS\\LIB.DLL") == 0);
  CVKUObject* found = db->GetObjectByPath(S("c:\\tools\\tool.exe"));
  CHECK(found && found->GetUniqueID() == exe->GetUniqueID());
  if (found) found->Release();

  CVKUObject* dep = nullptr;
  double weight = 0;
  unsigned long q = exe->FindFirstDependentObject(&dep, &weight);
  CHECK(q != 0 && dep && dep->GetUniqueID() == lib->GetUniqueID() && weight == 1.0);
  if (dep) dep->Release();
  CHECK(q && exe->FindNextDependentObject(q, &dep, &weight) == 0);
  exe->FindCloseDependentObject(q);

  CVKULink* link = nullptr;
  unsigned long f = vlib->FindFirstLinkTo(0x10, &link);
  CHECK(f != 0 && link && link->GetType() == 0x10);
  if (link) {
    CVKUObject* src = link->GetSource();
    CHECK(src && src->GetUniqueID() == exe->GetUniqueID());
    if (src) src->Release();
    link->Release();
  }
  vlib->FindCloseLinkTo(f);

  for (CVKUObject* o : {drive, dir1, exe, lib, vlib}) o->Release();
  CHECK(db->Flush() == 1);
  CHECK(db->Release() == 0);  // last reference: writes the store

  db = AttachDatabase(S(dir.c_str()));
  CHECK(db != nullptr);
  if (!db) return;
  CHECK(CVKUDatabase::GetLoadStatus() == 1);  // loaded
  found = db->GetObjectByPath(S("C:\\TOOLS\\LIB.DLL"));
  CHECK(found != nullptr);
  if (found) {
    CHECK(found->GetUniqueID() == 5);
    found->Release();
  }
  db->SetSaveFlag(0);
  db->Release();
}

// Child mode: records one file and exits without releasing anything; unloading the
// library must write the store all the same.
static int LeaveOpen(const char* dir) {
  CVKUDatabase* db = AttachDatabase(S(dir));
  if (!db) return 1;
  CVKUObject* drive = db->GetObjectByPath(S("C:"));
  CVKUObject* file = db->AddObject(S("LEFT.TXT"), 4, 0, 0, nullptr, 1);
  if (!drive || !file || drive->LinkTo(file, 1, 0, 0, nullptr) != 1) return 1;
  return 0;
}

int main(int argc, char** argv) {
  if (argc == 3 && strcmp(argv[1], "--leave-open") == 0) return LeaveOpen(argv[2]);
  const char* tmp = getenv("TEMP");
  std::string dir = std::string(tmp ? tmp : ".") + "\\vkl_signature_client";
  std::string cmd = "mkdir \"" + dir + "\" 2>NUL";
  system(cmd.c_str());
  remove((dir + "\\obj.dat").c_str());
  remove((dir + "\\link.dat").c_str());
  Run(dir);

  std::string child = std::string("\"\"") + argv[0] + "\" --leave-open \"" + dir + "\"\"";
  CHECK(system(child.c_str()) == 0);
  CVKUDatabase* db = AttachDatabase(S(dir.c_str()));
  CHECK(db != nullptr);
  if (db) {
    CVKUObject* left = db->GetObjectByPath(S("c:\\left.txt"));
    CHECK(left != nullptr);
    if (left) left->Release();
    db->SetSaveFlag(0);
    db->Release();
  }
  printf("%d passed, %d failed\n", g_passed, g_failed);
  return g_failed == 0 ? 0 : 1;
}
