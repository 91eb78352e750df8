// store_helper: a second process for the tests of the store folder.
//   store_helper write <dir> <objects> <progress-file>
//       builds the crash test's store (CrashStore.h) if the folder has none, then makes
//       the next state and flushes it, for ever; every fifth state is written by
//       releasing the database (its destructor writes) and attaching it again. After
//       each state is on the disk its number goes to the progress file.
//   store_helper attach <dir> <report-file>
//       attaches the folder and writes "<attached 0|1> <last error> <load status>".
//   store_helper hold <dir> <ready-file>
//       attaches the folder, creates the ready file and waits to be killed.
//   store_helper exit-busy <dir>
//       makes a small store, then returns from main while another thread is adding
//       and linking objects, so that the library's unload finds the database mutex
//       taken by a thread that no longer exists.
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <chrono>
#include <string>
#include <thread>
#include "CrashStore.h"
#include "VKLinkDB.h"
#ifdef _WIN32
#include <windows.h>
#endif

using crash::S;

namespace {

unsigned long LastError() {
#ifdef _WIN32
  return GetLastError();
#else
  return static_cast<unsigned long>(errno);
#endif
}

CVKUObject* Child(CVKUDatabase* db, CVKUObject* parent, const std::string& name, unsigned long dataSize = 0,
                  void* data = nullptr) {
  CVKUObject* o = db->AddObject(S(name), 4, 0, dataSize, data, 1);
  if (!o || parent->LinkTo(o, 1, 0, 0, nullptr) != 1) {
    fprintf(stderr, "cannot add %s\n", name.c_str());
    exit(4);
  }
  return o;
}

unsigned long StateOf(CVKUObject* gen) {
  unsigned char b[4] = {0, 0, 0, 0};
  gen->GetData(4, b);
  return b[0] | (b[1] << 8) | (b[2] << 16) | (static_cast<unsigned long>(b[3]) << 24);
}

void SetState(CVKUObject* gen, unsigned long k) {
  unsigned char b[4] = {static_cast<unsigned char>(k), static_cast<unsigned char>(k >> 8),
                        static_cast<unsigned char>(k >> 16), static_cast<unsigned char>(k >> 24)};
  gen->SetData(4, b);
}

int Write(const std::string& dir, int objects, const std::string& progress) {
  CVKUDatabase* db = AttachDatabase(S(dir));
  if (!db) return 2;
  CVKUObject* gen = db->GetObjectByPath(S(crash::GenerationPath()));
  CVKUObject* drive = db->GetObjectByPath(S("C:"));
  if (!gen) {
    if (drive) return 5;  // a store that is not ours
    drive = db->AddObject(S("C:"), 1, 0, 0, nullptr, 1);
    for (int d = 0; d < crash::DirsFor(objects); ++d) {
      CVKUObject* folder = Child(db, drive, "D" + std::to_string(d));
      for (int f = 0; f < crash::kFilesPerDir; ++f) Child(db, folder, "F" + std::to_string(f) + ".DAT")->Release();
      folder->Release();
    }
    unsigned char zero[4] = {0, 0, 0, 0};
    gen = Child(db, drive, "GEN.DAT", 4, zero);
    if (!db->Flush()) return 3;
  }
  unsigned long k = StateOf(gen);
  if (!crash::WriteProgress(progress, k)) return 6;
  for (;;) {
    ++k;
    Child(db, drive, "K" + std::to_string(k))->Release();
    SetState(gen, k);
    if (k % 5 == 0) {
      gen->Release();
      drive->Release();
      db->Release();  // the last reference: the destructor writes the store
      db = AttachDatabase(S(dir));
      if (!db) return 2;
      gen = db->GetObjectByPath(S(crash::GenerationPath()));
      drive = db->GetObjectByPath(S("C:"));
      if (!gen || !drive || StateOf(gen) != k) return 7;
    } else if (!db->Flush()) {
      return 3;
    }
    if (!crash::WriteProgress(progress, k)) return 6;
  }
}

int Attach(const std::string& dir, const std::string& report) {
  CVKUDatabase* db = AttachDatabase(S(dir));
  unsigned long error = LastError();
  FILE* f = fopen(report.c_str(), "w");
  if (!f) return 2;
  fprintf(f, "%d %lu %lu\n", db ? 1 : 0, error, CVKUDatabase::GetLoadStatus());
  fclose(f);
  if (db) {
    db->SetSaveFlag(0);
    db->Release();
  }
  return 0;
}

int Hold(const std::string& dir, const std::string& ready) {
  CVKUDatabase* db = AttachDatabase(S(dir));
  if (!db) return 2;
  FILE* f = fopen(ready.c_str(), "w");
  if (!f) return 2;
  fclose(f);
  for (int i = 0; i < 1200; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(100));  // killed long before
  db->Release();
  return 0;
}

int ExitBusy(const std::string& dir) {
  CVKUDatabase* db = AttachDatabase(S(dir));
  if (!db) return 2;
  CVKUObject* drive = db->AddObject(S("C:"), 1, 0, 0, nullptr, 1);
  CVKUObject* folder = Child(db, drive, "BUSY");
  if (!db->Flush()) return 3;
  std::thread([db, folder] {
    for (unsigned long i = 0;; ++i) Child(db, folder, "F" + std::to_string(i))->Release();
  }).detach();
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  return 0;  // the process ends with the other thread inside the library
}

}  // namespace

int main(int argc, char** argv) {
  std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "write" && argc == 5) return Write(argv[2], atoi(argv[3]), argv[4]);
  if (mode == "attach" && argc == 4) return Attach(argv[2], argv[3]);
  if (mode == "hold" && argc == 4) return Hold(argv[2], argv[3]);
  if (mode == "exit-busy" && argc == 3) return ExitBusy(argv[2]);
  fprintf(stderr, "usage: store_helper write|attach|hold|exit-busy <dir> ...\n");
  return 64;
}
