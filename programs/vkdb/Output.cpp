// Output.cpp - see Output.h.
#include "Output.h"

#include <map>
#include <set>
#include <unordered_map>

#include "Json.h"
#include "StoreModel.h"
#include "Text.h"

namespace vkp {

namespace {

const uint32_t kIdMask = 0x3FFFFFFF;

std::string StatusLine(const std::string& folder, const StoreImage& image, const LoadedStore* loaded) {
  std::string out = "Store " + folder + ": " + (loaded ? LoadStatusText(loaded->Status()) : "not loaded");
  if (image.genValid) out += ", generation " + std::to_string(image.generation);
  return out + "\n";
}

Kind KindOfRaw(const RawObject& o) { return KindOf(o.type, o.flags, o.name); }

// The path the library gives, else the one the raw records give, else the name.
std::string PathOf(const StoreImage& image, const LoadedStore* loaded, const RawObject& o) {
  if (loaded) {
    auto l = loaded->Objects().find(o.id);
    if (l != loaded->Objects().end() && !l->second.path.empty()) return l->second.path;
  }
  bool tooLong;
  std::string raw = RawPath(image, o.id, &tooLong);
  return raw.empty() ? o.name : raw;
}

std::string DataText(const RawObject& o) {
  if (o.data.size() < 24) return o.dataSize ? std::to_string(o.dataSize) + " bytes of data" : "";
  RecordData d = RecordData::Load(o.data.data());
  if (o.type == kTypeMember && (o.flags & kFlagFile)) return "size " + std::to_string(d.a);
  if (o.type == kTypeValue) return "registry type " + std::to_string(d.c) + ", " + std::to_string(d.b) + " bytes";
  return "24 bytes of data";
}

std::string DotText(const std::string& s) {
  std::string out;
  for (char c : s) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return "\"" + out + "\"";
}

}  // namespace

std::string StatsText(const std::string& folder, const StoreImage& image, const LoadedStore* loaded) {
  std::string out = StatusLine(folder, image, loaded);
  out += "  obj.dat: " + (image.obj.present ? std::to_string(image.obj.size) + " bytes" : std::string("missing")) +
         ", link.dat: " + (image.link.present ? std::to_string(image.link.size) + " bytes" : std::string("missing")) +
         "\n";
  std::map<std::string, size_t> kinds, linkTypes;
  std::unordered_map<uint32_t, uint32_t> linkType;
  for (const RawLink& l : image.links) {
    ++linkTypes[LinkTypeName(l.type)];
    linkType[l.id] = l.type;
  }
  std::string apps;
  for (const RawObject& o : image.objects) {
    ++kinds[KindName(KindOfRaw(o))];
    if (KindOfRaw(o) != Kind::kApplication) continue;
    size_t refers = 0;
    for (uint32_t e : o.from) refers += (linkType[e & kIdMask] & kLinkRefers) != 0;
    apps += (apps.empty() ? "" : ", ") + o.name + " (" + std::to_string(refers) + " links)";
  }
  auto list = [](const std::map<std::string, size_t>& m) {
    std::string s;
    for (const auto& e : m) s += (s.empty() ? "" : ", ") + std::to_string(e.second) + " " + e.first;
    return s;
  };
  out += "  objects: " + std::to_string(image.objects.size()) + (kinds.empty() ? "" : " (" + list(kinds) + ")") + "\n";
  out += "  links: " + std::to_string(image.links.size()) + (linkTypes.empty() ? "" : " (" + list(linkTypes) + ")") + "\n";
  if (loaded) out += "  reached through the library: " + std::to_string(loaded->Objects().size()) + " objects\n";
  if (!apps.empty()) out += "  applications: " + apps + "\n";
  return out;
}

std::string DumpText(const std::string& folder, const StoreImage& image, const LoadedStore* loaded) {
  std::string out = StatusLine(folder, image, loaded);
  std::unordered_map<uint32_t, const RawObject*> byId;
  out += "objects (" + std::to_string(image.objects.size()) + "):\n";
  for (const RawObject& o : image.objects) {
    byId.emplace(o.id, &o);
    std::string data = DataText(o);
    out += "  " + std::to_string(o.id) + "  " + KindName(KindOfRaw(o)) + "  " + PathOf(image, loaded, o) +
           "  [type " + std::to_string(o.type) + ", flags " + std::to_string(o.flags) +
           (data.empty() ? "" : ", " + data) + "]\n";
  }
  out += "links (" + std::to_string(image.links.size()) + "):\n";
  auto name = [&](uint32_t id) {
    auto o = byId.find(id);
    return o == byId.end() ? std::string("(no object)") : PathOf(image, loaded, *o->second);
  };
  for (const RawLink& l : image.links)
    out += "  " + std::to_string(l.id) + "  " + LinkTypeName(l.type) + "  " + std::to_string(l.source) + " -> " +
           std::to_string(l.target) + "  (" + name(l.source) + " -> " + name(l.target) + ")\n";
  return out;
}

std::string DumpJson(const std::string& folder, const StoreImage& image, const LoadedStore* loaded) {
  std::string out = "{\n  \"store\": " + JsonString(folder) + ",\n  \"status\": " +
                    JsonString(loaded ? LoadStatusText(loaded->Status()) : "not loaded") + ",\n  \"objects\": [";
  for (size_t i = 0; i < image.objects.size(); ++i) {
    const RawObject& o = image.objects[i];
    std::string path;
    if (loaded) {
      auto l = loaded->Objects().find(o.id);
      if (l != loaded->Objects().end()) path = l->second.path;
    }
    out += std::string(i ? "," : "") + "\n    {\"id\": " + std::to_string(o.id) + ", \"type\": " +
           std::to_string(o.type) + ", \"flags\": " + std::to_string(o.flags) + ", \"kind\": " +
           JsonString(KindName(KindOfRaw(o))) + ", \"name\": " + JsonString(o.name) +
           ", \"path\": " + (path.empty() ? "null" : JsonString(path)) + ", \"data_size\": " +
           std::to_string(o.dataSize) + "}";
  }
  out += "\n  ],\n  \"links\": [";
  for (size_t i = 0; i < image.links.size(); ++i) {
    const RawLink& l = image.links[i];
    out += std::string(i ? "," : "") + "\n    {\"id\": " + std::to_string(l.id) + ", \"type\": " +
           std::to_string(l.type) + ", \"type_name\": " + JsonString(LinkTypeName(l.type)) + ", \"source\": " +
           std::to_string(l.source) + ", \"target\": " + std::to_string(l.target) + "}";
  }
  return out + "\n  ]\n}\n";
}

std::string CheckText(const std::string& folder, const StoreImage& image, const CheckResult& result) {
  std::string counts = std::to_string(image.objects.size()) + " objects, " + std::to_string(image.links.size()) + " links";
  std::string out = "Store " + folder + ": ";
  if (result.findings.empty())
    out += "sound (" + counts + ")\n";
  else
    out += std::to_string(result.findings.size()) + " problems (" + counts + "):\n";
  for (const std::string& f : result.findings) out += "  - " + f + "\n";
  for (const std::string& n : result.notes) out += "  note: " + n + "\n";
  return out;
}

bool DependencyDot(const LoadedStore& loaded, const std::string& application, std::string* dot, std::string* error) {
  const LoadedObject* app = nullptr;
  uint32_t appId = 0;
  for (const auto& o : loaded.Objects())
    if (o.second.type == kTypeApplication && EqualNoCase(o.second.name, application)) {
      app = &o.second;
      appId = o.first;
      break;
    }
  if (!app) {
    *error = "the store holds no application named \"" + application + "\"";
    return false;
  }
  // The nodes: the application, what it depends on, and the name-only DLLs they import.
  std::map<uint32_t, ObjectRef> nodes;
  app->handle->AddRef();
  nodes[appId].Reset(app->handle);
  CVKUObject* found = nullptr;
  unsigned long query = app->handle->FindFirstDependentObject(&found, nullptr);
  while (query && found) {
    // A key stands for its values: they are left out, or the graph drowns in them.
    if (found->GetType() == kTypeValue)
      found->Release();
    else
      nodes[static_cast<uint32_t>(found->GetUniqueID())].Reset(found);
    found = nullptr;
    if (!app->handle->FindNextDependentObject(query, &found, nullptr)) break;
  }
  if (query) app->handle->FindCloseDependentObject(query);
  std::vector<std::pair<uint32_t, CVKUObject*>> imported;
  for (auto& n : nodes)
    ForEachLinkFrom(n.second.get(), kLinkImports, [&](const LinkEnd& end) {
      end.object->AddRef();
      imported.emplace_back(static_cast<uint32_t>(end.object->GetUniqueID()), end.object);
      return true;
    });
  for (auto& i : imported) {
    if (nodes.count(i.first))
      i.second->Release();
    else
      nodes[i.first].Reset(i.second);
  }

  std::string out = "digraph " + DotText(app->name) + " {\n  rankdir=LR;\n"
                    "  node [shape=box, fontname=\"Helvetica\", fontsize=10];\n"
                    "  edge [fontname=\"Helvetica\", fontsize=9];\n";
  std::string directory = app->path;
  size_t cut = directory.find_last_of('\\');
  if (cut != std::string::npos && cut >= 3) directory.resize(cut);
  for (auto& n : nodes) {
    CVKUObject* o = n.second.get();
    std::string name = NameOf(o), path = FullPathOf(o);
    Kind kind = KindOf(static_cast<uint32_t>(o->GetType()), static_cast<uint32_t>(o->GetFlags()), name);
    std::string shape = kind == Kind::kApplication ? "doubleoctagon"
                        : kind == Kind::kNameOnly  ? "ellipse, style=dashed"
                        : kind == Kind::kFolder || kind == Kind::kKey ? "folder"
                                                                      : "box";
    out += "  n" + std::to_string(n.first) + " [label=" + DotText(name.empty() ? "(unnamed)" : name) +
           ", tooltip=" + DotText(path.empty() ? name : path) + ", shape=" + shape + "];\n";
  }
  for (auto& n : nodes) {
    ForEachLinkFrom(n.second.get(), 0xFFFFFFFF & ~kLinkParent, [&](const LinkEnd& end) {
      uint32_t target = static_cast<uint32_t>(end.object->GetUniqueID());
      if (nodes.count(target))
        out += "  n" + std::to_string(n.first) + " -> n" + std::to_string(target) + " [label=" +
               DotText(LinkTypeName(end.type)) + "];\n";
      return true;
    });
    if (n.second->GetType() == kTypeNameOnly) {
      ObjectRef resolved(n.second->Resolve(const_cast<char*>(directory.c_str())));
      if (resolved && nodes.count(static_cast<uint32_t>(resolved->GetUniqueID())))
        out += "  n" + std::to_string(n.first) + " -> n" + std::to_string(resolved->GetUniqueID()) +
               " [label=\"resolves to\", style=dashed];\n";
    }
  }
  *dot = out + "}\n";
  return true;
}

}  // namespace vkp
