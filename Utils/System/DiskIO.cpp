// UTILS::DiskIoException and UTILS::DiskIO: opening, reading and writing records,
// positioning, closing, deleting, attributes and the error mode.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "diskio"

#include <string>

#include "DiskIOText.h"

namespace UTILS {

const char* const kFileDiskIo = "..\\..\\Include\\diskio";

// ---- DiskIoException -----------------------------------------------------------------------

DiskIoException::DiskIoException(unsigned long category, unsigned long error, unsigned long line,
                                 const char* file, const UtilsString& message, int describeError)
    : std::exception(),
      std_exception(message, file, category, line, error, describeError),
      m_Category(category),
      m_Error(error),
      m_Line(line),
      m_File(file ? file : ""),
      m_Text(message.c_str()),
      m_TypeName(ReadableTypeName(typeid(DiskIoException))) {}

DiskIoException::DiskIoException(const DiskIoException& other)
    : std::exception(other),
      std_exception(other),
      m_Category(other.m_Category),
      m_Error(other.m_Error),
      m_Line(other.m_Line),
      m_File(other.m_File),
      m_Text(other.m_Text),
      m_TypeName(other.m_TypeName) {}

DiskIoException& DiskIoException::operator=(const DiskIoException& other) {
  if (this != &other) {
    std_exception::operator=(other);
    CopyData(other);
  }
  return *this;
}

DiskIoException::~DiskIoException() throw() {}

void DiskIoException::CopyData(const DiskIoException& other) {
  m_Category = other.m_Category;
  m_Error = other.m_Error;
  m_Line = other.m_Line;
  m_File = other.m_File;
  m_Text = other.m_Text;
  m_TypeName = other.m_TypeName;
}

const char* DiskIoException::what() const throw() { return std_exception::what(); }
unsigned long DiskIoException::GetCategory() const { return m_Category; }
unsigned long DiskIoException::GetError() const { return m_Error; }
unsigned long DiskIoException::GetLine() const { return m_Line; }
const char* DiskIoException::GetFileName() const { return m_File.c_str(); }
const char* DiskIoException::GetMessageText() const { return m_Text.c_str(); }
const char* DiskIoException::GetTypeName() const { return m_TypeName.c_str(); }
const char* DiskIoException::derived_class() const { return ReadableTypeName(typeid(*this)); }
void DiskIoException::_Doraise() const { throw DiskIoException(*this); }

// ---- construction --------------------------------------------------------------------------

namespace {

// Closes a handle without throwing (for handles being given up).
void Release(HANDLE& handle) {
  if (handle && handle != INVALID_HANDLE_VALUE) ::CloseHandle(handle);
  handle = 0;
}

HANDLE Duplicate(HANDLE handle) {
  if (!handle || handle == INVALID_HANDLE_VALUE) return 0;
  HANDLE copy = 0;
  if (!::DuplicateHandle(::GetCurrentProcess(), handle, ::GetCurrentProcess(), &copy, 0, TRUE,
                         DUPLICATE_SAME_ACCESS))
    return 0;
  return copy;
}

// A name whose last element is the VWIN32 device or a ".VxD" driver file.
bool IsDeviceName(const char* name) {
  std::string leaf = name;
  size_t slash = leaf.rfind('\\');
  if (slash != std::string::npos) leaf.erase(0, slash + 1);
  size_t dot = leaf.find('.');
  if (dot == std::string::npos) return lstrcmpiA(leaf.c_str(), "VWIN32") == 0;
  size_t last = leaf.rfind('.');
  return lstrcmpiA(leaf.c_str() + last + 1, "VxD") == 0;
}

// The directory's sub-directories removed, deepest first; with `force` also those
// that are read-only, hidden or system, after their attributes are made normal.
void RemoveSubDirectories(const std::string& dir, int force) {
  WIN32_FIND_DATAA data;
  HANDLE find = ::FindFirstFileA((dir + "\\*").c_str(), &data);
  if (find == INVALID_HANDLE_VALUE) return;
  do {
    std::string name = data.cFileName;
    if (!(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) || name == "." || name == "..")
      continue;
    if ((data.dwFileAttributes & kDiskIoGuardedAttributes) && !force) continue;
    std::string sub = dir + "\\" + name;
    if (force) ::SetFileAttributesA(sub.c_str(), FILE_ATTRIBUTE_NORMAL);
    RemoveSubDirectories(sub, force);
    ::RemoveDirectoryA(sub.c_str());
  } while (::FindNextFileA(find, &data));
  ::FindClose(find);
}

}  // namespace

DiskIO::DiskIO(const char* name, unsigned long access, unsigned long share, unsigned long creation,
               int overlapped) {
  Init(1);
  if (name) Open(name, access, share, creation, overlapped);
}

DiskIO::DiskIO(const DiskIO& other) {
  Init(1);
  CopyObj(other);
}

DiskIO& DiskIO::operator=(const DiskIO& other) {
  if (this != &other) CopyObj(other);
  return *this;
}

DiskIO::~DiskIO() {
  ResetErrorMode();
  try {
    Close();
  } catch (DiskIoException&) {
    // A handle the system will not close is given up with the object.
  }
}

void DiskIO::Init(int full) {
  ScopedLock hold(m_Lock);
  m_FileName = "";
  m_Handle = 0;
  m_FileSize = 0;
  m_Error = 0;
  ZeroMemory(&m_Overlapped, sizeof m_Overlapped);
  m_BytesRead = 0;
  m_BytesWritten = 0;
  m_Position = 0;
  m_SavedErrorMode = DISKIO_NO_SAVED_MODE;
  m_Attributes = DISKIO_DEFAULT_ATTRIBUTES;
  if (full) {
    m_ReadSize = DISKIO_DEFAULT_RECORD;
    m_WriteSize = DISKIO_DEFAULT_RECORD;
  }
}

void DiskIO::CopyObj(const DiskIO& other) {
  std::string name;
  HANDLE handle, event;
  OVERLAPPED overlapped;
  CNTAdminObject os;
  unsigned long fileSize, attributes, position, bytesRead, bytesWritten, error;
  unsigned short readSize, writeSize;
  {
    ScopedLock source(other.m_Lock);
    name = other.m_FileName.GetSTLString();
    handle = Duplicate(other.m_Handle);
    overlapped = other.m_Overlapped;
    // The event is the copy's own too: each object closes what it holds.
    event = Duplicate(other.m_Overlapped.hEvent);
    os = other.m_OS;
    fileSize = other.m_FileSize;
    attributes = other.m_Attributes;
    position = other.m_Position;
    bytesRead = other.m_BytesRead;
    bytesWritten = other.m_BytesWritten;
    error = other.m_Error;
    readSize = other.m_ReadSize;
    writeSize = other.m_WriteSize;
  }
  ScopedLock hold(m_Lock);
  Release(m_Overlapped.hEvent);
  Release(m_Handle);
  m_FileName = name;
  m_Handle = handle;
  m_Overlapped = overlapped;
  m_Overlapped.hEvent = event;
  m_OS = os;
  m_FileSize = fileSize;
  m_Attributes = attributes;
  m_Position = position;
  m_BytesRead = bytesRead;
  m_BytesWritten = bytesWritten;
  m_Error = error;
  m_ReadSize = readSize;
  m_WriteSize = writeSize;
}

const char* DiskIO::derived_class() const { return ReadableTypeName(typeid(*this)); }

void DiskIO::Fail(unsigned long category, unsigned long line, const UtilsString& text,
                  int describeError) {
  m_Message = text;
  throw DiskIoException(category, m_Error, line, kFileDiskIo, m_Message, describeError);
}

bool DiskIO::AsyncLocked() const { return m_Overlapped.hEvent != 0 && m_OS.IsNT(); }

const char* DiskIO::ModeText() const { return AsyncLocked() ? kDiskIoOverlapped : kDiskIoPlain; }

// ---- opening and closing -----------------------------------------------------------------

void DiskIO::Open(const char* name, unsigned long access, unsigned long share,
                  unsigned long creation, int overlapped) {
  ScopedLock hold(m_Lock);
  if (IsOpen() || m_Overlapped.hEvent) Close();
  m_BytesRead = 0;
  m_FileName = name ? name : "";
  if (overlapped && m_OS.IsNT()) {
    ZeroMemory(&m_Overlapped, sizeof m_Overlapped);
    m_Overlapped.hEvent = ::CreateEventA(0, FALSE, FALSE, 0);
    if (!m_Overlapped.hEvent) {
      m_Error = ::GetLastError();
      Fail(DISKIO_OPEN, LINE_DISKIO_OPEN_EVENT, Compose({kDiskIoOpenLabel, kDiskIoCreateEvent}));
    }
    m_Handle = ::CreateFileA(name, access, share, 0, creation,
                             m_Attributes | DISKIO_OVERLAPPED_FLAGS, 0);
  } else {
    DWORD flags = name && IsDeviceName(name) && !m_OS.IsNT() ? DISKIO_DEVICE_FLAGS
                                                             : m_Attributes | DISKIO_FILE_FLAGS;
    m_Handle = ::CreateFileA(name, access, share, 0, creation, flags, 0);
  }
  if (m_Handle == INVALID_HANDLE_VALUE) {
    m_Error = ::GetLastError();
    const char* mode = ModeText();
    Release(m_Overlapped.hEvent);
    Fail(DISKIO_OPEN, LINE_DISKIO_OPEN,
         Compose({kDiskIoOpenLabel, kDiskIoCreateFileInvalid, m_FileName.c_str(), " in ", mode,
                  kDiskIoModeWithAccess, Number(access), kDiskIoSharing, Number(share),
                  kDiskIoOpenFlag, Number(creation)}));
  }
  DWORD size = ::GetFileSize(m_Handle, 0);
  m_FileSize = size == INVALID_FILE_SIZE ? 0 : size;
}

void DiskIO::Close() {
  ScopedLock hold(m_Lock);
  if (AsyncLocked()) {
    // Only a transfer still in flight can signal the event; waiting otherwise would
    // always take the whole 15 seconds.
    if (m_Overlapped.Internal == static_cast<ULONG_PTR>(STATUS_PENDING) &&
        ::WaitForSingleObject(m_Overlapped.hEvent, DISKIO_CLOSE_WAIT) != WAIT_OBJECT_0)
      Flush();
  } else {
    Flush();
  }
  Release(m_Overlapped.hEvent);
  if (IsOpen() && !::CloseHandle(m_Handle)) {
    m_Error = ::GetLastError();
    Fail(DISKIO_CLOSE, LINE_DISKIO_CLOSE,
         Compose({kDiskIoCloseLabel, kDiskIoCloseHandleIn, ModeText(), kDiskIoCouldNotClose,
                  m_FileName.c_str()}));
  }
  Init(0);
}

const int DiskIO::Flush() {
  ScopedLock hold(m_Lock);
  return IsOpen() && ::FlushFileBuffers(m_Handle) ? 1 : 0;
}

// ---- reading and writing -------------------------------------------------------------------

unsigned long DiskIO::FinishTransfer() {
  if (!AsyncLocked() || m_Overlapped.Internal != static_cast<ULONG_PTR>(STATUS_PENDING)) return 0;
  DWORD moved = 0;
  if (!::GetOverlappedResult(m_Handle, &m_Overlapped, &moved, TRUE)) {
    m_Error = ::GetLastError();
    return 0;
  }
  return moved;
}

void DiskIO::FailTransfer(bool write, unsigned long moved, unsigned long count) {
  if (write)
    Fail(DISKIO_WRITE, LINE_DISKIO_WRITE,
         Compose({kDiskIoWriteLabel, kDiskIoWriteFileIn, ModeText(), kDiskIoModeWrote,
                  Number(moved), kDiskIoBytesOutOf, Number(count)}));
  Fail(DISKIO_READ, LINE_DISKIO_READ,
       Compose({kDiskIoReadLabel, kDiskIoReadFileIn, ModeText(), kDiskIoModeRead, Number(moved),
                kDiskIoBytesOutOf, Number(count)}));
}

void DiskIO::RefreshFileSize() {
  DWORD size = ::GetFileSize(m_Handle, 0);
  if (size != INVALID_FILE_SIZE) m_FileSize = size;
}

unsigned long DiskIO::Transfer(void* buffer, unsigned long count, bool write) {
  if (count == 0) count = write ? m_WriteSize : m_ReadSize;
  DWORD moved = 0;
  BOOL ok;
  if (!AsyncLocked()) {
    ::SetLastError(0);
    ok = write ? ::WriteFile(m_Handle, buffer, count, &moved, 0)
               : ::ReadFile(m_Handle, buffer, count, &moved, 0);
  } else {
    // The block of the previous transfer is reused only once that transfer ended.
    FinishTransfer();
    m_Overlapped.Offset = m_Position;
    m_Overlapped.OffsetHigh = 0;
    ::SetLastError(0);
    ok = write ? ::WriteFile(m_Handle, buffer, count, &moved, &m_Overlapped)
               : ::ReadFile(m_Handle, buffer, count, &moved, &m_Overlapped);
    m_Position += count;
  }
  m_Error = ::GetLastError();
  (write ? m_BytesWritten : m_BytesRead) = moved;
  // Done: something moved, or the system took the transfer on (pending).
  if (!((ok && moved != 0) || m_Error == ERROR_IO_PENDING)) FailTransfer(write, moved, count);
  if (write) RefreshFileSize();
  return moved;
}

unsigned long DiskIO::TransferRecord(void* buffer, unsigned long count, bool write) {
  unsigned long moved = Transfer(buffer, count, write);
  if (!AsyncLocked() || m_Error != ERROR_IO_PENDING) return moved;
  // The record's buffer ends with the operator: its transfer is waited for, and must
  // have moved something, as a synchronous one must.
  DWORD done = 0;
  m_Error = ::GetOverlappedResult(m_Handle, &m_Overlapped, &done, TRUE) ? 0 : ::GetLastError();
  (write ? m_BytesWritten : m_BytesRead) = done;
  if (done == 0) FailTransfer(write, 0, count ? count : (write ? m_WriteSize : m_ReadSize));
  if (write) RefreshFileSize();
  return done;
}

unsigned long DiskIO::Read(void* buffer, unsigned long count) {
  ScopedLock hold(m_Lock);
  return Transfer(buffer, count, false);
}

unsigned long DiskIO::Write(const void* buffer, unsigned long count) {
  ScopedLock hold(m_Lock);
  return Transfer(const_cast<void*>(buffer), count, true);
}

// ---- position and end of file ----------------------------------------------------------------

unsigned long DiskIO::SetFilePointer(LARGE_INTEGER distance, unsigned long method) {
  ScopedLock hold(m_Lock);
  LONG high = distance.HighPart;
  ::SetLastError(0);
  DWORD position = ::SetFilePointer(m_Handle, static_cast<LONG>(distance.LowPart),
                                    high ? &high : 0, method);
  if (position == INVALID_SET_FILE_POINTER) {
    m_Error = ::GetLastError();
    Fail(DISKIO_POSITION, LINE_DISKIO_SET_FILE_POINTER,
         Compose({kDiskIoSetFilePointerLabel, kDiskIoCouldNotMove, Number(distance.LowPart),
                  kDiskIoFromPosition, MethodName(method).c_str()}));
  }
  m_Position = position;
  return position;
}

const int DiskIO::SetEndOfFile() {
  ScopedLock hold(m_Lock);
  if (!::SetEndOfFile(m_Handle)) {
    m_Error = ::GetLastError();
    Fail(DISKIO_POSITION, LINE_DISKIO_SET_END_OF_FILE,
         Compose({kDiskIoSetEndOfFileLabel, kDiskIoCouldNotSetEnd, m_FileName.c_str()}));
  }
  return 1;
}

// ---- deleting -------------------------------------------------------------------------------

void DiskIO::Delete() {
  std::string name;
  {
    ScopedLock hold(m_Lock);
    name = m_FileName.GetSTLString();
  }
  Delete(name.c_str(), 0);
}

void DiskIO::Remove() { Delete(); }

void DiskIO::Delete(const char* name, int force) {
  ScopedLock hold(m_Lock);
  if (name && force) ::SetFileAttributesA(name, FILE_ATTRIBUTE_NORMAL);
  if (!::DeleteFileA(name)) {
    m_Error = ::GetLastError();
    Fail(DISKIO_DELETE, LINE_DISKIO_DELETE,
         Compose({kDiskIoDeleteLabel, kDiskIoDeleteFileIn, ModeText(), kDiskIoCouldNotDelete,
                  name ? name : ""}));
  }
}

void DiskIO::DeleteDir(const char* name, int force) {
  ScopedLock hold(m_Lock);
  if (name && force) ::SetFileAttributesA(name, FILE_ATTRIBUTE_NORMAL);
  if (!::RemoveDirectoryA(name)) {
    m_Error = ::GetLastError();
    if (m_Error == ERROR_DIR_NOT_EMPTY && name) {
      RemoveSubDirectories(name, force);
      if (::RemoveDirectoryA(name)) return;
      m_Error = ::GetLastError();
    }
    Fail(DISKIO_DELETE_DIR, LINE_DISKIO_DELETE_DIR,
         Compose({kDiskIoDeleteDirLabel, kDiskIoCannotRemoveDir, name ? name : ""}));
  }
}

void DiskIO::RemoveDir(const char* name, int force) { DeleteDir(name, force); }

// ---- attributes, error mode, settings -----------------------------------------------------------

void DiskIO::SetFileAttributesA(unsigned long attributes) {
  ScopedLock hold(m_Lock);
  m_Attributes = attributes;
  if (!::SetFileAttributesA(m_FileName.c_str(), attributes)) {
    m_Error = ::GetLastError();
    Fail(DISKIO_OPEN, LINE_DISKIO_SET_ATTRIBUTES,
         Compose({kDiskIoSetAttributesLabel, kDiskIoAttributesError, m_FileName.c_str()}));
  }
}

unsigned long DiskIO::GetFileAttributesA() {
  ScopedLock hold(m_Lock);
  return ::GetFileAttributesA(m_FileName.c_str());
}

void DiskIO::SetErrorMode() {
  ScopedLock hold(m_Lock);
  UINT previous = ::SetErrorMode(DISKIO_ERROR_MODE);
  if (m_SavedErrorMode == DISKIO_NO_SAVED_MODE) m_SavedErrorMode = previous;
}

void DiskIO::ResetErrorMode() {
  ScopedLock hold(m_Lock);
  if (m_SavedErrorMode == DISKIO_NO_SAVED_MODE) return;
  ::SetErrorMode(m_SavedErrorMode);
  m_SavedErrorMode = DISKIO_NO_SAVED_MODE;
}

void DiskIO::SetReadWriteSize(unsigned short size) {
  ScopedLock hold(m_Lock);
  m_ReadSize = size;
  m_WriteSize = size;
}

int DiskIO::operator==(const DiskIO& other) const {
  HANDLE theirs;
  {
    ScopedLock source(other.m_Lock);
    theirs = other.m_Handle;
  }
  ScopedLock hold(m_Lock);
  return m_Handle == theirs;
}

int DiskIO::operator!=(const DiskIO& other) const { return !(*this == other); }

const int DiskIO::get_async_mode() const {
  ScopedLock hold(m_Lock);
  return AsyncLocked() ? 1 : 0;
}

const int DiskIO::IsOpen() const {
  ScopedLock hold(m_Lock);
  return m_Handle != 0 && m_Handle != INVALID_HANDLE_VALUE;
}

UtilsString DiskIO::GetFileName() const {
  ScopedLock hold(m_Lock);
  return UtilsString(m_FileName.c_str());
}

#define DISKIO_GETTER(NAME, MEMBER)  \
  unsigned long DiskIO::NAME() const { \
    ScopedLock hold(m_Lock);         \
    return MEMBER;                   \
  }
DISKIO_GETTER(GetFileSize, m_FileSize)
DISKIO_GETTER(GetBytesRead, m_BytesRead)
DISKIO_GETTER(GetBytesWritten, m_BytesWritten)
DISKIO_GETTER(get_error, m_Error)
#undef DISKIO_GETTER

}  // namespace UTILS
