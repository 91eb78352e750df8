// A client of the link database compiled as MSVC code (clang --target=i686-pc-windows-msvc)
// and linked with lld-link against the MSVC-format import library VKLinkDB.lib. It needs
// no file of Microsoft's: it has no C runtime, its own entry point, and imports only a
// few kernel32 functions, declared here. It attaches a database in the folder
// "msvc-data" of its working directory, adds and links objects, reads them back, lets
// the database be written, attaches it again and reads the store back. Exit code 0
// when every check passed.
#include "VKLinkDB.h"

extern "C" {
__declspec(dllimport) void* __stdcall GetStdHandle(unsigned long which);
__declspec(dllimport) int __stdcall WriteFile(void* file, const void* data, unsigned long size,
                                              unsigned long* written, void* overlapped);
__declspec(dllimport) int __stdcall CreateDirectoryA(const char* path, void* security);
__declspec(dllimport) int __stdcall DeleteFileA(const char* path);
__declspec(dllimport) void __stdcall ExitProcess(unsigned int code);
// The MSVC compiler's marker of floating-point use, which its runtime would define.
int _fltused = 0;
}

namespace {

const unsigned long kStdOutput = static_cast<unsigned long>(-11);
const unsigned long kTypeFile = 4;
const unsigned long kTypeApp = 2;
const unsigned long kLinkUses = 0x10;
int failures = 0;

unsigned long Length(const char* s) {
  unsigned long n = 0;
  while (s[n]) ++n;
  return n;
}

bool Same(const char* a, const char* b) {
  while (*a && *a == *b) ++a, ++b;
  return *a == *b;
}

void Say(const char* s) {
  unsigned long written = 0;
  WriteFile(GetStdHandle(kStdOutput), s, Length(s), &written, nullptr);
}

void SayNumber(unsigned long n) {
  char digits[12];
  int i = sizeof digits - 1;
  digits[i] = 0;
  do {
    digits[--i] = static_cast<char>('0' + n % 10);
    n /= 10;
  } while (n);
  Say(digits + i);
}

void Check(bool ok, const char* what) {
  Say(ok ? "ok   " : "FAIL ");
  Say(what);
  Say("\r\n");
  if (!ok) ++failures;
}

char* S(const char* s) { return const_cast<char*>(s); }

void Build(CVKUDatabase* db, unsigned long* iniId) {
  CVKUObject* drive = db->AddObject(S("C:"), VKU_TYPE_DRIVE, 0, 0, nullptr, 1);
  CVKUObject* dir = db->AddObject(S("TOOLS"), kTypeFile, 0, 0, nullptr, 1);
  CVKUObject* app = db->AddObject(S("EDIT.EXE"), kTypeApp, 0, 0, nullptr, 1);
  CVKUObject* ini = db->AddObject(S("EDIT.INI"), kTypeFile, 7, 4, S("cfg"), 1);
  Check(drive && dir && app && ini, "AddObject gives four handles");
  if (!drive || !dir || !app || !ini) ExitProcess(1);
  Check(drive->LinkTo(dir, VKU_LINK_PARENT, 0, 0, nullptr) && dir->LinkTo(app, VKU_LINK_PARENT, 0, 0, nullptr) &&
            dir->LinkTo(ini, VKU_LINK_PARENT, 0, 0, nullptr) && app->LinkTo(ini, kLinkUses, 0, 0, nullptr),
        "LinkTo joins them");
  *iniId = ini->GetUniqueID();
  Check(*iniId > 1 && ini->GetType() == kTypeFile && ini->GetFlags() == 7 && ini->IsPersistent(),
        "the new object's id, type, flags and persistence");

  char path[260];
  Check(ini->GetFullPath(path) && Same(path, "C:\\TOOLS\\EDIT.INI"), "GetFullPath");
  CVKULink* link = nullptr;
  unsigned long find = app->FindFirstLinkFrom(kLinkUses, &link);
  CVKUObject* target = link ? link->GetTarget() : nullptr;
  Check(find && link && link->GetType() == kLinkUses && target && target->GetUniqueID() == *iniId,
        "FindFirstLinkFrom and the link's target");
  CVKULink* next = nullptr;
  Check(!app->FindNextLinkFrom(find, &next), "FindNextLinkFrom ends the enumeration");
  app->FindCloseLinkFrom(find);
  if (target) target->Release();
  if (link) link->Release();

  CVKUObject* dep = nullptr;
  double weight = 0;
  find = app->FindFirstDependentObject(&dep, &weight);
  Check(find && dep && dep->GetUniqueID() == *iniId && weight == 1.0,
        "FindFirstDependentObject gives the INI file with weight 1.0");
  if (dep) dep->Release();
  app->FindCloseDependentObject(find);

  CVKUObject* handles[] = {drive, dir, app, ini};
  for (CVKUObject* o : handles) o->Release();
}

void ReadBack(CVKUDatabase* db, unsigned long iniId) {
  CVKUObject* ini = db->GetObjectByPath(S("c:\\tools\\edit.ini"));
  Check(ini && ini->GetUniqueID() == iniId, "GetObjectByPath finds the stored object");
  if (!ini) return;
  char name[32];
  Check(ini->GetName(name, sizeof name) && Same(name, "EDIT.INI"), "GetName");
  unsigned char data[4] = {0, 0, 0, 0};
  Check(ini->GetDataSize() == 4 && ini->GetData(sizeof data, data) && Same(reinterpret_cast<char*>(data), "cfg"),
        "GetData");
  Check(ini->DoesObjectLinkTo(S("EDIT.EXE"), kTypeApp), "DoesObjectLinkTo sees the application's link");
  // The referring application comes with its own dependencies; look for it among them.
  CVKUObject* object = nullptr;
  double weight = 0;
  bool sawApp = false, weightsOne = true;
  char path[260];
  unsigned long find = ini->FindFirstReferencingApp(&object, &weight);
  for (bool more = find != 0; more; more = ini->FindNextReferencingApp(find, &object, &weight)) {
    if (object->GetFullPath(path) && Same(path, "C:\\TOOLS\\EDIT.EXE")) sawApp = true;
    weightsOne = weightsOne && weight == 1.0;
    object->Release();
  }
  ini->FindCloseReferencingApp(find);
  Check(sawApp && weightsOne, "FindFirstReferencingApp and FindNextReferencingApp give the application");
  CVKUObject* found = nullptr;
  find = db->FindFirstObject(S("*.EXE"), kTypeApp, &found);
  Check(find && found, "FindFirstObject by pattern");
  if (found) found->Release();
  db->FindCloseObject(find);
  ini->Release();
}

}  // namespace

extern "C" void __cdecl MsvcClientMain() {
  CreateDirectoryA("msvc-data", nullptr);
  DeleteFileA("msvc-data\\obj.dat");
  DeleteFileA("msvc-data\\link.dat");

  CVKUDatabase* db = AttachDatabase(S("msvc-data"));
  Check(db && (CVKUDatabase::GetLoadStatus() & VKU_LOAD_OUTCOME_MASK) == VKU_LOAD_NEW,
        "AttachDatabase on an empty folder");
  if (!db) ExitProcess(1);
  CVKUObject* root = db->GetRootObject();
  Check(root && root->GetUniqueID() == 1, "the root object has id 1");
  if (root) root->Release();
  unsigned long iniId = 0;
  Build(db, &iniId);
  Check(db->Flush() == 1, "Flush writes the store");
  Check(db->Release() == 0, "the last Release destroys the database");

  db = AttachDatabase(S("msvc-data"));
  Check(db && (CVKUDatabase::GetLoadStatus() & VKU_LOAD_OUTCOME_MASK) == VKU_LOAD_LOADED,
        "a second AttachDatabase loads the store");
  if (!db) ExitProcess(1);
  ReadBack(db, iniId);
  db->Release();

  Say(failures ? "FAILED: " : "all checks passed: ");
  SayNumber(static_cast<unsigned long>(failures));
  Say(" failures\r\n");
  ExitProcess(failures ? 1 : 0);
}
