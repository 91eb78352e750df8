// The accelerators must give exactly the answers of the walks over the database's own
// indexes. The same random workload runs twice, once with them and once with them
// switched off from the start, and everything a client can see is written down: ids
// found by path and by name, full paths, query results, enumerations, deletions, the
// store's bytes after each flush. The two records must be equal.
#include <string.h>
#include <fstream>
#include <random>
#include "TestSupport.h"

using Peer = DatabaseTestPeer;

namespace {

class Workload {
 public:
  Workload(CVKUDatabase*& db, const std::string& dir, bool accelerated, uint32_t seed)
      : db_(db), dir_(dir), accelerated_(accelerated), rng_(seed) {}

  std::string Run(int rounds, int steps) {
    Attach();
    for (int round = 0; round < rounds; ++round) {
      // A rename through a stale handle switches the accelerators off: last of all.
      stale_ = round == rounds - 1;
      for (int i = 0; i < steps; ++i) Step();
      Survey();
      Note("flush", db_->Flush());
      Note(Bytes("obj.dat") + "|" + Bytes("link.dat"));
      if (round % 2 == 1) Reopen();
    }
    Drop();
    return log_;
  }

 private:
  // Names that repeat, differ only in case, share a name bucket (the hash keeps only the
  // last characters), look like drives and hives, or are empty.
  std::string Name() {
    static const char* const names[] = {"C:",      "c:",     "D:",   "HKLM",      "hklm",       "SUB",
                                        "sub",     "A.DLL",  "a.dll", "XA.DLL",   "PREFIX_A.DLL", "Readme",
                                        "README",  "C:X",    "AB",    "",          "K",          "X\\Y"};
    return names[rng_() % (sizeof(names) / sizeof(names[0]))];
  }
  unsigned long Type() {
    static const unsigned long types[] = {1, 8, 2, 4, 4, 4, 16, 32, 32, 0x1000, 0x2000};
    return types[rng_() % (sizeof(types) / sizeof(types[0]))];
  }
  CVKUObject* Pick() { return objects_.empty() ? nullptr : objects_[rng_() % objects_.size()]; }

  void Step() {
    int op = rng_() % 100;
    CVKUObject* a = Pick();
    CVKUObject* b = Pick();
    if (op < 30 || !a) {
      std::string name = Name();
      CVKUObject* o = db_->AddObject(&name[0], Type(), 0, 0, nullptr, rng_() % 8 != 0);
      if (o) objects_.push_back(o);
      if (o && a && rng_() % 4) Note("link", a->LinkTo(o, 1, 0, 0, nullptr));
    } else if (op < 50) {
      unsigned long types[] = {1, 1, 1, 0x10, 0};
      Note("link", a->LinkTo(b, types[rng_() % 5], 0, 0, nullptr));
    } else if (op < 58) {
      std::string name = Name();
      Note("rename", a->SetName(&name[0]));
    } else if (op < 66) {
      Note("delete", a->Delete());
    } else if (op < 70) {
      CVKULink* link = nullptr;
      unsigned long find = a->FindFirstLinkFrom(0xFFFFFFFF, &link);
      if (find) {
        a->FindCloseLinkFrom(find);
        Note("unlink", link->Delete());
        link->Release();
      }
    } else if (op < 74) {
      Note("persist", rng_() % 2 ? a->MakePersistent() : a->MakeUnpersistent());
    } else if (op < 77 && stale_ && i_++ % 50 == 0) {
      // A second handle on the same object, used after the first deleted it.
      CVKUObject copy = *a;
      Note("delete", a->Delete());
      std::string name = Name();
      Note("stale rename", copy.SetName(&name[0]));
      Note("stale path " + FullPath(&copy));
    } else if (op < 80) {
      unsigned char data[300];
      memset(data, op, sizeof(data));
      Note("data", a->SetData(rng_() % sizeof(data), data));
    } else {
      Lookups(a, b);
    }
  }

  void Lookups(CVKUObject* a, CVKUObject* b) {
    std::string path = FullPath(a);
    Note("find " + path, Found(path));
    // The same path changed: case, a trailing or doubled separator, a slash, a prefix of
    // another object's path, a name put before it.
    std::string other = FullPath(b);
    std::string variants[] = {Upper(path), path + "\\", path + "\\\\" + Name(), Slashed(path),
                              other + "\\" + Name(),   Name() + "\\" + Name(), Name() + "\\" + Name() + "\\" + Name(),
                              Name(),                  "C:" + Name() + "\\" + Name()};
    for (const std::string& v : variants) Note("find " + v, Found(v));
    std::string name = Name();
    CVKUObject* vfile = db_->LookupVFILE(&name[0]);
    Note("vfile " + name, vfile ? vfile->GetUniqueID() : 0);
    if (vfile) {
      CVKUObject* r = vfile->Resolve(&path[0]);
      Note("resolve", r ? r->GetUniqueID() : 0);
      if (r) r->Release();
      vfile->Release();
    }
    Note("in use", Peer::ObjectInUse(db_, rng_() % 200) * 2 + Peer::LinkInUse(db_, rng_() % 400));
    Note("linked", a->DoesObjectLinkTo(&name[0], 0xFFFFFFFF));
  }

  // Everything about every object: path, lookups of that path, queries, enumerations.
  void Survey() {
    for (CVKUObject* o : objects_) {
      std::string path = FullPath(o);
      Note(std::to_string(o->GetUniqueID()) + " " + path + " " + std::to_string(Found(path)));
      Ids(o, false);
      Ids(o, true);
      CVKULink* link = nullptr;
      unsigned long find = o->FindFirstLinkTo(0xFFFFFFFF, &link);
      while (find && link) {
        CVKUObject* s = link->GetSource();
        Note("in", s ? s->GetUniqueID() : 0);
        if (s) s->Release();
        link->Release();
        link = nullptr;
        if (!o->FindNextLinkTo(find, &link)) break;
      }
      if (find) o->FindCloseLinkTo(find);
    }
    for (CVKUObject* o : AllObjects()) {
      Note("search", o->GetUniqueID());
      o->Release();
    }
  }

  std::vector<CVKUObject*> AllObjects() {
    std::vector<CVKUObject*> all;
    CVKUObject* o = nullptr;
    unsigned long find = db_->FindFirstObject(const_cast<char*>("*"), 0xFFFFFFFF, &o);
    while (find && o) {
      all.push_back(o);
      o = nullptr;
      if (!db_->FindNextObject(find, &o)) break;
    }
    if (find) db_->FindCloseObject(find);
    return all;
  }

  void Ids(CVKUObject* o, bool backwards) {
    CVKUObject* r = nullptr;
    unsigned long q = backwards ? o->FindFirstReferencingApp(&r, nullptr) : o->FindFirstDependentObject(&r, nullptr);
    std::string ids;
    while (q && r) {
      ids += std::to_string(r->GetUniqueID()) + ",";
      r->Release();
      r = nullptr;
      if (!o->FindNextDependentObject(q, &r, nullptr)) break;
    }
    if (q) o->FindCloseDependentObject(q);
    Note(backwards ? "refs " + ids : "deps " + ids);
  }

  unsigned long Found(std::string path) {
    CVKUObject* o = db_->GetObjectByPath(&path[0]);
    unsigned long id = o ? o->GetUniqueID() : 0;
    if (o) o->Release();
    return id;
  }
  static std::string FullPath(CVKUObject* o) {
    char buffer[260] = "";
    return o->GetFullPath(buffer) ? buffer : "-";
  }
  static std::string Upper(std::string s) {
    for (char& c : s) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return s;
  }
  static std::string Slashed(std::string s) {
    size_t at = s.rfind('\\');
    if (at != std::string::npos) s[at] = '/';
    return s;
  }
  std::string Bytes(const char* name) {
    std::ifstream in(dir_ + "/" + name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  void Note(const std::string& what, unsigned long value = 0) { log_ += what + "=" + std::to_string(value) + "\n"; }

  void Attach() {
    db_ = AttachDatabase(const_cast<char*>(dir_.c_str()));
    ASSERT_NE(nullptr, db_);
    if (!accelerated_) detached_ = Peer::SwapNameDirectory(db_, nullptr);
    objects_ = AllObjects();  // the objects of a reloaded store, found again
  }
  void Drop() {
    for (CVKUObject* o : objects_) o->Release();
    objects_.clear();
    if (!accelerated_) Peer::SwapNameDirectory(db_, detached_);  // the destructor frees them
    db_->SetSaveFlag(0);
    delete db_;
    db_ = nullptr;
  }
  void Reopen() {
    for (CVKUObject* o : objects_) o->Release();
    objects_.clear();
    if (!accelerated_) Peer::SwapNameDirectory(db_, detached_);
    delete db_;  // writes the store
    Attach();
  }

  CVKUDatabase*& db_;
  std::string dir_;
  bool accelerated_;
  std::mt19937 rng_;
  std::vector<CVKUObject*> objects_;
  void* detached_ = nullptr;
  bool stale_ = false;
  int i_ = 0;
  std::string log_;
};

}  // namespace

TEST_F(DbTest, AcceleratorsAnswerAsTheWalksOfTheDatabasesOwnIndexesDo) {
  for (uint32_t seed : {1u, 2u, 3u}) {
    Discard();
    std::string first = Workload(db_, dir_, true, seed).Run(4, 400);
    for (const std::string& f : FolderFiles()) remove(FilePath(f.c_str()).c_str());
    std::string second = Workload(db_, dir_, false, seed).Run(4, 400);
    for (const std::string& f : FolderFiles()) remove(FilePath(f.c_str()).c_str());
    ASSERT_GT(first.size(), 10000u);
    if (first != second) {
      size_t at = 0;
      while (at < first.size() && at < second.size() && first[at] == second[at]) ++at;
      size_t from = first.rfind('\n', at);
      from = from == std::string::npos ? 0 : from + 1;
      FAIL() << "seed " << seed << ", accelerated:\n"
             << first.substr(from, 300) << "\nwalked:\n"
             << second.substr(from, 300);
    }
  }
  db_ = AttachDatabase(const_cast<char*>(dir_.c_str()));
}
