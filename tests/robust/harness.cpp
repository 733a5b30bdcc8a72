// One call of an export, drawn from its row and checked: every plane in a
// mapping of its own whose last byte (or first byte) touches a page without
// access, canary bytes everywhere else in the mapping.
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <deque>
#include <memory>
#include <sstream>

#include "robust/robust.h"

namespace celrobust {

// ---- Random source -----------------------------------------------------------------------
uint32_t Draw::next() {
    if (left_ >= 4) {
        uint32_t v;
        std::memcpy(&v, data_, 4);
        data_ += 4;
        left_ -= 4;
        return v;
    }
    left_ = 0;
    state_ += 0x9E3779B97F4A7C15ull;
    uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return static_cast<uint32_t>((z ^ (z >> 31)) >> 16);
}

int64_t Draw::range(int64_t lo, int64_t hi) {
    if (hi <= lo) return lo;
    const uint64_t span = static_cast<uint64_t>(hi - lo) + 1;
    return lo + static_cast<int64_t>(next() % span);
}

namespace {

uint64_t mix(uint64_t x) {
    x ^= x >> 33;
    x *= 0xFF51AFD7ED558CCDull;
    x ^= x >> 33;
    x *= 0xC4CEB9FE1A85EC53ull;
    return x ^ (x >> 33);
}

const Param* planeParam(const Subject& s, int plane, int* member = nullptr) {
    for (const Param& p : s.args)
        if (p.plane >= 0 && plane >= p.plane && plane < p.plane + p.count) {
            if (member) *member = plane - p.plane;
            return &p;
        }
    return nullptr;
}

bool isSource(Kind k) { return k == Kind::SrcPlane || k == Kind::SrcPlanes; }
bool isInOut(Kind k) { return k == Kind::InOutPlane || k == Kind::InOutPlanes; }
bool isArray(Kind k) { return k == Kind::SrcPlanes || k == Kind::DstPlanes || k == Kind::InOutPlanes; }

}  // namespace

// ---- Geometry ------------------------------------------------------------------------------
void planeRegion(const Call& c, int plane, int64_t& w, int64_t& h) {
    const Subject& s = *c.subject;
    if (s.shape == Shape::Frame) {
        const Param* p = planeParam(s, plane);
        if (p && isSource(p->kind)) {
            w = c.frameW;
            h = c.frameH;
        } else if (s.row->rule.flags & kRegionUnclamped) {
            w = c.roi.width;
            h = c.roi.height;
        } else {
            w = std::min<int64_t>(c.roi.width, c.frameW - c.roi.x);
            h = std::min<int64_t>(c.roi.height, c.frameH - c.roi.y);
        }
        return;
    }
    w = c.width;
    h = c.height;
}

void planeExtent(const Call& c, int plane, int64_t& rowBytes, int64_t& rows, int64_t* lead, int64_t* leadRows) {
    const Subject& s = *c.subject;
    const Param* p = planeParam(s, plane);
    const Geo& g = s.row->planes[plane];
    const int64_t unitBytes = g.unit * p->type.valueBytes;
    int64_t w, h;
    planeRegion(c, plane, w, h);
    rowBytes = s.row->hooks.rowBytes ? (w > 0 ? s.row->hooks.rowBytes(c, plane) : 0) : geoUnits(g, w) * unitBytes;
    rows = geoRows(g, h);
    int64_t col0 = 0, row0 = 0;
    Reach r;
    if (rowBytes > 0 && rows > 0 && s.row->hooks.reach && s.row->hooks.reach(c, plane, r)) {
        col0 = r.col0;
        row0 = r.row0;
        rowBytes = r.cols * unitBytes;
        rows = r.rows;
    }
    if (rowBytes <= 0 || rows <= 0) rowBytes = rows = col0 = row0 = 0;
    if (lead) *lead = col0 * unitBytes;
    if (leadRows) *leadRows = row0;
}

// ---- Expected status -------------------------------------------------------------------------
namespace {

bool sizeBad(const Call& c) {
    const Rule& r = c.subject->row->rule;
    int64_t w = c.width, h = c.height;
    if (c.subject->shape == Shape::Frame) {
        w = c.frameW;
        h = c.frameH;
    }
    if (w < r.minW) return true;
    if (r.minH > 0 && h < r.minH) return true;
    if (r.multW > 1 && w % r.multW != 0) return true;
    if (r.minH > 0 && r.multH > 1 && h % r.multH != 0) return true;
    if (r.flags & kStepsInElements)
        for (int64_t st : c.steps)
            if (st < 1) return true;
    return false;
}

bool stepBad(const Call& c) {
    for (size_t i = 0; i < c.steps.size(); ++i)
        if (c.steps[i] < 1) return true;
    return false;
}

int extraStatus(const Call& c) {
    const Subject& s = *c.subject;
    for (const Extra& x : s.row->extras) {
        if (x.error == 0) continue;
        for (size_t i = 0; i < s.args.size(); ++i) {
            if (s.args[i].extra != &x || s.args[i].kind != Kind::Extra) continue;
            const double v = c.extras[i];
            const bool ok = x.valid ? x.valid(static_cast<int64_t>(v)) : (v >= x.lo && v <= x.hi);
            if (!ok) return x.error;
        }
    }
    return celStatusOk;
}

int oddStatus(const Call& c) {
    const Rule& r = c.subject->row->rule;
    const int64_t w = c.width, h = c.height;
    switch (r.odd) {
        case Odd::None: return celStatusOk;
        case Odd::WidthOrHeight: return (w & 1) || (h & 1) ? celStatusOddSize : celStatusOk;
        case Odd::Width4: return w % 4 ? celStatusOddSize : celStatusOk;
        case Odd::Width: return (w & 1) ? celStatusOddSize : celStatusOk;
        case Odd::Interlace: return (w & 1) || (h % 4) ? celStatusOddSize : celStatusOk;
    }
    return celStatusOk;
}

}  // namespace

int genericExpectedStatus(const Call& c) {
    const Subject& s = *c.subject;
    const Rule& r = s.row->rule;
    bool nullTop = c.nullParam >= 0, nullLate = false;
    if (c.nullPlane >= 0) {
        const Param* p = planeParam(s, c.nullPlane);
        if (isArray(p->kind) && (r.flags & kPlanesLate))
            nullLate = true;
        else
            nullTop = true;
    }
    const bool badSize = sizeBad(c);
    const bool badStep = (r.flags & (kStepsPositive | kStepsBeforeSizes)) && stepBad(c);
    if ((r.flags & kSizesFirst) && badSize) return celStatusBadSize;
    if (nullTop) return celStatusNullPointer;
    if ((r.flags & kStepsBeforeSizes) && badStep) return celStatusBadStep;
    if (badSize) return celStatusBadSize;
    if (nullLate) return celStatusNullPointer;
    if ((r.flags & kStepsPositive) && badStep) return celStatusBadStep;
    const int e = extraStatus(c);
    if (e != celStatusOk) return e;
    return oddStatus(c);
}

int expectedStatus(const Call& c) {
    const Subject& s = *c.subject;
    if (!s.returnsStatus) return 0;
    if (s.row->hooks.status) return s.row->hooks.status(c);
    return genericExpectedStatus(c);
}

// ---- Memory ----------------------------------------------------------------------------------
namespace {

const size_t kPage = static_cast<size_t>(sysconf(_SC_PAGESIZE));

// A block of `extent` bytes: in its own mapping between two pages without
// access (guarded), or on the heap with a margin (plain).
struct Block {
    uint8_t* map = nullptr;
    size_t mapLen = 0;
    uint8_t* win = nullptr;  // the accessible bytes
    size_t winLen = 0;
    uint8_t* base = nullptr;  // first byte of the extent
    std::unique_ptr<uint8_t[]> heap;

    void make(size_t extent, bool guarded, bool atStart) {
        if (guarded) {
            const size_t pages = std::max<size_t>(1, (extent + kPage - 1) / kPage);
            mapLen = (pages + 2) * kPage;
            void* m = mmap(nullptr, mapLen, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            if (m == MAP_FAILED) abort();
            map = static_cast<uint8_t*>(m);
            win = map + kPage;
            winLen = pages * kPage;
            if (mprotect(win, winLen, PROT_READ | PROT_WRITE) != 0) abort();
            base = atStart ? win : win + winLen - extent;
        } else {
            winLen = extent + 128;
            heap.reset(new uint8_t[winLen]);
            win = heap.get();
            base = win + 64;
        }
    }
    Block() = default;
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block() {
        if (map) munmap(map, mapLen);
    }
};

struct PlaneMem {
    Block block;
    uint8_t* row0 = nullptr;
    int64_t rowBytes = 0, rows = 0, step = 0;
    int64_t lead = 0, leadRows = 0;  // the reach's first byte and row from row0's first pixel
    std::vector<uint8_t> before;
    bool source = false, inout = false;
    int sampleBytes = 1;
    bool isFloat = false;
};

void fillRandom(uint8_t* p, size_t n, uint64_t seed) {
    uint64_t x = mix(seed);
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        x = mix(x + 0x9E3779B97F4A7C15ull);
        std::memcpy(p + i, &x, 8);
    }
    x = mix(x + 1);
    for (; i < n; ++i) p[i] = static_cast<uint8_t>(x >> (8 * (i & 7)));
}

// One value in the given type: a float or double, or an integer of `bytes` bytes.
void putValue(uint8_t* at, int bytes, bool isFloat, double v) {
    if (isFloat && bytes == 4) {
        const float f = static_cast<float>(v);
        std::memcpy(at, &f, 4);
    } else if (isFloat) {
        std::memcpy(at, &v, 8);
    } else {
        const int64_t i = static_cast<int64_t>(v);  // little-endian: the low bytes
        std::memcpy(at, &i, static_cast<size_t>(bytes));
    }
}

void fillFloats(uint8_t* p, size_t n, int bytes, uint64_t seed, double lo, double hi) {
    uint64_t x = mix(seed);
    for (size_t i = 0; i + bytes <= n; i += bytes) {
        x = mix(x + 0x9E3779B97F4A7C15ull);
        putValue(p + i, bytes, true, lo + (hi - lo) * (static_cast<double>(x >> 11) / 9007199254740992.0));
    }
}

// Byte offsets (from the window) covered by the region's rows.
void regionMask(const PlaneMem& m, std::vector<uint8_t>& mask) {
    mask.assign(m.block.winLen, 0);
    for (int64_t r = m.leadRows; r < m.leadRows + m.rows; ++r) {
        const int64_t off = (m.row0 - m.block.win) + r * m.step + m.lead;
        std::memset(mask.data() + off, 1, static_cast<size_t>(m.rowBytes));
    }
}

thread_local const Call* tCurrent = nullptr;
thread_local char tText[512];

void onFault(int sig) {
    const char head[] = "\n*** fault in the robustness harness: ";
    ssize_t ignored = write(2, head, sizeof head - 1);
    if (tCurrent) ignored = write(2, tText, std::strlen(tText));
    ignored = write(2, "\n", 1);
    (void)ignored;
    signal(sig, SIG_DFL);
    raise(sig);
}

struct FaultReporter {
    FaultReporter() {
        struct sigaction sa {};
        sa.sa_handler = onFault;
        sigemptyset(&sa.sa_mask);
        sa.sa_flags = SA_RESETHAND;
        sigaction(SIGSEGV, &sa, nullptr);
        sigaction(SIGBUS, &sa, nullptr);
    }
};

Outcome run(const Call& c, bool guarded) {
    const Subject& s = *c.subject;
    Outcome out;
    out.expected = expectedStatus(c);
    std::vector<Slot> slots(s.args.size());

    // Images.
    std::deque<PlaneMem> planes(static_cast<size_t>(s.planeCount));
    for (int i = 0; i < s.planeCount; ++i) {
        int member = 0;
        const Param* p = planeParam(s, i, &member);
        PlaneMem& m = planes[i];
        m.source = isSource(p->kind);
        m.inout = isInOut(p->kind);
        m.sampleBytes = p->type.valueBytes;
        m.isFloat = p->type.isFloat;
        planeExtent(c, i, m.rowBytes, m.rows, &m.lead, &m.leadRows);
        m.step = c.steps[i];
        // On an error nothing may be read or written: under guard pages every
        // image is then empty, its pointer on the first byte of a page
        // without access.
        const bool empty = guarded && out.expected < 0;
        if (empty) m.rowBytes = m.rows = m.lead = m.leadRows = 0;
        int64_t lo = 0, hi = m.rowBytes;
        if (m.rows > 0) {
            const int64_t first = m.leadRows * m.step + m.lead, last = (m.leadRows + m.rows - 1) * m.step + m.lead;
            lo = std::min(first, last);
            hi = std::max(first, last) + m.rowBytes;
        }
        m.block.make(static_cast<size_t>(hi - lo), guarded, c.atStart && !empty);
        m.row0 = m.block.base - lo;
        const uint64_t seed = (static_cast<uint64_t>(c.seed) << 8) + static_cast<uint64_t>(i);
        if ((m.source || m.inout) && m.isFloat && !c.rawFloats)
            fillFloats(m.block.win, m.block.winLen, m.sampleBytes, seed, s.row->domain.lo, s.row->domain.hi);
        else
            fillRandom(m.block.win, m.block.winLen, seed);
        m.before.assign(m.block.win, m.block.win + m.block.winLen);
    }
    // Plane arrays, step arrays, arrays of values, scratch and result
    // pointers live in guarded blocks too, each exactly its length.
    std::deque<Block> arrays;
    const auto block = [&](size_t a, size_t bytes, bool atStart) {
        arrays.emplace_back();
        arrays.back().make(bytes, guarded, atStart);
        slots[a].p = c.nullParam == static_cast<int>(a) ? nullptr : arrays.back().base;
        return arrays.back().base;
    };
    for (size_t a = 0; a < s.args.size(); ++a) {
        const Param& p = s.args[a];
        Slot& slot = slots[a];
        switch (p.kind) {
            case Kind::SrcPlane:
            case Kind::DstPlane:
            case Kind::InOutPlane:
                slot.p = c.nullPlane == p.plane ? nullptr : planes[p.plane].row0;
                break;
            case Kind::SrcPlanes:
            case Kind::DstPlanes:
            case Kind::InOutPlanes: {
                auto** ptrs = reinterpret_cast<uint8_t**>(block(a, sizeof(void*) * p.count, false));
                for (int k = 0; k < p.count; ++k)
                    ptrs[k] = c.nullPlane == p.plane + k ? nullptr : planes[p.plane + k].row0;
                break;
            }
            case Kind::Step:
                slot.i = c.steps[s.args[p.stepFor].plane];
                if (s.row->rule.flags & kStepsInElements) slot.i /= std::max(1, s.args[p.stepFor].type.valueBytes);
                break;
            case Kind::Steps: {
                uint8_t* at = block(a, static_cast<size_t>(p.type.valueBytes) * p.count, false);
                for (int k = 0; k < p.count; ++k)
                    putValue(at + p.type.valueBytes * k, p.type.valueBytes, false,
                             static_cast<double>(c.steps[s.args[p.stepFor].plane + k]));
                break;
            }
            case Kind::Size:
            case Kind::FrameSize:
            case Kind::Rect: {
                const int64_t size[] = {c.width, c.height}, frame[] = {c.frameW, c.frameH},
                              rect[] = {c.roi.x, c.roi.y, c.roi.width, c.roi.height};
                const int64_t* f = p.kind == Kind::Size ? size : p.kind == Kind::FrameSize ? frame : rect;
                std::copy(f, f + (p.kind == Kind::Rect ? 4 : 2), slot.fields);
                break;
            }
            case Kind::Width:
                slot.i = c.width;
                break;
            case Kind::Height:
                slot.i = c.height;
                break;
            case Kind::Extra:
                slot.i = static_cast<int64_t>(c.extras[a]);
                slot.f = c.extras[a];
                break;
            case Kind::ExtraArray: {
                uint8_t* at = block(a, static_cast<size_t>(p.type.valueBytes) * p.count, c.atStart);
                const double lo = p.extra ? p.extra->lo : -1.0, hi = p.extra ? p.extra->hi : 2.0;
                for (int k = 0; k < p.count; ++k)
                    putValue(at + p.type.valueBytes * k, p.type.valueBytes, p.type.isFloat,
                             k == 0 ? c.extras[a] : lo + (hi - lo) * ((mix(c.seed * 31 + k) >> 11) / 9007199254740992.0));
                break;
            }
            case Kind::Scratch:
                if (c.scratchNull || c.scratchBytes <= 0) break;
                block(a, static_cast<size_t>(c.scratchBytes), c.atStart);
                fillRandom(arrays.back().win, arrays.back().winLen, c.seed ^ 0x5C);
                break;
            case Kind::OutValue:
                block(a, static_cast<size_t>(std::max(1, p.type.valueBytes)), c.atStart);
                std::memset(arrays.back().win, 0xA5, arrays.back().winLen);
                break;
        }
    }

    // The call.
    if (guarded) {
        static FaultReporter reporter;
        std::snprintf(tText, sizeof tText, "%s", describe(c).c_str());
        tCurrent = &c;
    }
    out.status = s.call(s.fn, slots.data());
    tCurrent = nullptr;

    // Checks.  A warning decided by the data stands for success and writes nothing.
    const bool dataWarning = (s.row->rule.flags & kDataWarning) && out.expected == celStatusOk && out.status > 0;
    if (dataWarning) out.expected = out.status;
    if (out.status != out.expected)
        out.failures.push_back("status " + std::to_string(out.status) + ", expected " + std::to_string(out.expected));
    const bool error = out.status < 0 || dataWarning;
    uint64_t hash = 0xCBF29CE484222325ull;
    std::vector<uint8_t> mask;
    for (int i = 0; i < s.planeCount; ++i) {
        const PlaneMem& m = planes[i];
        const uint8_t* now = m.block.win;
        if (m.source) {
            if (std::memcmp(now, m.before.data(), m.block.winLen) != 0) {
                size_t k = 0;
                while (now[k] == m.before[k]) ++k;
                out.failures.push_back("source plane " + std::to_string(i) + " written at byte " +
                                       std::to_string(static_cast<int64_t>(now + k - m.row0)) + " from its first pixel");
            }
            continue;
        }
        if (std::memcmp(now, m.before.data(), m.block.winLen) != 0) {
            regionMask(m, mask);
            for (size_t k = 0; k < m.block.winLen; ++k) {
                if (now[k] == m.before[k] || (!error && mask[k])) continue;
                const int64_t off = static_cast<int64_t>(now + k - m.row0);
                std::string where;
                if (m.step != 0) {
                    const int64_t r = (off >= 0 ? off : off - (std::abs(m.step) - 1)) / m.step;
                    where = " (row " + std::to_string(r) + ", byte " + std::to_string(off - r * m.step) + " of " +
                            std::to_string(m.rowBytes) + ")";
                }
                out.failures.push_back((error ? "error status but plane " : "plane ") + std::to_string(i) +
                                       " written outside its region at " + std::to_string(off) + where);
                break;
            }
        }
        if (!m.source) {
            for (int64_t r = m.leadRows; r < m.leadRows + m.rows; ++r) {
                const uint8_t* p = m.row0 + r * m.step + m.lead;
                for (int64_t k = 0; k < m.rowBytes; ++k) hash = (hash ^ p[k]) * 0x100000001B3ull;
            }
        }
    }
    out.dstHash = hash;
    return out;
}

}  // namespace

Outcome runGuarded(const Call& c) { return run(c, true); }
Outcome runPlain(const Call& c) { return run(c, false); }

std::string describe(const Call& c) {
    const Subject& s = *c.subject;
    std::ostringstream o;
    o << s.name;
    if (s.shape == Shape::Frame)
        o << " frame " << c.frameW << "x" << c.frameH << " roi {" << c.roi.x << "," << c.roi.y << "," << c.roi.width
          << "," << c.roi.height << "}";
    else
        o << " size " << c.width << "x" << c.height;
    if (!c.steps.empty()) {
        o << " steps";
        for (int64_t v : c.steps) o << " " << v;
    }
    for (size_t i = 0; i < s.args.size(); ++i)
        if (s.args[i].kind == Kind::Extra || s.args[i].kind == Kind::ExtraArray)
            o << " " << s.args[i].name << "=" << c.extras[i];
    if (c.nullPlane >= 0) o << " null plane " << c.nullPlane;
    if (c.nullParam >= 0) o << " null " << s.args[c.nullParam].name;
    if (s.row && s.row->hooks.scratchBytes) o << " scratch " << (c.scratchNull ? -1 : c.scratchBytes);
    o << (c.atStart ? " [after guard]" : " [before guard]") << " seed " << c.seed << (c.rawFloats ? " raw" : "");
    return o.str();
}

// ---- Drawing calls ---------------------------------------------------------------------------
namespace {

int64_t drawSide(Draw& d, int minimum, int maxSide) {
    const int64_t kind = d.range(0, 99);
    if (kind < 4) return -d.range(1, 3);
    if (kind < 35) return d.range(0, std::max(minimum, 1) + 4);
    if (kind < 80) return d.range(0, std::min(maxSide, 70));
    return d.range(0, maxSide);
}

double drawExtra(const Param& p, Draw& d, int invalidPercent) {
    const Extra* x = p.extra;
    if (x) {
        if (x->error != 0 && d.chance(invalidPercent)) {
            switch (d.range(0, 3)) {
                case 0: return x->lo - 1;
                case 1: return x->hi + 1;
                case 2: return static_cast<double>(static_cast<int32_t>(d.next()));
                default: return x->lo - d.range(1, 1000);
            }
        }
        if (p.type.isFloat) return x->lo + (x->hi - x->lo) * (d.next() / 4294967296.0);
        const double v = static_cast<double>(d.range(static_cast<int64_t>(x->lo), static_cast<int64_t>(x->hi)));
        if (x->valid && !x->valid(static_cast<int64_t>(v))) return x->lo;
        return v;
    }
    if (p.type.isFloat) return -2.0 + 4.0 * (d.next() / 4294967296.0);
    const uint32_t bits = d.next();
    switch (p.type.valueBytes) {
        case 1: return p.type.isSigned ? static_cast<int8_t>(bits) : static_cast<uint8_t>(bits);
        case 2: return p.type.isSigned ? static_cast<int16_t>(bits) : static_cast<uint16_t>(bits);
        default: return static_cast<int32_t>(bits);
    }
}

// Every extra and array of values; only scalar extras go out of range.
void drawExtras(const Subject& s, Call& c, Draw& d, int invalidPercent) {
    c.extras.assign(s.args.size(), 0.0);
    for (size_t a = 0; a < s.args.size(); ++a)
        if (s.args[a].kind == Kind::Extra || s.args[a].kind == Kind::ExtraArray)
            c.extras[a] = drawExtra(s.args[a], d, s.args[a].kind == Kind::Extra ? invalidPercent : 0);
}

void drawSteps(const Subject& s, Call& c, Draw& d, int invalidPercent, bool positiveOnly) {
    c.steps.assign(static_cast<size_t>(s.planeCount), 0);
    const Rule& r = s.row->rule;
    const bool checked = (r.flags & (kStepsPositive | kStepsBeforeSizes | kStepsInElements)) != 0;
    // Planes without a step argument of their own are addressed row by row
    // through their natural row length.
    for (size_t a = 0; a < s.args.size(); ++a) {
        const Param& p = s.args[a];
        if (p.plane < 0) continue;
        // Members that share one step: the longest row decides.
        const Param* stepParam = p.stepParam >= 0 ? &s.args[p.stepParam] : nullptr;
        const int members = stepParam && stepParam->kind == Kind::Steps ? 1 : p.count;
        for (int k = 0; k < p.count; k += members) {
            int64_t longest = 0;
            for (int j = 0; j < members; ++j) {
                int64_t rb, rows;
                planeExtent(c, p.plane + k + j, rb, rows);
                longest = std::max(longest, rb);
            }
            const int elem = std::max(1, p.type.valueBytes);
            int64_t step = longest + elem * (d.chance(50) ? 0 : d.range(1, 24));
            if (step == 0) step = elem * d.range(1, 4);
            if (!positiveOnly) {
                const int64_t sign = d.range(0, 99);
                if (checked) {
                    if (sign < invalidPercent / 2) step = 0;
                    else if (sign < invalidPercent) step = -step;
                } else {
                    if (sign < 25) step = -step;
                    else if (sign < 35) step = 0;
                }
            }
            for (int j = 0; j < members; ++j) c.steps[p.plane + k + j] = step;
        }
    }
}

void finish(const Subject& s, Call& c) {
    if (s.row->hooks.adjust) s.row->hooks.adjust(c);
    c.scratchBytes = s.row->hooks.scratchBytes ? s.row->hooks.scratchBytes(c) : 0;
}

}  // namespace

Call drawCall(const Subject& s, Draw& d, const DrawLimits& lim) {
    Call c;
    c.subject = &s;
    c.seed = d.next();
    const Rule& r = s.row->rule;
    c.width = drawSide(d, r.minW, lim.maxSide);
    c.height = drawSide(d, r.minH, lim.maxSide);
    if (c.width > 0 && c.height > 0 && c.width * c.height > lim.maxArea) c.height = std::max<int64_t>(1, lim.maxArea / c.width);
    // Now and then a size at the ends of its range, where nothing is to
    // be done: the other side empty, or negative.
    if (s.shape != Shape::Frame && d.chance(4)) {
        static const int64_t kEnds[][2] = {{INT32_MAX, 0},  {0, INT32_MAX},  {INT32_MIN, 5},  {5, INT32_MIN},
                                           {INT32_MAX, -1}, {-1, INT32_MAX}, {INT32_MIN, INT32_MIN}};
        const auto& e = kEnds[d.range(0, 6)];
        c.width = e[0];
        c.height = e[1];
    }
    if (s.shape == Shape::Frame) {
        c.frameW = c.width;
        c.frameH = c.height;
        const int64_t W = std::max<int64_t>(1, c.frameW), H = std::max<int64_t>(1, c.frameH);
        if (d.chance(30)) {
            c.roi = CelRect{0, 0, static_cast<int32_t>(W), static_cast<int32_t>(H)};
        } else {
            c.roi.x = static_cast<int32_t>(d.range(0, W - 1));
            c.roi.y = static_cast<int32_t>(d.range(0, H - 1));
            c.roi.width = static_cast<int32_t>(d.range(0, W - c.roi.x + 3));
            c.roi.height = static_cast<int32_t>(d.range(0, H - c.roi.y + 3));
        }
        c.width = c.roi.width;
        c.height = c.roi.height;
    }
    drawExtras(s, c, d, lim.invalidPercent);
    drawSteps(s, c, d, lim.invalidPercent, false);
    c.atStart = d.chance(50);
    finish(s, c);
    return c;
}

Call sizedCall(const Subject& s, int64_t width, int64_t height, Draw& d) {
    Call c;
    c.subject = &s;
    c.seed = d.next();
    c.width = width;
    c.height = height;
    if (s.shape == Shape::Frame) {
        c.frameW = width;
        c.frameH = height;
        c.roi = CelRect{0, 0, static_cast<int32_t>(std::max<int64_t>(width, 0)),
                        static_cast<int32_t>(std::max<int64_t>(height, 0))};
    }
    drawExtras(s, c, d, 0);
    drawSteps(s, c, d, 0, false);
    finish(s, c);
    return c;
}

Call typicalCall(const Subject& s, int width, int height, uint32_t seed) {
    Call c;
    c.subject = &s;
    c.seed = seed;
    const Rule& r = s.row->rule;
    const int mw = std::max<int>(1, r.multW), mh = std::max<int>(1, r.multH);
    c.width = std::max(width, r.minW) / mw * mw;
    c.height = std::max(height, r.minH) / mh * mh;
    if (s.shape == Shape::Frame) {
        c.frameW = c.width;
        c.frameH = c.height;
        c.roi = CelRect{1, 1, static_cast<int32_t>(c.width - 2), static_cast<int32_t>(c.height - 2)};
        c.width = c.roi.width;
        c.height = c.roi.height;
    }
    Draw d(seed);
    drawExtras(s, c, d, 0);
    drawSteps(s, c, d, 0, true);
    finish(s, c);
    return c;
}

}  // namespace celrobust
