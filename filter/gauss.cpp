// Gaussian smoothing of float images: a kernel of the caller's size and sigma, applied by the row
// stage and then the column stage of separable filters over a ring of filtered rows.

#include <algorithm>
#include <cmath>

#include "core/check.h"
#include "core/image.h"
#include "core/scratch.h"
#include "filter/pipeline/border.h"
#include "nuvcv/filter.h"

namespace nuv {
namespace {

// The weights exp(-t^2 / (2 sigma^2)), in single precision but for the exponential, over their sum
// in ascending order.
void fillGaussian(float sigma, int32_t kernelSize, float* kernel) {
  const int32_t middle = kernelSize / 2;
  float sum = 0.0f;
  for (int32_t i = 0; i < kernelSize; ++i) {
    const auto t = static_cast<float>(i - middle);
    const float exponent = (0.0f - t * t) / ((sigma + sigma) * sigma);
    kernel[i] = static_cast<float>(std::exp(static_cast<double>(exponent)));
    sum = sum + kernel[i];
  }
  for (int32_t i = 0; i < kernelSize; ++i) kernel[i] = kernel[i] / sum;
}

bool isGaussianSize(int32_t kernelSize) { return kernelSize >= 3 && kernelSize % 2 == 1; }

// How large the scratch and its parts are.
struct GaussScratch {
  int64_t ringRowBytes;
  int64_t rowStageBytes;
  int64_t reported;

  GaussScratch(NuviSize roiSize, int32_t kernelSize) {
    int32_t rowStage = 0, columnStage = 0;
    nuviFilterRowBorderPipelineGetBufferSize_32f_C1R({roiSize.width, kernelSize}, kernelSize,
                                                     &rowStage);
    nuviFilterColumnPipelineGetBufferSize_32f_C3R(roiSize, kernelSize, &columnStage);
    const auto taps = static_cast<uint64_t>(kernelSize);
    const uint64_t continued = static_cast<uint64_t>(roiSize.width) + taps;
    const uint64_t ringRow = alignUp<uint64_t>(continued, 8) * 4;
    const auto stages = static_cast<uint64_t>(int64_t{rowStage} + columnStage);
    ringRowBytes = static_cast<int64_t>(ringRow);
    rowStageBytes = rowStage;
    // What no memory can hold wraps.
    reported = static_cast<int64_t>(ringRow * taps + 32 + (taps + 3) / 4 * 16 + 64 +
                                    alignUp<uint64_t>(continued, 4) * taps * 8 + 32 + 32 + 32 +
                                    stages + taps * 8);
  }
};

struct GaussCall {
  Image<const float> src;
  Image<float> dst;
  NuviSize size;
  int32_t kernelSize;
  NuviBorderType border;
  bool topInMemory, bottomInMemory;
  float borderValue;
};

// Filters one row at a time, so that only the rows' addresses follow the caller's steps. The ring
// has a place for each tap; row y of the continued picture goes to place y mod taps.
NuvStatus filterRows(const GaussCall& call, float sigma, Scratch scratch,
                     const GaussScratch& sizes) {
  const int32_t taps = call.kernelSize;
  const int32_t reach = taps / 2;
  const int32_t height = call.size.height;
  const NuviSize rowSize = {call.size.width, 1};
  const auto rowBytes = static_cast<int32_t>(int64_t{call.size.width} * 4);

  const float** const tapRows = scratch.take<const float*>(taps);
  float* const ring = scratch.take<float>(sizes.ringRowBytes / 4 * taps, 32);
  float* const kernel = scratch.take<float>(taps);
  float* const constantRow = scratch.take<float>(call.size.width);
  uint8_t* const stageBuffer = scratch.take<uint8_t>(sizes.rowStageBytes);
  fillGaussian(sigma, taps, kernel);
  std::fill_n(constantRow, call.size.width, call.borderValue);

  const auto sourceRow = [&](int32_t y) -> const float* {
    if ((y >= 0 || call.topInMemory) && (y < height || call.bottomInMemory)) {
      return call.src.row(y);
    }
    if (call.border == nuvBorderConstant) return constantRow;
    return call.src.row(static_cast<ptrdiff_t>(borderPosition(call.border, y, height)));
  };
  const auto place = [&](int32_t y) {
    return ring + (y + reach) % taps * (sizes.ringRowBytes / 4);
  };
  const auto fill = [&](int32_t y) {
    float* const filtered = place(y);
    return nuviFilterRowBorderPipeline_32f_C1R(sourceRow(y), rowBytes, &filtered, rowSize, kernel,
                                               taps, reach, call.border, call.borderValue,
                                               stageBuffer);
  };
  NuvStatus status = nuvStatusOk;
  for (int32_t y = -reach; y < reach && status == nuvStatusOk; ++y) status = fill(y);
  for (int32_t y = 0; y < height && status == nuvStatusOk; ++y) {
    status = fill(y + reach);
    if (status != nuvStatusOk) break;
    for (int32_t k = 0; k < taps; ++k) tapRows[k] = place(y - reach + k);
    status = nuviFilterColumnPipeline_32f_C1R(tapRows, call.dst.row(y), rowBytes, rowSize, kernel,
                                              taps, stageBuffer);
  }
  return status;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviFilterGaussBorder_32f_C1R(const float* pSrc, int32_t srcStep, float* pDst,
                                        int32_t dstStep, NuviSize roiSize, int32_t kernelSize,
                                        float sigma, NuviBorderType borderType, float borderValue,
                                        uint8_t* pBuffer) {
  const NuviBorderType kind = borderType & ~(nuvBorderFlagMemTop | nuvBorderFlagMemBottom);
  // The steps are compared with the width in pixels, not in bytes.
  const NuvStatus status = Check()
                               .pointers(pSrc, pDst, pBuffer)
                               .size(roiSize)
                               .require(srcStep >= roiSize.width, nuvStatusBadStep)
                               .require(dstStep >= roiSize.width, nuvStatusBadStep)
                               .require(isGaussianSize(kernelSize), nuvStatusBadArgument)
                               .require(isPlainBorder(kind), nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;

  const GaussScratch sizes(roiSize, kernelSize);
  const GaussCall call = {{pSrc, srcStep},
                          {pDst, dstStep},
                          roiSize,
                          kernelSize,
                          kind,
                          (borderType & nuvBorderFlagMemTop) != 0,
                          (borderType & nuvBorderFlagMemBottom) != 0,
                          borderValue};
  return filterRows(call, sigma, Scratch(pBuffer, sizes.reported), sizes);
}

NuvStatus nuviFilterGaussGetBufferSize_32f_C1R(NuviSize roiSize, int32_t kernelSize,
                                               int32_t* pBufferSize) {
  const NuvStatus status = Check()
                               .pointers(pBufferSize)
                               .size(roiSize)
                               .require(isGaussianSize(kernelSize), nuvStatusBadArgument)
                               .status();
  if (status != nuvStatusOk) return status;
  *pBufferSize = static_cast<int32_t>(GaussScratch(roiSize, kernelSize).reported);
  return nuvStatusOk;
}
