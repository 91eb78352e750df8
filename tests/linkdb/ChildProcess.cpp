#include "ChildProcess.h"
#include <thread>
#ifdef _WIN32
#include <windows.h>
#else
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#ifdef _WIN32

bool ChildProcess::Start(const std::string& program, const std::vector<std::string>& args) {
  std::string line = "\"" + program + "\"";
  for (const std::string& a : args) line += " \"" + a + "\"";
  STARTUPINFOA si = {};
  si.cb = sizeof(si);
  PROCESS_INFORMATION pi = {};
  if (!CreateProcessA(program.c_str(), &line[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi))
    return false;
  CloseHandle(pi.hThread);
  m_hProcess = pi.hProcess;
  return true;
}

int ChildProcess::Wait() {
  if (!m_hProcess) return -1;
  WaitForSingleObject(m_hProcess, INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(m_hProcess, &code);
  CloseHandle(m_hProcess);
  m_hProcess = nullptr;
  return static_cast<int>(code);
}

void ChildProcess::Kill() {
  if (!m_hProcess) return;
  TerminateProcess(m_hProcess, 255);
  Wait();
}

bool ChildProcess::Running() { return m_hProcess && WaitForSingleObject(m_hProcess, 0) == WAIT_TIMEOUT; }

std::string ProgramBeside(const std::string& name) {
  char self[MAX_PATH];
  DWORD n = GetModuleFileNameA(nullptr, self, sizeof(self));
  std::string path(self, n);
  return path.substr(0, path.find_last_of("\\/") + 1) + name + ".exe";
}

#else

bool ChildProcess::Start(const std::string& program, const std::vector<std::string>& args) {
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(program.c_str()));
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  pid_t pid = fork();
  if (pid < 0) return false;
  if (pid == 0) {
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  m_Pid = pid;
  return true;
}

int ChildProcess::Wait() {
  if (m_Pid <= 0) return -1;
  int status = 0;
  while (waitpid(m_Pid, &status, 0) < 0) {
  }
  m_Pid = 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void ChildProcess::Kill() {
  if (m_Pid <= 0) return;
  kill(m_Pid, SIGKILL);
  Wait();
}

bool ChildProcess::Running() {
  if (m_Pid <= 0) return false;
  int status = 0;
  pid_t r = waitpid(m_Pid, &status, WNOHANG);
  if (r == 0) return true;
  m_Pid = 0;
  return false;
}

std::string ProgramBeside(const std::string& name) {
  char self[4096];
  ssize_t n = readlink("/proc/self/exe", self, sizeof(self) - 1);
  std::string path(self, n > 0 ? static_cast<size_t>(n) : 0);
  return path.substr(0, path.find_last_of('/') + 1) + name;
}

#endif

ChildProcess::~ChildProcess() { Kill(); }

void SleepMs(unsigned ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }
