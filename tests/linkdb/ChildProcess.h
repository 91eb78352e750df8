// ChildProcess.h - starting another test program, waiting for it, and killing it
// outright (TerminateProcess; SIGKILL natively), for the tests that need a second
// process on a store folder or a writer killed in the middle of a flush.
#ifndef VKLINKDB_CHILDPROCESS_H
#define VKLINKDB_CHILDPROCESS_H

#include <string>
#include <vector>

class ChildProcess {
 public:
  ChildProcess() = default;
  ~ChildProcess();  // kills a child still running
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  bool Start(const std::string& program, const std::vector<std::string>& args);
  // Waits for the end; the exit code, or -1 if it did not end normally.
  int Wait();
  // Ends the child at once, without letting it clean up.
  void Kill();
  bool Running();

 private:
#ifdef _WIN32
  void* m_hProcess = nullptr;
#else
  int m_Pid = 0;
#endif
};

// The path of a program in the same folder as this one ("store_helper" gets ".exe" on
// Windows).
std::string ProgramBeside(const std::string& name);

// A pause of the given milliseconds.
void SleepMs(unsigned ms);

#endif
