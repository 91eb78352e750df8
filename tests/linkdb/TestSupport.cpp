#include "TestSupport.h"
#include <errno.h>
#include <stdio.h>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <atomic>
#include <stdlib.h>
#include <thread>
#ifdef _WIN32
#include <malloc.h>
#include <string.h>
#include <windows.h>
#else
#include <pthread.h>
#endif

namespace fs = std::filesystem;

void OnThreads(int n, const std::function<void(int)>& fn) {
  std::vector<std::thread> threads;
  for (int t = 0; t < n; ++t) threads.emplace_back(fn, t);
  for (std::thread& th : threads) th.join();
}

void DbTest::SetUp() {
  static std::atomic<int> counter{0};
  fs::path p = fs::temp_directory_path() /
               ("vkl_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "_" +
                std::to_string(counter++) + "_" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
  fs::remove_all(p);
  fs::create_directories(p);
  dir_ = p.string();
  db_ = AttachDatabase(const_cast<char*>(dir_.c_str()));
  ASSERT_NE(nullptr, db_);
}

void DbTest::TearDown() {
  Discard();
  std::error_code ec;
  fs::remove_all(dir_, ec);
}

void DbTest::Discard() {
  for (CVKUObject* o : owned_) o->Release();
  owned_.clear();
  if (db_) {
    db_->SetSaveFlag(0);
    delete db_;
    db_ = nullptr;
  }
}

void DbTest::Reopen() {
  for (CVKUObject* o : owned_) o->Release();
  owned_.clear();
  delete db_;
  db_ = AttachDatabase(const_cast<char*>(dir_.c_str()));
  ASSERT_NE(nullptr, db_);
}

void DbTest::Load(const std::vector<unsigned char>& obj, const std::vector<unsigned char>& link) {
  Discard();
  WriteFile("obj.dat", obj);
  if (link.empty()) fs::remove(FilePath("link.dat"));
  else WriteFile("link.dat", link);
  db_ = AttachDatabase(const_cast<char*>(dir_.c_str()));
  ASSERT_NE(nullptr, db_);
}

std::string DbTest::FilePath(const char* name) const { return (fs::path(dir_) / name).string(); }

std::vector<unsigned char> DbTest::ReadFile(const char* name) const {
  std::ifstream in(FilePath(name), std::ios::binary);
  return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void DbTest::WriteFile(const char* name, const std::vector<unsigned char>& bytes) const {
  FILE* f = fopen(FilePath(name).c_str(), "wb");
  ASSERT_NE(nullptr, f);
  if (!bytes.empty()) fwrite(bytes.data(), 1, bytes.size(), f);
  fclose(f);
}

bool DbTest::FileExists(const char* name) const { return fs::exists(FilePath(name)); }

std::vector<std::string> DbTest::FolderFiles() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir_)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

unsigned long LastError() {
#ifdef _WIN32
  return GetLastError();
#else
  return static_cast<unsigned long>(errno);
#endif
}

CVKUObject* DbTest::Add(const char* name, unsigned long type, int persistent) {
  CVKUObject* o = db_->AddObject(const_cast<char*>(name), type, 0, 0, nullptr, persistent);
  EXPECT_NE(nullptr, o);
  if (o) owned_.push_back(o);
  return o;
}

std::string DbTest::FullPath(CVKUObject* o) {
  char buffer[260] = "";
  if (!o->GetFullPath(buffer)) return "<none>";
  return buffer;
}

std::string DbTest::Name(CVKUObject* o) {
  char buffer[300] = "";
  if (!o->GetName(buffer, sizeof(buffer))) return "<none>";
  return buffer;
}

static std::vector<unsigned long> Collect(CVKUObject* o, bool backwards) {
  std::vector<unsigned long> ids;
  CVKUObject* found = nullptr;
  double weight = 0;
  unsigned long find = backwards ? o->FindFirstReferencingApp(&found, &weight) : o->FindFirstDependentObject(&found, &weight);
  if (!find) return ids;
  do {
    EXPECT_EQ(1.0, weight);
    ids.push_back(found->GetUniqueID());
    found->Release();
    weight = 0;
  } while (o->FindNextDependentObject(find, &found, &weight));
  o->FindCloseDependentObject(find);
  return ids;
}

std::vector<unsigned long> DbTest::Dependencies(CVKUObject* o) { return Collect(o, false); }
std::vector<unsigned long> DbTest::ReferencingApps(CVKUObject* o) { return Collect(o, true); }

CVKUObject* DbTest::Find(const char* path) {
  CVKUObject* o = db_->GetObjectByPath(const_cast<char*>(path));
  if (o) owned_.push_back(o);
  return o;
}

CVKUObject* DbTest::AddPath(const std::string& path, unsigned long lastType) {
  CVKUObject* parent = nullptr;
  std::string sofar;
  size_t start = 0;
  for (;;) {
    size_t end = path.find('\\', start);
    std::string part = path.substr(start, end == std::string::npos ? std::string::npos : end - start);
    sofar += (sofar.empty() ? "" : "\\") + part;
    bool last = end == std::string::npos;
    CVKUObject* o = Find(sofar.c_str());
    if (!o) {
      o = Add(part.c_str(), !parent ? 1 : last ? lastType : 4);
      if (parent) Parent(parent, o);
    }
    parent = o;
    if (last) return parent;
    start = end + 1;
  }
}

std::string DbTest::SystemDir() {
#ifdef _WIN32
  char dir[260];
  return GetSystemDirectoryA(dir, sizeof(dir)) ? dir : "";
#else
  const char* dir = getenv("VKL_SYSTEM_DIR");
  return dir ? dir : "C:\\WINDOWS\\system32";
#endif
}

#ifdef _WIN32
static DWORD WINAPI RunFunction(LPVOID fn) {
  (*static_cast<const std::function<void()>*>(fn))();
  return 0;
}

static const size_t kPaintedStack = 512 * 1024;

__attribute__((noinline)) static void PaintStack() {
  unsigned char* area = static_cast<unsigned char*>(alloca(kPaintedStack));
  memset(area, 0xA5, kPaintedStack);
  asm volatile("" : : "r"(area) : "memory");
}

// The painted bytes at the bottom of the same area that nothing has written since.
__attribute__((noinline)) static size_t UntouchedStack() {
  volatile unsigned char* area = static_cast<unsigned char*>(alloca(kPaintedStack));
  size_t n = 0;
  while (n < kPaintedStack && area[n] == 0xA5) ++n;
  return n;
}

size_t StackBytesUsed(const std::function<void()>& fn) {
  PaintStack();
  fn();
  return kPaintedStack - UntouchedStack();
}

bool RunOnStack(size_t bytes, const std::function<void()>& fn) {
  HANDLE thread = CreateThread(nullptr, bytes, RunFunction, const_cast<std::function<void()>*>(&fn),
                               STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
  if (!thread) return false;
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
  return true;
}
#else
static void* RunFunction(void* fn) {
  (*static_cast<const std::function<void()>*>(fn))();
  return nullptr;
}

bool RunOnStack(size_t bytes, const std::function<void()>& fn) {
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setstacksize(&attr, bytes);
  pthread_t thread;
  int rc = pthread_create(&thread, &attr, RunFunction, const_cast<std::function<void()>*>(&fn));
  pthread_attr_destroy(&attr);
  if (rc != 0) return false;
  pthread_join(thread, nullptr);
  return true;
}
#endif
