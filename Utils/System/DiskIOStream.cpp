// UTILS::DiskIO: the stream operators. Each writes or reads whole records with no
// length or type tag; a record's buffer belongs to the operator, so in overlapped mode
// the operator waits for its transfer.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "diskio"

#include <cstring>
#include <string>
#include <vector>

namespace UTILS {

namespace {

// A record of `size` bytes: `data` (n bytes) first, zero bytes after it.
std::vector<unsigned char> Record(const void* data, unsigned long n, unsigned long size) {
  std::vector<unsigned char> record(size, 0);
  if (data) std::memcpy(record.data(), data, n < size ? n : size);
  return record;
}

}  // namespace

unsigned long DiskIO::NaturalReadSize() const {
  return m_ReadSize == DISKIO_NATURAL_SIZE ? m_FileSize : m_ReadSize;
}

DiskIO& DiskIO::operator<<(unsigned long value) {
  unsigned char bytes[4] = {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
                            static_cast<unsigned char>(value >> 16),
                            static_cast<unsigned char>(value >> 24)};
  ScopedLock hold(m_Lock);
  TransferRecord(bytes, sizeof bytes, true);
  return *this;
}

DiskIO& DiskIO::operator>>(unsigned long& value) {
  unsigned char bytes[4] = {0, 0, 0, 0};
  {
    ScopedLock hold(m_Lock);
    TransferRecord(bytes, sizeof bytes, false);
  }
  value = bytes[0] | (static_cast<unsigned long>(bytes[1]) << 8) |
          (static_cast<unsigned long>(bytes[2]) << 16) | (static_cast<unsigned long>(bytes[3]) << 24);
  return *this;
}

DiskIO& DiskIO::operator<<(const char* text) {
  ScopedLock hold(m_Lock);
  if (m_WriteSize == DISKIO_NATURAL_SIZE) {
    // The characters alone; an empty text writes nothing.
    unsigned long n = text ? static_cast<unsigned long>(std::strlen(text)) : 0;
    if (n) TransferRecord(const_cast<char*>(text), n, true);
  } else if (text) {
    // A fixed record taken from the text's address: the caller's buffer holds it.
    TransferRecord(const_cast<char*>(text), m_WriteSize, true);
  } else {
    std::vector<unsigned char> zeros(m_WriteSize, 0);
    TransferRecord(zeros.data(), m_WriteSize, true);
  }
  return *this;
}

DiskIO& DiskIO::operator<<(const unsigned char* data) {
  ScopedLock hold(m_Lock);
  if (data) {
    TransferRecord(const_cast<unsigned char*>(data), m_WriteSize, true);
  } else {
    std::vector<unsigned char> zeros(m_WriteSize, 0);
    TransferRecord(zeros.data(), m_WriteSize, true);
  }
  return *this;
}

DiskIO& DiskIO::operator<<(const UtilsString& text) {
  std::string copy = text.GetSTLString();
  ScopedLock hold(m_Lock);
  if (m_WriteSize == DISKIO_NATURAL_SIZE) {
    if (!copy.empty()) TransferRecord(&copy[0], static_cast<unsigned long>(copy.size()), true);
  } else {
    // The string's buffer ends with its terminator: the rest of the record is zeros.
    std::vector<unsigned char> record =
        Record(copy.c_str(), static_cast<unsigned long>(copy.size()) + 1, m_WriteSize);
    TransferRecord(record.data(), m_WriteSize, true);
  }
  return *this;
}

DiskIO& DiskIO::operator<<(const UtilsByte& data) {
  std::vector<unsigned char> copy(data.c_str(), data.c_str() + data.size());
  ScopedLock hold(m_Lock);
  if (m_WriteSize == DISKIO_NATURAL_SIZE) {
    if (!copy.empty()) TransferRecord(copy.data(), static_cast<unsigned long>(copy.size()), true);
  } else {
    std::vector<unsigned char> record =
        Record(copy.data(), static_cast<unsigned long>(copy.size()), m_WriteSize);
    TransferRecord(record.data(), m_WriteSize, true);
  }
  return *this;
}

// A read of the natural size on a file of size 0 asks for nothing; it fails as a read
// at the end of the file does, instead of falling back to the record size.
#define DISKIO_READ_COUNT(n)                                                         \
  unsigned long n = NaturalReadSize();                                               \
  if (n == 0) {                                                                      \
    m_BytesRead = 0;                                                                 \
    m_Error = 0;                                                                     \
    FailTransfer(false, 0, 0);                                                       \
  }

DiskIO& DiskIO::operator>>(char* buffer) {
  ScopedLock hold(m_Lock);
  DISKIO_READ_COUNT(n)
  TransferRecord(buffer, n, false);
  return *this;
}

DiskIO& DiskIO::operator>>(UtilsByte& data) {
  std::vector<unsigned char> buffer;
  {
    ScopedLock hold(m_Lock);
    DISKIO_READ_COUNT(n)
    buffer.assign(n, 0);
    TransferRecord(buffer.data(), n, false);
  }
  data = UtilsByte(buffer.data(), static_cast<unsigned long>(buffer.size()));
  return *this;
}

DiskIO& DiskIO::operator>>(UtilsString& text) {
  std::vector<char> buffer;
  unsigned long moved = 0;
  {
    ScopedLock hold(m_Lock);
    DISKIO_READ_COUNT(n)
    buffer.assign(n + 1, '\0');
    moved = TransferRecord(buffer.data(), n, false);
  }
  text = std::string(buffer.data(), moved);
  return *this;
}

#undef DISKIO_READ_COUNT

}  // namespace UTILS
