// Recorder.cpp - see Recorder.h.
#include "Recorder.h"

#include "Handles.h"
#include "Text.h"

namespace vkp {

std::string ApplicationNameProblem(const std::string& name) {
  if (name.empty()) return "the application name is empty";
  if (name.size() > 99) return "the application name is longer than 99 characters";
  if (name.find_first_of("\\*?") != std::string::npos)
    return "the application name may not hold \\, * or ?";
  for (unsigned char c : name)
    if (c < 0x20) return "the application name holds a control character";
  return "";
}

bool Recorder::OpenApplication(const std::string& name, std::string* error) {
  std::string problem = ApplicationNameProblem(name);
  if (!problem.empty()) {
    *error = problem;
    return false;
  }
  m_App = m_Tree.Ensure({kApplicationsRoot, name}, Kind::kApplication, nullptr);
  if (!m_App) {
    *error = "the database could not make the application object";
    return false;
  }
  m_Relations.clear();
  ForEachLinkFrom(m_App, kLinkRefers, [&](const LinkEnd& end) {
    m_Relations[end.object->GetUniqueID()] |= end.type;
    return true;
  });
  return true;
}

uint32_t Recorder::RelationTo(CVKUObject* object) const {
  auto known = m_Relations.find(object->GetUniqueID());
  return known == m_Relations.end() ? 0 : known->second;
}

void Recorder::Skipped(const std::vector<std::string>& components) {
  ++m_Counts.skipped;
  if (m_Counts.skippedExamples.size() < 5) m_Counts.skippedExamples.push_back(JoinPath(components));
}

CVKUObject* Recorder::Record(const std::vector<std::string>& components, Kind kind, uint32_t relation,
                             const RecordData* data) {
  CVKUObject* object = m_Tree.Ensure(components, kind, data);
  if (!object) {
    Skipped(components);
    return nullptr;
  }
  uint32_t& known = m_Relations[object->GetUniqueID()];
  if (relation == kLinkUses && (known & (kLinkOwns | kLinkChanged))) return object;
  if (known & relation) return object;
  if (!m_App->LinkTo(object, relation, 0, 0, nullptr)) {
    Skipped(components);
    return nullptr;
  }
  known |= relation;
  int index = kind == Kind::kFolder ? 0 : kind == Kind::kFile ? 1 : kind == Kind::kKey ? 2 : 3;
  if (relation == kLinkOwns)
    ++m_Counts.owned[index];
  else if (relation == kLinkChanged)
    ++m_Counts.changed[index];
  else
    ++m_Counts.uses;
  return object;
}

void Recorder::RecordImports(CVKUObject* file, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    if (name.empty() || name.size() > StoreTree::kMaxName) continue;
    CVKUObject*& known = m_NameOnly[Upper(name)];
    if (!known) {
      known = m_Db->LookupVFILE(const_cast<char*>(name.c_str()));
      if (!known) known = m_Db->AddObject(const_cast<char*>(name.c_str()), kTypeNameOnly, 0, 0, nullptr, 1);
      if (!known) continue;
      m_Held.emplace_back(known);
    }
    if (file->LinkTo(known, kLinkImports, 0, 0, nullptr)) ++m_Counts.imports;
  }
}

}  // namespace vkp
