/**
 * @file
 * Distances and inpainting: chamfer, exact Euclidean distance, fast marching, inpainting.
 */
#ifndef NUVCV_DISTANCE_H
#define NUVCV_DISTANCE_H

#include "nuvcv/types.h"

#ifdef __cplusplus
extern "C" {
#endif

// ANCHOR chamfer

// -------- chamfer ends

// ANCHOR exact distance

// -------- exact distance ends

// ANCHOR fast marching

// -------- fast marching ends

// ANCHOR inpainting

// -------- inpainting ends

#ifdef __cplusplus
}
#endif

#endif
