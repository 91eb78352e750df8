// StoreTree.h - finds and makes the recorder's objects by their path components: a drive
// or hive, then folders or keys, then the thing itself. It remembers every object it
// has met, so that recording thousands of files under one folder asks the database for
// that folder's members once, and makes each missing object with its parent link.
//
// Path lookups of the database are not enough here: a registry value's name may hold
// backslashes (SharedDLLs names files) or be empty, and a key and a value of the same
// name may sit side by side. So members are found by walking parent links, by name
// (ASCII case ignored) within the namespace of their type: members of a file tree
// (types 2 and 4), keys (16), values (32).
#ifndef VKRECORD_STORE_TREE_H
#define VKRECORD_STORE_TREE_H

#include <stdint.h>

#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "StoreModel.h"
#include "VKLinkDB.h"

namespace vkp {

class StoreTree {
 public:
  explicit StoreTree(CVKUDatabase* db) : m_Db(db) {}
  ~StoreTree();
  StoreTree(const StoreTree&) = delete;
  StoreTree& operator=(const StoreTree&) = delete;

  // Why the last Ensure or Find gave no object.
  enum class Refusal { kNone, kNotFound, kNameTooLong, kPathTooLong, kNoRoot, kDatabase };

  // The object at `components` (root first), whose last component is of kind `leaf`
  // (the ones before it are folders or keys). Null when there is none. Borrowed: the
  // tree releases its handles when it goes.
  CVKUObject* Find(const std::vector<std::string>& components, Kind leaf);
  // The same, made with every missing parent when it is not there; `data`, when given,
  // becomes the client data of a new object or replaces that of an existing one.
  // *created tells whether the last component was made now.
  CVKUObject* Ensure(const std::vector<std::string>& components, Kind leaf, const RecordData* data,
                     bool* created = nullptr);
  // The object a path text names: a drive or hive path, an application's path under
  // "Applications", or a registry value whose name holds backslashes (the components
  // that name no key are taken together as the value's name).
  CVKUObject* FindPath(const std::string& path);

  Refusal LastRefusal() const { return m_Refusal; }
  size_t ObjectsMade() const { return m_Made; }

  // Names the database keeps whole, and the longest full path it builds.
  static const size_t kMaxName = 250;
  static const size_t kMaxPath = 259;

 private:
  struct Node {
    CVKUObject* object = nullptr;
    uint32_t type = 0;
    bool loaded = false;  // members read from the database
    std::unordered_map<std::string, Node*> members;
  };
  Node* Root(const std::string& name, bool create);
  Node* Member(Node* parent, const std::string& name, uint32_t type, uint32_t flags, const RecordData* data,
               bool create, bool* created);
  void Load(Node* node);
  Node* Adopt(CVKUObject* object, uint32_t type);
  Node* Walk(const std::vector<std::string>& components, Kind leaf, const RecordData* data, bool create,
             bool* created);

  CVKUDatabase* m_Db;
  std::deque<Node> m_Nodes;
  std::unordered_map<std::string, Node*> m_Roots;
  Refusal m_Refusal = Refusal::kNone;
  size_t m_Made = 0;
};

// The namespace key of a member: its type's namespace and its name in upper case.
std::string MemberKey(uint32_t type, const std::string& name);

}  // namespace vkp

#endif
