// std_exception's composed record, and exceptions thrown inside the DLL and caught in
// this separate program with their whole texts.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>

#include "TestSupport.h"
#include "UtilsString"
#include "std_exception"

namespace {

using UTILS::std_exception;
using UTILS::UtilsString;

// A derived exception, as DiskIoException is; it also exposes _Doraise.
class DerivedException : public std_exception {
 public:
  DerivedException() : std_exception("raised", "F", 7, 9, 0, 0) {}
  void Raise() const { _Doraise(); }
};

TEST(StdException, RecordsFromNumbersAndFromTexts) {
  const std::string name = "; Exception Name:  UTILS::std_exception; Type:  ";
  UtilsString description;
  ASSERT_NE(0u, description.SetErrorMsg(2, 0));
  const std::pair<std_exception, std::string> cases[] = {
      // No error: no number and no description, whatever the describe flag.
      {{"X", "F", 1, 2, 0, 1}, "File:  F; Line Number:  2" + name + "1; Error Condition:  X"},
      {{UtilsString("C"), "F", 172, 518, 5, 0},
       "File:  F; Line Number:  518" + name + "172; Error Number: 5; Error Condition:  C"},
      {{"C", "F", 173, 1029, 2, 1},
       "File:  F; Line Number:  1029" + name + "173; Error Number: 2; WinError Description: " +
           description.GetSTLString() + "; Error Condition:  C"},
      // An error the system has no text for leaves the description empty.
      {{"C", "F", 1, 1, 0x2FFFFFFF, 1},
       "File:  F; Line Number:  1" + name +
           "1; Error Number: 805306367; WinError Description: "
           "; Error Condition:  C"},
      {{UtilsString("cond"), UtilsString("file"), UtilsString("204"), UtilsString("12"),
        UtilsString("3")},
       "File:  file; Line Number:  12" + name + "204; Error Number: 3; Error Condition:  cond"},
      {{UtilsString("cond"), UtilsString("file"), UtilsString("204"), UtilsString("12"),
        UtilsString("")},
       "File:  file; Line Number:  12" + name + "204; Error Condition:  cond"},
      {{}, "Exception Name:  UTILS::std_exception"}};
  for (const auto& c : cases) EXPECT_EQ(c.second, c.first.what());
  EXPECT_STREQ(cases[0].first.what(), static_cast<const char*>(cases[0].first));
}

TEST(StdException, CopiesNamesAndRaisingACopyOfTheBase) {
  DerivedException derived;
  EXPECT_STREQ("(anonymous namespace)::DerivedException", derived.derived_class());
  EXPECT_EQ(derived.derived_class(), derived.derived_class());  // one text per class
  std_exception copy(derived), assigned;
  assigned = copy;
  assigned = assigned;
  EXPECT_STREQ(derived.what(), assigned.what());
  EXPECT_NE(std::string::npos,
            std::string(copy.what()).find("Exception Name:  UTILS::std_exception;"));
  try {
    derived.Raise();
    FAIL() << "nothing thrown";
  } catch (std::exception& caught) {
    EXPECT_STREQ(derived.what(), caught.what());
    EXPECT_STREQ("UTILS::std_exception", dynamic_cast<std_exception&>(caught).derived_class());
  }
}

TEST(StandardExceptions, ThrownInsideTheLibraryAndCaughtHere) {
  UtilsString s;
  s.AddString("two");
  const std::string file = "; File:  ..\\..\\Include\\";
  EXPECT_EQ("Out Of Range Error - 2:2" + file + "UtilsString; Line:  1457",
            Thrown<std::out_of_range>([&] { s[2]; }));
  EXPECT_EQ("Out Of Range Error - 5" + file + "UtilsString; Line:  1488",
            Thrown<std::exception>([&] { s.RemoveString(5); }));
  EXPECT_EQ("Out Of Range Error - 3" + file + "UtilsString; Line:  1555",
            Thrown<std::out_of_range>([&] { s.GetStringNumber(3); }));
  // Passes the string's own test and fails in the element access.
  EXPECT_EQ("Out Of Range Error - 2:2" + file + "UtilsAllocator; Line:  131",
            Thrown<std::out_of_range>([&] { s.GetStringNumber(2); }));
  s.SetCase(2);
  EXPECT_EQ(0, s.Search("t"));  // the length test comes first: "" is shorter
  EXPECT_EQ("Inavlid Argument Passed - 2" + file + "UtilsBase; Line:  936",
            Thrown<std::invalid_argument>([&] { s[1].Search("t"); }));
}

}  // namespace
