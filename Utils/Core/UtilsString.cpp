// UtilsString: the set-of-strings text type.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "UtilsString"

#include <cstdio>
#include <cstring>
#include <cwctype>
#include <stdexcept>

#include "TextFamilies.h"
#include "UtilsByte"

namespace UTILS {

namespace {

// A conversion buffer shared by every UtilsString of the process. Its contents belong
// to whichever call wrote last, but its memory is guarded: it is created, resized and
// written only under SharedBufferLock(), it only grows, and it keeps the blocks it
// outgrows instead of freeing them, so a pointer handed out earlier stays readable for
// the length it was handed out for. Growing at least twofold keeps the blocks kept
// smaller, together, than the one in use. Neither the buffers nor their lock are ever
// freed: they may be used until the very end of the process.
template <class T>
class SharedBuffer {
 public:
  SharedBuffer() : m_pBlock(0) {}
  T* Block() const { return m_pBlock ? m_pBlock->GetBlock() : 0; }
  unsigned long Count() const { return m_pBlock ? m_pBlock->GetCount() : 0; }
  // Makes the block hold at least count elements.
  void Reserve(unsigned long count) {
    if (count <= Count()) return;
    if (m_pBlock && count / 2 < Count()) count = 2 * Count();
    UtilsAllocator<T>* larger = new UtilsAllocator<T>(count);
    if (m_pBlock) m_vOutgrown.push_back(m_pBlock);
    m_pBlock = larger;
  }

 private:
  UtilsAllocator<T>* m_pBlock;
  std::vector<UtilsAllocator<T>*> m_vOutgrown;
};

CCriticalSection& SharedBufferLock() {
  static CCriticalSection* lock = new CCriticalSection;
  return *lock;
}
SharedBuffer<unsigned short>& WideBuffer() {
  static SharedBuffer<unsigned short>* buffer = new SharedBuffer<unsigned short>;
  return *buffer;
}
SharedBuffer<unsigned char>& ByteBuffer() {
  static SharedBuffer<unsigned char>* buffer = new SharedBuffer<unsigned char>;
  return *buffer;
}

const DWORD kWideToNarrowFlags = 544;  // WC_COMPOSITECHECK | WC_SEPCHARS
const DWORD kNarrowToWideFlags = 9;    // MB_PRECOMPOSED | MB_USEGLYPHCHARS

const unsigned short* WideOf(const std::wstring& text) {
  return reinterpret_cast<const unsigned short*>(text.c_str());
}

std::wstring WideFromNarrow(const char* text, unsigned long n) {
  if (n == 0) return std::wstring();
  int needed = MultiByteToWideChar(GetACP(), kNarrowToWideFlags, text, static_cast<int>(n), 0, 0);
  if (needed <= 0) return std::wstring();
  std::wstring out(static_cast<size_t>(needed), L'\0');
  MultiByteToWideChar(GetACP(), kNarrowToWideFlags, text, static_cast<int>(n), &out[0], needed);
  return out;
}

}  // namespace

std::string NarrowFromWide(const unsigned short* text) {
  if (!text) return std::string();
  const wchar_t* wide = reinterpret_cast<const wchar_t*>(text);
  int size = WideCharToMultiByte(GetACP(), kWideToNarrowFlags, wide, -1, 0, 0, 0, 0);
  if (size <= 0) return std::string();
  std::vector<char> buffer(static_cast<size_t>(size) + 1, '\0');
  if (WideCharToMultiByte(GetACP(), kWideToNarrowFlags, wide, -1, &buffer[0], size, 0, 0) <= 0)
    return std::string();
  return std::string(&buffer[0]);
}

// ---- construction -------------------------------------------------------------

void UtilsString::Init(unsigned long count) {
  m_ulFindCursor = 0;
  m_ulParseCursor = 0;
  m_ulFastCursor = 0;
  m_ulFastOffset = 0;
  m_ulReplaceCursor = 0;
  m_ulNumStrings = count == 0 ? 1 : count;
  m_ulCurrent = 0;
  m_iMatchStyle = 0;
  m_iCase = 1;
}

struct UtilsString::Fields {
  unsigned long findCursor, parseCursor, fastCursor, fastOffset, replaceCursor;
  unsigned long numStrings, current;
  int matchStyle, caseFlag;
};

void UtilsString::GetFields(Fields& fields) const {
  fields.findCursor = m_ulFindCursor;
  fields.parseCursor = m_ulParseCursor;
  fields.fastCursor = m_ulFastCursor;
  fields.fastOffset = m_ulFastOffset;
  fields.replaceCursor = m_ulReplaceCursor;
  fields.numStrings = m_ulNumStrings;
  fields.current = m_ulCurrent;
  fields.matchStyle = m_iMatchStyle;
  fields.caseFlag = m_iCase;
}

void UtilsString::SetFields(const Fields& fields) {
  m_ulFindCursor = fields.findCursor;
  m_ulParseCursor = fields.parseCursor;
  m_ulFastCursor = fields.fastCursor;
  m_ulFastOffset = fields.fastOffset;
  m_ulReplaceCursor = fields.replaceCursor;
  m_ulNumStrings = fields.numStrings;
  m_ulCurrent = fields.current;
  m_iMatchStyle = fields.matchStyle;
  m_iCase = fields.caseFlag;
}

void UtilsString::CopyData(const UtilsString& other) {
  // The strings and the fields that describe them (count, current index, cursors) are
  // read in one step under the source's lock, then put in place under ours.
  Fields fields;
  Store* store;
  {
    ScopedLock theirs(other.m_Lock);
    store = other.CopyStore();
    other.GetFields(fields);
  }
  Store* old;
  {
    ScopedLock mine(m_Lock);
    old = ExchangeStore(store);
    SetFields(fields);
  }
  FreeStore(old);
}

Utils<char, int>::Store* UtilsString::TakeAll(Fields& fields) {
  ScopedLock strings(m_Lock);
  GetFields(fields);
  // No store stands for one empty string; it is made again on first use.
  Store* store = ExchangeStore(0);
  m_ulNumStrings = 1;
  m_ulCurrent = 0;
  m_ulFindCursor = m_ulParseCursor = m_ulFastCursor = m_ulFastOffset = m_ulReplaceCursor = 0;
  return store;
}

UtilsString::UtilsString(unsigned long count) {
  Init(count);
  Create(m_ulNumStrings);
}

UtilsString::UtilsString(int count) {
  Init(count < 0 ? 1 : static_cast<unsigned long>(count));
  Create(m_ulNumStrings);
}

UtilsString::UtilsString(const char* text, unsigned long count) {
  Init(count);
  Create(m_ulNumStrings, text, text ? ::strlen(text) : 0);
}

UtilsString::UtilsString(const std::string& text, unsigned long count) {
  Init(count);
  Create(m_ulNumStrings, text.empty() ? 0 : text.c_str(), text.size());
}

UtilsString::UtilsString(const std::wstring& text, unsigned long count) {
  Init(count);
  std::string narrow = NarrowFromWide(WideOf(text));
  Create(m_ulNumStrings, narrow.empty() ? 0 : narrow.c_str(), narrow.size());
}

UtilsString::UtilsString(const unsigned short* text, unsigned long count) {
  Init(count);
  std::string narrow = NarrowFromWide(text);
  Create(m_ulNumStrings, narrow.empty() ? 0 : narrow.c_str(), narrow.size());
}

UtilsString::UtilsString(const MemObject<char>& text, unsigned long count) {
  Init(count);
  std::string copy = TextOf(text);
  Create(m_ulNumStrings, copy.empty() ? 0 : copy.c_str(), copy.size());
}

UtilsString::UtilsString(const UtilsString& other)
    : UtilsBase<char>(other), Utils<char, int>() {
  Init(1);
  CopyData(other);
}

UtilsString::UtilsString(UtilsString&& other) noexcept
    : UtilsBase<char>(other), Utils<char, int>() {
  Init(1);
  Fields fields;
  m_pStore = other.TakeAll(fields);
  SetFields(fields);
}

UtilsString::~UtilsString() {}

MemObject<char>& UtilsString::Current() { return Element(m_ulCurrent); }
const MemObject<char>& UtilsString::Current() const { return Element(m_ulCurrent); }

// ---- assignment -----------------------------------------------------------------

const UtilsString& UtilsString::operator=(const UtilsString& other) {
  if (this != &other) CopyData(other);
  return *this;
}

const UtilsString& UtilsString::operator=(UtilsString&& other) noexcept {
  if (this == &other) return *this;
  Fields fields;
  Store* store = other.TakeAll(fields);
  Store* old;
  {
    ScopedLock mine(m_Lock);
    old = ExchangeStore(store);
    SetFields(fields);
  }
  FreeStore(old);
  return *this;
}

const UtilsString& UtilsString::operator=(const char* text) {
  ScopedLock strings(m_Lock);
  Current().Assign(text, text ? ::strlen(text) : 0);
  return *this;
}
const UtilsString& UtilsString::operator=(const std::string& text) {
  ScopedLock strings(m_Lock);
  Current().Assign(text.c_str(), text.size());
  return *this;
}
const UtilsString& UtilsString::operator=(const std::wstring& text) {
  return ConvertFromWideChar(WideOf(text), 0);
}
const UtilsString& UtilsString::operator=(const unsigned short* text) {
  return ConvertFromWideChar(text, 0);
}
const UtilsString& UtilsString::operator=(const MemObject<char>& text) {
  std::string copy = TextOf(text);
  ScopedLock strings(m_Lock);
  Current().Assign(copy.c_str(), copy.size());
  return *this;
}

void UtilsString::AssignStrings(const std::vector<std::string>& texts) {
  // The new set is made whole first, sized once, and then put in place in one step.
  unsigned long count = texts.empty() ? 1 : static_cast<unsigned long>(texts.size());
  Store* store = new Store(count);
  try {
    for (unsigned long i = 0; i < count; ++i)
      (*store)[i] = texts.empty() ? new MemObject<char>()
                                  : new MemObject<char>(texts[i].c_str(), texts[i].size());
  } catch (...) {
    FreeStore(store);
    throw;
  }
  Store* old;
  {
    ScopedLock strings(m_Lock);
    old = ExchangeStore(store);
    m_ulNumStrings = count;
    m_ulCurrent = 0;
    m_ulFindCursor = m_ulParseCursor = m_ulFastCursor = m_ulFastOffset = m_ulReplaceCursor = 0;
  }
  FreeStore(old);
}

const UtilsString& UtilsString::operator=(std::vector<char*>& texts) {
  std::vector<std::string> copies;
  copies.reserve(texts.size());
  for (size_t i = 0; i < texts.size(); ++i) copies.push_back(texts[i] ? texts[i] : "");
  AssignStrings(copies);
  return *this;
}
const UtilsString& UtilsString::operator=(std::vector<std::string>& texts) {
  AssignStrings(texts);
  return *this;
}
const UtilsString& UtilsString::operator=(std::vector<std::wstring>& texts) {
  std::vector<std::string> copies;
  copies.reserve(texts.size());
  for (size_t i = 0; i < texts.size(); ++i) copies.push_back(NarrowFromWide(WideOf(texts[i])));
  AssignStrings(copies);
  return *this;
}
const UtilsString& UtilsString::operator=(std::vector<UtilsString>& texts) {
  std::vector<std::string> copies;
  copies.reserve(texts.size());
  for (size_t i = 0; i < texts.size(); ++i) copies.push_back(texts[i].GetSTLString());
  AssignStrings(copies);
  return *this;
}

// ---- append, insert, replace ----------------------------------------------------

const UtilsString& UtilsString::AppendText(const char* text, unsigned long n) {
  if (!text || !n) return *this;
  ScopedLock strings(m_Lock);
  Current().Append(text, n);
  return *this;
}

const UtilsString& UtilsString::Append(const char* value) {
  return AppendText(value, value ? ::strlen(value) : 0);
}
const UtilsString& UtilsString::Append(const UtilsString& value) {
  std::string copy = value.GetSTLString();  // whole, under its own lock (it may be us)
  return AppendText(copy.c_str(), copy.size());
}
const UtilsString& UtilsString::Append(const std::string& value) {
  return AppendText(value.c_str(), value.size());
}
const UtilsString& UtilsString::Append(const std::wstring& value) {
  return ConvertFromWideChar(WideOf(value), 1);
}
const UtilsString& UtilsString::Append(const unsigned short* value) {
  return ConvertFromWideChar(value, 1);
}
const UtilsString& UtilsString::Append(const MemObject<char>& value) {
  std::string copy = TextOf(value);
  return AppendText(copy.c_str(), copy.size());
}
const UtilsString& UtilsString::Append(char value) {
  char text[8];
  std::snprintf(text, sizeof text, "%c", value);
  return AppendText(text, ::strlen(text));
}
const UtilsString& UtilsString::Append(int value) {
  char text[32];
  std::snprintf(text, sizeof text, "%ld", static_cast<long>(value));
  return AppendText(text, ::strlen(text));
}
const UtilsString& UtilsString::Append(unsigned long value) {
  char text[32];
  std::snprintf(text, sizeof text, "%lu", value);
  return AppendText(text, ::strlen(text));
}
const UtilsString& UtilsString::Append(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.15g", value);
  return AppendText(text, ::strlen(text));
}

#define UTILS_STRING_PLUS(TYPE) \
  const UtilsString& UtilsString::operator+=(TYPE value) { return Append(value); }
UTILS_STRING_PLUS(const char*)
UTILS_STRING_PLUS(const UtilsString&)
UTILS_STRING_PLUS(const std::string&)
UTILS_STRING_PLUS(const std::wstring&)
UTILS_STRING_PLUS(const unsigned short*)
UTILS_STRING_PLUS(const MemObject<char>&)
UTILS_STRING_PLUS(char)
UTILS_STRING_PLUS(int)
UTILS_STRING_PLUS(unsigned long)
UTILS_STRING_PLUS(double)
#undef UTILS_STRING_PLUS

// HOLD makes a private copy of a text owned by another object before our lock is taken.
#define UTILS_STRING_EDITS(TYPE, HOLD, PTR, LEN)                                    \
  const UtilsString& UtilsString::Insert(TYPE text, unsigned long position) {       \
    HOLD;                                                                           \
    return EditText(PTR, LEN, position, 0);                                         \
  }                                                                                 \
  const UtilsString& UtilsString::Replace(TYPE text, unsigned long position) {      \
    HOLD;                                                                           \
    return EditText(PTR, LEN, position, 1);                                         \
  }
UTILS_STRING_EDITS(const char*, (void)0, text, (text ? ::strlen(text) : 0))
UTILS_STRING_EDITS(const UtilsString&, std::string held = text.GetSTLString(), held.c_str(),
                   held.size())
UTILS_STRING_EDITS(const std::string&, (void)0, text.c_str(), text.size())
UTILS_STRING_EDITS(const std::wstring&, std::string held = NarrowFromWide(WideOf(text)),
                   held.c_str(), held.size())
UTILS_STRING_EDITS(const unsigned short*, std::string held = NarrowFromWide(text), held.c_str(),
                   held.size())
UTILS_STRING_EDITS(const MemObject<char>&, std::string held = TextOf(text), held.c_str(),
                   held.size())
#undef UTILS_STRING_EDITS

const UtilsString& UtilsString::EditText(const char* text, unsigned long n, unsigned long position,
                                         int replace) {
  if (!text || !n) return *this;
  ScopedLock strings(m_Lock);
  if (replace)
    Current().Replace(text, n, position);
  else
    Current().Insert(text, n, position);
  return *this;
}

const UtilsString& UtilsString::TruncateString(unsigned long n) {
  ScopedLock strings(m_Lock);
  Current().TruncateString(n);
  return *this;
}
const UtilsString& UtilsString::TruncateStringAtPosition(unsigned long n, unsigned long position) {
  ScopedLock strings(m_Lock);
  Current().TruncateStringAtPosition(n, position);
  return *this;
}
const UtilsString& UtilsString::operator--() { return TruncateString(1); }
const UtilsString& UtilsString::operator--(int) { return TruncateString(1); }
const UtilsString& UtilsString::Erase() {
  ScopedLock strings(m_Lock);
  Current().Clear();
  return *this;
}
const UtilsString& UtilsString::EraseString() { return Erase(); }

// ---- the set of strings -----------------------------------------------------------

const UtilsString& UtilsString::AddString(const char* text) {
  return AddText(text, text ? ::strlen(text) : 0);
}
const UtilsString& UtilsString::AddString(const std::string& text) {
  return AddText(text.empty() ? 0 : text.c_str(), text.size());
}
const UtilsString& UtilsString::AddString(const std::wstring& text) {
  return AddString(NarrowFromWide(WideOf(text)));
}
const UtilsString& UtilsString::AddString(const UtilsString& text) {
  std::string copy = text.GetSTLString();  // read under its own lock, not under ours
  return AddText(copy.c_str(), copy.size());
}
const UtilsString& UtilsString::AddText(const char* text, unsigned long n) {
  ScopedLock strings(m_Lock);
  AddElement(n ? text : 0, n);
  ++m_ulNumStrings;
  return *this;
}

const UtilsString& UtilsString::RemoveString() {
  ScopedLock strings(m_Lock);  // re-entrant: the current index stays valid until removed
  return RemoveString(m_ulCurrent);
}

const UtilsString& UtilsString::RemoveString(unsigned long index) {
  ScopedLock strings(m_Lock);
  if (index > m_ulNumStrings - 1)
    ThrowOutOfRange(ComposeShortError(kOutOfRangeError, static_cast<long>(index),
                                      kFileUtilsString, LINE_REMOVE_STRING));
  RemoveElement(index);
  if (m_ulNumStrings > 1) --m_ulNumStrings;
  if (m_ulCurrent >= m_ulNumStrings) m_ulCurrent = m_ulNumStrings - 1;
  return *this;
}

const UtilsString& UtilsString::SetCurrentString(unsigned long index) {
  ScopedLock strings(m_Lock);
  if (index > m_ulNumStrings - 1)
    ThrowOutOfRange(ComposeIndexError(kOutOfRangeError, index, 0, m_ulNumStrings,
                                      kFileUtilsString, LINE_SET_CURRENT_STRING));
  m_ulCurrent = index;
  return *this;
}

unsigned long UtilsString::GetCurrentString() const { return m_ulCurrent; }
unsigned long UtilsString::GetNumberOfStrings() const { return m_ulNumStrings; }

const char* UtilsString::GetStringNumber(unsigned long index) const {
  ScopedLock strings(m_Lock);
  // Index == count passes this test and then fails in the read-only element access.
  if (index > m_ulNumStrings)
    ThrowOutOfRange(ComposeShortError(kOutOfRangeError, static_cast<long>(index),
                                      kFileUtilsString, LINE_GET_STRING_NUMBER));
  return Element(index).Data();
}

UtilsString& UtilsString::operator[](int index) {
  SetCurrentString(static_cast<unsigned long>(index));
  return *this;
}
UtilsString& UtilsString::operator[](long index) {
  SetCurrentString(static_cast<unsigned long>(index));
  return *this;
}
UtilsString& UtilsString::operator[](unsigned int index) {
  SetCurrentString(index);
  return *this;
}
UtilsString& UtilsString::operator[](unsigned long index) {
  SetCurrentString(index);
  return *this;
}

// ---- access and conversions ---------------------------------------------------------

// Readers hold the array's lock while they find the current string, so that adding or
// removing a string on another thread cannot move it away under them.
char* UtilsString::Retrieve() { return c_str_locked(); }
char* UtilsString::GetString() { return c_str_locked(); }
const char* UtilsString::c_str() const { return const_cast<UtilsString*>(this)->c_str_locked(); }
UtilsString::operator char*() { return c_str_locked(); }
UtilsString::operator const char*() const { return c_str(); }
char& UtilsString::RetrieveChar(unsigned long i) { return c_str_locked()[i]; }
unsigned long UtilsString::size() const { return length(); }
unsigned long UtilsString::length() const {
  ScopedLock strings(m_Lock);
  return Current().Length();
}
unsigned long UtilsString::strlen() const { return length(); }
int UtilsString::operator!() const { return length() == 0; }

char* UtilsString::c_str_locked() {
  ScopedLock strings(m_Lock);
  return Current().Data();
}

std::string UtilsString::GetSTLString() const {
  ScopedLock strings(m_Lock);
  const MemObject<char>& text = Current();
  return std::string(text.Data(), text.Length());
}
std::string UtilsString::ConvertToSTL() const { return GetSTLString(); }
UtilsString::operator std::string() const { return GetSTLString(); }
std::wstring UtilsString::GetSTLWString() const {
  ScopedLock strings(m_Lock);
  return WideFromNarrow(c_str(), length());
}
UtilsString::operator std::wstring() const { return GetSTLWString(); }

unsigned short* UtilsString::ReturnWideChar() const {
  std::string text = GetSTLString();  // read under our own lock, converted under the shared one
  unsigned long n = static_cast<unsigned long>(text.size());
  ScopedLock shared(SharedBufferLock());
  SharedBuffer<unsigned short>& buffer = WideBuffer();
  if (!buffer.Block()) buffer.Reserve(n ? 2 * n : 1);
  UINT codePage = GetACP();
  int done = MultiByteToWideChar(codePage, kNarrowToWideFlags, text.c_str(),
                                 static_cast<int>(n + 1),
                                 reinterpret_cast<wchar_t*>(buffer.Block()),
                                 static_cast<int>(buffer.Count()));
  if (done == 0 && GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
    int needed = MultiByteToWideChar(codePage, kNarrowToWideFlags, text.c_str(),
                                     static_cast<int>(n + 1), 0, 0);
    if (needed > 0) {
      buffer.Reserve(static_cast<unsigned long>(needed));
      done = MultiByteToWideChar(codePage, kNarrowToWideFlags, text.c_str(),
                                 static_cast<int>(n + 1),
                                 reinterpret_cast<wchar_t*>(buffer.Block()),
                                 static_cast<int>(buffer.Count()));
    }
  }
  if (done == 0) buffer.Block()[0] = 0;
  return buffer.Block();
}
unsigned short* UtilsString::w_str() const { return ReturnWideChar(); }
UtilsString::operator unsigned short*() const { return ReturnWideChar(); }
UtilsString::operator const unsigned short*() const { return ReturnWideChar(); }

unsigned char* UtilsString::ReturnByteStr() const {
  std::string text = GetSTLString();
  unsigned long n = static_cast<unsigned long>(text.size()) + 1;  // with the NUL
  ScopedLock shared(SharedBufferLock());
  SharedBuffer<unsigned char>& buffer = ByteBuffer();
  buffer.Reserve(n);
  std::memcpy(buffer.Block(), text.c_str(), n);
  return buffer.Block();
}
UtilsString::operator unsigned char*() const { return ReturnByteStr(); }
UtilsString::operator const unsigned char*() const { return ReturnByteStr(); }

UtilsString UtilsString::ReturnStringFromWideString(const unsigned short* text) const {
  UtilsString result;
  result.ConvertFromWideChar(text, 0);
  return result;
}
UtilsString UtilsString::ReturnStringFromWideString(std::wstring text) const {
  return ReturnStringFromWideString(WideOf(text));
}

const UtilsString& UtilsString::ConvertFromWideChar(const unsigned short* text, int append) {
  if (!text) return *this;
  const wchar_t* wide = reinterpret_cast<const wchar_t*>(text);
  int size = WideCharToMultiByte(GetACP(), kWideToNarrowFlags, wide, -1, 0, 0, 0, 0);
  if (size <= 0) return *this;
  std::vector<char> buffer(static_cast<size_t>(size) + 1, '\0');
  if (WideCharToMultiByte(GetACP(), kWideToNarrowFlags, wide, -1, &buffer[0], size, 0, 0) <= 0)
    return *this;
  unsigned long n = ::strlen(&buffer[0]);
  ScopedLock strings(m_Lock);
  if (append)
    AppendText(&buffer[0], n);
  else
    Current().Assign(&buffer[0], n);
  return *this;
}

// ---- comparison ---------------------------------------------------------------------

int UtilsString::CompareText(const char* text, unsigned long n) const {
  ScopedLock strings(m_Lock);
  return TextFamilies<char>(*this, const_cast<UtilsString*>(this)->Current())
      .Compare(text, n, m_iCase, m_iMatchStyle, 0);
}
int UtilsString::FriendCompareText(const char* text, unsigned long n) const {
  ScopedLock strings(m_Lock);
  return TextFamilies<char>(*this, const_cast<UtilsString*>(this)->Current())
      .Compare(text, n, m_iCase, m_iMatchStyle, 1);
}

// HOLD makes a private copy of a text owned by another object before our lock is taken.
#define UTILS_STRING_COMPARES(TYPE, HOLD, PTR, LEN)                               \
  int UtilsString::Compare(TYPE text) const {                                     \
    HOLD;                                                                         \
    return CompareText(PTR, LEN);                                                 \
  }                                                                               \
  int UtilsString::FriendCompare(TYPE text) const {                               \
    HOLD;                                                                         \
    return FriendCompareText(PTR, LEN);                                           \
  }                                                                               \
  int UtilsString::operator==(TYPE text) const { return Compare(text) == 0; }    \
  int UtilsString::operator!=(TYPE text) const { return Compare(text) != 0; }    \
  int UtilsString::operator<(TYPE text) const { return Compare(text) < 0; }      \
  int UtilsString::operator<=(TYPE text) const { return Compare(text) <= 0; }    \
  int UtilsString::operator>(TYPE text) const { return Compare(text) > 0; }      \
  int UtilsString::operator>=(TYPE text) const { return Compare(text) >= 0; }
UTILS_STRING_COMPARES(const char*, (void)0, text, 0)
UTILS_STRING_COMPARES(const UtilsString&, std::string held = text.GetSTLString(), held.c_str(),
                      held.size())
UTILS_STRING_COMPARES(const std::string&, (void)0, text.c_str(), text.size())
UTILS_STRING_COMPARES(const std::wstring&, std::string held = NarrowFromWide(WideOf(text)),
                      held.c_str(), 0)
UTILS_STRING_COMPARES(const unsigned short*,
                      std::string held = text ? NarrowFromWide(text) : std::string(),
                      text ? held.c_str() : 0, 0)
UTILS_STRING_COMPARES(const MemObject<char>&, std::string held = TextOf(text), held.c_str(),
                      held.size())
#undef UTILS_STRING_COMPARES

const int UtilsString::SetCase(int caseFlag) {
  m_iCase = caseFlag;
  return 1;
}
const int UtilsString::GetCase() const { return m_iCase; }
const int UtilsString::SetMatchStyle(int matchStyle) {
  m_iMatchStyle = matchStyle;
  return 1;
}
const int UtilsString::GetMatchStyle() const { return m_iMatchStyle; }

// ---- search -----------------------------------------------------------------------------

const int UtilsString::Search(const char* text, unsigned long occurrence) const {
  if (!text) return 0;
  ScopedLock strings(m_Lock);
  unsigned long found = 0;
  return TextFamilies<char>(*this, const_cast<UtilsString*>(this)->Current())
      .Search(text, ::strlen(text), m_iCase, occurrence, found);
}

const int UtilsString::FindText(const char* text, int first, unsigned long& position) {
  ScopedLock strings(m_Lock);
  return TextFamilies<char>(*this, Current())
      .Find(text, text ? ::strlen(text) : 0, m_iCase, first, m_ulFindCursor, position);
}

const int UtilsString::FindFirst(const char* text, unsigned long& position) {
  return FindText(text, 1, position);
}

const int UtilsString::FindNext(const char* text, unsigned long& position) {
  return FindText(text, 0, position);
}

const int UtilsString::FindAll(const char* text) {
  ScopedLock strings(m_Lock);
  return TextFamilies<char>(*this, Current())
      .FindAll(text, text ? ::strlen(text) : 0, m_iCase, m_ulFindCursor);
}

void UtilsString::FindReset() { m_ulFindCursor = 0; }

// ---- parse ------------------------------------------------------------------------------

const int UtilsString::TokenAt(const char* separator, unsigned long index, int flag,
                               std::string& token) {
  ScopedLock strings(m_Lock);
  unsigned long start = 0, size = 0;
  if (!parse(c_str(), length(), separator, separator ? ::strlen(separator) : 0, index, m_iCase,
             flag, start, size))
    return 0;
  token.assign(c_str() + start, size);
  return 1;
}

const int UtilsString::FastToken(const char* separator, unsigned long index, int flag,
                                 std::string& token) {
  ScopedLock strings(m_Lock);
  unsigned long n = length();
  if (index < m_ulFastCursor || m_ulFastOffset > n + 1) ParseFastReset();
  unsigned long start = 0, size = 0;
  unsigned long separatorLength = separator ? ::strlen(separator) : 0;
  while (m_ulFastCursor <= index) {
    if (!NextToken(c_str(), n, separator, separatorLength, m_iCase, flag, m_ulFastOffset, start,
                   size))
      return 0;
    ++m_ulFastCursor;
  }
  token.assign(c_str() + start, size);
  return 1;
}

#define UTILS_STRING_PARSE_OUT(CALL)          \
  std::string token;                          \
  if (!CALL) return 0;                        \
  if (!out) return 0;                         \
  std::memcpy(out, token.c_str(), token.size() + 1); \
  return 1;

const int UtilsString::ParseString(const char* separator, char* out, unsigned long index,
                                   int flag) {
  UTILS_STRING_PARSE_OUT(TokenAt(separator, index, flag, token))
}
const int UtilsString::ParseString(const char* separator, UtilsString& out, unsigned long index,
                                   int flag) {
  std::string token;
  if (!TokenAt(separator, index, flag, token)) return 0;
  out = token;
  return 1;
}
const int UtilsString::ParseFirstString(const char* separator, char* out, int flag) {
  m_ulParseCursor = 0;
  return ParseString(separator, out, m_ulParseCursor, flag);
}
const int UtilsString::ParseFirstString(const char* separator, UtilsString& out, int flag) {
  m_ulParseCursor = 0;
  return ParseString(separator, out, m_ulParseCursor, flag);
}
const int UtilsString::ParseNextString(const char* separator, char* out, int flag) {
  ++m_ulParseCursor;
  return ParseString(separator, out, m_ulParseCursor, flag);
}
const int UtilsString::ParseNextString(const char* separator, UtilsString& out, int flag) {
  ++m_ulParseCursor;
  return ParseString(separator, out, m_ulParseCursor, flag);
}
const int UtilsString::ParseStringFast(const char* separator, char* out, unsigned long index,
                                       int flag) {
  UTILS_STRING_PARSE_OUT(FastToken(separator, index, flag, token))
}
const int UtilsString::ParseStringFast(const char* separator, UtilsString& out,
                                       unsigned long index, int flag) {
  std::string token;
  if (!FastToken(separator, index, flag, token)) return 0;
  out = token;
  return 1;
}
const int UtilsString::ParseFirstStringFast(const char* separator, char* out, int flag) {
  ParseFastReset();
  return ParseStringFast(separator, out, 0, flag);
}
const int UtilsString::ParseFirstStringFast(const char* separator, UtilsString& out, int flag) {
  ParseFastReset();
  return ParseStringFast(separator, out, 0, flag);
}
const int UtilsString::ParseNextStringFast(const char* separator, char* out, int flag) {
  return ParseStringFast(separator, out, m_ulFastCursor, flag);
}
const int UtilsString::ParseNextStringFast(const char* separator, UtilsString& out, int flag) {
  return ParseStringFast(separator, out, m_ulFastCursor, flag);
}
#undef UTILS_STRING_PARSE_OUT

void UtilsString::ParseReset() { m_ulParseCursor = 0; }
void UtilsString::ParseFastReset() {
  m_ulFastCursor = 0;
  m_ulFastOffset = 0;
}

// ---- replace ----------------------------------------------------------------------------

// The flag makes the old text match ignoring case, whatever our case flag.
const int UtilsString::ReplaceAt(const char* old, const char* fresh, int flag) {
  if (!old) return 0;
  ScopedLock strings(m_Lock);
  int caseFlag = flag ? 0 : (m_iCase != 0 ? 1 : 0);
  return TextFamilies<char>(*this, Current())
      .Replace(old, ::strlen(old), fresh, fresh ? ::strlen(fresh) : 0, caseFlag, 0,
               m_ulReplaceCursor);
}
const int UtilsString::ReplaceFirst(const char* old, const char* fresh, int flag) {
  m_ulReplaceCursor = 0;
  return ReplaceAt(old, fresh, flag);
}
const int UtilsString::ReplaceNext(const char* old, const char* fresh, int flag) {
  return ReplaceAt(old, fresh, flag);
}
const int UtilsString::ReplaceAll(const char* old, const char* fresh, int flag) {
  if (!old) {
    m_ulReplaceCursor = 0;
    return 0;
  }
  ScopedLock strings(m_Lock);
  int caseFlag = flag ? 0 : (m_iCase != 0 ? 1 : 0);
  return TextFamilies<char>(*this, Current())
      .ReplaceAll(old, ::strlen(old), fresh, fresh ? ::strlen(fresh) : 0, caseFlag,
                  m_ulReplaceCursor);
}
void UtilsString::ReplaceReset() { m_ulFindCursor = 0; }

// ---- split, reorder, scramble ---------------------------------------------------------

const UtilsString& UtilsString::SplitData(const UtilsString& separators, int flag) {
  return SplitData(*this, separators, flag);
}

const UtilsString& UtilsString::SplitData(UtilsString& target, const UtilsString& separators,
                                          int flag) const {
  std::string text = GetSTLString();
  std::string separator = separators.GetSTLString();
  std::vector<std::string> pieces;
  unsigned long position = 0, start = 0, size = 0;
  while (NextToken(text.c_str(), text.size(), separator.c_str(), separator.size(), m_iCase, flag,
                   position, start, size))
    pieces.push_back(text.substr(start, size));
  target.AssignStrings(pieces);
  return *this;
}

const UtilsString& UtilsString::Reverse() {
  ScopedLock strings(m_Lock);
  MemObject<char>& text = Current();
  ScopedLock hold(text.GetLock());
  char* data = text.Data();
  for (unsigned long i = 0, j = text.Length(); i + 1 < j; ++i, --j) std::swap(data[i], data[j - 1]);
  return *this;
}

const UtilsString& UtilsString::Sort() {
  ScopedLock strings(m_Lock);
  MemObject<char>& text = Current();
  ScopedLock hold(text.GetLock());
  selection_sort(text.Data(), text.Data() + text.Length());
  return *this;
}

const UtilsString& UtilsString::XORString(unsigned char key) {
  ScopedLock strings(m_Lock);
  MemObject<char>& text = Current();
  ScopedLock hold(text.GetLock());
  char* data = text.Data();
  for (unsigned long i = 0; i < text.Length(); ++i)
    data[i] = static_cast<char>(static_cast<unsigned char>(data[i]) ^ key);
  return *this;
}

const UtilsString& UtilsString::EncryptString(const UtilsString& key) {
  std::string bytes = key.GetSTLString();
  if (bytes.empty()) throw std::invalid_argument("UtilsString::EncryptString: the key is empty");
  return EncryptString(UtilsByte(reinterpret_cast<const unsigned char*>(bytes.data()),
                                 static_cast<unsigned long>(bytes.size())));
}

const UtilsString& UtilsString::EncryptString(const UtilsByte& key) {
  UtilsByte bytes(key);  // whole, under the key's lock (the key may change meanwhile)
  unsigned long keyLength = bytes.length();
  if (keyLength == 0) throw std::invalid_argument("UtilsString::EncryptString: the key is empty");
  const unsigned char* keyData = bytes.c_str();
  ScopedLock strings(m_Lock);
  MemObject<char>& text = Current();
  ScopedLock hold(text.GetLock());
  char* data = text.Data();
  for (unsigned long i = 0; i < text.Length(); ++i)
    data[i] = static_cast<char>(static_cast<unsigned char>(data[i]) ^ keyData[i % keyLength]);
  return *this;
}

// ---- system texts -----------------------------------------------------------------------

unsigned long UtilsString::FormatInto(DWORD flags, const void* source, DWORD id, va_list* args,
                                      std::string& out) {
  char* buffer = 0;
  DWORD count = ::FormatMessageA(flags, source, id, 0x400, reinterpret_cast<LPSTR>(&buffer), 0,
                                 args);
  if (count && buffer) out.assign(buffer, count);
  if (buffer) LocalFree(buffer);
  return count;
}

unsigned long UtilsString::SetErrorMsg(unsigned long error, int withNumber) {
  if (withNumber) {
    Append("Error Number:  ");
    Append(error);
    Append(" - ");
  }
  std::string text;
  unsigned long count = FormatInto(0x1100, 0, error, 0, text);
  if (count) AppendText(text.c_str(), text.size());
  return count;
}

int UtilsString::LoadStringA(HINSTANCE module, unsigned long id, unsigned long maxLength) {
  if (!module) module = GetModuleHandleA(0);
  // A string resource holds at most 65535 characters, so a larger limit reads the same
  // text; capping it keeps maxLength + 1 from wrapping to 0, which would make the system
  // write a pointer into a buffer that does not exist.
  if (maxLength > 0xFFFF) maxLength = 0xFFFF;
  std::vector<char> buffer(maxLength + 1, '\0');
  int count = ::LoadStringA(module, id, &buffer[0], static_cast<int>(maxLength + 1));
  if (count > 0) AppendText(&buffer[0], ::strlen(&buffer[0]));
  return count;
}

unsigned long UtilsString::FormatMessageA(const UtilsString& format, ...) {
  va_list args;
  va_start(args, format);
  std::string pattern = format.GetSTLString();
  std::string text;
  unsigned long count = FormatInto(0x500, pattern.c_str(), 0, &args, text);
  va_end(args);
  if (count) AppendText(text.c_str(), text.size());
  return count;
}

unsigned long UtilsString::FormatMessageA(HINSTANCE module, unsigned int id, ...) {
  va_list args;
  va_start(args, id);
  std::string text;
  unsigned long count = FormatInto(0x900, module, id, &args, text);
  va_end(args);
  if (count) AppendText(text.c_str(), text.size());
  return count;
}

unsigned long UtilsString::FormatCurrentString(...) {
  // A variadic function with no named parameter: the arguments start right after the
  // return address, which is where va_start of the first argument points on x86.
  va_list args;
  __builtin_va_start(args, 0);
  std::string format = GetSTLString();
  std::string text;
  unsigned long count = FormatInto(0x500, format.c_str(), 0, &args, text);
  va_end(args);
  if (count) {
    ScopedLock strings(m_Lock);
    Current().Assign(text.c_str(), text.size());
  }
  return count;
}

// ---- character tests --------------------------------------------------------------------

int UtilsString::isupper(const char& c) const { return c >= 'A' && c <= 'Z'; }
int UtilsString::islower(const char& c) const { return c >= 'a' && c <= 'z'; }
char UtilsString::utoupper(const char& c) const { return static_cast<char>(c - 0x20); }
char UtilsString::utolower(const char& c) const { return static_cast<char>(c + 0x20); }
int UtilsString::isupper(const char& c) { return static_cast<const UtilsString&>(*this).isupper(c); }
int UtilsString::islower(const char& c) { return static_cast<const UtilsString&>(*this).islower(c); }
char UtilsString::utoupper(const char& c) { return static_cast<const UtilsString&>(*this).utoupper(c); }
char UtilsString::utolower(const char& c) { return static_cast<const UtilsString&>(*this).utolower(c); }
int UtilsString::isupper(const unsigned short& c) { return std::iswupper(c) ? 1 : 0; }
int UtilsString::islower(const unsigned short& c) { return std::iswlower(c) ? 1 : 0; }
unsigned short UtilsString::utoupper(const unsigned short& c) {
  return static_cast<unsigned short>(c - 0x20);
}
unsigned short UtilsString::utolower(const unsigned short& c) {
  return static_cast<unsigned short>(c + 0x20);
}
const char* UtilsString::derived_class() const { return ReadableTypeName(typeid(*this)); }

int ListCompareValues(const UtilsString& a, const UtilsString& b, int caseFlag) {
  return a.compare(a.c_str(), b.c_str(), caseFlag, 0, a.length(), b.length());
}

int ListContains(const UtilsString& haystack, const UtilsString& needle, int caseFlag) {
  unsigned long found = 0;
  const char* text = needle.c_str();
  return haystack.search(text, text + needle.length(), haystack.c_str(),
                         haystack.c_str() + haystack.length(), found, caseFlag != 0 ? 1 : 0, 0);
}

}  // namespace UTILS

// Entry points of earlier builds, kept for the clients linked against them. The wide
// case functions used to be constant and to fill the wide slots of the base table. Their
// old names now lead to the string's own wide forms, which answer as those did; the old
// names of the adjusting entries through which the base table reached them lead to the
// base answers that the slots now give (the base functions take the base part of the
// object, which is what those entries are called with).
#define UTILS_OLD_EXPORT(OLD, NEW) \
  __asm__(".section .drectve\n\t.ascii \" -export:" OLD "=" NEW "\"\n\t.text");
UTILS_OLD_EXPORT("_ZNK5UTILS11UtilsString7isupperERKt", "_ZN5UTILS11UtilsString7isupperERKt")
UTILS_OLD_EXPORT("_ZNK5UTILS11UtilsString7islowerERKt", "_ZN5UTILS11UtilsString7islowerERKt")
UTILS_OLD_EXPORT("_ZNK5UTILS11UtilsString8utoupperERKt", "_ZN5UTILS11UtilsString8utoupperERKt")
UTILS_OLD_EXPORT("_ZNK5UTILS11UtilsString8utolowerERKt", "_ZN5UTILS11UtilsString8utolowerERKt")
#ifdef _WIN64
UTILS_OLD_EXPORT("_ZTv0_n40_NK5UTILS11UtilsString7isupperERKt", "_ZNK5UTILS9UtilsBaseIcE7isupperERKt")
UTILS_OLD_EXPORT("_ZTv0_n48_NK5UTILS11UtilsString7islowerERKt", "_ZNK5UTILS9UtilsBaseIcE7islowerERKt")
UTILS_OLD_EXPORT("_ZTv0_n72_NK5UTILS11UtilsString8utoupperERKt", "_ZNK5UTILS9UtilsBaseIcE8utoupperERKt")
UTILS_OLD_EXPORT("_ZTv0_n80_NK5UTILS11UtilsString8utolowerERKt", "_ZNK5UTILS9UtilsBaseIcE8utolowerERKt")
#else
UTILS_OLD_EXPORT("_ZTv0_n20_NK5UTILS11UtilsString7isupperERKt", "_ZNK5UTILS9UtilsBaseIcE7isupperERKt")
UTILS_OLD_EXPORT("_ZTv0_n24_NK5UTILS11UtilsString7islowerERKt", "_ZNK5UTILS9UtilsBaseIcE7islowerERKt")
UTILS_OLD_EXPORT("_ZTv0_n36_NK5UTILS11UtilsString8utoupperERKt", "_ZNK5UTILS9UtilsBaseIcE8utoupperERKt")
UTILS_OLD_EXPORT("_ZTv0_n40_NK5UTILS11UtilsString8utolowerERKt", "_ZNK5UTILS9UtilsBaseIcE8utolowerERKt")
#endif
#undef UTILS_OLD_EXPORT
