// Shortcut resolution against a real Windows Installer package (tests/utils/packages/
// LinkTest.wxs, built with wixl, installed with msiexec for the Links tests and removed
// afterwards). Each advertised case is set up so that exactly one way can answer, and
// Wine's own calls (MsiGetShortcutTargetA, MsiGetComponentPathA, GetShortPathNameA, the
// shell's link object) say what the answer must be: the link Wine's installer wrote is
// a plain link; a "::{9db1186e-...}:<descriptor>::" link carries the installer data
// block (the documented call answers, or, while another program holds the link open
// for writing, only IShellLinkDataList); an ANSI link with the icon location
// "...\Installer\{product}\icon" is answered by the byte search and the package query.
// LinksWithoutInstaller runs in a copy started with MSI.DLL disabled.
#include <gtest/gtest.h>
#include <shlobj.h>
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "CUtilsPath"
#include "Scratch.h"
#include "TestSupport.h"

namespace {

using UTILS::CUtilsPath;
using UTILS::UtilsString;

const char kProduct[] = "{7AD930BA-CB39-4372-85B5-B03D3E9225D4}";
const char kMainComponent[] = "{FB335959-9A3F-4498-B8E9-09E646020BC9}";
const char kSettingsComponent[] = "{0947EF94-0C4E-4768-A4FA-92596DF22BA3}";
const char kAdvertised[] = "::{9db1186e-40df-11d1-aa8c-00c04fb67863}:";

class Probe : public CUtilsPath {
 public:
  explicit Probe(const std::string& path = "") : CUtilsPath(U(path)) {}
  int Msi() const { return m_MsiAvailable; }
  bool NoInstallerEntries() const {
    return !m_MsiModule && !m_pfnMsiDecomposeDescriptorA && !m_pfnMsiOpenDatabaseA &&
           !m_pfnMsiDatabaseOpenViewA && !m_pfnMsiViewExecute && !m_pfnMsiViewFetch &&
           !m_pfnMsiRecordGetStringA && !m_pfnMsiGetComponentPathA && !m_pfnMsiGetProductInfoA &&
           !m_pfnMsiGetShortcutTargetA && !m_pfnMsiCloseHandle;
  }
  bool InterfacesCleared() const { return !m_ShellLink && !m_ShellLinkDataList && !m_PersistFile; }
};

// Wine's installer, asked directly (loaded at run time: the copy without MSI.DLL must
// still start).
struct Installer {
  HMODULE module = LoadLibraryA("msi.dll");
  template <class F>
  F Get(const char* name) {
    return reinterpret_cast<F>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
  }
  // Product and component of a shortcut as MsiGetShortcutTargetA gives them.
  std::string ShortcutTarget(const std::string& link) {
    char product[40] = "", feature[40] = "", component[40] = "";
    auto call = Get<UINT(WINAPI*)(LPCSTR, LPSTR, LPSTR, LPSTR)>("MsiGetShortcutTargetA");
    if (call(link.c_str(), product, feature, component) != 0) return "(none)";
    return std::string(product) + feature + component;
  }
  std::string ComponentPath(const char* component) {
    char path[MAX_PATH] = "";
    DWORD size = sizeof path;
    Get<int(WINAPI*)(LPCSTR, LPCSTR, LPSTR, DWORD*)>("MsiGetComponentPathA")(kProduct, component,
                                                                             path, &size);
    return path;
  }
  std::string Decompose(const std::string& descriptor) {
    char product[40] = "", feature[40] = "", component[40] = "";
    Get<UINT(WINAPI*)(LPCSTR, LPSTR, LPSTR, LPSTR, DWORD*)>("MsiDecomposeDescriptorA")(
        descriptor.c_str(), product, feature, component, nullptr);
    return std::string(product) + feature + component;
  }
};

// A GUID in the installer's packed form: its four 32-bit words, five base-85 digits
// each, the lowest digit first.
std::string Packed(const char* guid) {
  static const char kDigits[] =
      "!$%&'()*+,-.0123456789=?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[]^_`abcdefghijklmnopqrstuvwxyz{}~";
  unsigned long d1;
  unsigned int d2, d3, b[8];
  std::sscanf(guid, "{%8lx-%4x-%4x-%2x%2x-%2x%2x%2x%2x%2x%2x}", &d1, &d2, &d3, &b[0], &b[1], &b[2],
              &b[3], &b[4], &b[5], &b[6], &b[7]);
  DWORD words[4] = {static_cast<DWORD>(d1), d2 | (d3 << 16),
                    b[0] | b[1] << 8 | b[2] << 16 | b[3] << 24,
                    b[4] | b[5] << 8 | b[6] << 16 | b[7] << 24};
  std::string packed;
  for (DWORD word : words)
    for (int i = 0; i < 5; ++i, word /= 85) packed += kDigits[word % 85];
  return packed;
}

// The descriptor of a component of the test product's one feature.
std::string Descriptor(const char* component) {
  return Packed(kProduct) + "Everything>" + Packed(component);
}

// A link in the ANSI form (no Unicode flag): a relative path and an icon location.
std::string AnsiLink(const std::string& relativePath, const std::string& iconLocation) {
  auto u32 = [](std::string& s, DWORD v) { s.append(reinterpret_cast<const char*>(&v), 4); };
  auto text = [](std::string& s, const std::string& t) {
    WORD n = static_cast<WORD>(t.size());
    s.append(reinterpret_cast<const char*>(&n), 2);
    s += t;
  };
  std::string bytes;
  u32(bytes, 0x4C);
  const unsigned char clsid[16] = {0x01, 0x14, 0x02, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
  bytes.append(reinterpret_cast<const char*>(clsid), 16);
  u32(bytes, 0x08 | 0x40);  // relative path, icon location
  u32(bytes, FILE_ATTRIBUTE_ARCHIVE);
  bytes.append(24 + 8, '\0');  // three times, size, icon index
  u32(bytes, SW_SHOWNORMAL);
  bytes.append(2 + 10, '\0');  // hot key, reserved
  text(bytes, relativePath);
  text(bytes, iconLocation);
  u32(bytes, 0);  // no extra data
  return bytes;
}

std::string ShortName(const std::string& path) {
  char buffer[MAX_PATH + 1] = "";
  GetShortPathNameA(path.c_str(), buffer, sizeof buffer);
  return buffer;
}

// The shell link object's own answer for a link (flags of IShellLinkA::GetPath).
std::string ShellPath(const std::string& link, DWORD flags) {
  CoInitialize(nullptr);
  IShellLinkA* shellLink = nullptr;
  IPersistFile* file = nullptr;
  char path[MAX_PATH + 1] = "";
  std::wstring wide(link.begin(), link.end());
  if (SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkA,
                                 reinterpret_cast<void**>(&shellLink))) &&
      SUCCEEDED(shellLink->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file))) &&
      SUCCEEDED(file->Load(wide.c_str(), STGM_READ)))
    shellLink->GetPath(path, sizeof path, nullptr, flags);
  if (file) file->Release();
  if (shellLink) shellLink->Release();
  CoUninitialize();
  return path;
}

std::string Resolve(CUtilsPath& path, const std::string& link, int longName) {
  UtilsString target("untouched");
  int found = path.ResolveLinkFile(U(link), target, longName);
  return found ? Str(target) : "(0:" + Str(target) + ")";
}

// Runs a command line and answers its exit code.
DWORD RunCommand(std::string command) {
  STARTUPINFOA start = {};
  start.cb = sizeof start;
  PROCESS_INFORMATION process;
  if (!CreateProcessA(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                      &process))
    return GetLastError();
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD code = 1;
  GetExitCodeProcess(process.hProcess, &code);
  CloseHandle(process.hProcess);
  CloseHandle(process.hThread);
  return code;
}

std::string Package() {
  char exe[MAX_PATH];
  GetModuleFileNameA(nullptr, exe, sizeof exe);
  std::string dir(exe);
  return dir.substr(0, dir.rfind('\\')) + "\\packages\\VKLinkDBLinkTest.msi";
}

class Links : public scratch::Dir {
 protected:
  static void SetUpTestSuite() {
    s_InstallResult = RunCommand("msiexec.exe /i \"" + Package() + "\" /qn");
  }
  static void TearDownTestSuite() {
    if (s_InstallResult == 0) RunCommand(std::string("msiexec.exe /x ") + kProduct + " /qn");
  }
  void SetUp() override {
    ASSERT_EQ(0u, s_InstallResult) << "msiexec /i " << Package();
    scratch::Dir::SetUp();
    m_Main = m_Installer.ComponentPath(kMainComponent);
    ASSERT_TRUE(scratch::Exists(m_Main)) << m_Main;
    char windows[MAX_PATH];
    GetWindowsDirectoryA(windows, sizeof windows);
    m_IconFolder = std::string(windows) + "\\Installer\\" + kProduct + "\\";
    scratch::MakeFile(In("fallback.txt"), "the link's own path");
  }
  // A link that only the byte search can answer, with fallback.txt as its own path.
  std::string IconLink(const std::string& icon) {
    std::string link = In(icon + ".lnk");
    scratch::MakeFile(link, AnsiLink("fallback.txt", m_IconFolder + icon));
    return link;
  }
  std::string AdvertisedLink(const char* component, const std::string& name) {
    std::string link = In(name);
    EXPECT_EQ(1, Probe().CreateLinkFile(U(kAdvertised + Descriptor(component) + "::"), U(link),
                                        U("advertised")));
    return link;
  }

  static DWORD s_InstallResult;
  Installer m_Installer;
  std::string m_Main, m_IconFolder;
};
DWORD Links::s_InstallResult = 1;

TEST_F(Links, PlainLinkRoundTripInEveryFormAndBadInput) {
  const std::string dir = In("Long Directory Name"),
                    target = dir + "\\a target with a long name.text";
  CreateDirectoryA(dir.c_str(), nullptr);
  scratch::MakeFile(target, "target");
  const std::string link = In("plain link.lnk");
  Probe probe;
  ASSERT_EQ(1, probe.CreateLinkFile(U(target), U(link), U("a plain link")));
  EXPECT_EQ(target, Resolve(probe, link, 1));
  // The short form is the shell's (Wine's link object gives the long path there).
  const std::string shortForm = ShellPath(link, SLGP_SHORTPATH);
  EXPECT_EQ(shortForm, Resolve(probe, link, 0));
  EXPECT_TRUE(probe.InterfacesCleared());
  char buffer[MAX_PATH];
  EXPECT_EQ(1, probe.ResolveLinkFile(U(link), buffer, 1));
  EXPECT_EQ(target, buffer);
  EXPECT_EQ(0, probe.ResolveLinkFile(U(link), static_cast<char*>(nullptr), 1));

  // The object's own path as the shortcut; the last form moves the object to the target.
  CUtilsPath own(U(link));
  UtilsString out;
  EXPECT_EQ(1, own.ResolveLinkFile(out, 0));
  EXPECT_EQ(shortForm, Str(out));
  EXPECT_EQ(1, own.ResolveLinkFile(buffer, 1));
  EXPECT_EQ(target, buffer);
  EXPECT_EQ(1, own.ResolveLinkFile(1));
  EXPECT_EQ(target, own.GetPath());
  CUtilsPath key(U("HKCU\\Software"));
  EXPECT_EQ(0,
            key.ResolveLinkFile(out, 1) + key.ResolveLinkFile(buffer, 1) + key.ResolveLinkFile(1));
  EXPECT_STREQ("HKCU\\Software", key.GetPath());

  // Bad input answers 0 without crashing.
  scratch::MakeFile(In("truncated.lnk"), scratch::ReadWhole(link).substr(0, 40));
  scratch::MakeFile(In("text.lnk"), "this is not a shortcut\r\n");
  scratch::MakeFile(In("empty.lnk"));
  for (const std::string& bad : {In("truncated.lnk"), In("text.lnk"), In("empty.lnk"), m_Dir,
                                 In("missing.lnk"), std::string()})
    EXPECT_EQ("(0:)", Resolve(probe, bad, 1)) << bad;
  EXPECT_EQ(0, probe.CreateLinkFile(U(target), U(In("no such dir\\x.lnk")), U("")));
  EXPECT_TRUE(probe.InterfacesCleared());
  // A link whose target went away still names it (the shell does not search).
  DeleteFileA(target.c_str());
  EXPECT_EQ(target, Resolve(probe, link, 1));
}

TEST_F(Links, AdvertisedShortcutsResolveByEachMethod) {
  // The packed form agrees with Wine's own decomposition.
  ASSERT_EQ(std::string(kProduct) + "Everything" + kMainComponent,
            m_Installer.Decompose(Descriptor(kMainComponent)));
  const std::string mainShort = ShortName(m_Main);
  Probe probe;
  ASSERT_EQ(1, probe.Msi());

  // What Wine's installer wrote: a plain link, answered by the shell object.
  char programs[MAX_PATH];
  ASSERT_TRUE(SHGetSpecialFolderPathA(nullptr, programs, CSIDL_PROGRAMS, FALSE));
  const std::string installed = std::string(programs) + "\\VKLinkDB Link Test\\VKLinkDB Main.lnk";
  ASSERT_TRUE(scratch::Exists(installed)) << installed;
  EXPECT_EQ("(none)", m_Installer.ShortcutTarget(installed));
  EXPECT_EQ(std::string::npos, scratch::ReadWhole(installed).find("Installer\\{"));
  EXPECT_EQ(m_Main, Resolve(probe, installed, 1));

  // The documented call.
  const std::string advertised = AdvertisedLink(kMainComponent, "advertised.lnk");
  EXPECT_EQ(std::string(kProduct) + "Everything" + kMainComponent,
            m_Installer.ShortcutTarget(advertised));
  EXPECT_EQ(m_Main, Resolve(probe, advertised, 1));
  EXPECT_EQ(mainShort, Resolve(probe, advertised, 0));

  // The byte search and the package query; a shared icon or a registry key path gives
  // nothing, and the link's own path answers instead.
  const std::string byIcon = IconLink("main.ico");
  EXPECT_EQ("(none)", m_Installer.ShortcutTarget(byIcon));
  EXPECT_EQ(m_Main, Resolve(probe, byIcon, 1));
  EXPECT_EQ(mainShort, Resolve(probe, byIcon, 0));
  EXPECT_EQ(In("fallback.txt"), Resolve(probe, IconLink("twin.ico"), 1));
  EXPECT_EQ(In("fallback.txt"), Resolve(probe, IconLink("reg.ico"), 1));

  // The installer data block, while another program holds the link open for writing.
  HANDLE writer = CreateFileA(advertised.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(INVALID_HANDLE_VALUE, writer);
  EXPECT_EQ("(none)", m_Installer.ShortcutTarget(advertised));
  EXPECT_EQ(m_Main, Resolve(probe, advertised, 1));
  EXPECT_EQ(mainShort, Resolve(probe, advertised, 0));
  CloseHandle(writer);
  EXPECT_TRUE(probe.InterfacesCleared());

  // The component whose key path is a registry value: the installer knows the link,
  // but its path ("02:\...") is no file, and the shell object has the last word.
  const std::string settings = AdvertisedLink(kSettingsComponent, "settings.lnk");
  EXPECT_EQ('0', m_Installer.ComponentPath(kSettingsComponent)[0]);
  EXPECT_EQ(std::string(kProduct) + "Everything" + kSettingsComponent,
            m_Installer.ShortcutTarget(settings));
  EXPECT_EQ("(0:)", Resolve(probe, settings, 1));
}


// Run by the copy started with MSI.DLL disabled: no installer method is left, and an
// advertised link gets what the shell object alone gives.
TEST(LinksWithoutInstaller, OnlyTheShellObjectIsLeft) {
  HMODULE msi = LoadLibraryA("msi.dll");
  if (msi) {
    FreeLibrary(msi);
    GTEST_SKIP() << "MSI.DLL is present; utils_tests_nomsi runs this";
  }
  Probe probe;
  EXPECT_EQ(0, probe.Msi());
  EXPECT_TRUE(probe.NoInstallerEntries());
  char temp[MAX_PATH];
  GetTempPathA(sizeof temp, temp);
  const std::string target = std::string(temp) + "vkl nomsi target.txt",
                    plain = std::string(temp) + "vkl nomsi plain.lnk",
                    advertised = std::string(temp) + "vkl nomsi advertised.lnk";
  scratch::MakeFile(target, "x");
  ASSERT_EQ(1, probe.CreateLinkFile(U(target), U(plain), U("")));
  EXPECT_EQ(target, Resolve(probe, plain, 1));
  ASSERT_EQ(1, probe.CreateLinkFile(U(kAdvertised + Descriptor(kMainComponent) + "::"),
                                    U(advertised), U("")));
  EXPECT_EQ("(0:)", Resolve(probe, advertised, 1));
  for (const std::string& file : {target, plain, advertised}) DeleteFileA(file.c_str());
}

}  // namespace
