// fake_installer: a quick stand-in for an installer in the tests of vkrecord.
//   fake_installer <folder> <key> <pid file> [wait] [fail N]
// Makes <folder>\new.txt, <folder>\sub\deep.txt and <folder>\tool.exe (a copy of itself,
// a program whose imports can be read), appends a line to <folder>\existing.txt when it
// is there, writes the values Created and Tool (the path of tool.exe) under HKCU\<key>,
// and then writes its process id to <pid file>. With "wait" it then waits (up to two
// minutes) to be killed; it ends with status N when told to fail.
#include <windows.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

int main(int argc, char** argv) {
  if (argc < 4) {
    fprintf(stderr, "usage: fake_installer <folder> <key> <pid file> [wait] [fail N]\n");
    return 2;
  }
  std::string folder = argv[1];
  bool wait = false;
  int fail = 0;
  for (int i = 4; i < argc; ++i) {
    if (!strcmp(argv[i], "wait")) wait = true;
    if (!strcmp(argv[i], "fail") && i + 1 < argc) fail = atoi(argv[++i]);
  }
  CreateDirectoryA(folder.c_str(), nullptr);
  CreateDirectoryA((folder + "\\sub").c_str(), nullptr);
  for (const char* name : {"\\new.txt", "\\sub\\deep.txt"}) {
    FILE* f = fopen((folder + name).c_str(), "wb");
    if (!f) return 3;
    fputs("made by fake_installer\r\n", f);
    fclose(f);
  }
  std::string existing = folder + "\\existing.txt";
  if (GetFileAttributesA(existing.c_str()) != INVALID_FILE_ATTRIBUTES) {
    FILE* f = fopen(existing.c_str(), "ab");
    if (!f) return 3;
    fputs("changed by fake_installer\r\n", f);
    fclose(f);
  }
  char self[MAX_PATH];
  GetModuleFileNameA(nullptr, self, sizeof self);
  std::string tool = folder + "\\tool.exe";
  if (!CopyFileA(self, tool.c_str(), FALSE)) return 3;
  HKEY key;
  if (RegCreateKeyExA(HKEY_CURRENT_USER, argv[2], 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr) != 0) return 3;
  RegSetValueExA(key, "Created", 0, REG_SZ, reinterpret_cast<const BYTE*>("1"), 2);
  RegSetValueExA(key, "Tool", 0, REG_SZ, reinterpret_cast<const BYTE*>(tool.c_str()), static_cast<DWORD>(tool.size() + 1));
  RegCloseKey(key);
  // The process id last, through a temporary, so that a reader never sees half of it.
  std::string pidFile = argv[3], temporary = pidFile + ".tmp";
  FILE* f = fopen(temporary.c_str(), "wb");
  if (!f) return 3;
  fprintf(f, "%lu", GetCurrentProcessId());
  fclose(f);
  MoveFileA(temporary.c_str(), pidFile.c_str());
  if (wait) Sleep(120000);
  return fail;
}
