// Readable type names and the one-line texts of the containers' standard exceptions.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "UtilsExport"

#include <cxxabi.h>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <stdexcept>

namespace UTILS {

const char* const kOutOfRangeError = "Out Of Range Error";
const char* const kIncorrectCall = "The Function Call Is Incorrect Or Cannot Be Called As Such";
const char* const kIncorrectParameter = "Command Line Parameter Is Incorrect";
const char* const kInvalidArgument = "Inavlid Argument Passed";
const char* const kNoConstructorInit =
    "Cannot Allocate Memory Internally Without Constructor Initialization";

const char* const kFileUtilsAllocator = "..\\..\\Include\\UtilsAllocator";
const char* const kFileUtilsVector = "..\\..\\Include\\UtilsVector";
const char* const kFileUtilsBase = "..\\..\\Include\\UtilsBase";
const char* const kFileUtilsString = "..\\..\\Include\\UtilsString";
const char* const kFileUtilsList = "..\\..\\Include\\UtilsList";
const char* const kFileCThread = "..\\..\\Include\\CThread";
const char* const kFileCUtilsPath = "..\\..\\Include\\CUtilsPath";
const char* const kFileUtilsRegistry = "..\\..\\Include\\UtilsRegistry";

const char* ReadableTypeName(const std::type_info& type) {
  // One demangled copy per type, kept for the life of the process so the returned
  // pointer never moves (std::map nodes are stable). Neither the table nor its guard is
  // ever destroyed: objects destroyed late in process exit may still ask for names.
  static std::mutex* guard = new std::mutex;
  static std::map<std::string, std::string>* names = new std::map<std::string, std::string>;
  std::lock_guard<std::mutex> lock(*guard);
  const char* mangled = type.name();
  std::map<std::string, std::string>::iterator it = names->find(mangled);
  if (it == names->end()) {
    int status = 0;
    char* readable = abi::__cxa_demangle(mangled, 0, 0, &status);
    std::string text = (status == 0 && readable) ? readable : mangled;
    std::free(readable);
    it = names->insert(std::make_pair(std::string(mangled), text)).first;
  }
  return it->second.c_str();
}

std::string ComposeShortError(const char* condition, const char* detail, const char* file,
                              long line) {
  char number[32];
  std::snprintf(number, sizeof number, "%ld", line);
  std::string text(condition);
  text += " - ";
  text += detail;
  text += "; File:  ";
  text += file;
  text += "; Line:  ";
  text += number;
  return text;
}

std::string ComposeShortError(const char* condition, long detail, const char* file, long line) {
  char number[32];
  std::snprintf(number, sizeof number, "%ld", detail);
  return ComposeShortError(condition, number, file, line);
}

std::string ComposeIndexError(const char* condition, unsigned long index, int indexIsSigned,
                              unsigned long count, const char* file, long line) {
  char detail[64];
  if (indexIsSigned)
    std::snprintf(detail, sizeof detail, "%ld:%lu", static_cast<long>(index), count);
  else
    std::snprintf(detail, sizeof detail, "%lu:%lu", index, count);
  return ComposeShortError(condition, detail, file, line);
}

text_bad_alloc::text_bad_alloc(const std::string& text) : std::bad_alloc(), m_strText(text) {}
text_bad_alloc::text_bad_alloc(const text_bad_alloc& other)
    : std::bad_alloc(other), m_strText(other.m_strText) {}
text_bad_alloc& text_bad_alloc::operator=(const text_bad_alloc& other) {
  m_strText = other.m_strText;
  return *this;
}
text_bad_alloc::~text_bad_alloc() throw() {}
const char* text_bad_alloc::what() const throw() { return m_strText.c_str(); }

void ThrowOutOfRange(const std::string& text) { throw std::out_of_range(text); }
void ThrowBadAlloc(const std::string& text) { throw text_bad_alloc(text); }
void ThrowInvalidArgument(const std::string& text) { throw std::invalid_argument(text); }

}  // namespace UTILS
