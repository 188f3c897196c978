#include "orvel/shader/shader.h"

#include <cstring>

#include "orvel/core/log.h"

namespace orvel {
namespace {

// (dx, -dy, a.x, dy, dx, a.y, 0, 0, 1): maps (0, 0) to a, (1, 0) to b and
// (0, 1) to the point perpendicular to the vector at the same distance.
OvMatrix GradientVectorTransform(const OvPoint& a, const OvPoint& b) {
  const float dx = b.x - a.x, dy = b.y - a.y;
  return OvMatrix(dx, -dy, a.x, dy, dx, a.y, 0, 0, 1);
}

// The caller's count, kept within the sixteen entries the info holds.
int StopCount(int count) {
  if (count >= 0 && count <= kOvMaxGradientStops) return count;
  const int kept = count < 0 ? 0 : kOvMaxGradientStops;
  Log(kLogPriorityError, "Gradient stop count %d is outside 0..16; %d stops kept\n", count, kept);
  return kept;
}

// The storage's info, or null (logged) when the maker must refuse.
OvShaderInfo* TargetInfo(OvShaderStorageBase* storage, const void* positions, const void* colors, bool pointsGiven) {
  if (!storage || !storage->memory() || !positions || !colors || !pointsGiven) {
    Log(kLogPriorityError, "Cannot make gradient: null argument\n");
    return nullptr;
  }
  return static_cast<OvShaderInfo*>(storage->memory());
}

void CopyStops(float* positionsOut, RGBA_8888* colorsOut, const float* positions, const RGBA_8888* colors, int count) {
  std::memcpy(positionsOut, positions, size_t(count) * sizeof(float));
  std::memcpy(colorsOut, colors, size_t(count) * sizeof(RGBA_8888));
}

}  // namespace

OvShaderStorageBase::OvShaderStorageBase(void* memory) : fMemory(nullptr) {
  if (!memory || reinterpret_cast<uintptr_t>(memory) % alignof(OvShaderInfo) != 0) return;
  fMemory = memory;
  static_cast<OvShaderInfo*>(memory)->cleanup = nullptr;
}

OvShaderStorageBase::~OvShaderStorageBase() {
  if (!fMemory) return;
  const OvShaderCleanupFn* table = static_cast<OvShaderInfo*>(fMemory)->cleanup;
  if (table && *table) (*table)(fMemory);
}

OvShader::OvShader(OvShader&& other) noexcept : fType(other.fType), fInfo(other.fInfo), fReserved(other.fReserved) {
  other.fInfo = nullptr;
}

OvShader& OvShader::operator=(OvShader&& other) noexcept {
  if (this != &other) {
    fType = other.fType;
    fInfo = other.fInfo;
    fReserved = other.fReserved;
    other.fInfo = nullptr;
  }
  return *this;
}

OvShader OvShader::MakeLinearGradient(OvShaderStorageBase* storage, const OvPoint pts[2], const float* positions,
                                      const RGBA_8888* colors, int count, const OvMatrix* localMatrix) {
  OvShaderInfo* info = TargetInfo(storage, positions, colors, pts != nullptr);
  if (!info) return OvShader();
  OvLinearGradientInfo& linear = info->linear;
  linear.start = pts[0];
  linear.end = pts[1];
  linear.count = StopCount(count);
  CopyStops(linear.positions, linear.colors, positions, colors, linear.count);
  OvShader shader(kLinearGradient, info);
  if (localMatrix) {
    shader.setTransform(*localMatrix);
  } else {
    info->matrix = GradientVectorTransform(pts[0], pts[1]);
  }
  return shader;
}

OvShader OvShader::MakeRadialGradient(OvShaderStorageBase* storage, const OvPoint& center0, const OvPoint& center1,
                                      float radius, const float* positions, const RGBA_8888* colors, int count,
                                      const OvMatrix* localMatrix) {
  OvShaderInfo* info = TargetInfo(storage, positions, colors, true);
  if (!info) return OvShader();
  OvRadialGradientInfo& radial = info->radial;
  radial.center0 = center0;
  radial.center1 = center1;
  radial.radius = radius;
  radial.count = StopCount(count);
  CopyStops(radial.positions, radial.colors, positions, colors, radial.count);
  info->matrix = localMatrix ? *localMatrix : OvMatrix();
  return OvShader(kRadialGradient, info);
}

void OvShader::setTransform(const OvMatrix& m) {
  if (fType == kNoShader) {
    FatalError("Setting transform on uninitialized shader!");
    return;
  }
  if (!fInfo) return;
  if (fType == kRadialGradient) {
    fInfo->matrix = m;
  } else if (fType == kLinearGradient) {
    const OvLinearGradientInfo& linear = fInfo->linear;
    fInfo->matrix =
        GradientVectorTransform(m.mapXY(linear.start.x, linear.start.y), m.mapXY(linear.end.x, linear.end.y));
  }
}

void OvShader::setGradientVectorTransform(const OvPoint& a, const OvPoint& b) {
  if (fInfo) fInfo->matrix = GradientVectorTransform(a, b);
}

OvShader::OvShaderType OvShader::getInfo(const OvShaderInfo** out) const {
  if (out) *out = fInfo;
  return fType;
}

}  // namespace orvel
