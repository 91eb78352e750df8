// UtilsStringList and the exported container instances over UtilsString.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
// The container instances are defined before the list class is seen, so that they
// are instantiated here, exported, rather than implicitly by the class definition.
#include "UtilsList"
#include "UtilsString"
#include "UtilsVector"

namespace UTILS {

template class UTILS_API UtilsBase<UtilsString>;
template class UTILS_API UtilsAllocator<UtilsString>;
template class UTILS_API MemObject<UtilsString>;
template class UTILS_API Node<UtilsString>;
template class UTILS_API ListObject<UtilsString>;
template class UTILS_API MapNode<int, UtilsString>;
template class UTILS_API MapObject<int, UtilsString>;
template class UTILS_API UtilsAllocator<MemObject<UtilsString> >;
template class UTILS_API UtilsAllocator<MemObject<UtilsString>*>;
template class UTILS_API UtilsAllocator<ListObject<UtilsString> >;
template class UTILS_API UtilsAllocator<MapObject<int, UtilsString> >;
template class UTILS_API Utils<UtilsString, int>;

}  // namespace UTILS

#include "TextFamilies.h"
#include "UtilsStringList"

namespace UTILS {

void UtilsStringList::Init() {
  m_ulSpare = 0;
  m_ulCurrent = 0;
  m_iCase = 1;
  m_iMatchStyle = 0;
}

void UtilsStringList::CopyData(const UtilsStringList& other) {
  // The strings and the fields are read in one step under the other list's lock, and
  // put in place under ours.
  MapObject<int, UtilsString> strings;
  unsigned long spare, current;
  int caseFlag, matchStyle;
  {
    ScopedLock theirs(other.m_Lock);
    strings = other.m_List;
    spare = other.m_ulSpare;
    current = other.m_ulCurrent;
    caseFlag = other.m_iCase;
    matchStyle = other.m_iMatchStyle;
  }
  ScopedLock mine(m_Lock);
  m_List = std::move(strings);
  m_ulSpare = spare;
  m_ulCurrent = current;
  m_iCase = caseFlag;
  m_iMatchStyle = matchStyle;
}

UtilsStringList::UtilsStringList() { Init(); }

UtilsStringList::UtilsStringList(const UtilsString& text) {
  Init();
  AddString(text);
}

UtilsStringList::UtilsStringList(const UtilsStringList& other)
    : UtilsBase<UtilsString>(other), Utils<UtilsString, int>() {
  Init();
  CopyData(other);
}

UtilsStringList::UtilsStringList(UtilsStringList&& other) noexcept
    : UtilsBase<UtilsString>(other), Utils<UtilsString, int>() {
  Init();
  *this = std::move(other);
}

const UtilsStringList& UtilsStringList::operator=(const UtilsStringList& other) {
  if (this != &other) CopyData(other);
  return *this;
}

const UtilsStringList& UtilsStringList::operator=(UtilsStringList&& other) noexcept {
  if (this == &other) return *this;
  MapObject<int, UtilsString> strings;
  unsigned long current;
  int caseFlag, matchStyle;
  {
    ScopedLock theirs(other.m_Lock);
    strings = std::move(other.m_List);
    current = other.m_ulCurrent;
    caseFlag = other.m_iCase;
    matchStyle = other.m_iMatchStyle;
    other.m_ulCurrent = 0;
  }
  ScopedLock mine(m_Lock);
  m_List = std::move(strings);
  m_ulCurrent = current;
  m_iCase = caseFlag;
  m_iMatchStyle = matchStyle;
  return *this;
}

UtilsStringList::~UtilsStringList() {}

UtilsString UtilsStringList::Stored(const UtilsString& text) const {
  UtilsString copy(text);
  copy.SetCase(m_iCase);
  copy.SetMatchStyle(m_iMatchStyle);
  return copy;
}

UtilsString& UtilsStringList::At(unsigned long position) {
  m_ulCurrent = position;
  return m_List.At(position);
}

const UtilsString& UtilsStringList::CurrentValue() const { return m_List.At(m_ulCurrent); }

// ---- adding and removing ----------------------------------------------------------

const UtilsStringList& UtilsStringList::AddString(const UtilsString& text) {
  UtilsString stored = Stored(text);  // text may be one of our own strings
  ScopedLock list(m_Lock);
  m_List.AddTail(std::move(stored));
  return *this;
}

const UtilsStringList& UtilsStringList::AddStringSorted(const UtilsString& text) {
  UtilsString stored = Stored(text);
  ScopedLock list(m_Lock);
  m_List.AddSorted(stored, m_iCase);
  return *this;
}

const UtilsStringList& UtilsStringList::RemoveString() {
  ScopedLock list(m_Lock);
  return RemoveString(m_ulCurrent);
}

const UtilsStringList& UtilsStringList::RemoveString(unsigned long position) {
  ScopedLock list(m_Lock);
  m_List.RemoveAt(position);
  if (m_ulCurrent >= m_List.Count() && m_ulCurrent > 0) m_ulCurrent = m_List.Count() ? m_List.Count() - 1 : 0;
  return *this;
}

const UtilsStringList& UtilsStringList::RemoveAllStrings() {
  ScopedLock list(m_Lock);
  m_List.RemoveAll();
  m_ulCurrent = 0;
  return *this;
}

// ---- appending to one string --------------------------------------------------------

// Each member holds the list's lock while it uses a stored string, so that a string
// removed on another thread cannot vanish under it. A value taken from another list is
// copied out first, before our lock is taken.
#define UTILS_LIST_APPENDS(TYPE, VALUE)                                                   \
  const UtilsStringList& UtilsStringList::Append(TYPE value) {                            \
    return Append(m_ulCurrent, value);                                                    \
  }                                                                                       \
  const UtilsStringList& UtilsStringList::Append(unsigned long position, TYPE value) {    \
    VALUE;                                                                                \
    ScopedLock list(m_Lock);                                                              \
    At(position).Append(held);                                                            \
    return *this;                                                                         \
  }                                                                                       \
  const UtilsStringList& UtilsStringList::operator+=(TYPE value) { return Append(value); }
UTILS_LIST_APPENDS(const char*, const char* held = value)
UTILS_LIST_APPENDS(const std::string&, const std::string& held = value)
UTILS_LIST_APPENDS(const std::wstring&, const std::wstring& held = value)
UTILS_LIST_APPENDS(const UtilsString&, std::string held = value.GetSTLString())
UTILS_LIST_APPENDS(const UtilsStringList&, std::string held = value.RetrieveUString().GetSTLString())
UTILS_LIST_APPENDS(unsigned long, unsigned long held = value)
UTILS_LIST_APPENDS(double, double held = value)
#undef UTILS_LIST_APPENDS

#define UTILS_LIST_EDITS(TYPE, VALUE)                                                      \
  const UtilsStringList& UtilsStringList::Insert(TYPE text, unsigned long offset) {        \
    return Insert(m_ulCurrent, text, offset);                                              \
  }                                                                                        \
  const UtilsStringList& UtilsStringList::Insert(unsigned long position, TYPE text,        \
                                                 unsigned long offset) {                   \
    VALUE;                                                                                 \
    ScopedLock list(m_Lock);                                                               \
    At(position).Insert(held, offset);                                                     \
    return *this;                                                                          \
  }                                                                                        \
  const UtilsStringList& UtilsStringList::Replace(TYPE text, unsigned long offset) {       \
    return Replace(m_ulCurrent, text, offset);                                             \
  }                                                                                        \
  const UtilsStringList& UtilsStringList::Replace(unsigned long position, TYPE text,       \
                                                  unsigned long offset) {                  \
    VALUE;                                                                                 \
    ScopedLock list(m_Lock);                                                               \
    At(position).Replace(held, offset);                                                    \
    return *this;                                                                          \
  }
UTILS_LIST_EDITS(const char*, const char* held = text)
UTILS_LIST_EDITS(const std::string&, const std::string& held = text)
UTILS_LIST_EDITS(const MemObject<char>&, std::string held = TextOf(text))
UTILS_LIST_EDITS(const UtilsString&, std::string held = text.GetSTLString())
UTILS_LIST_EDITS(const UtilsStringList&, std::string held = text.RetrieveUString().GetSTLString())
#undef UTILS_LIST_EDITS

// ---- position and access --------------------------------------------------------------

const UtilsStringList& UtilsStringList::SetCurrentString(unsigned long position) {
  m_ulCurrent = position;
  return *this;
}
UtilsStringList& UtilsStringList::operator[](int position) {
  m_ulCurrent = static_cast<unsigned long>(position);
  return *this;
}
UtilsStringList& UtilsStringList::operator[](long position) {
  m_ulCurrent = static_cast<unsigned long>(position);
  return *this;
}
UtilsStringList& UtilsStringList::operator[](unsigned int position) {
  m_ulCurrent = position;
  return *this;
}
UtilsStringList& UtilsStringList::operator[](unsigned long position) {
  m_ulCurrent = position;
  return *this;
}

UtilsString* UtilsStringList::RetrieveString() { return RetrieveString(m_ulCurrent); }
UtilsString* UtilsStringList::RetrieveString(unsigned long position) {
  ScopedLock list(m_Lock);
  return &At(position);
}
UtilsString UtilsStringList::RetrieveUString() const {
  ScopedLock list(m_Lock);
  return CurrentValue();
}
UtilsString UtilsStringList::RetrieveUString(unsigned long position) {
  ScopedLock list(m_Lock);
  return At(position);
}
UtilsStringList::operator UtilsString() const { return RetrieveUString(); }
const char* UtilsStringList::Retrieve() const {
  ScopedLock list(m_Lock);
  return CurrentValue().c_str();
}
const char* UtilsStringList::Retrieve(unsigned long position) {
  ScopedLock list(m_Lock);
  return At(position).c_str();
}
UtilsStringList::operator const char*() const { return Retrieve(); }
unsigned long UtilsStringList::length() const {
  ScopedLock list(m_Lock);
  return CurrentValue().length();
}
unsigned long UtilsStringList::length(unsigned long position) {
  ScopedLock list(m_Lock);
  return At(position).length();
}
unsigned long UtilsStringList::strlen() const { return length(); }
unsigned long UtilsStringList::strlen(unsigned long position) { return length(position); }
unsigned long UtilsStringList::size() const { return m_List.Count(); }
unsigned long UtilsStringList::GetNumberOfStrings() const { return m_List.Count(); }

// ---- settings and searches -------------------------------------------------------------

const int UtilsStringList::SetCase(int caseFlag) {
  if (caseFlag != m_iCase) m_List.ClearSorted();
  m_iCase = caseFlag;
  return 1;
}
const int UtilsStringList::GetCase() const { return m_iCase; }
const int UtilsStringList::SetMatchStyle(int matchStyle) {
  m_iMatchStyle = matchStyle;
  return 1;
}
const int UtilsStringList::GetMatchStyle() const { return m_iMatchStyle; }
const int UtilsStringList::SetSearchDirection(int direction) {
  m_List.SetSearchDirection(direction);
  return 1;
}

unsigned long UtilsStringList::SearchList(const UtilsString& text, int method,
                                          unsigned long occurrence) {
  if (m_List.Count() == 0) return NOT_FOUND;
  UtilsString stored = Stored(text);
  ScopedLock list(m_Lock);
  return m_List.SearchList(stored, method, occurrence, m_iCase, m_iMatchStyle);
}

const int UtilsStringList::SearchListItem(const UtilsString& text, int occurrence,
                                          int ignoreCase) {
  return SearchListItem(m_ulCurrent, text, occurrence, ignoreCase);
}

const int UtilsStringList::SearchListItem(unsigned long position, const UtilsString& text,
                                          int occurrence, int ignoreCase) {
  UtilsString item;
  {
    ScopedLock list(m_Lock);
    item = At(position);
  }
  if (ignoreCase) item.SetCase(0);
  else if (item.GetCase() != 0) item.SetCase(1);
  std::string needle = text.GetSTLString();
  return item.Search(needle.c_str(), static_cast<unsigned long>(occurrence));
}

const int UtilsStringList::ReplaceAllInCurrentString(const char* old, char* fresh, int flag) {
  ScopedLock list(m_Lock);
  return At(m_ulCurrent).ReplaceAll(old, fresh, flag);
}

const int UtilsStringList::ReplaceAllInList(const char* old, char* fresh, int flag) {
  ScopedLock list(m_Lock);
  int any = 0;
  for (unsigned long i = 0; i < m_List.Count(); ++i)
    if (m_List.At(i).ReplaceAll(old, fresh, flag)) any = 1;
  if (any) m_List.ClearSorted();
  return any;
}

const UtilsStringList& UtilsStringList::SplitData(const UtilsString& text, int skipEmpty,
                                                  int append, int sorted) {
  UtilsString pieces(text);  // text may be one of our own strings
  if (!append) RemoveAllStrings();
  for (unsigned long i = 0; i < pieces.GetNumberOfStrings(); ++i) {
    UtilsString piece(pieces.GetStringNumber(i));
    if (skipEmpty && !piece) continue;
    if (sorted) {
      AddStringSorted(piece);
    } else {
      piece.SetCase(m_iCase);  // made as AddString would store it, then moved in
      piece.SetMatchStyle(m_iMatchStyle);
      ScopedLock list(m_Lock);
      m_List.AddTail(std::move(piece));
    }
  }
  return *this;
}

const UtilsStringList& UtilsStringList::SplitData(const UtilsString& text,
                                                  const UtilsString& separators, int skipEmpty,
                                                  int append, int sorted) {
  UtilsString pieces;
  text.SplitData(pieces, separators, skipEmpty);
  if (skipEmpty && pieces.GetNumberOfStrings() == 1 && !pieces) {
    if (!append) RemoveAllStrings();
    return *this;
  }
  return SplitData(pieces, skipEmpty, append, sorted);
}

const UtilsStringList& UtilsStringList::Sort(unsigned long descending) {
  ScopedLock list(m_Lock);
  m_List.Sort(descending, m_iCase);
  return *this;
}

// ---- comparison ---------------------------------------------------------------------------

int UtilsStringList::CompareText(const char* text, unsigned long n) const {
  ScopedLock list(m_Lock);
  const UtilsString& mine = CurrentValue();
  return mine.compare(mine.c_str(), text, m_iCase, m_iMatchStyle, mine.length(), n);
}
int UtilsStringList::FriendCompareText(const char* text, unsigned long n) const {
  ScopedLock list(m_Lock);
  const UtilsString& mine = CurrentValue();
  return mine.compare(text, mine.c_str(), m_iCase, m_iMatchStyle, n, mine.length());
}

// HOLD makes a private copy of a text owned by another object before our lock is taken.
#define UTILS_LIST_COMPARES(TYPE, HOLD, PTR, LEN)                                     \
  int UtilsStringList::Compare(TYPE text) const {                                     \
    HOLD;                                                                             \
    return CompareText(PTR, LEN);                                                     \
  }                                                                                   \
  int UtilsStringList::FriendCompare(TYPE text) const {                               \
    HOLD;                                                                             \
    return FriendCompareText(PTR, LEN);                                               \
  }                                                                                   \
  int UtilsStringList::operator==(TYPE text) const { return Compare(text) == 0; }    \
  int UtilsStringList::operator!=(TYPE text) const { return Compare(text) != 0; }    \
  int UtilsStringList::operator<(TYPE text) const { return Compare(text) < 0; }      \
  int UtilsStringList::operator<=(TYPE text) const { return Compare(text) <= 0; }    \
  int UtilsStringList::operator>(TYPE text) const { return Compare(text) > 0; }      \
  int UtilsStringList::operator>=(TYPE text) const { return Compare(text) >= 0; }
UTILS_LIST_COMPARES(const UtilsStringList&,
                    std::string held = text.RetrieveUString().GetSTLString(), held.c_str(),
                    held.size())
UTILS_LIST_COMPARES(const UtilsString&, std::string held = text.GetSTLString(), held.c_str(),
                    held.size())
UTILS_LIST_COMPARES(const char*, (void)0, text, 0)
UTILS_LIST_COMPARES(const std::string&, (void)0, text.c_str(), text.size())
UTILS_LIST_COMPARES(const MemObject<char>&, std::string held = TextOf(text), held.c_str(),
                    held.size())
#undef UTILS_LIST_COMPARES

const char* UtilsStringList::derived_class() const { return ReadableTypeName(typeid(*this)); }

}  // namespace UTILS
