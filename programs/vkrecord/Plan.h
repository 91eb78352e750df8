// Plan.h - what removing an application would mean, object by object. Every object the
// application links to is put in one of four categories:
//   protected  the operating system's own file or key (by the library's embedded lists,
//              or a folder or key above such entries): never removed, whatever refers to it;
//   shared     another application refers to it too: kept, naming them;
//   changed    it was there before the application came (the application changed it, or
//              only uses it): kept;
//   owned      the application brought it and nothing else refers to it: removable.
// A folder or key the application brought is kept when something below it is kept
// (another application's file, say), and then takes that thing's category.
#ifndef VKRECORD_PLAN_H
#define VKRECORD_PLAN_H

#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

#include "StoreModel.h"
#include "VKLinkDB.h"

namespace vkp {

enum class Category { kOwned, kShared, kProtected, kChanged };
const char* CategoryName(Category category);

struct PlanItem {
  std::string path;                 // the full path (the name, for an object without one)
  Kind kind = Kind::kOther;
  Category category = Category::kOwned;
  uint32_t relation = 0;            // the application's links to it (kLinkOwns, ...)
  std::vector<std::string> others;  // the other applications that keep it
  std::string why;                  // one sentence: why it is in its category
};

struct Plan {
  std::string application;
  std::vector<PlanItem> items;  // sorted by path
  size_t Count(Category category) const;
};

// Whether an object is the operating system's own (on Windows: CVKUObject::IsProtected).
using ProtectionTest = std::function<bool(CVKUObject* object, Kind kind)>;

// Makes the plan for `application`; false with a reason when the store holds no such
// application.
bool MakePlan(CVKUDatabase* db, const std::string& application, const ProtectionTest& isProtected, Plan* plan,
              std::string* error);

}  // namespace vkp

#endif
