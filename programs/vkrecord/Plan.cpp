// Plan.cpp - see Plan.h.
#include "Plan.h"

#include <algorithm>
#include <map>
#include <unordered_map>

#include "Handles.h"
#include "StoreTree.h"
#include "Text.h"

namespace vkp {

const char* CategoryName(Category category) {
  switch (category) {
    case Category::kOwned: return "owned";
    case Category::kShared: return "shared";
    case Category::kProtected: return "protected";
    case Category::kChanged: return "changed";
  }
  return "?";
}

size_t Plan::Count(Category category) const {
  size_t n = 0;
  for (const PlanItem& item : items) n += item.category == category;
  return n;
}

namespace {

std::string Relations(uint32_t links) {
  std::string out;
  for (uint32_t t : {kLinkOwns, kLinkChanged, kLinkUses})
    if (links & t) out += (out.empty() ? "" : ", ") + LinkTypeName(t);
  return out;
}

// The verdicts, worked out once per object and remembered by id: a folder's verdict
// depends on its members', and a member may also be one of the application's own links.
class Judge {
 public:
  Judge(unsigned long app, const std::string& appName, const ProtectionTest& isProtected)
      : m_App(app), m_AppName(appName), m_IsProtected(isProtected) {}

  struct Verdict {
    Category category = Category::kOwned;
    uint32_t mine = 0;  // this application's links to it
    std::vector<std::string> others;
    std::string why;
    std::string path;
    Kind kind = Kind::kOther;
  };

  const Verdict& Of(CVKUObject* object) {
    unsigned long id = object->GetUniqueID();
    auto known = m_Verdicts.find(id);
    if (known != m_Verdicts.end()) return known->second;
    m_Verdicts[id];  // an object met again below itself (a damaged store) counts as owned
    Verdict made = Work(object);
    return m_Verdicts[id] = std::move(made);
  }

 private:
  Verdict Work(CVKUObject* object) {
    Verdict v;
    std::string name = NameOf(object);
    v.kind = KindOf(static_cast<uint32_t>(object->GetType()), static_cast<uint32_t>(object->GetFlags()), name);
    v.path = FullPathOf(object);
    if (v.path.empty()) v.path = name;
    std::map<std::string, uint32_t> others;
    ForEachLinkTo(object, kLinkRefers, [&](const LinkEnd& end) {
      if (end.object->GetType() != kTypeApplication) return true;
      unsigned long source = end.object->GetUniqueID();
      if (source == m_App) {
        v.mine |= end.type;
      } else {
        auto n = m_Names.find(source);
        if (n == m_Names.end()) n = m_Names.emplace(source, NameOf(end.object)).first;
        others[n->second] |= end.type;
      }
      return true;
    });
    for (const auto& o : others) v.others.push_back(o.first);

    if (m_IsProtected(object, v.kind)) {
      v.category = Category::kProtected;
      v.why = "the operating system's own " + std::string(KindName(v.kind)) + ": never removed";
      return v;
    }
    if (!others.empty()) {
      v.category = Category::kShared;
      std::string who;
      for (const auto& o : others) who += (who.empty() ? "" : ", ") + o.first + " (" + Relations(o.second) + ")";
      v.why = "kept: " + who + (others.size() > 1 ? " refer to it too" : " refers to it too");
      return v;
    }
    if (!(v.mine & kLinkOwns)) {
      v.category = Category::kChanged;
      if (v.mine & kLinkChanged)
        v.why = "kept: it was there before " + m_AppName + ", which changed it";
      else if (v.mine & kLinkUses)
        v.why = "kept: it was there before " + m_AppName + ", which uses it";
      else
        v.why = "kept: " + m_AppName + " did not bring it";
      return v;
    }
    if (v.kind == Kind::kFolder || v.kind == Kind::kKey || v.kind == Kind::kHive || v.kind == Kind::kDrive) {
      bool kept = false;
      ForEachLinkFrom(object, kLinkParent, [&](const LinkEnd& end) {
        const Verdict& member = Of(end.object);
        if (member.category == Category::kOwned) return true;
        kept = true;
        v.category = member.category;
        v.others = member.others;
        v.why = "kept: holds " + member.path + " (" + CategoryName(member.category) + ")";
        return false;
      });
      if (kept) return v;
    }
    v.why = "removable: " + m_AppName + " brought it and nothing else refers to it";
    return v;
  }

  unsigned long m_App;
  std::string m_AppName;
  const ProtectionTest& m_IsProtected;
  std::unordered_map<unsigned long, Verdict> m_Verdicts;
  std::unordered_map<unsigned long, std::string> m_Names;
};

}  // namespace

bool MakePlan(CVKUDatabase* db, const std::string& application, const ProtectionTest& isProtected, Plan* plan,
              std::string* error) {
  StoreTree tree(db);
  CVKUObject* app = tree.Find({kApplicationsRoot, application}, Kind::kApplication);
  if (!app) {
    *error = "the store holds no application named \"" + application + "\"";
    return false;
  }
  plan->application = NameOf(app);
  plan->items.clear();
  std::vector<ObjectRef> targets;
  std::unordered_map<unsigned long, bool> seen;
  ForEachLinkFrom(app, kLinkRefers, [&](const LinkEnd& end) {
    if (seen.emplace(end.object->GetUniqueID(), true).second) {
      end.object->AddRef();
      targets.emplace_back(end.object);
    }
    return true;
  });
  Judge judge(app->GetUniqueID(), plan->application, isProtected);
  for (const ObjectRef& target : targets) {
    const Judge::Verdict& v = judge.Of(target.get());
    PlanItem item;
    item.path = v.path;
    item.kind = v.kind;
    item.category = v.category;
    item.relation = v.mine;
    item.others = v.others;
    item.why = v.why;
    plan->items.push_back(std::move(item));
  }
  std::sort(plan->items.begin(), plan->items.end(),
            [](const PlanItem& a, const PlanItem& b) { return Upper(a.path) < Upper(b.path); });
  return true;
}

}  // namespace vkp
