// A scratch folder for the path and file tests, made and removed with plain Win32 calls
// (so that it does not depend on the classes under test), and small file helpers.
#ifndef VKLINKDB_TESTS_UTILS_SCRATCH_DIR_H_
#define VKLINKDB_TESTS_UTILS_SCRATCH_DIR_H_

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

namespace scratch {

// Removes `path` and everything below it, read-only entries included.
inline void RemoveTree(const std::string& path) {
  WIN32_FIND_DATAA data;
  HANDLE find = FindFirstFileA((path + "\\*").c_str(), &data);
  if (find != INVALID_HANDLE_VALUE) {
    do {
      std::string name = data.cFileName, full = path + "\\" + name;
      if (name == "." || name == "..") continue;
      SetFileAttributesA(full.c_str(), FILE_ATTRIBUTE_NORMAL);
      if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        RemoveTree(full);
      else
        DeleteFileA(full.c_str());
    } while (FindNextFileA(find, &data));
    FindClose(find);
  }
  SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
  RemoveDirectoryA(path.c_str());
}

inline bool Exists(const std::string& path) {
  return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// Writes `bytes` to a new file.
inline void MakeFile(const std::string& path, const std::string& bytes = std::string()) {
  HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  ASSERT_NE(INVALID_HANDLE_VALUE, file) << path;
  DWORD written = 0;
  if (!bytes.empty()) WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, 0);
  CloseHandle(file);
}

inline std::string ReadWhole(const std::string& path) {
  HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return "(missing)";
  std::string bytes(GetFileSize(file, nullptr), '\0');
  DWORD read = 0;
  if (!bytes.empty()) ReadFile(file, &bytes[0], static_cast<DWORD>(bytes.size()), &read, 0);
  CloseHandle(file);
  return bytes;
}

// The fixture: a fresh folder <temp>\VKLinkDBTests\<test>.<process id> (m_Dir, no
// ending backslash), removed in TearDown whatever the test did.
class Dir : public ::testing::Test {
 protected:
  void SetUp() override {
    char temp[MAX_PATH];
    ASSERT_NE(0u, GetTempPathA(sizeof temp, temp));
    m_Parent = std::string(temp) + "VKLinkDBTests";
    CreateDirectoryA(m_Parent.c_str(), nullptr);
    m_Dir = m_Parent + "\\" + ::testing::UnitTest::GetInstance()->current_test_info()->name() +
            "." + std::to_string(GetCurrentProcessId());
    RemoveTree(m_Dir);  // left over from a killed run
    ASSERT_TRUE(CreateDirectoryA(m_Dir.c_str(), nullptr)) << m_Dir;
  }
  void TearDown() override {
    RemoveTree(m_Dir);
    EXPECT_FALSE(Exists(m_Dir)) << "the scratch folder outlived its test";
    RemoveDirectoryA(m_Parent.c_str());  // gone once no other run still uses it
  }
  std::string In(const std::string& name) const { return m_Dir + "\\" + name; }

  std::string m_Parent, m_Dir;
};

}  // namespace scratch

#endif  // VKLINKDB_TESTS_UTILS_SCRATCH_DIR_H_
