// Report.h - the text and JSON forms of what vkrecord prints: the plan with its header
// (which release's protection lists are in effect), the dependency and referring
// application queries, and the summaries of a recording.
#ifndef VKRECORD_REPORT_H
#define VKRECORD_REPORT_H

#include <string>
#include <vector>

#include "Plan.h"
#include "Queries.h"
#include "Recorder.h"

namespace vkp {

// The protection lists a release gets (the release probe's ostype value: 0 unknown or
// newer than XP, 1 Windows 95 ... 7 Windows XP).
struct ProtectionLists {
  std::string release;  // "Windows XP"
  std::string lists;    // "the Windows 2000 and XP lists", or "none"
  bool known = false;
};
ProtectionLists ListsFor(int ostype);

// The warning of a plan made where the library has no lists.
extern const char kNoListsWarning[];

std::string PlanText(const Plan& plan, const std::string& store, const ProtectionLists& lists);
std::string PlanJson(const Plan& plan, const std::string& store, const ProtectionLists& lists);

std::string DependenciesText(const std::string& application, const std::vector<QueryRow>& rows);
std::string ReferrersText(const std::string& path, const std::vector<QueryRow>& rows);
// JSON of either query: {"subject": ..., "query": ..., "results": [...]}.
std::string QueryJson(const char* query, const std::string& subject, const std::vector<QueryRow>& rows);

// "3 folders, 12 files, 4 keys, 9 values" of a recording's owned (or changed) counts.
std::string CountsText(const size_t counts[4]);

}  // namespace vkp

#endif
