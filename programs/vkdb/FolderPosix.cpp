// FolderPosix.cpp - the Folder.h seam on Linux.
#include <dirent.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Folder.h"

namespace vkp {

const char kSeparator = '/';

bool FolderExists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string MakeScratchFolder() {
  const char* tmp = getenv("TMPDIR");
  std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/vkdb.XXXXXX";
  return mkdtemp(&pattern[0]) ? pattern : "";
}

void RemoveScratchFolder(const std::string& path) {
  if (DIR* dir = opendir(path.c_str())) {
    while (dirent* e = readdir(dir)) {
      std::string name = e->d_name;
      if (name != "." && name != "..") unlink((path + "/" + name).c_str());
    }
    closedir(dir);
  }
  rmdir(path.c_str());
}

int RenderWithDot(const std::string& dotFile, const std::string& svg) {
  pid_t child = fork();
  if (child < 0) return -1;
  if (child == 0) {
    execlp("dot", "dot", "-Tsvg", "-o", svg.c_str(), dotFile.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  if (waitpid(child, &status, 0) < 0 || !WIFEXITED(status)) return 1;
  return WEXITSTATUS(status) == 127 ? -1 : WEXITSTATUS(status);
}

}  // namespace vkp
