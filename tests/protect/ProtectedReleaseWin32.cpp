// Which lists the library answers from: the pair its release stands for and no other,
// none on a release it does not know; loaded whole for the first questions even when
// they come from several threads at once. And the library without a working
// qfpack.dll, shown by copies of this program run in folders of their own, each beside
// a copy of the library and a missing, export-less or failing qfpack.dll.
#include <windows.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "support/ListSupport.h"
#include "support/TestOptions.h"

using namespace listtest;

namespace {

Pair ExpectedHere() { return g_ExpectEmptyLists ? Pair{0, 0} : ExpectedPair(CNTAdminObject().GetOS()); }

// Every line of every list of a kind (files as full paths), with whether list `id` has it.
std::map<std::string, bool, NoCase> AllLines(const char* type, const int (&ids)[5], int id) {
  std::map<std::string, bool, NoCase> lines;
  for (int each : ids) {
    for (std::string line : Lines(ResourceText(GetModuleHandleA("VKLinkDB.dll"), each, type))) {
      if (type[4] == 'F') line = ExpandedPath(line);
      if (!line.empty()) lines[line] = lines[line] || each == id;
    }
  }
  return lines;
}

}  // namespace

TEST(ProtectedRelease, FirstQuestionsFromManyThreadsSeeTheWholeLists) {
  const auto files = AllLines("WIN_FILES", kFileIds, ExpectedHere().files);
  ASSERT_GT(files.size(), 500u);
  std::atomic<int> ready(0), wrong(0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      for (++ready; ready.load() < 8;) {
      }
      for (const auto& f : files) wrong += IsProtectedPath(f.first.c_str()) != (f.second ? 1 : 0);
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(0, wrong.load());
}

TEST(ProtectedRelease, TheListsOfTheReleaseAnswerAndNoOthers) {
  const Pair pair = ExpectedHere();
  std::printf("release %d: WIN_FILES %d, WIN_REGS %d%s\n", CNTAdminObject().GetOS(), pair.files, pair.keys,
              g_ExpectEmptyLists ? " (expected empty: no working qfpack.dll)" : "");
  std::vector<std::string> wrong;
  for (const auto& f : AllLines("WIN_FILES", kFileIds, pair.files))
    if (IsProtectedPath(f.first.c_str()) != (f.second ? 1 : 0)) wrong.push_back(f.first);
  // Registry keys, asked as the leaf each line is stored as (its CR included): every
  // line that some list lacks and every 500th of the others, half of them under the
  // long root designation.
  std::map<std::string, int> holders;
  for (int id : kKeyIds)
    for (const std::string& line : Lines(ResourceText(GetModuleHandleA("VKLinkDB.dll"), id, "WIN_REGS"))) ++holders[line];
  const auto keys = AllLines("WIN_REGS", kKeyIds, pair.keys);
  ScratchDatabase db;
  ASSERT_NE(nullptr, db.get());
  size_t asked = 0, common = 0;
  for (const auto& k : keys) {
    if (holders[k.first] == 5 && common++ % 500 != 0) continue;
    std::string key = ++asked % 2 ? k.first : (k.first[2] == 'L' ? "HKEY_LOCAL_MACHINE" : "HKEY_CURRENT_USER") + k.first.substr(4);
    CVKUObject* object = db.Key(key + "\r");
    if (!object || object->IsProtected() != (k.second ? 1 : 0)) wrong.push_back(key);
  }
  EXPECT_GT(asked, 20u);
  for (size_t i = 0; i < wrong.size() && i < 5; ++i) ADD_FAILURE() << "wrong answer for " << wrong[i];
  EXPECT_EQ(0u, wrong.size());
}

TEST(ProtectedRelease, TheLibraryLoadsWithoutAWorkingDecompressor) {
  const struct {
    const char* tag;
    const char* module;  // what lies beside the library as qfpack.dll
    bool loads;
  } scenarios[] = {{"control", "qfpack.dll", true}, {"missing", nullptr, false}, {"noexport", "zlib1.dll", false},
                   {"failing", "qfpack_failing.dll", false}};
  const std::string program = ModuleName(nullptr);
  for (const auto& s : scenarios) {
    ScratchFolder folder(s.tag);
    WIN32_FIND_DATAA found;
    HANDLE find = FindFirstFileA((ModuleDir(nullptr) + "*.dll").c_str(), &found);
    for (BOOL more = find != INVALID_HANDLE_VALUE; more; more = FindNextFileA(find, &found)) {
      if (_strnicmp(found.cFileName, "qfpack", 6) != 0) {
        ASSERT_TRUE(folder.Take(found.cFileName));
      }
    }
    FindClose(find);
    ASSERT_TRUE(folder.Take(program) && (!s.module || folder.Take(s.module, "qfpack.dll"))) << s.tag;

    std::string command = "\"" + folder.Path() + program + "\" --gtest_filter=ProtectedRelease.FirstQuestions*:" +
                          "ProtectedRelease.TheListsOf*" + (s.loads ? "" : " --expect-empty");
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    ASSERT_TRUE(CreateProcessA(nullptr, &command[0], nullptr, nullptr, TRUE, 0, nullptr, folder.Path().c_str(),
                               &startup, &process));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(process.hProcess, 300000)) << s.tag;
    DWORD code = 1;
    GetExitCodeProcess(process.hProcess, &code);
    EXPECT_EQ(0u, code) << s.tag << ": the copy's tests failed (see its output above)";
    TerminateProcess(process.hProcess, 1);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
  }
}
