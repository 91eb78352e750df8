// CNTAdminObject: the release mapping, the release each emulated copy of this program
// sees (utils_tests_<release>.exe), and the administrator test against the system's
// own membership check.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
#include <string>

#include "CNTAdminObject"
#include "ReleaseMap.h"
#include "TestSupport.h"

namespace {

PSID NewAdministratorsSid() {
  SID_IDENTIFIER_AUTHORITY nt = {SECURITY_NT_AUTHORITY};
  PSID sid = nullptr;
  AllocateAndInitializeSid(&nt, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0,
                           0, 0, &sid);
  return sid;
}

// The system's own answer: is the Administrators group enabled in the thread's token?
bool SystemSaysAdministrator() {
  PSID administrators = NewAdministratorsSid();
  BOOL member = FALSE;
  if (!administrators || !CheckTokenMembership(nullptr, administrators, &member)) member = FALSE;
  if (administrators) FreeSid(administrators);
  return member != FALSE;
}

TEST(ReleaseProbe, MapsEveryVersionRecord) {
  const struct {
    unsigned long platform, major, minor;
    ostype expected;
  } cases[] = {
      // the 95 line is told by the minor version alone
      {1, 4, 0, OS_WIN95}, {1, 0, 0, OS_WIN95}, {1, 5, 10, OS_WIN98}, {1, 4, 90, OS_WINME},
      {1, 9, 90, OS_WINME}, {1, 4, 1, OS_UNKNOWN},
      // the NT line, cut off after 5.1
      {2, 3, 51, OS_NT3}, {2, 4, 90, OS_NT4}, {2, 5, 0, OS_WIN2000}, {2, 5, 1, OS_WINXP},
      {2, 5, 2, OS_UNKNOWN}, {2, 6, 1, OS_UNKNOWN}, {2, 10, 0, OS_UNKNOWN},
      // Win32s and CE
      {0, 4, 0, OS_UNKNOWN}, {3, 5, 1, OS_UNKNOWN}};
  for (const auto& c : cases)
    EXPECT_EQ(c.expected, vkl::ReleaseFromVersion(c.platform, c.major, c.minor, OS_UNKNOWN))
        << c.platform << " " << c.major << "." << c.minor;
  EXPECT_EQ(OS_WIN98, vkl::ReleaseFromVersion(2, 6, 1, OS_WIN98));  // nothing is reset
}

TEST(ReleaseProbe, ThisCopySeesItsReleaseAndOnlyTheKnownNTLineHasAdministrators) {
  const struct {
    const char* tag;
    ostype expected;
  } copies[] = {{"win95", OS_WIN95}, {"win98", OS_WIN98}, {"winme", OS_WINME},
                {"nt351", OS_NT3},   {"nt40", OS_NT4},    {"win2k", OS_WIN2000},
                {"winxp", OS_WINXP}, {"win7", OS_UNKNOWN}};
  char module[MAX_PATH];
  GetModuleFileNameA(nullptr, module, sizeof(module));
  std::string name(module);
  name = name.substr(name.find_last_of("\\/") + 1);
  OSVERSIONINFOA info = {};
  info.dwOSVersionInfoSize = sizeof(info);
  ASSERT_TRUE(GetVersionExA(&info));
  CNTAdminObject probe;
  std::printf(
      "%s sees platform %lu, version %lu.%lu, build %lu, %u-bit: GetOS %d, IsNT %d, IsAdmin %d\n",
      name.c_str(), info.dwPlatformId, info.dwMajorVersion, info.dwMinorVersion, info.dwBuildNumber,
      unsigned(sizeof(void*) * 8), int(probe.GetOS()), probe.IsNT(), probe.IsAdmin());
  // The plain program runs as whatever the prefix presents.
  ostype expected = vkl::ReleaseFromVersion(info.dwPlatformId, info.dwMajorVersion,
                                            info.dwMinorVersion, OS_UNKNOWN);
  for (const auto& copy : copies) {
    std::string suffix = std::string("_") + copy.tag + ".exe";
    if (name.size() > suffix.size() &&
        _stricmp(name.c_str() + name.size() - suffix.size(), suffix.c_str()) == 0)
      expected = copy.expected;
  }
  EXPECT_EQ(expected, probe.GetOS());
  EXPECT_EQ(expected >= OS_NT3 ? 1 : 0, probe.IsNT());
  // The 95 line, and every release the probe does not know, has no administrator.
  EXPECT_EQ(probe.IsNT() && SystemSaysAdministrator() ? 1 : 0, probe.RunningAsAdministrator());
}

// A thread that impersonates is judged by its own token, and a group that is there
// only to deny access still counts: membership alone decides.
TEST(ReleaseProbe, ImpersonationTokenDecidesAndDenyOnlyStillCounts) {
  CNTAdminObject probe;
  if (!probe.IsNT() || !SystemSaysAdministrator())
    GTEST_SKIP() << "needs the NT line and an administrator token";
  HANDLE process = nullptr, restricted = nullptr, impersonation = nullptr;
  ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, &process));
  SID_AND_ATTRIBUTES denyOnly = {NewAdministratorsSid(), 0};
  ASSERT_TRUE(CreateRestrictedToken(process, 0, 1, &denyOnly, 0, nullptr, 0, nullptr, &restricted));
  ASSERT_TRUE(DuplicateToken(restricted, SecurityImpersonation, &impersonation));
  ASSERT_TRUE(SetThreadToken(nullptr, impersonation));
  bool systemSays = SystemSaysAdministrator();
  int probeSays = probe.IsAdmin();
  RevertToSelf();
  EXPECT_FALSE(systemSays);
  EXPECT_EQ(1, probeSays);
  for (HANDLE handle : {impersonation, restricted, process}) CloseHandle(handle);
  FreeSid(denyOnly.Sid);
}

TEST(ReleaseProbe, CopiesCarryTheValueAndTheTestLeaksNoHandle) {
  CNTAdminObject* made = nullptr;
  RunOnThreads(1, [&](int) { made = new CNTAdminObject; });
  CNTAdminObject copy(*made), assigned;
  assigned = copy;
  assigned = assigned;
  EXPECT_EQ(made->GetOS(), assigned.GetOS());
  delete made;
  DWORD before = ProcessHandleCount();
  int first = copy.IsAdmin();
  for (int i = 0; i < 100; ++i) ASSERT_EQ(first, copy.IsAdmin());
  EXPECT_EQ(before, ProcessHandleCount());
}

}  // namespace
