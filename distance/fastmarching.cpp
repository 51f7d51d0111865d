// Distance from the zero pixels as the time at which a front of unit speed arrives: the eikonal
// equation on the pixel grid, solved by sweeps in the four diagonal directions over the pixels that
// may still change (H. Zhao, "A fast sweeping method for eikonal equations", 2005).

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/scratch.h"
#include "nuvcv/distance.h"

namespace nuv {
namespace {

constexpr float notArrived = 999999.0f;
// What a zero pixel beside the region holds where the band outside is wanted.
constexpr float edge = -1e-10f;

// The scans that a pixel waits for: rows downward or upward, in each from left or from right.
enum Dirty : uint8_t { downRight = 1, downLeft = 2, upRight = 4, upLeft = 8 };
constexpr uint8_t downward = downRight | downLeft, upward = upRight | upLeft;

int64_t flagStride(NuviSize size) { return alignUp<int64_t>(size.width, 32) | 5; }
int64_t bufferBytes(NuviSize size) { return (size.height + int64_t{34}) * flagStride(size) + 40; }

// The arrival from a vertical and a horizontal neighbour.
inline float arrival(float a, float b) {
  if (std::fabs(a - b) >= 1.0f) return 1.0f + std::min(a, b);
  return fused(0.5f, b + std::sqrt(fused(-(a - b), a - b, 2.0f)), a * 0.5f);
}

class Front {
 public:
  Front(Image<const uint8_t> src, Image<float> dst, NuviSize size, float radius, uint8_t* buffer)
      : src_(src),
        dst_(dst),
        size_(size),
        hasBand_(radius > 0.0f),
        lowest_(-(radius + 1e-5f)),
        stride_(flagStride(size)) {
    // A row of flags has a place before and behind the pixels, then the row's own flags.
    Scratch scratch(buffer, bufferBytes(size));
    flags_ = scratch.take<uint8_t>((size.height + int64_t{2}) * stride_) + stride_ + 1;
    std::memset(flags_ - stride_ - 1, 0, static_cast<size_t>((size.height + int64_t{2}) * stride_));
  }

  void solve() {
    for (int32_t y = 0; y < size_.height; ++y) start(y);
    bool goesOn = true;
    while (goesOn) {
      goesOn = false;
      for (int32_t y = 0; y < size_.height; ++y) goesOn |= sweepRow<1>(y);
      for (int32_t y = size_.height - 1; y >= 0; --y) goesOn |= sweepRow<-1>(y);
    }
  }

 private:
  uint8_t* flags(int32_t y) const { return flags_ + y * stride_; }
  uint8_t& rowFlags(int32_t y) const { return flags(y)[size_.width + 1]; }

  // Only where zero and other pixels meet can anything change at first.
  void start(int32_t y) const {
    const uint8_t* const here = src_.row(y);
    const uint8_t* const above = src_.row(std::max(y - 1, 0));
    const uint8_t* const below = src_.row(std::min(y + 1, size_.height - 1));
    float* const values = dst_.row(y);
    uint8_t* const dirty = flags(y);
    const auto differ = [](uint8_t p, uint8_t q) { return (p == 0) != (q == 0); };
    for (int32_t x = 0; x < size_.width; ++x) values[x] = here[x] == 0 ? 0.0f : notArrived;
    for (int32_t x = 0; x < size_.width; ++x) {
      dirty[x] = differ(here[x], above[x]) | differ(here[x], below[x]) ? 15 : 0;
    }
    for (int32_t x = 0; x < size_.width - 1; ++x) {
      dirty[x] = static_cast<uint8_t>(dirty[x] | (differ(here[x], here[x + 1]) ? 15 : 0));
    }
    for (int32_t x = 1; x < size_.width; ++x) {
      dirty[x] = static_cast<uint8_t>(dirty[x] | (differ(here[x], here[x - 1]) ? 15 : 0));
    }
    uint8_t any = 0;
    for (int32_t x = 0; x < size_.width; ++x) any |= dirty[x];
    rowFlags(y) = any;
  }

  // A row from the row before it, from left to right and back. False if no pixel waited for it.
  template <int32_t direction>
  bool sweepRow(int32_t y) const {
    constexpr uint8_t waiting = direction > 0 ? downward : upward;
    if ((rowFlags(y) & waiting) == 0) return false;
    rowFlags(y) = static_cast<uint8_t>(rowFlags(y) & ~waiting);
    const int32_t before = y - direction;
    const float* const vertical = before >= 0 && before < size_.height ? dst_.row(before) : nullptr;
    scan<1, (direction > 0 ? downRight : upRight)>(y, vertical);
    scan<-1, (direction > 0 ? downLeft : upLeft)>(y, vertical);
    return true;
  }

  template <int32_t direction, uint8_t scanBit>
  void scan(int32_t y, const float* vertical) const {
    constexpr uint64_t anyOfEight = scanBit * uint64_t{0x0101010101010101};
    uint8_t* const dirty = flags(y);
    float* const values = dst_.row(y);
    const uint8_t* const source = src_.row(y);
    const int32_t end = direction > 0 ? size_.width : -1;
    for (int32_t x = direction > 0 ? 0 : size_.width - 1; x != end; x += direction) {
      if ((end - x) * direction >= 8) {
        uint64_t eight;
        std::memcpy(&eight, dirty + (direction > 0 ? x : x - 7), sizeof eight);
        if ((eight & anyOfEight) == 0) {
          x += 7 * direction;
          continue;
        }
      }
      if ((dirty[x] & scanBit) == 0) continue;
      dirty[x] = static_cast<uint8_t>(dirty[x] & ~scanBit);
      const int32_t behind = x - direction;
      const float* const horizontal =
          behind >= 0 && behind < size_.width ? values + behind : nullptr;
      const float* const above = vertical == nullptr ? nullptr : vertical + x;
      const bool isChanged = source[x] != 0 ? lower(values[x], above, horizontal)
                                            : hasBand_ && sink(values[x], above, horizontal);
      if (isChanged) wake(x, y);
    }
  }

  // A pixel of the region, where the front arrives earlier. A neighbour may be missing.
  static bool lower(float& value, const float* vertical, const float* horizontal) {
    if (vertical == nullptr && horizontal == nullptr) return false;
    float n;
    if (vertical == nullptr || horizontal == nullptr) {
      n = 1.0f + std::max(*(vertical == nullptr ? horizontal : vertical), 0.0f);
    } else {
      n = arrival(std::max(*vertical, 0.0f), std::max(*horizontal, 0.0f));
    }
    if (!(value > n)) return false;
    value = n;
    return true;
  }

  // A zero pixel in the band outside, with negative distances; 0 is one not reached yet, and stands
  // for a missing neighbour.
  bool sink(float& value, const float* vertical, const float* horizontal) const {
    const float a = vertical == nullptr ? 0.0f : *vertical;
    const float b = horizontal == nullptr ? 0.0f : *horizontal;
    if (a > 0.0f || b > 0.0f) {
      const bool isNew = value != edge;
      value = edge;
      return isNew;
    }
    if (!(a < 0.0f) && !(b < 0.0f)) return false;
    float n;
    if (a == 0.0f || b == 0.0f) {
      n = std::min(a, b) - 1.0f;
    } else if (std::fabs(a - b) >= 1.0f) {
      n = std::max(a, b) - 1.0f;
    } else {
      n = fused(0.5f, b - std::sqrt(fused(-(a - b), a - b, 2.0f)), a * 0.5f);
    }
    if (!(value == 0.0f || n > value) || n < lowest_) return false;
    value = n;
    return true;
  }

  // Whoever looks at a changed pixel in some scan waits for that scan.
  void wake(int32_t x, int32_t y) const {
    const auto mark = [](uint8_t& flag, uint8_t bits) { flag = static_cast<uint8_t>(flag | bits); };
    uint8_t* const here = flags(y) + x;
    mark(here[1], downRight | upRight);
    mark(here[-1], downLeft | upLeft);
    mark(here[stride_], downward);
    mark(here[-stride_], upward);
    mark(rowFlags(y), downward | upward);
    mark(rowFlags(y + 1), downward);
    mark(rowFlags(y - 1), upward);
  }

  Image<const uint8_t> src_;
  Image<float> dst_;
  NuviSize size_;
  bool hasBand_;
  float lowest_;
  ptrdiff_t stride_;
  uint8_t* flags_;
};

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviFastMarchingGetBufferSize_8u32f_C1R(NuviSize roiSize, int32_t* pSize) {
  const NuvStatus status = Check().pointers(pSize).size(roiSize).status();
  if (status == nuvStatusOk) *pSize = static_cast<int32_t>(bufferBytes(roiSize));
  return status;
}

NuvStatus nuviFastMarching_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep, float* pDst,
                                     int32_t dstStep, NuviSize roiSize, float radius,
                                     uint8_t* pBuffer) {
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst, pBuffer)
                               .size(roiSize)
                               .step(pSrc, srcStep, roiSize.width)
                               .step(pDst, dstStep, roiSize.width)
                               .elementMultiple(pDst, dstStep)
                               .require(!(radius < 0.0f), nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;

  Front(Image<const uint8_t>(pSrc, srcStep), Image<float>(pDst, dstStep), roiSize, radius, pBuffer)
      .solve();
  return nuvStatusOk;
}
