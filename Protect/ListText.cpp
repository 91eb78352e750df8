// Line reading, file-line expansion and loading of a protected list's text.
#include "ListText.h"

#include <string.h>

#include <vector>

namespace vkl {
namespace protect {

const char kWindowsDirVariable[] = "%WindowsDir%\\";
const char kSystemDirVariable[] = "%SystemDir%\\";

namespace {

const size_t kWindowsDirVariableLength = sizeof(kWindowsDirVariable) - 1;  // 13
const size_t kSystemDirVariableLength = sizeof(kSystemDirVariable) - 1;    // 12

// A character stream over a zero-terminated text, read a line at a time the way an
// input stream's getline(buffer, size) reads: characters up to the next LF (consumed,
// not stored) are stored; the end of the text sets "end"; a line that fills the buffer
// before its LF, or a read that takes nothing at all, sets "failed", which ends the
// reading. What the buffer held beyond the stored line and its terminator stays.
class LineStream {
 public:
  explicit LineStream(const char* text) : m_pNext(text) {}
  bool Good() const { return !m_bFailed; }

  void ReadLine(char* buffer, size_t size) {
    size_t stored = 0;
    bool tookAny = false;
    while (stored + 1 < size && *m_pNext && *m_pNext != '\n') {
      buffer[stored++] = *m_pNext++;
      tookAny = true;
    }
    buffer[stored] = 0;
    if (!*m_pNext) {
      m_bEnd = true;
    } else if (*m_pNext == '\n') {
      ++m_pNext;
      tookAny = true;
    } else {
      m_bFailed = true;  // the line is longer than the buffer
    }
    if (!tookAny) m_bFailed = true;
  }

 private:
  const char* m_pNext;
  bool m_bEnd = false;
  bool m_bFailed = false;
};

}  // namespace

size_t EndWithBackslash(char* directory) {
  size_t length = strnlen(directory, kDirectoryBufferSize - 1);
  directory[length] = 0;
  if (length != 0 && directory[length - 1] != '\\' && length + 1 < kDirectoryBufferSize) {
    directory[length++] = '\\';
    directory[length] = 0;
  }
  return length;
}

void SetListDirectories(ListDirectories& dirs, const char* windowsDir, const char* systemDir) {
  strncpy(dirs.windowsDir, windowsDir ? windowsDir : "", kDirectoryBufferSize - 1);
  dirs.windowsDir[kDirectoryBufferSize - 1] = 0;
  dirs.windowsLength = EndWithBackslash(dirs.windowsDir);
  strncpy(dirs.systemDir, systemDir ? systemDir : "", kDirectoryBufferSize - 1);
  dirs.systemDir[kDirectoryBufferSize - 1] = 0;
  dirs.systemLength = EndWithBackslash(dirs.systemDir);
  dirs.systemInWindows = CompareComponentsN(dirs.windowsDir, dirs.systemDir, dirs.windowsLength) == 0;
}

void ExpandFileLine(char* line, const ListDirectories& dirs) {
  char expanded[kLineBufferSize];
  const char* rest;
  size_t n;
  if (CompareComponentsN(line, kWindowsDirVariable, kWindowsDirVariableLength) == 0) {
    n = strnlen(dirs.windowsDir, kDirectoryBufferSize - 1);
    memcpy(expanded, dirs.windowsDir, n);
    rest = line + kWindowsDirVariableLength;
  } else {
    // Whatever the line begins with: a shorter line takes the rest from what the buffer
    // still holds beyond its own end (the buffer always holds a terminator further on).
    n = strnlen(dirs.systemDir, kDirectoryBufferSize - 1);
    memcpy(expanded, dirs.systemDir, n);
    rest = line + kSystemDirVariableLength;
  }
  size_t restLength = strnlen(rest, kLineBufferSize - (rest - line) - 1);
  if (restLength > kLineBufferSize - 1 - n) restLength = kLineBufferSize - 1 - n;
  memcpy(expanded + n, rest, restLength);
  n += restLength;
  while (n > 0 && static_cast<signed char>(expanded[n - 1]) < 32) --n;
  memcpy(line, expanded, n);
  line[n] = 0;
}

size_t LoadListText(ProtectedNode* tree, const char* text, ListKind kind, const ListDirectories& dirs) {
  // The buffer starts cleared, so what a short line picks up from it is always defined.
  std::vector<char> line(kLineBufferSize, 0);
  LineStream stream(text ? text : "");
  size_t lines = 0;
  while (stream.Good()) {
    stream.ReadLine(line.data(), line.size());
    if (kind == kFileList) ExpandFileLine(line.data(), dirs);
    InsertProtectedPath(tree, line.data(), 0);
    ++lines;
  }
  return lines;
}

}  // namespace protect
}  // namespace vkl
