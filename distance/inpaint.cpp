// Inpainting: masked pixels are filled from their surroundings, one at a time, from the outside in,
// in the order of a distance plane. A pixel becomes a weighted mean of the known pixels in a disk
// around it. Two ways to weigh them: by the distance's gradient (A. Telea, "An image inpainting
// technique based on the fast marching method", Journal of Graphics Tools, 2004), and along the
// level lines of the picture, which are so carried on into the hole (M. Bertalmio, A. L. Bertozzi
// and G. Sapiro, "Navier-Stokes, fluid dynamics, and image and video inpainting", CVPR 2001).
//
// A sorted list takes the place of the priority queue, since the distances are known beforehand.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/memory.h"
#include "core/scratch.h"
#include "morph/state.h"
#include "nuvcv/distance.h"
#include "nuvcv/morph.h"

namespace nuv {
namespace {

enum Weighting : int32_t { byDistanceGradient = 0, alongLevelLines = 1 };

// A pixel q of the disk around a pixel p.
struct Neighbour {
  int32_t minusDx;  // p - q
  int32_t minusDy;
  float weight;
  ptrdiff_t offset;       // q - p in the region's planes, in pixels
  ptrdiff_t imageOffset;  // q - p in the picture, in bytes: every call has a row step of its own
};

struct Gradient {
  int16_t x;
  int16_t y;
};

// An item of the list is a distance, widened to a double whose last bits, all zero, give way to the
// pixel's index in the region. Positive doubles are in the order of their bits. (A region with more
// pixels than the index can tell has no memory for its planes.)
constexpr uint64_t indexBits = (uint64_t{1} << 28) - 1;

}  // namespace
}  // namespace nuv

// One block. All planes cover the working region alone, row by row without gaps: the bounding box
// of the mask with a margin that holds every pixel read.
struct NuviInpaintState {
  uint8_t* mask;            // 255: to be filled, and not filled yet by this call
  uint8_t* band;            // 255: near enough to a masked pixel to be read for it
  nuv::Gradient* gradient;  // of the picture at the band's known pixels, channels interleaved
  float* distance;
  uint64_t* list;  // the pixels to be filled, in their order
  nuv::Neighbour* neighbours;
  NuviSize imageSize;
  NuviRect region;
  int32_t mode;
  int32_t listCount;
  int32_t neighbourCount;
  int32_t reach;  // the radius, truncated
};

namespace nuv {
namespace {

float reciprocalSquareRoot(float value) {
  return static_cast<float>(1.0 / std::sqrt(static_cast<double>(value)));
}

float diskWeight(int32_t mode, float squaredDistance) {
  if (mode == byDistanceGradient) {
    const float reciprocal = reciprocalSquareRoot(squaredDistance);
    return reciprocal * reciprocal * reciprocal;
  }
  return 1.0f / ((squaredDistance * squaredDistance + 1.0f) * std::sqrt(squaredDistance));
}

// The masked pixels: how many, and the rectangle around them.
struct Hole {
  int64_t pixels = 0;
  int32_t left = INT32_MAX;
  int32_t right = -1;
  int32_t top = INT32_MAX;
  int32_t bottom = -1;
};

Hole findHole(Image<const uint8_t> mask, NuviSize size) {
  Hole hole;
  const auto isOn = [](uint8_t cell) { return cell != 0; };
  for (int32_t y = 0; y < size.height; ++y) {
    const uint8_t* const row = mask.row(y);
    const int64_t pixels = size.width - std::count(row, row + size.width, 0);
    if (pixels == 0) continue;
    hole.pixels += pixels;
    hole.left =
        std::min(hole.left, static_cast<int32_t>(std::find_if(row, row + size.width, isOn) - row));
    int32_t right = size.width - 1;
    while (row[right] == 0) --right;
    hole.right = std::max(hole.right, right);
    hole.top = std::min(hole.top, y);
    hole.bottom = y;
  }
  return hole;
}

NuviRect grownRegion(const Hole& hole, int32_t margin, NuviSize size) {
  if (hole.pixels == 0) return {0, 0, 0, 0};
  const int32_t left = std::max(hole.left - margin, 0);
  const int32_t top = std::max(hole.top - margin, 0);
  const int32_t right = hole.right + std::min(margin, size.width - 1 - hole.right);
  const int32_t bottom = hole.bottom + std::min(margin, size.height - 1 - hole.bottom);
  return {left, top, right - left + 1, bottom - top + 1};
}

// The offsets of a disk in raster order.
void buildNeighbours(NuviInpaintState& state, float radius) {
  const int32_t reach = state.reach;
  for (int32_t dy = -reach; dy <= reach; ++dy) {
    for (int32_t dx = -reach; dx <= reach; ++dx) {
      const auto squaredDistance = static_cast<float>(dx * dx + dy * dy);
      if ((dx == 0 && dy == 0) || squaredDistance > radius * radius) continue;
      state.neighbours[state.neighbourCount++] = {-dx, -dy, diskWeight(state.mode, squaredDistance),
                                                  ptrdiff_t{dy} * state.region.width + dx, 0};
    }
  }
}

void buildPlanes(NuviInpaintState& state, Image<const float> distance, Image<const uint8_t> mask) {
  const NuviRect& region = state.region;
  for (int32_t y = 0; y < region.height; ++y) {
    const ptrdiff_t first = ptrdiff_t{y} * region.width;
    const float* const distanceRow = distance.row(ptrdiff_t{region.y} + y) + region.x;
    const uint8_t* const maskRow = mask.row(ptrdiff_t{region.y} + y) + region.x;
    std::copy_n(distanceRow, region.width, state.distance + first);
    for (int32_t x = 0; x < region.width; ++x) {
      state.mask[first + x] = maskRow[x] != 0 ? 255 : 0;
      if (maskRow[x] == 0 || !(distanceRow[x] > 0.0f)) continue;
      const double widened = distanceRow[x];
      uint64_t bits;
      std::memcpy(&bits, &widened, sizeof bits);
      state.list[state.listCount++] = (bits & ~indexBits) | static_cast<uint64_t>(first + x);
    }
  }
  std::sort(state.list, state.list + state.listCount);
}

// The band is what the mask becomes under the square around the disk.
NuvStatus buildBand(NuviInpaintState& state) {
  const int32_t side = 2 * state.reach + 1;
  const OwnedBlock<uint8_t> square(int64_t{side} * side);
  if (square.get() == nullptr) return nuvStatusNoMemory;
  std::memset(square.get(), 1, static_cast<size_t>(side) * static_cast<size_t>(side));

  const NuviSize size = {state.region.width, state.region.height};
  NuviMorphologyState* dilation = nullptr;
  NuvStatus status =
      ownBuildMorphologyState(nuvDataType8u, 1, size.width, square.get(), side, side, state.reach,
                              state.reach, &dilation, nullptr, StateMode::allocate, 0);
  if (status != nuvStatusOk) return status;
  status = nuviDilateBorderReplicate_8u_C1R(state.mask, size.width, state.band, size.width, size,
                                            nuvBorderReplicate, dilation);
  freeState(dilation);
  return status;
}

NuvStatus initAlloc(NuviInpaintState** ppState, const float* pDist, int32_t distStep,
                    const uint8_t* pMask, int32_t maskStep, NuviSize roiSize, float radius,
                    int32_t mode, int32_t channels) {
  const NuvStatus status =
      Check()
          .pointers(pMask, pDist, ppState)
          .size(roiSize)
          .step(pMask, maskStep, roiSize.width)
          .step(pDist, distStep, roiSize.width)
          .elementMultiple(pDist, distStep)
          .require(mode == byDistanceGradient || mode == alongLevelLines, nuvStatusBadArgument)
          .require(radius >= 1.0f, nuvStatusBadArgument)
          .status();
  if (status != nuvStatusOk) return status;

  // No table of neighbours has memory for a larger reach.
  constexpr float longestReach = 65535.0f;
  const auto reach = static_cast<int32_t>(std::min(radius, longestReach));
  const Hole hole = findHole({pMask, maskStep}, roiSize);
  const NuviRect region = grownRegion(hole, reach + 1, roiSize);
  const int64_t area = int64_t{region.width} * region.height;
  const int64_t square = hole.pixels == 0 ? 0 : (2 * int64_t{reach} + 1) * (2 * int64_t{reach} + 1);
  const auto bytesOf = [](int64_t count, size_t bytes) {
    return count * static_cast<int64_t>(bytes);
  };
  const int64_t bytes = bytesOf(1, sizeof(NuviInpaintState)) +
                        bytesOf(hole.pixels, sizeof(uint64_t)) +
                        bytesOf(square, sizeof(Neighbour)) + bytesOf(area, sizeof(float)) +
                        bytesOf(area * channels, sizeof(Gradient)) + 2 * area;
  OwnedBlock<uint8_t> block(bytes);
  if (block.get() == nullptr) return nuvStatusNoMemory;

  Scratch rest(block.get(), bytes);
  NuviInpaintState& state = *rest.take<NuviInpaintState>(1);
  state.list = rest.take<uint64_t>(hole.pixels);
  state.neighbours = rest.take<Neighbour>(square);
  state.distance = rest.take<float>(area);
  state.gradient = rest.take<Gradient>(area * channels);
  state.mask = rest.take<uint8_t>(area);
  state.band = rest.take<uint8_t>(area);
  state.imageSize = roiSize;
  state.region = region;
  state.mode = mode;
  state.listCount = 0;
  state.neighbourCount = 0;
  state.reach = reach;
  if (hole.pixels > 0) {
    buildNeighbours(state, radius);
    buildPlanes(state, {pDist, distStep}, {pMask, maskStep});
    const NuvStatus bandStatus = buildBand(state);
    if (bandStatus != nuvStatusOk) return bandStatus;
  }
  *ppState = reinterpret_cast<NuviInpaintState*>(block.release());
  return nuvStatusOk;
}

// Where a pixel of the region stands.
struct Position {
  int32_t x;
  int32_t y;
  ptrdiff_t index;  // in the region's planes
  uint8_t* pixel;   // in the picture
};

// The difference of the pixels after and before this one. It is doubled where both are known; this
// pixel stands in for a side that is masked or outside the picture.
int16_t imageDifference(const uint8_t* pixel, ptrdiff_t step, bool knowsBefore, bool knowsAfter) {
  const int32_t before = knowsBefore ? pixel[-step] : pixel[0];
  const int32_t after = knowsAfter ? pixel[step] : pixel[0];
  return static_cast<int16_t>((after - before) * (knowsBefore && knowsAfter ? 2 : 1));
}

// Twice the slope of the distance in units of 1/4096, to the nearest, from the cells on both sides
// or, at a side of the picture, from one.
int32_t distanceDifference(const float* cell, ptrdiff_t step, bool hasBefore, bool hasAfter) {
  const float before = hasBefore ? cell[-step] : cell[0];
  const float after = hasAfter ? cell[step] : cell[0];
  const float scale = hasBefore && hasAfter ? 4096.0f : 8192.0f;
  return roundSaturate<int16_t>((after - before) * scale);
}

// One call: the pixels of the list are filled in turn, each of which is known to those behind it.
template <int channels>
class Filling {
 public:
  Filling(const NuviInpaintState& state, Image<uint8_t> image)
      : state_(state), region_(state.region), image_(image) {}

  void run() {
    prepare();
    for (int32_t i = 0; i < state_.listCount; ++i) {
      const auto index = static_cast<int32_t>(state_.list[i] & indexBits);
      const Position p = position(index % region_.width, index / region_.width);
      if (state_.mode == byDistanceGradient) {
        fillByDistanceGradient(p);
      } else {
        fillAlongLevelLines(p);
      }
      state_.mask[p.index] = 0;
      refreshGradients(p);
    }
  }

 private:
  Position position(int32_t x, int32_t y) const {
    return {x, y, ptrdiff_t{y} * region_.width + x,
            image_.row(ptrdiff_t{region_.y} + y) + (ptrdiff_t{region_.x} + x) * channels};
  }

  // The call before cleared the mask at the pixels of the list, and nowhere else.
  void prepare() {
    for (int32_t i = 0; i < state_.listCount; ++i) state_.mask[state_.list[i] & indexBits] = 255;
    for (int32_t i = 0; i < state_.neighbourCount; ++i) {
      Neighbour& neighbour = state_.neighbours[i];
      neighbour.imageOffset =
          -neighbour.minusDy * image_.step() - ptrdiff_t{neighbour.minusDx} * channels;
    }
    for (int32_t y = 0; y < region_.height; ++y) {
      Position p = position(0, y);
      for (; p.x < region_.width; ++p.x, ++p.index, p.pixel += channels) {
        if (state_.band[p.index] > state_.mask[p.index]) computeGradient(p);
      }
    }
  }

  bool isKnown(int32_t x, int32_t y) const {
    return x >= 0 && x < region_.width && y >= 0 && y < region_.height &&
           state_.mask[ptrdiff_t{y} * region_.width + x] == 0;
  }

  void computeGradient(const Position& p) {
    const bool left = isKnown(p.x - 1, p.y), right = isKnown(p.x + 1, p.y);
    const bool above = isKnown(p.x, p.y - 1), below = isKnown(p.x, p.y + 1);
    for (int c = 0; c < channels; ++c) {
      state_.gradient[p.index * channels + c] = {
          imageDifference(p.pixel + c, channels, left, right),
          imageDifference(p.pixel + c, image_.step(), above, below)};
    }
  }

  // p became known: its own differences and those that it is now part of.
  void refreshGradients(const Position& p) {
    computeGradient(p);
    for (const NuviPoint& step : directSteps) {
      const int32_t x = p.x + step.x, y = p.y + step.y;
      if (isKnown(x, y)) computeGradient(position(x, y));
    }
  }

  // Calls body(neighbour) for the known pixels of the disk around p, in raster order. A disk that
  // may pass the region's edges is that of the truncated radius.
  template <class Body>
  void forEachKnownNeighbour(const Position& p, Body&& body) const {
    const int32_t reach = state_.reach;
    const bool isInside =
        p.x >= reach && p.x < region_.width - reach && p.y >= reach && p.y < region_.height - reach;
    const uint8_t* const mask = state_.mask + p.index;
    for (int32_t i = 0; i < state_.neighbourCount; ++i) {
      const Neighbour& neighbour = state_.neighbours[i];
      if (!isInside && !isWithinRegion(p, neighbour)) continue;
      if (mask[neighbour.offset] == 0) body(neighbour);
    }
  }

  bool isWithinRegion(const Position& p, const Neighbour& neighbour) const {
    const int32_t dx = -neighbour.minusDx, dy = -neighbour.minusDy;
    return dx * dx + dy * dy <= state_.reach * state_.reach && p.x + dx >= 0 &&
           p.x + dx < region_.width && p.y + dy >= 0 && p.y + dy < region_.height;
  }

  // Where hardly anything was gathered, the mean of the known direct neighbours takes its place. A
  // pixel without any keeps the sums as they are.
  void sumDirectNeighbours(const Position& p, int c, float& valueSum, float& weightSum) const {
    int32_t values = 0, count = 0;
    for (const NuviPoint& step : directSteps) {
      if (!isKnown(p.x + step.x, p.y + step.y)) continue;
      values += p.pixel[step.y * image_.step() + step.x * channels + c];
      ++count;
    }
    if (count == 0) return;
    valueSum = static_cast<float>(values);
    weightSum = static_cast<float>(count);
  }

  // A neighbour counts by its distance, by how near it is to the level of p, and by how far it lies
  // in the direction of the distance's gradient: float, every step rounded. The picture's gradient
  // adds a step of its sign to the mean.
  void fillByDistanceGradient(const Position& p) const {
    const float* const distance = state_.distance + p.index;
    const int32_t slopeX = distanceDifference(distance, 1, p.x > 0, p.x < region_.width - 1);
    const int32_t slopeY =
        distanceDifference(distance, region_.width, p.y > 0, p.y < region_.height - 1);

    float weightSum = leastWeight;
    float valueSums[channels] = {}, gradientX[channels] = {}, gradientY[channels] = {};
    forEachKnownNeighbour(p, [&](const Neighbour& q) {
      constexpr float least = 2.5e-25f;
      float along = static_cast<float>(slopeX * q.minusDx + slopeY * q.minusDy);
      if (std::abs(along) < least) along = least;
      const float level = std::abs(distance[q.offset] - distance[0]);
      const float weight = std::abs((1.0f / 4096.0f) / (level + 1.0f) * q.weight * along);
      weightSum += weight;
      for (int c = 0; c < channels; ++c) {
        const Gradient gradient = state_.gradient[(p.index + q.offset) * channels + c];
        valueSums[c] += static_cast<float>(p.pixel[q.imageOffset + c]) * weight;
        gradientX[c] -= static_cast<float>(gradient.x * q.minusDx) * weight;
        gradientY[c] -= static_cast<float>(gradient.y * q.minusDy) * weight;
      }
    });

    const bool isPoor = weightSum < poorWeight;
    for (int c = 0; c < channels; ++c) {
      float channelWeight = weightSum;
      double gx = gradientX[c], gy = gradientY[c];
      if (isPoor) {
        sumDirectNeighbours(p, c, valueSums[c], channelWeight);
        gx = gy = 0.0;
      }
      const double mean = static_cast<double>(valueSums[c]) / static_cast<double>(channelWeight);
      const double length = static_cast<float>(std::sqrt(gx * gx + gy * gy));
      const double value = mean + 0.5 + (gx + gy) / (length + 1e-20);
      p.pixel[c] = static_cast<uint8_t>(clampTo(value, 0.0, 255.0));
    }
  }

  // A neighbour counts by its distance and by how far it lies along its own level line, each
  // channel for itself: float, every step rounded.
  void fillAlongLevelLines(const Position& p) const {
    float weightSums[channels], valueSums[channels] = {};
    for (float& weightSum : weightSums) weightSum = leastWeight;
    forEachKnownNeighbour(p, [&](const Neighbour& q) {
      for (int c = 0; c < channels; ++c) {
        const Gradient gradient = state_.gradient[(p.index + q.offset) * channels + c];
        const int32_t along = std::abs(q.minusDx * -gradient.y + q.minusDy * gradient.x);
        float weight = q.weight * 1e-6f;
        if (along != 0) {
          const int32_t squared = gradient.x * gradient.x + gradient.y * gradient.y;
          weight = q.weight * static_cast<float>(along) *
                   reciprocalSquareRoot(static_cast<float>(squared));
        }
        valueSums[c] += static_cast<float>(p.pixel[q.imageOffset + c]) * weight;
        weightSums[c] += weight;
      }
    });
    for (int c = 0; c < channels; ++c) {
      if (weightSums[c] < poorWeight) sumDirectNeighbours(p, c, valueSums[c], weightSums[c]);
      p.pixel[c] = truncateSaturate<uint8_t>(valueSums[c] / weightSums[c] + 0.5f);
    }
  }

  static constexpr NuviPoint directSteps[] = {{0, -1}, {-1, 0}, {1, 0}, {0, 1}};
  static constexpr float leastWeight = 1e-30f;  // what every sum of weights starts from
  static constexpr float poorWeight = 0.0001f;

  const NuviInpaintState& state_;
  const NuviRect region_;
  const Image<uint8_t> image_;
};

template <int channels>
NuvStatus inpaint(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                  NuviSize roiSize, NuviInpaintState* pState) {
  NuvStatus status = Check().pointers(pSrc, pDst, pState).size(roiSize).status();
  if (status != nuvStatusOk) return status;
  status = Check()
               .require(roiSize.width == pState->imageSize.width &&
                            roiSize.height == pState->imageSize.height,
                        nuvStatusBadSize)
               .step(pSrc, srcStep, roiSize.width, channels)
               .step(pDst, dstStep, roiSize.width, channels)
               .status();
  if (status != nuvStatusOk) return status;

  const Image<const uint8_t> src(pSrc, srcStep);
  const Image<uint8_t> dst(pDst, dstStep);
  for (int32_t y = 0; y < roiSize.height; ++y) {
    std::memmove(dst.row(y), src.row(y), static_cast<size_t>(roiSize.width) * channels);
  }
  if (pState->listCount > 0) Filling<channels>(*pState, dst).run();
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define NUV_INPAINT_FORM(channels)                                                                \
  NuvStatus nuviInpaintInitAlloc_8u_C##channels##R(                                               \
      NuviInpaintState** ppState, const float* pDist, int32_t distStep, const uint8_t* pMask,     \
      int32_t maskStep, NuviSize roiSize, float radius, int32_t mode) {                           \
    return initAlloc(ppState, pDist, distStep, pMask, maskStep, roiSize, radius, mode, channels); \
  }                                                                                               \
  NuvStatus nuviInpaint_8u_C##channels##R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,    \
                                          int32_t dstStep, NuviSize roiSize,                      \
                                          NuviInpaintState* pState) {                             \
    return inpaint<channels>(pSrc, srcStep, pDst, dstStep, roiSize, pState);                      \
  }                                                                                               \
  NuvStatus nuviInpaintFree_8u_C##channels##R(NuviInpaintState* pState) {                         \
    return freeState(pState);                                                                     \
  }
NUV_INPAINT_FORM(1)
NUV_INPAINT_FORM(3)
#undef NUV_INPAINT_FORM
