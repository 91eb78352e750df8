// vkrecord and vkdb end to end under Wine, run as programs the way a user runs them:
//  - the two example packages (built with wixl by the test fixture) installed with msiexec
//    while vkrecord records, the plan for the first (its files owned, the shared DLL kept
//    for the second, the system DLLs it imports protected, the setting it changed kept),
//    checked against what msiexec /x then removes, and a rescan of what is left; the plan
//    once more as a copy presented as Windows 7, which the protection lists do not know;
//  - a quick stand-in installer for what an installation does to files and keys that
//    were there before, for a command or a recorder killed half-way (the store stays as
//    it was, byte for byte), and for the one-line errors;
//  - vkdb check on every store the tests write.
// vkrecord runs as vkrecord_winxp.exe and vkrecord_win7.exe, copies that Wine presents as
// those releases.
#include <gtest/gtest.h>
#include <shlwapi.h>
#include <windows.h>

#include <map>
#include <string>
#include <vector>

namespace {

const char kAppOne[] = "{4E6C8A51-2B7D-4C39-9E0A-5D1F3A7B9C01}";
const char kAppTwo[] = "{4E6C8A51-2B7D-4C39-9E0A-5D1F3A7B9D01}";
const char kTextCommand[] = "Software\\Classes\\txtfile\\shell\\open\\command";

std::string Bin() {
  char exe[MAX_PATH];
  GetModuleFileNameA(nullptr, exe, sizeof exe);
  std::string path(exe);
  return path.substr(0, path.rfind('\\'));
}

std::string Quote(const std::string& s) { return "\"" + s + "\""; }

bool Exists(const std::string& path) { return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

std::string ReadText(const std::string& path) {
  std::string out;
  HANDLE f = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                         OPEN_EXISTING, 0, nullptr);
  if (f == INVALID_HANDLE_VALUE) return out;
  char buffer[4096];
  DWORD n;
  while (ReadFile(f, buffer, sizeof buffer, &n, nullptr) && n) out.append(buffer, n);
  CloseHandle(f);
  return out;
}

// A running program whose output goes to a file.
struct Child {
  PROCESS_INFORMATION process = {};
  std::string outputFile;
  bool started = false;
};

Child Start(const std::string& commandLine, const std::string& outputFile) {
  Child child;
  child.outputFile = outputFile;
  SECURITY_ATTRIBUTES inherit = {sizeof inherit, nullptr, TRUE};
  HANDLE out = CreateFileA(outputFile.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit,
                           CREATE_ALWAYS, 0, nullptr);
  STARTUPINFOA start = {};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdOutput = start.hStdError = out;
  start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
  std::string line = commandLine;
  child.started = CreateProcessA(nullptr, &line[0], nullptr, nullptr, TRUE, 0, nullptr, Bin().c_str(), &start,
                                 &child.process) != 0;
  CloseHandle(out);
  return child;
}

DWORD Finish(Child& child, std::string* output) {
  if (!child.started) return 0xFFFFFFFF;
  DWORD code = 0xFFFFFFFF;
  if (WaitForSingleObject(child.process.hProcess, 180000) == WAIT_OBJECT_0) GetExitCodeProcess(child.process.hProcess, &code);
  CloseHandle(child.process.hProcess);
  CloseHandle(child.process.hThread);
  if (output) *output = ReadText(child.outputFile);
  DeleteFileA(child.outputFile.c_str());
  return code;
}

// Removes a folder and everything in it.
void RemoveTree(const std::string& folder) {
  WIN32_FIND_DATAA found;
  HANDLE find = FindFirstFileA((folder + "\\*").c_str(), &found);
  if (find != INVALID_HANDLE_VALUE) {
    do {
      std::string name = found.cFileName, path = folder + "\\" + name;
      if (name == "." || name == "..") continue;
      SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
      if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        RemoveTree(path);
      else
        DeleteFileA(path.c_str());
    } while (FindNextFileA(find, &found));
    FindClose(find);
  }
  RemoveDirectoryA(folder.c_str());
}

// The items of a plan printed with --json, one a line, by path.
struct Item {
  std::string category, kind, path;
  std::vector<std::string> relation, others;
};

// The JSON string that begins at `at` (a quote), with its escapes undone.
std::string JsonString(const std::string& s, size_t& at) {
  std::string out;
  for (++at; at < s.size() && s[at] != '"'; ++at) {
    if (s[at] != '\\') {
      out += s[at];
      continue;
    }
    char e = s[++at];
    if (e == 'u') {
      out += static_cast<char>(strtoul(s.substr(at + 1, 4).c_str(), nullptr, 16));
      at += 4;
    } else {
      out += e == 'n' ? '\n' : e == 'r' ? '\r' : e == 't' ? '\t' : e;
    }
  }
  ++at;
  return out;
}

std::vector<std::string> JsonField(const std::string& line, const std::string& key) {
  std::vector<std::string> out;
  size_t at = line.find("\"" + key + "\": ");
  if (at == std::string::npos) return out;
  at += key.size() + 4;
  if (line[at] == '"') return {JsonString(line, at)};
  while (at < line.size() && line[at] != ']') {
    if (line[at] == '"')
      out.push_back(JsonString(line, at));
    else
      ++at;
  }
  return out;
}

std::map<std::string, Item> PlanItems(const std::string& json) {
  std::map<std::string, Item> items;
  size_t start = 0;
  while (start < json.size()) {
    size_t end = json.find('\n', start);
    if (end == std::string::npos) end = json.size();
    std::string line = json.substr(start, end - start);
    start = end + 1;
    if (line.find("{\"category\": ") == std::string::npos) continue;
    Item item;
    item.category = JsonField(line, "category").at(0);
    item.kind = JsonField(line, "kind").at(0);
    item.path = JsonField(line, "path").at(0);
    item.relation = JsonField(line, "relation");
    item.others = JsonField(line, "others");
    items[item.path] = item;
  }
  return items;
}

bool EndsWith(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && CompareStringA(LOCALE_INVARIANT, NORM_IGNORECASE, s.c_str() + s.size() - tail.size(),
                                                   -1, tail.c_str(), -1) == CSTR_EQUAL;
}

const Item* Find(const std::map<std::string, Item>& items, const std::string& tail) {
  for (const auto& i : items)
    if (EndsWith(i.first, tail)) return &i.second;
  return nullptr;
}

std::string CategoryOf(const std::map<std::string, Item>& items, const std::string& tail) {
  const Item* item = Find(items, tail);
  return item ? item->category : "(missing)";
}

bool Has(const std::vector<std::string>& list, const std::string& s) {
  for (const std::string& x : list)
    if (x == s) return true;
  return false;
}

class EndToEnd : public ::testing::Test {
 protected:
  void SetUp() override {
    char temp[MAX_PATH];
    GetTempPathA(sizeof temp, temp);
    // A folder for each test: Windows Installer's helper processes inherit the handles of
    // the output files kept here and may outlive a test by a while, so that its folder
    // cannot always be removed at once.
    m_Scratch = std::string(temp) + "VKRecordTests." + std::to_string(GetCurrentProcessId()) + "." +
                ::testing::UnitTest::GetInstance()->current_test_info()->name();
    RemoveTree(m_Scratch);
    ASSERT_TRUE(CreateDirectoryA(m_Scratch.c_str(), nullptr));
    m_Key = "Software\\VKRecordTests\\" + std::to_string(GetCurrentProcessId());
  }
  void TearDown() override {
    // vkdb check on every store the test wrote.
    if (!m_Stores.empty()) {
      std::string line = "vkdb.exe check", output;
      for (const std::string& s : m_Stores) line += " " + Quote(s);
      EXPECT_EQ(0u, Run(line, &output)) << output;
    }
    RemoveTree(m_Scratch);
    SHDeleteKeyA(HKEY_CURRENT_USER, m_Key.c_str());
  }

  std::string Path(const std::string& name) { return m_Scratch + "\\" + name; }
  std::string NewStore(const std::string& name) {
    std::string store = Path(name);
    CreateDirectoryA(store.c_str(), nullptr);
    m_Stores.push_back(store);
    return store;
  }
  DWORD Run(const std::string& commandLine, std::string* output) {
    Child child = Start(commandLine, Path("output." + std::to_string(m_Runs++) + ".txt"));
    return Finish(child, output);
  }
  // vkrecord as the copy presented as `release`.
  DWORD Vkrecord(const std::string& release, const std::string& arguments, std::string* output) {
    return Run("vkrecord_" + release + ".exe " + arguments, output);
  }
  // The stand-in installer's command line for the folder `app` and key `key`.
  std::string Fake(const std::string& app, const std::string& key, const std::string& pid, const std::string& extra = "") {
    return Quote(Bin() + "\\fake_installer.exe") + " " + Quote(Path(app)) + " " + Quote(key) + " " + Quote(Path(pid)) +
           (extra.empty() ? "" : " " + extra);
  }
  std::string Record(const std::string& store, const std::string& app, const std::string& folder, const std::string& key) {
    return "record --db " + Quote(store) + " --app " + app + " --root " + Quote(Path(folder)) + " --key " +
           Quote("HKCU\\" + key) + " -- ";
  }
  std::string StoreBytes(const std::string& store) {
    return ReadText(store + "\\obj.dat") + "|" + ReadText(store + "\\link.dat") + "|" + ReadText(store + "\\store.gen");
  }
  DWORD WaitForPid(const std::string& file) {
    for (int i = 0; i < 600 && !Exists(Path(file)); ++i) Sleep(100);
    return strtoul(ReadText(Path(file)).c_str(), nullptr, 10);
  }

  std::string m_Scratch, m_Key;
  std::vector<std::string> m_Stores;
  int m_Runs = 0;
};

TEST_F(EndToEnd, InstallersRecordedPlannedRemovedAndRescanned) {
  std::string one = Bin() + "\\packages\\VKExampleOne.msi", two = Bin() + "\\packages\\VKExampleTwo.msi", out;
  ASSERT_TRUE(Exists(one) && Exists(two)) << one;
  // A machine where neither is installed and text files open with Notepad.
  Run(std::string("msiexec.exe /x ") + kAppOne + " /qn", nullptr);
  Run(std::string("msiexec.exe /x ") + kAppTwo + " /qn", nullptr);
  char system[MAX_PATH];
  GetSystemDirectoryA(system, sizeof system);
  std::string notepad = Quote(std::string(system) + "\\notepad.exe") + " \"%1\"";
  ASSERT_EQ(0, SHSetValueA(HKEY_LOCAL_MACHINE, kTextCommand, nullptr, REG_SZ, notepad.c_str(),
                           static_cast<DWORD>(notepad.size() + 1)));

  std::string store = NewStore("store");
  ASSERT_EQ(0u, Vkrecord("winxp", "record --db " + Quote(store) + " --app AppOne -- msiexec.exe /i " + Quote(one) + " /qn", &out)) << out;
  EXPECT_NE(std::string::npos, out.find("Recorded AppOne")) << out;
  ASSERT_EQ(0u, Vkrecord("winxp", "record --db " + Quote(store) + " --app AppTwo -- msiexec.exe /i " + Quote(two) + " /qn", &out)) << out;
  ASSERT_EQ(0u, Vkrecord("winxp", "plan --db " + Quote(store) + " --app AppOne --json", &out)) << out;
  std::map<std::string, Item> plan = PlanItems(out);
  EXPECT_NE(std::string::npos, out.find("\"protection_lists\": \"the Windows 2000 and XP lists\""));

  const Item* exe = Find(plan, "\\VK Example\\AppOne\\one.exe");
  const Item* shared = Find(plan, "\\VK Example\\vkshared.dll");
  const Item* kernel = Find(plan, "\\system32\\kernel32.dll");
  const Item* setting = Find(plan, "\\txtfile\\shell\\open\\command\\(Default)");
  ASSERT_TRUE(exe && shared && kernel && setting) << out;
  EXPECT_EQ("owned", exe->category);
  EXPECT_EQ("owned", CategoryOf(plan, "\\VK Example\\AppOne\\readme.txt"));
  EXPECT_EQ("shared", shared->category);
  EXPECT_EQ(std::vector<std::string>{"AppTwo"}, shared->others);
  EXPECT_EQ("protected", kernel->category);
  EXPECT_EQ("changed", setting->category);
  for (const auto& i : plan) {
    if (i.second.category != "owned") continue;
    EXPECT_TRUE(i.second.others.empty()) << "a shared thing planned for removal: " << i.first;
    EXPECT_TRUE(Has(i.second.relation, "owns")) << "a changed or used thing planned for removal: " << i.first;
    EXPECT_FALSE(EndsWith(i.first, "\\system32\\kernel32.dll")) << i.first;
  }
  ASSERT_EQ(0u, Vkrecord("winxp", "who --db " + Quote(store) + " " + Quote(shared->path), &out)) << out;
  EXPECT_NE(std::string::npos, out.find("2 applications refer to it")) << out;
  ASSERT_EQ(0u, Vkrecord("winxp", "deps --db " + Quote(store) + " --app AppOne", &out)) << out;
  EXPECT_NE(std::string::npos, out.find(kernel->path)) << out;

  // Where the lists do not know the release, nothing is protected, and the system DLL is
  // kept only because the other application uses it too.
  ASSERT_EQ(0u, Vkrecord("win7", "plan --db " + Quote(store) + " --app AppOne --json", &out)) << out;
  EXPECT_NE(std::string::npos, out.find("\"warning\": \"Warning: this system reports a release newer than Windows XP"));
  EXPECT_NE(std::string::npos, out.find("\"protected\": 0"));
  EXPECT_EQ("shared", CategoryOf(PlanItems(out), "\\system32\\kernel32.dll"));

  // The uninstaller removes what the plan calls owned and nothing it keeps, but for the
  // setting it changed: Windows Installer removes every value it wrote.
  ASSERT_EQ(0u, Run(std::string("msiexec.exe /x ") + kAppOne + " /qn", &out)) << out;
  EXPECT_FALSE(Exists(exe->path));
  for (const auto& i : plan) {
    if (i.second.category != "owned" && (i.second.kind == "file" || i.second.kind == "folder")) {
      EXPECT_TRUE(Exists(i.first)) << "kept by the plan, removed by the uninstaller: " << i.first;
    }
  }

  // What is left: AppTwo, found from its folder with its uninstall entry and shortcut.
  std::string appTwo = shared->path.substr(0, shared->path.find("\\Common Files")) + "\\VK Example\\AppTwo";
  std::string rescan = NewStore("rescan");
  ASSERT_EQ(0u, Vkrecord("winxp", "scan --db " + Quote(rescan) + " --app AppTwo " + Quote(appTwo), &out)) << out;
  EXPECT_NE(std::string::npos, out.find(std::string("its uninstall entry: HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\") + kAppTwo)) << out;
  EXPECT_NE(std::string::npos, out.find("its Start-menu shortcut: ")) << out;
  ASSERT_EQ(0u, Vkrecord("winxp", "plan --db " + Quote(rescan) + " --app AppTwo --json", &out)) << out;
  plan = PlanItems(out);
  EXPECT_EQ("owned", CategoryOf(plan, "\\AppTwo\\two.exe")) << out;
  EXPECT_EQ("owned", CategoryOf(plan, "\\VK Example AppTwo\\AppTwo.lnk")) << out;
  EXPECT_EQ("owned", CategoryOf(plan, std::string("\\Uninstall\\") + kAppTwo)) << out;
  EXPECT_EQ("protected", CategoryOf(plan, "\\system32\\kernel32.dll")) << out;

  Run(std::string("msiexec.exe /x ") + kAppTwo + " /qn", nullptr);
  SHSetValueA(HKEY_LOCAL_MACHINE, kTextCommand, nullptr, REG_SZ, notepad.c_str(), static_cast<DWORD>(notepad.size() + 1));
}

TEST_F(EndToEnd, ChangedFilesAreKeptAndErrorsTakeOneLine) {
  std::string store = NewStore("store"), out;
  CreateDirectoryA(Path("app").c_str(), nullptr);
  HANDLE f = CreateFileA(Path("app\\existing.txt").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  CloseHandle(f);
  std::string key = m_Key + "\\one";
  ASSERT_EQ(0u, Vkrecord("winxp", Record(store, "Fake", "app", key) + Fake("app", key, "pid"), &out)) << out;
  ASSERT_EQ(0u, Vkrecord("winxp", "plan --db " + Quote(store) + " --app Fake --json", &out)) << out;
  std::map<std::string, Item> plan = PlanItems(out);
  for (const char* owned : {"\\app\\new.txt", "\\app\\sub", "\\app\\sub\\deep.txt", "\\app\\tool.exe", "\\one\\Created", "\\one\\Tool"})
    EXPECT_EQ("owned", CategoryOf(plan, owned)) << owned << "\n" << out;
  EXPECT_EQ("changed", CategoryOf(plan, "\\app\\existing.txt"));
  EXPECT_EQ("protected", CategoryOf(plan, "\\system32\\kernel32.dll"));  // tool.exe imports it

  // One line on the error output and a failing status; the store untouched.
  std::string bytes = StoreBytes(store);
  struct Case {
    std::string arguments, message;
    DWORD status;
  };
  const Case cases[] = {
      {"plan --db " + Quote(store), "vkrecord: 'plan' needs --app NAME", 2},
      {"plan --db " + Quote(Path("missing")) + " --app Fake", "vkrecord: no store folder", 1},
      {"plan --db " + Quote(store) + " --app Nobody", "vkrecord: the store holds no application named \"Nobody\"", 1},
      {"who --db " + Quote(store) + " C:\\nowhere", "vkrecord: the store holds no object at C:\\nowhere", 1},
      {Record(store, "Fake", "app", key) + "no_such_program.exe", "vkrecord: cannot start no_such_program.exe: ", 1},
      {Record(store, "Fake", "app2", key) + Fake("app2", key, "pid2", "fail 3"),
       "vkrecord: the command ended with status 3; nothing recorded", 1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.status, Vkrecord("winxp", c.arguments, &out)) << c.arguments;
    EXPECT_EQ(0u, out.find(c.message)) << out;
    if (c.status == 1) {
      EXPECT_EQ(out.size() - 1, out.find('\n')) << out;
    }
  }
  EXPECT_EQ(bytes, StoreBytes(store));
  ASSERT_EQ(0u, Vkrecord("winxp", Record(store, "Failed", "app3", key + "3").replace(0, 6, "record --even-if-failed") +
                                     Fake("app3", key + "3", "pid3", "fail 3"), &out)) << out;
  EXPECT_NE(std::string::npos, out.find("ended with status 3")) << out;
}

TEST_F(EndToEnd, AKilledCommandOrRecorderLeavesTheStoreAsItWas) {
  std::string store = NewStore("store"), out;
  ASSERT_EQ(0u, Vkrecord("winxp", Record(store, "Seed", "seed", m_Key + "\\seed") + Fake("seed", m_Key + "\\seed", "pid0"), &out)) << out;
  std::string bytes = StoreBytes(store);

  // The command killed: the recorder sees it fail and records nothing.
  Child recorder = Start("vkrecord_winxp.exe " + Record(store, "Killed", "a", m_Key + "\\a") +
                             Fake("a", m_Key + "\\a", "pid1", "wait"),
                         Path("killed.txt"));
  DWORD pid = WaitForPid("pid1");
  HANDLE command = OpenProcess(PROCESS_TERMINATE, FALSE, pid);
  ASSERT_TRUE(command) << pid;
  TerminateProcess(command, 1);
  CloseHandle(command);
  EXPECT_EQ(1u, Finish(recorder, &out));
  EXPECT_NE(std::string::npos, out.find("nothing recorded")) << out;
  EXPECT_EQ(bytes, StoreBytes(store));

  // The recorder killed while its command runs: nothing is written either, and the next
  // recorder gets the store.
  recorder = Start("vkrecord_winxp.exe " + Record(store, "Cut", "b", m_Key + "\\b") + Fake("b", m_Key + "\\b", "pid2", "wait"),
                   Path("cut.txt"));
  pid = WaitForPid("pid2");
  TerminateProcess(recorder.process.hProcess, 9);
  Finish(recorder, nullptr);
  command = OpenProcess(PROCESS_TERMINATE, FALSE, pid);
  if (command) TerminateProcess(command, 1), CloseHandle(command);
  EXPECT_EQ(bytes, StoreBytes(store));
  ASSERT_EQ(0u, Vkrecord("winxp", Record(store, "After", "c", m_Key + "\\c") + Fake("c", m_Key + "\\c", "pid3"), &out)) << out;
  ASSERT_EQ(0u, Vkrecord("winxp", "plan --db " + Quote(store) + " --app After", &out)) << out;
  EXPECT_EQ(std::string::npos, out.find("Cut")) << out;
}

}  // namespace
