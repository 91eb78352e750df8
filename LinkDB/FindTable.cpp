// The process-wide table of open searches (see FindTable.h).
#include "FindTable.h"

#include <mutex>
#include <new>
#include <unordered_map>

namespace vkl {
namespace {

struct Entry {
  FindKind kind;
  std::shared_ptr<void> state;
};

struct Table {
  std::mutex lock;
  std::unordered_map<unsigned long, Entry> open;
  unsigned long last = 0;
};

// Created on first use and never destroyed: searches may still be closed by client
// code that runs after the library's static objects are gone.
Table& TheTable() {
  static Table* table = new Table;
  return *table;
}

}  // namespace

unsigned long OpenFind(FindKind kind, void* state, void (*release)(void*)) {
  std::shared_ptr<void> owned;
  try {
    owned.reset(state, release);
  } catch (const std::bad_alloc&) {
    return 0;  // reset has released the state
  }
  Table& t = TheTable();
  std::lock_guard<std::mutex> guard(t.lock);
  // Handles are the next free number of a 32-bit counter: never 0, never one in use.
  unsigned long handle = t.last;
  do {
    handle = (handle + 1) & 0xFFFFFFFFul;
  } while (handle == 0 || t.open.count(handle));
  try {
    t.open.emplace(handle, Entry{kind, std::move(owned)});
  } catch (const std::bad_alloc&) {
    return 0;
  }
  t.last = handle;
  return handle;
}

std::shared_ptr<void> BorrowFind(unsigned long handle, FindKind kind) {
  Table& t = TheTable();
  std::lock_guard<std::mutex> guard(t.lock);
  auto it = t.open.find(handle);
  if (it == t.open.end() || it->second.kind != kind) return nullptr;
  return it->second.state;
}

std::shared_ptr<void> CloseFind(unsigned long handle, FindKind kind) {
  Table& t = TheTable();
  std::shared_ptr<void> state;
  std::lock_guard<std::mutex> guard(t.lock);
  auto it = t.open.find(handle);
  if (it == t.open.end() || it->second.kind != kind) return nullptr;
  state = std::move(it->second.state);
  t.open.erase(it);
  return state;
}

}  // namespace vkl
