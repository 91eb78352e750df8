// UTILS::DiskIO: raw disk access on the Windows 95 line (the VWIN32 services and the
// track driver), the one device-control call into the system, and the file-system type.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "diskio"

#include "DiskIOText.h"

namespace UTILS {

namespace {

const unsigned long kCarryFlag = 1;
// ECX of the absolute services: the request-block form (for disks above 32 MB).
const unsigned long kRequestBlockForm = 0xFFFF;
const unsigned long kRegisterBlockSize = sizeof(DIOC_REGISTERS);
const unsigned long kTrackReplySize = sizeof(TRACK_FORMAT_REPLY);
const unsigned long kAxOffset = __builtin_offsetof(DIOC_REGISTERS, reg_EAX);

// The services take 32-bit addresses: only 32-bit programs reach them.
unsigned long Address32(const void* p) {
  return static_cast<unsigned long>(reinterpret_cast<ULONG_PTR>(p));
}

}  // namespace

BOOL DiskIO::IssueDeviceControl(unsigned long code, void* in, unsigned long inSize, void* out,
                                unsigned long outSize, unsigned long* returned) {
  DWORD count = 0;
  BOOL ok = ::DeviceIoControl(m_Handle, code, in, inSize, out, outSize, &count, 0);
  *returned = count;
  return ok;
}

const int DiskIO::DeviceControl(unsigned long code, void* in, unsigned long inSize, void* out,
                                unsigned long outSize) {
  ScopedLock hold(m_Lock);
  unsigned long returned = 0;
  ::SetLastError(0);
  BOOL ok = IssueDeviceControl(code, in, inSize, out, outSize, &returned);
  DWORD systemError = ::GetLastError();
  m_BytesRead = returned;
  if (ok) return 1;
  // The reply says why, when it has a shape we know; its codes are the device's own,
  // not system errors, and get no system description.
  const unsigned char* reply = static_cast<const unsigned char*>(out);
  int describe = 0;
  if (reply && outSize == kTrackReplySize) {
    m_Error = reply[kTrackReplySize - 1];
  } else if (reply && outSize == kRegisterBlockSize) {
    m_Error = code == VWIN32_DIOC_DOS_INT13
                  ? reply[kAxOffset + 1]
                  : static_cast<unsigned long>(reply[kAxOffset] | (reply[kAxOffset + 1] << 8));
  } else {
    m_Error = systemError;
    describe = 1;
  }
  Fail(DISKIO_DEVICE_CONTROL, LINE_DISKIO_DEVICE_CONTROL,
       Compose({kDiskIoDeviceControlLabel, kDiskIoDeviceCmd, Number(code)}), describe);
}

void DiskIO::RefuseOnNT(const char* label, unsigned long line) {
  if (!m_OS.IsNT()) return;
  m_Error = DISKIO_NT_REFUSAL_ERROR;
  Fail(DISKIO_NOT_ON_NT, line, Compose({label, kDiskIoNotOnNT}));
}

namespace {

// The absolute service for `request` on `drive`; carry is preset so that a service
// that does not run reads as a failure.
DIOC_REGISTERS AbsoluteRequest(const _ABSREADWRITE& request, unsigned long drive) {
  DIOC_REGISTERS registers = {};
  registers.reg_EBX = Address32(&request);
  registers.reg_ECX = kRequestBlockForm;
  registers.reg_EAX = drive;
  registers.reg_Flags = kCarryFlag;
  return registers;
}

}  // namespace

const int DiskIO::DeviceRead(_ABSREADWRITE& request, unsigned long drive) {
  ScopedLock hold(m_Lock);
  RefuseOnNT(kDiskIoDeviceReadLabel, LINE_DISKIO_DEVICE_READ_NT);
  DIOC_REGISTERS registers = AbsoluteRequest(request, drive);
  DeviceControl(VWIN32_DIOC_DOS_INT25, &registers, kRegisterBlockSize, &registers,
                kRegisterBlockSize);
  if (registers.reg_Flags & kCarryFlag) {
    m_Error = registers.reg_EAX & 0xFFFF;
    Fail(DISKIO_DEVICE_IO, LINE_DISKIO_DEVICE_READ,
         Compose({kDiskIoDeviceReadLabel, kDiskIoInt25, Number(drive), kDiskIoSector,
                  Number(request.dwStartSector), kDiskIoSectorsToRead, Number(request.wSectors)}),
         0);
  }
  return 1;
}

const int DiskIO::DeviceWrite(_ABSREADWRITE& request, unsigned long drive) {
  ScopedLock hold(m_Lock);
  RefuseOnNT(kDiskIoDeviceWriteLabel, LINE_DISKIO_DEVICE_WRITE_NT);
  DIOC_REGISTERS registers = AbsoluteRequest(request, drive);
  DeviceControl(VWIN32_DIOC_DOS_INT26, &registers, kRegisterBlockSize, &registers,
                kRegisterBlockSize);
  if (registers.reg_Flags & kCarryFlag) {
    m_Error = registers.reg_EAX & 0xFFFF;
    Fail(DISKIO_DEVICE_IO, LINE_DISKIO_DEVICE_WRITE,
         Compose({kDiskIoDeviceWriteLabel, kDiskIoInt26, Number(drive), kDiskIoSector,
                  Number(request.dwStartSector), kDiskIoSectorsToWrite, Number(request.wSectors)}),
         0);
  }
  return 1;
}

const int DiskIO::DeviceRead(_BIOSREADWRITEPARAMIN in, _BIOSREADWRITEPARAMIN& out) {
  ScopedLock hold(m_Lock);
  RefuseOnNT(kDiskIoDeviceReadLabel, LINE_DISKIO_BIOS_READ_NT);
  return DeviceControl(DISKIO_DRIVER_BIOS_READ, &in, sizeof in, &out, sizeof out);
}

const int DiskIO::DeviceWrite(_BIOSREADWRITEPARAMIN in, _BIOSREADWRITEPARAMIN& out) {
  ScopedLock hold(m_Lock);
  RefuseOnNT(kDiskIoDeviceWriteLabel, LINE_DISKIO_BIOS_WRITE_NT);
  return DeviceControl(DISKIO_DRIVER_BIOS_WRITE, &in, sizeof in, &out, sizeof out);
}

const int DiskIO::BiosTrackFormat(const _SECTOR_ID* ids, unsigned long drive, unsigned long a,
                                  unsigned long b) {
  ScopedLock hold(m_Lock);
  RefuseOnNT(kDiskIoTrackFormatLabel, LINE_DISKIO_TRACK_FORMAT_NT);
  TRACK_FORMAT_REQUEST request = {};
  request.bDrive = static_cast<unsigned char>(drive);
  request.bFirst = static_cast<unsigned char>(a);
  request.bSecond = static_cast<unsigned char>(b);
  request.dwSectorTable = Address32(ids);
  request.bSectorsPerTrack = DISKIO_TRACK_SECTORS;
  TRACK_FORMAT_REPLY reply = {};
  return DeviceControl(DISKIO_DRIVER_TRACK_FORMAT, &request, sizeof request, &reply,
                       sizeof reply);
}

const int DiskIO::SetDeviceParam(_DEVICEPARAMS* params, unsigned long drive) { return 1; }

ostype DiskIO::get_ostype() const {
  ScopedLock hold(m_Lock);
  return const_cast<CNTAdminObject&>(m_OS).GetOS();
}

const int DiskIO::IsNT() const {
  ScopedLock hold(m_Lock);
  return m_OS.IsNT();
}

unsigned long DiskIO::get_filesystem() const {
  std::string name;
  {
    ScopedLock hold(m_Lock);
    name = m_FileName.GetSTLString();
  }
  // The volume root of the file's name: a drive, or a share; devices ("\\.\") and
  // relative names use the current directory's volume.
  std::string root;
  if (name.size() > 1 && name[1] == ':') {
    root = name.substr(0, 2) + "\\";
  } else if (name.compare(0, 2, "\\\\") == 0 && name.compare(0, 4, "\\\\.\\") != 0) {
    size_t share = name.find('\\', 2);
    size_t end = share == std::string::npos ? std::string::npos : name.find('\\', share + 1);
    root = (end == std::string::npos ? name : name.substr(0, end)) + "\\";
  }
  char type[MAX_PATH + 1] = "";
  if (!::GetVolumeInformationA(root.empty() ? 0 : root.c_str(), 0, 0, 0, 0, 0, type, sizeof type))
    return FS_UNKNOWN;
  if (lstrcmpiA(type, "FAT") == 0) return FS_FAT;
  if (lstrcmpiA(type, "FAT32") == 0) return FS_FAT32;
  if (lstrcmpiA(type, "NTFS") == 0) return FS_NTFS;
  return type[0] ? FS_OTHER : FS_UNKNOWN;
}

}  // namespace UTILS
