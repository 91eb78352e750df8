// CNTAdminObject: the release probe and the administrator test.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "CNTAdminObject"

#include <windows.h>

#include "ReleaseMap.h"
#include "UtilsAllocator"

namespace {

// The size GetVersionExA is told: the plain OSVERSIONINFOA record.
const DWORD kVersionInfoSize = 148;
static_assert(sizeof(OSVERSIONINFOA) == kVersionInfoSize, "OSVERSIONINFOA is 148 bytes");

// Closes the token the administrator test opened, on every way out. Leaving it open
// would change no result, but each call would cost the process a handle.
class TokenHandle {
 public:
  TokenHandle() : m_hToken(0) {}
  ~TokenHandle() {
    if (m_hToken) CloseHandle(m_hToken);
  }
  HANDLE* operator&() { return &m_hToken; }
  operator HANDLE() const { return m_hToken; }

 private:
  TokenHandle(const TokenHandle&);
  TokenHandle& operator=(const TokenHandle&);
  HANDLE m_hToken;
};

}  // namespace

CNTAdminObject::CNTAdminObject() {
  Init();
  DetermineOS();
}

CNTAdminObject::CNTAdminObject(const CNTAdminObject& other) {
  Init();
  Copy(other);
}

CNTAdminObject& CNTAdminObject::operator=(const CNTAdminObject& other) {
  if (this == &other) return *this;
  Copy(other);
  return *this;
}

CNTAdminObject::~CNTAdminObject() {}

void CNTAdminObject::Init() {
  m_pAdministratorsSid = 0;
  m_OSType = OS_UNKNOWN;
}

void CNTAdminObject::Copy(const CNTAdminObject& other) {
  m_pAdministratorsSid = __atomic_load_n(&other.m_pAdministratorsSid, __ATOMIC_RELAXED);
  m_OSType = other.m_OSType;
}

ostype CNTAdminObject::GetOS() { return m_OSType; }

const int CNTAdminObject::IsNT() const { return m_OSType >= OS_NT3 ? 1 : 0; }

const int CNTAdminObject::IsAdmin() { return RunningAsAdministrator(); }

void CNTAdminObject::DetermineOS() {
  OSVERSIONINFOA info;
  ZeroMemory(&info, sizeof info);
  info.dwOSVersionInfoSize = kVersionInfoSize;
  // The result is not examined: a failed call leaves the record zeroed, and platform 0
  // matches nothing.
  GetVersionExA(&info);
  m_OSType = vkl::ReleaseFromVersion(info.dwPlatformId, info.dwMajorVersion, info.dwMinorVersion,
                                     m_OSType);
}

const int CNTAdminObject::RunningAsAdministrator() {
  // On the 95 line (and on a release the probe does not know) nobody is administrator.
  if (m_OSType < OS_NT3) return 0;

  // An impersonating thread is judged by its own token.
  TokenHandle token;
  if (!OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, FALSE, &token)) {
    if (GetLastError() != ERROR_NO_TOKEN) return 0;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return 0;
  }

  DWORD length = 0;
  if (GetTokenInformation(token, TokenGroups, 0, 0, &length) ||
      GetLastError() != ERROR_INSUFFICIENT_BUFFER)
    return 0;
  // Whole TOKEN_GROUPS records keep the SID array aligned; the allocator clears them.
  UTILS::UtilsAllocator<TOKEN_GROUPS> buffer;
  if (length != 0) buffer.allocate((length + sizeof(TOKEN_GROUPS) - 1) / sizeof(TOKEN_GROUPS));
  TOKEN_GROUPS* groups = buffer.GetBlock();
  if (!GetTokenInformation(token, TokenGroups, groups, length, &length)) return 0;

  SID_IDENTIFIER_AUTHORITY ntAuthority = {SECURITY_NT_AUTHORITY};
  PSID administrators = 0;
  if (!AllocateAndInitializeSid(&ntAuthority, 2, SECURITY_BUILTIN_DOMAIN_RID,
                                DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0, &administrators))
    return 0;
  // The walk uses its own copy of the pointer, so a concurrent call on this object
  // that overwrites the field cannot free the SID under it.
  __atomic_store_n(&m_pAdministratorsSid, administrators, __ATOMIC_RELAXED);

  // Membership alone counts: enabled, deny-only and owner attributes are not read.
  int result = 0;
  for (DWORD i = 0; i < groups->GroupCount; ++i) {
    if (EqualSid(groups->Groups[i].Sid, administrators)) {
      result = 1;
      break;
    }
  }
  FreeSid(administrators);
  return result;
}
