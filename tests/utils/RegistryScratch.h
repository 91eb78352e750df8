// A scratch key under HKEY_CURRENT_USER for the registry tests, made and removed with
// plain Win32 calls (so that it does not depend on the class under test), and direct
// reads of Wine's real registry to compare with.
#ifndef VKLINKDB_TESTS_UTILS_REGISTRY_SCRATCH_H_
#define VKLINKDB_TESTS_UTILS_REGISTRY_SCRATCH_H_

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "SystemTestSupport.h"

namespace scratch {

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

inline bool KeyExists(const std::string& relative) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_CURRENT_USER, relative.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
    return false;
  RegCloseKey(key);
  return true;
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
  HKEY key = nullptr;
  char data[1024];
  DWORD type = 0, size = sizeof(data);
  if (RegOpenKeyExA(HKEY_CURRENT_USER, relative.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
    return 0;
  if (RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(data), &size) !=
      ERROR_SUCCESS)
    type = 0;
  else if (bytes)
    bytes->assign(data, size);
  RegCloseKey(key);
  return type;
}

inline DWORD CountValues(const std::string& relative) {
  HKEY key = nullptr;
  DWORD values = 0;
  if (RegOpenKeyExA(HKEY_CURRENT_USER, relative.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
    return 0;
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
    m_strName = std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + "." +
                std::to_string(GetCurrentProcessId());
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

#endif  // VKLINKDB_TESTS_UTILS_REGISTRY_SCRATCH_H_
