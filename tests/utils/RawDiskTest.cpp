// Raw disk access through a device double that answers DiskIO's one device-control
// call: the refusal on the NT line before the handle is touched, the carry rule, the
// error taken from the reply by its shape, the request bytes, and the real VWIN32
// device compared with direct calls. The copies of this program running as Windows 98
// and XP show both sides of the refusal.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "diskio"

namespace {

using UTILS::DIOC_REGISTERS;

struct Call {
  unsigned long code, outSize;
  std::vector<unsigned char> in;
};

// Records every device-control call and answers it with `answer` (by default a
// service that succeeds and clears carry).
class DeviceDouble : public UTILS::DiskIO {
 public:
  std::vector<Call> calls;
  std::function<BOOL(void* out, unsigned long outSize)> answer = [](void* out, unsigned long size) {
    if (size == sizeof(DIOC_REGISTERS)) static_cast<DIOC_REGISTERS*>(out)->reg_Flags = 0;
    return TRUE;
  };

 protected:
  BOOL IssueDeviceControl(unsigned long code, void* in, unsigned long inSize, void* out,
                          unsigned long outSize, unsigned long* returned) override {
    const unsigned char* bytes = static_cast<const unsigned char*>(in);
    calls.push_back({code, outSize, std::vector<unsigned char>(bytes, bytes + inSize)});
    *returned = outSize;
    return answer(out, outSize);
  }
};

unsigned long Address(const void* p) {
  return static_cast<unsigned long>(reinterpret_cast<ULONG_PTR>(p));
}

TEST(RawDisk, DeviceFunctionsRefuseOnTheNTLineBeforeTheHandle) {
  DeviceDouble device;
  const bool nt = device.IsNT() != 0;
  std::printf("release %d: device functions %s\n", device.get_ostype(), nt ? "refused" : "run");
  UTILS::ABSREADWRITE request = {};
  UTILS::BIOSREADWRITEPARAMIN in = {}, out = {};
  UTILS::SECTOR_ID ids[18] = {};
  const std::pair<const char*, std::function<int()>> functions[] = {
      {"DiskIO::DeviceRead", [&] { return device.DeviceRead(request, 0); }},
      {"DiskIO::DeviceWrite", [&] { return device.DeviceWrite(request, 0); }},
      {"DiskIO::DeviceRead", [&] { return device.DeviceRead(in, out); }},
      {"DiskIO::DeviceWrite", [&] { return device.DeviceWrite(in, out); }},
      {"DiskIO::BiosTrackFormat", [&] { return device.BiosTrackFormat(ids, 0, 0, 0); }},
  };
  for (const auto& f : functions) {
    Failure failure = Fails(f.second);
    EXPECT_EQ(nt ? 13u : 99u, failure.category) << f.first;
    if (!nt) continue;
    EXPECT_EQ(1151u, device.get_error());
    EXPECT_EQ(failure.Expected(std::string(f.first) + " - This function requires standard "
                                                      "Windows.  Cannot Execute on NT."),
              failure.what);
  }
  EXPECT_EQ(nt ? 0u : 5u, device.calls.size());
  EXPECT_EQ(1, device.SetDeviceParam(nullptr, 0));
}

TEST(RawDisk, CarryLeftSetThrowsEvenWhenTheCallSucceeded) {
  DeviceDouble device;
  if (device.IsNT()) GTEST_SKIP() << "the NT line refuses before any service runs";
  UTILS::ABSREADWRITE request = {100, 8, 0x1234};
  device.answer = [](void* out, unsigned long) {  // AX set, carry left set
    static_cast<DIOC_REGISTERS*>(out)->reg_EAX = 0xABCD0015;
    return TRUE;
  };
  Failure read = Fails([&] { device.DeviceRead(request, 2); });
  EXPECT_EQ(11u, read.category);
  EXPECT_EQ(read.Expected("DiskIO::DeviceRead - VWIN32_DIOC_DOS_INT25, Disk:  2; sector:  100; "
                          "sectors to read:  8",
                          false),
            read.what);
  Failure write = Fails([&] { device.DeviceWrite(request, 3); });
  EXPECT_EQ(0x15u, write.error);
  EXPECT_EQ(write.Expected("DiskIO::DeviceWrite - VWIN32_DIOC_DOS_INT26, Disk:  3; sector:  100; "
                           "sectors to write:  8",
                           false),
            write.what);
  // The block the services get: the request's address, the request-block form, the
  // drive, and carry preset.
  ASSERT_EQ(2u, device.calls.size());
  for (unsigned long i = 0; i < 2; ++i) {
    const DIOC_REGISTERS block = {Address(&request), 0, 0xFFFF, 2 + i, 0, 0, 1};
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&block);
    EXPECT_EQ(std::vector<unsigned char>(bytes, bytes + 28), device.calls[i].in);
    EXPECT_EQ(2 + i, device.calls[i].code);
    EXPECT_EQ(28u, device.calls[i].outSize);
  }
  // A service that does not run leaves the preset carry: the drive reads as the error.
  device.answer = [](void*, unsigned long) { return TRUE; };
  EXPECT_EQ(7u, Fails([&] { device.DeviceRead(request, 7); }).error);
  device = DeviceDouble();
  EXPECT_EQ(1, device.DeviceWrite(request, 0));
  EXPECT_EQ(28u, device.GetBytesRead());
}

TEST(RawDisk, AFailedControlTakesItsErrorFromTheReplyShape) {
  DeviceDouble device;
  device.answer = [](void* out, unsigned long size) {
    if (size == 518) static_cast<unsigned char*>(out)[517] = 0x42;
    if (size == 28) static_cast<DIOC_REGISTERS*>(out)->reg_EAX = 0x55667E01;
    SetLastError(ERROR_NOT_READY);
    return FALSE;
  };
  UTILS::TRACK_FORMAT_REQUEST request = {};
  UTILS::TRACK_FORMAT_REPLY reply = {};
  DIOC_REGISTERS registers = {};
  UTILS::BIOSREADWRITEPARAMIN in = {}, out = {};
  const struct {
    unsigned long code;
    void *in, *out;
    unsigned long inSize, outSize, error;
  } cases[] = {
      {12, &request, &reply, 11, 518, 0x42},        // the reply's last byte
      {4, &registers, &registers, 28, 28, 0x7E},    // the BIOS service's register block: AH
      {2, &registers, &registers, 28, 28, 0x7E01},  // any other register block: AX
      {13, &in, &out, 9, 9, ERROR_NOT_READY},       // no known shape: the system's error
  };
  for (const auto& c : cases) {
    Failure f = Fails([&] { device.DeviceControl(c.code, c.in, c.inSize, c.out, c.outSize); });
    EXPECT_EQ(c.error, device.get_error());
    EXPECT_EQ(c.outSize, device.GetBytesRead());
    EXPECT_EQ(
        f.Expected("DiskIO::DeviceControl - Cannot Execute Device Cmd " + std::to_string(c.code),
                   c.code == 13),
        f.what);
  }
  if (device.IsNT()) return;
  // Through the device functions on the 95 line: the same rule, before any carry test.
  UTILS::ABSREADWRITE sectors = {};
  UTILS::SECTOR_ID ids[18] = {};
  EXPECT_EQ(0x7E01u, Fails([&] { device.DeviceRead(sectors, 0); }).error);
  EXPECT_EQ(0x42u, Fails([&] { device.BiosTrackFormat(ids, 0, 0, 0); }).error);
  EXPECT_EQ(unsigned(ERROR_NOT_READY), Fails([&] { device.DeviceWrite(in, out); }).error);

  // The requests carry their bytes as given: the track format packs the drive, the two
  // byte arguments, the table's address and 18 sectors; the BIOS transfers pass theirs.
  device = DeviceDouble();
  UTILS::BIOSREADWRITEPARAMIN bios = {{1, 2, 3, 4, 5, 6, 7, 8, 9}};
  ASSERT_EQ(1, device.BiosTrackFormat(ids, 1, 0x11, 0x1FF));
  ASSERT_EQ(1, device.DeviceRead(bios, out));
  ASSERT_EQ(1, device.DeviceWrite(bios, out));
  unsigned long table = Address(ids);
  std::vector<unsigned char> format = {1, 0x11, 0xFF};
  for (int shift = 0; shift < 32; shift += 8)
    format.push_back(static_cast<unsigned char>(table >> shift));
  format.insert(format.end(), {18, 0, 0, 0});
  ASSERT_EQ(3u, device.calls.size());
  EXPECT_EQ(12u, device.calls[0].code);
  EXPECT_EQ(518u, device.calls[0].outSize);
  EXPECT_EQ(format, device.calls[0].in);
  for (unsigned long i = 1; i < 3; ++i) {
    EXPECT_EQ(12 + i, device.calls[i].code);
    EXPECT_EQ(std::vector<unsigned char>(bios.bData, bios.bData + 9), device.calls[i].in);
    EXPECT_EQ(9u, device.calls[i].outSize);
  }
}

// The real device: on the 95 line of 32-bit Wine VWIN32 opens and its absolute read
// answers as a direct call does; elsewhere opening it fails as a plain CreateFileA does.
TEST(RawDisk, TheVWIN32DeviceAgreesWithDirectCalls) {
  UTILS::DiskIO device;
  const char* name = "\\\\.\\VWIN32";
  HANDLE direct =
      CreateFileA(name, 0, 0, nullptr, 0, device.IsNT() ? 0x08000080 : 0x04000080, nullptr);
  DWORD openError = GetLastError();
  Failure open = Fails([&] { device.Open(name, 0, 0, 0, 0); });
  std::printf("VWIN32 %s\n", direct == INVALID_HANDLE_VALUE ? "does not open" : "opens");
  if (direct == INVALID_HANDLE_VALUE) {
    EXPECT_EQ(1u, open.category);
    EXPECT_EQ(openError, open.error);
    return;
  }
  ASSERT_EQ(99u, open.category) << open.what;
  UTILS::ABSREADWRITE request = {0, 1, 0};
  DIOC_REGISTERS registers = {Address(&request), 0, 0xFFFF, 0, 0, 0, 1};
  DWORD count = 0;
  BOOL ok = DeviceIoControl(direct, 2, &registers, 28, &registers, 28, &count, nullptr);
  CloseHandle(direct);
  Failure read = Fails([&] { device.DeviceRead(request, 0); });
  std::printf("direct INT25: %s, carry %lu, AX %lu; DeviceRead category %lu, error %lu\n",
              ok ? "succeeds" : "fails", registers.reg_Flags & 1, registers.reg_EAX & 0xFFFF,
              read.category, read.error);
  EXPECT_EQ(!ok ? 0u : (registers.reg_Flags & 1) ? 11u : 99u, read.category);
  if (ok && (registers.reg_Flags & 1)) {
    EXPECT_EQ(registers.reg_EAX & 0xFFFF, read.error);
  }
}

}  // namespace
