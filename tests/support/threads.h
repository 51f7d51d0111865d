// Runs a test body with several thread counts.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "nuvcore.h"

namespace testing_support {

// Calls body() with 1, 2, 3 and 7 threads configured, and restores the default.
template <class Body>
void withThreadCounts(Body&& body) {
  for (const int32_t threads : {1, 2, 3, 7}) {
    SCOPED_TRACE("threads " + std::to_string(threads));
    nuvSetNumThreads(threads);
    body();
  }
  nuvSetNumThreads(0);
}

}  // namespace testing_support
