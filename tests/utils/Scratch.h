// Scratch places for the path, file, tree and registry tests, made and removed with
// plain Win32 calls (so that they do not depend on the classes under test): a folder
// <temp>\VKLinkDBTests\<test>.<pid> and a key HKCU\Software\VKLinkDBTests\<test>.<pid>,
// with direct reads of the disk and of Wine's registry to compare with.
#ifndef VKLINKDB_TESTS_UTILS_SCRATCH_H_
#define VKLINKDB_TESTS_UTILS_SCRATCH_H_

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <string>

namespace scratch {

// This test's name and the process id: runs side by side do not meet.
inline std::string UniqueName() {
  return std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + "." +
         std::to_string(GetCurrentProcessId());
}

// Removes `path` and everything below it, read-only entries included.
inline void RemoveTree(const std::string& path) {
  std::error_code error;
  SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
  for (std::filesystem::recursive_directory_iterator it(path, error), end; it != end;
       it.increment(error))
    SetFileAttributesA(it->path().string().c_str(), FILE_ATTRIBUTE_NORMAL);
  std::filesystem::remove_all(path, error);
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

// The folder fixture: m_Dir (no ending backslash), removed in TearDown whatever the
// test did.
class Dir : public ::testing::Test {
 protected:
  void SetUp() override {
    char temp[MAX_PATH];
    ASSERT_NE(0u, GetTempPathA(sizeof temp, temp));
    m_Parent = std::string(temp) + "VKLinkDBTests";
    CreateDirectoryA(m_Parent.c_str(), nullptr);
    m_Dir = m_Parent + "\\" + UniqueName();
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

// Deletes `name` below `parent` with everything under it.
inline LONG DeleteTree(HKEY parent, const std::string& name) {
  HKEY key = nullptr;
  LONG result = RegOpenKeyExA(parent, name.c_str(), 0, KEY_ALL_ACCESS, &key);
  if (result != ERROR_SUCCESS) return result;
  char child[512];
  for (DWORD size = sizeof(child);
       RegEnumKeyExA(key, 0, child, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
       DeleteTree(key, child) == ERROR_SUCCESS;
       size = sizeof(child)) {
  }
  RegCloseKey(key);
  return RegDeleteKeyA(parent, name.c_str());
}

// Opens a key below HKCU for reading (null when it is missing); the caller closes it.
inline HKEY OpenKey(const std::string& relative) {
  HKEY key = nullptr;
  return RegOpenKeyExA(HKEY_CURRENT_USER, relative.c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS
             ? key
             : nullptr;
}

inline bool KeyExists(const std::string& relative) {
  HKEY key = OpenKey(relative);
  if (key) RegCloseKey(key);
  return key != nullptr;
}

// Creates the key (volatile with REG_OPTION_VOLATILE) and, given a name, sets a value.
inline void Make(const std::string& relative, DWORD options = 0, const char* name = nullptr,
                 DWORD type = REG_DWORD, const void* data = nullptr, DWORD size = 0) {
  HKEY key = nullptr;
  ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExA(HKEY_CURRENT_USER, relative.c_str(), 0, nullptr, options,
                                           KEY_ALL_ACCESS, nullptr, &key, nullptr));
  if (name) {
    EXPECT_EQ(ERROR_SUCCESS,
              RegSetValueExA(key, name, 0, type, static_cast<const BYTE*>(data), size));
  }
  RegCloseKey(key);
}

// The type of a value as the registry holds it (0 when it is missing) and its bytes.
inline DWORD ReadType(const std::string& relative, const char* name, std::string* bytes = nullptr) {
  char data[1024];
  DWORD type = 0, size = sizeof(data);
  HKEY key = OpenKey(relative);
  if (!key) return 0;
  if (RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(data), &size))
    type = 0;
  else if (bytes)
    bytes->assign(data, size);
  RegCloseKey(key);
  return type;
}

inline DWORD CountValues(const std::string& relative) {
  DWORD values = 0;
  HKEY key = OpenKey(relative);
  if (!key) return 0;
  RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values, nullptr,
                   nullptr, nullptr, nullptr);
  RegCloseKey(key);
  return values;
}

// The key fixture, removed in TearDown whatever the test did (gtest runs TearDown
// after a failed assertion too).
class Key : public ::testing::Test {
 protected:
  void SetUp() override {
    m_strName = UniqueName();
    m_strRelative = std::string(kParent) + "\\" + m_strName;
    m_strFull = "HKCU\\" + m_strRelative;
    DeleteTree(HKEY_CURRENT_USER, m_strRelative);  // left over from a killed run
    Make(m_strRelative);
  }
  void TearDown() override {
    HKEY parent = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, kParent, 0, KEY_ALL_ACCESS, &parent) == ERROR_SUCCESS) {
      DeleteTree(parent, m_strName);
      RegCloseKey(parent);
    }
    EXPECT_FALSE(KeyExists(m_strRelative)) << "the scratch key outlived its test";
    RegDeleteKeyA(HKEY_CURRENT_USER, kParent);  // gone once no other run still uses it
  }

  static constexpr const char* kParent = "Software\\VKLinkDBTests";
  std::string m_strName;      // the scratch key's own name
  std::string m_strRelative;  // below HKCU
  std::string m_strFull;      // with "HKCU\" in front
};

}  // namespace scratch

#endif  // VKLINKDB_TESTS_UTILS_SCRATCH_H_
