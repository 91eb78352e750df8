// CSyncObject and CCriticalSection.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "CSyncObject"

#include <typeinfo>

namespace UTILS {

CSyncObject::CSyncObject(const std::string& name) : m_bAttached(0), m_lGuard(0) { Init(name); }

CSyncObject::CSyncObject(const CSyncObject& other) : m_bAttached(0), m_lGuard(0) { Copy(other); }

CSyncObject& CSyncObject::operator=(const CSyncObject& other) {
  if (this != &other) Copy(other);
  return *this;
}

CSyncObject::~CSyncObject() {}

void CSyncObject::Init(const std::string& name) {
  m_strName = name;
  m_vStates.clear();
  m_vStates.reserve(4);  // room for a few nesting levels without re-allocation
  m_vStates.push_back(0);
  m_bAttached = 0;
}

void CSyncObject::Copy(const CSyncObject& other) {
  m_strName = other.m_strName;
  other.AcquireGuard();
  std::vector<int> states = other.m_vStates;
  other.ReleaseGuard();
  AcquireGuard();
  m_vStates.swap(states);
  ReleaseGuard();
  m_bAttached = other.m_bAttached;
}

void CSyncObject::AcquireGuard() const {
  while (InterlockedExchange(const_cast<LONG*>(&m_lGuard), 1) != 0) Sleep(0);
}

void CSyncObject::ReleaseGuard() const { InterlockedExchange(const_cast<LONG*>(&m_lGuard), 0); }

void CSyncObject::PushState(int state) {
  AcquireGuard();
  m_vStates.push_back(state);
  ReleaseGuard();
}

int CSyncObject::PopState() {
  AcquireGuard();
  int popped = 0;
  if (m_vStates.size() >= 2) {
    m_vStates.pop_back();
    popped = 1;
  }
  ReleaseGuard();
  return popped;
}

void CSyncObject::Attach() { m_bAttached = 1; }
void CSyncObject::UnAttach() { m_bAttached = 0; }
const int CSyncObject::IsObjectAttached() const { return m_bAttached; }

const int CSyncObject::Lock() {
  PushState(1);
  return 1;
}

const int CSyncObject::UnLock() { return PopState(); }

const int CSyncObject::GetState(int index) const {
  AcquireGuard();
  int state = index == -1 ? m_vStates.back() : m_vStates[index];
  ReleaseGuard();
  return state;
}

std::string CSyncObject::GetObjName() const { return m_strName; }

const char* CSyncObject::derived_class() const { return ReadableTypeName(typeid(*this)); }

CCriticalSection::CCriticalSection()
    : CSyncObject(std::string()), m_bReleased(0), m_dwOwner(0), m_ulDepth(0) {
  InitializeCriticalSection(&m_CriticalSection);
}

CCriticalSection::~CCriticalSection() { DeleteCriticalSection(&m_CriticalSection); }

const int CCriticalSection::Lock() {
  PushState(1);  // the state is pushed before the section is entered
  EnterCriticalSection(&m_CriticalSection);
  m_dwOwner = GetCurrentThreadId();
  ++m_ulDepth;
  return 1;
}

const int CCriticalSection::UnLock() {
  // A thread that is not inside has nothing to unlock. Leaving on its behalf would
  // release the owner's hold and let a waiting thread in beside the owner.
  if (m_dwOwner != GetCurrentThreadId()) return 1;
  if (CSyncObject::UnLock() == 0) return 1;  // nothing was locked: leave untouched
  m_bReleased = 1;
  if (--m_ulDepth == 0) m_dwOwner = 0;
  LeaveCriticalSection(&m_CriticalSection);
  return 1;
}

const int CCriticalSection::GetState(int index) const { return CSyncObject::GetState(index); }

std::string CCriticalSection::GetObjName() const { return CSyncObject::GetObjName(); }

}  // namespace UTILS
