// Queries.h - the library's dependency query (what an application depends on) and its
// referring-application query (which applications refer to an object), with full paths.
#ifndef VKRECORD_QUERIES_H
#define VKRECORD_QUERIES_H

#include <string>
#include <vector>

#include "StoreModel.h"
#include "VKLinkDB.h"

namespace vkp {

struct QueryRow {
  std::string path;  // the object's full path (an application's name)
  Kind kind = Kind::kOther;
  std::string how;   // the application's links to it: "owns", "changed", "uses", or
                     // "indirect" when the query reached it through something else
};

// Every object the application depends on (CVKUObject::FindFirstDependentObject), sorted
// by path. False with a reason when there is no such application.
bool Dependencies(CVKUDatabase* db, const std::string& application, std::vector<QueryRow>* rows, std::string* error);
// The applications that refer to the object at `path` (FindFirstReferencingApp, keeping
// the applications among its answers), sorted by name. False with a reason when the store
// holds no object at that path.
bool Referrers(CVKUDatabase* db, const std::string& path, std::vector<QueryRow>* rows, std::string* error);

}  // namespace vkp

#endif
