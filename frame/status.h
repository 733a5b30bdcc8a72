// Argument checks shared by every tier function.
//
// A tier function tests, in this order and returning at the first failure:
// the top-level pointers (celStatusNullPointer), the sizes against the
// function's minimum (celStatusBadSize), then, in the families that test
// them late, the members of plane-pointer arrays, then steps, then the
// family's own arguments.  These helpers keep each test a single line so
// that the order reads straight off the tier function.
#pragma once

#include <cstdint>

#include "celcc.h"

namespace cel {

// True if any of the given pointers is null.
template <class... P>
inline bool anyNull(const P*... p) {
    return ((p == nullptr) || ...);
}

// True if any of the first n entries of a plane-pointer array is null.
template <class T>
inline bool anyPlaneNull(T* const* planes, int n) {
    for (int i = 0; i < n; ++i)
        if (planes[i] == nullptr) return true;
    return false;
}

// True if the region is smaller than minWidth x minHeight.
inline bool sizeBelow(CelSize roi, int minWidth, int minHeight) {
    return roi.width < minWidth || roi.height < minHeight;
}

}  // namespace cel
