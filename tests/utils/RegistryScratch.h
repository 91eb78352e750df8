// A scratch key under HKEY_CURRENT_USER for the registry tests, made and removed with
// plain Win32 calls (so that it does not depend on the class under test), and a few
// direct reads of Wine's real registry to compare with.
#ifndef VKLINKDB_TESTS_UTILS_REGISTRY_SCRATCH_H_
#define VKLINKDB_TESTS_UTILS_REGISTRY_SCRATCH_H_

#include <windows.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "HandleCount.h"

namespace scratch {

// Deletes `name` below `parent` with everything under it.
inline LONG DeleteTree(HKEY parent, const std::string& name) {
  HKEY key = nullptr;
  LONG result = RegOpenKeyExA(parent, name.c_str(), 0, KEY_ALL_ACCESS, &key);
  if (result != ERROR_SUCCESS) return result;
  char child[512];
  for (;;) {
    DWORD size = sizeof(child);
    if (RegEnumKeyExA(key, 0, child, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    if (DeleteTree(key, child) != ERROR_SUCCESS) break;
  }
  RegCloseKey(key);
  return RegDeleteKeyA(parent, name.c_str());
}

inline bool Exists(const std::string& relative) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_CURRENT_USER, relative.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
    return false;
  RegCloseKey(key);
  return true;
}

inline HKEY Create(const std::string& relative, DWORD options = 0) {
  HKEY key = nullptr;
  EXPECT_EQ(ERROR_SUCCESS, RegCreateKeyExA(HKEY_CURRENT_USER, relative.c_str(), 0, nullptr, options,
                                           KEY_ALL_ACCESS, nullptr, &key, nullptr))
      << relative;
  return key;
}

inline void Make(const std::string& relative, DWORD options = 0) {
  HKEY key = Create(relative, options);
  if (key) RegCloseKey(key);
}

// The raw value as the registry holds it; type 0 and no bytes when it is missing.
struct Raw {
  DWORD type = 0;
  std::vector<unsigned char> bytes;
  LONG result = ERROR_FILE_NOT_FOUND;
};

inline Raw Read(const std::string& relative, const std::string& name) {
  Raw raw;
  HKEY key = nullptr;
  raw.result = RegOpenKeyExA(HKEY_CURRENT_USER, relative.c_str(), 0, KEY_READ, &key);
  if (raw.result != ERROR_SUCCESS) return raw;
  DWORD size = 0;
  raw.result = RegQueryValueExA(key, name.c_str(), nullptr, &raw.type, nullptr, &size);
  if (raw.result == ERROR_SUCCESS) {
    raw.bytes.resize(size);
    raw.result = RegQueryValueExA(key, name.c_str(), nullptr, &raw.type,
                                  size ? &raw.bytes[0] : nullptr, &size);
  }
  RegCloseKey(key);
  return raw;
}

inline void Write(const std::string& relative, const std::string& name, DWORD type,
                  const void* data, DWORD size) {
  HKEY key = Create(relative);
  ASSERT_TRUE(key != nullptr);
  EXPECT_EQ(ERROR_SUCCESS, RegSetValueExA(key, name.c_str(), 0, type,
                                          static_cast<const BYTE*>(data), size));
  RegCloseKey(key);
}

inline unsigned long CountValues(const std::string& relative) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_CURRENT_USER, relative.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return 0;
  DWORD values = 0;
  RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values, nullptr,
                   nullptr, nullptr, nullptr);
  RegCloseKey(key);
  return values;
}

// The fixture: a fresh key HKCU\Software\VKLinkDBTests\<test>.<process id>, removed
// in TearDown whatever the test did (gtest runs TearDown after a failed assertion too).
class Key : public ::testing::Test {
 protected:
  void SetUp() override {
    const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
    m_strName = std::string(info->name()) + "." + std::to_string(GetCurrentProcessId());
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
    EXPECT_FALSE(Exists(m_strRelative)) << "the scratch key outlived its test";
    // The shared parent goes when no other test process still uses it.
    RegDeleteKeyA(HKEY_CURRENT_USER, kParent);
  }

  static constexpr const char* kParent = "Software\\VKLinkDBTests";
  std::string m_strName;      // the scratch key's own name
  std::string m_strRelative;  // below HKCU
  std::string m_strFull;      // with "HKCU\" in front
};

}  // namespace scratch

#endif  // VKLINKDB_TESTS_UTILS_REGISTRY_SCRATCH_H_
