#include "orvel/text/typeface_storage.h"

#include <cstring>
#include <utility>

#include "orvel/core/memory.h"

namespace orvel {

OvTypefaceStorage& OvTypefaceStorage::getInstance() {
  static OvTypefaceStorage instance;
  return instance;
}

OvTypefaceStorage::OvTypefaceStorage() { fEntries.max_load_factor(kMaxLoadFactor); }

OvTypefaceStorage::~OvTypefaceStorage() {
  // At exit the backend may be gone already: it is not told.
  for (const auto& item : fEntries) drop(item.second, false);
}

const OvTypeface* OvTypefaceStorage::insert(const OvTypeface& typeface, bool owned) {
  return &fEntries.emplace(typeface.id, TypefaceEntry{typeface, owned}).first->second.typeface;
}

const OvTypeface* OvTypefaceStorage::allocate(unsigned int id, unsigned int size, const unsigned char* data) {
  // A zero-byte typeface still gets a block of its own, so that a null
  // result always means failure.
  auto* bytes = static_cast<unsigned char*>(OvMalloc(size ? size : 1));
  if (!bytes) return nullptr;
  if (data) {
    std::memcpy(bytes, data, size);
  } else {
    std::memset(bytes, 0, size);
  }
  const OvTypeface* stored = insert(OvTypeface(bytes, size, nullptr, id, false), true);
  if (stored->data != bytes) OvFree(bytes);  // the id was present: its entry stands
  return stored;
}

const OvTypeface* OvTypefaceStorage::import(unsigned int id, unsigned int size, const unsigned char* data) {
  if (!data) return nullptr;
  return insert(OvTypeface(data, size, nullptr, id, false), false);
}

const OvTypeface* OvTypefaceStorage::find(unsigned int id) {
  const auto it = fEntries.find(id);
  return it == fEntries.end() ? nullptr : &it->second.typeface;
}

void OvTypefaceStorage::drop(const TypefaceEntry& entry, bool tellBackend) {
  if (tellBackend) {
    if (OvFontBackend* backend = GetFontBackend()) backend->forgetTypeface(entry.typeface);
  }
  if (entry.owned) OvFree(const_cast<unsigned char*>(entry.typeface.data));
}

void OvTypefaceStorage::release(const OvTypeface* typeface) {
  if (!typeface) return;
  const auto it = fEntries.find(typeface->id);
  if (it == fEntries.end()) return;
  drop(it->second, true);
  fEntries.erase(it);
}

void OvTypefaceStorage::reset() {
  for (const auto& item : fEntries) drop(item.second, true);
  fEntries.clear();
}

}  // namespace orvel
