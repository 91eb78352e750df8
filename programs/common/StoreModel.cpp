// StoreModel.cpp - names and data records of the recorder's layout (see StoreModel.h).
#include "StoreModel.h"

namespace vkp {

const char kApplicationsRoot[] = "Applications";
const char kDefaultValueName[] = "(Default)";

Kind KindOf(uint32_t type, uint32_t flags, const std::string& name) {
  switch (type) {
    case kTypeDrive:
      return name == kApplicationsRoot ? Kind::kApplicationsRoot : Kind::kDrive;
    case kTypeMember:
      if (flags & kFlagFile) return Kind::kFile;
      if (flags & kFlagFolder) return Kind::kFolder;
      return Kind::kOther;
    case kTypeHive:
      return Kind::kHive;
    case kTypeKey:
      return Kind::kKey;
    case kTypeValue:
      return Kind::kValue;
    case kTypeApplication:
      return Kind::kApplication;
    case kTypeNameOnly:
      return Kind::kNameOnly;
    default:
      return Kind::kOther;
  }
}

const char* KindName(Kind kind) {
  switch (kind) {
    case Kind::kDrive: return "drive";
    case Kind::kFolder: return "folder";
    case Kind::kFile: return "file";
    case Kind::kHive: return "hive";
    case Kind::kKey: return "key";
    case Kind::kValue: return "value";
    case Kind::kApplication: return "application";
    case Kind::kApplicationsRoot: return "applications";
    case Kind::kNameOnly: return "name-only";
    case Kind::kOther: break;
  }
  return "object";
}

std::string LinkTypeName(uint32_t type) {
  switch (type) {
    case kLinkParent: return "parent";
    case kLinkOwns: return "owns";
    case kLinkChanged: return "changed";
    case kLinkUses: return "uses";
    case kLinkImports: return "imports";
  }
  return "type " + std::to_string(type);
}

bool IsKnownObjectType(uint32_t type) {
  switch (type) {
    case kTypeDrive: case kTypeApplication: case kTypeMember: case kTypeHive:
    case kTypeKey: case kTypeValue: case kTypeNameOnly:
      return true;
  }
  return false;
}

namespace {
void Put(unsigned char* out, uint64_t v, int bytes) {
  for (int i = 0; i < bytes; ++i) out[i] = static_cast<unsigned char>(v >> (8 * i));
}
uint64_t Get(const unsigned char* in, int bytes) {
  uint64_t v = 0;
  for (int i = 0; i < bytes; ++i) v |= static_cast<uint64_t>(in[i]) << (8 * i);
  return v;
}
}  // namespace

void RecordData::Store(unsigned char out[24]) const {
  Put(out, a, 8);
  Put(out + 8, b, 8);
  Put(out + 16, c, 4);
  Put(out + 20, d, 4);
}

RecordData RecordData::Load(const unsigned char in[24]) {
  RecordData r;
  r.a = Get(in, 8);
  r.b = Get(in + 8, 8);
  r.c = static_cast<uint32_t>(Get(in + 16, 4));
  r.d = static_cast<uint32_t>(Get(in + 20, 4));
  return r;
}

uint64_t Fnv1a64(const void* data, size_t size, uint64_t seed) {
  const unsigned char* p = static_cast<const unsigned char*>(data);
  uint64_t h = seed;
  for (size_t i = 0; i < size; ++i) {
    h ^= p[i];
    h *= 1099511628211ULL;
  }
  return h;
}

}  // namespace vkp
