// Progress.h - the counts of a long walk, shown on the console and updated in place
// (at most ten times a second) when the error output is a console; silent otherwise.
#ifndef VKRECORD_PROGRESS_H
#define VKRECORD_PROGRESS_H

#include <stddef.h>

#include <string>

#include "StoreModel.h"

namespace vkp {

class Progress {
 public:
  Progress();
  ~Progress() { Finish(); }
  // Starts a new line of counts, labelled.
  void Stage(const std::string& label);
  void Add(Kind kind, size_t n = 1);
  // Clears the line.
  void Finish();
  bool Shown() const { return m_Console; }

 private:
  void Show(bool force);

  bool m_Console;
  bool m_Dirty = false;
  std::string m_Label;
  size_t m_Counts[4] = {0, 0, 0, 0};  // folders, files, keys, values
  unsigned long m_Last = 0;
};

}  // namespace vkp

#endif
