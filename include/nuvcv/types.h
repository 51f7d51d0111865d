/**
 * @file
 * Types shared by all functions: statuses, records passed by value, selectors, state types.
 *
 * An image is never an object. It is a pointer to the first pixel of a region and a row step in
 * bytes, followed by one ::NuviSize for all images of a call. Channels of a pixel are interleaved.
 * No pointer needs any alignment; a step is a whole number of elements and nothing more.
 */
#ifndef NUVCV_TYPES_H
#define NUVCV_TYPES_H

#include <stdint.h>

#if defined(__GNUC__)
#define NUVCV_API __attribute__((visibility("default")))
#else
#define NUVCV_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Result of every function: 0 success, negative an error, positive a warning (the result was
 * written and is usable). A function that fails leaves its results untouched unless its own
 * documentation says otherwise. Nothing is printed, logged or raised.
 */
typedef int32_t NuvStatus;

/** All statuses that a function of the library can return. */
enum {
  nuvStatusOk = 0,                /**< success */
  nuvStatusDivisorZero = 6,       /**< warning: a divisor was zero, a result was written */
  nuvStatusMoreThanRoom = 33,     /**< warning: the result array is full, more results existed */
  nuvStatusKernelAsymmetric = 38, /**< warning: the kernel was made symmetric */
  nuvStatusFailure = -2,          /**< an internal count came out impossible */
  nuvStatusBadArgument = -5,      /**< a selector or a scalar is outside its allowed set */
  nuvStatusBadSize = -6,          /**< a width, height, length or count is not allowed */
  nuvStatusBadRange = -7,         /**< a pair of bounds is in the wrong order */
  nuvStatusNullPointer = -8,      /**< a required pointer is null */
  nuvStatusNoMemory = -9,         /**< an allocation failed */
  nuvStatusOutOfRange = -11,      /**< a point or a time stamp lies outside what is allowed */
  nuvStatusBadDataType = -12,     /**< a ::NuvDataType is not one of the allowed */
  nuvStatusBadStep = -14,         /**< a row step is smaller than a row */
  nuvStatusBadMask = -33,         /**< a mask kind or a mask size is not allowed */
  nuvStatusBadAnchor = -34,       /**< an anchor is outside its mask */
  nuvStatusBadChannel = -52,      /**< a channel of interest is outside 1..3 */
  nuvStatusBadChannelCount = -53, /**< a count of channels is neither 1 nor 3 */
  nuvStatusBadMetric = -56,       /**< a distance metric is not positive */
  nuvStatusStepNotElementMultiple = -108 /**< a row step is not a whole number of elements */
};

/** Size of an image or of a region of interest. */
typedef struct NuviSize {
  int32_t width;  /**< pixels in a row */
  int32_t height; /**< rows */
} NuviSize;

/** A seed point, an anchor, a location. */
typedef struct NuviPoint {
  int32_t x; /**< column */
  int32_t y; /**< row */
} NuviPoint;

/** A location with a fraction. */
typedef struct NuviPoint32f {
  float x; /**< column */
  float y; /**< row */
} NuviPoint32f;

/** A straight line, or a resolution of lines: the points with x * cos(theta) + y * sin(theta) =
 * rho. */
typedef struct NuviPointPolar {
  float rho;   /**< distance from the origin in pixels */
  float theta; /**< angle of the normal in radians */
} NuviPointPolar;

/** A rectangle inside an image. */
typedef struct NuviRect {
  int32_t x;      /**< left column */
  int32_t y;      /**< top row */
  int32_t width;  /**< columns */
  int32_t height; /**< rows */
} NuviRect;

/** Element type as a selector: one of the `nuvDataType...` values. */
typedef int32_t NuvDataType;

/** Values of ::NuvDataType. */
enum {
  nuvDataType8u = 1,  /**< unsigned 8-bit integer */
  nuvDataType8s = 3,  /**< signed 8-bit integer */
  nuvDataType16u = 5, /**< unsigned 16-bit integer */
  nuvDataType32f = 13 /**< 32-bit float */
};

/** Where the pixels outside an image come from: a `nuvBorder...` kind, or'ed with flags. */
typedef int32_t NuviBorderType;

/** Values and flags of ::NuviBorderType. */
enum {
  nuvBorderConstant = 0,     /**< a value that the call supplies */
  nuvBorderReplicate = 1,    /**< the nearest edge pixel */
  nuvBorderWrap = 2,         /**< periodic extension */
  nuvBorderMirror = 3,       /**< reflection, the edge pixel not repeated */
  nuvBorderMirrorRepeat = 4, /**< reflection, the edge pixel repeated */
  nuvBorderInMemory = 6,     /**< all four sides lie in memory around the region */

  nuvBorderFlagMemTop = 0x10,    /**< rows above the region are read from memory */
  nuvBorderFlagMemBottom = 0x20, /**< rows below the region are read from memory */
  nuvBorderFlagMemLeft = 0x40,   /**< columns left of the region are read from memory */
  nuvBorderFlagMemRight = 0x80   /**< columns right of the region are read from memory */
};

/** Size of a fixed filter mask: ::nuvMask3x3 or ::nuvMask5x5. */
typedef int32_t NuviMaskSize;

/** Values of ::NuviMaskSize. */
enum {
  nuvMask3x3 = 33, /**< 3 by 3 */
  nuvMask5x5 = 55  /**< 5 by 5 */
};

/** What a flood fill reports of the region that it painted. */
typedef struct NuviFilledRegion {
  double area;     /**< number of pixels filled */
  double value[3]; /**< the new value of each channel; unused channels 0.0 */
  NuviRect rect;   /**< bounding rectangle of the filled pixels */
} NuviFilledRegion;

/**
 * An image pyramid: sizes and scales of its levels, and room for the caller to hang the images on.
 * Level 0 is the base image; all tables have `level` + 1 entries.
 */
typedef struct NuviPyramid {
  uint8_t** images; /**< first pixel of each level; cleared at creation, filled by the caller */
  NuviSize* sizes;  /**< size of each level */
  double* rates;    /**< scale of each level relative to the base, 1.0 at level 0 */
  int32_t* steps; /**< row step of each level in bytes; cleared at creation, filled by the caller */
  void* layerState; /**< cleared at creation; the caller's */
  int32_t level;    /**< index of the coarsest level */
} NuviPyramid;

/** @name State records, opaque to the caller
 * @{ */
/** A mask, classified for erosion and dilation. */
typedef struct NuviMorphologyState NuviMorphologyState;
/** A mask, its reflection and a temporary image, for compositions of erosion and dilation. */
typedef struct NuviMorphCompositeState NuviMorphCompositeState;
/** A grayscale structuring element. */
typedef struct NuviGrayMorphologyState NuviGrayMorphologyState;
/** The kernel and the rate of a step from one pyramid layer to the next. */
typedef struct NuviPyramidLayerState NuviPyramidLayerState;
/** The work memory of pyramidal optical flow for one window size. */
typedef struct NuviOptFlowPyrLKState NuviOptFlowPyrLKState;
/** One stage of a Haar classifier: features, thresholds and votes. */
typedef struct NuviHaarClassifier NuviHaarClassifier;
/** The region to inpaint, in the order in which it is filled. */
typedef struct NuviInpaintState NuviInpaintState;
/** A model of the background: Gaussians for each pixel. */
typedef struct NuviForegroundGaussianState NuviForegroundGaussianState;
/** A model of the background: histograms for each pixel. */
typedef struct NuviForegroundHistogramState NuviForegroundHistogramState;
/** The point spread functions of a super-resolution residual. */
typedef struct NuviSRHNState NuviSRHNState;
/** @} */

/** What nuvcvGetLibVersion() tells about this build. */
typedef struct NuvLibraryVersion {
  int32_t versionMajor;      /**< first number of the version */
  int32_t versionMinor;      /**< second number */
  int32_t versionPatch;      /**< third number */
  int32_t revision;          /**< revision of the sources */
  char cpuTag[4];            /**< tag of the processor that this build is tuned for */
  const char* libraryName;   /**< name, with the tag in parentheses */
  const char* versionText;   /**< version and revision as text */
  const char* buildDateText; /**< date of the release */
} NuvLibraryVersion;

/**
 * The version of the library. Cannot fail.
 *
 * @return a constant record, the same on each call
 */
NUVCV_API const NuvLibraryVersion* nuvcvGetLibVersion(void);

#ifdef __cplusplus
}
#endif

#endif
