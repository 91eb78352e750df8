// CUtilsPath's tree work and shortcut resolution against plain calls in the same run:
//  - SearchTree("*.*") over a generated tree of 20,000 files in 2,000 directories
//    (40 folders of 49 sub-folders, ten empty files in each), against the same walk
//    with std::filesystem::recursive_directory_iterator and with FindFirstFileA
//    recursion, each collecting the full paths of files and directories;
//  - DeleteDir of that tree against std::filesystem::remove_all of an identical one;
//  - ResolveLinkFile on 1,000 plain shortcuts (long names) against the shell link
//    object's Load, Resolve and GetPath called directly.
// Searches are the best of three rounds; a deletion runs once per side, on a tree
// made for it. Everything is made under <temp>\tree_bench.<pid> and removed at the end.
#include <objbase.h>
#include <shlobj.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "BenchClock.h"
#include "CUtilsPath"

namespace {

using UTILS::CUtilsPath;
using UTILS::UtilsString;
namespace fs = std::filesystem;

const int kTopFolders = 40, kSubFolders = 49, kFilesPerFolder = 10, kLinks = 1000, kRounds = 3;

using bench::Now;

template <class F>
double Time(F run, int rounds = kRounds) {
  return bench::Best(run, rounds);
}

void Report(const char* what, double ours, double plain) {
  std::printf("%-52s %10.1f ms %10.1f ms   ratio %.2f\n", what, ours * 1e3, plain * 1e3,
              ours / plain);
}

void MakeFiles(const std::string& dir) {
  CreateDirectoryA(dir.c_str(), nullptr);
  for (int f = 0; f < kFilesPerFolder; ++f) {
    std::string name = dir + "\\file " + std::to_string(f) + ".dat";
    CloseHandle(CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  }
}

void MakeTree(const std::string& root) {
  CreateDirectoryA(root.c_str(), nullptr);
  for (int t = 0; t < kTopFolders; ++t) {
    std::string top = root + "\\folder " + std::to_string(t);
    MakeFiles(top);
    for (int s = 0; s < kSubFolders; ++s) MakeFiles(top + "\\sub." + std::to_string(s));
  }
}

void FindWalk(const std::string& dir, std::vector<std::string>& files,
              std::vector<std::string>& dirs) {
  WIN32_FIND_DATAA data;
  HANDLE find = FindFirstFileA((dir + "\\*.*").c_str(), &data);
  if (find == INVALID_HANDLE_VALUE) return;
  do {
    std::string name = data.cFileName;
    if (name == "." || name == "..") continue;
    std::string full = dir + "\\" + name;
    if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
      dirs.push_back(full);
      FindWalk(full, files, dirs);
    } else {
      files.push_back(full);
    }
  } while (FindNextFileA(find, &data));
  FindClose(find);
}

void TreeBenchmarks(const std::string& base) {
  const std::string root = base + "\\tree", copy = base + "\\tree copy";
  double made = Now();
  MakeTree(root);
  MakeTree(copy);
  std::printf("two trees of %d files in %d directories made in %.1f s\n",
              kTopFolders * (kSubFolders + 1) * kFilesPerFolder, kTopFolders * (kSubFolders + 1),
              Now() - made);

  CUtilsPath tree(UtilsString(root.c_str()));
  unsigned long found = 0;
  double ours = Time([&] {
    tree.SearchTree(UtilsString("*.*"));
    found = tree.GetTotalFiles() + tree.GetTotalSubDirs();
  });
  size_t walked = 0;
  double filesystem = Time([&] {
    std::vector<std::string> files, dirs;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root))
      (entry.is_directory() ? dirs : files).push_back(entry.path().string());
    walked = files.size() + dirs.size();
  });
  double plain = Time([&] {
    std::vector<std::string> files, dirs;
    FindWalk(root, files, dirs);
  });
  std::printf("entries: SearchTree %lu, std::filesystem %zu\n", found, walked);
  Report("SearchTree(\"*.*\") / std::filesystem walk", ours, filesystem);
  Report("SearchTree(\"*.*\") / FindFirstFileA recursion", ours, plain);

  double deleteOurs = Time([&] { tree.DeleteDir(); }, 1);
  double deleteFs = Time([&] { fs::remove_all(copy); }, 1);
  Report("DeleteDir / std::filesystem::remove_all", deleteOurs, deleteFs);
}

void LinkBenchmarks(const std::string& base) {
  const std::string dir = base + "\\links with long names";
  CreateDirectoryA(dir.c_str(), nullptr);
  const std::string target = dir + "\\the target of every link.text";
  CloseHandle(CreateFileA(target.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  CUtilsPath path;
  std::vector<std::string> links;
  for (int i = 0; i < kLinks; ++i) {
    links.push_back(dir + "\\shortcut number " + std::to_string(i) + ".lnk");
    path.CreateLinkFile(UtilsString(target.c_str()), UtilsString(links.back().c_str()),
                        UtilsString("bench"));
  }
  int resolved = 0;
  UtilsString answer;
  double ours = Time([&] {
    for (const std::string& link : links)
      resolved += path.ResolveLinkFile(UtilsString(link.c_str()), answer, 1);
  });
  int plainResolved = 0;
  double plain = Time([&] {
    CoInitialize(nullptr);
    for (const std::string& link : links) {
      IShellLinkA* shellLink = nullptr;
      IPersistFile* file = nullptr;
      char buffer[MAX_PATH + 1];
      std::wstring wide(link.begin(), link.end());
      if (SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER,
                                     IID_IShellLinkA, reinterpret_cast<void**>(&shellLink))) &&
          SUCCEEDED(shellLink->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file))) &&
          SUCCEEDED(file->Load(wide.c_str(), STGM_READ)) &&
          SUCCEEDED(shellLink->Resolve(nullptr, 0x012C0013)) &&
          shellLink->GetPath(buffer, sizeof buffer, nullptr, SLGP_UNCPRIORITY) == S_OK)
        ++plainResolved;
      if (file) file->Release();
      if (shellLink) shellLink->Release();
    }
    CoUninitialize();
  });
  std::printf("links resolved: ResolveLinkFile %d, shell object %d (three rounds each)\n", resolved,
              plainResolved);
  Report("ResolveLinkFile, 1,000 plain links / shell object", ours, plain);
  for (const std::string& link : links) DeleteFileA(link.c_str());
  DeleteFileA(target.c_str());
  RemoveDirectoryA(dir.c_str());
}

}  // namespace

int main() {
  char temp[MAX_PATH];
  GetTempPathA(sizeof temp, temp);
  const std::string base = std::string(temp) + "tree_bench." + std::to_string(GetCurrentProcessId());
  CreateDirectoryA(base.c_str(), nullptr);
  std::printf("%-52s %13s %13s\n", "", "class", "plain");
  TreeBenchmarks(base);
  LinkBenchmarks(base);
  std::error_code ignored;
  fs::remove_all(base, ignored);
  return 0;
}
