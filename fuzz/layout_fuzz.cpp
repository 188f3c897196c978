// Fuzz target: raw bytes taken as a received layout's op lists, put in place
// with reserve and deserialize as the depacketizer puts them, then read as a
// renderer reads them.
//
// Input: u8 split | u16 n | n bytes of the draw list | u16 n | the resource
// list | u16 n | the binding list | the probe section of layout_reader.h.
// Lengths are little-endian; one past the input's end takes what is left.
// A non-zero split puts a list's bytes from byte split on into a second
// buffer, as a sender that returns to a list would, so that walks and
// look-ups cross buffers, also behind a first buffer of ragged length.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "fuzz/fuzz_setup.h"
#include "fuzz/layout_reader.h"
#include "orvel/layout/layout.h"

using namespace orvel;

namespace {

// Reads the next u16-prefixed part; empty when the input has run out.
void NextPart(const uint8_t* data, size_t size, size_t* at, const uint8_t** part, size_t* length) {
  *part = data + *at;
  *length = 0;
  if (size - *at < 2) {
    *at = size;
    *part = data + size;
    return;
  }
  const size_t wanted = size_t(data[*at] | data[*at + 1] << 8);
  *at += 2;
  *part = data + *at;
  *length = wanted < size - *at ? wanted : size - *at;
  *at += *length;
}

void Place(OvOpList& list, const uint8_t* bytes, size_t length, size_t split) {
  const size_t first = split && split < length ? split : length;
  if (first > 0) {
    FUZZ_CHECK(list.reserve(unsigned(first)));
    uint8_t* dst = list.deserialize(unsigned(first));
    FUZZ_CHECK(dst != nullptr);
    std::memcpy(dst, bytes, first);
  }
  if (first < length) {
    FUZZ_CHECK(list.addBuffer(unsigned(length - first)));
    uint8_t* dst = list.deserialize(unsigned(length - first));
    FUZZ_CHECK(dst != nullptr);
    std::memcpy(dst, bytes + first, length - first);
  }
  FUZZ_CHECK(list.totalUsedSize() == length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::BeginInput();
  if (size == 0) return 0;
  const size_t split = data[0];
  size_t at = 1;
  {
    OvLayout layout;
    OvOpList* lists[] = {&layout.drawList(), &layout.resourceList(), &layout.bindingList()};
    for (OvOpList* list : lists) {
      const uint8_t* part;
      size_t length;
      NextPart(data, size, &at, &part, &length);
      Place(*list, part, length, split);
    }
    fuzz::ReadLayout(layout, fuzz::ParseProbes(data + at, size - at));
    layout.reset();
    FUZZ_CHECK(!layout.loadMap() && layout.idEntries() == nullptr && layout.idCount() == 0);
  }
  FUZZ_CHECK(fuzz::HeapInUse() == 0);
  return 0;
}
