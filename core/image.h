// An image as rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace nuv {

// A pointer to the first pixel and a step in bytes, which may be negative. Row addresses are formed
// in 64 bits, since y * step may pass 2 GiB. T is const for an image that is only read.
template <class T>
class Image {
 public:
  Image(T* data, ptrdiff_t stepBytes) : data_(data), stepBytes_(stepBytes) {}

  T* row(ptrdiff_t y) const {
    using Byte = std::conditional_t<std::is_const_v<T>, const uint8_t, uint8_t>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(data_) + y * stepBytes_);
  }

  ptrdiff_t step() const { return stepBytes_; }

 private:
  T* data_;
  ptrdiff_t stepBytes_;
};

}  // namespace nuv
