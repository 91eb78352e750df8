// The text of a protected list, from its decompressed bytes to the component tree:
// the resource payload's header, the line reading, the expansion of file lines into
// full paths and the insertion of every line.
//
// The reading keeps the quirks that the lists' consumers depend on:
//  - lines end at LF; a CR before it stays in the line, so that every registry line's
//    last component ends in a CR (a key listed only as a leaf never matches a clean
//    key name; its ancestors, listed as clean components, do);
//  - the state is tested before each read, so the read that meets the end of the text
//    yields one more, empty, line, which is expanded and inserted like the others;
//  - the line buffer is reused and never cleared: a file line shorter than its variable
//    picks up what an earlier line left in the buffer.
#ifndef VKLINKDB_PROTECT_LIST_TEXT_H_
#define VKLINKDB_PROTECT_LIST_TEXT_H_

#include <stddef.h>
#include <stdint.h>

#include "ProtectedTree.h"

namespace vkl {
namespace protect {

// Resource payload: the uncompressed length (unsigned 32-bit little-endian), then a raw
// deflate stream. The output buffer holds the length plus this many zero bytes.
const size_t kPayloadHeaderSize = 4;
const uint32_t kOutputSlack = 10;

inline uint32_t PayloadLength(const unsigned char* payload) {
  return static_cast<uint32_t>(payload[0]) | static_cast<uint32_t>(payload[1]) << 8 |
         static_cast<uint32_t>(payload[2]) << 16 | static_cast<uint32_t>(payload[3]) << 24;
}

// One line is read into a buffer of this size (at most one less characters).
const size_t kLineBufferSize = 8192;
// The directories are kept in buffers of this size, each ending in a backslash.
const size_t kDirectoryBufferSize = 260;

// The two variables a file line may begin with.
extern const char kWindowsDirVariable[];  // "%WindowsDir%\" (13 characters)
extern const char kSystemDirVariable[];   // "%SystemDir%\" (12 characters)

// The Windows and System directories that file lines are expanded with.
struct ListDirectories {
  char windowsDir[kDirectoryBufferSize] = {0};
  char systemDir[kDirectoryBufferSize] = {0};
  size_t windowsLength = 0;
  size_t systemLength = 0;
  // The System directory begins with the Windows directory (compared ignoring case over
  // the Windows directory's length). Recorded; nothing reads it.
  int systemInWindows = 0;
};

// Ends a non-empty directory text with a backslash (within its 260-byte buffer) and
// answers its length.
size_t EndWithBackslash(char* directory);

// Fills both directories from the texts the system gave (null or empty when it failed).
void SetListDirectories(ListDirectories& dirs, const char* windowsDir, const char* systemDir);

// Expands a file line in place (the buffer is kLineBufferSize bytes): the Windows
// directory in place of a leading "%WindowsDir%\" (any case), otherwise the System
// directory in place of the first 12 characters, whatever they are; then every
// trailing character below 32 taken as a signed byte (controls, and 128 to 255) goes.
void ExpandFileLine(char* line, const ListDirectories& dirs);

enum ListKind { kFileList, kKeyList };

// Reads the zero-terminated `text` line by line into `tree` (file lines expanded with
// `dirs` first); answers the number of lines inserted, the final empty one included.
size_t LoadListText(ProtectedNode* tree, const char* text, ListKind kind, const ListDirectories& dirs);

}  // namespace protect
}  // namespace vkl

#endif  // VKLINKDB_PROTECT_LIST_TEXT_H_
