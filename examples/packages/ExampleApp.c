/* one.exe and two.exe, the example applications (APP_NAME tells them apart): each
   imports vkshared.dll, the C runtime and KERNEL32.DLL. */
#include <stdio.h>

__declspec(dllimport) int VkSharedGreeting(char* out, int size);

int main(void) {
  char greeting[64];
  VkSharedGreeting(greeting, sizeof greeting);
  printf("%s: %s\n", APP_NAME, greeting);
  return 0;
}
