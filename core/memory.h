// Blocks of elements from the core library's allocator. A block is released by the call that
// allocated it, on every path.
#pragma once

#include <cstdint>

#include "nuvcore.h"

namespace nuv {

// `count` elements of T; null, with nothing allocated, if the count is less than 1 or the bytes
// pass what the allocator's 32-bit count can ask for.
template <class T>
inline T* allocate(int64_t count) {
  constexpr int64_t most = INT32_MAX / static_cast<int64_t>(sizeof(T));
  if (count < 1 || count > most) return nullptr;
  return static_cast<T*>(nuvMalloc(static_cast<int32_t>(count * static_cast<int64_t>(sizeof(T)))));
}

inline uint8_t* ownAlloc8u(int32_t count) { return allocate<uint8_t>(count); }
inline int32_t* ownAlloc32s(int32_t count) { return allocate<int32_t>(count); }
inline double* ownAlloc64f(int32_t count) { return allocate<double>(count); }
inline void ownFree(void* block) { nuvFree(block); }

// What a ...Free function does with a state that is one block.
inline NuvStatus freeState(void* state) {
  if (state == nullptr) return nuvStatusNullPointer;
  ownFree(state);
  return nuvStatusOk;
}

// A block that is released at the end of its scope.
template <class T>
class OwnedBlock {
 public:
  explicit OwnedBlock(int64_t count) : data_(allocate<T>(count)) {}
  ~OwnedBlock() { ownFree(data_); }
  OwnedBlock(const OwnedBlock&) = delete;
  OwnedBlock& operator=(const OwnedBlock&) = delete;

  T* get() const { return data_; }

  // Hands the block over to the caller.
  T* release() {
    T* const data = data_;
    data_ = nullptr;
    return data;
  }

 private:
  T* data_;
};

}  // namespace nuv
