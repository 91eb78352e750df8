// CUtilsPath and DiskIO against plain Win32 and run-time calls in the same run:
//  - MakeFullPath on 100,000 generated relative paths against GetFullPathNameA, and
//    the same rules applied to plain strings (compiled in from Utils/System), which
//    shows what storing the result in the path's UtilsString costs;
//  - the file-name split on the same paths against _splitpath (the char form, which
//    fills caller buffers as _splitpath does, and the UtilsString form);
//  - DiskIO writing and reading a file in records of 4 KiB and 64 KiB against
//    WriteFile and ReadFile. The file is 256 MiB unless a size in MiB is given as the
//    first argument (paths_bench.exe 16).
// Inputs are built before the clock starts on both sides; each figure is the best of
// three rounds, and the class's time over the plain time is printed. The scratch file
// is removed at the end.
#include <stdlib.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "BenchClock.h"
#include "CUtilsPath"
#include "PathText.h"
#include "diskio"

namespace {

using UTILS::CUtilsPath;
using UTILS::DiskIO;
using UTILS::UtilsString;

const int kPaths = 100000;
const int kRounds = 3;

using bench::Now;

template <class F>
double Best(F run) {
  return bench::Best(run, kRounds);
}

void Report(const char* what, double ours, double plain) {
  std::printf("%-44s %9.3f ms %9.3f ms   ratio %.2f\n", what, ours * 1e3, plain * 1e3, ours / plain);
}

// MakeFullPath is the class's own step; this exposes it on the object's path. Putting
// the relative text into the path is timed on its own and taken off.
class Normaliser : public CUtilsPath {
 public:
  void Put(const UtilsString& relative) {
    m_Path.Erase();
    m_Path.Append(relative);
  }
  const char* Full(const UtilsString& relative) {
    Put(relative);
    MakeFullPath(m_Empty);
    return m_Path.c_str();
  }

 private:
  UtilsString m_Empty;
};

std::string CurrentDirectory() {
  char buffer[MAX_PATH];
  DWORD n = GetCurrentDirectoryA(sizeof buffer, buffer);
  return std::string(buffer, n);
}

std::vector<std::string> GeneratePaths() {
  const char* names[] = {"dir", "Program Files", "a", "system32", "data.bin", "archive.tar.gz",
                         "README", "x.y", "long name with spaces.text", "v1.2.3"};
  const char* starts[] = {"", ".\\", "..\\", "..\\..\\", "sub\\"};
  std::mt19937 rng(20240);
  std::vector<std::string> paths;
  for (int i = 0; i < kPaths; ++i) {
    std::string path = starts[rng() % 5];
    for (int parts = 1 + rng() % 5; parts > 0; --parts) {
      path += names[rng() % 10];
      if (parts > 1) path += "\\";
    }
    paths.push_back(path);
  }
  return paths;
}

void PathBenchmarks() {
  std::vector<std::string> paths = GeneratePaths();
  std::vector<UtilsString> texts(paths.begin(), paths.end());
  Normaliser normaliser;
  unsigned long sink = 0;
  double ours = Best([&] {
    for (const UtilsString& text : texts) sink += normaliser.Full(text)[3];
  });
  double putting = Best([&] {
    for (const UtilsString& text : texts) normaliser.Put(text);
  });
  char full[MAX_PATH];
  double plain = Best([&] {
    for (const std::string& path : paths) {
      GetFullPathNameA(path.c_str(), sizeof full, full, nullptr);
      sink += full[3];
    }
  });
  // The rules alone, on plain strings, without the path object's string.
  double rules = Best([&] {
    for (const std::string& path : paths) {
      std::string text = path;
      int unc = 0;
      vkl::pathtext::CutEndingSlash(text);
      vkl::pathtext::MakeFull(text, std::string(), CurrentDirectory, false, unc);
      sink += text[3];
    }
  });
  Report("MakeFullPath / GetFullPathNameA", ours - putting, plain);
  Report("  the rules on plain strings / GetFullPathNameA", rules, plain);

  char name[MAX_PATH], ext[MAX_PATH], drive[_MAX_DRIVE], dir[_MAX_DIR];
  ours = Best([&] {
    for (const std::string& path : paths) {
      CUtilsPath::GetFileNameFromPath(path.c_str(), name, ext, 0);
      sink += name[0] + ext[0];
    }
  });
  plain = Best([&] {
    for (const std::string& path : paths) {
      _splitpath(path.c_str(), drive, dir, name, ext);
      sink += name[0] + ext[0];
    }
  });
  Report("GetFileNameFromPath (char) / _splitpath", ours, plain);
  UtilsString uname, uext;
  double utils = Best([&] {
    for (const UtilsString& text : texts) {
      CUtilsPath::GetFileNameFromPath(text, uname, uext, 0);
      sink += uname.length();
    }
  });
  Report("GetFileNameFromPath (UtilsString) / _splitpath", utils, plain);
  if (sink == 1) std::printf(" ");
}

void FileBenchmarks(unsigned long mebibytes) {
  char temp[MAX_PATH];
  GetTempPathA(sizeof temp, temp);
  std::string name = std::string(temp) + "paths_bench." + std::to_string(GetCurrentProcessId());
  const unsigned long total = mebibytes << 20;
  std::printf("file of %lu MiB\n", mebibytes);
  for (unsigned long record : {4096UL, 65536UL}) {
    std::vector<char> buffer(record, 'b');
    unsigned long records = total / record;
    double oursWrite = Best([&] {
      DiskIO file(name.c_str(), GENERIC_WRITE, 0, CREATE_ALWAYS, 0);
      for (unsigned long i = 0; i < records; ++i) file.Write(buffer.data(), record);
    });
    double plainWrite = Best([&] {
      HANDLE file = CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                FILE_ATTRIBUTE_NORMAL | FILE_FLAG_RANDOM_ACCESS, nullptr);
      DWORD done = 0;
      for (unsigned long i = 0; i < records; ++i) WriteFile(file, buffer.data(), record, &done, 0);
      FlushFileBuffers(file);
      CloseHandle(file);
    });
    double oursRead = Best([&] {
      DiskIO file(name.c_str(), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0);
      for (unsigned long i = 0; i < records; ++i) file.Read(buffer.data(), record);
    });
    double plainRead = Best([&] {
      HANDLE file = CreateFileA(name.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL | FILE_FLAG_RANDOM_ACCESS, nullptr);
      DWORD done = 0;
      for (unsigned long i = 0; i < records; ++i) ReadFile(file, buffer.data(), record, &done, 0);
      FlushFileBuffers(file);
      CloseHandle(file);
    });
    std::string label = " in " + std::to_string(record / 1024) + " KiB records";
    Report(("DiskIO::Write / WriteFile" + label).c_str(), oursWrite, plainWrite);
    Report(("DiskIO::Read / ReadFile" + label).c_str(), oursRead, plainRead);
  }
  DeleteFileA(name.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  unsigned long mebibytes = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 256;
  if (mebibytes == 0) mebibytes = 256;
  std::printf("%-44s %12s %12s\n", "", "class", "plain");
  PathBenchmarks();
  FileBenchmarks(mebibytes);
  return 0;
}
