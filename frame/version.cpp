// The version record and celccGetLibVersion.
#include "frame/tier.h"

namespace {
const CelLibVersion _s_libVer = {
    2019,                      // releaseMajor
    0,                         // releaseMinor
    0,                         // releaseUpdate
    59881,                     // revision
    {'y', '8', '\0', '\0'},    // tierTag
    "celCC SSE4.2 (y8)",       // libraryLabel
    "2019.0.0 Gold (r59881)",  // versionLabel
    "Jul 12 2018",             // buildDateLabel
};
}  // namespace

extern "C" const CelLibVersion* y8_celccGetLibVersion(void) { return &_s_libVer; }
