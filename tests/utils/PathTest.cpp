// CUtilsPath against Wine's own answers (GetFullPathNameA, _splitpath, the short and
// long name calls, the system places) on a scratch folder that every test creates and
// removes; the current directory is set inside it so relative paths are known.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <windows.h>

#include <random>
#include <string>
#include <thread>

#include "CUtilsPath"
#include "Scratch.h"
#include "TestSupport.h"

namespace {

using UTILS::CUtilsPath;
using UTILS::UtilsString;

// The protected members the tests look at.
class Probe : public CUtilsPath {
 public:
  explicit Probe(const std::string& path = "", int automate = 0, int scanRO = 0, int throws = 0)
      : CUtilsPath(U(path), automate, scanRO, throws) {}
  int IsUNC() const { return m_IsUNC; }
  unsigned long Level() const { return m_ParentLevel; }
  int Msi() const { return m_MsiAvailable; }
  HMODULE Module() const { return m_MsiModule; }
  bool AllEntries() const {
    return m_pfnMsiDecomposeDescriptorA && m_pfnMsiOpenDatabaseA && m_pfnMsiCloseHandle &&
           m_pfnMsiGetShortcutTargetA;
  }
  std::string Rebuilt(const std::string& shortPath) {
    UtilsString out("untouched");
    return RebuildLongPathName(U(shortPath), out) ? Str(out) : "(failed)";
  }
};

std::string FullPathOracle(const std::string& relative) {
  char full[1024];
  DWORD n = GetFullPathNameA(relative.c_str(), sizeof full, full, nullptr);
  std::string text(full, n);
  if (text.size() > 3 && text.back() == '\\') text.pop_back();
  return text;
}

// The scratch folder with a\b\c inside, which is the current directory meanwhile.
class Path : public scratch::Dir {
 protected:
  void SetUp() override {
    scratch::Dir::SetUp();
    GetCurrentDirectoryA(sizeof m_Saved, m_Saved);
    m_Cwd = In("a\\b\\c");
    for (const char* d : {"a", "a\\b", "a\\b\\c"}) CreateDirectoryA(In(d).c_str(), nullptr);
    ASSERT_TRUE(SetCurrentDirectoryA(m_Cwd.c_str()));
  }
  void TearDown() override {
    SetCurrentDirectoryA(m_Saved);
    scratch::Dir::TearDown();
  }
  char m_Saved[MAX_PATH];
  std::string m_Cwd;
};

TEST_F(Path, NormalisesWhatUsersTypeInTheOrderOfItsTests) {
  const struct {
    std::string given, expected;
    int reg, unc;
  } cases[] = {
      // Windows' own answer for plain relative texts.
      {"x", FullPathOracle("x"), 0, 0},
      {".\\x\\y\\", FullPathOracle(".\\x\\y"), 0, 0},
      {"..\\x", FullPathOracle("..\\x"), 0, 0},
      {"..\\..\\x", FullPathOracle("..\\..\\x"), 0, 0},
      {"..", FullPathOracle(".."), 0, 0},
      {"  name with blanks  ", FullPathOracle("name with blanks"), 0, 0},
      // Kept as they are: absolute texts keep a second ending backslash.
      {"  C:\\Temp\\\\  ", "C:\\Temp\\", 0, 0},
      {"C:\\Temp\\", "C:\\Temp", 0, 0},
      {"\\\\server\\share\\dir\\", "\\\\server\\share\\dir", 0, 1},
      {"\\\\server\\share\\\\dir", "\\\\server\\share\\\\dir", 0, 1},
      // The quirks: a doubled backslash makes even a drive path relative, leading dots
      // go, a root-relative text goes under the current directory, a later ".." stays,
      // and every ".." of a leading climb counts.
      {"C:\\a\\\\b", m_Cwd + "\\C:\\a\\b", 0, 0},
      {"sub\\..\\x", m_Cwd + "\\sub\\..\\x", 0, 0},
      {"..\\a\\..\\b", In("a") + "\\a\\..\\b", 0, 0},
      {".hidden", m_Cwd + "\\hidden", 0, 0},
      {"\\x", m_Cwd + "\\x", 0, 0},
      {"   ", m_Cwd, 0, 0},
      // Registry paths are left alone (the root compared with the text's case flag).
      {"HKLM", "HKLM", 1, 0},
      {"HKEY_USERS\\.DEFAULT\\", "HKEY_USERS\\.DEFAULT", 1, 0},
      {"HKCU\\\\Software", "HKCU\\\\Software", 1, 0},
      {"HKLM2\\a", m_Cwd + "\\HKLM2\\a", 0, 0},
      {"hklm\\x", m_Cwd + "\\hklm\\x", 0, 0},
  };
  for (const auto& c : cases) {
    Probe path(c.given);
    EXPECT_EQ(c.expected, path.GetPath()) << "[" << c.given << "]";
    EXPECT_EQ(c.reg * 10 + c.unc, path.IsARegEntry() * 10 + path.IsUNC()) << c.given;
    EXPECT_EQ(0u, path.Level());
    if (c.unc) {
      EXPECT_EQ(c.expected, path.GetPathUNC());
    }
  }
  UtilsString lower("hklm\\x");
  lower.SetCase(0);
  EXPECT_EQ(1, CUtilsPath(lower).IsARegEntry());
  // The network form drops the drive; a registry path is appended as it stands.
  const std::string pc = NetworkPrefix();
  EXPECT_EQ(pc + "dir\\file", Str(CUtilsPath(U("C:\\dir\\file")).UGetPathUNC()));
  EXPECT_EQ(pc + "HKLM\\Software", Str(CUtilsPath(U("HKLM\\Software")).UGetPathUNC()));
  EXPECT_EQ(pc + "a\\b", Str(CUtilsPath(U("C:\\a\\C:\\b")).UGetPathUNC()));
}

TEST_F(Path, AddsUnderThePathAndThrowsOnlyWhenAsked) {
  Probe path("C:\\a");
  EXPECT_EQ(1, path.AddToPath(U("D:\\x")));
  path += U("y\\z\\");
  EXPECT_EQ(1, path.AddDirToPath(U("..\\..\\w")));
  EXPECT_EQ("C:\\a\\x\\w", std::string(path.GetPath()));
  path += CUtilsPath(U("q"));  // the other object's full path, drive dropped
  const std::string added = "C:\\a\\x\\w\\" + m_Cwd.substr(3) + "\\q";
  EXPECT_EQ(added, path.GetPath());
  // An empty object takes the text as it is; registry state follows the last text.
  Probe empty;
  EXPECT_TRUE(!empty);
  EXPECT_EQ(1, empty.AddToPath(U("HKLM\\Software")));
  EXPECT_EQ(1, empty.IsARegEntry());
  empty += U("X");
  EXPECT_EQ("HKLM\\Software\\X", std::string(empty.GetPath()));
  EXPECT_EQ(0, empty.IsARegEntry());

  // Empty texts: 0 and no change, or the record with the thread's last error.
  EXPECT_EQ(0, path.AddToPath(U("")) + path.SetDir(U("")));
  EXPECT_EQ(added, path.GetPath());
  path.SetExceptionHandling();
  const std::string null = "The input pathname is NULL";
  SetLastError(0);
  EXPECT_EQ(Record("CUtilsPath", 173, 1029, 0, null),
            Thrown<UTILS::std_exception>([&] { path.SetDir(U("")); }));
  SetLastError(ERROR_ACCESS_DENIED);
  EXPECT_EQ(Record("CUtilsPath", 173, 1394, ERROR_ACCESS_DENIED, null),
            Thrown<UTILS::std_exception>([&] { path.AddToPath(U("")); }));
  SetLastError(0);
  EXPECT_EQ(Record("CUtilsPath", 173, 1029, 0, null),
            Thrown<UTILS::std_exception>([] { CUtilsPath thrower(U(""), 0, 0, 1); }));
}

TEST_F(Path, SplitsFileNamesAsTheRuntimeDoes) {
  // Against _splitpath: with the last dot, name and extension are its file name and
  // its extension without the dot; without a dot both are empty.
  const char* pieces[] = {"\\", ".", "..", "a", "bc", "x.y", "name.ext", " ", "dir", ".txt", "~1"};
  std::mt19937 rng(913);
  for (int round = 0; round < 3000; ++round) {
    std::string path;
    for (int i = rng() % 6; i > 0; --i) path += pieces[rng() % (sizeof pieces / sizeof *pieces)];
    char d[_MAX_DRIVE], p[_MAX_DIR], f[_MAX_FNAME], e[_MAX_EXT];
    _splitpath(path.c_str(), d, p, f, e);
    UtilsString name("old"), ext("old");
    int split = CUtilsPath::GetFileNameFromPath(U(path), name, ext, 0);
    ASSERT_EQ(e[0] != 0, split != 0) << path;
    ASSERT_EQ(split ? std::string(f) + "|" + (e + 1) : "|", Str(name) + "|" + Str(ext)) << path;
  }
  const struct {
    const char* path;
    int firstDot;
    const char* expected;
  } cases[] = {{"C:\\dir\\archive.tar.gz", 1, "archive|tar.gz"},
               {"C:\\dir\\archive.tar.gz", 0, "archive.tar|gz"},
               {"C:\\dir\\README", 1, "|"},
               {"C:\\d.x\\a..b.", 1, "a|.b."}};
  for (const auto& c : cases) {
    char name[64] = "old", ext[64] = "old";
    EXPECT_EQ(c.expected[0] != '|', CUtilsPath::GetFileNameFromPath(c.path, name, ext, c.firstDot));
    EXPECT_EQ(c.expected, std::string(name) + "|" + ext) << c.path;
  }
  char out[8];
  EXPECT_EQ(0, CUtilsPath::GetFileNameFromPath(nullptr, out, out, 0) +
                   CUtilsPath::GetFileNameFromPath("a.b", nullptr, out, 0));
}

TEST_F(Path, WalksParentsAndElementsOnOneCursor) {
  CUtilsPath path(U("C:\\a\\b\\c"));
  UtilsString text;
  char buffer[64];
  std::string walks;
  while (path.GetParentDir(text)) walks += Str(text) + "|";
  path.ResetParentSearch();
  while (path.GetNextParentDir(text)) walks += Str(text) + ",";
  path.CloseParentSearch();
  while (path.GetPrevParentKey(buffer)) walks += std::string(buffer) + ";";
  EXPECT_EQ("C:\\a\\b|C:\\a|C:|C:,a,b,c,c;b;a;C:;", walks);
  path.SetDir(U("C:\\a\\b\\c"));  // a path set starts the walk again
  CUtilsPath parent;
  ASSERT_EQ(1, path.GetParentKey(parent));
  EXPECT_STREQ("C:\\a\\b", parent.GetPath());
  EXPECT_EQ(0, path.GetParentDir(static_cast<char*>(nullptr)));
  // The drive or root key, and the folder at the cursor.
  EXPECT_EQ("C:", Str(path.UGetDrive()));
  EXPECT_EQ("HKEY_USERS", Str(CUtilsPath(U("HKEY_USERS\\.DEFAULT")).UGetRootKey()));
  path.ResetParentSearch();
  ASSERT_EQ(1, path.GetDirFolder(text));
  EXPECT_EQ("C:", Str(text));
  // A network path begins with two empty elements and has no parent above the host.
  CUtilsPath unc(U("\\\\host\\share\\d"));
  EXPECT_EQ(0, unc.GetDirFolder(text));
  walks.clear();
  while (unc.GetParentDir(text)) walks += Str(text) + "|";
  EXPECT_EQ("\\\\host\\share|\\\\host|", walks);
  // Moving the path itself up.
  ASSERT_EQ(1, parent.SetPathToSubDir());
  EXPECT_STREQ("C:\\a", parent.GetPath());
  EXPECT_EQ(0, CUtilsPath(U("C:")).SetPathToSubKey());
}

TEST_F(Path, SystemPlacesMatchTheSystemAndBuffersAreOverwritten) {
  char expected[MAX_PATH];
  GetTempPathA(sizeof expected, expected);
  EXPECT_STREQ(expected, CUtilsPath::GetTempDir());
  GetWindowsDirectoryA(expected, sizeof expected);
  EXPECT_STREQ(expected, CUtilsPath::GetWindowsDirectoryA());
  GetSystemDirectoryA(expected, sizeof expected);
  EXPECT_EQ(std::string(expected), Str(CUtilsPath::UGetSystemDir()));
  CUtilsPath place;
  ASSERT_EQ(1, place.SetDirToSystemDirectory());
  EXPECT_STREQ(expected, place.GetPath());
  ASSERT_EQ(1, place.SetPathToTemp());
  EXPECT_EQ(FullPathOracle(CUtilsPath::GetTempDirectory()), place.GetPath());
  GetModuleFileNameA(nullptr, expected, sizeof expected);
  ASSERT_EQ(1, place.SetPathToModuleName(nullptr));
  EXPECT_STREQ(expected, place.GetPath());
  EXPECT_EQ(1, place.IsAFile());
  EXPECT_EQ(0, place.SetDirToModuleName(reinterpret_cast<HINSTANCE>(0x10)));

  // One buffer per function (and thread): the next call overwrites what it returned.
  char* current = CUtilsPath::GetCurrentDir();
  EXPECT_EQ(m_Cwd, current);
  ASSERT_EQ(1, CUtilsPath(U("..")).SetCurrentDirectoryA());
  EXPECT_EQ(current, CUtilsPath::GetCurrentDirectoryA());
  EXPECT_EQ(In("a\\b"), current);
  std::thread([] {
    CUtilsPath::GetCurrentDir();
    SetCurrentDirectoryA("C:\\");
  }).join();
  EXPECT_EQ(In("a\\b"), current) << "another thread's call wrote into this thread's buffer";
  SetCurrentDirectoryA(m_Cwd.c_str());
  EXPECT_EQ(0, CUtilsPath(U("HKLM\\Software")).SetCurrentDir());

  // A temporary directory longer than the buffer: null, and the U form empty.
  char saved[MAX_PATH];
  DWORD had = GetEnvironmentVariableA("TMP", saved, sizeof saved);
  for (const char* name : {"TMP", "TEMP"})
    SetEnvironmentVariableA(name, ("C:\\" + std::string(300, 't')).c_str());
  EXPECT_EQ(nullptr, CUtilsPath::GetTempDir());
  EXPECT_EQ("", Str(CUtilsPath::UGetTempDir()));
  EXPECT_EQ(0, place.SetDirToTemp());
  for (const char* name : {"TMP", "TEMP"}) SetEnvironmentVariableA(name, had ? saved : nullptr);
}

TEST_F(Path, KindAndSizeOnDiskAndBadInput) {
  scratch::MakeFile(In("file.bin"), std::string(1234, 'x'));
  CreateDirectoryA(In("sub").c_str(), nullptr);
  CUtilsPath file(U(In("file.bin")));
  WIN32_FIND_DATAA found;
  EXPECT_EQ(1, file.IsAFile(found));
  EXPECT_STREQ("file.bin", found.cFileName);
  EXPECT_EQ(1, file.GetFileFlag() - file.IsADir());
  EXPECT_EQ(1234u, file.GetFileSize());
  EXPECT_EQ(1234u, file.GetDirSize());
  CUtilsPath dir(U(In("sub")));
  EXPECT_EQ(2, dir.DirExists() + dir.IsADir(found) - dir.IsAFile());
  for (const std::string& missing : {In("missing"), std::string("HKLM\\Software")}) {
    CUtilsPath none(file);
    none.SetDir(U(missing));
    EXPECT_EQ(0u, none.IsAFile() + none.IsADir() + none.GetFileFlag() + none.GetFileSize());
  }
  // With automate a path set collects its tree, and fails on a file; a missing folder
  // answers 0 even with the exception switch on.
  Probe automated(m_Dir, 1);
  EXPECT_EQ(1u, automated.GetTotalFiles());
  EXPECT_EQ(0, automated.SetDir(U(In("file.bin"))));
  EXPECT_EQ(0, Probe(In("gone"), 0, 0, 1).SearchTree(U("*.*")));
  // Bad input answers without crashing.
  const std::string longRelative(1000, 'r');
  for (const std::string& text : {"C:\\" + std::string(997, 'n'), longRelative, In("a<b>c|d\"e")}) {
    CUtilsPath path(U(text), 0, 1, 1);
    EXPECT_EQ(0, path.IsADir() + path.IsAFile() + path.SearchTree(U("*.*"))) << text.size();
    EXPECT_EQ(nullptr, path.GetShortPathNameA());
    EXPECT_EQ(nullptr, path.GetLongPathNameA());
    UtilsString parent;
    EXPECT_EQ(1, path.GetParentDir(parent));
  }
  EXPECT_EQ(m_Cwd + "\\" + longRelative, CUtilsPath(U(longRelative)).GetPath());
  EXPECT_EQ(0, CUtilsPath(UtilsString(static_cast<const char*>(nullptr))).IsAFile());
  // A wildcard is the find query's business: the first match answers for the path.
  CUtilsPath wildcard(U(In("f*.bin")));
  EXPECT_EQ(1, wildcard.GetFileFlag());
  EXPECT_EQ(1234u, wildcard.GetDirSize());
}

TEST_F(Path, LongAndShortNamesAgreeWithWine) {
  const std::string dir = In("Long Directory Name"), file = dir + "\\a file with a long name.text";
  CreateDirectoryA(dir.c_str(), nullptr);
  scratch::MakeFile(file);
  for (const std::string& name : {file, dir}) {
    char expected[MAX_PATH + 1];
    ASSERT_NE(0u, GetShortPathNameA(name.c_str(), expected, sizeof expected));
    const std::string shortName = expected;
    CUtilsPath path(U(name));
    EXPECT_EQ(shortName, path.GetShortPathNameA());
    ASSERT_NE(0u, GetLongPathNameA(shortName.c_str(), expected, sizeof expected));
    EXPECT_EQ(std::string(expected), path.GetLongPathNameA(U(shortName)));
    EXPECT_EQ(std::string(expected), CUtilsPath(U(shortName)).GetLongPathNameA());
    // The rebuild by hand for systems without the call: the same answer, with the
    // drive letter as the caller wrote it.
    Probe probe;
    EXPECT_EQ(std::string(expected), probe.Rebuilt(shortName));
    std::string lower = shortName;
    lower[0] = static_cast<char>(tolower(lower[0]));
    EXPECT_EQ(lower.substr(0, 1) + std::string(expected).substr(1), probe.Rebuilt(lower));
  }
  Probe probe;
  EXPECT_EQ("(failed)", probe.Rebuilt(In("missing")));
  // Texts without a drive are taken from the current directory, and the rebuild keeps
  // no drive (a root-relative text gets the root back); a network path and the bare
  // root are their own long form.
  scratch::MakeFile(m_Cwd + "\\x");
  EXPECT_EQ(m_Cwd.substr(3) + "\\x", probe.Rebuilt("x"));
  EXPECT_EQ(m_Cwd.substr(2) + "\\x", probe.Rebuilt("\\x"));
  EXPECT_STREQ("\\\\host\\share", probe.GetLongPathNameA(U("\\\\host\\share")));
  EXPECT_STREQ("\\", probe.GetLongPathNameA(U("\\")));
  for (const std::string& none : {In("missing"), std::string("HKLM\\Software")})
    EXPECT_EQ(nullptr, probe.GetShortPathNameA(U(none)));
  EXPECT_EQ(nullptr, probe.GetLongPathNameA(U(In("missing"))));
  EXPECT_EQ(nullptr, CUtilsPath(U("HKCU")).GetLongPathNameA());
  // The buffer is the function's: the next call overwrites the text.
  char* first = probe.GetShortPathNameA(U(dir));
  std::string before = first;
  probe.GetShortPathNameA(U(file));
  EXPECT_NE(before, first);
}

TEST_F(Path, ComparesCopiesAndLoadsTheInstaller) {
  CUtilsPath a(U("C:\\a")), b(U("C:\\b")), a2(U("C:\\a\\"));
  EXPECT_TRUE(a == a2 && a != b && a < b && b > a && a <= a2 && a >= a2);
  EXPECT_FALSE(a == CUtilsPath(U("c:\\A")));               // the default case flag is exact
  EXPECT_TRUE(a == U("C:\\a") && a == U(a.GetPathUNC()));  // a network text: the network form
  EXPECT_FALSE(a == U("\\\\x\\a"));
  EXPECT_EQ(static_cast<CUtilsPath*>(a), &a);
  EXPECT_STREQ("UTILS::CUtilsPath", a.derived_class());

  // MSI.DLL and its entry points; copies share the module and each frees its own
  // reference, while the process keeps the installer loaded.
  Probe probe(m_Dir, 0, 1, 1);
  EXPECT_EQ(1, probe.Msi());
  EXPECT_TRUE(probe.AllEntries());
  EXPECT_EQ(GetModuleHandleA("msi.dll"), probe.Module());
  {
    Probe copy(probe), assigned;
    assigned = probe;
    EXPECT_EQ(probe.Module(), copy.Module());
    EXPECT_EQ(m_Dir, assigned.GetPath());
    EXPECT_EQ(1, assigned.Msi());
    EXPECT_THROW(assigned.SetDir(U("")), UTILS::std_exception);  // the switches come along
  }
  EXPECT_NE(nullptr, GetModuleHandleA("msi.dll"));
}


}  // namespace
