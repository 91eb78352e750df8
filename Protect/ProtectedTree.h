// The component trees of protected paths: one node per path component, children kept
// in an ordered map under the case-insensitive component order, so that a list of
// tens of thousands of paths stores each component once per parent and a lookup costs
// a few ordered comparisons per component.
//
// A lookup without a value pointer deliberately changes the tree: a path that reaches
// a node which is only an ancestor of listed paths answers 0 and marks that node, so
// that every later question about the same path answers 1. That mark is the one write
// a lookup makes; it is an atomic byte store, so lookups from several threads need no
// lock. Inserting is not safe against concurrent use: the trees are filled once, before
// any lookup.
#ifndef VKLINKDB_PROTECT_PROTECTED_TREE_H_
#define VKLINKDB_PROTECT_PROTECTED_TREE_H_

#include <stdint.h>

#include <map>
#include <memory>
#include <string>

#include "ComponentOrder.h"

namespace vkl {
namespace protect {

// Texts are split in a work buffer of this size: a path must be shorter.
const size_t kWorkBufferSize = 260;

// Results of InsertProtectedPath: the operating system's codes.
const int kInserted = 0;
const int kAlreadyListed = 183;  // ERROR_ALREADY_EXISTS
const int kBadPath = 87;         // ERROR_INVALID_PARAMETER: no text
const int kPathTooLong = 206;    // ERROR_FILENAME_EXCED_RANGE: 260 characters or more

struct ComponentLess {
  typedef void is_transparent;
  bool operator()(const std::string& a, const std::string& b) const {
    return CompareComponents(a.c_str(), b.c_str()) < 0;
  }
  bool operator()(const char* a, const std::string& b) const { return CompareComponents(a, b.c_str()) < 0; }
  bool operator()(const std::string& a, const char* b) const { return CompareComponents(a.c_str(), b) < 0; }
};

struct ProtectedNode {
  std::map<std::string, std::unique_ptr<ProtectedNode>, ComponentLess> children;
  // Set when a listed line ends here (or a lookup reached this ancestor); read and
  // written atomically.
  unsigned char terminal = 0;
  // Given when the node was created by an insertion.
  uint32_t value = 0;
};

// Inserts `text` split at backslashes (empty components dropped); kInserted, or
// kAlreadyListed when the text was listed already. A text of 260 characters or more
// is not inserted (kPathTooLong); neither is a null one (kBadPath).
int InsertProtectedPath(ProtectedNode* root, const char* text, uint32_t value);

// 1 when `path` is listed. With a value pointer every path that reaches a node answers
// 1 and receives its value (0 when it answers 0), and the tree is not changed; without
// one, a reached node that is not terminal is marked terminal and the answer is 0 (see
// above). A path of 260 characters or more, or a null one, answers 0 and changes
// nothing.
unsigned char FindProtectedPath(ProtectedNode* root, const char* path, uint32_t* value);

// Number of nodes below `root` (the root not counted).
size_t CountNodes(const ProtectedNode& root);

}  // namespace protect
}  // namespace vkl

#endif  // VKLINKDB_PROTECT_PROTECTED_TREE_H_
