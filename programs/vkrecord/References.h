// References.h - the file a piece of registry text names, if any: an installer writes
// the paths of its programs and libraries into the registry (App Paths, Run keys,
// COM servers, the Windows Installer's component records, the SharedDLLs counts, icons),
// and a program that names a file there refers to it.
#ifndef VKRECORD_REFERENCES_H
#define VKRECORD_REFERENCES_H

#include <functional>
#include <string>

namespace vkp {

// The full path of an existing file that `text` names, or "". Tried in turn: the text
// in quotes at its start, the whole text, the text before a comma (an icon's index),
// the text before " /" or " -" (a command's arguments). Only full paths count ("X:\..."
// or "\\server\..."); `isFile` says whether a path is an existing file.
std::string FileNamedBy(const std::string& text, const std::function<bool(const std::string&)>& isFile);

// Whether FileNamedBy could find a file in `text` at all: it starts (after blanks) with
// a quote, a drive ("X:\") or two backslashes. The snapshot keeps only such texts.
bool MayNameFile(const std::string& text);

}  // namespace vkp

#endif
