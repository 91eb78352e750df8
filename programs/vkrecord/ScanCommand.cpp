// ScanCommand.cpp - vkrecord scan: records an installation that is already there. Each
// folder, file and key given is recorded as the application's own with everything below
// it; so are the application's uninstall entries (those whose name is the application's,
// whose install folder, icon or uninstaller lies in a given folder, or, for a Windows
// Installer product, whose components were installed there) and its Start-menu shortcuts
// (those whose target, an advertised shortcut's included, lies in a given folder).
#include <stdio.h>
#include <windows.h>

#include <unordered_set>

#include "CUtilsPath"
#include "Commands.h"
#include "References.h"
#include "SnapshotWin32.h"
#include "StoreSession.h"
#include "SystemWin32.h"
#include "Text.h"
#include "UtilsRegistry"

namespace vkp {

using UTILS::CUtilsPath;
using UTILS::UtilsRegistry;
using UTILS::UtilsString;

namespace {

const char* const kUninstallKeys[] = {"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall",
                                      "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall"};
const char kInstallerComponents[] = "HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData";

bool InsideAny(const std::string& path, const std::vector<std::string>& folders) {
  for (const std::string& f : folders)
    if (PathIsUnder(path, f)) return true;
  return false;
}

std::vector<std::string> Subkeys(const std::string& key) {
  std::vector<std::string> out;
  try {
    UtilsRegistry reg(UtilsString(key.c_str()), 0, 0);
    UtilsString name;
    for (unsigned long i = 0; reg.EnumKey(i, name, 0); ++i) out.push_back(name.GetSTLString());
  } catch (...) {
  }
  return out;
}

// The Windows Installer keeps a product code "squashed": each of its first three groups
// reversed, then each byte of the last two with its digits swapped.
std::string Squash(const std::string& guid) {
  std::string hex;
  for (char c : guid)
    if (isxdigit(static_cast<unsigned char>(c))) hex += static_cast<char>(toupper(static_cast<unsigned char>(c)));
  if (hex.size() != 32) return "";
  std::string out = std::string(hex.rbegin() + 24, hex.rend()) + std::string(hex.rbegin() + 20, hex.rbegin() + 24) +
                    std::string(hex.rbegin() + 16, hex.rbegin() + 20);
  for (size_t i = 16; i < 32; i += 2) out += std::string{hex[i + 1], hex[i]};
  return out;
}

// The squashed codes of the products that installed a component inside `folders`.
std::unordered_set<std::string> ProductsInstalledIn(const std::vector<std::string>& folders, Win32Probe& probe) {
  std::unordered_set<std::string> products;
  for (const std::string& user : Subkeys(kInstallerComponents)) {
    std::string components = std::string(kInstallerComponents) + "\\" + user + "\\Components";
    for (const std::string& component : Subkeys(components)) {
      std::string key = components + "\\" + component;
      try {
        UtilsRegistry reg(UtilsString(key.c_str()), 0, 0);
        UtilsString name, data;
        for (unsigned long i = 0; reg.EnumValue(i, name, data, 0); ++i) {
          std::string text;
          if (probe.ValueText(key, name.GetSTLString(), &text) && InsideAny(text, folders))
            products.insert(Upper(name.GetSTLString()));
        }
      } catch (...) {
      }
    }
  }
  return products;
}

// The uninstall entries of the application (see the file comment).
std::vector<std::string> UninstallEntries(const std::string& app, const std::vector<std::string>& folders,
                                          Win32Probe& probe) {
  std::vector<std::string> found;
  std::unordered_set<std::string> products;
  bool productsRead = false;
  auto isFile = [&](const std::string& p) { return !probe.ExistingFile(p).empty(); };
  for (const char* root : kUninstallKeys) {
    for (const std::string& sub : Subkeys(root)) {
      std::string key = std::string(root) + "\\" + sub;
      std::string name, location, icon, uninstaller, installer;
      probe.ValueText(key, "DisplayName", &name);
      probe.ValueText(key, "InstallLocation", &location);
      probe.ValueText(key, "DisplayIcon", &icon);
      probe.ValueText(key, "UninstallString", &uninstaller);
      bool mine = EqualNoCase(name, app) || (!location.empty() && InsideAny(location, folders)) ||
                  InsideAny(FileNamedBy(icon, isFile), folders) || InsideAny(FileNamedBy(uninstaller, isFile), folders);
      if (!mine && sub.size() == 38 && sub[0] == '{') {
        if (!productsRead) products = ProductsInstalledIn(folders, probe);
        productsRead = true;
        mine = products.count(Squash(sub)) > 0;
      }
      if (mine) found.push_back(key);
    }
  }
  return found;
}

// The Start-menu shortcuts that start something inside `folders`, and the Start-menu
// folders that hold nothing else.
std::vector<std::string> Shortcuts(const std::vector<std::string>& folders, Win32Probe& probe) {
  std::vector<std::string> found;
  for (const std::string& menu : StartMenuFolders()) {
    if (menu.empty()) continue;
    CUtilsPath tree{UtilsString(menu.c_str())};
    tree.SetScanRO();
    if (!tree.SearchTree(UtilsString("*.*"))) continue;
    std::vector<std::string> links, others;
    UtilsString file;
    for (int ok = tree.RetrieveFirstFile(file); ok; ok = tree.RetrieveNextFile(file)) {
      std::string path = file.GetSTLString();
      bool ours = UpperExtension(path) == "LNK" && InsideAny(probe.ShortcutTarget(path), folders);
      (ours ? links : others).push_back(path);
    }
    found.insert(found.end(), links.begin(), links.end());
    // A folder below the menu's own whose every file is one of these shortcuts.
    std::unordered_set<std::string> kept;
    for (const std::string& o : others) kept.insert(Upper(o.substr(0, o.find_last_of('\\'))));
    std::unordered_set<std::string> added;
    for (const std::string& l : links) {
      std::string folder = l.substr(0, l.find_last_of('\\'));
      if (EqualNoCase(folder, tree.GetPath()) || PathIsUnder(tree.GetPath(), folder)) continue;
      std::string programs = menu + "\\Programs";
      if (EqualNoCase(folder, programs) || EqualNoCase(folder, programs + "\\Startup")) continue;
      if (!kept.count(Upper(folder)) && added.insert(Upper(folder)).second) found.push_back(folder);
    }
  }
  return found;
}

}  // namespace

int RunScan(const Arguments& args) {
  std::string error;
  StoreSession store;
  if (!store.Open(args.db, true, &error)) return Fail(error);
  Recorder recorder(store.Db());
  if (!recorder.OpenApplication(args.app, &error)) return Fail(error);

  SnapshotScope scope;
  std::vector<std::string> folders;
  for (const std::string& t : args.targets) {
    if (!NormalizeKeyPath(t).empty()) {
      scope.keys.push_back(t);
    } else {
      std::string full = CUtilsPath{UtilsString(t.c_str())}.GetPath();
      scope.folders.push_back(full);
      if (IsFolder(full)) folders.push_back(full);
    }
  }
  Win32Probe probe;
  std::vector<std::string> uninstall = UninstallEntries(args.app, folders, probe);
  std::vector<std::string> shortcuts = folders.empty() ? std::vector<std::string>() : Shortcuts(folders, probe);
  scope.keys.insert(scope.keys.end(), uninstall.begin(), uninstall.end());
  scope.folders.insert(scope.folders.end(), shortcuts.begin(), shortcuts.end());
  scope.folders = OutermostOnly(scope.folders);

  Progress progress;
  progress.Stage("scan");
  Snapshot found;
  SnapshotReport report = TakeSnapshot(scope, &found, &progress);
  progress.Finish();
  if (found.Entries().empty()) {
    for (const std::string& m : report.missing) printf("  not there: %s\n", m.c_str());
    return Fail("nothing of " + args.app + " is there; nothing recorded");
  }
  std::vector<const SnapshotEntry*> all;
  for (const SnapshotEntry& e : found.Entries()) all.push_back(&e);
  Recording recording = RecordEntries(recorder, all, {});
  if (!store.Save(&error)) return Fail(error);

  printf("Scanned %s into %s:\n", args.app.c_str(), args.db.c_str());
  printf("%s", RecordingSummary(recorder, recording).c_str());
  for (const std::string& u : uninstall) printf("  its uninstall entry: %s\n", u.c_str());
  for (const std::string& s : shortcuts) printf("  its Start-menu shortcut: %s\n", s.c_str());
  for (const std::string& m : report.missing) printf("  not there: %s\n", m.c_str());
  return 0;
}

}  // namespace vkp
