// StoreSession.h - a command's hold on the store folder: the folder must exist, the
// store must load whole (a damaged store is refused, never overwritten), and nothing is
// written until the command asks, once, at its end: the database's save flag is cleared
// at once, so that a command that fails or is cut off (Ctrl+C, a kill) leaves the store
// as it was.
#ifndef VKRECORD_STORE_SESSION_H
#define VKRECORD_STORE_SESSION_H

#include <string>

#include "VKLinkDB.h"

namespace vkp {

class StoreSession {
 public:
  StoreSession() = default;
  ~StoreSession();
  StoreSession(const StoreSession&) = delete;
  StoreSession& operator=(const StoreSession&) = delete;

  // Attaches the store in `folder`; `writing` also requires that it can be saved.
  bool Open(const std::string& folder, bool writing, std::string* error);
  // Writes the store; false with the reason when it could not be written (the previous
  // store is then left in place).
  bool Save(std::string* error);
  CVKUDatabase* Db() const { return m_Db; }

 private:
  CVKUDatabase* m_Db = nullptr;
};

}  // namespace vkp

#endif
