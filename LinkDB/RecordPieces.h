// RecordPieces.h - how records lie in the arena. Each record is carved in one piece
// together with the index nodes that are pushed for it and a few words the accelerators
// keep for it (Accelerators.h), so that all of them are found from the record itself:
//
//   object: [DBObject][id node][ObjectExtra][name node][name, NUL]
//   link:   [DBLink][link node]
//
// The nodes are the IndexNode of the database's hash indexes, pushed on their chains as
// ever. The name node is there only for an object that enters the name index (named, of
// a type in 0x103F); the name only for a named object. Records and nodes lie back to
// back without padding, like every arena piece.
#ifndef VKLINKDB_RECORDPIECES_H
#define VKLINKDB_RECORDPIECES_H

#include <stddef.h>
#include <stdint.h>
#include "VKLinkDB.h"

struct IndexNode {
  IndexNode* pNext;
  void* pRecord;
};

namespace vkl {

// A 32-bit reference to a place in the arena (Accelerators::Deref); 0 is none. In the
// 32-bit library it is the address itself.
typedef uint32_t PieceRef;

#pragma pack(push, 1)
// What the accelerators keep for an object beside its record.
struct ObjectExtra {
  PieceRef dwListPrev;     // the record before this one in the object list; 0 at the head
  uint32_t dwChildParent;  // parent id of the object's own entry in the child index
  PieceRef dwChildNext;    // id node of the next object in that entry's bucket; kChainEnd
                           // for the last one; 0 while the object has no entry
};
#pragma pack(pop)

enum : PieceRef { kChainEnd = 1 };  // never a reference (Accelerators::Deref)
inline bool IsRef(PieceRef r) { return r > kChainEnd; }
enum : uint16_t { kNoNameBucket = 0xFFFF };

inline unsigned char* PieceBytes(const void* p) { return static_cast<unsigned char*>(const_cast<void*>(p)); }

inline bool EntersNameIndex(const char* name, uint32_t type) { return name && name[0] && (type & 0x103F); }

inline size_t ObjectPieceSize(bool byName, uint32_t nameLength) {
  return sizeof(DBObject) + sizeof(IndexNode) + sizeof(ObjectExtra) + (byName ? sizeof(IndexNode) : 0) +
         (nameLength ? nameLength + 1 : 0);
}
inline IndexNode* OwnIdNode(DBObject* o) { return reinterpret_cast<IndexNode*>(PieceBytes(o) + sizeof(DBObject)); }
inline ObjectExtra* Extra(const DBObject* o) {
  return reinterpret_cast<ObjectExtra*>(PieceBytes(o) + sizeof(DBObject) + sizeof(IndexNode));
}
// Only for an object whose piece has a name node (it entered the name index).
inline IndexNode* OwnNameNode(DBObject* o) {
  return reinterpret_cast<IndexNode*>(PieceBytes(o) + sizeof(DBObject) + sizeof(IndexNode) + sizeof(ObjectExtra));
}
inline char* PieceName(DBObject* o, bool byName) {
  return reinterpret_cast<char*>(PieceBytes(o) + ObjectPieceSize(byName, 0));
}

inline size_t LinkPieceSize() { return sizeof(DBLink) + sizeof(IndexNode); }
inline IndexNode* OwnLinkNode(DBLink* l) { return reinterpret_cast<IndexNode*>(PieceBytes(l) + sizeof(DBLink)); }

}  // namespace vkl

#endif
