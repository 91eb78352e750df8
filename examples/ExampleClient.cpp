// Example client of VKLinkDB.dll: records the footprint of a small application in the
// link database kept in a data directory, asks the usual questions over it, and
// flushes the store. A second run finds what the first one stored.
//
//   example_client.exe <data directory>
#include <stdio.h>
#include <string.h>
#include <initializer_list>
#include "VKLinkDB.h"

namespace {

const unsigned long kTypeApp = 2;      // applications: always kept, placed in the file tree
const unsigned long kLinkUses = 0x10;  // this client's own link type: "application uses"

char* S(const char* s) { return const_cast<char*>(s); }

// The object at path, or a new persistent one under parent (linked with type 1).
CVKUObject* Ensure(CVKUDatabase* db, CVKUObject* parent, const char* path, const char* name, unsigned long type) {
  if (CVKUObject* o = db->GetObjectByPath(S(path))) return o;
  CVKUObject* o = db->AddObject(S(name), type, 0, 0, nullptr, 1);
  if (o && parent) parent->LinkTo(o, 1, 0, 0, nullptr);
  return o;
}

void PrintPath(const char* label, CVKUObject* o) {
  char path[260];
  if (!o) return;
  if (!o->GetFullPath(path)) strcpy(path, "(no path)");
  printf("  %s%s%s (id %lu)\n", label, *label ? " " : "", path, o->GetUniqueID());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: example_client <data directory>\n");
    return 2;
  }
  CVKUDatabase* db = AttachDatabase(argv[1]);
  if (!db) {
    fprintf(stderr, "cannot attach the database in %s\n", argv[1]);
    return 1;
  }

  // Applications are found by a name search over their type.
  CVKUObject* app = nullptr;
  unsigned long find = db->FindFirstObject(S("EDITOR.EXE"), kTypeApp, &app);
  db->FindCloseObject(find);
  printf("%s\n", app ? "Found the footprint stored by an earlier run." : "Recording a new footprint.");

  CVKUObject* drive = Ensure(db, nullptr, "C:", "C:", 1);
  CVKUObject* progs = Ensure(db, drive, "C:\\PROGRAMS", "PROGRAMS", 4);
  CVKUObject* dir = Ensure(db, progs, "C:\\PROGRAMS\\EDITOR", "EDITOR", 4);
  CVKUObject* exe = app ? app : Ensure(db, dir, "C:\\PROGRAMS\\EDITOR\\EDITOR.EXE", "EDITOR.EXE", kTypeApp);
  CVKUObject* dll = Ensure(db, dir, "C:\\PROGRAMS\\EDITOR\\SPELL.DLL", "SPELL.DLL", 4);
  CVKUObject* ini = Ensure(db, dir, "C:\\PROGRAMS\\EDITOR\\EDITOR.INI", "EDITOR.INI", 4);
  CVKUObject* shared = db->LookupVFILE(S("SPELL.DLL"));
  if (!shared) shared = db->AddObject(S("SPELL.DLL"), 0x1000, 0, 0, nullptr, 1);
  if (!app) {
    exe->LinkTo(ini, kLinkUses, 0, 0, nullptr);
    exe->LinkTo(shared, kLinkUses, 0, 0, nullptr);  // by name only: resolved in EDITOR's directory
  }

  printf("Full paths:\n");
  for (CVKUObject* o : {drive, progs, dir, exe, dll, ini}) PrintPath("", o);
  PrintPath("name-only SPELL.DLL:", shared);

  printf("Path lookups:\n");
  const char* lookups[] = {"c:\\programs\\editor\\editor.exe", "C:\\PROGRAMS\\EDITOR\\", "C:\\PROGRAMS\\MISSING.TXT"};
  for (const char* p : lookups) {
    CVKUObject* o = db->GetObjectByPath(S(p));
    printf("  %-36s -> %s\n", p, o ? "found" : "not found");
    if (o) {
      PrintPath("", o);
      o->Release();
    }
  }

  printf("Objects the application EDITOR.EXE depends on:\n");
  CVKUObject* dep = nullptr;
  double weight = 0;
  unsigned long q = exe->FindFirstDependentObject(&dep, &weight);
  if (q) {
    do {
      PrintPath("", dep);
      dep->Release();
    } while (exe->FindNextDependentObject(q, &dep, &weight));
    exe->FindCloseDependentObject(q);
  }

  printf("Applications referring to EDITOR.INI, with what they use:\n");
  q = ini->FindFirstReferencingApp(&dep, &weight);
  if (q) {
    do {
      char name[64] = "";
      dep->GetName(name, sizeof(name));
      printf("  %s (id %lu, weight %.1f)\n", name, dep->GetUniqueID(), weight);
      dep->Release();
    } while (ini->FindNextReferencingApp(q, &dep, &weight));
    ini->FindCloseReferencingApp(q);
  }

  for (CVKUObject* o : {drive, progs, dir, exe, dll, ini, shared}) o->Release();
  db->Flush();
  printf("Store flushed.\n");
  db->Release();
  return 0;
}
