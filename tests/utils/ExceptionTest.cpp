// std_exception's composed record and the standard exceptions thrown inside the DLL,
// caught here in a separate program.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "UtilsString"
#include "std_exception"

namespace {

using UTILS::std_exception;
using UTILS::UtilsString;

// A derived exception, as the file I/O class will have; it also exposes _Doraise.
class DerivedException : public std_exception {
 public:
  DerivedException(const char* condition, unsigned long error)
      : std_exception(condition, "F", 7, 9, error, 0) {}
  void Raise() const { _Doraise(); }
};

const std::string kName = "UTILS::std_exception";

TEST(StdException, RecordWithoutError) {
  std_exception e("X", "..\\..\\Include\\CThread", 172, 500, 0, 0);
  EXPECT_EQ("File:  ..\\..\\Include\\CThread; Line Number:  500; Exception Name:  " + kName +
                "; Type:  172; Error Condition:  X",
            std::string(e.what()));
  EXPECT_STREQ(e.what(), static_cast<const char*>(e));
  std_exception describedButNoError("X", "F", 1, 2, 0, 1);
  EXPECT_EQ("File:  F; Line Number:  2; Exception Name:  " + kName +
                "; Type:  1; Error Condition:  X",
            std::string(describedButNoError.what()));
}

TEST(StdException, RecordWithErrorNumberAndDescription) {
  std_exception numbered(UtilsString("Cannot create thread."), "F", 172, 518, 5, 0);
  EXPECT_EQ("File:  F; Line Number:  518; Exception Name:  " + kName +
                "; Type:  172; Error Number: 5; Error Condition:  Cannot create thread.",
            std::string(numbered.what()));
  std_exception described("The input pathname is NULL", "..\\..\\Include\\CUtilsPath", 173, 1029,
                           2, 1);
  UtilsString text;
  ASSERT_NE(0u, text.SetErrorMsg(2, 0));
  EXPECT_EQ("File:  ..\\..\\Include\\CUtilsPath; Line Number:  1029; Exception Name:  " + kName +
                "; Type:  173; Error Number: 2; WinError Description: " + text.GetSTLString() +
                "; Error Condition:  The input pathname is NULL",
            std::string(described.what()));
  // An error the system has no text for leaves the description empty.
  std_exception unknown("C", "F", 1, 1, 0x2FFFFFFF, 1);
  EXPECT_NE(std::string::npos,
            std::string(unknown.what()).find("WinError Description: ; Error Condition:  C"));
}

TEST(StdException, ThreadTextsKeepTheirTwoSpaces) {
  std_exception e(UTILS::kThreadNotSpawned, UTILS::kFileCThread, UTILS::TYPE_THREAD,
                  UTILS::LINE_THREAD_NOT_SPAWNED, 0, 0);
  EXPECT_EQ("File:  ..\\..\\Include\\CThread; Line Number:  547; Exception Name:  " + kName +
                "; Type:  172; Error Condition:  The thread has not been spawned yet.  Cannot "
                "execute the command.",
            std::string(e.what()));
  EXPECT_STREQ("The thread has already been spawned.  Cannot execute the command.",
               UTILS::kThreadAlreadySpawned);
}

TEST(StdException, RecordFromTexts) {
  std_exception e(UtilsString("cond"), UtilsString("file"), UtilsString("204"), UtilsString("12"),
                  UtilsString("3"));
  EXPECT_EQ("File:  file; Line Number:  12; Exception Name:  " + kName +
                "; Type:  204; Error Number: 3; Error Condition:  cond",
            std::string(e.what()));
  std_exception noError(UtilsString("cond"), UtilsString("file"), UtilsString("204"),
                        UtilsString("12"), UtilsString(""));
  EXPECT_EQ(std::string::npos, std::string(noError.what()).find("Error Number"));
}

TEST(StdException, DefaultCopyAssignAndNames) {
  std_exception plain;
  EXPECT_EQ("Exception Name:  " + kName, std::string(plain.what()));
  DerivedException derived("D", 0);
  EXPECT_STREQ("(anonymous namespace)::DerivedException", derived.derived_class());
  EXPECT_NE(std::string::npos, std::string(derived.what()).find("Exception Name:  " + kName + ";"));
  EXPECT_EQ(derived.derived_class(), derived.derived_class());
  std_exception copy(derived);
  EXPECT_STREQ(derived.what(), copy.what());
  plain = copy;
  EXPECT_STREQ(derived.what(), plain.what());
  plain = plain;
  EXPECT_STREQ(derived.what(), plain.what());
}

TEST(StdException, RaisedInsideTheLibraryAndCaughtHere) {
  DerivedException e("raised", 0);
  try {
    e.Raise();
    FAIL() << "nothing thrown";
  } catch (UTILS::std_exception& caught) {
    EXPECT_STREQ(e.what(), caught.what());
    EXPECT_STREQ("UTILS::std_exception", caught.derived_class());  // a copy of the base
  }
  try {
    e.Raise();
  } catch (std::exception& caught) {
    EXPECT_STREQ(e.what(), caught.what());
  }
}

TEST(StandardExceptions, ThrownInsideTheLibraryAndCaughtHere) {
  UtilsString s;
  s.AddString("two");
  try {
    s[2];
    FAIL() << "nothing thrown";
  } catch (std::out_of_range& caught) {
    EXPECT_STREQ(
        "Out Of Range Error - 2:2; File:  ..\\..\\Include\\UtilsString; Line:  1457",
        caught.what());
  }
  try {
    s.RemoveString(5);
    FAIL() << "nothing thrown";
  } catch (std::exception& caught) {
    EXPECT_STREQ("Out Of Range Error - 5; File:  ..\\..\\Include\\UtilsString; Line:  1488",
                 caught.what());
  }
  try {
    s.GetStringNumber(3);
    FAIL() << "nothing thrown";
  } catch (std::out_of_range& caught) {
    EXPECT_STREQ("Out Of Range Error - 3; File:  ..\\..\\Include\\UtilsString; Line:  1555",
                 caught.what());
  }
  try {
    s.GetStringNumber(2);  // passes the first test, fails in the element access
    FAIL() << "nothing thrown";
  } catch (std::out_of_range& caught) {
    EXPECT_STREQ("Out Of Range Error - 2:2; File:  ..\\..\\Include\\UtilsAllocator; Line:  131",
                 caught.what());
  }
  try {
    s.SetCase(2);
    EXPECT_EQ(0, s.Search("t"));  // the length test comes first: "" is shorter
    s[1].Search("t");
    FAIL() << "nothing thrown";
  } catch (std::invalid_argument& caught) {
    EXPECT_STREQ("Inavlid Argument Passed - 2; File:  ..\\..\\Include\\UtilsBase; Line:  936",
                 caught.what());
  }
}

}  // namespace
