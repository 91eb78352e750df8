// UtilsRegistry against plain Win32 calls in the same run: 10,000 values written, read
// back and enumerated under a scratch key of HKEY_CURRENT_USER, as 32-bit numbers and
// as texts. Each side works on a fresh key of its own; the best of five rounds is
// reported, with the class's time over the plain calls' time. Names and texts are made
// before the clock starts on both sides (as UtilsString for the class, as plain text for
// the Win32 calls), so that the ratio is the registry class's own overhead and not the
// cost of building strings. The scratch keys are removed at the end.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "BenchClock.h"
#include "UtilsRegistry"

namespace {

using UTILS::UtilsRegistry;
using UTILS::UtilsString;

const unsigned long kValues = 10000;
const int kRounds = 5;

using bench::Now;

LONG DeleteTree(HKEY parent, const std::string& name) {
  HKEY key = nullptr;
  LONG result = RegOpenKeyExA(parent, name.c_str(), 0, KEY_ALL_ACCESS, &key);
  if (result != ERROR_SUCCESS) return result;
  char child[512];
  for (;;) {
    DWORD size = sizeof(child);
    if (RegEnumKeyExA(key, 0, child, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
      break;
    if (DeleteTree(key, child) != ERROR_SUCCESS) break;
  }
  RegCloseKey(key);
  return RegDeleteKeyA(parent, name.c_str());
}

std::string ValueName(unsigned long i) {
  char name[32];
  std::snprintf(name, sizeof name, "value%05lu", i);
  return name;
}

std::string ValueText(unsigned long i) { return "text of value " + std::to_string(i); }

// Seconds for writing, reading back and enumerating; `errors` counts wrong answers.
struct Phases {
  double write = 0, read = 0, enumerate = 0;
  unsigned long errors = 0;
};

// The names and texts of all values, made once.
struct Inputs {
  Inputs() {
    for (unsigned long i = 0; i < kValues; ++i) {
      names.push_back(ValueName(i));
      texts.push_back(ValueText(i));
      utilsNames.push_back(UtilsString(names.back().c_str()));
      utilsTexts.push_back(UtilsString(texts.back().c_str()));
    }
  }
  std::vector<std::string> names, texts;
  std::vector<UtilsString> utilsNames, utilsTexts;
};

Phases PlainCalls(const Inputs& in, const std::string& relative, bool asText) {
  Phases t;
  HKEY key = nullptr;
  if (RegCreateKeyExA(HKEY_CURRENT_USER, relative.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                      &key, nullptr) != ERROR_SUCCESS) {
    t.errors = kValues;
    return t;
  }
  double start = Now();
  for (unsigned long i = 0; i < kValues; ++i) {
    const std::string& name = in.names[i];
    LONG result;
    if (asText) {
      const std::string& text = in.texts[i];
      result =
          RegSetValueExA(key, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                         static_cast<DWORD>(text.size() + 1));
    } else {
      DWORD number = i;
      result = RegSetValueExA(key, name.c_str(), 0, REG_DWORD,
                              reinterpret_cast<const BYTE*>(&number), 4);
    }
    if (result != ERROR_SUCCESS) ++t.errors;
  }
  t.write = Now() - start;
  start = Now();
  for (unsigned long i = 0; i < kValues; ++i) {
    const std::string& name = in.names[i];
    char data[256];
    DWORD type = 0, size = 255;
    if (RegQueryValueExA(key, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(data), &size) !=
        ERROR_SUCCESS)
      ++t.errors;
    else if (asText ? in.texts[i] != std::string(data, size - 1)
                    : *reinterpret_cast<DWORD*>(data) != i)
      ++t.errors;
  }
  t.read = Now() - start;
  start = Now();
  unsigned long found = 0;
  for (DWORD index = 0;; ++index) {
    char name[256], data[256];
    DWORD nameSize = sizeof name, dataSize = sizeof data, type = 0;
    if (RegEnumValueA(key, index, name, &nameSize, nullptr, &type, reinterpret_cast<BYTE*>(data),
                      &dataSize) != ERROR_SUCCESS)
      break;
    ++found;
  }
  t.enumerate = Now() - start;
  if (found != kValues) t.errors += kValues - found;
  RegCloseKey(key);
  return t;
}

Phases ClassCalls(const Inputs& in, const std::string& full, bool asText) {
  Phases t;
  UtilsRegistry reg(UtilsString(full.c_str()), 1);
  double start = Now();
  for (unsigned long i = 0; i < kValues; ++i) {
    const UtilsString& name = in.utilsNames[i];
    int done = asText ? reg.SetValue(name, in.utilsTexts[i]) : reg.SetValue(name, i);
    if (!done) ++t.errors;
  }
  t.write = Now() - start;
  start = Now();
  UtilsString text;
  for (unsigned long i = 0; i < kValues; ++i) {
    const UtilsString& name = in.utilsNames[i];
    unsigned long number = 0;
    if (asText) {
      if (!reg.GetValue(name, text) || std::strcmp(text.c_str(), in.texts[i].c_str()) != 0)
        ++t.errors;
    } else if (!reg.GetValue(name, number) || number != i) {
      ++t.errors;
    }
  }
  t.read = Now() - start;
  start = Now();
  unsigned long found = 0;
  UtilsString name;
  unsigned long number = 0;
  while (asText ? reg.EnumValue(found, name, text, 0) : reg.EnumValue(found, name, number, 0))
    ++found;
  t.enumerate = Now() - start;
  if (found != kValues) t.errors += kValues - found;
  return t;
}

void Report(const char* what, double plain, double wrapped) {
  std::printf(
      "%-34s plain %8.1f ms  %6.2f us/op   UtilsRegistry %8.1f ms  %6.2f us/op   ratio %.2f\n",
      what, plain * 1e3, plain * 1e6 / kValues, wrapped * 1e3, wrapped * 1e6 / kValues,
      wrapped / plain);
}

}  // namespace

int main() {
  const std::string parent = "Software\\VKLinkDBBench." + std::to_string(GetCurrentProcessId());
  unsigned long errors = 0;
  Inputs in;
  for (int asText = 0; asText < 2; ++asText) {
    Phases bestPlain, bestClass;
    bestPlain.write = bestPlain.read = bestPlain.enumerate = 1e9;
    bestClass = bestPlain;
    for (int round = 0; round < kRounds; ++round) {
      std::string plainKey = parent + "\\plain" + std::to_string(round);
      std::string classKey = parent + "\\class" + std::to_string(round);
      Phases plain = PlainCalls(in, plainKey, asText != 0);
      Phases wrapped = ClassCalls(in, "HKCU\\" + classKey, asText != 0);
      errors += plain.errors + wrapped.errors;
      bestPlain.write = std::min(bestPlain.write, plain.write);
      bestPlain.read = std::min(bestPlain.read, plain.read);
      bestPlain.enumerate = std::min(bestPlain.enumerate, plain.enumerate);
      bestClass.write = std::min(bestClass.write, wrapped.write);
      bestClass.read = std::min(bestClass.read, wrapped.read);
      bestClass.enumerate = std::min(bestClass.enumerate, wrapped.enumerate);
      DeleteTree(HKEY_CURRENT_USER, plainKey);
      DeleteTree(HKEY_CURRENT_USER, classKey);
    }
    const char* kind = asText ? "text" : "32-bit";
    std::string label = std::string("write 10,000 ") + kind + " values";
    Report(label.c_str(), bestPlain.write, bestClass.write);
    label = std::string("read them back (") + kind + ")";
    Report(label.c_str(), bestPlain.read, bestClass.read);
    label = std::string("enumerate them (") + kind + ")";
    Report(label.c_str(), bestPlain.enumerate, bestClass.enumerate);
    double plainTotal = bestPlain.write + bestPlain.read + bestPlain.enumerate;
    double classTotal = bestClass.write + bestClass.read + bestClass.enumerate;
    label = std::string("all three (") + kind + ")";
    Report(label.c_str(), plainTotal, classTotal);
  }
  DeleteTree(HKEY_CURRENT_USER, parent);
  if (errors) std::printf("ERROR: %lu wrong answers\n", errors);
  return errors ? 1 : 0;
}
