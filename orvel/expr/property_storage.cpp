#include "orvel/expr/property_storage.h"

#include <cstring>

namespace orvel {

namespace {

// Every byte of the slot, so that a former String leaves nothing behind.
void Clear(Property* slot) { std::memset(static_cast<void*>(slot), 0, sizeof(*slot)); }

}  // namespace

OvPropertyClient::~OvPropertyClient() = default;

OvPropertyStorage* OvPropertyStorage::getInstance() {
  static OvPropertyStorage instance;
  return &instance;
}

OvPropertyStorage::OvPropertyStorage() : client(nullptr) {}

void OvPropertyStorage::reset() {
  for (Property& slot : values) Clear(&slot);
}

Property* OvPropertyStorage::get(unsigned short id) {
  if (id >= kSlotCount) {
    Clear(&fScratch);
    return &fScratch;
  }
  maybeFetchPropertyFromClient(id);
  return &values[id];
}

void OvPropertyStorage::maybeFetchPropertyFromClient(unsigned short id) {
  if (id < kSlotCount && client && id < client->propertyCount) client->fetchProperty(id, &values[id]);
}

}  // namespace orvel
