// The angle of points (x, y) in degrees, from 0 to 360, by a quadratic in the ratio of the smaller
// to the larger coordinate: a polynomial of the first octant, which the others are folded onto.

#include <algorithm>
#include <cmath>

#include "core/check.h"
#include "nuvcv/geometry.h"

namespace nuv {
namespace {

// The ratio is a product with the reciprocal, each rounded once; the quadratic is fused. It is not
// exact at the ends of the octant: a ratio of 0 gives its last coefficient.
inline float angleDegrees(float y, float x) {
  const float absX = std::fabs(x);
  const float absY = std::fabs(y);
  const float reciprocal = 1.0f / std::max(std::max(absX, absY), 1e-8f);
  const float ratio = std::min(absX, absY) * reciprocal;
  float angle = fused(ratio, fused(ratio, -15.8131895f, 61.094196f), -0.14050041f);
  angle = absX < absY ? 90.0f - angle : angle;
  angle = x < 0.0f ? 180.0f - angle : angle;
  return y < 0.0f ? 360.0f - angle : angle;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuvibFastArctan_32f(const float* pSrcY, const float* pSrcX, float* pDst, int32_t length) {
  const NuvStatus status =
      Check().pointers(pSrcY, pSrcX, pDst).require(length >= 1, nuvStatusBadSize).status();
  if (status != nuvStatusOk) return status;

  NUV_IVDEP
  for (ptrdiff_t i = 0; i < length; ++i) pDst[i] = angleDegrees(pSrcY[i], pSrcX[i]);
  return nuvStatusOk;
}
