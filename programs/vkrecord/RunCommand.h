// RunCommand.h - starts the command a recording watches and waits until it ends.
#ifndef VKRECORD_RUN_COMMAND_H
#define VKRECORD_RUN_COMMAND_H

#include <string>
#include <vector>

namespace vkp {

struct CommandResult {
  bool started = false;
  unsigned long exitCode = 0;
  std::string error;  // why it could not start
};

// Runs `args` (the program is looked for as CreateProcess looks for it) with this
// program's console and standard handles.
CommandResult RunAndWait(const std::vector<std::string>& args);

// Whether an exit code means success: 0, and the installer's "done, restart needed"
// codes 1641 and 3010.
bool Succeeded(unsigned long exitCode);

}  // namespace vkp

#endif
