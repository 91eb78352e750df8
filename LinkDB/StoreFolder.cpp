// The store folder: lock, reading with recovery, and replacing the pair (see
// StoreFolder.h and docs/store-format.md).
#include "StoreFolder.h"
#include <string.h>
#include <string>
#include "Internal.h"
#include "StoreFormat.h"

namespace vkl {

namespace {

const char* const kFileNames[2] = {"obj.dat", "link.dat"};
const char kGenerationName[] = "store.gen";
const char kLockName[] = "store.lck";
const char kTempSuffix[] = ".tmp";
const char kBadSuffix[] = ".bad";

enum ReadResult { kAbsent, kRead, kUnreadable };

ReadResult ReadWholeFile(const std::string& path, std::vector<unsigned char>& out) {
  out.clear();
  FILE* f = OpenFile(path.c_str(), "rb");
  if (!f) return StoreFileExists(path.c_str()) ? kUnreadable : kAbsent;
  bool ok = true;
  try {
    if (fseek(f, 0, SEEK_END) == 0) {
      long size = ftell(f);
      if (size > 0) out.reserve(static_cast<size_t>(size));
      fseek(f, 0, SEEK_SET);
    }
    unsigned char chunk[65536];
    size_t n;
    while ((n = fread(chunk, 1, sizeof(chunk), f)) > 0) out.insert(out.end(), chunk, chunk + n);
    ok = !ferror(f);
  } catch (...) {  // no memory for the image
    ok = false;
  }
  fclose(f);
  if (!ok) out.clear();
  return ok ? kRead : kUnreadable;
}

}  // namespace

StoreFolder::StoreFolder(const std::string& prefix, bool hasFolder)
    : m_Prefix(prefix), m_bHasFolder(hasFolder) {
  m_Seals[kObj] = m_Seals[kLink] = AbsentFile();
}

StoreFolder::~StoreFolder() { StoreFolderUnlock(m_hLock); }

std::string StoreFolder::FilePath(File f) const { return Path(kFileNames[f]); }
std::string StoreFolder::TempPath(File f) const { return FilePath(f) + kTempSuffix; }

void StoreFolder::DiscardTemp(File f) const {
  unsigned long error = LastSystemError();
  StoreFileRemove(TempPath(f).c_str());
  SetSystemError(error);
}

FolderLockResult StoreFolder::Lock() {
  if (!m_bHasFolder) {
    m_dwWriteError = SystemErrorCode(kErrorNoFolder);
    return kFolderUnwritable;
  }
  FolderLockResult result = StoreFolderLock(Path(kLockName).c_str(), &m_hLock);
  m_bWritable = result == kFolderLocked;
  if (!m_bWritable) m_dwWriteError = LastSystemError();
  return result;
}

unsigned long StoreFolder::Read(std::vector<unsigned char> images[2]) {
  if (!m_bHasFolder) return VKU_LOAD_NEW;
  ReadResult state[2];
  for (int f = kObj; f <= kLink; ++f) {
    state[f] = ReadWholeFile(FilePath(File(f)), images[f]);
    m_Seals[f] = state[f] == kRead ? SealOf(images[f]) : AbsentFile();
  }

  // With a generation file, the pair must be the one it names. A file that does not
  // fit may still have its committed temporary beside it: a kill came between the
  // replacement of the generation file and that of the store file, and the temporary
  // is the file to load.
  bool mixed = false, fromTemp[2] = {false, false};
  std::vector<unsigned char> bytes;
  GenerationRecord record;
  if (ReadWholeFile(Path(kGenerationName), bytes) == kRead && DecodeGeneration(bytes, &record)) {
    const FileSeal* named[2] = {&record.obj, &record.link};
    bool fits[2];
    for (int f = kObj; f <= kLink; ++f) {
      fits[f] = state[f] != kUnreadable && m_Seals[f] == *named[f];
      std::vector<unsigned char> temp;
      if (!fits[f] && named[f]->bPresent && ReadWholeFile(TempPath(File(f)), temp) == kRead &&
          SealOf(temp) == *named[f]) {
        images[f].swap(temp);
        state[f] = kRead;
        m_Seals[f] = *named[f];
        fits[f] = fromTemp[f] = true;
      }
    }
    m_dwGeneration = record.dwGeneration;
    // One file of the named pair beside a file of another flush is refused. When
    // neither fits, both were written by a writer that does not keep the generation
    // file, and the pair loads as it is.
    mixed = fits[kObj] != fits[kLink];
  }

  unsigned long outcome;
  if (mixed || state[kObj] == kUnreadable || state[kLink] == kUnreadable) {
    outcome = VKU_LOAD_REJECTED;
  } else if (state[kObj] == kAbsent && state[kLink] == kAbsent) {
    outcome = VKU_LOAD_NEW;
  } else if (StoreImageValid(images[kObj]) && StoreImageValid(images[kLink])) {
    outcome = VKU_LOAD_LOADED;
  } else {
    outcome = VKU_LOAD_REJECTED;
  }
  // Files that hold no more than a header have nothing to keep.
  if (outcome == VKU_LOAD_REJECTED && state[kObj] != kUnreadable && state[kLink] != kUnreadable &&
      images[kObj].size() <= kStoreHeaderSize && images[kLink].size() <= kStoreHeaderSize)
    outcome = VKU_LOAD_NEW;
  m_bMoveAside = outcome == VKU_LOAD_REJECTED;

  if (m_bWritable) {
    // No writer runs while this database holds the lock: a temporary that was not
    // needed above is what a killed writer left.
    unsigned long error = LastSystemError();
    for (int f = kObj; f <= kLink; ++f) {
      if (fromTemp[f])
        m_bPending[f] = !StoreFileReplace(TempPath(File(f)).c_str(), FilePath(File(f)).c_str());
      else if (StoreFileExists(TempPath(File(f)).c_str()))
        StoreFileRemove(TempPath(File(f)).c_str());
    }
    std::string generationTemp = Path(kGenerationName) + kTempSuffix;
    if (StoreFileExists(generationTemp.c_str())) StoreFileRemove(generationTemp.c_str());
    SetSystemError(error);
  }
  return outcome;
}

bool StoreFolder::MoveAside() {
  const std::string names[3] = {FilePath(kObj), FilePath(kLink), Path(kGenerationName)};
  // The first suffix that none of the three has yet: .bad, .bad.2, .bad.3, ...
  std::string suffix;
  for (unsigned n = 1;; ++n) {
    suffix = n == 1 ? std::string(kBadSuffix) : std::string(kBadSuffix) + "." + std::to_string(n);
    bool taken = false;
    for (const std::string& name : names) taken = taken || StoreFileExists((name + suffix).c_str());
    if (!taken) break;
  }
  for (const std::string& name : names)
    if (StoreFileExists(name.c_str()) && !StoreFileReplace(name.c_str(), (name + suffix).c_str())) return false;
  m_Seals[kObj] = m_Seals[kLink] = AbsentFile();
  return true;
}

bool StoreFolder::PrepareToWrite() {
  if (!m_bWritable) {
    SetSystemError(m_dwWriteError);
    return false;
  }
  for (int f = kObj; f <= kLink; ++f) {
    if (!m_bPending[f]) continue;
    if (!StoreFileReplace(TempPath(File(f)).c_str(), FilePath(File(f)).c_str())) return false;
    m_bPending[f] = false;
  }
  if (m_bMoveAside) {
    if (!MoveAside()) return false;
    m_bMoveAside = false;
  }
  return true;
}

bool StoreFolder::Commit(const FileSeal seals[2], const bool written[2]) {
  GenerationRecord next;
  next.dwGeneration = m_dwGeneration + 1;
  next.obj = written[kObj] ? seals[kObj] : m_Seals[kObj];
  next.link = written[kLink] ? seals[kLink] : m_Seals[kLink];
  std::vector<unsigned char> bytes = EncodeGeneration(next);
  std::string generation = Path(kGenerationName), generationTemp = generation + kTempSuffix;

  bool ok = false;
  if (void* file = StoreFileCreate(generationTemp.c_str())) {
    ok = StoreFileWrite(file, bytes.data(), bytes.size()) && StoreFileSync(file);
    unsigned long error = LastSystemError();
    ok = StoreFileClose(file) && ok;
    if (!ok) SetSystemError(error);
    // The moment of commit: from here on a load gives the new pair.
    ok = ok && StoreFileReplace(generationTemp.c_str(), generation.c_str());
  }
  if (!ok) {
    unsigned long error = LastSystemError();
    StoreFileRemove(generationTemp.c_str());
    for (int f = kObj; f <= kLink; ++f)
      if (written[f]) StoreFileRemove(TempPath(File(f)).c_str());
    SetSystemError(error);
    return false;
  }
  m_dwGeneration = next.dwGeneration;
  m_Seals[kObj] = next.obj;
  m_Seals[kLink] = next.link;
  // A temporary that cannot be put in place now (another program holding the old file)
  // is put there before the next flush or by the next load.
  for (int f = kObj; f <= kLink; ++f)
    if (written[f]) m_bPending[f] = !StoreFileReplace(TempPath(File(f)).c_str(), FilePath(File(f)).c_str());
  return true;
}

}  // namespace vkl
