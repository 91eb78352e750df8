// StoreCheck.cpp - see StoreCheck.h.
#include "StoreCheck.h"

#include <set>
#include <unordered_map>

#include "StoreModel.h"

namespace vkp {

namespace {

const uint32_t kIdMask = 0x3FFFFFFF;

struct Index {
  std::unordered_map<uint32_t, const RawObject*> objects;
  std::unordered_map<uint32_t, const RawLink*> links;
  explicit Index(const StoreImage& image) {
    for (const RawObject& o : image.objects) objects.emplace(o.id, &o);
    for (const RawLink& l : image.links) links.emplace(l.id, &l);
  }
};

std::string Describe(const RawObject& o) {
  return "object " + std::to_string(o.id) + (o.name.empty() ? "" : " (" + o.name + ")");
}

bool PathType(uint32_t type) {
  return type == kTypeApplication || type == kTypeMember || type == kTypeKey || type == kTypeValue;
}

std::string Path(const Index& index, const RawObject& o, int depth) {
  if (depth >= 260) return "";
  if (o.type == kTypeDrive || o.type == kTypeHive) return o.name;
  if (!PathType(o.type)) return "";
  for (uint32_t entry : o.to) {
    auto l = index.links.find(entry & kIdMask);
    if (l == index.links.end() || l->second->type != kLinkParent || l->second->target != o.id) continue;
    auto parent = index.objects.find(l->second->source);
    if (parent == index.objects.end()) continue;
    std::string above = Path(index, *parent->second, depth + 1);
    if (!above.empty()) return above + "\\" + o.name;
  }
  return "";
}

void CheckGeneration(const StoreImage& image, CheckResult* result) {
  if (!image.genValid) return;
  bool fits[2], recovered[2];
  for (int i = 0; i < 2; ++i) {
    const StoreImage::Seal& seal = i ? image.genLink : image.genObj;
    const RawFile& file = i ? image.link : image.obj;
    fits[i] = !seal.present || (file.present && file.size == seal.size && file.crc == seal.crc);
    recovered[i] = false;
    for (const StoreImage::Temporary& t : image.temporaries)
      if (t.name == std::string(i ? "link.dat" : "obj.dat") + ".tmp" && t.size == seal.size && t.crc == seal.crc)
        recovered[i] = true;
  }
  for (int i = 0; i < 2; ++i)
    if (!fits[i] && recovered[i])
      result->notes.push_back(std::string(i ? "link.dat" : "obj.dat") +
                              " is older than store.gen says; the library loads " + (i ? "link" : "obj") +
                              ".dat.tmp, left by a flush that ended after its commit");
  bool good0 = fits[0] || recovered[0], good1 = fits[1] || recovered[1];
  if (good0 != good1)
    result->findings.push_back("obj.dat and link.dat come from two different flushes (store.gen seals only " +
                               std::string(good0 ? "obj.dat" : "link.dat") + "); the library rejects the pair");
  else if (!good0)
    result->notes.push_back("store.gen describes neither file: they were written by a writer that keeps no "
                            "generation file, and the library loads them as they are");
}

}  // namespace

std::string RawPath(const StoreImage& image, uint32_t id, bool* tooLong) {
  Index index(image);
  *tooLong = false;
  auto o = index.objects.find(id);
  if (o == index.objects.end()) return "";
  std::string path = Path(index, *o->second, 0);
  *tooLong = path.size() > 259;
  return path;
}

CheckResult CheckStore(const StoreImage& image, const LoadedStore* loaded) {
  CheckResult r;
  r.findings = image.damage;
  if (loaded && (loaded->Status() & VKU_LOAD_OUTCOME_MASK) == VKU_LOAD_REJECTED)
    r.findings.push_back("the library rejected the store: a client attaching it starts with an empty store");
  CheckGeneration(image, &r);
  for (const StoreImage::Temporary& t : image.temporaries)
    r.notes.push_back(t.name + " is left over from a flush");

  Index index(image);
  std::set<uint32_t> seenObjects, seenLinks;
  for (const RawObject& o : image.objects) {
    if (!seenObjects.insert(o.id).second)
      r.findings.push_back("object id " + std::to_string(o.id) + " appears twice in obj.dat");
    if (!IsKnownObjectType(o.type))
      r.findings.push_back(Describe(o) + " has type " + std::to_string(o.type) + ", which the library does not know");
    if (!o.persistent)
      r.findings.push_back(Describe(o) + " is written as not persistent: the library would drop it at the next write");
    if (o.from.empty() && o.to.empty())
      r.findings.push_back(Describe(o) + " has no links: the library does not write such an object again");
    for (int incoming = 0; incoming < 2; ++incoming) {
      for (uint32_t entry : incoming ? o.to : o.from) {
        uint32_t id = entry & kIdMask;
        std::string which = incoming ? "incoming" : "outgoing";
        if (entry != id)
          r.findings.push_back(Describe(o) + " lists " + which + " link " + std::to_string(id) +
                               " with run-time marks set");
        auto l = index.links.find(id);
        if (l == index.links.end()) {
          r.findings.push_back(Describe(o) + " lists " + which + " link " + std::to_string(id) +
                               ", which points nowhere: link.dat does not hold it");
          continue;
        }
        uint32_t end = incoming ? l->second->target : l->second->source;
        if (end != o.id)
          r.findings.push_back(Describe(o) + " lists link " + std::to_string(id) + " as " + which + ", but the link " +
                               (incoming ? "goes to object " : "comes from object ") + std::to_string(end));
      }
    }
    if (PathType(o.type)) {
      std::string path = Path(index, o, 0);
      if (path.empty())
        r.findings.push_back(Describe(o) + " is reached by no chain of parent links from a drive or hive");
      else if (path.size() > 259)
        r.findings.push_back(Describe(o) + " has a full path of " + std::to_string(path.size()) +
                             " characters; the library builds at most 259");
    }
  }
  for (const RawLink& l : image.links) {
    std::string name = "link " + std::to_string(l.id);
    if (!seenLinks.insert(l.id).second) r.findings.push_back(name + " appears twice in link.dat");
    if (l.type == 0) r.findings.push_back(name + " has type 0, which the library never follows or lists");
    if (!l.persistent) r.findings.push_back(name + " is written as not persistent");
    for (int side = 0; side < 2; ++side) {
      uint32_t id = side ? l.target : l.source;
      auto o = index.objects.find(id);
      if (o == index.objects.end()) {
        r.findings.push_back(name + " points nowhere: its " + (side ? "target" : "source") + ", object " +
                             std::to_string(id) + ", is not in obj.dat");
        continue;
      }
      const std::vector<uint32_t>& entries = side ? o->second->to : o->second->from;
      bool listed = false;
      for (uint32_t e : entries) listed = listed || (e & kIdMask) == l.id;
      if (!listed)
        r.findings.push_back(name + " is missing from the " + (side ? "incoming" : "outgoing") + " links of " +
                             Describe(*o->second));
    }
  }
  return r;
}

}  // namespace vkp
