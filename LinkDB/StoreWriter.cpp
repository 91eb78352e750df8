// Buffered, checked writing of one store file (see StoreWriter.h).
#include "StoreWriter.h"
#include <string.h>
#include "Internal.h"
#include "StoreFormat.h"

namespace vkl {

namespace {
const size_t kBufferSize = 64 * 1024;
const unsigned char kMarkComplete[4] = {1, 0, 0, 0};
}  // namespace

StoreWriter::StoreWriter(const std::string& path, std::vector<unsigned char>& buffer)
    : m_Path(path), m_Buffer(buffer), m_hFile(nullptr) {
  try {
    if (m_Buffer.size() < kBufferSize) m_Buffer.resize(kBufferSize);
  } catch (...) {
    m_bFailed = true;
    m_dwError = LastSystemError();
    return;
  }
  m_hFile = StoreFileCreate(m_Path.c_str());
  if (!m_hFile) Fail();
}

StoreWriter::~StoreWriter() {
  if (!m_hFile) return;
  // Not finished: the partial file goes.
  unsigned long error = LastSystemError();
  StoreFileClose(m_hFile);
  StoreFileRemove(m_Path.c_str());
  SetSystemError(error);
}

void StoreWriter::Fail() {
  if (!m_bFailed) {
    m_bFailed = true;
    m_dwError = LastSystemError();
  }
}

bool StoreWriter::Drain() {
  if (m_bFailed) return false;
  if (m_nUsed && !StoreFileWrite(m_hFile, m_Buffer.data(), m_nUsed)) {
    Fail();
    return false;
  }
  m_nUsed = 0;
  return true;
}

void StoreWriter::Put(const void* data, size_t size) {
  if (m_bFailed) return;
  const unsigned char* p = static_cast<const unsigned char*>(data);
  m_dwCrc = StoreCrc(m_dwCrc, p, size);
  m_qwSize += size;
  while (size > 0) {
    if (m_nUsed == m_Buffer.size() && !Drain()) return;
    size_t n = m_Buffer.size() - m_nUsed;
    if (n > size) n = size;
    memcpy(m_Buffer.data() + m_nUsed, p, n);
    m_nUsed += n;
    p += n;
    size -= n;
  }
}

void StoreWriter::PutU16(uint16_t v) {
  unsigned char b[2] = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8)};
  Put(b, 2);
}

void StoreWriter::PutU32(uint32_t v) {
  unsigned char b[4] = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
                        static_cast<unsigned char>(v >> 16), static_cast<unsigned char>(v >> 24)};
  Put(b, 4);
}

void StoreWriter::PutHeader() {
  PutU32(kStoreTag);
  // The file gets the mark 0 now; the seal is that of the finished file, mark 1.
  uint32_t crcBefore = m_dwCrc;
  PutU32(0);
  m_dwCrc = StoreCrc(crcBefore, kMarkComplete, 4);
}

bool StoreWriter::Finish(FileSeal* seal) {
  if (!m_hFile) {  // never created
    SetSystemError(m_dwError);
    return false;
  }
  if (m_bFailed || !Drain() || !StoreFileSync(m_hFile)) {
    Fail();
  } else if (!StoreFileWriteAt(m_hFile, 4, kMarkComplete, 4) || !StoreFileSync(m_hFile)) {
    Fail();
  }
  if (m_bFailed) {
    StoreFileClose(m_hFile);
    StoreFileRemove(m_Path.c_str());
    m_hFile = nullptr;
    SetSystemError(m_dwError);
    return false;
  }
  bool closed = StoreFileClose(m_hFile);
  m_hFile = nullptr;
  if (!closed) {
    m_dwError = LastSystemError();
    StoreFileRemove(m_Path.c_str());
    SetSystemError(m_dwError);
    return false;
  }
  *seal = FileSeal{true, m_qwSize, m_dwCrc};
  return true;
}

}  // namespace vkl
