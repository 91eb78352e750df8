// UTILS::CThread.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "CThread"

#include <process.h>

#include "std_exception"

namespace UTILS {

const char* const kNullFunctionPointer = "Null function pointer";

namespace {

// A duplicate of `handle` owned by the caller, or null.
HANDLE Duplicate(HANDLE handle) {
  HANDLE copy = 0;
  if (handle && !DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &copy, 0, TRUE,
                                 DUPLICATE_SAME_ACCESS))
    copy = 0;
  return copy;
}

// Ends another thread and waits until it is gone: TerminateThread only starts the end,
// and the caller must know the thread can no longer run (nor take a lock) afterwards.
void TerminateAndWait(HANDLE thread) {
  if (::TerminateThread(thread, 1)) WaitForSingleObject(thread, INFINITE);
}

}  // namespace

CThread::CThread(THREAD_ROUTINE routine, void* parameter, int createNow, int useRuntime) {
  Init();
  m_pRoutine = routine;
  m_pParameter = parameter;
  if (useRuntime) m_bUseRuntime = 1;
  if (createNow) CreateThread(0, 0, 0);
}

CThread::CThread(const CThread& other) {
  Init();
  Copy(other);
}

CThread& CThread::operator=(const CThread& other) {
  if (this != &other) Copy(other);
  return *this;
}

CThread::~CThread() {
  // The watcher goes first, so that ending the worker here posts no message. Both are
  // ended outside the lock: a worker that destroys its own object ends itself here and
  // must not die holding the lock.
  StopSignalThread();
  EndThread();
  ScopedLock hold(m_Lock);
  if (m_hThread) CloseHandle(m_hThread);
  if (m_hSignalThread) CloseHandle(m_hSignalThread);
  if (m_hSignalStop) CloseHandle(m_hSignalStop);
  m_hThread = m_hSignalThread = m_hSignalStop = 0;
}

void CThread::Init() {
  m_bAutoDelete = 1;
  m_bUseRuntime = 0;
  m_hThread = 0;
  m_hSignalThread = 0;
  m_dwThreadID = 0;
  m_eState = THREAD_NOT_ACTIVE;
  m_ThreadMsg.dwThreadID = 0;
  m_ThreadMsg.uMsg = 0;
  m_ThreadMsg.wParam = 0;
  m_ThreadMsg.lParam = 0;
  m_pParameter = 0;
  m_pRoutine = 0;
  m_hSignalStop = 0;
}

void CThread::Copy(const CThread& other) {
  unsigned long autoDelete, threadId;
  int useRuntime;
  HANDLE thread, signalThread, signalStop;
  eThread_State state;
  _THREAD_MESSAGE message;
  void* parameter;
  THREAD_ROUTINE routine;
  {
    ScopedLock source(other.m_Lock);
    autoDelete = other.m_bAutoDelete;
    useRuntime = other.m_bUseRuntime;
    thread = Duplicate(other.m_hThread);
    signalThread = Duplicate(other.m_hSignalThread);
    signalStop = Duplicate(other.m_hSignalStop);  // so that the copy can end the watcher too
    threadId = other.m_dwThreadID;
    state = other.m_eState;
    message = other.m_ThreadMsg;
    parameter = other.m_pParameter;
    routine = other.m_pRoutine;
  }
  ScopedLock hold(m_Lock);
  // An assigned-to object gives up its own handles (its threads keep running).
  if (m_hThread) CloseHandle(m_hThread);
  if (m_hSignalThread) CloseHandle(m_hSignalThread);
  if (m_hSignalStop) CloseHandle(m_hSignalStop);
  m_bAutoDelete = autoDelete;
  m_bUseRuntime = useRuntime;
  m_hThread = thread;
  m_hSignalThread = signalThread;
  m_hSignalStop = signalStop;
  m_dwThreadID = threadId;
  m_eState = state;
  m_ThreadMsg = message;
  m_pParameter = parameter;
  m_pRoutine = routine;
}

void CThread::CheckForActiveThread() {
  ScopedLock hold(m_Lock);
  DWORD code = 0;
  if (m_hThread && GetExitCodeThread(m_hThread, &code) && code != STILL_ACTIVE)
    m_eState = THREAD_NOT_ACTIVE;
}

int CThread::CreateThread(unsigned long flags, unsigned long stackSize,
                          _SECURITY_ATTRIBUTES* security) {
  ScopedLock hold(m_Lock);
  CheckForActiveThread();
  // A suspended thread does not count as spawned here.
  if (m_eState == THREAD_RUNNING)
    throw std_exception(kThreadAlreadySpawned, kFileCThread, TYPE_THREAD,
                        LINE_THREAD_ALREADY_SPAWNED, 0, 0);
  if (flags != 0 && flags != CREATE_SUSPENDED)
    ThrowInvalidArgument(ComposeShortError(kInvalidArgument, static_cast<long>(flags), kFileCThread,
                                           LINE_THREAD_BAD_FLAGS));
  if (!m_pRoutine)
    ThrowInvalidArgument(ComposeShortError(kIncorrectParameter, kNullFunctionPointer, kFileCThread,
                                           LINE_THREAD_NO_ROUTINE));
  if (m_hThread) {
    CloseHandle(m_hThread);
    m_hThread = 0;
  }
  HANDLE thread = 0;
  if (m_bUseRuntime) {
    unsigned id = 0;
    thread = reinterpret_cast<HANDLE>(
        _beginthreadex(security, static_cast<unsigned>(stackSize),
                       reinterpret_cast<unsigned(__stdcall*)(void*)>(m_pRoutine), m_pParameter,
                       static_cast<unsigned>(flags), &id));
    m_dwThreadID = id;
  } else {
    DWORD id = 0;
    thread =
        ::CreateThread(security, stackSize, reinterpret_cast<LPTHREAD_START_ROUTINE>(m_pRoutine),
                       m_pParameter, flags, &id);
    m_dwThreadID = id;
  }
  if (!thread)
    throw std_exception(kCannotCreateThread, kFileCThread, TYPE_THREAD, LINE_CANNOT_CREATE_THREAD,
                        GetLastError(), 0);
  m_hThread = thread;
  m_eState = flags == CREATE_SUSPENDED ? THREAD_SUSPENDED : THREAD_RUNNING;
  return 1;
}

void CThread::CreateSignalThread() {
  {
    ScopedLock hold(m_Lock);
    CheckForActiveThread();
    if (m_eState != THREAD_RUNNING && m_eState != THREAD_SUSPENDED)
      throw std_exception(kThreadNotSpawned, kFileCThread, TYPE_THREAD, LINE_THREAD_NOT_SPAWNED, 0,
                          0);
  }
  // A previous watcher is ended before its handle is let go: left running, it would
  // post a second message and could outlive the object it works on.
  StopSignalThread();
  ScopedLock hold(m_Lock);
  if (m_hSignalThread) {
    CloseHandle(m_hSignalThread);
    m_hSignalThread = 0;
  }
  // A fresh stop event for each watcher: a copy of this object may hold the old one.
  if (m_hSignalStop) CloseHandle(m_hSignalStop);
  m_hSignalStop = CreateEventA(0, TRUE, FALSE, 0);
  DWORD id = 0;
  if (m_hSignalStop) m_hSignalThread = ::CreateThread(0, 0, SignalThreadMain, this, 0, &id);
  if (!m_hSignalThread)
    throw std_exception(kCannotCreateThread, kFileCThread, TYPE_THREAD, LINE_CANNOT_CREATE_THREAD,
                        GetLastError(), 0);
  ::SetThreadPriority(m_hSignalThread, THREAD_PRIORITY_LOWEST);
}

unsigned long __stdcall CThread::SignalThreadMain(void* object) {
  CThread* self = static_cast<CThread*>(object);
  // The watcher waits on handles of its own: the object may close or replace its
  // worker's handle meanwhile.
  HANDLE waits[2];
  {
    ScopedLock hold(self->m_Lock);
    waits[0] = Duplicate(self->m_hThread);
    waits[1] = Duplicate(self->m_hSignalStop);
  }
  DWORD woken = WAIT_FAILED;
  if (waits[0] && waits[1]) woken = WaitForMultipleObjects(2, waits, FALSE, INFINITE);
  if (waits[0]) CloseHandle(waits[0]);
  if (waits[1]) CloseHandle(waits[1]);
  if (woken != WAIT_OBJECT_0) return 1;  // stopped: as if ended with exit code 1
  self->EndThread();
  _THREAD_MESSAGE message;
  {
    ScopedLock hold(self->m_Lock);
    message = self->m_ThreadMsg;
  }
  PostThreadMessageA(message.dwThreadID, message.uMsg, message.wParam, message.lParam);
  return 0;
}

void CThread::StopSignalThread() {
  // Duplicates, so that another thread may close the object's handles meanwhile.
  HANDLE watcher, stop;
  {
    ScopedLock hold(m_Lock);
    if (!m_hSignalThread || !m_hSignalStop) return;
    watcher = Duplicate(m_hSignalThread);
    stop = Duplicate(m_hSignalStop);
  }
  if (watcher && stop) {
    SetEvent(stop);
    WaitForSingleObject(watcher, INFINITE);
  }
  if (watcher) CloseHandle(watcher);
  if (stop) CloseHandle(stop);
}

unsigned long CThread::SuspendThread() {
  ScopedLock hold(m_Lock);
  CheckForActiveThread();
  if (m_eState != THREAD_RUNNING) return 0xFFFFFFFFUL;
  DWORD previous = ::SuspendThread(m_hThread);
  if (previous != 0xFFFFFFFFUL) m_eState = THREAD_SUSPENDED;
  return previous;
}

unsigned long CThread::ResumeThread() {
  ScopedLock hold(m_Lock);
  CheckForActiveThread();
  if (m_eState != THREAD_SUSPENDED) return 0xFFFFFFFFUL;
  DWORD previous = ::ResumeThread(m_hThread);
  if (previous != 0xFFFFFFFFUL) m_eState = THREAD_RUNNING;
  return previous;
}

void CThread::EndThread() {
  {
    ScopedLock hold(m_Lock);
    CheckForActiveThread();
    if (m_eState != THREAD_RUNNING) return;
    if (m_dwThreadID != GetCurrentThreadId()) {
      TerminateAndWait(m_hThread);
      m_eState = THREAD_NOT_ACTIVE;
      return;
    }
  }
  // The worker ends itself. The lock is let go first (a thread that dies holding it
  // would leave it held for good); the state is left as it stands, to be found
  // finished by the next refresh.
  ::TerminateThread(GetCurrentThread(), 1);
}

void CThread::EndSignalThread() { StopSignalThread(); }

int CThread::IsThreadActive() {
  ScopedLock hold(m_Lock);
  CheckForActiveThread();
  return m_eState == THREAD_RUNNING;
}

int CThread::IsThreadSuspended() {
  ScopedLock hold(m_Lock);
  CheckForActiveThread();
  return m_eState == THREAD_SUSPENDED;
}

eThread_State CThread::GetThreadState() const {
  ScopedLock hold(m_Lock);
  return m_eState;
}

unsigned long CThread::GetThreadID() const {
  ScopedLock hold(m_Lock);
  return m_dwThreadID;
}

void* CThread::GetThreadHandle() const {
  ScopedLock hold(m_Lock);
  return m_hThread;
}

CThread::operator void*() const { return GetThreadHandle(); }

int CThread::GetThreadPriority() const {
  ScopedLock hold(m_Lock);
  return ::GetThreadPriority(m_hThread);
}

int CThread::SetThreadPriority(int priority) {
  ScopedLock hold(m_Lock);
  return ::SetThreadPriority(m_hThread, priority);
}

unsigned long CThread::GetPriorityClass() const {
  return static_cast<unsigned long>(::GetThreadPriority(GetCurrentProcess()));
}

int CThread::SetPriorityClass(unsigned long priorityClass) {
  return ::SetPriorityClass(GetCurrentProcess(), priorityClass);
}

void CThread::SetThreadRoutine(THREAD_ROUTINE routine) {
  ScopedLock hold(m_Lock);
  m_pRoutine = routine;
}

void CThread::SetThreadFunction(THREAD_ROUTINE routine) { SetThreadRoutine(routine); }

void CThread::SetThreadParameter(void* parameter) {
  ScopedLock hold(m_Lock);
  m_pParameter = parameter;
}

void CThread::UseCRTLib() {
  ScopedLock hold(m_Lock);
  m_bUseRuntime = 1;
}

void CThread::UseWinLib() {
  ScopedLock hold(m_Lock);
  m_bUseRuntime = 0;
}

void CThread::SetThreadMsg(_THREAD_MESSAGE message) {
  ScopedLock hold(m_Lock);
  m_ThreadMsg = message;
}

_THREAD_MESSAGE CThread::GetThreadMsg() {
  ScopedLock hold(m_Lock);
  return m_ThreadMsg;
}

void CThread::Delete() {
  unsigned long autoDelete;
  {
    ScopedLock hold(m_Lock);
    autoDelete = m_bAutoDelete;
  }
  if (autoDelete) delete this;
}

void CThread::SetAutoDelete(unsigned long autoDelete) {
  ScopedLock hold(m_Lock);
  m_bAutoDelete = autoDelete;
}

void CThread::SignalThreadComplete() {
  ScopedLock hold(m_Lock);
  m_eState = THREAD_NOT_ACTIVE;
}

}  // namespace UTILS
