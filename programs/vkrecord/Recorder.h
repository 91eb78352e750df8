// Recorder.h - writes what an application brought, changed and uses into the link
// database: the application object under "Applications", each thing with its parents,
// and the application's link to it (see StoreModel.h for the layout). Nothing is
// written to the disk here; the caller flushes the store once, at the end.
#ifndef VKRECORD_RECORDER_H
#define VKRECORD_RECORDER_H

#include <stdint.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "Handles.h"
#include "StoreModel.h"
#include "StoreTree.h"
#include "VKLinkDB.h"

namespace vkp {

// What a recording added, by kind and relation, and what it could not record.
struct RecordCounts {
  size_t owned[4] = {0, 0, 0, 0};    // folders, files, keys, values
  size_t changed[4] = {0, 0, 0, 0};
  size_t uses = 0;                    // links to things it refers to
  size_t imports = 0;                 // links from programs to the DLLs they import
  size_t skipped = 0;                 // names or paths the database cannot hold
  std::vector<std::string> skippedExamples;
};

class Recorder {
 public:
  explicit Recorder(CVKUDatabase* db) : m_Tree(db), m_Db(db) {}

  // Finds or makes the application object. An application name must be a plain name:
  // no backslash or wildcard, at most 99 characters. False with a reason otherwise.
  bool OpenApplication(const std::string& name, std::string* error);
  CVKUObject* Application() const { return m_App; }

  // Links the application to the object at `components` (made with its parents if
  // needed) with `relation` (kLinkOwns, kLinkChanged or kLinkUses). A thing the
  // application owns or changed already is not also linked as used. Returns the object,
  // or null when the database cannot hold it (counted as skipped).
  CVKUObject* Record(const std::vector<std::string>& components, Kind kind, uint32_t relation,
                     const RecordData* data = nullptr);
  // The program or DLL `file` imports `names`: each becomes a name-only object, linked
  // from the file.
  void RecordImports(CVKUObject* file, const std::vector<std::string>& names);
  // The link types from the application to an object (0 when it has none).
  uint32_t RelationTo(CVKUObject* object) const;

  const RecordCounts& Counts() const { return m_Counts; }
  StoreTree& Tree() { return m_Tree; }

 private:
  void Skipped(const std::vector<std::string>& components);

  StoreTree m_Tree;
  CVKUDatabase* m_Db;
  CVKUObject* m_App = nullptr;
  std::unordered_map<unsigned long, uint32_t> m_Relations;  // by object id
  std::unordered_map<std::string, CVKUObject*> m_NameOnly;  // by upper-case name
  std::vector<ObjectRef> m_Held;                             // the name-only objects' handles
  RecordCounts m_Counts;
};

// Checks an application name (see OpenApplication); "" when it is acceptable.
std::string ApplicationNameProblem(const std::string& name);

}  // namespace vkp

#endif
