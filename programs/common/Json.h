// Json.h - the few pieces of JSON output the programs need.
#ifndef VKPROGRAMS_JSON_H
#define VKPROGRAMS_JSON_H

#include <string>

namespace vkp {

// `text` as a JSON string literal, quotes included. Names in a store are ANSI bytes of
// no known code page: a byte of 0x80 or above is written as the code point of the same
// number (as Latin-1 reads it), so that the output is always valid JSON.
std::string JsonString(const std::string& text);

}  // namespace vkp

#endif
