/* vkshared.dll: the library both example applications use, installed once under the
   common files folder by whichever of their packages comes first. */
#include <windows.h>

__declspec(dllexport) int VkSharedGreeting(char* out, int size) {
  return lstrlenA(lstrcpynA(out, "hello from the shared library", size));
}
