// Entry point of VKLinkDB.dll: records the module handle on load (for the library and
// for the protected lists, which are loaded from its resources when first asked) and
// destroys the shared database (writing the store if it changed) on unload, whatever
// its count.
#include <windows.h>
#include "Internal.h"
#include "ProtectedLists.h"

namespace vkl {
HMODULE g_hModule = NULL;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    vkl::g_hModule = instance;
    vkl::ScheduleProtectedLists(instance);
  } else if (reason == DLL_PROCESS_DETACH) {
    vkl::g_hModule = NULL;
    if (vkl::g_pSharedDB) vkl::DestroySharedDatabase();
  }
  return TRUE;
}
