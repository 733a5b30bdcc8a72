// The robustness table (see README.md here): what the signature of every
// export tells, derived from the export list (parameter types and names),
// joined with the family's row in tests/robust/shapes_<family>.inc.  The
// guard-page sweep, the fuzzers and the thread test all read this one table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "celcc.h"

namespace celrobust {

// ---- Plane geometry ------------------------------------------------------------------
// Bytes of one plane for a region of width w and height h:
//   units(w) = w / wden (rounded down, or up with wceil), never below 0;
//   row bytes = units(w) * unit samples * sample size (from the parameter type);
//   rows(h) = (h / hden, rounded down or up) * rowsPerUnit.
// Example: 4:2:0 chroma plane of a P3 image is sub(2, 2); the Y plane of a
// 4:2:0 image that only whole blocks touch is blocks(2, 2).
struct Geo {
    uint8_t wden = 1, wceil = 0, hden = 1, hceil = 0;
    uint16_t unit = 1;       // samples per width unit
    uint8_t rowsPerUnit = 1;
};

// A full-size plane of `ch` interleaved samples per pixel (C1, C3, AC4, ...).
constexpr Geo px(int ch) { return Geo{1, 0, 1, 0, static_cast<uint16_t>(ch), 1}; }
// A subsampled plane: one unit of `ch` samples per wden pixels of a row and
// one row per hden rows, rounded down (or up where the family reads the
// partial block).
constexpr Geo sub(int wden, int hden, int ch = 1, bool wceil = false, bool hceil = false) {
    return Geo{static_cast<uint8_t>(wden), static_cast<uint8_t>(wceil), static_cast<uint8_t>(hden),
               static_cast<uint8_t>(hceil), static_cast<uint16_t>(ch), 1};
}
// A full-rate plane of which only whole wden x hden blocks are covered:
// width rounded down to a multiple of wden, height to a multiple of hden.
constexpr Geo blocks(int wden, int hden, int ch = 1) {
    return Geo{static_cast<uint8_t>(wden), 0, static_cast<uint8_t>(hden), 0,
               static_cast<uint16_t>(wden * ch), static_cast<uint8_t>(hden)};
}
// The general form: `unit` samples per wden pixels of a row (rounded down),
// `rowsPerUnit` rows per hden rows (rounded down).  A 4:2:2 chroma plane
// whose height is rounded to row pairs is grid(2, 1, 2, 2).
constexpr Geo grid(int wden, int unit, int hden, int rowsPerUnit) {
    return Geo{static_cast<uint8_t>(wden), 0, static_cast<uint8_t>(hden), 0, static_cast<uint16_t>(unit),
               static_cast<uint8_t>(rowsPerUnit)};
}

inline int64_t geoUnits(const Geo& g, int64_t w) {
    if (w <= 0) return 0;
    return g.wceil ? (w + g.wden - 1) / g.wden : w / g.wden;
}
inline int64_t geoRows(const Geo& g, int64_t h) {
    if (h <= 0) return 0;
    return (g.hceil ? (h + g.hden - 1) / g.hden : h / g.hden) * g.rowsPerUnit;
}

// ---- Status rules -----------------------------------------------------------------------
enum class Odd : uint8_t {
    None,        // no warning
    WidthOrHeight,  // 4:2:0: celStatusOddSize if the width or the height is odd
    Width4,      // 4:1:1: if the width is not a multiple of 4
    Width,       // if the width is odd
    Interlace,   // if the width is odd or the height not a multiple of 4
};

enum Flag : uint32_t {
    kPlanesLate = 1u << 0,     // members of plane arrays are tested after the sizes
    kSizesFirst = 1u << 1,     // sizes are tested before any pointer
    kStepsPositive = 1u << 2,  // steps below 1 give celStatusBadStep, behind the sizes
    kStepsBeforeSizes = 1u << 3,  // ... ahead of the sizes
    kRegionUnclamped = 1u << 5,  // frame shape: the destination covers the whole region, not clamped to the frame
    kHeldBack = 1u << 6,       // the row is known not to describe the export yet: sweep, threads and fuzzers pass it by
    kDataWarning = 1u << 7,    // a warning the pixel data decides (tone mapping): accepted where success is expected, and then nothing may be written
    kStepsInElements = 1u << 8,  // steps count samples of the plane's type, not bytes, and one below 1 is a size error (celStatusBadSize)
};

struct Rule {
    int minW = 1, minH = 1;  // minH 0: the height is not tested (a height below 1 does nothing)
    uint8_t multW = 1, multH = 1;  // sizes must be multiples of these, else celStatusBadSize
    Odd odd = Odd::None;
    uint32_t flags = 0;
};

constexpr Rule rule(int minW, int minH, Odd odd = Odd::None, uint32_t flags = 0, int multW = 1, int multH = 1) {
    return Rule{minW, minH, static_cast<uint8_t>(multW), static_cast<uint8_t>(multH), odd, flags};
}

// A family argument and its valid range, in the order the tier function tests
// them (behind sizes, late planes and steps).  Values outside [lo, hi] give
// `error`; error 0 means any value of the type is valid, [lo, hi] is then
// only the range the sweep draws from.  `valid`, where given, replaces the
// range test (sets such as the channel codes 1, 3, 4, 9).
struct Extra {
    const char* name;
    double lo, hi;
    int error;
    bool (*valid)(int64_t) = nullptr;
    int count = 0;  // arrays of values: their length where the name has no [N]
};

struct Call;  // the values of one call, see below

// What a call may touch of one plane where that is more than its region:
// columns [col0, col0 + cols) and rows [row0, row0 + rows), in the plane's
// width units and rows, counted from the pixel its pointer addresses (col0
// and row0 can be negative).
struct Reach {
    int64_t col0 = 0, cols = 0, row0 = 0, rows = 0;
};

// Per-export hooks for what no flag says.
struct Hooks {
    // Expected status; null: the generic rule (see expectedStatus).
    int (*status)(const Call&) = nullptr;
    // Bytes of the caller's scratch buffer for this call (celiReduceBits_*).
    int64_t (*scratchBytes)(const Call&) = nullptr;
    // Adjust freshly drawn values (e.g. keep a float range ordered).
    void (*adjust)(Call&) = nullptr;
    // Bytes of one row of a plane where the geometry cannot say it (a
    // bitmap that starts at a bit offset); null: from the geometry.
    int64_t (*rowBytes)(const Call&, int plane) = nullptr;
    // The reach of a plane on a successful call; false: its region.  For
    // exports documented to read or write around their region.
    bool (*reach)(const Call&, int plane, Reach&) = nullptr;
};

// Floating-point samples are drawn from [lo, hi] (and, in the fuzzer, as raw
// bits too); integer samples take every value.
struct Domain {
    double lo = -0.25, hi = 1.25;
};

struct Row {
    const char* name;
    std::vector<Geo> planes;  // every image pointer in argument order, plane arrays flattened
    Rule rule;
    std::vector<Extra> extras;
    Hooks hooks;
    Domain domain;
};

// ---- What the signature tells --------------------------------------------------------
enum class Kind : uint8_t {
    SrcPlane, DstPlane, InOutPlane,        // an image pointer (src*, dst*, srcDst*)
    SrcPlanes, DstPlanes, InOutPlanes,     // an array of plane pointers (src[3], dst[4], ...)
    Step, Steps,                           // a row step, or an array of them
    Size, FrameSize, Rect,                 // CelSize (roiSize / srcSize), CelRect (srcRoi)
    Width, Height,                         // separate size arguments of the 64-bit forms
    Extra, ExtraArray,                     // a family scalar, or an array of them (coeffs[3])
    Scratch,                               // the caller's scratch buffer
    OutValue,                              // a pointer the function stores one value through
};

struct TypeInfo {
    bool isPointer = false, isPointerArray = false, pointeeConst = false;
    bool isSize = false, isRect = false, isFloat = false, isSigned = false, isEnum = false;
    int valueBytes = 0;  // scalar size, or the pointee's (sample) size
    int fieldBytes = 0;  // sizes and rectangles: 4 (CelSize, CelRect) or 8 (64-bit forms)
};

// A size is a struct of two signed integers (width, height), a rectangle of
// four (x, y, width, height), of 32 or 64 bits each.
template <class U>
constexpr int structFields() {
    if constexpr (std::is_class_v<U> && std::is_trivially_copyable_v<U>) {
        constexpr size_t field = alignof(U) >= 8 ? 8 : 4;
        if (sizeof(U) == 2 * field || sizeof(U) == 4 * field) return static_cast<int>(sizeof(U) / field);
    }
    return 0;
}

template <class T>
constexpr TypeInfo typeInfo() {
    using U = std::remove_cv_t<T>;
    TypeInfo t;
    if constexpr (std::is_pointer_v<U>) {
        using P = std::remove_pointer_t<U>;
        t.isPointer = true;
        t.pointeeConst = std::is_const_v<P>;
        using Q = std::remove_cv_t<std::remove_all_extents_t<P>>;  // a matrix row: its elements
        if constexpr (std::is_pointer_v<Q>) {
            using E = std::remove_pointer_t<Q>;
            t.isPointerArray = true;
            t.pointeeConst = std::is_const_v<E>;
            t.valueBytes = sizeof(std::remove_cv_t<E>);
            t.isFloat = std::is_floating_point_v<std::remove_cv_t<E>>;
            t.isSigned = std::is_signed_v<std::remove_cv_t<E>>;
        } else if constexpr (!std::is_void_v<Q>) {
            t.valueBytes = sizeof(Q);
            t.isFloat = std::is_floating_point_v<Q>;
            t.isSigned = std::is_signed_v<Q>;
        }
    } else if constexpr (structFields<U>() != 0) {
        t.isSize = structFields<U>() == 2;
        t.isRect = structFields<U>() == 4;
        t.valueBytes = sizeof(U);
        t.fieldBytes = static_cast<int>(sizeof(U)) / structFields<U>();
    } else {
        t.valueBytes = sizeof(U);
        t.isFloat = std::is_floating_point_v<U>;
        t.isEnum = std::is_enum_v<U>;
        if constexpr (std::is_enum_v<U>)
            t.isSigned = std::is_signed_v<std::underlying_type_t<U>>;
        else
            t.isSigned = std::is_signed_v<U>;
    }
    return t;
}

// One argument's value, whatever its type.
struct Slot {
    void* p = nullptr;
    int64_t i = 0;
    double f = 0;
    int64_t fields[4] = {0, 0, 0, 0};  // a size (width, height) or a rectangle (x, y, width, height)
};

template <class T>
T fromSlot(const Slot& s) {
    using U = std::remove_cv_t<T>;
    if constexpr (std::is_pointer_v<U>)
        return reinterpret_cast<U>(s.p);
    else if constexpr (structFields<U>() != 0) {
        U v;
        constexpr int n = structFields<U>();
        constexpr size_t field = sizeof(U) / n;
        unsigned char bytes[sizeof(U)];
        for (int k = 0; k < n; ++k) {
            if constexpr (field == 8) {
                std::memcpy(bytes + 8 * k, &s.fields[k], 8);
            } else {
                const int32_t v32 = static_cast<int32_t>(s.fields[k]);
                std::memcpy(bytes + 4 * k, &v32, 4);
            }
        }
        std::memcpy(&v, bytes, sizeof(U));
        return v;
    } else if constexpr (std::is_floating_point_v<U>)
        return static_cast<U>(s.f);
    else
        return static_cast<U>(s.i);
}

template <class F>
struct Signature;

template <class R, class... A>
struct Signature<R (*)(A...)> {
    static constexpr bool returnsStatus = std::is_same_v<R, CelStatus>;
    static std::vector<TypeInfo> types() { return {typeInfo<A>()...}; }
    template <size_t... I>
    static int callImpl(const void* fn, const Slot* s, std::index_sequence<I...>) {
        auto f = reinterpret_cast<R (*)(A...)>(const_cast<void*>(fn));
        if constexpr (std::is_same_v<R, CelStatus>)
            return f(fromSlot<A>(s[I])...);
        else {
            (void)f(fromSlot<A>(s[I])...);
            return 0;
        }
    }
    static int call(const void* fn, const Slot* s) { return callImpl(fn, s, std::index_sequence_for<A...>{}); }
};

struct Param {
    std::string name;
    int count = 1;  // array length from "name[N]"
    TypeInfo type;
    Kind kind = Kind::Extra;
    int plane = -1;      // first flattened plane index (image params)
    int stepFor = -1;    // Step/Steps: the parameter index of the plane(s) it steps
    int stepParam = -1;  // image params: index of their step parameter, -1 if none
    const Extra* extra = nullptr;  // Extra/ExtraArray: the row's range, if any
};

enum class Shape : uint8_t { Version, Query, Image, Frame };

// An export joined with its row.
struct Subject {
    const char* name;
    const char* params;
    const void* fn;
    int (*call)(const void*, const Slot*);
    bool returnsStatus;
    std::vector<Param> args;
    Shape shape = Shape::Image;
    const Row* row = nullptr;
    int planeCount = 0;
    std::string problem;  // why the row does not fit the signature, empty if it does
};

// Every export of the list, in list order, with its row (null if missing).
const std::vector<Subject>& subjects();
// Every row of the table (to find rows whose export does not exist).
const std::vector<Row>& rows();

// ---- One call -------------------------------------------------------------------------
// The drawn values of a call: size, steps (one per step parameter member),
// extras, and which pointer (if any) is passed as null.
struct Call {
    const Subject* subject = nullptr;
    int64_t width = 0, height = 0;  // region (Size / Rect / Width, Height)
    CelRect roi{0, 0, 0, 0};        // Frame shape: region in frame coordinates
    int64_t frameW = 0, frameH = 0; // Frame shape: whole frame (FrameSize)
    std::vector<int64_t> steps;     // per flattened plane
    std::vector<double> extras;     // per parameter (Extra) or first value (ExtraArray)
    int nullPlane = -1;             // flattened plane to pass as null
    int nullParam = -1;             // other pointer parameter to pass as null
    bool scratchNull = false;
    int64_t scratchBytes = 0;
    uint32_t seed = 1;
    bool rawFloats = false;         // fill float sources with raw bits (NaN, inf, ...)
    bool atStart = false;           // place planes after a guard page rather than before one
};

// Effective region of each plane: width and height it is computed from.
void planeRegion(const Call& c, int plane, int64_t& w, int64_t& h);
// Row bytes and rows of a flattened plane for this call; `lead` and
// `leadRows` (if given) the byte and row offsets of its reach from the
// first pixel, 0 unless a reach hook moves them.
void planeExtent(const Call& c, int plane, int64_t& rowBytes, int64_t& rows, int64_t* lead = nullptr,
                 int64_t* leadRows = nullptr);

// The status the export must give for this call, from its row.
int expectedStatus(const Call& c);
// The status from the row's flags and extras alone (for hooks that add a
// check in front of them).
int genericExpectedStatus(const Call& c);

// Result of one checked call.
struct Outcome {
    int status = 0;
    int expected = 0;
    std::vector<std::string> failures;  // empty: all held
    uint64_t dstHash = 0;               // hash of every destination byte (thread test)
};

// Runs one call with every plane in its own mapping between guard pages,
// and checks: the status, no byte outside the region written, the sources
// never written, nothing written on an error.
Outcome runGuarded(const Call& c);

// Runs one call in ordinary heap memory (thread test): returns the status
// and the hash of every destination byte.
Outcome runPlain(const Call& c);

// An integer from the environment (CELCC_ROBUST_*), or the fallback.
inline int envInt(const char* name, int fallback) {
    const char* v = std::getenv(name);
    return v && *v ? std::atoi(v) : fallback;
}

// Describes the call in one line (for failure messages).
std::string describe(const Call& c);

// Draws a call for a subject from a random source.  `bytes`, if given, is
// consumed first (the fuzzer's input), then the generator takes over.
class Draw {
public:
    Draw(uint64_t seed, const uint8_t* data = nullptr, size_t size = 0) : state_(seed), data_(data), left_(size) {}
    uint32_t next();
    int64_t range(int64_t lo, int64_t hi);  // inclusive
    bool chance(int percent) { return range(0, 99) < percent; }

private:
    uint64_t state_;
    const uint8_t* data_;
    size_t left_;
};

struct DrawLimits {
    int maxSide = 300;      // widths and heights up to this
    int maxArea = 40000;    // width * height above this is scaled down
    int invalidPercent = 10;  // share of calls with an out-of-range extra or a bad step
};

Call drawCall(const Subject& s, Draw& d, const DrawLimits& lim);
// A call of exactly this size (for a frame: the whole frame as region) with
// valid extras and steps of any sign the export takes.
Call sizedCall(const Subject& s, int64_t width, int64_t height, Draw& d);
// A fixed, valid call of moderate size (thread test).
Call typicalCall(const Subject& s, int width, int height, uint32_t seed);

}  // namespace celrobust
