// Folder.h - vkdb's few needs of the file system and the system, behind one seam
// (FolderWin32.cpp, FolderPosix.cpp): a private scratch folder holding a copy of the
// store files to inspect, and Graphviz's dot.
#ifndef VKDB_FOLDER_H
#define VKDB_FOLDER_H

#include <string>

namespace vkp {

// The separator of the platform's paths.
extern const char kSeparator;

bool FolderExists(const std::string& path);
// A new, empty folder of its own under the temporary folder; "" on failure.
std::string MakeScratchFolder();
// Removes a scratch folder and every file in it (it holds no folders).
void RemoveScratchFolder(const std::string& path);
// Runs Graphviz: dot -Tsvg -o svg dotFile. 0 when it rendered, -1 when there is no dot
// to run, else dot's exit status.
int RenderWithDot(const std::string& dotFile, const std::string& svg);

}  // namespace vkp

#endif
