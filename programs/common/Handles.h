// Handles.h - owning wrappers of the database's handles and the walks over an object's
// links that the programs repeat. Every handle the database gives is the caller's to
// release; these make sure it is, on every way out.
#ifndef VKPROGRAMS_HANDLES_H
#define VKPROGRAMS_HANDLES_H

#include <stdint.h>

#include <functional>
#include <string>

#include "VKLinkDB.h"

namespace vkp {

class ObjectRef {
 public:
  ObjectRef() = default;
  explicit ObjectRef(CVKUObject* object) : m_Object(object) {}
  ObjectRef(ObjectRef&& other) noexcept : m_Object(other.m_Object) { other.m_Object = nullptr; }
  ObjectRef& operator=(ObjectRef&& other) noexcept;
  ObjectRef(const ObjectRef&) = delete;
  ObjectRef& operator=(const ObjectRef&) = delete;
  ~ObjectRef() { Reset(); }

  CVKUObject* get() const { return m_Object; }
  CVKUObject* operator->() const { return m_Object; }
  explicit operator bool() const { return m_Object != nullptr; }
  void Reset(CVKUObject* object = nullptr);

 private:
  CVKUObject* m_Object = nullptr;
};

// The object's name ("" for an unnamed object).
std::string NameOf(CVKUObject* object);
// The object's full path, or "" when the database cannot build one.
std::string FullPathOf(CVKUObject* object);

// One link met by a walk: its type and the object at its other end (borrowed for the
// length of the call).
struct LinkEnd {
  uint32_t type;
  CVKUObject* object;
};
// Calls `visit` for each link from (or to) `object` whose type shares a bit with
// `mask`, in the order of the object's link array; `visit` returns false to stop.
void ForEachLinkFrom(CVKUObject* object, uint32_t mask, const std::function<bool(const LinkEnd&)>& visit);
void ForEachLinkTo(CVKUObject* object, uint32_t mask, const std::function<bool(const LinkEnd&)>& visit);

}  // namespace vkp

#endif
