// The protected lists in the DLL under the release that has the largest pair (Windows
// 2000 and XP: WIN_FILES 101 and WIN_REGS 110): the time to load them (a fresh copy of
// the library, loaded, asked its first question, freed; five rounds), IsProtectedPath
// lookups per second, and the size of the library with its list resources.
//
// Under Wine a newer release is presented by default, for which the library has no
// lists: the program then asks Wine to present Windows XP to itself and runs again.
#include <windows.h>
#include <stdio.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "support/ListSupport.h"

using namespace listtest;
using Clock = std::chrono::steady_clock;

namespace {

typedef int (*IsProtectedPathFn)(const char*);

double Ms(Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); }

bool UnderWine() { return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr; }

// Asks Wine to present Windows XP to this program and runs it again; its exit code.
int RunAgainAsXP() {
  std::string key = "Software\\Wine\\AppDefaults\\" + ModuleName(nullptr);
  HKEY h;
  if (RegCreateKeyA(HKEY_CURRENT_USER, key.c_str(), &h) != ERROR_SUCCESS) return 1;
  RegSetValueExA(h, "Version", 0, REG_SZ, reinterpret_cast<const BYTE*>("winxp"), 6);
  RegCloseKey(h);
  std::string command = "\"" + ModuleDir(nullptr) + ModuleName(nullptr) + "\"";
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  if (!CreateProcessA(nullptr, &command[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process)) return 1;
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD code = 1;
  GetExitCodeProcess(process.hProcess, &code);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return static_cast<int>(code);
}

DWORD FileSize(const std::string& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  return GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data) ? data.nFileSizeLow : 0;
}

}  // namespace

int main() {
  CNTAdminObject probe;
  const Pair pair = ExpectedPair(probe.GetOS());
  if (pair.files != 101) {
    if (UnderWine() && probe.GetOS() == OS_UNKNOWN) return RunAgainAsXP();
    printf("protect_bench: release %d has not the largest lists; run it on Windows 2000 or XP\n", probe.GetOS());
    return 0;
  }
  HMODULE library = GetModuleHandleA("VKLinkDB.dll");
  std::vector<std::string> listed, below;
  for (const std::string& line : Lines(ResourceText(library, pair.files, "WIN_FILES"))) {
    std::string path = ExpandedPath(line);
    if (path.empty()) continue;
    listed.push_back(path);
    below.push_back(path + "\\more");
  }

  // Load time: a copy of the library, so that each round loads it afresh.
  ScratchFolder folder("bench");
  if (!folder.Take("VKLinkDB.dll", "VKLinkDBcopy.dll", true) || !folder.Take("qfpack.dll")) return 1;
  std::vector<double> loads, firsts;
  for (int round = 0; round < 5; ++round) {
    Clock::time_point t0 = Clock::now();
    HMODULE copy = LoadLibraryA((folder.Path() + "VKLinkDBcopy.dll").c_str());
    Clock::time_point t1 = Clock::now();
    IsProtectedPathFn ask = copy ? reinterpret_cast<IsProtectedPathFn>(
                                       reinterpret_cast<void (*)()>(GetProcAddress(copy, "IsProtectedPath")))
                                 : nullptr;
    if (!ask || ask(listed.front().c_str()) != 1) {
      printf("protect_bench: the copy of the library did not load its lists\n");
      return 1;
    }
    Clock::time_point t2 = Clock::now();
    FreeLibrary(copy);
    loads.push_back(Ms(t1 - t0));
    firsts.push_back(Ms(t2 - t1));
  }
  std::sort(loads.begin(), loads.end());
  std::sort(firsts.begin(), firsts.end());
  printf("LoadLibrary of the DLL: %.1f ms (median of 5)\n", loads[2]);
  printf("loading WIN_FILES 101 + WIN_REGS 110 at the first question: %.1f ms (median of 5, best %.1f)\n", firsts[2],
         firsts[0]);

  for (const std::vector<std::string>* paths : {&listed, &below}) {
    size_t done = 0, hits = 0;
    Clock::time_point start = Clock::now();
    do {
      for (const std::string& p : *paths) hits += IsProtectedPath(p.c_str());
      done += paths->size();
    } while (Ms(Clock::now() - start) < 1000);
    printf("IsProtectedPath, %s: %.0f lookups per second (%zu hits)\n",
           paths == &listed ? "listed files" : "one component below them", done / (Ms(Clock::now() - start) / 1000),
           hits);
  }

  DWORD resources = 0;
  for (int id : kFileIds) resources += SizeofResource(library, FindResourceA(library, MAKEINTRESOURCEA(id), "WIN_FILES"));
  for (int id : kKeyIds) resources += SizeofResource(library, FindResourceA(library, MAKEINTRESOURCEA(id), "WIN_REGS"));
  printf("VKLinkDB.dll: %lu bytes, of which %lu are the ten list resources; qfpack.dll: %lu bytes\n",
         FileSize(ModuleDir(library) + "VKLinkDB.dll"), resources, FileSize(ModuleDir(library) + "qfpack.dll"));
  return 0;
}
