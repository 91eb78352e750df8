// Report.cpp - see Report.h.
#include "Report.h"

#include <stdarg.h>
#include <stdio.h>

#include "Json.h"

namespace vkp {

const char kNoListsWarning[] =
    "Warning: this system reports a release newer than Windows XP (or one the library does not know); "
    "the library carries no protection lists for it, so nothing below is marked protected.";

ProtectionLists ListsFor(int ostype) {
  static const char* const kReleases[] = {"",           "Windows 95",   "Windows 98",   "Windows Me",
                                          "Windows NT 3", "Windows NT 4", "Windows 2000", "Windows XP"};
  static const char* const kLists[] = {"",
                                       "the Windows 95 lists",
                                       "the Windows 98 lists",
                                       "the Windows Me lists",
                                       "the Windows NT 3 and 4 lists",
                                       "the Windows NT 3 and 4 lists",
                                       "the Windows 2000 and XP lists",
                                       "the Windows 2000 and XP lists"};
  ProtectionLists out;
  if (ostype >= 1 && ostype <= 7) {
    out.release = kReleases[ostype];
    out.lists = kLists[ostype];
    out.known = true;
  } else {
    out.release = "newer than Windows XP, or unknown";
    out.lists = "none";
  }
  return out;
}

namespace {

unsigned long N(size_t n) { return static_cast<unsigned long>(n); }

const Category kOrder[] = {Category::kOwned, Category::kShared, Category::kProtected, Category::kChanged};

std::string Line(const char* format, ...) {
  char buffer[4096];
  va_list args;
  va_start(args, format);
  vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  return std::string(buffer) + "\n";
}

std::string Relations(uint32_t links) {
  std::string out;
  for (uint32_t t : {kLinkOwns, kLinkChanged, kLinkUses})
    if (links & t) out += (out.empty() ? "" : ", ") + JsonString(LinkTypeName(t));
  return "[" + out + "]";
}

std::string Strings(const std::vector<std::string>& list) {
  std::string out;
  for (const std::string& s : list) out += (out.empty() ? "" : ", ") + JsonString(s);
  return "[" + out + "]";
}

}  // namespace

std::string PlanText(const Plan& plan, const std::string& store, const ProtectionLists& lists) {
  std::string out = Line("Plan for removing %s (store %s)", plan.application.c_str(), store.c_str());
  if (lists.known)
    out += Line("Protection lists: %s (this system reports %s)", lists.lists.c_str(), lists.release.c_str());
  else
    out += Line("Protection lists: none (this system reports a release %s)", lists.release.c_str()) +
           kNoListsWarning + std::string("\n");
  for (Category c : kOrder)
    for (const PlanItem& item : plan.items)
      if (item.category == c)
        out += Line("  %-9s %-6s %s -- %s", CategoryName(c), KindName(item.kind), item.path.c_str(), item.why.c_str());
  out += Line("%s: %lu objects: %lu owned (removable), %lu shared, %lu protected, %lu changed.",
              plan.application.c_str(), N(plan.items.size()), N(plan.Count(Category::kOwned)),
              N(plan.Count(Category::kShared)), N(plan.Count(Category::kProtected)), N(plan.Count(Category::kChanged)));
  return out;
}

std::string PlanJson(const Plan& plan, const std::string& store, const ProtectionLists& lists) {
  std::string out = "{\n";
  out += "  \"application\": " + JsonString(plan.application) + ",\n";
  out += "  \"store\": " + JsonString(store) + ",\n";
  out += "  \"release\": " + JsonString(lists.release) + ",\n";
  out += "  \"protection_lists\": " + JsonString(lists.lists) + ",\n";
  out += "  \"warning\": " + (lists.known ? std::string("null") : JsonString(kNoListsWarning)) + ",\n";
  out += Line("  \"counts\": {\"owned\": %lu, \"shared\": %lu, \"protected\": %lu, \"changed\": %lu},",
              N(plan.Count(Category::kOwned)), N(plan.Count(Category::kShared)),
              N(plan.Count(Category::kProtected)), N(plan.Count(Category::kChanged)));
  out += "  \"items\": [";
  for (size_t i = 0; i < plan.items.size(); ++i) {
    const PlanItem& item = plan.items[i];
    out += std::string(i ? "," : "") + "\n    {\"category\": " + JsonString(CategoryName(item.category)) +
           ", \"kind\": " + JsonString(KindName(item.kind)) + ", \"path\": " + JsonString(item.path) +
           ", \"relation\": " + Relations(item.relation) + ", \"others\": " + Strings(item.others) +
           ", \"why\": " + JsonString(item.why) + "}";
  }
  out += "\n  ]\n}\n";
  return out;
}

std::string DependenciesText(const std::string& application, const std::vector<QueryRow>& rows) {
  std::string out = Line("%s depends on %lu objects:", application.c_str(), N(rows.size()));
  for (const QueryRow& row : rows)
    out += Line("  %-10s %-9s %s", row.how.c_str(), KindName(row.kind), row.path.c_str());
  return out;
}

std::string ReferrersText(const std::string& path, const std::vector<QueryRow>& rows) {
  std::string out = Line("%s: %lu applications refer to it%s", path.c_str(), N(rows.size()), rows.empty() ? "." : ":");
  for (const QueryRow& row : rows) out += Line("  %-24s %s", row.path.c_str(), row.how.c_str());
  return out;
}

std::string QueryJson(const char* query, const std::string& subject, const std::vector<QueryRow>& rows) {
  std::string out = "{\n  \"query\": " + JsonString(query) + ",\n  \"subject\": " + JsonString(subject) +
                    ",\n  \"results\": [";
  for (size_t i = 0; i < rows.size(); ++i)
    out += std::string(i ? "," : "") + "\n    {\"path\": " + JsonString(rows[i].path) +
           ", \"kind\": " + JsonString(KindName(rows[i].kind)) + ", \"how\": " + JsonString(rows[i].how) + "}";
  out += "\n  ]\n}\n";
  return out;
}

std::string CountsText(const size_t counts[4]) {
  char buffer[160];
  snprintf(buffer, sizeof buffer, "%lu folders, %lu files, %lu keys, %lu values", N(counts[0]), N(counts[1]),
           N(counts[2]), N(counts[3]));
  return buffer;
}

}  // namespace vkp
