// Followups.h - what the recorder learns from the things an application brought or
// changed, once they are recorded: the DLLs each program or DLL imports (as name-only
// objects, and the file each name resolves to, which the application uses), the
// targets of its shortcuts, and the files its registry values name (from the texts the
// snapshot kept: reading every value again would cost a registry round trip each). The questions to
// the system go through SystemProbe, so that the logic runs natively in the tests.
#ifndef VKRECORD_FOLLOWUPS_H
#define VKRECORD_FOLLOWUPS_H

#include <string>
#include <vector>

#include "PeImports.h"
#include "Recorder.h"

namespace vkp {

class SystemProbe {
 public:
  virtual ~SystemProbe() = default;
  // The path of an existing file (not a folder), with the last component spelled as the
  // file system spells it; "" when there is no such file.
  virtual std::string ExistingFile(const std::string& path) = 0;
  virtual PeImports Imports(const std::string& path) = 0;
  // The file a shortcut starts; "" when it cannot be resolved.
  virtual std::string ShortcutTarget(const std::string& link) = 0;
  // Where a DLL imported by a file in `folder` is looked for, in order, as the database's
  // name-only resolution does: the folder, the system folder, on the NT line
  // <windows>\SYSTEM, the Windows folder.
  virtual std::vector<std::string> ImportFolders(const std::string& folder) = 0;
};

// One thing that was recorded: a file, or a registry value.
struct Recorded {
  Kind kind;
  std::string path;  // a file's path; a value's key
  std::string name;  // a value's name
  CVKUObject* object;
  std::string text;  // a value's text, as the snapshot kept it (SnapshotEntry::text)
};

struct FollowupCounts {
  size_t programs = 0;    // files whose imports were read
  size_t damaged = 0;     // of them, images the reader gave up on
  size_t shortcuts = 0;   // shortcuts resolved to a file
  size_t named = 0;       // files named by registry values
  size_t resolved = 0;    // imported names resolved to a file
  size_t unresolved = 0;  // imported names found nowhere
};

FollowupCounts FollowReferences(Recorder& recorder, SystemProbe& probe, const std::vector<Recorded>& things);

}  // namespace vkp

#endif
