// Handles.cpp - see Handles.h.
#include "Handles.h"

namespace vkp {

ObjectRef& ObjectRef::operator=(ObjectRef&& other) noexcept {
  if (this != &other) {
    Reset(other.m_Object);
    other.m_Object = nullptr;
  }
  return *this;
}

void ObjectRef::Reset(CVKUObject* object) {
  if (m_Object) m_Object->Release();
  m_Object = object;
}

std::string NameOf(CVKUObject* object) {
  char name[260];
  if (!object || !object->GetName(name, sizeof name)) return "";
  return name;
}

std::string FullPathOf(CVKUObject* object) {
  char path[260];
  if (!object || !object->GetFullPath(path)) return "";
  return path;
}

namespace {

// The two enumerations differ only in their members and in which end they give.
template <bool kFrom>
void ForEachLink(CVKUObject* object, uint32_t mask, const std::function<bool(const LinkEnd&)>& visit) {
  if (!object) return;
  CVKULink* link = nullptr;
  unsigned long find = kFrom ? object->FindFirstLinkFrom(mask, &link) : object->FindFirstLinkTo(mask, &link);
  if (!find) return;
  bool more = true;
  while (more) {
    if (link) {
      ObjectRef end(kFrom ? link->GetTarget() : link->GetSource());
      uint32_t type = static_cast<uint32_t>(link->GetType());
      link->Release();
      link = nullptr;
      if (end && !visit(LinkEnd{type, end.get()})) break;
    }
    more = kFrom ? object->FindNextLinkFrom(find, &link) != 0 : object->FindNextLinkTo(find, &link) != 0;
  }
  if (link) link->Release();
  if (kFrom)
    object->FindCloseLinkFrom(find);
  else
    object->FindCloseLinkTo(find);
}

}  // namespace

void ForEachLinkFrom(CVKUObject* object, uint32_t mask, const std::function<bool(const LinkEnd&)>& visit) {
  ForEachLink<true>(object, mask, visit);
}

void ForEachLinkTo(CVKUObject* object, uint32_t mask, const std::function<bool(const LinkEnd&)>& visit) {
  ForEachLink<false>(object, mask, visit);
}

}  // namespace vkp
