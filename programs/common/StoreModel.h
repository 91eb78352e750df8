// StoreModel.h - how vkrecord lays out what it records in a link database, and the names
// vkrecord and vkdb print for it.
//
// Objects (the types are the ones the database itself interprets, so that full paths,
// path lookups, name-only resolution and the protection test work on them):
//   type 1      a drive ("C:"), and the root "Applications" under which every application
//               object hangs (a root of its own gives an application a full path, which the
//               dependency queries need);
//   type 4      a folder (flag kFlagFolder) or a file (flag kFlagFile) under its parent;
//   type 8      a registry hive, always by its short name ("HKLM", "HKCU", ...);
//   type 16     a registry key under its parent;
//   type 32     a registry value under its key, named by the value's name ("(Default)"
//               for the unnamed one);
//   type 2      an application, under the "Applications" root;
//   type 0x1000 a DLL known by name only, as a program or DLL imports it.
// Links: type 1 joins a parent to each member; an application links to each thing it
// brought (kLinkOwns), to each thing that was there before and that it changed
// (kLinkChanged), and to each thing it refers to without having brought it
// (kLinkUses: a resolved import, a shortcut's target, a file its registry data names);
// a program or DLL links to the name-only object of each DLL it imports (kLinkImports).
#ifndef VKPROGRAMS_STORE_MODEL_H
#define VKPROGRAMS_STORE_MODEL_H

#include <stdint.h>

#include <string>

namespace vkp {

// Object types.
const uint32_t kTypeDrive = 1;
const uint32_t kTypeApplication = 2;
const uint32_t kTypeMember = 4;  // folders and files
const uint32_t kTypeHive = 8;
const uint32_t kTypeKey = 16;
const uint32_t kTypeValue = 32;
const uint32_t kTypeNameOnly = 0x1000;

// Object flags (the client's own bits of dwFlags).
const uint32_t kFlagFolder = 0x1;
const uint32_t kFlagFile = 0x2;

// Link types.
const uint32_t kLinkParent = 1;
const uint32_t kLinkOwns = 0x10;
const uint32_t kLinkChanged = 0x20;
const uint32_t kLinkUses = 0x40;
const uint32_t kLinkImports = 0x80;
// The links from an application to what it refers to.
const uint32_t kLinkRefers = kLinkOwns | kLinkChanged | kLinkUses;

// The name of the root of the application objects.
extern const char kApplicationsRoot[];
// The name of a registry key's unnamed value.
extern const char kDefaultValueName[];

// What an object is, from its type and flags.
enum class Kind { kDrive, kFolder, kFile, kHive, kKey, kValue, kApplication, kApplicationsRoot, kNameOnly, kOther };
Kind KindOf(uint32_t type, uint32_t flags, const std::string& name);
const char* KindName(Kind kind);
// "owns", "changed", "uses", "imports", "parent" or "type N".
std::string LinkTypeName(uint32_t type);
// True for the object types the database interprets (see above).
bool IsKnownObjectType(uint32_t type);

// The 24 bytes of client data recorded with a file or a registry value.
struct RecordData {
  // Files: size, last-write time (FILETIME), attributes. Values: registry type, data
  // size, and a hash (FNV-1a, 64 bits) of the data.
  uint64_t a = 0;
  uint64_t b = 0;
  uint32_t c = 0;
  uint32_t d = 0;
  void Store(unsigned char out[24]) const;
  static RecordData Load(const unsigned char in[24]);
  bool operator==(const RecordData& o) const { return a == o.a && b == o.b && c == o.c && d == o.d; }
  bool operator!=(const RecordData& o) const { return !(*this == o); }
};

// FNV-1a, 64 bits.
uint64_t Fnv1a64(const void* data, size_t size, uint64_t seed = 14695981039346656037ULL);

}  // namespace vkp

#endif
