// What a DiskIO call threw, and the whole record such a failure carries.
#ifndef VKLINKDB_TESTS_UTILS_DISKIO_FAILURE_H_
#define VKLINKDB_TESTS_UTILS_DISKIO_FAILURE_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "diskio"

// Category, error, line and text of the DiskIoException `call` threw (category 99:
// nothing was thrown).
struct Failure {
  unsigned long category = 99, error = 0, line = 0;
  std::string what;
};
template <class F>
Failure Fails(F call) {
  Failure failure;
  try {
    call();
  } catch (UTILS::DiskIoException& e) {
    failure = {e.GetCategory(), e.GetError(), e.GetLine(), e.what()};
    EXPECT_STREQ("UTILS::DiskIoException", e.derived_class());
    EXPECT_STREQ("UTILS::DiskIoException", e.GetTypeName());
    EXPECT_STREQ("..\\..\\Include\\diskio", e.GetFileName());
    const std::string text = e.GetMessageText();  // the record ends with it
    EXPECT_EQ(text, failure.what.substr(failure.what.size() - std::min(failure.what.size(),
                                                                          text.size())));
  }
  return failure;
}

// The std_exception record with the category as its type; the system's description of
// the error when `describe` is set.
inline std::string Record(const Failure& f, const std::string& message, bool describe = true) {
  std::string text = "File:  ..\\..\\Include\\diskio; Line Number:  " + std::to_string(f.line) +
                     "; Exception Name:  UTILS::std_exception; Type:  " +
                     std::to_string(f.category) + "; ";
  if (f.error) {
    text += "Error Number: " + std::to_string(f.error) + "; ";
    if (describe) {
      UTILS::UtilsString description;
      description.SetErrorMsg(f.error, 0);
      text += "WinError Description: " + description.GetSTLString() + "; ";
    }
  }
  return text + "Error Condition:  " + message;
}

#endif  // VKLINKDB_TESTS_UTILS_DISKIO_FAILURE_H_
