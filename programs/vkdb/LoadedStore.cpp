// LoadedStore.cpp - see LoadedStore.h.
#include "LoadedStore.h"

#include <stdio.h>

#include <deque>
#include <vector>

#include "Folder.h"

namespace vkp {

namespace {
const char* const kStoreFiles[] = {"obj.dat", "link.dat", "store.gen", "obj.dat.tmp", "link.dat.tmp", "store.gen.tmp"};

bool CopyFileBytes(const std::string& from, const std::string& to) {
  FILE* in = fopen(from.c_str(), "rb");
  if (!in) return false;
  FILE* out = fopen(to.c_str(), "wb");
  bool ok = out != nullptr;
  char buffer[65536];
  size_t n;
  while (ok && (n = fread(buffer, 1, sizeof buffer, in)) > 0) ok = fwrite(buffer, 1, n, out) == n;
  ok = ok && !ferror(in);
  fclose(in);
  if (out && fclose(out) != 0) ok = false;
  return ok;
}
}  // namespace

std::string LoadStatusText(unsigned long status) {
  std::string text;
  switch (status & VKU_LOAD_OUTCOME_MASK) {
    case VKU_LOAD_LOADED: text = "loaded"; break;
    case VKU_LOAD_NEW: text = "no store (the library starts an empty one)"; break;
    case VKU_LOAD_REJECTED: text = "rejected by the library's checks (it starts an empty store)"; break;
    case VKU_LOAD_LOCKED: text = "locked by another program"; break;
    case VKU_LOAD_NAME_TOO_LONG: text = "folder name too long"; break;
    default: text = "not loaded"; break;
  }
  return text;
}

LoadedStore::~LoadedStore() {
  for (auto& o : m_Objects)
    if (o.second.handle) o.second.handle->Release();
  if (m_Db) m_Db->Release();
  if (!m_Scratch.empty()) RemoveScratchFolder(m_Scratch);
}

bool LoadedStore::Load(const std::string& folder, bool walkLinks, std::string* error) {
  if (!FolderExists(folder)) {
    *error = "no store folder " + folder;
    return false;
  }
  m_Scratch = MakeScratchFolder();
  if (m_Scratch.empty()) {
    *error = "no scratch folder for a copy of the store";
    return false;
  }
  std::string from = folder;
  if (from.back() != kSeparator) from += kSeparator;
  for (const char* name : kStoreFiles) {
    FILE* probe = fopen((from + name).c_str(), "rb");
    if (!probe) continue;
    fclose(probe);
    if (!CopyFileBytes(from + name, m_Scratch + kSeparator + name)) {
      *error = "cannot copy " + from + name;
      return false;
    }
  }
  m_Db = AttachDatabase(const_cast<char*>(m_Scratch.c_str()));
  m_Status = CVKUDatabase::GetLoadStatus();
  if (!m_Db) {
    *error = "the library could not attach the store: " + LoadStatusText(m_Status);
    return false;
  }
  m_Db->SetSaveFlag(0);
  Collect(walkLinks);
  return true;
}

void LoadedStore::Collect(bool walkLinks) {
  std::deque<CVKUObject*> queue;
  auto add = [&](CVKUObject* object) {
    uint32_t id = static_cast<uint32_t>(object->GetUniqueID());
    if (m_Objects.count(id)) {
      object->Release();
      return;
    }
    LoadedObject& o = m_Objects[id];
    o.handle = object;
    o.type = static_cast<uint32_t>(object->GetType());
    o.flags = static_cast<uint32_t>(object->GetFlags());
    o.name = NameOf(object);
    o.path = FullPathOf(object);
    queue.push_back(object);
  };
  if (CVKUObject* root = m_Db->GetRootObject()) add(root);
  CVKUObject* found = nullptr;
  unsigned long find = m_Db->FindFirstObject(const_cast<char*>("*"), 0xFFFFFFFF, &found);
  while (find && found) {
    add(found);
    found = nullptr;
    if (!m_Db->FindNextObject(find, &found)) break;
  }
  if (find) m_Db->FindCloseObject(find);
  // Unnamed objects are reached through their links.
  while (walkLinks && !queue.empty()) {
    CVKUObject* object = queue.front();
    queue.pop_front();
    auto visit = [&](const LinkEnd& end) {
      if (!m_Objects.count(static_cast<uint32_t>(end.object->GetUniqueID()))) {
        end.object->AddRef();
        add(end.object);
      }
      return true;
    };
    ForEachLinkFrom(object, 0xFFFFFFFF, visit);
    ForEachLinkTo(object, 0xFFFFFFFF, visit);
  }
}

}  // namespace vkp
