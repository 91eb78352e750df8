// The text rules of CUtilsPath on plain strings: trimming, the ending backslash, the
// elements of a path and its parents, and the full-path normalisation. The class keeps
// its texts in UtilsString; it does this work on copies and stores the result once.
#ifndef VKLINKDB_UTILS_SYSTEM_PATH_TEXT_H_
#define VKLINKDB_UTILS_SYSTEM_PATH_TEXT_H_

#include <string>

namespace vkl {
namespace pathtext {

// Blanks (the space character only) cut from the end, then from the start.
void TrimBlanks(std::string& text);

// TrimBlanks, then one ending backslash removed (a text ending in two keeps one).
void CutEndingSlash(std::string& text);

// The number of elements when the text is cut at every backslash (an empty text has
// one empty element).
unsigned long CountElements(const std::string& text);

// Element `index` counted from the root; false when there is no such element.
bool ElementAt(const std::string& text, unsigned long index, std::string& element);

// The text with `levels` trailing elements cut off (0: the text itself); false when
// what is left has no element with a name (only backslashes, or nothing).
bool ParentAt(const std::string& text, unsigned long levels, std::string& parent);

// The full-path rules of SetPath, applied to `path` (already trimmed and cut):
//  - a registry path without a base is left alone;
//  - two leading backslashes: a network path, left alone (isUNC 1);
//  - a doubled backslash elsewhere is collapsed and the path taken as relative;
//  - otherwise a text with ":" is absolute and left alone;
//  - a relative text is joined to `base` (or, when it is empty, to what
//    `currentDirectory` gives), a leading ".." climbing one level for each ".." found
//    in the text.
// `keepAsIs` (a registry path without a base) leaves the text alone. Answers whether
// the path was changed (then it has been cut again).
bool MakeFull(std::string& path, const std::string& base, std::string (*currentDirectory)(),
              bool keepAsIs, int& isUNC);

// The network form: "\\" computer "\" and the path; for a disk path every occurrence
// of the path's first three characters (the drive, "C:\") is then removed.
std::string UncName(const std::string& path, const std::string& computer, bool isRegistry);

// The name and extension of the last element (see CUtilsPath::GetFileNameFromPath);
// false, with both empty, when it has no dot.
bool SplitFileName(const char* path, size_t length, std::string& name, std::string& ext,
                   bool firstDot);

}  // namespace pathtext
}  // namespace vkl

#endif  // VKLINKDB_UTILS_SYSTEM_PATH_TEXT_H_
