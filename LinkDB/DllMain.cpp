// Entry point of VKLinkDB.dll: records the module handle on load and destroys the
// shared database (writing the store if it changed) on unload, whatever its count.
#include <windows.h>
#include "Internal.h"

namespace vkl {
HMODULE g_hModule = NULL;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    vkl::g_hModule = instance;
    // The protected file and registry lists are loaded here once the protection
    // module is part of the library.
  } else if (reason == DLL_PROCESS_DETACH) {
    vkl::g_hModule = NULL;
    if (vkl::g_pSharedDB) vkl::DestroySharedDatabase();
  }
  return TRUE;
}
