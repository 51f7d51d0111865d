#include "support.h"

namespace {

// A lens with the barrel distortion of a common wide-angle camera: all but a rim of the picture is
// sampled.
constexpr float fx = 1500, fy = 1480, cx = 955, cy = 545, k1 = -0.18f, k2 = 0.03f;

std::vector<uint8_t> columnBuffer() {
  int32_t bytes = 0;
  nuviUndistortGetSize(bench::fullHd, &bytes);
  return std::vector<uint8_t>(static_cast<size_t>(bytes));
}

template <class T, class Function>
auto undistort(Function function, int32_t channels, bool buffered = true) {
  return [=](benchmark::State& state, int32_t threads) {
    const auto src = bench::picture<T>(bench::fullHdPixels * channels, 1);
    auto dst = bench::picture<T>(bench::fullHdPixels * channels, 2);
    auto buffer = columnBuffer();
    const int32_t step = 1920 * channels * static_cast<int32_t>(sizeof(T));
    bench::run(state, threads, [&] {
      return function(src.data(), step, dst.data(), step, bench::fullHd, fx, fy, cx, cy, k1, k2,
                      buffered ? buffer.data() : nullptr);
    });
  };
}

auto maps(float p1, float p2) {
  return [=](benchmark::State& state, int32_t threads) {
    auto x = bench::picture<float>(bench::fullHdPixels, 1);
    auto y = bench::picture<float>(bench::fullHdPixels, 2);
    auto buffer = columnBuffer();
    bench::run(state, threads, [&] {
      return nuviCreateMapCameraUndistort_32f_C1R(x.data(), 7680, y.data(), 7680, bench::fullHd, fx,
                                                  fy, cx, cy, k1, k2, p1, p2, buffer.data());
    });
  };
}

const bool registered = [] {
  bench::add("undistort/8u_C1", undistort<uint8_t>(nuviUndistortRadial_8u_C1R, 1));
  bench::add("undistort/8u_C1/no_buffer", undistort<uint8_t>(nuviUndistortRadial_8u_C1R, 1, false));
  bench::add("undistort/8u_C3", undistort<uint8_t>(nuviUndistortRadial_8u_C3R, 3));
  bench::add("undistort/16u_C1", undistort<uint16_t>(nuviUndistortRadial_16u_C1R, 1));
  bench::add("undistort/16u_C3", undistort<uint16_t>(nuviUndistortRadial_16u_C3R, 3));
  bench::add("undistort/32f_C1", undistort<float>(nuviUndistortRadial_32f_C1R, 1));
  bench::add("undistort/32f_C3", undistort<float>(nuviUndistortRadial_32f_C3R, 3));
  bench::add("undistort/maps", maps(0, 0));
  bench::add("undistort/maps_tangential", maps(0.001f, -0.002f));
  return true;
}();

}  // namespace
