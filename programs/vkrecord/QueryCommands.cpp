// QueryCommands.cpp - vkrecord plan, deps and who: questions over a store, which they
// never write.
#include <stdio.h>

#include "Commands.h"
#include "Plan.h"
#include "Queries.h"
#include "Report.h"
#include "StoreSession.h"
#include "SystemWin32.h"

namespace vkp {

namespace {
// The library's protection test. A folder or key above listed entries answers 0 the first
// time it is asked and 1 from then on (the first question marks it), so such objects are
// asked twice: the answer no longer depends on whether something asked before.
bool IsProtected(CVKUObject* object, Kind kind) {
  if (object->IsProtected()) return true;
  bool container = kind == Kind::kFolder || kind == Kind::kKey || kind == Kind::kDrive || kind == Kind::kHive;
  return container && object->IsProtected();
}
}  // namespace

int RunPlan(const Arguments& args) {
  std::string error;
  StoreSession store;
  if (!store.Open(args.db, false, &error)) return Fail(error);
  Plan plan;
  if (!MakePlan(store.Db(), args.app, IsProtected, &plan, &error)) return Fail(error);
  ProtectionLists lists = ListsFor(ReleaseProbe());
  std::string out = args.json ? PlanJson(plan, args.db, lists) : PlanText(plan, args.db, lists);
  fputs(out.c_str(), stdout);
  return 0;
}

int RunDeps(const Arguments& args) {
  std::string error;
  StoreSession store;
  if (!store.Open(args.db, false, &error)) return Fail(error);
  std::vector<QueryRow> rows;
  if (!Dependencies(store.Db(), args.app, &rows, &error)) return Fail(error);
  std::string out = args.json ? QueryJson("deps", args.app, rows) : DependenciesText(args.app, rows);
  fputs(out.c_str(), stdout);
  return 0;
}

int RunWho(const Arguments& args) {
  std::string error;
  StoreSession store;
  if (!store.Open(args.db, false, &error)) return Fail(error);
  std::vector<QueryRow> rows;
  const std::string& path = args.targets[0];
  if (!Referrers(store.Db(), path, &rows, &error)) return Fail(error);
  std::string out = args.json ? QueryJson("who", path, rows) : ReferrersText(path, rows);
  fputs(out.c_str(), stdout);
  return 0;
}

}  // namespace vkp
