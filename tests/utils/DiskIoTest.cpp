// DiskIO on a scratch folder: records and the natural size, whole failure records
// compared with what plain Win32 calls report, positioning, deletion, copies, and
// overlapped mode, which the copies of this program running as Windows 98 and XP show
// refused on the 95 line and granted on the NT line.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "Scratch.h"
#include "TestSupport.h"
#include "diskio"

namespace {

using UTILS::DiskIO;
using UTILS::UtilsByte;
using UTILS::UtilsString;

UtilsByte B(const char* bytes, unsigned long n) {
  return UtilsByte(reinterpret_cast<const unsigned char*>(bytes), n);
}

class DiskIo : public scratch::Dir {};

TEST_F(DiskIo, RecordsAndTheNaturalSize) {
  const std::string name = In("records.bin");
  {
    DiskIO out(name.c_str(), GENERIC_WRITE, 0, CREATE_ALWAYS, 0);
    char record[512] = "abc";
    out << record;  // a whole default record from the text's buffer
    EXPECT_EQ(512u, out.GetBytesWritten());
    out.SetReadWriteSize(65535);
    out << "abc" << UtilsString("de") << B("\x01\x02", 2) << "";
    out.SetReadWriteSize(8);
    out << UtilsString("xyz") << 0x01020304UL << reinterpret_cast<const unsigned char*>("12345678")
        << B("\x09", 1);
    EXPECT_EQ(512u + 7 + 8 + 4 + 8 + 8, out.GetFileSize());
    EXPECT_EQ(8u, out.Write("ABCDEFGHIJ", 0));  // a count of 0 is the record size
  }
  const std::string bytes = scratch::ReadWhole(name);
  EXPECT_EQ(std::string("abc") + std::string(509, '\0') + "abcde\x01\x02" +
                std::string("xyz\0\0\0\0\0", 8) + "\x04\x03\x02\x01" + "12345678" +
                std::string("\x09\0\0\0\0\0\0\0", 8) + "ABCDEFGH",
            bytes);

  DiskIO in(name.c_str(), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0);
  char record[512];
  UtilsString text;
  UtilsByte data;
  unsigned long value = 0;
  in >> record;
  in.SetReadWriteSize(5);
  in >> text;
  in.SetReadWriteSize(10);
  in >> data;
  in.SetReadWriteSize(2);
  in >> value;  // four bytes whatever the record size
  EXPECT_EQ("abc|abcde|10|2|16909060", std::string(record) + "|" + Str(text) + "|" +
                                           std::to_string(data.size()) + "|" +
                                           std::to_string(data[1]) + "|" + std::to_string(value));
  // The natural read size is the file's size as last known: a read from here gets what
  // is left, and the buffer asked for keeps its size.
  in.SetReadWriteSize(65535);
  in >> data;
  EXPECT_EQ(bytes.size(), data.size());
  EXPECT_EQ(24u, in.GetBytesRead());
  EXPECT_EQ(std::string("12345678\x09\0", 10), std::string(reinterpret_cast<char*>(&data[0]), 10));
  // At the end of the file every read throws.
  for (int form = 0; form < 3; ++form) {
    Failure f = Fails([&] {
      if (form == 0) in >> value;
      if (form == 1) in >> text;
      if (form == 2) in.Read(record, 7);
    });
    unsigned long count = form == 0 ? 4 : form == 1 ? bytes.size() : 7;
    EXPECT_EQ(2u, f.category);
    EXPECT_EQ(f.Expected("DiskIO::Read - ReadFile in Non Overlapped mode read 0 bytes out of " +
                         std::to_string(count)),
              f.what);
  }
  in.SetFilePointer(LARGE_INTEGER{}, FILE_BEGIN);
  in >> text;
  EXPECT_EQ(bytes, Str(text));  // zero bytes included: it ends where the read did

  DiskIO empty(In("empty.bin").c_str(), GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS, 0);
  empty.SetReadWriteSize(65535);
  empty << "" << UtilsString("");
  EXPECT_EQ(0u, empty.GetFileSize());
  EXPECT_EQ(2u, Fails([&] { empty >> text; }).category);
}

TEST_F(DiskIo, OpenFailuresAgreeWithTheSystem) {
  const std::string readOnly = In("readonly.txt"), locked = In("locked.txt");
  scratch::MakeFile(readOnly, "r");
  SetFileAttributesA(readOnly.c_str(), FILE_ATTRIBUTE_READONLY);
  scratch::MakeFile(locked, "l");
  HANDLE holder = CreateFileA(locked.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  std::string name259 = In("") + std::string(259 - In("").size(), 'n');
  const struct {
    std::string name;
    DWORD access, share, creation;
  } cases[] = {
      {In("missing.txt"), GENERIC_READ, 0, OPEN_EXISTING},
      {locked, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING},
      {readOnly, GENERIC_WRITE, 0, OPEN_EXISTING},
      {m_Dir, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING},  // a directory for a file
      {In("bad<name>|.txt"), GENERIC_WRITE, 0, CREATE_ALWAYS},
      {In("no\\such\\dir.txt"), GENERIC_WRITE, 0, CREATE_ALWAYS},
      {"", GENERIC_READ, 0, OPEN_EXISTING},
      {name259, GENERIC_WRITE, 0, CREATE_ALWAYS},
      {name259 + "m", GENERIC_WRITE, 0, CREATE_ALWAYS},
  };
  for (const auto& c : cases) {
    // The error a plain CreateFileA gives for the same arguments (0 when it opens).
    HANDLE plain =
        CreateFileA(c.name.c_str(), c.access, c.share, nullptr, c.creation, 0x08000080, nullptr);
    DWORD error = plain == INVALID_HANDLE_VALUE ? GetLastError() : 0;
    if (plain != INVALID_HANDLE_VALUE) CloseHandle(plain);
    DiskIO file;
    Failure f = Fails([&] { file.Open(c.name.c_str(), c.access, c.share, c.creation, 0); });
    EXPECT_EQ(error == 0, file.IsOpen()) << c.name;
    if (error == 0) {
      EXPECT_EQ(99u, f.category) << c.name.size() << " " << f.what;
      file.Close();
      DeleteFileA(c.name.c_str());
      continue;
    }
    EXPECT_EQ(1u, f.category) << c.name;
    EXPECT_EQ(error, f.error) << c.name;
    EXPECT_EQ(error, file.get_error());
    EXPECT_EQ(f.Expected(
                  "DiskIo::Open - CreateFile handle invalid trying to open file:  " + c.name +
                  " in Non Overlapped mode with access " + std::to_string(c.access) + ", sharing " +
                  std::to_string(c.share) + ", openflag " + std::to_string(c.creation)),
              f.what);
  }
  CloseHandle(holder);
  DiskIO nothing(nullptr);
  EXPECT_FALSE(nothing.IsOpen());
  EXPECT_EQ(1u, Fails([&] { nothing.Open(nullptr, GENERIC_READ, 0, OPEN_EXISTING, 0); }).category);
  // The file system of the volume, as the volume reports it.
  char type[MAX_PATH] = "";
  GetVolumeInformationA((m_Dir.substr(0, 3)).c_str(), nullptr, 0, nullptr, nullptr, nullptr, type,
                        sizeof type);
  unsigned long expected = !lstrcmpiA(type, "NTFS")    ? UTILS::FS_NTFS
                           : !lstrcmpiA(type, "FAT32") ? UTILS::FS_FAT32
                           : !lstrcmpiA(type, "FAT")   ? UTILS::FS_FAT
                           : type[0]                   ? UTILS::FS_OTHER
                                                       : UTILS::FS_UNKNOWN;
  EXPECT_EQ(expected, DiskIO(readOnly.c_str()).get_filesystem()) << type;
}

TEST_F(DiskIo, PositionTruncationAttributesAndDeletion) {
  const std::string name = In("data.bin");
  DiskIO file(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS, 0);
  file.Write(std::string(100, 'd').data(), 100);
  LARGE_INTEGER at;
  at.QuadPart = 10;
  EXPECT_EQ(10u, file.SetFilePointer(at, FILE_BEGIN));
  EXPECT_EQ(1, file.SetEndOfFile());
  at.QuadPart = -4;
  EXPECT_EQ(6u, file.SetFilePointer(at, FILE_CURRENT));
  // A low half of all ones is a failure, even where the move itself succeeded.
  const struct {
    LONGLONG distance;
    unsigned long method;
    const char* from;
  } bad[] = {{0xFFFFFFFFLL, FILE_BEGIN, "FILE_BEGIN"},
             {0x1FFFFFFFFLL, FILE_BEGIN, "FILE_BEGIN"},
             {-20, FILE_END, "FILE_END"},
             {1, 7, "7"}};
  for (const auto& b : bad) {
    at.QuadPart = b.distance;
    Failure f = Fails([&] { file.SetFilePointer(at, b.method); });
    EXPECT_EQ(5u, f.category);
    EXPECT_EQ(f.Expected("DiskIo::SetFilePointer - SetFilePointer could not move file pointer by " +
                         std::to_string(at.LowPart) + " from position " + b.from),
              f.what);
  }
  file.Close();
  EXPECT_EQ(10u, scratch::ReadWhole(name).size());

  DiskIO reader(name.c_str(), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0);
  Failure f = Fails([&] { reader.SetEndOfFile(); });
  EXPECT_EQ(5u, f.category);
  EXPECT_EQ(f.Expected("DiskIo::SetEndOfFile - SetEndOfFile could not set the end of file " + name),
            f.what);
  HANDLE plain =
      CreateFileA(name.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_FALSE(SetEndOfFile(plain));
  EXPECT_EQ(GetLastError(), f.error);
  CloseHandle(plain);
  EXPECT_EQ(0, reader.Flush());  // a read-only handle has nothing to flush
  reader.SetFileAttributesA(FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(DWORD(FILE_ATTRIBUTE_READONLY), reader.GetFileAttributesA() & FILE_ATTRIBUTE_READONLY);
  reader.Close();

  // A read-only file goes only when forced.
  DiskIO remover;
  f = Fails([&] { remover.Delete(name.c_str(), 0); });
  EXPECT_EQ(6u, f.category);
  EXPECT_EQ(ERROR_ACCESS_DENIED, f.error);
  EXPECT_EQ(f.Expected("DiskIO::Delete(inFileName) - DeleteFile in Non Overlapped mode could not "
                       "delete file " + name),
            f.what);
  remover.Delete(name.c_str(), 1);
  EXPECT_FALSE(scratch::Exists(name));
  EXPECT_EQ(6u, Fails([&] { remover.Delete(nullptr, 1); }).category);
  EXPECT_EQ(12u, Fails([&] { remover.DeleteDir(nullptr, 1); }).category);
  f = Fails([&] { remover.SetFileAttributesA(FILE_ATTRIBUTE_HIDDEN); });  // no file: name ""
  EXPECT_EQ(f.Expected("DiskIO::SetFileAttributes - Error setting the file attributes on file:  "),
            f.what);
  {
    DiskIO open(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                CREATE_ALWAYS, 0);
    open.Remove();  // the object's own file
  }
  EXPECT_FALSE(scratch::Exists(name));

  // Directories: sub-directories listed after their parents go with the parent; files
  // and (unless forced) hidden sub-directories keep it.
  for (const char* d : {"t", "t\\u", "t\\u\\v", "t\\w", "h", "h\\hidden", "f"})
    CreateDirectoryA(In(d).c_str(), nullptr);
  SetFileAttributesA(In("h\\hidden").c_str(), FILE_ATTRIBUTE_HIDDEN);
  scratch::MakeFile(In("f\\file.txt"));
  remover.DeleteDir(In("t").c_str(), 0);
  EXPECT_FALSE(scratch::Exists(In("t")));
  for (const char* kept : {"h", "f", "f\\file.txt", "missing"}) {
    f = Fails([&] { remover.RemoveDir(In(kept).c_str(), 0); });
    EXPECT_EQ(12u, f.category);
    RemoveDirectoryA(In(kept).c_str());
    EXPECT_EQ(GetLastError(), f.error) << kept;
    EXPECT_EQ(f.Expected("DiskIO::DeleteDir - Cannot remove directory:  " + In(kept)), f.what);
  }
  remover.DeleteDir(In("h").c_str(), 1);
  EXPECT_FALSE(scratch::Exists(In("h")));

  // The error mode: switched off once, the first mode kept and put back.
  UINT before = SetErrorMode(0);
  remover.SetErrorMode();
  remover.SetErrorMode();
  EXPECT_EQ(UINT(0x8001), SetErrorMode(0x8001));
  remover.ResetErrorMode();
  EXPECT_EQ(0u, SetErrorMode(before));
}

TEST_F(DiskIo, OverlappedOnlyOnTheNTLine) {
  const std::string name = In("overlapped.bin");
  DiskIO file(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS, 1);
  const bool nt = file.IsNT() != 0;
  std::printf("release %d: overlapped %s\n", file.get_ostype(), nt ? "granted" : "refused");
  EXPECT_EQ(nt ? 1 : 0, file.get_async_mode());
  file << 1UL << 2UL << 3UL;
  EXPECT_EQ(12u, file.GetFileSize());
  LARGE_INTEGER start = {};
  file.SetFilePointer(start, FILE_BEGIN);
  unsigned long a = 0, b = 0, c = 0;
  file >> a >> b >> c;
  EXPECT_EQ(1u + 2 * 10 + 3 * 100, a + b * 10 + c * 100);
  Failure f = Fails([&] { file >> a; });
  EXPECT_EQ(2u, f.category);
  EXPECT_EQ(nt ? ERROR_HANDLE_EOF : 0, f.error);
  EXPECT_EQ(f.Expected(std::string("DiskIO::Read - ReadFile in ") +
                       (nt ? "Overlapped" : "Non Overlapped") + " mode read 0 bytes out of 4"),
            f.what);
  if (nt) {
    // Overlapped transfers start at the object's own position, which moves by the
    // count asked; a plain Read at the end of the file is as pending as the system
    // reports it.
    file.SetFilePointer(start, FILE_BEGIN);
    char buffer[8];
    EXPECT_EQ(4u, file.Read(buffer, 4) + 4 * (file.get_error() == ERROR_IO_PENDING));
    HANDLE probe = CreateFileA(name.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                               nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, probe);
    OVERLAPPED o = {};
    o.Offset = 12;
    o.hEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    DWORD n = 0;
    bool pending = !ReadFile(probe, buffer, 4, &n, &o) && GetLastError() == ERROR_IO_PENDING;
    WaitForSingleObject(o.hEvent, 1000);
    CloseHandle(o.hEvent);
    CloseHandle(probe);
    std::printf("an overlapped read at the end of the file is %s\n",
                pending ? "reported pending" : "refused at once");
    file.SetFilePointer(LARGE_INTEGER{{12, 0}}, FILE_BEGIN);
    EXPECT_EQ(pending ? 99u : 2u, Fails([&] { file.Read(buffer, 4); }).category);
  }
  file.Close();
  EXPECT_EQ(0, file.get_async_mode());
  EXPECT_EQ(std::string("\x01\0\0\0\x02\0\0\0\x03\0\0\0", 12), scratch::ReadWhole(name));
}

TEST_F(DiskIo, CopiesHoldTheirOwnHandlesAndAFailedCloseIsReported) {
  const std::string name = In("copied.bin");
  scratch::MakeFile(name, std::string(16, 'c'));
  DWORD handles = ProcessHandleCount();
  {
    DiskIO a(name.c_str(), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 1);
    DiskIO b(a);
    EXPECT_TRUE(a != b && b.IsOpen());
    EXPECT_EQ(a.get_async_mode(), b.get_async_mode());
    EXPECT_EQ(16u, b.GetFileSize());
    b.Close();
    char buffer[16];
    EXPECT_EQ(16u, a.Read(buffer, 16) + 16 * (a.get_error() == ERROR_IO_PENDING));
    DiskIO c;
    c = a;
    EXPECT_TRUE(c.IsOpen() && c != a);
    a = b;  // closed: a gives up its handle
    EXPECT_TRUE(!a.IsOpen() && a == b);
  }
  EXPECT_EQ(handles, ProcessHandleCount());

  struct Bogus : DiskIO {
    void Use(HANDLE handle) { m_Handle = handle; }
  } bogus;
  bogus.Use(reinterpret_cast<HANDLE>(0x1230));
  Failure f = Fails([&] { bogus.Close(); });
  EXPECT_EQ(4u, f.category);
  EXPECT_EQ(ERROR_INVALID_HANDLE, f.error);
  EXPECT_EQ(
      f.Expected("DiskIO::Close() - CloseHandle in Non Overlapped mode could not close file "),
      f.what);
  EXPECT_TRUE(bogus.IsOpen());  // the handle is left as it was
  bogus.Use(nullptr);
}

// One object written from several threads: every record arrives whole.
TEST_F(DiskIo, OneObjectFromSeveralThreads) {
  const std::string name = In("shared.bin");
  const int kThreads = 4, kRecords = 200, kSize = 64;
  {
    DiskIO shared(name.c_str(), GENERIC_WRITE, 0, CREATE_ALWAYS, 0);
    shared.SetReadWriteSize(kSize);
    RunOnThreads(kThreads, [&](int t) {
      std::vector<unsigned char> record(kSize, static_cast<unsigned char>('A' + t));
      for (int i = 0; i < kRecords; ++i) {
        shared << record.data();
        shared.GetBytesWritten();
        shared.get_error();
      }
    });
  }
  std::string bytes = scratch::ReadWhole(name);
  ASSERT_EQ(size_t(kThreads * kRecords * kSize), bytes.size());
  std::vector<int> counts(kThreads, 0);
  for (size_t at = 0; at < bytes.size(); at += kSize) {
    ASSERT_EQ(std::string(kSize, bytes[at]), bytes.substr(at, kSize)) << "record " << at / kSize;
    ++counts[bytes[at] - 'A'];
  }
  EXPECT_EQ(std::vector<int>(kThreads, kRecords), counts);
}

}  // namespace
