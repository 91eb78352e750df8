// NameDirectory.h - an accelerator beside the name index. The name index hashes a name
// into one of 16,384 buckets by a hash that keeps only the last few characters, so
// names that differ early (F0001.DAT, F0002.DAT, ...) share a bucket and a lookup walks
// all of them. The directory answers the same question - which nodes of bucket B hold
// a record whose current name is N, newest first - from a table keyed by the whole
// name, without walking the chain.
//
// It mirrors the chains exactly: every push of a node on a name bucket, every removal,
// and every rename of a record is reported to it. A record renamed with SetName stays
// in the bucket it was indexed in, so each entry remembers its bucket. If the
// directory ever cannot keep up (memory) it turns itself off and lookups walk the
// chains again.
#ifndef VKLINKDB_NAMEDIRECTORY_H
#define VKLINKDB_NAMEDIRECTORY_H

#include <stddef.h>
#include <stdint.h>
#include <utility>
#include <vector>

struct IndexNode;

namespace vkl {

class NameDirectory {
 public:
  NameDirectory() = default;
  NameDirectory(const NameDirectory&) = delete;
  NameDirectory& operator=(const NameDirectory&) = delete;

  bool Valid() const { return m_bValid; }
  void Invalidate();

  // A node for a record named `name` was pushed at the head of name bucket `bucket`.
  void Added(IndexNode* node, uint32_t bucket, const char* name);
  // A node was unlinked from its bucket; `name` is its record's current name.
  void Removed(IndexNode* node, const char* name);
  // The current name of `record` changes from oldName to newName (either may be null).
  void Renamed(const void* record, const char* oldName, const char* newName);
  // The nodes of `bucket` whose record is currently named `name` (ASCII case ignored),
  // in chain order: newest pushed first, each with its push number. Only meaningful
  // while Valid(); the list is reused by the next call.
  typedef std::vector<std::pair<uint32_t, IndexNode*>> CandidateList;
  const CandidateList& Candidates(uint32_t bucket, const char* name);

 private:
  struct Entry {
    uint32_t dwKey;     // hash of the record's current name, case folded
    uint32_t dwSeq;     // push order: a higher number was pushed later
    uint16_t wBucket;   // the name bucket the node is in
    IndexNode* pNode;   // null: free slot
  };

  static uint32_t Key(const char* name);
  bool Insert(const Entry& e);
  void EraseAt(size_t slot);
  size_t FindSlot(uint32_t key, const void* record) const;

  CandidateList m_Candidates;
  std::vector<Entry> m_Slots;  // open addressing, linear probing, size a power of two
  size_t m_nUsed = 0;
  uint32_t m_dwNextSeq = 0;
  bool m_bValid = true;
};

}  // namespace vkl

#endif
