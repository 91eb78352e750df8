// FolderWin32.cpp - the Folder.h seam on Windows.
#include <windows.h>

#include "Folder.h"

namespace vkp {

const char kSeparator = '\\';

bool FolderExists(const std::string& path) {
  DWORD attributes = GetFileAttributesA(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

std::string MakeScratchFolder() {
  char temp[MAX_PATH];
  DWORD n = GetTempPathA(sizeof temp, temp);
  if (n == 0 || n >= sizeof temp) return "";
  for (unsigned attempt = 0; attempt < 100; ++attempt) {
    std::string path = std::string(temp) + "vkdb." + std::to_string(GetCurrentProcessId()) + "." +
                       std::to_string(GetTickCount() + attempt);
    if (CreateDirectoryA(path.c_str(), nullptr)) return path;
  }
  return "";
}

void RemoveScratchFolder(const std::string& path) {
  WIN32_FIND_DATAA found;
  HANDLE find = FindFirstFileA((path + "\\*").c_str(), &found);
  if (find != INVALID_HANDLE_VALUE) {
    do {
      if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) DeleteFileA((path + "\\" + found.cFileName).c_str());
    } while (FindNextFileA(find, &found));
    FindClose(find);
  }
  RemoveDirectoryA(path.c_str());
}

int RenderWithDot(const std::string& dotFile, const std::string& svg) {
  std::string line = "dot -Tsvg -o \"" + svg + "\" \"" + dotFile + "\"";
  STARTUPINFOA start = {};
  start.cb = sizeof start;
  PROCESS_INFORMATION process;
  if (!CreateProcessA(nullptr, &line[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process)) return -1;
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD code = 1;
  GetExitCodeProcess(process.hProcess, &code);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return static_cast<int>(code);
}

}  // namespace vkp
