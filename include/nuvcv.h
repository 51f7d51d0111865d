/**
 * @file
 * NuvCV: computer vision primitives on pixel buffers that the caller owns.
 * This is the one header to include; it includes the headers of all subsystems.
 */
#ifndef NUVCV_H
#define NUVCV_H

#include "nuvcv/arith.h"
#include "nuvcv/detect.h"
#include "nuvcv/feature.h"
#include "nuvcv/filter.h"
#include "nuvcv/geometry.h"
#include "nuvcv/morph.h"
#include "nuvcv/segment.h"
#include "nuvcv/stats.h"
#include "nuvcv/types.h"

#endif
