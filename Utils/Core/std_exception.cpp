// UTILS::std_exception and its composed record.
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
#include "std_exception"

#include <cstdio>
#include <typeinfo>

namespace UTILS {

const char* const kThreadAlreadySpawned =
    "The thread has already been spawned.  Cannot execute the command.";
const char* const kCannotCreateThread = "Cannot create thread.";
const char* const kThreadNotSpawned =
    "The thread has not been spawned yet.  Cannot execute the command.";
const char* const kPathnameIsNull = "The input pathname is NULL";
const char* const kFindFileError = "Error in the FindFile Command";

namespace {

std::string Unsigned(unsigned long value) {
  char text[32];
  std::snprintf(text, sizeof text, "%lu", value);
  return text;
}

}  // namespace

std_exception::std_exception() : std::exception(), m_Message(1UL) {
  m_Message.Append("Exception Name:  ");
  m_Message.Append(derived_class());
}

std_exception::std_exception(const char* condition, const char* file, unsigned long type,
                             unsigned long line, unsigned long error, int describeError)
    : std::exception(), m_Message(1UL) {
  Compose(condition, file, Unsigned(type).c_str(), Unsigned(line).c_str(),
          error ? Unsigned(error).c_str() : "", error, describeError);
}

std_exception::std_exception(const UtilsString& condition, const char* file, unsigned long type,
                             unsigned long line, unsigned long error, int describeError)
    : std::exception(), m_Message(1UL) {
  Compose(condition.c_str(), file, Unsigned(type).c_str(), Unsigned(line).c_str(),
          error ? Unsigned(error).c_str() : "", error, describeError);
}

std_exception::std_exception(const UtilsString& condition, const UtilsString& file,
                             const UtilsString& type, const UtilsString& line,
                             const UtilsString& error)
    : std::exception(), m_Message(1UL) {
  Compose(condition.c_str(), file.c_str(), type.c_str(), line.c_str(), error.c_str(), 0, 0);
}

std_exception::std_exception(const std_exception& other)
    : std::exception(), m_Message(other.m_Message) {}

std_exception& std_exception::operator=(const std_exception& other) {
  if (this != &other) CopyData(other);
  return *this;
}

std_exception::~std_exception() throw() {}

void std_exception::CopyData(const std_exception& other) { m_Message = other.m_Message; }

void std_exception::Compose(const char* condition, const char* file, const char* type,
                            const char* line, const char* error, unsigned long errorNumber,
                            int describeError) {
  if (m_Message.length() != 0) m_Message.Erase();
  m_Message.Append("File:  ");
  m_Message.Append(file ? file : "");
  m_Message.Append("; ");
  m_Message.Append("Line Number:  ");
  m_Message.Append(line);
  m_Message.Append("; ");
  m_Message.Append("Exception Name:  ");
  m_Message.Append(derived_class());
  m_Message.Append("; ");
  m_Message.Append("Type:  ");
  m_Message.Append(type);
  m_Message.Append("; ");
  if (error && *error) {
    m_Message.Append("Error Number: ");
    m_Message.Append(error);
    m_Message.Append("; ");
    if (errorNumber && describeError) {
      m_Message.Append("WinError Description: ");
      m_Message.SetErrorMsg(errorNumber, 0);
      m_Message.Append("; ");
    }
  }
  m_Message.Append("Error Condition:  ");
  m_Message.Append(condition ? condition : "");
}

const char* std_exception::what() const throw() { return m_Message.c_str(); }

std_exception::operator const char*() const { return what(); }

void std_exception::_Doraise() const { throw std_exception(*this); }

const char* std_exception::derived_class() const { return ReadableTypeName(typeid(*this)); }

}  // namespace UTILS
