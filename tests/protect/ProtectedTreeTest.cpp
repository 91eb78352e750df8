// The component tree: insertion results, the lookup's answers and its marking of a
// reached ancestor, and lookups from several threads.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "ProtectedTree.h"

using namespace vkl::protect;

namespace {

// A lookup without a value pointer, which may mark the node it reaches.
int Ask(ProtectedNode& tree, const std::string& path) { return FindProtectedPath(&tree, path.c_str(), nullptr); }

}  // namespace

TEST(ProtectedTree, InsertionAnswersWhetherTheLineWasListedAlready) {
  const struct {
    const char* text;
    int result;
  } steps[] = {
      {"A\\B\\C", kInserted},
      {"A\\B\\C", kAlreadyListed},
      {"a\\b\\c", kAlreadyListed},         // case does not matter
      {"\\\\A\\\\B\\C\\", kAlreadyListed},  // nor leading, doubled or trailing separators
      {"A\\B", kInserted},                 // an ancestor that was not listed itself
      {"A\\B", kAlreadyListed},
      {"", kInserted},                     // no component: the root
      {"\\\\\\", kAlreadyListed},
  };
  ProtectedNode tree;
  for (const auto& step : steps) EXPECT_EQ(step.result, InsertProtectedPath(&tree, step.text, 0)) << step.text;
  EXPECT_EQ(3u, CountNodes(tree));

  std::string longest(259, 'x'), tooLong(260, 'x');
  EXPECT_EQ(kInserted, InsertProtectedPath(&tree, longest.c_str(), 0));
  EXPECT_EQ(kPathTooLong, InsertProtectedPath(&tree, tooLong.c_str(), 0));
  EXPECT_EQ(kBadPath, InsertProtectedPath(&tree, nullptr, 0));
  EXPECT_EQ(kBadPath, InsertProtectedPath(nullptr, "A", 0));
  EXPECT_EQ(4u, CountNodes(tree));
}

TEST(ProtectedTree, TheOrderOfInsertionsGivesTheSameTree) {
  ProtectedNode deepFirst, shallowFirst;
  InsertProtectedPath(&deepFirst, "A\\B\\C", 0);
  InsertProtectedPath(&deepFirst, "A\\B", 0);
  InsertProtectedPath(&shallowFirst, "A\\B", 0);
  InsertProtectedPath(&shallowFirst, "A\\B\\C", 0);
  for (ProtectedNode* tree : {&deepFirst, &shallowFirst}) {
    EXPECT_EQ(1, Ask(*tree, "A\\B"));
    EXPECT_EQ(1, Ask(*tree, "A\\B\\C"));
    EXPECT_EQ(3u, CountNodes(*tree));
  }
}

TEST(ProtectedTree, ListedPathsAnswerOneAndNothingElseDoes) {
  ProtectedNode tree;
  InsertProtectedPath(&tree, "C:\\WINDOWS\\system32\\kernel32.dll", 0);
  InsertProtectedPath(&tree, "C:\\WINDOWS\\win.ini", 0);
  const struct {
    const char* path;
    int first, second;
  } cases[] = {
      {"C:\\WINDOWS\\system32\\kernel32.dll", 1, 1},
      {"c:\\windows\\SYSTEM32\\KERNEL32.DLL", 1, 1},
      {"C:\\\\WINDOWS\\\\win.ini\\", 1, 1},
      {"C:\\WINDOWS\\win.ini\\more", 0, 0},     // no prefix rule
      {"C:\\WINDOWS\\win", 0, 0},               // components compare whole
      {"D:\\WINDOWS\\win.ini", 0, 0},
      {"C:\\WINDOWS", 0, 1},                    // an ancestor: marked by the first question
      {"C:\\windows\\System32\\", 0, 1},
      {"C:", 0, 1},
      {"", 0, 1},                               // the root is an ancestor of everything
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.first, Ask(tree, c.path)) << c.path;
    EXPECT_EQ(c.second, Ask(tree, c.path)) << c.path << " asked again";
  }
  EXPECT_EQ(0, Ask(tree, std::string(260, 'x')));
  EXPECT_EQ(0, FindProtectedPath(&tree, nullptr, nullptr));
}

TEST(ProtectedTree, AValuePointerGetsTheNodesValueAndMarksNothing) {
  ProtectedNode tree;
  InsertProtectedPath(&tree, "A\\B", 5);
  InsertProtectedPath(&tree, "A\\B\\C\\D", 9);  // A and B exist already and keep 5
  const struct {
    const char* path;
    int found;
    uint32_t value;
  } cases[] = {{"A", 1, 5}, {"A\\B", 1, 5}, {"A\\B\\C", 1, 9}, {"A\\B\\C\\D", 1, 9}, {"A\\X", 0, 0}, {"", 1, 0}};
  for (const auto& c : cases) {
    uint32_t value = 77;
    EXPECT_EQ(c.found, FindProtectedPath(&tree, c.path, &value)) << c.path;
    EXPECT_EQ(c.value, value) << c.path;
  }
  EXPECT_EQ(0, Ask(tree, "A\\B\\C"));  // still not terminal: the lookups above left it
  EXPECT_EQ(1, Ask(tree, "A\\B\\C"));
}

TEST(ProtectedTree, AnEmptyTreeAnswersZeroButForTheEmptyPathAskedTwice) {
  ProtectedNode tree;
  EXPECT_EQ(0, Ask(tree, "C:\\WINDOWS\\win.ini"));
  EXPECT_EQ(0, Ask(tree, "C:\\WINDOWS\\win.ini"));
  EXPECT_EQ(0, Ask(tree, "\\"));
  EXPECT_EQ(1, Ask(tree, ""));
  EXPECT_EQ(0u, CountNodes(tree));
}

// Lookups take no lock: while threads mark ancestors, listed paths must keep answering 1
// and every ancestor ends up answering 1.
TEST(ProtectedTree, LookupsFromSeveralThreadsAgree) {
  ProtectedNode tree;
  std::vector<std::string> listed, ancestors;
  for (int d = 0; d < 40; ++d) {
    ancestors.push_back("C:\\dir" + std::to_string(d));
    for (int f = 0; f < 40; ++f) listed.push_back(ancestors.back() + "\\file" + std::to_string(f));
  }
  for (const auto& p : listed) InsertProtectedPath(&tree, p.c_str(), 0);
  std::vector<int> wrong(6, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 30; ++round) {
        for (size_t i = t; i < listed.size(); i += 3) wrong[t] += Ask(tree, listed[i]) != 1;
        for (const auto& a : ancestors) Ask(tree, a);
      }
    });
  }
  for (auto& th : threads) th.join();
  for (int t = 0; t < 6; ++t) EXPECT_EQ(0, wrong[t]) << "thread " << t;
  for (const auto& a : ancestors) EXPECT_EQ(1, Ask(tree, a)) << a;
}
