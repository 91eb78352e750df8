// UtilsByte: the exact-length byte buffer.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "UtilsByte"

#include <stdexcept>

namespace UTILS {

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
  Buffer() = other.Buffer();
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
  if (data.length()) Buffer().Append(data.c_str(), data.length());
  return *this;
}
const UtilsByte& UtilsByte::Append(const MemObject<unsigned char>& data) {
  if (data.Length()) Buffer().Append(data.Data(), data.Length());
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
  if (data.length()) Buffer().Insert(data.c_str(), data.length(), position);
  return *this;
}
const UtilsByte& UtilsByte::Insert(const MemObject<unsigned char>& data, unsigned long position) {
  if (data.Length()) Buffer().Insert(data.Data(), data.Length(), position);
  return *this;
}
const UtilsByte& UtilsByte::Replace(const unsigned char* data, unsigned long n,
                                    unsigned long position) {
  Buffer().Replace(data, n, position);
  return *this;
}
const UtilsByte& UtilsByte::Replace(const UtilsByte& data, unsigned long position) {
  if (data.length()) Buffer().Replace(data.c_str(), data.length(), position);
  return *this;
}
const UtilsByte& UtilsByte::Replace(const MemObject<unsigned char>& data, unsigned long position) {
  if (data.Length()) Buffer().Replace(data.Data(), data.Length(), position);
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

unsigned char& UtilsByte::operator[](int i) { return Buffer().Data()[i]; }
unsigned char& UtilsByte::operator[](long i) { return Buffer().Data()[i]; }
unsigned char& UtilsByte::operator[](unsigned int i) { return Buffer().Data()[i]; }
unsigned char& UtilsByte::operator[](unsigned long i) { return Buffer().Data()[i]; }
unsigned char& UtilsByte::RetrieveByte(unsigned long i) {
  if (i >= length())
    ThrowOutOfRange(ComposeIndexError(kOutOfRangeError, i, 0, length(), kFileUtilsAllocator,
                                      LINE_ELEMENT_WRITE));
  return Buffer()[i];
}
unsigned char* UtilsByte::Retrieve() { return Buffer().Data(); }
unsigned char* UtilsByte::GetString() { return Buffer().Data(); }
const unsigned char* UtilsByte::c_str() const { return Buffer().Data(); }
UtilsByte::operator unsigned char*() { return Buffer().Data(); }
UtilsByte::operator const unsigned char*() const { return Buffer().Data(); }
unsigned long UtilsByte::size() const { return Buffer().Length(); }
unsigned long UtilsByte::length() const { return Buffer().Length(); }
unsigned long UtilsByte::strlen() const { return Buffer().Length(); }

int UtilsByte::CompareWith(const unsigned char* data, unsigned long n) const {
  return compare(c_str(), data, m_iCase, m_iMatchStyle, length(), n);
}
int UtilsByte::Compare(const unsigned char* data, unsigned long n) const {
  return CompareWith(data, n);
}
int UtilsByte::Compare(const UtilsByte& data) const { return CompareWith(data.c_str(), data.length()); }
int UtilsByte::Compare(const MemObject<unsigned char>& data) const {
  return CompareWith(data.Data(), data.Length());
}
int UtilsByte::FriendCompare(const unsigned char* data, unsigned long n) const {
  return compare(data, c_str(), m_iCase, m_iMatchStyle, n, length());
}
int UtilsByte::FriendCompare(const UtilsByte& data) const {
  return FriendCompare(data.c_str(), data.length());
}
int UtilsByte::FriendCompare(const MemObject<unsigned char>& data) const {
  return FriendCompare(data.Data(), data.Length());
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
  return search(data, data + n, c_str(), c_str() + length(), found, m_iCase, occurrence);
}

const int UtilsByte::FindFirst(const unsigned char* data, unsigned long n,
                               unsigned long& position) {
  m_ulFindCursor = 0;
  if (!data) return 0;
  if (n == 0) n = GetLength(data);
  unsigned long found = 0;
  if (!search(data, data + n, c_str(), c_str() + length(), found, m_iCase, m_ulFindCursor))
    return 0;
  position = found;
  return 1;
}

const int UtilsByte::FindNext(const unsigned char* data, unsigned long n,
                              unsigned long& position) {
  ++m_ulFindCursor;
  if (!data) return 0;
  if (n == 0) n = GetLength(data);
  unsigned long found = 0;
  if (!search(data, data + n, c_str(), c_str() + length(), found, m_iCase, m_ulFindCursor))
    return 0;
  position = found;
  return 1;
}

const int UtilsByte::FindAll(const unsigned char* data, unsigned long n) {
  unsigned long position = 0;
  if (!FindFirst(data, n, position)) return 0;
  while (FindNext(data, n, position)) {
  }
  m_ulFindCursor = 0;
  return 1;
}

void UtilsByte::FindReset() { m_ulFindCursor = 0; }

const int UtilsByte::ParseByteString(const unsigned char* separator, unsigned long n,
                                     UtilsByte& out, unsigned long index, int flag) {
  unsigned long start = 0, size = 0;
  UtilsByte source(*this);  // out may be this object
  if (!source.parse(source.c_str(), source.length(), separator, separator ? n : 0, index,
                    m_iCase, flag, start, size))
    return 0;
  out.Erase();
  if (size) out.Append(source.c_str() + start, size);
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
  m_ulReplaceCursor = 0;
  return ReplaceNext(old, n, fresh, m);
}

const int UtilsByte::ReplaceNext(const unsigned char* old, unsigned long n,
                                 const unsigned char* fresh, unsigned long m) {
  if (old && n == 0) n = GetLength(old);
  return Buffer().ReplaceOccurrence(old, n, fresh, m, m_ulReplaceCursor, m_iCase, this);
}

const int UtilsByte::ReplaceAll(const unsigned char* old, unsigned long n,
                                const unsigned char* fresh, unsigned long m) {
  if (!ReplaceFirst(old, n, fresh, m)) return 0;
  while (ReplaceNext(old, n, fresh, m)) {
  }
  return 1;
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
  unsigned long keyLength = key.length();
  if (keyLength == 0) throw std::invalid_argument("UtilsByte::EncryptData: the key is empty");
  UtilsByte keyCopy(key);  // the key may be this object
  MemObject<unsigned char>& buffer = Buffer();
  ScopedLock hold(buffer.GetLock());
  unsigned char* data = buffer.Data();
  for (unsigned long i = 0; i < buffer.Length(); ++i) data[i] ^= keyCopy.c_str()[i % keyLength];
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
