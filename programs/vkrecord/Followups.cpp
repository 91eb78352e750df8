// Followups.cpp - see Followups.h.
#include "Followups.h"

#include <unordered_set>

#include "References.h"
#include "Text.h"

namespace vkp {

namespace {
std::string Folder(const std::string& path) {
  size_t slash = path.find_last_of('\\');
  return slash == std::string::npos ? "" : path.substr(0, slash);
}

std::string Leaf(const std::string& path) {
  size_t slash = path.find_last_of('\\');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}
}  // namespace

FollowupCounts FollowReferences(Recorder& recorder, SystemProbe& probe, const std::vector<Recorded>& things) {
  FollowupCounts counts;
  auto isFile = [&](const std::string& p) { return !probe.ExistingFile(p).empty(); };
  auto uses = [&](const std::string& file) {
    std::string existing = probe.ExistingFile(file);
    if (!existing.empty()) recorder.Record(SplitPath(existing), Kind::kFile, kLinkUses);
    return !existing.empty();
  };
  for (const Recorded& thing : things) {
    if (thing.kind == Kind::kFile && MayHaveImports(thing.path)) {
      PeImports imports = probe.Imports(thing.path);
      if (imports.result == PeImports::kNotPe) continue;
      ++counts.programs;
      if (imports.result == PeImports::kDamaged) ++counts.damaged;
      recorder.RecordImports(thing.object, imports.names);
      std::vector<std::string> folders = probe.ImportFolders(Folder(thing.path));
      for (const std::string& name : imports.names) {
        bool found = false;
        for (const std::string& folder : folders)
          if ((found = uses(folder + "\\" + Leaf(name)))) break;
        ++(found ? counts.resolved : counts.unresolved);
      }
    } else if (thing.kind == Kind::kFile && UpperExtension(thing.path) == "LNK") {
      std::string target = probe.ShortcutTarget(thing.path);
      if (!target.empty() && uses(target)) ++counts.shortcuts;
    } else if (thing.kind == Kind::kValue) {
      // The SharedDLLs counts name their file by the value's name; most others by its data.
      std::string named = FileNamedBy(thing.name, isFile);
      if (named.empty() && !thing.text.empty()) named = FileNamedBy(thing.text, isFile);
      if (!named.empty() && uses(named)) ++counts.named;
    }
  }
  return counts;
}

}  // namespace vkp
