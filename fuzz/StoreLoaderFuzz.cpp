// libFuzzer target for the store loader. The input is split into an obj.dat and a
// link.dat image (the first two bytes give the length of the first), loaded, walked
// with the path and dependency queries, written back, and reloaded; writing the
// reloaded store twice over must give stable bytes. Lookups by path and by name must
// give the same answers with the accelerators as without them.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <string>
#include <vector>
#include "Internal.h"

// Takes a database's accelerators off and puts them back (its friend, as in the tests).
struct DatabaseTestPeer {
  static void* Swap(CVKUDatabase* db, void* a) {
    void* old = db->m_pNameDirectory;
    db->m_pNameDirectory = a;
    return old;
  }
};

namespace {

std::string g_dir;

unsigned long FoundId(CVKUDatabase* db, const char* path, bool accelerated) {
  void* off = accelerated ? nullptr : DatabaseTestPeer::Swap(db, nullptr);
  CVKUObject* o = db->GetObjectByPath(const_cast<char*>(path));
  if (!accelerated) DatabaseTestPeer::Swap(db, off);
  unsigned long id = o ? o->GetUniqueID() : 0;
  if (o) o->Release();
  return id;
}

unsigned long VFileId(CVKUDatabase* db, const char* name, bool accelerated) {
  void* off = accelerated ? nullptr : DatabaseTestPeer::Swap(db, nullptr);
  CVKUObject* o = db->LookupVFILE(const_cast<char*>(name));
  if (!accelerated) DatabaseTestPeer::Swap(db, off);
  unsigned long id = o ? o->GetUniqueID() : 0;
  if (o) o->Release();
  return id;
}

// The path and the name of an object, looked up both ways.
void CrossCheck(CVKUDatabase* db, CVKUObject* o, const char* path) {
  char name[260];
  std::string names[3] = {path, "", ""};
  if (o->GetName(name, sizeof(name))) {
    names[1] = name;
    names[2] = std::string(path) + "\\" + name;
  }
  for (const std::string& n : names)
    if (FoundId(db, n.c_str(), true) != FoundId(db, n.c_str(), false) ||
        VFileId(db, n.c_str(), true) != VFileId(db, n.c_str(), false))
      abort();
}

void WriteFile(const std::string& path, const uint8_t* data, size_t size) {
  FILE* f = fopen(path.c_str(), "wb");
  if (!f) abort();
  if (size) fwrite(data, 1, size, f);
  fclose(f);
}

std::vector<uint8_t> ReadFile(const std::string& path) {
  std::vector<uint8_t> out;
  FILE* f = fopen(path.c_str(), "rb");
  if (!f) return out;
  int c;
  while ((c = fgetc(f)) != EOF) out.push_back(static_cast<uint8_t>(c));
  fclose(f);
  return out;
}

void Exercise(CVKUDatabase* db) {
  CVKUObject* found = nullptr;
  unsigned long find = db->FindFirstObject(const_cast<char*>("*"), 0xFFFFFFFF, &found);
  int steps = 0;
  while (find && found && steps++ < 64) {
    char path[260];
    if (found->GetFullPath(path)) {
      CVKUObject* same = db->GetObjectByPath(path);
      if (same) same->Release();
    }
    CrossCheck(db, found, found->GetFullPath(path) ? path : "");
    CVKUObject* dep = nullptr;
    unsigned long q = found->FindFirstDependentObject(&dep, nullptr);
    if (q) {
      dep->Release();
      while (found->FindNextDependentObject(q, &dep, nullptr)) dep->Release();
      found->FindCloseDependentObject(q);
    }
    q = found->FindFirstReferencingApp(&dep, nullptr);
    if (q) {
      dep->Release();
      found->FindCloseReferencingApp(q);
    }
    found->Release();
    found = nullptr;
    if (!db->FindNextObject(find, &found)) break;
  }
  if (found) found->Release();
  db->FindCloseObject(find);
}

CVKUDatabase* Attach() {
  CVKUDatabase* db = AttachDatabase(const_cast<char*>(g_dir.c_str()));
  if (!db) abort();
  return db;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  char tmpl[] = "/tmp/vkl_fuzz_XXXXXX";
  if (!mkdtemp(tmpl)) abort();
  g_dir = tmpl;
  setenv("VKL_SYSTEM_DIR", "C:\\WINDOWS\\system32", 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  size_t objSize = (data[0] | (data[1] << 8)) % (size - 1);
  const uint8_t* obj = data + 2;
  const uint8_t* link = obj + objSize;
  size_t linkSize = size - 2 - objSize;
  // The header is supplied so that most inputs reach the record parser.
  std::vector<uint8_t> objImage = {0x04, 0x10, 0, 0, 1, 0, 0, 0};
  objImage.insert(objImage.end(), obj, obj + objSize);
  std::vector<uint8_t> linkImage = {0x04, 0x10, 0, 0, 1, 0, 0, 0};
  linkImage.insert(linkImage.end(), link, link + linkSize);
  // The input comes from a writer that keeps no generation file: the last round's goes.
  remove((g_dir + "/store.gen").c_str());
  WriteFile(g_dir + "/obj.dat", objImage.data(), objImage.size());
  WriteFile(g_dir + "/link.dat", linkImage.data(), linkImage.size());

  CVKUDatabase* db = Attach();
  Exercise(db);
  db->Flush();
  delete db;

  // Loading reverses the list order, so two write-load rounds come back to the same bytes.
  db = Attach();
  db->Flush();
  delete db;
  std::vector<uint8_t> first = ReadFile(g_dir + "/obj.dat");
  db = Attach();
  db->Flush();
  delete db;
  db = Attach();
  db->Flush();
  db->SetSaveFlag(0);
  delete db;
  if (ReadFile(g_dir + "/obj.dat") != first) abort();
  return 0;
}
