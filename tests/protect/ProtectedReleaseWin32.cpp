// Which lists the library answers from: the pair its release stands for, and no other;
// none on a release it does not know. And the library's behaviour without a working
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

// The pair this process's lists must come from.
Pair ExpectedHere() {
  CNTAdminObject probe;
  return g_ExpectEmptyLists ? Pair{0, 0} : ExpectedPair(probe.GetOS());
}

HMODULE Library() { return GetModuleHandleA("VKLinkDB.dll"); }

// Every file of every list as a full path, with whether the expected list holds it.
std::map<std::string, bool, NoCase> FilePathsAndAnswers(int expectedId) {
  std::map<std::string, bool, NoCase> answers;
  for (int id : kFileIds) {
    for (const std::string& line : Lines(ResourceText(Library(), id, "WIN_FILES"))) {
      std::string path = ExpandedPath(line);
      if (path.empty()) continue;
      answers[path] = answers[path] || id == expectedId;
    }
  }
  return answers;
}

// Up to five paths that answered wrongly, for the failure message.
std::string Sample(const std::vector<std::string>& wrong) {
  std::string text;
  for (size_t i = 0; i < wrong.size() && i < 5; ++i) text += "\n  " + wrong[i];
  return text;
}

}  // namespace

// The first questions of the process come from several threads at once: each must see
// the lists whole, loaded once for all of them.
TEST(ProtectedRelease, FirstQuestionsFromManyThreadsSeeTheWholeLists) {
  const std::map<std::string, bool, NoCase> answers = FilePathsAndAnswers(ExpectedHere().files);
  ASSERT_GT(answers.size(), 500u);
  std::atomic<int> ready(0), wrong(0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      ++ready;
      while (ready.load() < 8) {
      }
      for (const auto& a : answers) wrong += IsProtectedPath(a.first.c_str()) != (a.second ? 1 : 0);
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(0, wrong.load());
}

TEST(ProtectedRelease, TheListsOfTheReleaseAnswerAndNoOthers) {
  const Pair pair = ExpectedHere();
  CNTAdminObject probe;
  std::printf("release %d: WIN_FILES %d, WIN_REGS %d%s\n", probe.GetOS(), pair.files, pair.keys,
              g_ExpectEmptyLists ? " (none: no working qfpack.dll)" : "");

  std::vector<std::string> wrong;
  size_t listed = 0;
  for (const auto& a : FilePathsAndAnswers(pair.files)) {
    listed += a.second;
    if (IsProtectedPath(a.first.c_str()) != (a.second ? 1 : 0)) wrong.push_back(a.first);
  }
  EXPECT_TRUE(wrong.empty()) << wrong.size() << " file paths answered wrongly:" << Sample(wrong);
  if (pair.files) {
    EXPECT_GT(listed, 500u);
  }

  // Registry keys: every line that some list lacks, and a sample of the common ones,
  // asked as the leaf each line is stored as (its CR included), half of them under the
  // long root designation.
  std::map<std::string, int> holders;
  std::map<std::string, bool> inExpected;
  for (int id : kKeyIds) {
    for (const std::string& line : Lines(ResourceText(Library(), id, "WIN_REGS"))) {
      if (line.empty()) continue;
      ++holders[line];
      inExpected[line] = inExpected[line] || id == pair.keys;
    }
  }
  ASSERT_GT(holders.size(), 1000u);
  ScratchDatabase db;
  ASSERT_NE(nullptr, db.get());
  wrong.clear();
  size_t asked = 0, common = 0;
  for (const auto& h : holders) {
    if (h.second == 5 && common++ % 500 != 0) continue;
    std::string key = h.first;
    if (++asked % 2) key = (key.compare(0, 5, "HKLM\\") == 0 ? "HKEY_LOCAL_MACHINE" : "HKEY_CURRENT_USER") + key.substr(4);
    CVKUObject* object = db.Key(key + "\r");
    ASSERT_NE(nullptr, object);
    if (object->IsProtected() != (inExpected[h.first] ? 1 : 0)) wrong.push_back(key);
  }
  EXPECT_TRUE(wrong.empty()) << wrong.size() << " of " << asked << " keys answered wrongly:" << Sample(wrong);
}

// The library loads and answers without a working decompression module; a copy with
// the real module beside it shows that the copies themselves work.
TEST(ProtectedRelease, TheLibraryLoadsWithoutAWorkingDecompressor) {
  const struct {
    const char* tag;
    const char* module;  // what lies beside the library as qfpack.dll
    bool empty;
  } scenarios[] = {
      {"control", "qfpack.dll", false},
      {"missing", nullptr, true},
      {"noexport", "zlib1.dll", true},
      {"failing", "qfpack_failing.dll", true},
  };
  const std::string program = ModuleName(nullptr);
  for (const auto& s : scenarios) {
    ScratchFolder folder(s.tag);
    ASSERT_TRUE(folder.Take(program)) << s.tag;
    WIN32_FIND_DATAA found;
    HANDLE find = FindFirstFileA((ModuleDir(nullptr) + "*.dll").c_str(), &found);
    ASSERT_NE(INVALID_HANDLE_VALUE, find);
    do {
      if (_strnicmp(found.cFileName, "qfpack", 6) != 0) {
        ASSERT_TRUE(folder.Take(found.cFileName)) << found.cFileName;
      }
    } while (FindNextFileA(find, &found));
    FindClose(find);
    if (s.module) {
      ASSERT_TRUE(folder.Take(s.module, "qfpack.dll")) << s.tag;
    }

    std::string command = "\"" + folder.Path() + program +
                          "\" --gtest_filter=ProtectedRelease.FirstQuestions*:ProtectedRelease.TheListsOf*" +
                          (s.empty ? " --expect-empty" : "");
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    ASSERT_TRUE(CreateProcessA(nullptr, &command[0], nullptr, nullptr, TRUE, 0, nullptr, folder.Path().c_str(),
                               &startup, &process))
        << s.tag;
    DWORD waited = WaitForSingleObject(process.hProcess, 300000);
    DWORD code = 1;
    GetExitCodeProcess(process.hProcess, &code);
    if (waited != WAIT_OBJECT_0) TerminateProcess(process.hProcess, 1);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    EXPECT_EQ(WAIT_OBJECT_0, waited) << s.tag;
    EXPECT_EQ(0u, code) << s.tag << ": the copy's tests failed (see its output above)";
  }
}
