/* A stand-in for qfpack.dll whose QfUnCompress fails after filling the buffer with a
 * list that would protect C:\ and its Windows folder: the library must go by the
 * result, not by what the buffer holds. */
#include <string.h>

__declspec(dllexport) int __cdecl QfUnCompress(const void* in, int inCount, void* out, int outCapacity) {
  static const char kList[] = "%WindowsDir%\\win.ini\r\n%SystemDir%\\kernel32.dll\r\nHKLM\\Software\r\n";
  (void)in;
  (void)inCount;
  if (out && outCapacity > (int)sizeof kList) memcpy(out, kList, sizeof kList - 1);
  return 0;
}
