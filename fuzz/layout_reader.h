// The reading side of a received layout, as a renderer drives it: what the
// fuzz targets do with whatever layout an input produced. It also checks the
// promises the layout makes about what it hands back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "orvel/layout/layout.h"

namespace orvel {
namespace fuzz {

// Look-ups one input asks for.
constexpr unsigned kOffsetProbes = 4;
constexpr unsigned kMaxIdProbes = 8;
// Evaluations of one input, over all its sources: enough to reach every
// expression property of a small layout, few enough that an input of
// node-sharing bombs (each up to the evaluator's visit limit) stays fast.
constexpr unsigned kMaxEvaluations = 48;

// What the reader looks up: record offsets (for getElementRef and the
// evaluator) and ids (for every findElementById form).
struct Probes {
  uint32_t offsets[kOffsetProbes];
  std::vector<std::string> ids;
};

// Reads a probe section: kOffsetProbes little-endian u32 offsets, then up to
// kMaxIdProbes ids separated by NUL bytes. A short section keeps the default
// offsets (0, 12, 48, 96) for what it lacks; no ids at all gives the ids of
// the seed layouts and the empty id.
Probes ParseProbes(const uint8_t* data, size_t size);

// loadMap; every findElementById form and getElementRef for each probe and
// each match; getPropertiesInUse; a visitor walk over every record type and a
// raw walk reading each record of the three lists whole; the evaluator on the
// root of each expression property, on each probe offset and on the offsets
// of the resource list's records, kMaxEvaluations in all. Under
// AddressSanitizer the unused end of every list buffer is unreadable
// meanwhile, so a read past a list's bytes is reported.
void ReadLayout(OvLayout& layout, const Probes& probes);

}  // namespace fuzz
}  // namespace orvel
