// Straight lines by the standard Hough transform (R. Duda and P. Hart, "Use of the Hough
// Transformation to Detect Lines and Curves in Pictures", 1972). Angles are voted one after the
// other into a ring of three rows of counters; an angle's peaks are judged once its two neighbours
// stand beside it.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/check.h"
#include "core/image.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "nuvcv/feature.h"

namespace nuv {
namespace {

constexpr double pi = 3.14159;  // as the grid counts it
constexpr int32_t margin = 2;   // counters of zero at either end of a row

// The grid of lines. The quotients are cut off, and brought into 32 bits.
struct Grid {
  int32_t lastAngle;  // the angles are 0..lastAngle
  int32_t distances;
  int32_t offset;  // the distance index of rho 0

  Grid(NuviSize size, NuviPointPolar delta) {
    const auto cut = [](double value) {
      return static_cast<int32_t>(clampTo(value, 0.0, static_cast<double>(INT32_MAX)));
    };
    const auto range = static_cast<float>(
        wrappingAdd(wrappingMultiply(2, wrappingAdd(size.width, size.height)), 1));
    lastAngle = cut(pi / static_cast<double>(delta.theta));
    distances = cut(static_cast<double>(range / delta.rho));
    offset = (distances - 1) / 2;
  }

  // What no memory can hold wraps.
  int64_t bytes(NuviSize size, int32_t maxLineCount) const {
    const auto rowBytes = static_cast<uint64_t>(int64_t{size.width} * 4 + 48);
    const auto rest = int64_t{maxLineCount} * 16 +
                      (int64_t{lastAngle} * 8 + 8 + int64_t{distances} * 12) +
                      int64_t{distances} * 4 + 256;
    return static_cast<int64_t>(rowBytes * static_cast<uint32_t>(size.height) +
                                static_cast<uint64_t>(rest));
  }
};

// The points of a picture, row by row: their columns, as floats, since votes are floats.
struct Points {
  float* columns;
  int32_t* ends;  // of each row's points in `columns`

  void list(const Image<const uint8_t>& src, NuviSize size) const {
    int32_t count = 0;
    for (int32_t y = 0; y < size.height; ++y) {
      const uint8_t* const row = src.row(y);
      for (int32_t x = 0; x < size.width; ++x) {
        columns[count] = static_cast<float>(x);
        count += row[x] != 0;
      }
      ends[y] = count;
    }
  }
};

// A row of counters, and the span of them that was touched.
struct Votes {
  int32_t* counters;  // of distance 0
  int32_t first;
  int32_t last;

  void clear(int32_t distances) {
    std::fill_n(counters - margin, distances + 2 * margin, 0);
    first = distances;
    last = -1;
  }
  void add(int32_t distance, int32_t distances) {
    if (distance < 0 || distance >= distances) return;
    ++counters[distance];
    first = std::min(first, distance);
    last = std::max(last, distance);
  }
};

// What the votes of one angle are formed of. Product and sum are rounded each, the sum to a whole
// number of 1/1024.
struct Angle {
  float cosine;
  float sine;
  int32_t offset;

  S32x8 distancesOf(F32x8 columns, float rowTerm) const {
    return ((roundNearestEven(columns * cosine + rowTerm) + 512) >> 10) + offset;
  }
};

// All points vote for their lines of one angle.
void vote(const Points& points, int32_t height, const Angle& angle, int32_t distances,
          Votes& votes) {
  S32x8 least = broadcast<S32x8>(distances), most = broadcast<S32x8>(-1);
  int32_t point = 0;
  for (int32_t y = 0; y < height; ++y) {
    const float rowTerm = static_cast<float>(y) * angle.sine;
    const int32_t end = points.ends[y];
    for (; point + 8 <= end; point += 8) {
      const S32x8 cells = angle.distancesOf(load<F32x8>(points.columns + point), rowTerm);
      if (laneBits((cells < 0) | (cells >= distances)) != 0) {
        for (int32_t i = 0; i < 8; ++i) votes.add(cells[i], distances);
        continue;
      }
      least = minimum(least, cells);
      most = maximum(most, cells);
      int32_t cell[8];
      store(cell, cells);
      for (const int32_t i : cell) ++votes.counters[i];
    }
    float rest[8] = {};
    std::copy(points.columns + point, points.columns + end, rest);
    const S32x8 cells = angle.distancesOf(load<F32x8>(rest), rowTerm);
    for (int32_t i = 0; point < end; ++point, ++i) votes.add(cells[i], distances);
  }
  for (int32_t i = 0; i < 8; ++i) {
    votes.first = std::min(votes.first, least[i]);
    votes.last = std::max(votes.last, most[i]);
  }
}

struct Line {
  int32_t distance;
  int32_t angle;
  int32_t votes;
  int32_t spare;
};

// The lines found so far, by falling votes; equal ones in the order of finding.
struct LineList {
  Line* lines;
  int32_t room;
  int32_t count = 0;
  bool overflowed = false;

  int32_t lastVotes() const { return count == room ? lines[count - 1].votes : 0; }

  void insert(const Line& line) {
    int32_t place = 0;
    while (place < count && lines[place].votes >= line.votes) ++place;
    if (count == room) {
      overflowed = true;
      if (place == room) return;
      --count;
    }
    std::copy_backward(lines + place, lines + count, lines + count + 1);
    lines[place] = line;
    ++count;
  }
};

// The bounds of the search in distance indices.
struct DistanceRange {
  int32_t first;
  int32_t last;
};

// Peaks of one angle: of a tie the earlier cell wins, in both directions.
void judge(int32_t angle, const Votes& former, const Votes& centre, const Votes& next,
           int32_t threshold, DistanceRange range, LineList& list) {
  const int32_t* const cells = centre.counters;
  const int32_t last = std::min(centre.last, range.last);
  for (int32_t r = std::max(centre.first, range.first); r <= last; ++r) {
    const int32_t votes = cells[r];
    if (votes > threshold && votes + 1 > list.lastVotes() && votes > cells[r - 1] &&
        votes >= cells[r + 1] && votes > former.counters[r] && votes >= next.counters[r]) {
      list.insert({r, angle, votes, 0});
    }
  }
}

// What a search is told beside the picture.
struct Search {
  NuviPointPolar delta;
  int32_t threshold;
  float firstTheta;
  int32_t lastAngle;
  DistanceRange range;
};

NuvStatus findLines(const Image<const uint8_t>& src, NuviSize size, const Grid& grid,
                    const Search& search, NuviPointPolar* pLine, int32_t maxLineCount,
                    int32_t* pLineCount, uint8_t* pBuffer) {
  Scratch scratch(pBuffer, grid.bytes(size, maxLineCount));
  LineList list = {scratch.take<Line>(maxLineCount), maxLineCount};
  const Points points = {scratch.take<float>(int64_t{size.width} * size.height),
                         scratch.take<int32_t>(size.height)};
  Votes ring[3];
  for (Votes& votes : ring) {
    votes.counters = scratch.take<int32_t>(int64_t{grid.distances} + 2 * margin) + margin;
    votes.clear(grid.distances);
  }
  points.list(src, size);

  const double scale = (1.0 / static_cast<double>(search.delta.rho)) * 1024.0;
  float theta = search.firstTheta;
  for (int32_t k = 0; k <= search.lastAngle + 1; ++k, theta += search.delta.theta) {
    Votes& next = ring[k % 3];
    next.clear(grid.distances);
    if (k <= search.lastAngle) {
      const auto fixedPoint = [&](double value) {
        return static_cast<float>(truncateOrLowest(scale * value));
      };
      const Angle angle = {fixedPoint(std::cos(static_cast<double>(theta))),
                           fixedPoint(std::sin(static_cast<double>(theta))), grid.offset};
      vote(points, size.height, angle, grid.distances, next);
    }
    if (k > 0) {
      judge(k - 1, ring[(k + 1) % 3], ring[(k + 2) % 3], next, search.threshold, search.range,
            list);
    }
  }

  for (int32_t i = 0; i < list.count; ++i) {
    const Line& line = list.lines[i];
    pLine[i].rho = search.delta.rho * static_cast<float>(line.distance - grid.offset);
    pLine[i].theta = search.firstTheta + search.delta.theta * static_cast<float>(line.angle);
  }
  *pLineCount = list.count;
  return list.overflowed ? nuvStatusMoreThanRoom : nuvStatusOk;
}

// The tests of both finders up to the region of parameters.
Check checkFinder(const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize, NuviPointPolar delta,
                  int32_t threshold, const NuviPointPolar* pLine, int32_t maxLineCount,
                  const int32_t* pLineCount, const uint8_t* pBuffer, const NuviPointPolar* region) {
  const auto extent = static_cast<float>(wrappingAdd(roiSize.width, roiSize.height));
  Check check;
  check.pointers(pSrc, pLine, pLineCount, pBuffer, region)
      .require(srcStep > 0, nuvStatusBadStep)
      .size(roiSize)
      .require(maxLineCount > 0, nuvStatusBadSize)
      .require(delta.rho > 0.0f && delta.rho <= extent, nuvStatusBadArgument)
      .require(delta.theta > 0.0f && static_cast<double>(delta.theta) <= pi, nuvStatusBadArgument)
      .require(threshold > 0, nuvStatusBadArgument);
  return check;
}

}  // namespace
}  // namespace nuv

using namespace nuv;

NuvStatus nuviHoughLine_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                  NuviPointPolar delta, int32_t threshold, NuviPointPolar* pLine,
                                  int32_t maxLineCount, int32_t* pLineCount, uint8_t* pBuffer) {
  const NuvStatus status = checkFinder(pSrc, srcStep, roiSize, delta, threshold, pLine,
                                       maxLineCount, pLineCount, pBuffer, &delta)
                               .status();
  if (status != nuvStatusOk) return status;

  const Grid grid(roiSize, delta);
  const Search search = {delta, threshold, 0.0f, grid.lastAngle, {0, grid.distances - 1}};
  return findLines(Image<const uint8_t>(pSrc, srcStep), roiSize, grid, search, pLine, maxLineCount,
                   pLineCount, pBuffer);
}

NuvStatus nuviHoughLine_Region_8u32f_C1R(const uint8_t* pSrc, int32_t srcStep, NuviSize roiSize,
                                         NuviPointPolar* pLine, const NuviPointPolar* dstRoi,
                                         int32_t maxLineCount, int32_t* pLineCount,
                                         NuviPointPolar delta, int32_t threshold,
                                         uint8_t* pBuffer) {
  const NuvStatus status = checkFinder(pSrc, srcStep, roiSize, delta, threshold, pLine,
                                       maxLineCount, pLineCount, pBuffer, dstRoi)
                               .status();
  if (status != nuvStatusOk) return status;
  const NuviPointPolar low = dstRoi[0], high = dstRoi[1];
  if (high.rho < low.rho || high.theta < low.theta) {
    *pLineCount = 0;
    return nuvStatusBadRange;
  }

  // The angles of the region, no more than those of the whole half circle; the distances whose rho
  // lies between the corners.
  const Grid grid(roiSize, delta);
  const double steps =
      (static_cast<double>(high.theta) - static_cast<double>(low.theta)) / delta.theta;
  const auto lastAngle = static_cast<int32_t>(clampTo(steps, 0.0, double{1.0} * grid.lastAngle));
  const auto indexOf = [&](double rho) {
    return static_cast<int32_t>(clampTo(rho + grid.offset, -1.0, double{1.0} * grid.distances));
  };
  const DistanceRange range = {
      std::max(indexOf(std::ceil(static_cast<double>(low.rho) / delta.rho)), 0),
      std::min(indexOf(std::floor(static_cast<double>(high.rho) / delta.rho)), grid.distances - 1)};
  const Search search = {delta, threshold, low.theta, lastAngle, range};
  return findLines(Image<const uint8_t>(pSrc, srcStep), roiSize, grid, search, pLine, maxLineCount,
                   pLineCount, pBuffer);
}

NuvStatus nuviHoughLineGetSize_8u_C1R(NuviSize roiSize, NuviPointPolar delta, int32_t maxLineCount,
                                      int32_t* pBufferSize) {
  const NuvStatus status =
      Check()
          .pointers(pBufferSize)
          .size(roiSize)
          .require(delta.rho > 0.0f && delta.theta > 0.0f, nuvStatusBadArgument)
          .status();
  if (status != nuvStatusOk) return status;
  *pBufferSize = static_cast<int32_t>(Grid(roiSize, delta).bytes(roiSize, maxLineCount));
  return nuvStatusOk;
}
