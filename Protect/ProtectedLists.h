// The protected lists of the running process: the release probe, the protected-file
// tree and the protected-key tree, filled from the list resources embedded in this
// library and inflated by qfpack.dll, the decompression module beside it.
//
// Process attach only records the library's module handle (ScheduleProtectedLists).
// The lists are loaded the first time a question needs them, once per process, under
// a lock of their own: loading means LoadLibrary of qfpack.dll, OleInitialize and the
// installer module that every CUtilsPath loads, none of which may run inside DllMain
// under the loader lock. Every answer is the one a load at process attach would give:
// the release is still probed when the library is loaded, and the lists depend on
// nothing else that changes. After loading, lookups take no lock.
//
// No failure is reported: a missing resource or qfpack.dll, a module without
// QfUnCompress, a failed inflation or an unknown release each leave that tree empty,
// and an empty tree answers 0 for every path but the lone empty one.
#ifndef VKLINKDB_PROTECT_PROTECTED_LISTS_H_
#define VKLINKDB_PROTECT_PROTECTED_LISTS_H_

#include <windows.h>

#include "VKLinkDB.h"

namespace vkl {

// Process attach: the module whose resources hold the lists and beside whose file
// qfpack.dll lies.
void ScheduleProtectedLists(HMODULE library);

// The two loaders, each run once: the WIN_FILES list of the release into the
// protected-file tree (directories filled first, lines expanded), then the WIN_REGS
// list into the protected-key tree (lines inserted as read). The argument means
// nothing; both answer 0.
int LoadProtectedFileList(void* unused);
int LoadProtectedKeyList(void* unused);

// The registry check: the root designation shortened (HKEY_LOCAL_MACHINE to HKLM,
// HKEY_CURRENT_USER to HKCU, HKEY_CURRENT_CONFIG to HKCC, HKEY_CLASSES_ROOT to HKCR,
// compared with its exact case), then the key looked up in the protected-key tree.
int IsProtectedRegKey(const char* keyPath);

}  // namespace vkl

#endif  // VKLINKDB_PROTECT_PROTECTED_LISTS_H_
