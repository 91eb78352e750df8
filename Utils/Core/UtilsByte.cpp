// UtilsByte: the exact-length byte buffer.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "UtilsByte"

#include <stdexcept>

#include "TextFamilies.h"

namespace UTILS {

namespace {

typedef std::vector<unsigned char> Bytes;

// A byte sequence given with its length as the families expect it: the copy's own
// trailing zero is not part of it.
unsigned long LengthOf(const Bytes& copy) { return static_cast<unsigned long>(copy.size() - 1); }

}  // namespace

UtilsByte::UtilsByte() { Init(); }

UtilsByte::UtilsByte(const unsigned char* data, unsigned long n) {
  Init();
  Append(data, n);
}

UtilsByte::UtilsByte(const MemObject<unsigned char>& data) {
  Init();
  Append(data);
}

UtilsByte::UtilsByte(const UtilsByte& other) : UtilsBase<unsigned char>(other), Utils<unsigned char, int>() {
  Init();
  CopyData(other);
}

UtilsByte::UtilsByte(UtilsByte&& other) noexcept
    : UtilsBase<unsigned char>(other), Utils<unsigned char, int>() {
  // The source's buffer itself changes hands; the source makes a new, empty one on
  // first use.
  m_pStore = other.ExchangeStore(0);
  m_ulFindCursor = other.m_ulFindCursor;
  m_ulParseCursor = other.m_ulParseCursor;
  m_ulReplaceCursor = other.m_ulReplaceCursor;
  m_ulBuffers = 1;
  m_iMatchStyle = other.m_iMatchStyle;
  m_iCase = other.m_iCase;
  other.m_ulFindCursor = other.m_ulParseCursor = other.m_ulReplaceCursor = 0;
}

UtilsByte::~UtilsByte() {}

void UtilsByte::Init() {
  m_ulFindCursor = 0;
  m_ulParseCursor = 0;
  m_ulReplaceCursor = 0;
  m_ulBuffers = 1;
  m_iMatchStyle = 0;
  m_iCase = 1;
  Create(1);
}

void UtilsByte::CopyData(const UtilsByte& other) {
  Buffer() = other.Buffer();  // read under the other buffer's lock, then written under ours
  m_ulFindCursor = other.m_ulFindCursor;
  m_ulParseCursor = other.m_ulParseCursor;
  m_ulReplaceCursor = other.m_ulReplaceCursor;
  m_ulBuffers = other.m_ulBuffers;
  m_iMatchStyle = other.m_iMatchStyle;
  m_iCase = other.m_iCase;
}

const UtilsByte& UtilsByte::operator=(const UtilsByte& other) {
  if (this != &other) CopyData(other);
  return *this;
}

const UtilsByte& UtilsByte::operator=(UtilsByte&& other) {
  if (this == &other) return *this;
  // Our buffer object stays (other threads may be waiting on its lock); its contents
  // are exchanged for the source's.
  Buffer() = std::move(other.Buffer());
  m_ulFindCursor = other.m_ulFindCursor;
  m_ulParseCursor = other.m_ulParseCursor;
  m_ulReplaceCursor = other.m_ulReplaceCursor;
  m_iMatchStyle = other.m_iMatchStyle;
  m_iCase = other.m_iCase;
  other.Buffer().Clear();
  other.m_ulFindCursor = other.m_ulParseCursor = other.m_ulReplaceCursor = 0;
  return *this;
}

const UtilsByte& UtilsByte::operator=(const MemObject<unsigned char>& data) {
  Buffer() = data;
  return *this;
}

const UtilsByte& UtilsByte::operator=(UtilsAllocator<unsigned char>& data) {
  if (data.OwnsMemory() && data.GetCount() != 0)
    Buffer().Assign(data.GetBlock(), data.GetCount());
  else
    Buffer().Clear();
  return *this;
}

const UtilsByte& UtilsByte::Append(const unsigned char* data, unsigned long n) {
  Buffer().Append(data, n);
  return *this;
}
const UtilsByte& UtilsByte::Append(unsigned char byte) {
  Buffer().Append(&byte, 1);
  return *this;
}
const UtilsByte& UtilsByte::Append(const UtilsByte& data) {
  Bytes copy = TextFamilies<unsigned char>::Copy(data.Buffer());
  if (LengthOf(copy)) Buffer().Append(copy.data(), LengthOf(copy));
  return *this;
}
const UtilsByte& UtilsByte::Append(const MemObject<unsigned char>& data) {
  Bytes copy = TextFamilies<unsigned char>::Copy(data);
  if (LengthOf(copy)) Buffer().Append(copy.data(), LengthOf(copy));
  return *this;
}
const UtilsByte& UtilsByte::operator+=(const unsigned char* data) { return Append(data, 0); }
const UtilsByte& UtilsByte::operator+=(unsigned char byte) { return Append(byte); }
const UtilsByte& UtilsByte::operator+=(const UtilsByte& data) { return Append(data); }
const UtilsByte& UtilsByte::operator+=(const MemObject<unsigned char>& data) { return Append(data); }

const UtilsByte& UtilsByte::Insert(const unsigned char* data, unsigned long n,
                                   unsigned long position) {
  Buffer().Insert(data, n, position);
  return *this;
}
const UtilsByte& UtilsByte::Insert(const UtilsByte& data, unsigned long position) {
  Bytes copy = TextFamilies<unsigned char>::Copy(data.Buffer());
  if (LengthOf(copy)) Buffer().Insert(copy.data(), LengthOf(copy), position);
  return *this;
}
const UtilsByte& UtilsByte::Insert(const MemObject<unsigned char>& data, unsigned long position) {
  Bytes copy = TextFamilies<unsigned char>::Copy(data);
  if (LengthOf(copy)) Buffer().Insert(copy.data(), LengthOf(copy), position);
  return *this;
}
const UtilsByte& UtilsByte::Replace(const unsigned char* data, unsigned long n,
                                    unsigned long position) {
  Buffer().Replace(data, n, position);
  return *this;
}
const UtilsByte& UtilsByte::Replace(const UtilsByte& data, unsigned long position) {
  Bytes copy = TextFamilies<unsigned char>::Copy(data.Buffer());
  if (LengthOf(copy)) Buffer().Replace(copy.data(), LengthOf(copy), position);
  return *this;
}
const UtilsByte& UtilsByte::Replace(const MemObject<unsigned char>& data, unsigned long position) {
  Bytes copy = TextFamilies<unsigned char>::Copy(data);
  if (LengthOf(copy)) Buffer().Replace(copy.data(), LengthOf(copy), position);
  return *this;
}

const UtilsByte& UtilsByte::TruncateString(unsigned long n) {
  Buffer().TruncateString(n);
  return *this;
}
const UtilsByte& UtilsByte::TruncateStringAtPosition(unsigned long n, unsigned long position) {
  Buffer().TruncateStringAtPosition(n, position);
  return *this;
}
const UtilsByte& UtilsByte::operator--() { return TruncateString(1); }
const UtilsByte& UtilsByte::operator--(int) { return TruncateString(1); }
const UtilsByte& UtilsByte::Erase() {
  Buffer().Clear();
  return *this;
}
const UtilsByte& UtilsByte::EraseData() { return Erase(); }

// Readers take the buffer's lock too: a resize on another thread replaces the block.
#define UTILS_BYTE_LOCKED(BODY)                     \
  const MemObject<unsigned char>& buffer = Buffer(); \
  ScopedLock hold(buffer.GetLock());                \
  BODY
unsigned char& UtilsByte::operator[](int i) { return Retrieve()[i]; }
unsigned char& UtilsByte::operator[](long i) { return Retrieve()[i]; }
unsigned char& UtilsByte::operator[](unsigned int i) { return Retrieve()[i]; }
unsigned char& UtilsByte::operator[](unsigned long i) { return Retrieve()[i]; }
unsigned char& UtilsByte::RetrieveByte(unsigned long i) {
  MemObject<unsigned char>& buffer = Buffer();
  ScopedLock hold(buffer.GetLock());
  if (i >= buffer.Length())
    ThrowOutOfRange(ComposeIndexError(kOutOfRangeError, i, 0, buffer.Length(), kFileUtilsAllocator,
                                      LINE_ELEMENT_WRITE));
  return buffer[i];
}
unsigned char* UtilsByte::Retrieve() {
  MemObject<unsigned char>& buffer = Buffer();
  ScopedLock hold(buffer.GetLock());
  return buffer.Data();
}
unsigned char* UtilsByte::GetString() { return Retrieve(); }
const unsigned char* UtilsByte::c_str() const { UTILS_BYTE_LOCKED(return buffer.Data();) }
UtilsByte::operator unsigned char*() { return Retrieve(); }
UtilsByte::operator const unsigned char*() const { return c_str(); }
unsigned long UtilsByte::size() const { return length(); }
unsigned long UtilsByte::length() const { UTILS_BYTE_LOCKED(return buffer.Length();) }
unsigned long UtilsByte::strlen() const { return length(); }
#undef UTILS_BYTE_LOCKED

int UtilsByte::CompareWith(const unsigned char* data, unsigned long n) const {
  return TextFamilies<unsigned char>(*this, const_cast<UtilsByte*>(this)->Buffer())
      .Compare(data, n, m_iCase, m_iMatchStyle, 0);
}
int UtilsByte::Compare(const unsigned char* data, unsigned long n) const {
  return CompareWith(data, n);
}
int UtilsByte::Compare(const UtilsByte& data) const {
  Bytes copy = TextFamilies<unsigned char>::Copy(data.Buffer());
  return CompareWith(copy.data(), LengthOf(copy));
}
int UtilsByte::Compare(const MemObject<unsigned char>& data) const {
  Bytes copy = TextFamilies<unsigned char>::Copy(data);
  return CompareWith(copy.data(), LengthOf(copy));
}
int UtilsByte::FriendCompare(const unsigned char* data, unsigned long n) const {
  return TextFamilies<unsigned char>(*this, const_cast<UtilsByte*>(this)->Buffer())
      .Compare(data, n, m_iCase, m_iMatchStyle, 1);
}
int UtilsByte::FriendCompare(const UtilsByte& data) const {
  Bytes copy = TextFamilies<unsigned char>::Copy(data.Buffer());
  return FriendCompare(copy.data(), LengthOf(copy));
}
int UtilsByte::FriendCompare(const MemObject<unsigned char>& data) const {
  Bytes copy = TextFamilies<unsigned char>::Copy(data);
  return FriendCompare(copy.data(), LengthOf(copy));
}

#define UTILS_BYTE_RELATIONS(TYPE, CALL)                                     \
  int UtilsByte::operator==(TYPE data) const { return CALL == 0; }          \
  int UtilsByte::operator!=(TYPE data) const { return CALL != 0; }          \
  int UtilsByte::operator<(TYPE data) const { return CALL < 0; }            \
  int UtilsByte::operator<=(TYPE data) const { return CALL <= 0; }          \
  int UtilsByte::operator>(TYPE data) const { return CALL > 0; }            \
  int UtilsByte::operator>=(TYPE data) const { return CALL >= 0; }
UTILS_BYTE_RELATIONS(const unsigned char*, CompareWith(data, 0))
UTILS_BYTE_RELATIONS(const UtilsByte&, Compare(data))
UTILS_BYTE_RELATIONS(const MemObject<unsigned char>&, Compare(data))
#undef UTILS_BYTE_RELATIONS

const int UtilsByte::SetCase(int caseFlag) {
  m_iCase = caseFlag;
  return 1;
}
const int UtilsByte::GetCase() const { return m_iCase; }
const int UtilsByte::SetMatchStyle(int matchStyle) {
  m_iMatchStyle = matchStyle;
  return 1;
}
const int UtilsByte::GetMatchStyle() const { return m_iMatchStyle; }

const int UtilsByte::Search(const unsigned char* data, unsigned long n,
                            unsigned long occurrence) const {
  if (!data) return 0;
  if (n == 0) n = GetLength(data);
  unsigned long found = 0;
  return TextFamilies<unsigned char>(*this, const_cast<UtilsByte*>(this)->Buffer())
      .Search(data, n, m_iCase, occurrence, found);
}

const int UtilsByte::FindFirst(const unsigned char* data, unsigned long n,
                               unsigned long& position) {
  if (data && n == 0) n = GetLength(data);
  return TextFamilies<unsigned char>(*this, Buffer())
      .Find(data, n, m_iCase, 1, m_ulFindCursor, position);
}

const int UtilsByte::FindNext(const unsigned char* data, unsigned long n,
                              unsigned long& position) {
  if (data && n == 0) n = GetLength(data);
  return TextFamilies<unsigned char>(*this, Buffer())
      .Find(data, n, m_iCase, 0, m_ulFindCursor, position);
}

const int UtilsByte::FindAll(const unsigned char* data, unsigned long n) {
  if (data && n == 0) n = GetLength(data);
  return TextFamilies<unsigned char>(*this, Buffer()).FindAll(data, n, m_iCase, m_ulFindCursor);
}

void UtilsByte::FindReset() { m_ulFindCursor = 0; }

const int UtilsByte::ParseByteString(const unsigned char* separator, unsigned long n,
                                     UtilsByte& out, unsigned long index, int flag) {
  unsigned long start = 0, size = 0;
  Bytes source = TextFamilies<unsigned char>::Copy(Buffer());  // out may be this object
  if (!parse(source.data(), LengthOf(source), separator, separator ? n : 0, index, m_iCase, flag,
             start, size))
    return 0;
  out.Erase();
  if (size) out.Append(source.data() + start, size);
  return 1;
}

const int UtilsByte::ParseFirstByteString(const unsigned char* separator, unsigned long n,
                                          UtilsByte& out, int flag) {
  m_ulParseCursor = 0;
  return ParseByteString(separator, n, out, m_ulParseCursor, flag);
}

const int UtilsByte::ParseNextByteString(const unsigned char* separator, unsigned long n,
                                         UtilsByte& out, int flag) {
  ++m_ulParseCursor;
  return ParseByteString(separator, n, out, m_ulParseCursor, flag);
}

void UtilsByte::ParseReset() { m_ulParseCursor = 0; }

const int UtilsByte::ReplaceFirst(const unsigned char* old, unsigned long n,
                                  const unsigned char* fresh, unsigned long m) {
  if (old && n == 0) n = GetLength(old);
  return TextFamilies<unsigned char>(*this, Buffer())
      .Replace(old, n, fresh, m, m_iCase, 1, m_ulReplaceCursor);
}

const int UtilsByte::ReplaceNext(const unsigned char* old, unsigned long n,
                                 const unsigned char* fresh, unsigned long m) {
  if (old && n == 0) n = GetLength(old);
  return TextFamilies<unsigned char>(*this, Buffer())
      .Replace(old, n, fresh, m, m_iCase, 0, m_ulReplaceCursor);
}

const int UtilsByte::ReplaceAll(const unsigned char* old, unsigned long n,
                                const unsigned char* fresh, unsigned long m) {
  if (old && n == 0) n = GetLength(old);
  MemObject<unsigned char>& buffer = Buffer();
  ScopedLock hold(buffer.GetLock());  // the whole pass as one change
  return TextFamilies<unsigned char>(*this, buffer)
      .ReplaceAll(old, n, fresh, m, m_iCase, m_ulReplaceCursor);
}

void UtilsByte::ReplaceReset() { m_ulFindCursor = 0; }

const UtilsByte& UtilsByte::Reverse() {
  MemObject<unsigned char>& buffer = Buffer();
  ScopedLock hold(buffer.GetLock());
  unsigned long n = buffer.Length();
  if (n < 2) return *this;
  UtilsAllocator<unsigned char> reversed(n);
  const unsigned char* in = buffer.Data();
  for (unsigned long i = 0; i < n; ++i) reversed[i] = in[n - 1 - i];
  buffer.Replace(reversed.GetBlock(), n, 0);
  return *this;
}

const UtilsByte& UtilsByte::Sort() {
  MemObject<unsigned char>& buffer = Buffer();
  ScopedLock hold(buffer.GetLock());
  selection_sort(buffer.Data(), buffer.Data() + buffer.Length());
  return *this;
}

const UtilsByte& UtilsByte::XORData(unsigned char key) {
  MemObject<unsigned char>& buffer = Buffer();
  ScopedLock hold(buffer.GetLock());
  unsigned char* data = buffer.Data();
  for (unsigned long i = 0; i < buffer.Length(); ++i) data[i] ^= key;
  return *this;
}

const UtilsByte& UtilsByte::EncryptData(const UtilsByte& key) {
  Bytes copy = TextFamilies<unsigned char>::Copy(key.Buffer());  // the key may be this object
  unsigned long keyLength = LengthOf(copy);
  if (keyLength == 0) throw std::invalid_argument("UtilsByte::EncryptData: the key is empty");
  MemObject<unsigned char>& buffer = Buffer();
  ScopedLock hold(buffer.GetLock());
  unsigned char* data = buffer.Data();
  for (unsigned long i = 0; i < buffer.Length(); ++i) data[i] ^= copy[i % keyLength];
  return *this;
}

int UtilsByte::isupper(const unsigned char& c) const { return c >= 'A' && c <= 'Z'; }
int UtilsByte::islower(const unsigned char& c) const { return c >= 'a' && c <= 'z'; }
unsigned char UtilsByte::utoupper(const unsigned char& c) const {
  return static_cast<unsigned char>(c - 0x20);
}
unsigned char UtilsByte::utolower(const unsigned char& c) const {
  return static_cast<unsigned char>(c + 0x20);
}
const char* UtilsByte::derived_class() const { return ReadableTypeName(typeid(*this)); }

}  // namespace UTILS
