// CNTAdminObject: the release mapping, the release each emulated copy of this program
// sees (utils_tests_<release>.exe), and the administrator test against the system's
// own membership check.
#include <windows.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <thread>

#include "CNTAdminObject"
#include "HandleCount.h"
#include "ReleaseMap.h"

namespace {

// The release a copy's name asks for, and what the probe must make of it.
struct ReleaseCopy {
  const char* tag;
  ostype expected;
};
const ReleaseCopy kCopies[] = {
    {"win95", OS_WIN95}, {"win98", OS_WIN98},   {"winme", OS_WINME},   {"nt351", OS_NT3},
    {"nt40", OS_NT4},    {"win2k", OS_WIN2000}, {"winxp", OS_WINXP},   {"win7", OS_UNKNOWN},
};

std::string ProgramName() {
  char module[MAX_PATH];
  GetModuleFileNameA(nullptr, module, sizeof(module));
  std::string name(module);
  return name.substr(name.find_last_of("\\/") + 1);
}

// The release this copy was made for, or null for the plain program.
const ReleaseCopy* ThisCopy() {
  std::string name = ProgramName();
  for (const ReleaseCopy& copy : kCopies) {
    std::string suffix = std::string("_") + copy.tag + ".exe";
    if (name.size() > suffix.size() &&
        _stricmp(name.c_str() + name.size() - suffix.size(), suffix.c_str()) == 0)
      return &copy;
  }
  return nullptr;
}

// The system's own answer: is the token's Administrators group enabled?
bool SystemSaysAdministrator() {
  SID_IDENTIFIER_AUTHORITY nt = {SECURITY_NT_AUTHORITY};
  PSID administrators = nullptr;
  if (!AllocateAndInitializeSid(&nt, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0,
                                0, 0, 0, 0, &administrators))
    return false;
  BOOL member = FALSE;
  if (!CheckTokenMembership(nullptr, administrators, &member)) member = FALSE;
  FreeSid(administrators);
  return member != FALSE;
}

TEST(ReleaseProbe, MapsEveryVersionRecord) {
  // The 95 line is told by the minor version alone.
  for (unsigned long major : {0UL, 4UL, 5UL, 9UL}) {
    EXPECT_EQ(OS_WIN95, vkl::ReleaseFromVersion(1, major, 0, OS_UNKNOWN));
    EXPECT_EQ(OS_WIN98, vkl::ReleaseFromVersion(1, major, 10, OS_UNKNOWN));
    EXPECT_EQ(OS_WINME, vkl::ReleaseFromVersion(1, major, 90, OS_UNKNOWN));
    EXPECT_EQ(OS_UNKNOWN, vkl::ReleaseFromVersion(1, major, 1, OS_UNKNOWN));
  }
  EXPECT_EQ(OS_NT3, vkl::ReleaseFromVersion(2, 3, 51, OS_UNKNOWN));
  EXPECT_EQ(OS_NT3, vkl::ReleaseFromVersion(2, 3, 10, OS_UNKNOWN));
  EXPECT_EQ(OS_NT4, vkl::ReleaseFromVersion(2, 4, 0, OS_UNKNOWN));
  EXPECT_EQ(OS_NT4, vkl::ReleaseFromVersion(2, 4, 90, OS_UNKNOWN));
  EXPECT_EQ(OS_WIN2000, vkl::ReleaseFromVersion(2, 5, 0, OS_UNKNOWN));
  EXPECT_EQ(OS_WINXP, vkl::ReleaseFromVersion(2, 5, 1, OS_UNKNOWN));
  // The cut-off: 5.2 and every later NT release match nothing, and nothing is reset.
  EXPECT_EQ(OS_UNKNOWN, vkl::ReleaseFromVersion(2, 5, 2, OS_UNKNOWN));
  EXPECT_EQ(OS_UNKNOWN, vkl::ReleaseFromVersion(2, 6, 0, OS_UNKNOWN));
  EXPECT_EQ(OS_UNKNOWN, vkl::ReleaseFromVersion(2, 10, 0, OS_UNKNOWN));
  EXPECT_EQ(OS_WIN98, vkl::ReleaseFromVersion(2, 6, 1, OS_WIN98));
  EXPECT_EQ(OS_UNKNOWN, vkl::ReleaseFromVersion(0, 4, 0, OS_UNKNOWN));  // Win32s
  EXPECT_EQ(OS_UNKNOWN, vkl::ReleaseFromVersion(3, 5, 1, OS_UNKNOWN));  // CE
}

TEST(ReleaseProbe, ThisCopySeesTheReleaseItsNameAsksFor) {
  OSVERSIONINFOA info = {};
  info.dwOSVersionInfoSize = sizeof(info);
  ASSERT_TRUE(GetVersionExA(&info));
  CNTAdminObject probe;
  std::printf("%s sees platform %lu, version %lu.%lu, build %lu, %u-bit: GetOS %d, IsNT %d, IsAdmin %d\n",
              ProgramName().c_str(), info.dwPlatformId, info.dwMajorVersion, info.dwMinorVersion,
              info.dwBuildNumber, unsigned(sizeof(void*) * 8), int(probe.GetOS()), probe.IsNT(),
              probe.IsAdmin());
  const ReleaseCopy* copy = ThisCopy();
  ostype expected = copy ? copy->expected
                         : vkl::ReleaseFromVersion(info.dwPlatformId, info.dwMajorVersion,
                                                   info.dwMinorVersion, OS_UNKNOWN);
  EXPECT_EQ(expected, probe.GetOS());
  EXPECT_EQ(expected >= OS_NT3 ? 1 : 0, probe.IsNT());
}

TEST(ReleaseProbe, AdministratorOnlyOnTheKnownNTLine) {
  CNTAdminObject probe;
  if (probe.IsNT()) {
    EXPECT_EQ(SystemSaysAdministrator() ? 1 : 0, probe.IsAdmin());
    EXPECT_EQ(probe.IsAdmin(), probe.RunningAsAdministrator());
  } else {
    // The 95 line, and every release the probe does not know, has no administrator.
    EXPECT_EQ(0, probe.IsAdmin());
    EXPECT_EQ(0, probe.RunningAsAdministrator());
  }
}

// A thread that impersonates is judged by its own token, and a group that is there
// only to deny access still counts: membership alone decides.
TEST(ReleaseProbe, ImpersonationTokenDecidesAndDenyOnlyStillCounts) {
  CNTAdminObject probe;
  if (!probe.IsNT() || !SystemSaysAdministrator())
    GTEST_SKIP() << "needs the NT line and an administrator token";
  HANDLE process = nullptr;
  ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, &process));
  SID_IDENTIFIER_AUTHORITY nt = {SECURITY_NT_AUTHORITY};
  PSID administrators = nullptr;
  ASSERT_TRUE(AllocateAndInitializeSid(&nt, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS,
                                       0, 0, 0, 0, 0, 0, &administrators));
  SID_AND_ATTRIBUTES disable = {administrators, 0};
  HANDLE restricted = nullptr;
  ASSERT_TRUE(CreateRestrictedToken(process, 0, 1, &disable, 0, nullptr, 0, nullptr, &restricted));
  HANDLE impersonation = nullptr;
  ASSERT_TRUE(DuplicateToken(restricted, SecurityImpersonation, &impersonation));
  ASSERT_TRUE(SetThreadToken(nullptr, impersonation));
  bool systemSays = SystemSaysAdministrator();
  int probeSays = probe.IsAdmin();
  RevertToSelf();
  EXPECT_FALSE(systemSays) << "the Administrators group is deny-only in this token";
  EXPECT_EQ(1, probeSays);
  EXPECT_EQ(1, probe.IsAdmin());  // back on the process token
  CloseHandle(impersonation);
  CloseHandle(restricted);
  CloseHandle(process);
  FreeSid(administrators);
}

TEST(ReleaseProbe, CopiesCarryTheValueAndTheTestLeaksNoHandle) {
  CNTAdminObject* made = nullptr;
  std::thread maker([&] { made = new CNTAdminObject; });
  maker.join();
  CNTAdminObject copy(*made);
  EXPECT_EQ(made->GetOS(), copy.GetOS());
  CNTAdminObject assigned;
  assigned = copy;
  assigned = assigned;
  EXPECT_EQ(made->GetOS(), assigned.GetOS());
  delete made;

  DWORD before = ProcessHandleCount();
  int first = copy.IsAdmin();
  for (int i = 0; i < 200; ++i) ASSERT_EQ(first, copy.IsAdmin());
  EXPECT_EQ(before, ProcessHandleCount());
}

}  // namespace
