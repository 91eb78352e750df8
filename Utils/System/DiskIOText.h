// The texts DiskIO builds its failure messages from, kept letter for letter: the labels
// keep their two spellings ("DiskIo::" and "DiskIO::"), and several texts end in two
// spaces. A message is a label, " - ", and the parts of the text.
#ifndef VKLINKDB_UTILS_SYSTEM_DISKIO_TEXT_H_
#define VKLINKDB_UTILS_SYSTEM_DISKIO_TEXT_H_

#include <windows.h>

#include <initializer_list>
#include <string>

#include "UtilsString"

namespace UTILS {

const char* const kDiskIoOpenLabel = "DiskIo::Open";
const char* const kDiskIoSetFilePointerLabel = "DiskIo::SetFilePointer";
const char* const kDiskIoSetEndOfFileLabel = "DiskIo::SetEndOfFile";
const char* const kDiskIoReadLabel = "DiskIO::Read";
const char* const kDiskIoWriteLabel = "DiskIO::Write";
const char* const kDiskIoCloseLabel = "DiskIO::Close()";
const char* const kDiskIoDeleteLabel = "DiskIO::Delete(inFileName)";
const char* const kDiskIoDeleteDirLabel = "DiskIO::DeleteDir";
const char* const kDiskIoSetAttributesLabel = "DiskIO::SetFileAttributes";
const char* const kDiskIoDeviceControlLabel = "DiskIO::DeviceControl";
const char* const kDiskIoDeviceReadLabel = "DiskIO::DeviceRead";
const char* const kDiskIoDeviceWriteLabel = "DiskIO::DeviceWrite";
const char* const kDiskIoTrackFormatLabel = "DiskIO::BiosTrackFormat";
const char* const kDiskIoSeparator = " - ";

const char* const kDiskIoOverlapped = "Overlapped";
const char* const kDiskIoPlain = "Non Overlapped";

const char* const kDiskIoCreateEvent = "CreateEvent handle invalid";
const char* const kDiskIoCreateFileInvalid = "CreateFile handle invalid trying to open file:  ";
const char* const kDiskIoModeWithAccess = " mode with access ";
const char* const kDiskIoSharing = ", sharing ";
const char* const kDiskIoOpenFlag = ", openflag ";
const char* const kDiskIoReadFileIn = "ReadFile in ";
const char* const kDiskIoModeRead = " mode read ";
const char* const kDiskIoWriteFileIn = "WriteFile in ";
const char* const kDiskIoModeWrote = " mode wrote ";
const char* const kDiskIoBytesOutOf = " bytes out of ";
const char* const kDiskIoCouldNotMove = "SetFilePointer could not move file pointer by ";
const char* const kDiskIoFromPosition = " from position ";
const char* const kDiskIoMethodNames[] = {"FILE_BEGIN", "FILE_CURRENT", "FILE_END"};
const char* const kDiskIoCouldNotSetEnd = "SetEndOfFile could not set the end of file ";
const char* const kDiskIoCloseHandleIn = "CloseHandle in ";
const char* const kDiskIoCouldNotClose = " mode could not close file ";
const char* const kDiskIoDeleteFileIn = "DeleteFile in ";
const char* const kDiskIoCouldNotDelete = " mode could not delete file ";
const char* const kDiskIoCannotRemoveDir = "Cannot remove directory:  ";
const char* const kDiskIoAttributesError = "Error setting the file attributes on file:  ";
const char* const kDiskIoNotOnNT = "This function requires standard Windows.  Cannot Execute on NT.";
const char* const kDiskIoInt25 = "VWIN32_DIOC_DOS_INT25, Disk:  ";
const char* const kDiskIoInt26 = "VWIN32_DIOC_DOS_INT26, Disk:  ";
const char* const kDiskIoSector = "; sector:  ";
const char* const kDiskIoSectorsToRead = "; sectors to read:  ";
const char* const kDiskIoSectorsToWrite = "; sectors to write:  ";
const char* const kDiskIoDeviceCmd = "Cannot Execute Device Cmd ";

// Entries that DeleteDir leaves alone among sub-directories unless forced.
const DWORD kDiskIoGuardedAttributes =
    FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;

// A number in unsigned decimal.
inline std::string Number(unsigned long value) { return std::to_string(value); }

// The method's name, or its number when it has none.
inline std::string MethodName(unsigned long method) {
  return method < 3 ? kDiskIoMethodNames[method] : Number(method);
}

// A label, the separator and the parts of a message, in one text.
struct MessagePart {
  MessagePart(const char* text) : text(text ? text : "") {}
  MessagePart(const std::string& text) : text(text) {}
  std::string text;
};

inline UtilsString Compose(std::initializer_list<MessagePart> parts) {
  std::string message;
  bool first = true;
  for (const MessagePart& part : parts) {
    message += part.text;
    if (first) message += kDiskIoSeparator;
    first = false;
  }
  return UtilsString(message);
}

}  // namespace UTILS

#endif  // VKLINKDB_UTILS_SYSTEM_DISKIO_TEXT_H_
