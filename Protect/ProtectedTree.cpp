// Insertion into and lookup in the protected component trees.
#include "ProtectedTree.h"

#include <string.h>

namespace vkl {
namespace protect {

namespace {

// Copies `text` into `work` and splits it in place at backslashes, dropping empty
// components, as strtok does with the separator "\" (but on the caller's own buffer,
// so that lookups on several threads do not share a position). Answers the number of
// components, or -1 when the text does not fit.
int Split(const char* text, char (&work)[kWorkBufferSize], char* (&parts)[kWorkBufferSize / 2 + 1]) {
  size_t length = strnlen(text, kWorkBufferSize);
  if (length >= kWorkBufferSize) return -1;
  memcpy(work, text, length + 1);
  int count = 0;
  char* p = work;
  for (;;) {
    while (*p == '\\') ++p;
    if (!*p) break;
    parts[count++] = p;
    while (*p && *p != '\\') ++p;
    if (!*p) break;
    *p++ = 0;
  }
  return count;
}

inline unsigned char TerminalOf(const ProtectedNode* node) {
  return __atomic_load_n(&node->terminal, __ATOMIC_RELAXED);
}

inline void MarkTerminal(ProtectedNode* node) { __atomic_store_n(&node->terminal, 1, __ATOMIC_RELAXED); }

}  // namespace

int InsertProtectedPath(ProtectedNode* root, const char* text, uint32_t value) {
  if (!root || !text) return kBadPath;
  char work[kWorkBufferSize];
  char* parts[kWorkBufferSize / 2 + 1];
  int count = Split(text, work, parts);
  if (count < 0) return kPathTooLong;

  ProtectedNode* node = root;
  bool created = false;
  for (int i = 0; i < count; ++i) {
    auto found = node->children.find(parts[i]);
    if (found != node->children.end()) {
      node = found->second.get();
      continue;
    }
    std::unique_ptr<ProtectedNode> child(new ProtectedNode);
    child->value = value;
    ProtectedNode* next = child.get();
    node->children.emplace(std::string(parts[i]), std::move(child));
    node = next;
    created = true;
  }
  if (!created && TerminalOf(node)) return kAlreadyListed;
  MarkTerminal(node);
  return kInserted;
}

unsigned char FindProtectedPath(ProtectedNode* root, const char* path, uint32_t* value) {
  if (value) *value = 0;
  if (!root || !path) return 0;
  char work[kWorkBufferSize];
  char* parts[kWorkBufferSize / 2 + 1];
  int count = Split(path, work, parts);
  if (count < 0) return 0;

  unsigned char result = 1;
  ProtectedNode* node = root;
  for (int i = 0; i < count; ++i) {
    auto found = node->children.find(parts[i]);
    if (found == node->children.end()) {
      result = 0;
      break;
    }
    node = found->second.get();
  }
  if (value) {
    *value = result ? node->value : 0;
  } else if (result && !TerminalOf(node)) {
    MarkTerminal(node);
    result = 0;
  }
  return result;
}

size_t CountNodes(const ProtectedNode& root) {
  size_t n = 0;
  for (const auto& child : root.children) n += 1 + CountNodes(*child.second);
  return n;
}

}  // namespace protect
}  // namespace vkl
