// A client of an installed VKLinkDB: checks that the version of the headers, of the
// package and of the DLL's version resource agree, stores a small footprint in a data
// folder and finds it again after the database was written and reloaded, and catches
// an exception thrown inside the DLL (which needs the runtime DLLs shipped with it).
//
//   consumer.exe <data folder>
#include <windows.h>

#include <stdio.h>
#include <string.h>

#include <stdexcept>
#include <string>

#include "UtilsString"
#include "VKLinkDB.h"

namespace {

int failures = 0;

void Check(bool ok, const char* what) {
  printf("%s: %s\n", ok ? "ok  " : "FAIL", what);
  if (!ok) ++failures;
}

char* S(const char* s) { return const_cast<char*>(s); }

// A string of the DLL's version resource, in its first language.
std::string VersionString(const void* info, const char* name) {
  struct Translation { WORD language, codePage; }* translation = nullptr;
  UINT size = 0;
  if (!VerQueryValueA(info, "\\VarFileInfo\\Translation", reinterpret_cast<void**>(&translation), &size) ||
      size < sizeof(Translation))
    return "";
  char key[128];
  snprintf(key, sizeof key, "\\StringFileInfo\\%04x%04x\\%s", translation->language, translation->codePage, name);
  char* value = nullptr;
  if (!VerQueryValueA(info, key, reinterpret_cast<void**>(&value), &size) || !value) return "";
  return value;
}

void CheckVersions() {
  printf("headers %s, package %s\n", VKLINKDB_VERSION, EXPECTED_VERSION);
  Check(strcmp(VKLINKDB_VERSION, EXPECTED_VERSION) == 0, "the headers are of the package's version");

  // The VKLinkDB.dll this process loaded, not merely a file of that name.
  char path[MAX_PATH];
  HMODULE module = GetModuleHandleA("VKLinkDB.dll");
  Check(module && GetModuleFileNameA(module, path, sizeof path) > 0, "the program runs with VKLinkDB.dll");
  if (!module) return;
  DWORD ignored = 0;
  DWORD size = GetFileVersionInfoSizeA(path, &ignored);
  Check(size > 0, "VKLinkDB.dll has a version resource");
  if (size == 0) return;
  std::string block(size, '\0');
  if (!GetFileVersionInfoA(path, 0, size, &block[0])) {
    Check(false, "GetFileVersionInfoA reads it");
    return;
  }
  VS_FIXEDFILEINFO* fixed = nullptr;
  UINT fixedSize = 0;
  Check(VerQueryValueA(block.data(), "\\", reinterpret_cast<void**>(&fixed), &fixedSize) &&
            fixedSize >= sizeof(VS_FIXEDFILEINFO) && fixed->dwSignature == 0xFEEF04BD,
        "the resource has its fixed part");
  if (!fixed) return;
  const DWORD ms = MAKELONG(VKLINKDB_VERSION_MINOR, VKLINKDB_VERSION_MAJOR);
  const DWORD ls = MAKELONG(0, VKLINKDB_VERSION_PATCH);
  printf("file version %lu.%lu.%lu.%lu, product version %lu.%lu.%lu.%lu\n",
         HIWORD(fixed->dwFileVersionMS), LOWORD(fixed->dwFileVersionMS), HIWORD(fixed->dwFileVersionLS),
         LOWORD(fixed->dwFileVersionLS), HIWORD(fixed->dwProductVersionMS), LOWORD(fixed->dwProductVersionMS),
         HIWORD(fixed->dwProductVersionLS), LOWORD(fixed->dwProductVersionLS));
  Check(fixed->dwFileVersionMS == ms && fixed->dwFileVersionLS == ls, "the file version is the headers' version");
  Check(fixed->dwProductVersionMS == ms && fixed->dwProductVersionLS == ls,
        "the product version is the headers' version");
  Check(fixed->dwFileType == VFT_DLL, "the resource describes a DLL");

  const char* names[] = {"FileVersion", "ProductVersion", "ProductName", "OriginalFilename",
                         "FileDescription", "LegalCopyright"};
  for (const char* name : names) printf("%s: %s\n", name, VersionString(block.data(), name).c_str());
  Check(VersionString(block.data(), "FileVersion") == VKLINKDB_VERSION, "FileVersion reads the version");
  Check(VersionString(block.data(), "ProductVersion") == VKLINKDB_VERSION, "ProductVersion reads the version");
  Check(VersionString(block.data(), "OriginalFilename") == "VKLinkDB.dll", "OriginalFilename is VKLinkDB.dll");
  Check(VersionString(block.data(), "FileDescription").find("VKLinkDB") == 0, "the description names the library");
  Check(VersionString(block.data(), "LegalCopyright").find("Copyright") == 0, "the copyright is set");
}

void CheckDatabase(const char* folder) {
  CreateDirectoryA(folder, nullptr);
  std::string dir = folder;
  DeleteFileA((dir + "\\obj.dat").c_str());
  DeleteFileA((dir + "\\link.dat").c_str());

  CVKUDatabase* db = AttachDatabase(S(folder));
  Check(db != nullptr, "AttachDatabase opens the data folder");
  if (!db) return;
  Check((CVKUDatabase::GetLoadStatus() & VKU_LOAD_OUTCOME_MASK) == VKU_LOAD_NEW, "the folder starts empty");
  CVKUObject* drive = db->AddObject(S("C:"), VKU_TYPE_DRIVE, 0, 0, nullptr, 1);
  CVKUObject* dir1 = db->AddObject(S("TOOLS"), 4, 0, 0, nullptr, 1);
  CVKUObject* app = db->AddObject(S("EDIT.EXE"), 2, 0, 0, nullptr, 1);
  CVKUObject* ini = db->AddObject(S("EDIT.INI"), 4, 0, 4, S("cfg"), 1);
  Check(drive && dir1 && app && ini, "AddObject");
  if (!drive || !dir1 || !app || !ini) return;
  Check(drive->LinkTo(dir1, VKU_LINK_PARENT, 0, 0, nullptr) && dir1->LinkTo(app, VKU_LINK_PARENT, 0, 0, nullptr) &&
            dir1->LinkTo(ini, VKU_LINK_PARENT, 0, 0, nullptr) && app->LinkTo(ini, 0x10, 0, 0, nullptr),
        "LinkTo");
  const unsigned long iniId = ini->GetUniqueID();
  for (CVKUObject* o : {drive, dir1, app, ini}) o->Release();
  Check(db->Flush() == 1, "Flush writes the store");
  db->Release();  // the last reference: the database is destroyed

  db = AttachDatabase(S(folder));
  Check(db && (CVKUDatabase::GetLoadStatus() & VKU_LOAD_OUTCOME_MASK) == VKU_LOAD_LOADED,
        "a second AttachDatabase loads the store");
  if (!db) return;
  app = db->GetObjectByPath(S("c:\\tools\\edit.exe"));
  char path[260] = "";
  Check(app && app->GetFullPath(path) && strcmp(path, "C:\\TOOLS\\EDIT.EXE") == 0, "the application's path");
  CVKUObject* dep = nullptr;
  double weight = 0;
  unsigned long find = app ? app->FindFirstDependentObject(&dep, &weight) : 0;
  Check(find && dep && dep->GetUniqueID() == iniId && weight == 1.0, "the application depends on its INI file");
  unsigned char data[4] = {0};
  Check(dep && dep->GetData(sizeof data, data) && memcmp(data, "cfg", 4) == 0, "the INI file's data");
  if (dep) dep->Release();
  if (app) {
    app->FindCloseDependentObject(find);
    app->Release();
  }
  db->Release();
}

// An exception thrown inside the DLL reaches the client's catch: both use the one
// runtime from the archive.
void CheckUtils() {
  UTILS::UtilsString text("alpha");
  text.AddString("beta");
  Check(text.GetNumberOfStrings() == 2 && strcmp(text.GetStringNumber(1), "beta") == 0, "UtilsString");
  bool caught = false;
  try {
    text.SetCurrentString(5);
  } catch (const std::out_of_range& e) {
    caught = true;
    printf("caught: %s\n", e.what());
  }
  Check(caught, "an exception thrown by the DLL is caught by the client");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: consumer <data folder>\n");
    return 2;
  }
  CheckVersions();
  CheckDatabase(argv[1]);
  CheckUtils();
  printf("%s\n", failures ? "FAILED" : "all checks passed");
  return failures ? 1 : 0;
}
