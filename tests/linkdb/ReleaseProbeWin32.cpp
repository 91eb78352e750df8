// Which Windows release the program saw. A copy of a test program named
// <program>_<release>.exe is presented by Wine as that release (a per-program
// AppDefaults key that the test run sets); this test proves the copy saw it, so that a
// run meant for the 95 line cannot silently run on the NT line.
#include <windows.h>
#include <gtest/gtest.h>
#include <string>

namespace {

struct Release {
  const char* tag;
  DWORD platform, major, minor;
};

const Release kReleases[] = {
    {"win95", VER_PLATFORM_WIN32_WINDOWS, 4, 0}, {"win98", VER_PLATFORM_WIN32_WINDOWS, 4, 10},
    {"winme", VER_PLATFORM_WIN32_WINDOWS, 4, 90}, {"nt351", VER_PLATFORM_WIN32_NT, 3, 51},
    {"nt40", VER_PLATFORM_WIN32_NT, 4, 0},        {"win2k", VER_PLATFORM_WIN32_NT, 5, 0},
    {"winxp", VER_PLATFORM_WIN32_NT, 5, 1},       {"win7", VER_PLATFORM_WIN32_NT, 6, 1},
};

}  // namespace

TEST(ReleaseProbe, TheProgramSeesTheReleaseItsNameAsksFor) {
  char module[MAX_PATH];
  ASSERT_NE(0u, GetModuleFileNameA(nullptr, module, sizeof(module)));
  std::string name(module);
  name = name.substr(name.find_last_of("\\/") + 1);
  OSVERSIONINFOA info = {};
  info.dwOSVersionInfoSize = sizeof(info);
  ASSERT_TRUE(GetVersionExA(&info));
  std::printf("%s sees platform %lu, version %lu.%lu, build %lu, %u-bit\n", name.c_str(), info.dwPlatformId,
              info.dwMajorVersion, info.dwMinorVersion, info.dwBuildNumber, unsigned(sizeof(void*) * 8));
  for (const Release& r : kReleases) {
    std::string suffix = std::string("_") + r.tag + ".exe";
    if (name.size() > suffix.size() && _stricmp(name.c_str() + name.size() - suffix.size(), suffix.c_str()) == 0) {
      EXPECT_EQ(r.platform, info.dwPlatformId);
      EXPECT_EQ(r.major, info.dwMajorVersion);
      EXPECT_EQ(r.minor, info.dwMinorVersion);
      return;
    }
  }
}
