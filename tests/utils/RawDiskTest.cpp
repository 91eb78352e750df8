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

#include "diskio"

namespace {

using UTILS::DiskIO;
using UTILS::DiskIoException;
using UTILS::UtilsString;

struct Call {
  unsigned long code, inSize, outSize;
  std::vector<unsigned char> in;
};

// Records every device-control call and answers it with `answer`.
class DeviceDouble : public DiskIO {
 public:
  std::vector<Call> calls;
  std::function<BOOL(unsigned long code, void* out, unsigned long outSize)> answer =
      [](unsigned long, void* out, unsigned long outSize) {
        if (outSize == sizeof(UTILS::DIOC_REGISTERS))
          static_cast<UTILS::DIOC_REGISTERS*>(out)->reg_Flags = 0;  // carry cleared
        return TRUE;
      };

 protected:
  BOOL IssueDeviceControl(unsigned long code, void* in, unsigned long inSize, void* out,
                          unsigned long outSize, unsigned long* returned) override {
    const unsigned char* bytes = static_cast<const unsigned char*>(in);
    calls.push_back({code, inSize, outSize, std::vector<unsigned char>(bytes, bytes + inSize)});
    *returned = outSize;
    return answer(code, out, outSize);
  }
};

struct Failure {
  unsigned long category = 99, error = 0;
  std::string what;
};
template <class F>
Failure Fails(F call) {
  try {
    call();
  } catch (DiskIoException& e) {
    return {e.GetCategory(), e.GetError(), e.what()};
  }
  return {};
}

// The record's end: the error part (with the system's description when asked) and
// the condition.
std::string Tail(unsigned long error, bool describe, const std::string& message) {
  std::string text = "Error Number: " + std::to_string(error) + "; ";
  if (describe) {
    UtilsString description;
    description.SetErrorMsg(error, 0);
    text += "WinError Description: " + description.GetSTLString() + "; ";
  }
  return text + "Error Condition:  " + message;
}
bool EndsWith(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

UTILS::DIOC_REGISTERS RegistersOf(const Call& call) {
  UTILS::DIOC_REGISTERS registers;
  std::memcpy(&registers, call.in.data(), sizeof registers);
  return registers;
}

TEST(RawDisk, DeviceFunctionsRefuseOnTheNTLineBeforeTheHandle) {
  DeviceDouble device;
  const bool nt = device.IsNT() != 0;
  std::printf("release %d: device functions %s\n", device.get_ostype(), nt ? "refused" : "run");
  UTILS::ABSREADWRITE request = {};
  UTILS::BIOSREADWRITEPARAMIN in = {}, out = {};
  UTILS::SECTOR_ID ids[18] = {};
  const struct {
    const char* label;
    std::function<int()> call;
  } functions[] = {
      {"DiskIO::DeviceRead", [&] { return device.DeviceRead(request, 0); }},
      {"DiskIO::DeviceWrite", [&] { return device.DeviceWrite(request, 0); }},
      {"DiskIO::DeviceRead", [&] { return device.DeviceRead(in, out); }},
      {"DiskIO::DeviceWrite", [&] { return device.DeviceWrite(in, out); }},
      {"DiskIO::BiosTrackFormat", [&] { return device.BiosTrackFormat(ids, 0, 0, 0); }},
  };
  for (const auto& f : functions) {
    if (!nt) {
      EXPECT_EQ(1, f.call()) << f.label;
      continue;
    }
    Failure failure = Fails(f.call);
    EXPECT_EQ(13u, failure.category);
    EXPECT_EQ(1151u, failure.error);
    EXPECT_EQ(1151u, device.get_error());
    EXPECT_TRUE(EndsWith(failure.what, Tail(1151, true, std::string(f.label) +
                         " - This function requires standard Windows.  Cannot Execute on NT.")))
        << failure.what;
  }
  EXPECT_EQ(nt ? 0u : 5u, device.calls.size());
  EXPECT_EQ(1, device.SetDeviceParam(nullptr, 0));
}

TEST(RawDisk, CarryLeftSetThrowsEvenWhenTheCallSucceeded) {
  DeviceDouble device;
  if (device.IsNT()) GTEST_SKIP() << "the NT line refuses before any service runs";
  UTILS::ABSREADWRITE request = {100, 8, 0x1234};
  // A service that sets AX and leaves carry set.
  device.answer = [](unsigned long, void* out, unsigned long) {
    static_cast<UTILS::DIOC_REGISTERS*>(out)->reg_EAX = 0xABCD0015;
    return TRUE;
  };
  Failure read = Fails([&] { device.DeviceRead(request, 2); });
  EXPECT_EQ(11u, read.category);
  EXPECT_EQ(0x15u, read.error);
  EXPECT_TRUE(EndsWith(read.what, Tail(0x15, false, "DiskIO::DeviceRead - VWIN32_DIOC_DOS_INT25, "
                                                    "Disk:  2; sector:  100; sectors to read:  8")))
      << read.what;
  Failure write = Fails([&] { device.DeviceWrite(request, 3); });
  EXPECT_EQ(11u, write.category);
  EXPECT_TRUE(EndsWith(write.what, Tail(0x15, false, "DiskIO::DeviceWrite - VWIN32_DIOC_DOS_INT26, "
                                                     "Disk:  3; sector:  100; sectors to write:  8")))
      << write.what;
  // The register block as the services see it: the request's address, the request-block
  // form, the drive, and carry preset.
  ASSERT_EQ(2u, device.calls.size());
  for (int i = 0; i < 2; ++i) {
    const Call& call = device.calls[i];
    EXPECT_EQ(i == 0 ? 2u : 3u, call.code);
    EXPECT_EQ(28u, call.inSize);
    EXPECT_EQ(28u, call.outSize);
    UTILS::DIOC_REGISTERS r = RegistersOf(call);
    EXPECT_EQ(static_cast<unsigned long>(reinterpret_cast<ULONG_PTR>(&request)), r.reg_EBX);
    EXPECT_EQ(0xFFFFu, r.reg_ECX);
    EXPECT_EQ(i == 0 ? 2u : 3u, r.reg_EAX);
    EXPECT_EQ(1u, r.reg_Flags);
    EXPECT_EQ(0u, r.reg_EDX + r.reg_EDI + r.reg_ESI);
  }
  // A service that does not run at all leaves the preset carry: the drive reads as
  // the error.
  device.answer = [](unsigned long, void*, unsigned long) { return TRUE; };
  EXPECT_EQ(7u, Fails([&] { device.DeviceRead(request, 7); }).error);
  device.answer = [](unsigned long, void* out, unsigned long) {
    static_cast<UTILS::DIOC_REGISTERS*>(out)->reg_Flags = 0;
    return TRUE;
  };
  EXPECT_EQ(1, device.DeviceWrite(request, 0));
  EXPECT_EQ(28u, device.GetBytesRead());
}

TEST(RawDisk, AFailedControlTakesItsErrorFromTheReplyShape) {
  DeviceDouble device;
  device.answer = [](unsigned long code, void* out, unsigned long outSize) {
    unsigned char* reply = static_cast<unsigned char*>(out);
    if (outSize == 518) reply[517] = 0x42;
    if (outSize == 28) static_cast<UTILS::DIOC_REGISTERS*>(out)->reg_EAX = 0x55667E01;
    SetLastError(ERROR_NOT_READY);
    return FALSE;
  };
  UTILS::TRACK_FORMAT_REQUEST request = {};
  UTILS::TRACK_FORMAT_REPLY reply = {};
  UTILS::DIOC_REGISTERS registers = {};
  UTILS::BIOSREADWRITEPARAMIN in = {}, out = {};
  const struct {
    unsigned long code;
    void *in, *out;
    unsigned long inSize, outSize, error;
    bool describe;
  } cases[] = {
      {12, &request, &reply, 11, 518, 0x42, false},       // the reply's last byte
      {4, &registers, &registers, 28, 28, 0x7E, false},   // the BIOS service: AH
      {2, &registers, &registers, 28, 28, 0x7E01, false}, // any other service: AX
      {13, &in, &out, 9, 9, ERROR_NOT_READY, true},       // no known shape: the system's
  };
  for (const auto& c : cases) {
    Failure f = Fails([&] { device.DeviceControl(c.code, c.in, c.inSize, c.out, c.outSize); });
    EXPECT_EQ(0u, f.category);
    EXPECT_EQ(c.error, f.error) << c.code;
    EXPECT_EQ(c.error, device.get_error());
    EXPECT_EQ(c.outSize, device.GetBytesRead());
    EXPECT_TRUE(EndsWith(f.what, Tail(c.error, c.describe, "DiskIO::DeviceControl - Cannot "
                                                           "Execute Device Cmd " +
                                                               std::to_string(c.code))))
        << f.what;
  }
  if (device.IsNT()) return;
  // Through the device functions on the 95 line: the same rule, before any carry test.
  UTILS::ABSREADWRITE sectors = {};
  UTILS::SECTOR_ID ids[18] = {};
  EXPECT_EQ(0x7E01u, Fails([&] { device.DeviceRead(sectors, 0); }).error);
  EXPECT_EQ(0x42u, Fails([&] { device.BiosTrackFormat(ids, 0, 0, 0); }).error);
  EXPECT_EQ(unsigned(ERROR_NOT_READY), Fails([&] { device.DeviceWrite(in, out); }).error);
}

TEST(RawDisk, RequestsCarryTheirBytesAsGiven) {
  DeviceDouble device;
  if (device.IsNT()) GTEST_SKIP() << "the NT line refuses before any request is built";
  UTILS::SECTOR_ID ids[18] = {};
  ASSERT_EQ(1, device.BiosTrackFormat(ids, 1, 0x11, 0x1FF));
  UTILS::BIOSREADWRITEPARAMIN in = {{1, 2, 3, 4, 5, 6, 7, 8, 9}}, out = {};
  ASSERT_EQ(1, device.DeviceRead(in, out));
  ASSERT_EQ(1, device.DeviceWrite(in, out));
  ASSERT_EQ(3u, device.calls.size());
  const Call& format = device.calls[0];
  EXPECT_EQ(12u, format.code);
  EXPECT_EQ(518u, format.outSize);
  unsigned long table = static_cast<unsigned long>(reinterpret_cast<ULONG_PTR>(ids));
  std::vector<unsigned char> expected = {1, 0x11, 0xFF, static_cast<unsigned char>(table),
                                         static_cast<unsigned char>(table >> 8),
                                         static_cast<unsigned char>(table >> 16),
                                         static_cast<unsigned char>(table >> 24), 18, 0, 0, 0};
  EXPECT_EQ(expected, format.in);
  for (int i = 1; i < 3; ++i) {
    EXPECT_EQ(i == 1 ? 13u : 14u, device.calls[i].code);
    EXPECT_EQ(std::vector<unsigned char>(in.bData, in.bData + 9), device.calls[i].in);
    EXPECT_EQ(9u, device.calls[i].outSize);
  }
}

// The real device: on the 95 line (32-bit Wine emulating it) VWIN32 opens and its
// absolute read answers as a direct call does; elsewhere opening it fails as a plain
// CreateFileA does.
TEST(RawDisk, TheVWIN32DeviceAgreesWithDirectCalls) {
  DiskIO probe;
  const bool nt = probe.IsNT() != 0;
  const char* name = "\\\\.\\VWIN32";
  HANDLE direct = CreateFileA(name, 0, 0, nullptr, 0, nt ? 0x08000080 : 0x04000080, nullptr);
  DWORD openError = GetLastError();
  DiskIO device;
  Failure open = Fails([&] { device.Open(name, 0, 0, 0, 0); });
  std::printf("VWIN32 %s\n", direct == INVALID_HANDLE_VALUE ? "does not open" : "opens");
  if (direct == INVALID_HANDLE_VALUE) {
    EXPECT_EQ(1u, open.category);
    EXPECT_EQ(openError, open.error);
    return;
  }
  ASSERT_EQ(99u, open.category) << open.what;
  UTILS::ABSREADWRITE request = {0, 1, 0};
  UTILS::DIOC_REGISTERS registers = {};
  registers.reg_EBX = static_cast<unsigned long>(reinterpret_cast<ULONG_PTR>(&request));
  registers.reg_ECX = 0xFFFF;
  registers.reg_Flags = 1;
  DWORD count = 0;
  BOOL ok = DeviceIoControl(direct, 2, &registers, 28, &registers, 28, &count, nullptr);
  CloseHandle(direct);
  Failure read = Fails([&] { device.DeviceRead(request, 0); });
  std::printf("direct INT25: %s, carry %lu, AX %lu; DeviceRead category %lu, error %lu\n",
              ok ? "succeeds" : "fails", registers.reg_Flags & 1, registers.reg_EAX & 0xFFFF,
              read.category, read.error);
  if (!ok) {
    EXPECT_EQ(0u, read.category);
  } else if (registers.reg_Flags & 1) {
    EXPECT_EQ(11u, read.category);
    EXPECT_EQ(registers.reg_EAX & 0xFFFF, read.error);
  } else {
    EXPECT_EQ(99u, read.category);
  }
}

}  // namespace
