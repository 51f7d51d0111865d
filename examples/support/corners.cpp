#include "corners.h"

#include <algorithm>

namespace example {

std::vector<NuviPoint> findCorners(const Picture& picture) {
  const NuviSize size = {picture.width, picture.height};
  const int32_t step = picture.width * static_cast<int32_t>(sizeof(float));
  std::vector<float> measure(picture.pixels.size());
  auto buffer = bufferOf(
      [&](int32_t* bytes) { return nuviMinEigenValGetBufferSize_8u32f_C1R(size, 3, 5, bytes); });
  check(nuviMinEigenVal_8u32f_C1R(picture.pixels.data(), picture.step(), measure.data(), step, size,
                                  0, 3, 5, buffer.data()),
        "nuviMinEigenVal_8u32f_C1R");

  float greatest = 0.0f;
  check(nuviMinMaxIndx_32f_C1R(measure.data(), step, size, nullptr, &greatest, nullptr, nullptr),
        "nuviMinMaxIndx_32f_C1R");
  std::vector<NuviPoint> corners(measure.size());
  int32_t count = 0;
  if (std::min(picture.width, picture.height) >= 6 && greatest > 0.0f) {
    buffer = bufferOf([&](int32_t* bytes) {
      return nuviFindPeaks3x3GetBufferSize_32f_C1R(picture.width, bytes);
    });
    check(
        nuviFindPeaks3x3_32f_C1R(measure.data(), step, size, 0.01f * greatest, corners.data(),
                                 static_cast<int32_t>(corners.size()), &count, 0, 3, buffer.data()),
        "nuviFindPeaks3x3_32f_C1R");
  }
  corners.resize(static_cast<size_t>(count));
  const auto strength = [&](const NuviPoint& p) {
    return measure[static_cast<size_t>(p.y) * static_cast<size_t>(picture.width) +
                   static_cast<size_t>(p.x)];
  };
  std::stable_sort(corners.begin(), corners.end(), [&](const NuviPoint& a, const NuviPoint& b) {
    return strength(a) > strength(b);
  });
  return corners;
}

}  // namespace example
