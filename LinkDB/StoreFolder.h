// StoreFolder.h - the folder that holds a database's store, and the rules that keep the
// store whole there:
//   - one writer per folder: a lock file held while a database has the folder;
//   - a flush writes each file to a temporary name beside it and puts it in place only
//     once it is on the disk, so a kill leaves the old file or the new one;
//   - the generation file (Generation.h) names the pair; it is written before the new
//     files take their places, so that a load after a kill between the two replacements
//     finishes them from the temporaries instead of mixing two flushes;
//   - files that fail the checks are moved aside (obj.dat.bad, ...) before anything
//     would overwrite them.
// See docs/store-format.md, "How a store is written and recovered".
#ifndef VKLINKDB_STOREFOLDER_H
#define VKLINKDB_STOREFOLDER_H

#include <stdint.h>
#include <string>
#include <vector>
#include "Generation.h"
#include "Platform.h"

namespace vkl {

class StoreFolder {
 public:
  enum File { kObj = 0, kLink = 1 };

  // prefix: the folder's path ending in its separator ("C:\\DATA\\"). Without a folder
  // (hasFolder false) nothing is ever read or written.
  StoreFolder(const std::string& prefix, bool hasFolder);
  ~StoreFolder();  // lets go of the lock
  StoreFolder(const StoreFolder&) = delete;
  StoreFolder& operator=(const StoreFolder&) = delete;

  // Takes the folder's lock. kFolderBusy: another process has the folder, which must
  // then be left alone. kFolderUnwritable: the store may be read but is never written.
  FolderLockResult Lock();

  // Reads the pair into images[kObj], images[kLink] and says what it found:
  // VKU_LOAD_LOADED (the images are a whole store), VKU_LOAD_NEW (no store) or
  // VKU_LOAD_REJECTED (files that fail the checks: kept, and moved aside before the
  // first write). Finishes a replacement a kill interrupted and removes leftover
  // temporaries, if the folder can be written.
  unsigned long Read(std::vector<unsigned char> images[2]);

  bool Writable() const { return m_bWritable; }
  // From now on the store is not written; `error` tells Flush's callers why.
  void RefuseWrites(unsigned long error) {
    m_bWritable = false;
    m_dwWriteError = error;
  }

  // Before a flush writes its temporaries: finishes a pending replacement and moves
  // rejected files aside. False (with the system error set) if the folder must not be
  // written now.
  bool PrepareToWrite();

  std::string TempPath(File f) const;
  void DiscardTemp(File f) const;
  // Scratch space for the writers, kept from one flush to the next.
  std::vector<unsigned char>& Buffer() { return m_Buffer; }

  // Puts the flushed temporaries in place: the files with written[f] have a finished
  // temporary whose seal is seals[f]; the others stay as they are. The generation file
  // is replaced first: from then on a load gives the new store. False (temporaries
  // removed, the old store in place, the system error set) if that fails.
  bool Commit(const FileSeal seals[2], const bool written[2]);

 private:
  std::string Path(const char* name) const { return m_Prefix + name; }
  std::string FilePath(File f) const;
  bool MoveAside();

  std::string m_Prefix;
  bool m_bHasFolder;
  void* m_hLock = nullptr;
  bool m_bWritable = false;
  unsigned long m_dwWriteError = 0;  // why the folder cannot be written
  bool m_bMoveAside = false;         // rejected files wait to be moved aside
  bool m_bPending[2] = {false, false};  // a committed temporary still to be put in place
  uint32_t m_dwGeneration = 0;
  FileSeal m_Seals[2];  // what obj.dat and link.dat are now
  std::vector<unsigned char> m_Buffer;
};

}  // namespace vkl

#endif
