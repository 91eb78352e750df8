// Queries.cpp - see Queries.h.
#include "Queries.h"

#include <algorithm>
#include <unordered_map>

#include "Handles.h"
#include "StoreTree.h"
#include "Text.h"

namespace vkp {

namespace {

std::string How(uint32_t links) {
  std::string out;
  for (uint32_t t : {kLinkOwns, kLinkChanged, kLinkUses})
    if (links & t) out += (out.empty() ? "" : ", ") + LinkTypeName(t);
  return out.empty() ? "indirect" : out;
}

// The links from `from` to each object, by the target's id.
std::unordered_map<unsigned long, uint32_t> LinksFrom(CVKUObject* from) {
  std::unordered_map<unsigned long, uint32_t> out;
  ForEachLinkFrom(from, kLinkRefers, [&](const LinkEnd& end) {
    out[end.object->GetUniqueID()] |= end.type;
    return true;
  });
  return out;
}

void SortRows(std::vector<QueryRow>* rows) {
  std::sort(rows->begin(), rows->end(), [](const QueryRow& a, const QueryRow& b) { return Upper(a.path) < Upper(b.path); });
}

}  // namespace

bool Dependencies(CVKUDatabase* db, const std::string& application, std::vector<QueryRow>* rows, std::string* error) {
  StoreTree tree(db);
  CVKUObject* app = tree.Find({kApplicationsRoot, application}, Kind::kApplication);
  if (!app) {
    *error = "the store holds no application named \"" + application + "\"";
    return false;
  }
  std::unordered_map<unsigned long, uint32_t> links = LinksFrom(app);
  rows->clear();
  CVKUObject* found = nullptr;
  unsigned long query = app->FindFirstDependentObject(&found, nullptr);
  if (!query) return true;
  do {
    ObjectRef object(found);
    found = nullptr;
    QueryRow row;
    std::string name = NameOf(object.get());
    row.kind = KindOf(static_cast<uint32_t>(object->GetType()), static_cast<uint32_t>(object->GetFlags()), name);
    row.path = FullPathOf(object.get());
    if (row.path.empty()) row.path = name;
    auto l = links.find(object->GetUniqueID());
    row.how = How(l == links.end() ? 0 : l->second);
    rows->push_back(std::move(row));
  } while (app->FindNextDependentObject(query, &found, nullptr));
  app->FindCloseDependentObject(query);
  SortRows(rows);
  return true;
}

bool Referrers(CVKUDatabase* db, const std::string& path, std::vector<QueryRow>* rows, std::string* error) {
  StoreTree tree(db);
  CVKUObject* object = tree.FindPath(path);
  if (!object) {
    *error = "the store holds no object at " + path;
    return false;
  }
  rows->clear();
  std::unordered_map<unsigned long, uint32_t> links;  // by the referring object's id
  ForEachLinkTo(object, kLinkRefers, [&](const LinkEnd& end) {
    links[end.object->GetUniqueID()] |= end.type;
    return true;
  });
  CVKUObject* found = nullptr;
  unsigned long query = object->FindFirstReferencingApp(&found, nullptr);
  if (!query) return true;
  do {
    ObjectRef candidate(found);
    found = nullptr;
    if (candidate->GetType() != kTypeApplication) continue;
    QueryRow row;
    row.path = NameOf(candidate.get());
    row.kind = Kind::kApplication;
    auto l = links.find(candidate->GetUniqueID());
    row.how = How(l == links.end() ? 0 : l->second);
    rows->push_back(std::move(row));
  } while (object->FindNextReferencingApp(query, &found, nullptr));
  object->FindCloseReferencingApp(query);
  SortRows(rows);
  return true;
}

}  // namespace vkp
