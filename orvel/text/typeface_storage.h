// OvTypefaceStorage: the process-wide registry from typeface ids to
// OvTypeface values. Op records name typefaces by id; the rendering side finds
// the font bytes again here. For entries made by allocate the storage owns the
// bytes (allocated through OvMalloc, freed through OvFree); imported entries
// point at bytes that stay the caller's.
//
// Ids are unique keys: inserting an id that is present keeps the existing
// entry unchanged and returns it. There is no reference count; an entry lives
// from its insertion to its release or the next reset. Returned pointers
// point at the stored value and stay valid until then.
//
// No lock: only the singleton's first construction is safe against
// concurrent use; every other call must be serialised by the caller. The map
// itself allocates with operator new, whose failure ends the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "orvel/core/export.h"
#include "orvel/text/font.h"

namespace orvel {

class ORVEL_API OvTypefaceStorage {
 public:
  static constexpr float kMaxLoadFactor = 1.0f;

  // The singleton, constructed on the first call under a thread-safe
  // one-time guard and destroyed at exit (freeing what it owns).
  static OvTypefaceStorage& getInstance();

  // An empty store. Layouts resolve ids through getInstance(); separate
  // stores serve tests and tools.
  OvTypefaceStorage();
  ~OvTypefaceStorage();
  OvTypefaceStorage(const OvTypefaceStorage&) = delete;
  OvTypefaceStorage& operator=(const OvTypefaceStorage&) = delete;

  // A typeface over a new buffer of size bytes that the storage owns (an id
  // of 0 takes a fresh id; null context, weight not adjustable), filled from
  // data when data is non-null and zero-filled otherwise (never handed out
  // uninitialised). Null when the buffer cannot be had, with nothing changed.
  // When the id is present already, the existing entry is returned unchanged
  // and the new buffer is freed at once (it is never leaked).
  const OvTypeface* allocate(unsigned int id, unsigned int size, const unsigned char* data);

  // A typeface over data itself, which stays the caller's and must outlive
  // the entry (same id rule). A present id returns the earlier entry and the
  // new bytes are ignored. Null for null data.
  const OvTypeface* import(unsigned int id, unsigned int size, const unsigned char* data);

  // The stored typeface with this id, or null.
  const OvTypeface* find(unsigned int id);

  // Erases the entry with typeface->id, freeing its bytes when the storage
  // owns them; an unknown id or a null typeface does nothing. The bytes freed
  // are always the stored entry's, never those of the argument (which may be
  // a copy pointing elsewhere). The installed font backend is told first.
  void release(const OvTypeface* typeface);

  // Frees the bytes of every owned entry and removes all entries (the bucket
  // array stays). The installed font backend is told of each entry first.
  // Ids handed out before are not reused: the id counter is not reset.
  void reset();

  // Number of entries.
  size_t size() const { return fEntries.size(); }

 private:
  struct TypefaceEntry {
    OvTypeface typeface;
    bool owned;  // the storage allocated typeface.data and frees it
  };

  const OvTypeface* insert(const OvTypeface& typeface, bool owned);
  // Frees an entry's bytes when owned, telling the backend first when asked.
  static void drop(const TypefaceEntry& entry, bool tellBackend);

  std::unordered_map<uint32_t, TypefaceEntry> fEntries;
};

}  // namespace orvel
