// RunCommand.cpp - see RunCommand.h.
#include "RunCommand.h"

#include <windows.h>

#include "Arguments.h"
#include "SystemWin32.h"

namespace vkp {

CommandResult RunAndWait(const std::vector<std::string>& args) {
  CommandResult result;
  std::string line = QuoteCommandLine(args);
  STARTUPINFOA start = {};
  start.cb = sizeof start;
  PROCESS_INFORMATION process;
  if (!CreateProcessA(nullptr, &line[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process)) {
    result.error = ErrorText(GetLastError());
    return result;
  }
  result.started = true;
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD code = 1;
  GetExitCodeProcess(process.hProcess, &code);
  result.exitCode = code;
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return result;
}

bool Succeeded(unsigned long exitCode) { return exitCode == 0 || exitCode == 1641 || exitCode == 3010; }

}  // namespace vkp
