// StoreImage.cpp - see StoreImage.h.
#include "StoreImage.h"

#include <stdio.h>

#include <zlib.h>

namespace vkp {

namespace {

const uint32_t kStoreTag = 4100;
const uint32_t kGenerationTag = 4101;
const size_t kEntryFixed = 45;
const size_t kLinkRecord = 21;
const uint32_t kCountMask = 0x3FFFFFFF;

uint32_t U32(const unsigned char* p) {
  return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

bool ReadWhole(const std::string& path, std::vector<unsigned char>* out) {
  FILE* f = fopen(path.c_str(), "rb");
  if (!f) return false;
  unsigned char buffer[65536];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, f)) > 0) out->insert(out->end(), buffer, buffer + n);
  bool ok = !ferror(f);
  fclose(f);
  return ok;
}

void Header(const std::vector<unsigned char>* bytes, const char* name, RawFile* file, std::vector<std::string>* damage) {
  if (!bytes) {
    damage->push_back(std::string(name) + " is missing");
    return;
  }
  file->present = true;
  file->size = bytes->size();
  file->crc = static_cast<uint32_t>(crc32(0L, bytes->empty() ? Z_NULL : bytes->data(), static_cast<uInt>(bytes->size())));
  if (bytes->size() < 8) {
    damage->push_back(std::string(name) + " is shorter than its 8-byte header");
    return;
  }
  file->tag = U32(bytes->data());
  file->mark = U32(bytes->data() + 4);
  if (file->tag != kStoreTag)
    damage->push_back(std::string(name) + " has the tag " + std::to_string(file->tag) + ", not 4100");
  else if (file->mark == 0)
    damage->push_back(std::string(name) + " was never finished (its complete mark is 0)");
}

std::string At(uint64_t offset) { return "offset " + std::to_string(offset); }

void Objects(const std::vector<unsigned char>& b, StoreImage* image) {
  size_t at = 8;
  while (at < b.size()) {
    RawObject o;
    o.offset = at;
    size_t left = b.size() - at;
    if (left < kEntryFixed + 2) {
      image->damage.push_back("obj.dat ends inside the entry at " + At(at) + " (after " +
                              std::to_string(image->objects.size()) + " whole entries)");
      return;
    }
    const unsigned char* p = &b[at];
    o.id = U32(p + 8);
    o.type = U32(p + 12);
    o.flags = U32(p + 16);
    uint32_t from = U32(p + 20) & kCountMask, to = U32(p + 28) & kCountMask;
    o.persistent = p[36];
    o.dataSize = U32(p + 37);
    size_t nameLength = p[45] | (p[46] << 8);
    uint64_t need = kEntryFixed + 2 + nameLength + 4ull * from + 4ull * to + o.dataSize;
    if (need > left) {
      image->damage.push_back("obj.dat ends inside the entry of object " + std::to_string(o.id) + " at " + At(at) +
                              " (after " + std::to_string(image->objects.size()) + " whole entries)");
      return;
    }
    size_t q = at + kEntryFixed + 2;
    o.name.assign(reinterpret_cast<const char*>(&b[q]), nameLength);
    q += nameLength;
    for (uint32_t i = 0; i < from; ++i, q += 4) o.from.push_back(U32(&b[q]));
    for (uint32_t i = 0; i < to; ++i, q += 4) o.to.push_back(U32(&b[q]));
    o.data.assign(b.begin() + q, b.begin() + q + (o.dataSize < 24 ? o.dataSize : 24));
    at += static_cast<size_t>(need);
    image->objects.push_back(std::move(o));
  }
}

void Links(const std::vector<unsigned char>& b, StoreImage* image) {
  size_t at = 8;
  for (; at + kLinkRecord <= b.size(); at += kLinkRecord) {
    RawLink l;
    l.offset = at;
    l.id = U32(&b[at + 4]);
    l.source = U32(&b[at + 8]);
    l.target = U32(&b[at + 12]);
    l.type = U32(&b[at + 16]);
    l.persistent = b[at + 20];
    image->links.push_back(l);
  }
  if (at < b.size())
    image->damage.push_back("link.dat ends inside a link record at " + At(at) + " (after " +
                            std::to_string(image->links.size()) + " whole records)");
}

}  // namespace

StoreImage ParseStoreImage(const std::vector<unsigned char>* obj, const std::vector<unsigned char>* link) {
  StoreImage image;
  Header(obj, "obj.dat", &image.obj, &image.damage);
  Header(link, "link.dat", &image.link, &image.damage);
  if (image.obj.Valid()) Objects(*obj, &image);
  if (image.link.Valid()) Links(*link, &image);
  return image;
}

StoreImage ReadStoreImage(const std::string& folder, char separator) {
  std::string base = folder;
  if (!base.empty() && base.back() != separator) base += separator;
  std::vector<unsigned char> obj, link, gen;
  bool hasObj = ReadWhole(base + "obj.dat", &obj), hasLink = ReadWhole(base + "link.dat", &link);
  StoreImage image = ParseStoreImage(hasObj ? &obj : nullptr, hasLink ? &link : nullptr);
  for (const char* tmp : {"obj.dat.tmp", "link.dat.tmp", "store.gen.tmp"}) {
    std::vector<unsigned char> bytes;
    if (!ReadWhole(base + tmp, &bytes)) continue;
    StoreImage::Temporary t;
    t.name = tmp;
    t.size = bytes.size();
    t.crc = static_cast<uint32_t>(crc32(0L, bytes.empty() ? Z_NULL : bytes.data(), static_cast<uInt>(bytes.size())));
    image.temporaries.push_back(t);
  }
  if (ReadWhole(base + "store.gen", &gen)) {
    image.genPresent = true;
    if (gen.size() != 44 || U32(gen.data()) != kGenerationTag ||
        U32(&gen[40]) != static_cast<uint32_t>(crc32(0L, gen.data(), 40))) {
      image.damage.push_back("store.gen is damaged (the library ignores it)");
    } else {
      image.genValid = true;
      image.generation = U32(&gen[4]);
      for (int i = 0; i < 2; ++i) {
        StoreImage::Seal& seal = i == 0 ? image.genObj : image.genLink;
        const unsigned char* p = &gen[8 + 16 * i];
        seal.present = U32(p) != 0;
        seal.size = U32(p + 4) | (static_cast<uint64_t>(U32(p + 8)) << 32);
        seal.crc = U32(p + 12);
      }
    }
  }
  return image;
}

}  // namespace vkp
