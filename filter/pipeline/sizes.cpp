// The scratch sizes that the row and column stages report.

#include "filter/pipeline/sizes.h"

#include "core/check.h"
#include "core/parallel.h"
#include "nuvcv/filter.h"

namespace nuv {
namespace {

// A share for each thread, in 32 bits that wrap.
int32_t reportedBytes(int64_t shareBytes) {
  return wrappingMultiply(ownThreadCount(), static_cast<int32_t>(shareBytes));
}

// The tests of all size functions, and the size that bytes() tells.
template <class Bytes>
NuvStatus reportSize(NuviSize roiSize, int32_t kernelSize, int32_t* pBufferSize, Bytes&& bytes) {
  const NuvStatus status = Check()
                               .pointers(pBufferSize)
                               .size(roiSize)
                               .require(kernelSize >= 1, nuvStatusBadSize)
                               .status();
  if (status == nuvStatusOk) *pBufferSize = bytes();
  return status;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

#define STAGE_SIZE(stage, form, ownBytes)                                                         \
  NuvStatus nuviFilter##stage##PipelineGetBufferSize_##form(NuviSize roiSize, int32_t kernelSize, \
                                                            int32_t* pBufferSize) {               \
    return reportSize(roiSize, kernelSize, pBufferSize, [&] {                                     \
      return reportedBytes(threadShareBytes(ownBytes, roiSize, kernelSize));                      \
    });                                                                                           \
  }
#define FLOAT_COLUMN_SIZE(form)                                                                \
  NuvStatus nuviFilterColumnPipelineGetBufferSize_##form(NuviSize roiSize, int32_t kernelSize, \
                                                         int32_t* pBufferSize) {               \
    return reportSize(roiSize, kernelSize, pBufferSize, [] { return columnBytes32f; });        \
  }

STAGE_SIZE(RowBorder, 16s_C1R, rowOwnBytes16sC1(kernelSize))
STAGE_SIZE(RowBorder, 16s_C3R, rowOwnBytes16sC3(kernelSize))
STAGE_SIZE(RowBorder, 8u16s_C1R, rowOwnBytes8u16sC1(kernelSize))
STAGE_SIZE(RowBorder, 8u16s_C3R, rowOwnBytes8u16sC3(kernelSize))
STAGE_SIZE(RowBorder, 32f_C1R, rowOwnBytes32fC1(kernelSize))
STAGE_SIZE(RowBorder, 32f_C3R, rowOwnBytes32fC3(kernelSize))
STAGE_SIZE(RowBorder, Low_16s_C1R, rowOwnBytesLow16sC1(kernelSize))
STAGE_SIZE(RowBorder, Low_16s_C3R, rowOwnBytesLow16sC3(kernelSize))

STAGE_SIZE(Column, 16s_C1R, columnOwnBytes16sC1(roiSize.width))
STAGE_SIZE(Column, 16s_C3R, columnOwnBytes16sC3(roiSize.width))
STAGE_SIZE(Column, 16s8u_C1R, columnOwnBytes16sC1(roiSize.width))
STAGE_SIZE(Column, 16s8u_C3R, columnOwnBytes16sC3(roiSize.width))
STAGE_SIZE(Column, 16s8s_C1R, columnOwnBytes16sC1(roiSize.width))
STAGE_SIZE(Column, 16s8s_C3R, columnOwnBytes16sC3(roiSize.width))
STAGE_SIZE(Column, Low_16s_C1R, columnOwnBytesLow16sC1(roiSize.width))
STAGE_SIZE(Column, Low_16s_C3R, columnOwnBytesLow16sC3(roiSize.width))
FLOAT_COLUMN_SIZE(32f_C1R)
FLOAT_COLUMN_SIZE(32f_C3R)

#undef STAGE_SIZE
#undef FLOAT_COLUMN_SIZE
