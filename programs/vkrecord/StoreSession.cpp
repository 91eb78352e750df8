// StoreSession.cpp - see StoreSession.h.
#include "StoreSession.h"

#include <windows.h>

#include "SystemWin32.h"

namespace vkp {

StoreSession::~StoreSession() {
  if (m_Db) m_Db->Release();
}

bool StoreSession::Open(const std::string& folder, bool writing, std::string* error) {
  if (!IsFolder(folder)) {
    *error = "no store folder " + folder;
    return false;
  }
  m_Db = AttachDatabase(const_cast<char*>(folder.c_str()));
  unsigned long status = CVKUDatabase::GetLoadStatus();
  if (!m_Db) {
    unsigned long outcome = status & VKU_LOAD_OUTCOME_MASK;
    if (outcome == VKU_LOAD_LOCKED)
      *error = "the store in " + folder + " is in use by another program";
    else if (outcome == VKU_LOAD_NAME_TOO_LONG)
      *error = "the folder name " + folder + " is too long for the store's files";
    else
      *error = "the store in " + folder + " cannot be opened: " + ErrorText(GetLastError());
    return false;
  }
  m_Db->SetSaveFlag(0);
  if ((status & VKU_LOAD_OUTCOME_MASK) == VKU_LOAD_REJECTED) {
    *error = "the store in " + folder + " is damaged and was not loaded (vkdb check tells why); it was left as it is";
    return false;
  }
  if (writing && (status & VKU_LOAD_NOT_WRITABLE)) {
    *error = "the store folder " + folder + " cannot be written";
    return false;
  }
  return true;
}

bool StoreSession::Save(std::string* error) {
  if (m_Db->Flush()) return true;
  *error = "the store could not be written: " + ErrorText(GetLastError()) + "; the previous store is unchanged";
  return false;
}

}  // namespace vkp
