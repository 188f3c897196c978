// OvPropertyStorage: the process-wide table of current property values that
// expressions read by property id, and OvPropertyClient, the provider a client
// application attaches to have slots refreshed before they are read.
#pragma once

#include <cstdint>

#include "orvel/core/export.h"
#include "orvel/expr/property.h"

namespace orvel {

// A provider of property values, implemented by the client application. Its
// first virtual operation is fetchProperty, and propertyCount sits directly
// behind the virtual table pointer.
class ORVEL_API OvPropertyClient {
 public:
  explicit OvPropertyClient(uint16_t count) : propertyCount(count) {}
  // Writes the current value of property id into slot (never null).
  virtual void fetchProperty(unsigned short id, Property* slot) = 0;
  virtual ~OvPropertyClient();

  // Ids 0 .. propertyCount - 1 are fetched; others are not.
  uint16_t propertyCount;
};

class ORVEL_API OvPropertyStorage {
 public:
  // Slots for property ids 0 .. 40.
  static constexpr unsigned kSlotCount = 41;

  // The single instance, constructed on first call under a thread-safe guard;
  // it lives for the whole process.
  static OvPropertyStorage* getInstance();

  // Every slot None; no client.
  OvPropertyStorage();
  OvPropertyStorage(const OvPropertyStorage&) = delete;
  OvPropertyStorage& operator=(const OvPropertyStorage&) = delete;

  // Returns every slot to None (all its bytes zero); the client stays attached.
  void reset();

  // Asks the client to refresh slot id first when one is attached and id is
  // below its count, then returns the slot. An id of 41 or more (ids come from
  // received node records) fetches nothing and returns a scratch slot zeroed
  // on each such call, so the caller always reads None there.
  Property* get(unsigned short id);

  // The conditional fetch of get() without returning the slot; ids of 41 or
  // more do nothing.
  void maybeFetchPropertyFromClient(unsigned short id);

  // The current values, indexed by property id.
  Property values[kSlotCount];
  // The provider, or null. Not owned; the client application assigns it and
  // keeps it alive while attached.
  OvPropertyClient* client;

 private:
  Property fScratch;
};

}  // namespace orvel
