// Lookups by path through the accelerators (the child index, the name buckets they
// derive) must give exactly the answers of a walk of the name buckets, through
// additions, renames (which leave objects in their old bucket), deletions (which may
// leave stale nodes behind) and reloads. Names repeat across directories and share
// buckets.
#include <random>
#include "TestSupport.h"

using Peer = DatabaseTestPeer;

namespace {

unsigned long LookupId(CVKUDatabase* db, const std::string& path) {
  CVKUObject* o = db->GetObjectByPath(const_cast<char*>(path.c_str()));
  if (!o) return 0;
  unsigned long id = o->GetUniqueID();
  o->Release();
  return id;
}

}  // namespace

TEST_F(DbTest, LookupsByPathAnswerAsTheBucketWalkDoes) {
  std::mt19937 rng(2024);
  // Few distinct names, several directories: many objects share names and buckets
  // ("Axx.DAT" names differ only early, so they share buckets too).
  const char* names[] = {"A01.DAT", "A02.DAT", "B01.DAT", "SYSTEM", "system", "Readme.txt", "X", "a01.dat"};
  auto name = [&] { return std::string(names[rng() % 8]); };
  CVKUObject* drive = Add("C:", 1);
  std::vector<CVKUObject*> dirs{drive};
  std::vector<std::string> dirPaths{"C:"};
  std::vector<std::string> queries;
  for (int round = 0; round < 6; ++round) {
    for (int op = 0; op < 300; ++op) {
      int kind = rng() % 10;
      size_t at = rng() % dirs.size();
      if (kind < 5) {  // a new object under some directory
        std::string n = name();
        CVKUObject* o = Add(n.c_str(), rng() % 3 ? 4 : 2);
        Parent(dirs[at], o);
        if (rng() % 4 == 0 && dirs.size() < 40) {
          dirs.push_back(o);
          dirPaths.push_back(dirPaths[at] + "\\" + n);
        }
        queries.push_back(dirPaths[at] + "\\" + n);
      } else if (kind < 7 && dirs.size() > 1) {  // a rename, in place or not
        // A longer name is stored anew; a prefix put before a name of seven or more
        // characters leaves the hash, which keeps only the last seven, unchanged, so
        // the object stays in reach of its bucket under the new name.
        CVKUObject* victim = dirs[1 + rng() % (dirs.size() - 1)];
        std::string n = rng() % 2 ? name() : "LONGPREFIX_" + Name(victim);
        victim->SetName(const_cast<char*>(n.c_str()));
      } else if (kind < 8 && dirs.size() > 1) {  // a deletion
        size_t victim = 1 + rng() % (dirs.size() - 1);
        dirs[victim]->Delete();
        dirs.erase(dirs.begin() + victim);
        dirPaths.erase(dirPaths.begin() + victim);
      } else {
        std::string n = name();
        queries.push_back(dirPaths[at] + "\\" + n);
        queries.push_back(dirPaths[at] + "\\LONGPREFIX_" + n);
      }
    }
    for (CVKUObject* d : dirs) queries.push_back(FullPath(d));
    for (const std::string& q : queries) {
      unsigned long fast = LookupId(db_, q);
      void* d = Peer::SwapNameDirectory(db_, nullptr);
      unsigned long walked = LookupId(db_, q);
      Peer::SwapNameDirectory(db_, d);
      ASSERT_EQ(walked, fast) << q << " in round " << round;
    }
    if (round == 3) {  // a reload indexes the current names afresh
      Reopen();
      drive = Find("C:");
      ASSERT_NE(nullptr, drive);
      dirs.assign(1, drive);
      dirPaths.assign(1, "C:");
    }
  }
}
