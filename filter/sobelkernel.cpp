// Sobel kernels of any odd size and order: the coefficients of (1 + z)^(n-1-d) * (z - 1)^d.

#include <algorithm>

#include "core/check.h"
#include "nuvcv/filter.h"

namespace nuv {
namespace {

// Starts from z^(n-1), and multiplies by 1 + 1/z and by 1 - 1/z. 16-bit coefficients wrap.
template <class T>
NuvStatus sobelKernel(T* pDst, int32_t kernelSize, int32_t order, int32_t sign) {
  const NuvStatus status = Check()
                               .pointers(pDst)
                               .require(kernelSize >= 1 && kernelSize % 2 == 1, nuvStatusBadSize)
                               .require(order >= 0 && order < kernelSize, nuvStatusBadSize)
                               .status();
  if (status != nuvStatusOk) return status;

  const int32_t last = kernelSize - 1;
  std::fill(pDst, pDst + last, T{0});
  pDst[last] = T{1};
  for (int32_t pass = 0; pass < last; ++pass) {
    const bool smooths = pass < last - order;
    // The lowest coefficient so far stands at last - pass.
    for (int32_t j = last - pass; j <= last; ++j) {
      pDst[j - 1] = static_cast<T>(smooths ? pDst[j - 1] + pDst[j] : pDst[j - 1] - pDst[j]);
    }
  }
  if (sign < 0) {
    for (int32_t j = 0; j < kernelSize; ++j) pDst[j] = static_cast<T>(-pDst[j]);
  }
  return nuvStatusOk;
}

}  // namespace
}  // namespace nuv

NuvStatus nuviGenSobelKernel_16s(int16_t* pDst, int32_t kernelSize, int32_t order, int32_t sign) {
  return nuv::sobelKernel(pDst, kernelSize, order, sign);
}

NuvStatus nuviGenSobelKernel_32f(float* pDst, int32_t kernelSize, int32_t order, int32_t sign) {
  return nuv::sobelKernel(pDst, kernelSize, order, sign);
}
