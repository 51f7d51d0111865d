// The check block of an exported function: tests in the order in which they are made, of which
// the first failure is kept.
#pragma once

#include "core/numeric.h"
#include "nuvcv/types.h"

namespace nuv {

// Each call tests something, records its status if nothing failed before, and returns the object,
// so that a block reads in its order:
//
//   const NuvStatus status = Check()
//                                .pointers(pSrc, pDst)
//                                .size(roiSize)
//                                .step(pSrc, srcStep, roiSize.width)
//                                .elementMultiple(pSrc, srcStep)
//                                .status();
//   if (status != nuvStatusOk) return status;
//
// Arguments are evaluated even behind a failure: a test that reads through a pointer stands after
// the return of the block that tested the pointer.
class Check {
 public:
  template <class... Pointers>
  Check& pointers(const Pointers*... pointers) {
    return require(((pointers != nullptr) && ...), nuvStatusNullPointer);
  }

  // Width, then height: both give the same status, so the order does not show.
  Check& size(NuviSize size) {
    return require(size.width >= 1 && size.height >= 1, nuvStatusBadSize);
  }

  // A row of `width` pixels of `channels` elements fits into the step of this image. The row's
  // bytes are formed in wrapping 32-bit arithmetic and the comparison is signed, so a negative
  // step fails.
  template <class Element>
  Check& step(const Element*, int32_t step, int32_t width, int32_t channels = 1) {
    const auto elementBytes = static_cast<int32_t>(sizeof(Element));
    const int32_t rowBytes = wrappingMultiply(wrappingMultiply(width, channels), elementBytes);
    return require(step >= rowBytes, nuvStatusBadStep);
  }

  // All steps are whole numbers of this image's elements.
  template <class Element, class... Steps>
  Check& elementMultiple(const Element*, Steps... steps) {
    constexpr auto mask = static_cast<int32_t>(sizeof(Element)) - 1;
    return require(((steps | ...) & mask) == 0, nuvStatusStepNotElementMultiple);
  }

  // A channel of interest, numbered 1 to 3.
  Check& channel(int32_t coi) { return require(coi >= 1 && coi <= 3, nuvStatusBadChannel); }

  // A test of the family's own.
  Check& require(bool holds, NuvStatus otherwise) {
    if (status_ == nuvStatusOk && !holds) status_ = otherwise;
    return *this;
  }

  NuvStatus status() const { return status_; }

 private:
  NuvStatus status_ = nuvStatusOk;
};

}  // namespace nuv
