// The search, find, replace and compare families that UtilsString and UtilsByte share.
//
// Each works on one sequence, the current string of a UtilsString or the buffer of a
// UtilsByte. The caller keeps that sequence in place (UtilsString holds its array's
// lock, a UtilsByte's buffer never moves); these routines take the sequence's own lock
// for as long as they read or change it, so another thread cannot resize it under
// them. Texts taken from other objects arrive as private copies (see Copy), read under
// their owners' locks before any lock of ours is taken: no thread holds two objects'
// locks at once.
//
// The rules (case tests and mappings) are the calling object's, the cursors its fields:
// a find cursor counts occurrences, a replace cursor is the position reached.
#ifndef VKLINKDB_UTILS_CORE_TEXT_FAMILIES_H_
#define VKLINKDB_UTILS_CORE_TEXT_FAMILIES_H_

#include <string>
#include <vector>

#include "CSyncObject"
#include "UtilsBase"
#include "UtilsVector"

namespace UTILS {

template <class T>
class TextFamilies {
 public:
  TextFamilies(const UtilsBase<T>& rules, MemObject<T>& text) : m_Rules(rules), m_Text(text) {}

  // A private copy of a sequence of another object, with one T() after it.
  static std::vector<T> Copy(const MemObject<T>& other) { return other.Contents(); }

  // Our sequence against other (n elements; 0: the length rule), ours first; with
  // friendOrder, other first.
  int Compare(const T* other, unsigned long n, int caseFlag, int matchStyle,
              int friendOrder) const {
    ScopedLock hold(m_Text.GetLock());
    const T* mine = m_Text.Data();
    if (friendOrder)
      return m_Rules.compare(other, mine, caseFlag, matchStyle, n, m_Text.Length());
    return m_Rules.compare(mine, other, caseFlag, matchStyle, m_Text.Length(), n);
  }

  // The (occurrence+1)-th occurrence of needle (n elements); its offset in position.
  int Search(const T* needle, unsigned long n, int caseFlag, unsigned long occurrence,
             unsigned long& position) const {
    ScopedLock hold(m_Text.GetLock());
    const T* data = m_Text.Data();
    return m_Rules.search(needle, needle + n, data, data + m_Text.Length(), position, caseFlag,
                          occurrence);
  }

  // FindFirst (first non-zero: the cursor starts again at 0) or FindNext (the cursor
  // moves on by one); position receives the offset of that occurrence.
  int Find(const T* needle, unsigned long n, int caseFlag, int first, unsigned long& cursor,
           unsigned long& position) const {
    if (first)
      cursor = 0;
    else
      ++cursor;
    if (!needle) return 0;
    unsigned long found = 0;
    if (!Search(needle, n, caseFlag, cursor, found)) return 0;
    position = found;
    return 1;
  }

  // 0 when there is no first occurrence; else every further one is visited, the
  // cursor is left at 0 and the result is 1.
  int FindAll(const T* needle, unsigned long n, int caseFlag, unsigned long& cursor) const {
    unsigned long position = 0;
    if (!Find(needle, n, caseFlag, 1, cursor, position)) return 0;
    while (Find(needle, n, caseFlag, 0, cursor, position)) {
    }
    cursor = 0;
    return 1;
  }

  // ReplaceFirst (first non-zero: from the start) or ReplaceNext (from the cursor).
  int Replace(const T* old, unsigned long n, const T* fresh, unsigned long m, int caseFlag,
              int first, unsigned long& cursor) const {
    if (first) cursor = 0;
    return m_Text.ReplaceOccurrence(old, n, fresh, m, cursor, caseFlag, &m_Rules);
  }

  int ReplaceAll(const T* old, unsigned long n, const T* fresh, unsigned long m, int caseFlag,
                 unsigned long& cursor) const {
    if (!Replace(old, n, fresh, m, caseFlag, 1, cursor)) return 0;
    while (Replace(old, n, fresh, m, caseFlag, 0, cursor)) {
    }
    return 1;
  }

 private:
  const UtilsBase<T>& m_Rules;
  MemObject<T>& m_Text;
};

// A private copy of the text of a MemObject<char> of another object.
inline std::string TextOf(const MemObject<char>& text) {
  std::vector<char> copy = text.Contents();
  return std::string(copy.data(), copy.size() - 1);
}

}  // namespace UTILS

#endif  // VKLINKDB_UTILS_CORE_TEXT_FAMILIES_H_
