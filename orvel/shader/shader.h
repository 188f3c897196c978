// Shader objects: how a fill is coloured, here by a linear or a radial
// gradient of up to sixteen colour stops. An OvShader is a small handle (a
// type and a pointer) that a paint carries; the description it points at, an
// OvShaderInfo, lives in memory the caller supplies through an
// OvShaderStorageBase. Making a shader never allocates. The span shaders that
// turn an info into pixels are in orvel/shader/gradient_shader.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "orvel/core/color.h"
#include "orvel/core/export.h"
#include "orvel/core/geometry.h"
#include "orvel/core/matrix.h"

namespace orvel {

// The most colour stops one gradient holds.
constexpr int kOvMaxGradientStops = 16;

// A clean-up table: when a storage is destroyed with a non-null hook word in
// its memory, the table's first entry, if non-null, is called with the memory.
using OvShaderCleanupFn = void (*)(void* memory);

// A linear gradient: t runs from 0 at start to 1 at end. Positions are the
// stops' offsets in [0, 1], ascending; colours are the stops' colours; count
// says how many of the sixteen entries are used.
struct OvLinearGradientInfo {
  OvPoint start;
  OvPoint end;
  float positions[kOvMaxGradientStops];
  RGBA_8888 colors[kOvMaxGradientStops];
  int32_t count;
};

// A radial gradient: circles from the first centre to the second one. Stops as
// for the linear gradient, in another order.
struct OvRadialGradientInfo {
  OvPoint center0;
  OvPoint center1;
  float radius;
  int32_t count;
  float positions[kOvMaxGradientStops];
  RGBA_8888 colors[kOvMaxGradientStops];
};

// Byte picture of the kind-specific part (offsets from its start):
//   linear: 0 start, 8 end, 16 positions[16], 80 colours[16], 144 count; 148 bytes
//   radial: 0 centre0, 8 centre1, 16 radius, 20 count, 24 positions[16],
//           88 colours[16]; 152 bytes
static_assert(sizeof(OvLinearGradientInfo) == 148 && offsetof(OvLinearGradientInfo, end) == 8 &&
                  offsetof(OvLinearGradientInfo, positions) == 16 && offsetof(OvLinearGradientInfo, colors) == 80 &&
                  offsetof(OvLinearGradientInfo, count) == 144,
              "OvLinearGradientInfo layout");
static_assert(sizeof(OvRadialGradientInfo) == 152 && offsetof(OvRadialGradientInfo, center1) == 8 &&
                  offsetof(OvRadialGradientInfo, radius) == 16 && offsetof(OvRadialGradientInfo, count) == 20 &&
                  offsetof(OvRadialGradientInfo, positions) == 24 && offsetof(OvRadialGradientInfo, colors) == 88,
              "OvRadialGradientInfo layout");

// The description a shader points at. Layout (32-bit target):
//   offset 0   clean-up hook word (pointer, null unless the client sets it)
//   offset 4   matrix, 9 floats: gradient space to drawing space
//   offset 40  OvLinearGradientInfo or OvRadialGradientInfo
// On a 64-bit host the hook word is 8 bytes and what follows moves by 4.
struct OvShaderInfo {
  const OvShaderCleanupFn* cleanup = nullptr;
  OvMatrix matrix;
  union {
    OvLinearGradientInfo linear;
    OvRadialGradientInfo radial;
  };
};

static_assert(offsetof(OvShaderInfo, matrix) == sizeof(void*) &&
                  offsetof(OvShaderInfo, linear) == sizeof(void*) + sizeof(OvMatrix) &&
                  offsetof(OvShaderInfo, radial) == sizeof(void*) + sizeof(OvMatrix),
              "OvShaderInfo layout");

// Caller memory for one OvShaderInfo. Construction sets the memory's hook word
// to null; destruction calls the hook as OvShaderCleanupFn describes. The
// gradient makers leave the hook null, so destroying the storage then does
// nothing.
class ORVEL_API OvShaderStorageBase {
 public:
  // memory: room for one OvShaderInfo, aligned for it; not owned, must outlive
  // the storage and every shader made in it. Null or misaligned memory is not
  // kept (memory() is null, nothing is written) and the makers refuse it.
  explicit OvShaderStorageBase(void* memory);
  virtual ~OvShaderStorageBase();
  OvShaderStorageBase(const OvShaderStorageBase&) = delete;
  OvShaderStorageBase& operator=(const OvShaderStorageBase&) = delete;

  void* memory() const { return fMemory; }

 private:
  void* fMemory;
};

// A handle to a gradient description: a type, a pointer to the OvShaderInfo
// (not owned) and a reserved word that is always 0. Moving copies the three
// words and leaves the source with its type but a null info.
class ORVEL_API OvShader {
 public:
  enum OvShaderType : int32_t {
    kNoShader = 0,
    kLinearGradient = 1,
    kRadialGradient = 2,
  };

  // Type 0, no info.
  OvShader() = default;
  OvShader(OvShaderType type, void* info) : fType(type), fInfo(static_cast<OvShaderInfo*>(info)) {}
  OvShader(OvShader&& other) noexcept;
  OvShader& operator=(OvShader&& other) noexcept;
  ~OvShader() {}

  // Fills storage's info with pts, the first count positions and colours and
  // the count, and returns a type-1 shader over it. Without localMatrix the
  // info's matrix is the gradient vector transform of pts[0] -> pts[1];
  // with one, setTransform(*localMatrix) is applied to the result.
  // A count above 16 is clamped to 16 and a negative one to 0, with the log
  // line "Gradient stop count %d is outside 0..16; %d stops kept\n". A null
  // storage, storage memory, pts, positions or colours is refused with the log
  // line "Cannot make gradient: null argument\n" and a type-0 shader.
  static OvShader MakeLinearGradient(OvShaderStorageBase* storage, const OvPoint pts[2], const float* positions,
                                     const RGBA_8888* colors, int count, const OvMatrix* localMatrix);
  // The same for a type-2 shader: two centres, a radius and the stops. The
  // info's matrix is *localMatrix, or the identity without one.
  static OvShader MakeRadialGradient(OvShaderStorageBase* storage, const OvPoint& center0, const OvPoint& center1,
                                     float radius, const float* positions, const RGBA_8888* colors, int count,
                                     const OvMatrix* localMatrix);

  // Type 2: the info's matrix becomes m. Type 1: the stored start and end
  // (kept as they are) are mapped through m and the info's matrix becomes the
  // gradient vector transform of the mapped points. Type 0: the fatal line
  // "Setting transform on uninitialized shader!" and nothing else. Other
  // types, and a null info (a moved-from shader): nothing.
  void setTransform(const OvMatrix& m);
  // The info's matrix becomes the gradient vector transform of a -> b,
  // whatever the type: (dx, -dy, a.x, dy, dx, a.y, 0, 0, 1) with (dx, dy) = b - a.
  // A null info: nothing.
  void setGradientVectorTransform(const OvPoint& a, const OvPoint& b);
  // Writes the info pointer to *out (when out is non-null) and returns the type.
  OvShaderType getInfo(const OvShaderInfo** out) const;

 private:
  OvShaderType fType = kNoShader;
  OvShaderInfo* fInfo = nullptr;
  uint32_t fReserved = 0;
};

static_assert(sizeof(OvShader) == 3 * sizeof(void*), "OvShader is three words");

}  // namespace orvel
