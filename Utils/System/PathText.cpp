// The text rules of CUtilsPath on plain strings.
#include "PathText.h"

#include <cstring>

namespace vkl {
namespace pathtext {

void TrimBlanks(std::string& text) {
  size_t end = text.find_last_not_of(' ');
  if (end == std::string::npos) {
    text.clear();
    return;
  }
  text.erase(end + 1);
  text.erase(0, text.find_first_not_of(' '));
}

void CutEndingSlash(std::string& text) {
  TrimBlanks(text);
  if (!text.empty() && text[text.size() - 1] == '\\') text.erase(text.size() - 1);
}

unsigned long CountElements(const std::string& text) {
  unsigned long count = 1;
  for (char c : text) count += c == '\\';
  return count;
}

bool ElementAt(const std::string& text, unsigned long index, std::string& element) {
  size_t start = 0;
  for (unsigned long i = 0; i < index; ++i) {
    size_t separator = text.find('\\', start);
    if (separator == std::string::npos) return false;
    start = separator + 1;
  }
  size_t end = text.find('\\', start);
  element.assign(text, start, end == std::string::npos ? std::string::npos : end - start);
  return true;
}

bool ParentAt(const std::string& text, unsigned long levels, std::string& parent) {
  size_t end = text.size();
  for (unsigned long i = 0; i < levels; ++i) {
    if (end == 0) return false;
    size_t separator = text.rfind('\\', end - 1);
    if (separator == std::string::npos) return false;
    end = separator;
  }
  if (text.find_first_not_of('\\') >= end) return false;
  parent.assign(text, 0, end);
  return true;
}

namespace {

void EraseLeading(std::string& text, char c) { text.erase(0, text.find_first_not_of(c)); }

// Non-overlapping occurrences of ".." in the text.
unsigned long CountParentSteps(const std::string& text) {
  unsigned long count = 0;
  for (size_t at = text.find(".."); at != std::string::npos; at = text.find("..", at + 2)) ++count;
  return count;
}

}  // namespace

bool MakeFull(std::string& path, const std::string& prefix, std::string (*currentDirectory)(),
              bool keepAsIs, int& isUNC) {
  if (keepAsIs) {
    isUNC = 0;
    return false;
  }
  size_t doubled = path.find("\\\\");
  if (doubled == 0) {
    isUNC = 1;
    return false;
  }
  isUNC = 0;
  if (doubled != std::string::npos) {
    // Collapsed, and then relative: the test for ":" is made only when no doubled
    // backslash was found.
    std::string single;
    single.reserve(path.size());
    for (char c : path)
      if (c != '\\' || single.empty() || single[single.size() - 1] != '\\') single += c;
    path.swap(single);
  } else if (path.find(':') != std::string::npos) {
    return false;
  }

  std::string base = prefix.empty() ? currentDirectory() : prefix;
  if (!base.empty() && base[base.size() - 1] == '\\') base.erase(base.size() - 1);
  if (path.compare(0, 2, "..") == 0) {
    // One level up for every ".." anywhere in the text; a parent that does not exist
    // leaves the climb where it stopped.
    for (unsigned long steps = CountParentSteps(path); steps > 0; --steps) {
      size_t cut = base.rfind('\\');
      if (cut == std::string::npos || base.find_first_not_of('\\') >= cut) break;
      base.erase(cut);
    }
    do {
      EraseLeading(path, '.');
      EraseLeading(path, '\\');
    } while (!path.empty() && path[0] == '.');
  } else {
    EraseLeading(path, '.');
    EraseLeading(path, '\\');
  }
  base.reserve(base.size() + 1 + path.size());
  base += '\\';
  base += path;
  path.swap(base);
  CutEndingSlash(path);
  return true;
}

std::string UncName(const std::string& path, const std::string& computer, bool isRegistry) {
  std::string unc = "\\\\" + computer + "\\";
  if (isRegistry) return unc + path;
  std::string drive = path.substr(0, 3);
  unc += path;
  if (drive.empty()) return unc;
  std::string result;
  result.reserve(unc.size());
  for (size_t at = 0; at < unc.size();) {
    if (unc.compare(at, drive.size(), drive) == 0) {
      at += drive.size();
    } else {
      result += unc[at++];
    }
  }
  return result;
}

bool SplitFileName(const char* path, size_t length, std::string& name, std::string& ext,
                   bool firstDot) {
  const char* leaf = path;
  for (const char* p = path; p < path + length; ++p)
    if (*p == '\\') leaf = p + 1;
  size_t leafLength = static_cast<size_t>(path + length - leaf);
  const void* first = std::memchr(leaf, '.', leafLength);
  if (!first) {
    name.clear();
    ext.clear();
    return false;
  }
  size_t cut;
  if (firstDot) {
    cut = static_cast<size_t>(static_cast<const char*>(first) - leaf);
  } else {
    cut = leafLength - 1;
    while (leaf[cut] != '.') --cut;
  }
  name.assign(leaf, cut);
  ext.assign(leaf + cut + 1, leafLength - cut - 1);
  return true;
}

}  // namespace pathtext
}  // namespace vkl
