// StoreTree.cpp - see StoreTree.h.
#include "StoreTree.h"

#include "Handles.h"
#include "Text.h"

namespace vkp {

namespace {
char* Text(const std::string& s) { return const_cast<char*>(s.c_str()); }

uint32_t FlagsOf(Kind kind) {
  if (kind == Kind::kFolder) return kFlagFolder;
  if (kind == Kind::kFile) return kFlagFile;
  return 0;
}

uint32_t TypeOf(Kind kind) {
  switch (kind) {
    case Kind::kKey: return kTypeKey;
    case Kind::kValue: return kTypeValue;
    case Kind::kApplication: return kTypeApplication;
    default: return kTypeMember;
  }
}
}  // namespace

std::string MemberKey(uint32_t type, const std::string& name) {
  std::string space;
  if (type == kTypeMember || type == kTypeApplication)
    space = "F:";
  else if (type == kTypeKey)
    space = "K:";
  else if (type == kTypeValue)
    space = "V:";
  else
    space = std::to_string(type) + ":";
  return space + Upper(name);
}

StoreTree::~StoreTree() {
  for (Node& node : m_Nodes)
    if (node.object) node.object->Release();
}

StoreTree::Node* StoreTree::Adopt(CVKUObject* object, uint32_t type) {
  m_Nodes.emplace_back();
  Node* node = &m_Nodes.back();
  node->object = object;
  node->type = type;
  return node;
}

// A drive, hive or the applications' root. Drives (two characters) and hives (three or
// four) are found through the database's path lookup; longer root names by a search.
StoreTree::Node* StoreTree::Root(const std::string& given, bool create) {
  std::string hive = ShortRootName(given);
  std::string name = hive.empty() ? given : hive;
  uint32_t type = hive.empty() ? kTypeDrive : kTypeHive;
  std::string key = std::to_string(type) + ":" + Upper(name);
  auto known = m_Roots.find(key);
  if (known != m_Roots.end()) return known->second;

  CVKUObject* object = nullptr;
  if (name.size() <= 4) {
    object = m_Db->GetObjectByPath(Text(name));
    if (object && object->GetType() != type) {
      object->Release();
      object = nullptr;
    }
  } else if (name.find_first_of("*?") == std::string::npos && name.size() < 100) {
    unsigned long find = m_Db->FindFirstObject(Text(name), type, &object);
    while (object && !EqualNoCase(NameOf(object), name)) {
      object->Release();
      object = nullptr;
      if (!m_Db->FindNextObject(find, &object)) object = nullptr;
    }
    if (find) m_Db->FindCloseObject(find);
  }
  if (!object && create) {
    object = m_Db->AddObject(Text(name), type, 0, 0, nullptr, 1);
    if (object) ++m_Made;
  }
  if (!object) {
    m_Refusal = create ? Refusal::kDatabase : Refusal::kNotFound;
    return nullptr;
  }
  Node* node = Adopt(object, type);
  m_Roots[key] = node;
  return node;
}

void StoreTree::Load(Node* node) {
  if (node->loaded) return;
  node->loaded = true;
  ForEachLinkFrom(node->object, kLinkParent, [&](const LinkEnd& end) {
    uint32_t type = static_cast<uint32_t>(end.object->GetType());
    std::string key = MemberKey(type, NameOf(end.object));
    if (!node->members.count(key)) {
      end.object->AddRef();
      node->members[key] = Adopt(end.object, type);
    }
    return true;
  });
}

StoreTree::Node* StoreTree::Member(Node* parent, const std::string& name, uint32_t type, uint32_t flags,
                                   const RecordData* data, bool create, bool* created) {
  if (name.size() > kMaxName) {
    m_Refusal = Refusal::kNameTooLong;
    return nullptr;
  }
  Load(parent);
  std::string key = MemberKey(type, name);
  auto known = parent->members.find(key);
  unsigned char bytes[24];
  if (data) data->Store(bytes);
  if (known != parent->members.end()) {
    if (create && data) known->second->object->SetData(sizeof bytes, bytes);
    return known->second;
  }
  if (!create) {
    m_Refusal = Refusal::kNotFound;
    return nullptr;
  }
  CVKUObject* object = m_Db->AddObject(Text(name), type, flags, data ? sizeof bytes : 0, data ? bytes : nullptr, 1);
  if (!object) {
    m_Refusal = Refusal::kDatabase;
    return nullptr;
  }
  if (!parent->object->LinkTo(object, kLinkParent, 0, 0, nullptr)) {
    // Without its parent link the object has no path and would not be kept.
    object->Delete();
    object->Release();
    m_Refusal = Refusal::kDatabase;
    return nullptr;
  }
  ++m_Made;
  Node* node = Adopt(object, type);
  node->loaded = true;  // a new object has no members yet
  parent->members[key] = node;
  if (created) *created = true;
  return node;
}

StoreTree::Node* StoreTree::Walk(const std::vector<std::string>& components, Kind leaf, const RecordData* data,
                                 bool create, bool* created) {
  if (created) *created = false;
  m_Refusal = Refusal::kNone;
  if (components.empty()) {
    m_Refusal = Refusal::kNoRoot;
    return nullptr;
  }
  size_t length = components.size() - 1;
  for (const std::string& c : components) length += c.size();
  if (length > kMaxPath) {
    m_Refusal = Refusal::kPathTooLong;
    return nullptr;
  }
  Node* node = Root(components[0], create);
  bool registry = node && node->type == kTypeHive;
  for (size_t i = 1; node && i < components.size(); ++i) {
    bool last = i + 1 == components.size();
    Kind kind = last ? leaf : (registry ? Kind::kKey : Kind::kFolder);
    node = Member(node, components[i], TypeOf(kind), FlagsOf(kind), last ? data : nullptr, create,
                  last ? created : nullptr);
  }
  return node;
}

CVKUObject* StoreTree::Find(const std::vector<std::string>& components, Kind leaf) {
  Node* node = Walk(components, leaf, nullptr, false, nullptr);
  return node ? node->object : nullptr;
}

CVKUObject* StoreTree::Ensure(const std::vector<std::string>& components, Kind leaf, const RecordData* data,
                              bool* created) {
  Node* node = Walk(components, leaf, data, true, created);
  return node ? node->object : nullptr;
}

CVKUObject* StoreTree::FindPath(const std::string& path) {
  std::vector<std::string> parts = SplitPath(path);
  if (parts.empty()) return nullptr;
  Node* node = Root(parts[0], false);
  if (!node) return nullptr;
  bool registry = node->type == kTypeHive;
  for (size_t i = 1; i < parts.size(); ++i) {
    Load(node);
    uint32_t memberType = registry ? kTypeKey : kTypeMember;  // applications share the members' namespace
    auto next = node->members.find(MemberKey(memberType, parts[i]));
    if (next == node->members.end() && registry) {
      // The rest is a value's name, backslashes and all.
      std::vector<std::string> rest(parts.begin() + i, parts.end());
      next = node->members.find(MemberKey(kTypeValue, JoinPath(rest)));
      return next == node->members.end() ? nullptr : next->second->object;
    }
    if (next == node->members.end()) return nullptr;
    node = next->second;
  }
  return node->object;
}

}  // namespace vkp
