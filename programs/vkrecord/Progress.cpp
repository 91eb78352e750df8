// Progress.cpp - see Progress.h.
#include "Progress.h"

#include <stdio.h>
#include <windows.h>

namespace vkp {

Progress::Progress() {
  DWORD mode;
  m_Console = GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

void Progress::Stage(const std::string& label) {
  Finish();
  m_Label = label;
  for (size_t& c : m_Counts) c = 0;
  Show(true);
}

void Progress::Add(Kind kind, size_t n) {
  int i = kind == Kind::kFolder ? 0 : kind == Kind::kFile ? 1 : kind == Kind::kKey ? 2 : 3;
  m_Counts[i] += n;
  Show(false);
}

void Progress::Show(bool force) {
  if (!m_Console) return;
  unsigned long now = GetTickCount();
  if (!force && now - m_Last < 100) return;
  m_Last = now;
  fprintf(stderr, "\r  %s: %lu folders, %lu files, %lu keys, %lu values   ", m_Label.c_str(),
          static_cast<unsigned long>(m_Counts[0]), static_cast<unsigned long>(m_Counts[1]),
          static_cast<unsigned long>(m_Counts[2]), static_cast<unsigned long>(m_Counts[3]));
  fflush(stderr);
  m_Dirty = true;
}

void Progress::Finish() {
  if (!m_Dirty) return;
  fprintf(stderr, "\r%79s\r", "");
  fflush(stderr);
  m_Dirty = false;
}

}  // namespace vkp
