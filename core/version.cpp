// The constant record that tells which build this is.

#include "nuvcv/types.h"

namespace {

constexpr NuvLibraryVersion version = {
    7, 1, 0, 36264, {'h', '9', '\0', '\0'}, "NuvCV AVX2 (h9)", "7.1.0 (r36264)", "Jul 23 2012"};

}  // namespace

const NuvLibraryVersion* nuvcvGetLibVersion(void) { return &version; }
