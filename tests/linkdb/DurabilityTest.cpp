// How the store reaches the disk, and what a load makes of what a kill, a full disk, a
// second process, a dying thread or a damaged folder left: the old store or the new
// one, never less, and never a file overwritten that could still be recovered.
#include <string.h>
#include <algorithm>
#include <filesystem>
#include <map>
#include <thread>
#include "ChildProcess.h"
#include "TestSupport.h"
#ifndef _WIN32
#include <errno.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;
using Peer = DatabaseTestPeer;
using Bytes = std::vector<unsigned char>;
using Files = std::map<std::string, Bytes>;
using Names = std::vector<std::string>;

namespace {

uint32_t U32At(const Bytes& b, size_t at) {
  return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (static_cast<uint32_t>(b[at + 3]) << 24);
}

Bytes Prefix(const Bytes& b, size_t n) { return Bytes(b.begin(), b.begin() + static_cast<long>(n)); }

// What is wrong with a pair of store files, or "" if every link names two stored
// objects that both list it, and every entry names a stored link that names it back.
std::string Inconsistency(const Bytes& obj, const Bytes& link) {
  std::map<uint32_t, std::pair<uint32_t, uint32_t>> links;
  for (size_t at = 8; at + 21 <= link.size(); at += 21) links[U32At(link, at + 4)] = {U32At(link, at + 8), U32At(link, at + 12)};
  std::map<uint32_t, std::pair<std::vector<uint32_t>, std::vector<uint32_t>>> objects;
  for (size_t at = 8; at + 47 <= obj.size();) {
    uint32_t id = U32At(obj, at + 8), from = U32At(obj, at + 20), to = U32At(obj, at + 28), data = U32At(obj, at + 37);
    size_t p = at + 47 + (obj[at + 45] | (obj[at + 46] << 8));
    auto& entries = objects[id];
    for (uint32_t i = 0; i < from; ++i, p += 4) entries.first.push_back(U32At(obj, p));
    for (uint32_t i = 0; i < to; ++i, p += 4) entries.second.push_back(U32At(obj, p));
    at = p + data;
  }
  auto lists = [](const std::vector<uint32_t>& v, uint32_t id) { return std::find(v.begin(), v.end(), id) != v.end(); };
  for (const auto& l : links) {
    auto s = objects.find(l.second.first), t = objects.find(l.second.second);
    if (s == objects.end() || t == objects.end()) return "link " + std::to_string(l.first) + " names a missing object";
    if (!lists(s->second.first, l.first) || !lists(t->second.second, l.first))
      return "link " + std::to_string(l.first) + " is not listed by its ends";
  }
  for (const auto& o : objects) {
    for (uint32_t e : o.second.first)
      if (!links.count(e) || links[e].first != o.first) return "object " + std::to_string(o.first) + " names link " + std::to_string(e);
    for (uint32_t e : o.second.second)
      if (!links.count(e) || links[e].second != o.first) return "object " + std::to_string(o.first) + " names link " + std::to_string(e);
  }
  return "";
}

const Names kWholeStore = {"link.dat", "obj.dat", "store.gen", "store.lck"};

}  // namespace

class StoreTest : public DbTest {
 protected:
  // The store's three files as they are now.
  Files Snapshot() const {
    Files files;
    for (const char* name : {"obj.dat", "link.dat", "store.gen"})
      if (FileExists(name)) files[name] = ReadFile(name);
    return files;
  }
  // Empties the folder (the database must be gone) and puts the given files in it.
  void Place(const Files& files) {
    for (const std::string& name : FolderFiles()) fs::remove_all(FilePath(name.c_str()));
    for (const auto& f : files) WriteFile(f.first.c_str(), f.second);
  }
  unsigned long Attach() {
    db_ = AttachDatabase(const_cast<char*>(dir_.c_str()));
    EXPECT_NE(nullptr, db_);
    return CVKUDatabase::GetLoadStatus();
  }
  bool Has(const char* path) { return Find(path) != nullptr; }
  // Two states of one store, each flushed: A holds C:\A\ONE.DAT, B that and C:\B\TWO.DAT.
  void MakeTwoStates() {
    AddPath("C:\\A\\ONE.DAT");
    ASSERT_EQ(1, db_->Flush());
    a_ = Snapshot();
    AddPath("C:\\B\\TWO.DAT");
    ASSERT_EQ(1, db_->Flush());
    b_ = Snapshot();
    Discard();
  }
  // A file of the folder's parent, for what a helper process reports.
  std::string Beside(const char* suffix) const { return dir_ + suffix; }

  Files a_, b_;
};

TEST_F(StoreTest, FlushReplacesThePairAndNumbersItsGeneration) {
  AddPath("C:\\A\\ONE.DAT");
  for (uint32_t generation = 1; generation <= 3; ++generation) {
    ASSERT_EQ(1, db_->Flush());
    EXPECT_EQ(kWholeStore, FolderFiles());  // nothing left beside them
    EXPECT_EQ(generation, U32At(ReadFile("store.gen"), 4));
    EXPECT_EQ("", Inconsistency(ReadFile("obj.dat"), ReadFile("link.dat")));
    AddPath("C:\\A\\" + std::to_string(generation) + ".DAT");
  }
  Reopen();
  EXPECT_EQ(VKU_LOAD_LOADED, CVKUDatabase::GetLoadStatus());
  EXPECT_TRUE(Has("C:\\A\\ONE.DAT"));
}

// A kill before the generation file names the new pair: the temporaries are a writer's
// leftovers, and the old store loads.
TEST_F(StoreTest, AKillBeforeTheNewPairIsNamedLeavesTheOldStore) {
  MakeTwoStates();
  Files inObj = a_, inLink = a_, naming = a_;
  inObj["obj.dat.tmp"] = Prefix(b_["obj.dat"], 60);
  inLink["obj.dat.tmp"] = b_["obj.dat"];
  inLink["link.dat.tmp"] = Prefix(b_["link.dat"], 8);
  naming["obj.dat.tmp"] = b_["obj.dat"];
  naming["link.dat.tmp"] = b_["link.dat"];
  naming["store.gen.tmp"] = Prefix(b_["store.gen"], 12);
  for (const Files& left : {inObj, inLink, naming}) {
    Place(left);
    EXPECT_EQ(VKU_LOAD_LOADED, Attach());
    EXPECT_TRUE(Has("C:\\A\\ONE.DAT"));
    EXPECT_FALSE(Has("C:\\B\\TWO.DAT"));
    EXPECT_EQ(a_, Snapshot());
    EXPECT_EQ(kWholeStore, FolderFiles());  // the leftovers are cleaned up
    Discard();
  }
}

// A kill once the generation file names the new pair, before both files are in place:
// the load puts the named temporaries in place and gives the new store.
TEST_F(StoreTest, AKillAfterTheNewPairIsNamedFinishesTheNewStore) {
  MakeTwoStates();
  Files neither = a_, objOnly = a_, objGone = a_, linkGone = b_;
  neither["store.gen"] = b_["store.gen"];
  neither["obj.dat.tmp"] = b_["obj.dat"];
  neither["link.dat.tmp"] = b_["link.dat"];
  objOnly = b_;
  objOnly["link.dat"] = a_["link.dat"];
  objOnly["link.dat.tmp"] = b_["link.dat"];
  objGone = neither;  // the 95 line replaces a file by deleting it, then moving
  objGone.erase("obj.dat");
  linkGone.erase("link.dat");
  linkGone["link.dat.tmp"] = b_["link.dat"];
  for (const Files& left : {neither, objOnly, objGone, linkGone}) {
    Place(left);
    EXPECT_EQ(VKU_LOAD_LOADED, Attach());
    EXPECT_TRUE(Has("C:\\B\\TWO.DAT"));
    EXPECT_EQ(b_, Snapshot());
    EXPECT_EQ(kWholeStore, FolderFiles());
    Discard();
  }
}

// Files of two different flushes are refused (neither loads), kept, and moved aside
// before the first write; so is an intact obj.dat beside an unfinished link.dat.
TEST_F(StoreTest, ARejectedStoreIsMovedAsideBeforeAnythingOverwritesIt) {
  MakeTwoStates();
  Files mixed = b_, oldObj = b_, unfinished = b_;
  mixed["link.dat"] = a_["link.dat"];
  oldObj["obj.dat"] = a_["obj.dat"];
  unfinished.erase("store.gen");
  unfinished["link.dat"][4] = 0;  // the complete mark
  int round = 0;
  for (const Files& rejected : {mixed, oldObj, unfinished}) {
    SCOPED_TRACE(++round);
    Place(rejected);
    EXPECT_EQ(VKU_LOAD_REJECTED, Attach());
    EXPECT_EQ(1u, Peer::LastObjectID(db_));
    EXPECT_FALSE(Has("C:\\A\\ONE.DAT"));
    EXPECT_EQ(rejected, Snapshot());  // untouched until something is written
    AddPath("C:\\NEW\\THREE.DAT");
    ASSERT_EQ(1, db_->Flush());
    for (const auto& f : rejected) EXPECT_EQ(f.second, ReadFile((f.first + ".bad").c_str())) << f.first;
    // Moved aside a second time: numbered.
    Discard();
    Place(rejected);
    EXPECT_EQ(VKU_LOAD_REJECTED, Attach());
    WriteFile("obj.dat.bad", {1, 2, 3});
    AddPath("C:\\NEW\\THREE.DAT");
    Reopen();  // the destructor writes
    EXPECT_EQ(rejected.at("obj.dat"), ReadFile("obj.dat.bad.2"));
    EXPECT_EQ(rejected.at("link.dat"), ReadFile("link.dat.bad.2"));
    EXPECT_EQ(VKU_LOAD_LOADED, CVKUDatabase::GetLoadStatus());
    EXPECT_TRUE(Has("C:\\NEW\\THREE.DAT"));
    Discard();
  }
  // Files that hold nothing but a header have nothing to keep: a new store, nothing
  // moved aside.
  Place({{"obj.dat", Prefix(a_["obj.dat"], 8)}});
  EXPECT_EQ(VKU_LOAD_NEW, Attach());
  AddPath("C:\\NEW\\THREE.DAT");
  ASSERT_EQ(1, db_->Flush());
  EXPECT_EQ(kWholeStore, FolderFiles());
}

// A pair without a generation file (an earlier version's, another writer's) loads as
// it always did, and so does a pair that a writer unaware of the generation file has
// rewritten since: both files differ from what the record names.
TEST_F(StoreTest, APairWithoutItsGenerationFileLoadsAsBefore) {
  MakeTwoStates();
  Files plain = b_, rewritten = b_;
  plain.erase("store.gen");
  rewritten["store.gen"] = a_["store.gen"];
  for (const Files& files : {plain, rewritten}) {
    Place(files);
    EXPECT_EQ(VKU_LOAD_LOADED, Attach());
    EXPECT_TRUE(Has("C:\\B\\TWO.DAT"));
    Discard();
  }
}

// A full disk in the middle of a flush (natively a file-size limit; under Wine the
// limit CTest puts on the process): Flush says so, and the previous store stays.
TEST_F(StoreTest, AFullDiskLeavesThePreviousStoreAndFlushSaysSo) {
  const unsigned long kLimit = 1 << 20;
#ifdef _WIN32
  const char* limit = getenv("VKL_FILE_SIZE_LIMIT");
  if (!limit || strtoul(limit, nullptr, 10) != kLimit)
    GTEST_SKIP() << "run by the CTest entry that limits the file size (VKL_FILE_SIZE_LIMIT)";
#endif
  CVKUObject* dir = AddPath("C:\\FULL");
  auto addFiles = [&](int from, int to) {
    for (int i = from; i < to; ++i) {
      std::string name = "FILE_WITH_A_LONG_NAME_" + std::to_string(i) + ".DAT";
      CVKUObject* f = db_->AddObject(const_cast<char*>(name.c_str()), 4, 0, 0, nullptr, 1);
      dir->LinkTo(f, 1, 0, 0, nullptr);
      f->Release();
    }
  };
  addFiles(0, 5000);  // about 450 KB
  ASSERT_EQ(1, db_->Flush());
  Files before = Snapshot();
  ASSERT_LT(before["obj.dat"].size(), kLimit);
  addFiles(5000, 15000);  // about 1.3 MB: does not fit
#ifndef _WIN32
  struct rlimit old;
  getrlimit(RLIMIT_FSIZE, &old);
  struct rlimit small = old;
  small.rlim_cur = kLimit;
  void (*oldHandler)(int) = signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
#endif
  int flushed = db_->Flush();
  unsigned long error = LastError();
#ifndef _WIN32
  setrlimit(RLIMIT_FSIZE, &old);
  signal(SIGXFSZ, oldHandler);
  EXPECT_EQ(static_cast<unsigned long>(EFBIG), error);
#endif
  EXPECT_EQ(0, flushed);
  EXPECT_NE(0u, error);
  printf("Flush failed with system error %lu\n", error);
  EXPECT_EQ(before, Snapshot());
  EXPECT_EQ(kWholeStore, FolderFiles());
  Discard();
  EXPECT_EQ(VKU_LOAD_LOADED, Attach());
  EXPECT_TRUE(Has("C:\\FULL\\FILE_WITH_A_LONG_NAME_4999.DAT"));
  EXPECT_FALSE(Has("C:\\FULL\\FILE_WITH_A_LONG_NAME_5000.DAT"));
}

TEST_F(StoreTest, AFolderThatCannotBeWrittenIsReportedAndLeftAlone) {
  Discard();
  std::string missing = (fs::path(dir_) / "no" / "such").string();
  db_ = AttachDatabase(const_cast<char*>(missing.c_str()));
  ASSERT_NE(nullptr, db_);
  EXPECT_EQ(VKU_LOAD_NEW | VKU_LOAD_NOT_WRITABLE, CVKUDatabase::GetLoadStatus());
  AddPath("C:\\A\\ONE.DAT");
  EXPECT_EQ(0, db_->Flush());
  EXPECT_EQ(vkl::SystemErrorCode(vkl::kErrorNoFolder), LastError());
  EXPECT_EQ(1, Has("C:\\A\\ONE.DAT"));  // the database works in memory
  Discard();
  EXPECT_FALSE(fs::exists(fs::path(dir_) / "no"));

  // A folder where the lock file cannot be made: its store is read and never written.
  Attach();
  AddPath("C:\\A\\ONE.DAT");
  ASSERT_EQ(1, db_->Flush());
  Files before = Snapshot();
  Discard();
  fs::remove(FilePath("store.lck"));
  fs::create_directory(FilePath("store.lck"));
  EXPECT_EQ(VKU_LOAD_LOADED | VKU_LOAD_NOT_WRITABLE, Attach());
  EXPECT_TRUE(Has("C:\\A\\ONE.DAT"));
  AddPath("C:\\B\\TWO.DAT");
  EXPECT_EQ(0, db_->Flush());
  Reopen();  // nor does the destructor write
  EXPECT_EQ(before, Snapshot());
#ifndef _WIN32
  // A folder without write permission (which binds only where the tests do not run as
  // root) is read and left alone in the same way.
  if (geteuid() != 0) {
    Discard();
    fs::remove(FilePath("store.lck"));
    fs::permissions(dir_, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    EXPECT_EQ(VKU_LOAD_LOADED | VKU_LOAD_NOT_WRITABLE, Attach());
    EXPECT_TRUE(Has("C:\\A\\ONE.DAT"));
    EXPECT_EQ(0, db_->Flush());
    EXPECT_EQ(static_cast<unsigned long>(EACCES), LastError());
    Discard();
    fs::permissions(dir_, fs::perms::owner_write, fs::perm_options::add);
    EXPECT_EQ(before, Snapshot());
  }
#endif
}

TEST_F(StoreTest, ASecondProcessCannotAttachAFolderInUse) {
  AddPath("C:\\A\\ONE.DAT");
  ASSERT_EQ(1, db_->Flush());
  Files before = Snapshot();
  Names names = FolderFiles();
  std::string helper = ProgramBeside("store_helper"), report = Beside("_report.txt"), ready = Beside("_ready");

  // This process has the folder: the other one's AttachDatabase fails and says why.
  ChildProcess other;
  ASSERT_TRUE(other.Start(helper, {"attach", dir_, report}));
  ASSERT_EQ(0, other.Wait());
  FILE* f = fopen(report.c_str(), "r");
  ASSERT_NE(nullptr, f);
  int attached = -1;
  unsigned long error = 0, status = 0;
  EXPECT_EQ(3, fscanf(f, "%d %lu %lu", &attached, &error, &status));
  fclose(f);
  fs::remove(report);
  EXPECT_EQ(0, attached);
  EXPECT_EQ(vkl::SystemErrorCode(vkl::kErrorFolderBusy), error);
  EXPECT_EQ(static_cast<unsigned long>(VKU_LOAD_LOCKED), status);
  EXPECT_EQ(before, Snapshot());
  EXPECT_EQ(names, FolderFiles());

  // The other process has it: here the attach fails and touches nothing.
  Discard();
  ChildProcess holder;
  ASSERT_TRUE(holder.Start(helper, {"hold", dir_, ready}));
  for (int waited = 0; !fs::exists(ready) && waited < 60000; waited += 20) SleepMs(20);
  ASSERT_TRUE(fs::exists(ready));
  EXPECT_EQ(nullptr, AttachDatabase(const_cast<char*>(dir_.c_str())));
  EXPECT_EQ(vkl::SystemErrorCode(vkl::kErrorFolderBusy), LastError());
  EXPECT_EQ(static_cast<unsigned long>(VKU_LOAD_LOCKED), CVKUDatabase::GetLoadStatus());
  EXPECT_EQ(before, Snapshot());
  holder.Kill();
  fs::remove(ready);
  EXPECT_EQ(VKU_LOAD_LOADED, Attach());
  EXPECT_TRUE(Has("C:\\A\\ONE.DAT"));
}

// A thread that ends while it holds the database mutex may have left a change half
// done: from then on the store is not written, by Flush or by the destructor.
TEST_F(StoreTest, AfterAThreadDiesInTheMiddleOfAChangeNothingIsWritten) {
  AddPath("C:\\A\\ONE.DAT");
  ASSERT_EQ(1, db_->Flush());
  Files before = Snapshot();
  AddPath("C:\\B\\TWO.DAT");
  std::thread([this] { Peer::LockMutex(db_); }).join();  // ends holding the mutex
  EXPECT_EQ(0, db_->Flush());
  EXPECT_EQ(vkl::SystemErrorCode(vkl::kErrorAbandoned), LastError());
  EXPECT_TRUE(Has("C:\\B\\TWO.DAT"));  // what is in memory can still be read
  Reopen();
  EXPECT_EQ(before, Snapshot());
  EXPECT_TRUE(Has("C:\\A\\ONE.DAT"));
  EXPECT_FALSE(Has("C:\\B\\TWO.DAT"));
}

#ifdef _WIN32
// The same at process exit: the library is unloaded (and the database written) after
// the other threads were ended, one of them perhaps inside LinkTo.
TEST_F(StoreTest, ExitingWhileAThreadChangesTheDatabaseLeavesAWholeStore) {
  Discard();
  int unchanged = 0;
  const int kRuns = 4;
  for (int run = 0; run < kRuns; ++run) {
    Place({});
    ChildProcess busy;
    ASSERT_TRUE(busy.Start(ProgramBeside("store_helper"), {"exit-busy", dir_}));
    ASSERT_EQ(0, busy.Wait());
    Bytes obj = ReadFile("obj.dat"), link = ReadFile("link.dat");
    EXPECT_EQ("", Inconsistency(obj, link)) << "run " << run;
    unchanged += link.size() == 8 + 21;  // the one link of the first flush
  }
  printf("%d of %d exits kept the first flush's store (the mutex was abandoned)\n", unchanged, kRuns);
}
#endif
