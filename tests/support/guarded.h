// Memory of exactly the stated size between pages that fault, and images in it.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

#include "nuvcv.h"

namespace testing_support {

// Where a block stands between its faulting pages: against the one behind it, or against the one
// before it.
enum class Against { end, begin };

// `bytes` bytes with a page that faults on either side. The block stands exactly against the chosen
// one, so that a single byte read or written beyond that side ends the test.
class GuardedBlock {
 public:
  explicit GuardedBlock(size_t bytes, Against against = Against::end) : bytes_(bytes) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t inner = (bytes + page - 1) / page * page + (bytes == 0 ? page : 0);
    mappedBytes_ = inner + 2 * page;
    void* const mapped =
        mmap(nullptr, mappedBytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapped == MAP_FAILED) std::abort();
    mapped_ = static_cast<uint8_t*>(mapped);
    if (mprotect(mapped_ + page, inner, PROT_READ | PROT_WRITE) != 0) std::abort();
    data_ = mapped_ + page + (against == Against::end ? inner - bytes : 0);
  }
  ~GuardedBlock() { munmap(mapped_, mappedBytes_); }
  GuardedBlock(const GuardedBlock&) = delete;
  GuardedBlock& operator=(const GuardedBlock&) = delete;

  uint8_t* data() const { return data_; }
  size_t size() const { return bytes_; }

 private:
  size_t bytes_;
  size_t mappedBytes_;
  uint8_t* mapped_;
  uint8_t* data_;
};

// An image whose memory ends with the last pixel of its last row (or begins with its first pixel),
// with `padBytes` between rows that must stay untouched.
template <class T>
class TestImage {
 public:
  TestImage(NuviSize size, int32_t channels = 1, int32_t padElements = 0,
            Against against = Against::end)
      : size_(size),
        samples_(size.width * channels),
        step_((samples_ + padElements) * static_cast<int32_t>(sizeof(T))),
        block_(static_cast<size_t>(step_) * static_cast<size_t>(size.height - 1) +
                   static_cast<size_t>(samples_) * sizeof(T),
               against) {
    std::memset(block_.data(), padByte, block_.size());
  }

  T* data() const { return reinterpret_cast<T*>(block_.data()); }
  T* row(int32_t y) const {
    return reinterpret_cast<T*>(block_.data() + static_cast<ptrdiff_t>(y) * step_);
  }
  T& at(int32_t x, int32_t y) const { return row(y)[x]; }
  int32_t step() const { return step_; }
  NuviSize size() const { return size_; }
  int32_t samples() const { return samples_; }  // elements in a row, all channels

  // Fills every sample with value(), in raster order.
  template <class Value>
  TestImage& fill(Value&& value) {
    for (int32_t y = 0; y < size_.height; ++y) {
      for (int32_t x = 0; x < samples_; ++x) row(y)[x] = static_cast<T>(value());
    }
    return *this;
  }

  bool padsUntouched() const {
    const size_t used = static_cast<size_t>(samples_) * sizeof(T);
    for (int32_t y = 0; y + 1 < size_.height; ++y) {
      const auto* bytes = reinterpret_cast<const uint8_t*>(row(y));
      for (size_t i = used; i < static_cast<size_t>(step_); ++i) {
        if (bytes[i] != padByte) return false;
      }
    }
    return true;
  }

  // All samples, without the pads: what two runs are compared by, bit for bit.
  std::vector<uint8_t> bytes() const {
    std::vector<uint8_t> all;
    const size_t used = static_cast<size_t>(samples_) * sizeof(T);
    for (int32_t y = 0; y < size_.height; ++y) {
      const auto* bytes = reinterpret_cast<const uint8_t*>(row(y));
      all.insert(all.end(), bytes, bytes + used);
    }
    return all;
  }

 private:
  static constexpr uint8_t padByte = 0xA5;
  NuviSize size_;
  int32_t samples_;
  int32_t step_;
  GuardedBlock block_;
};

// Random samples over the whole range of an integer type, or floats of mixed magnitude, with the
// type's extremes mixed in.
template <class T>
class RandomSamples {
 public:
  explicit RandomSamples(unsigned seed) : random_(seed) {}

  T operator()() {
    const unsigned kind = random_() % 16;
    if constexpr (std::is_floating_point_v<T>) {
      if (kind == 0) return T(0);
      const auto mantissa = static_cast<T>(static_cast<int32_t>(random_()));
      return mantissa / static_cast<T>(uint64_t{1} << (random_() % 40));
    } else {
      if (kind == 0) return std::numeric_limits<T>::max();
      if (kind == 1) return std::numeric_limits<T>::min();
      return static_cast<T>(random_());
    }
  }

 private:
  std::mt19937 random_;
};

}  // namespace testing_support
