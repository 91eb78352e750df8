// LoadedStore.h - a store as the library's own loader gives it to a client: a copy of
// the folder's store files (so that vkdb never changes, locks or repairs the folder it
// inspects, and can read a store another program holds) attached with AttachDatabase,
// and every object the public interface reaches, with its full path.
#ifndef VKDB_LOADED_STORE_H
#define VKDB_LOADED_STORE_H

#include <stdint.h>

#include <map>
#include <string>

#include "Handles.h"
#include "VKLinkDB.h"

namespace vkp {

struct LoadedObject {
  uint32_t type = 0, flags = 0;
  std::string name;
  std::string path;  // "" when the library builds none
  CVKUObject* handle = nullptr;
};

class LoadedStore {
 public:
  LoadedStore() = default;
  ~LoadedStore();
  LoadedStore(const LoadedStore&) = delete;
  LoadedStore& operator=(const LoadedStore&) = delete;

  // Copies the store files of `folder` and attaches the copy; false with a reason when
  // there is nothing to load or the library refuses it. Unnamed objects other than the
  // root are reached only through links: `walkLinks` asks for that walk.
  bool Load(const std::string& folder, bool walkLinks, std::string* error);
  // What the loader found (VKU_LOAD_...).
  unsigned long Status() const { return m_Status; }
  CVKUDatabase* Db() const { return m_Db; }
  // Every object reached: the root, every named object (an object search), and every
  // object linked to one of those; by id.
  const std::map<uint32_t, LoadedObject>& Objects() const { return m_Objects; }

 private:
  void Collect(bool walkLinks);

  std::string m_Scratch;
  CVKUDatabase* m_Db = nullptr;
  unsigned long m_Status = VKU_LOAD_NONE;
  std::map<uint32_t, LoadedObject> m_Objects;
};

// "loaded", "new (no store)", "rejected", ...
std::string LoadStatusText(unsigned long status);

}  // namespace vkp

#endif
