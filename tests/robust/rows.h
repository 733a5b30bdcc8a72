// What a family's shapes_<family>.inc file may use to write its rows.
//
//   ROBUST_ROWS(gray) {
//       ROW(celiRGBToGray_8u_C3C1R, {px(3), px(1)}, rule(1, 1)),
//       ROW(celiColorToGray_32f_C3C1R, {px(3), px(1)}, rule(1, 1), {ex("coeffs", -2, 2)}),
//   };
//
// ROW(export, planes, rule[, extras[, hooks[, domain]]]) names the export
// itself, so a row for a name that is not in the export list does not compile.
// ROWS((export, export, ...), planes, rule[, ...]) is one such row for each
// export of the list; ROWS_BY_LAYOUT((export, ...), rule[, ...]) the same
// with full-size planes read from each name's layout (C3R, AC4C1R, P3C4R,
// AC4P4R, C3IR, IP3R, a trailing _L passed over: see layoutPlanes).
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "robust/robust.h"

namespace celrobust {

// One row, or one row for each name of a parenthesised list "(a, b, c)".
struct RowGroup {
    std::vector<Row> rows;
    RowGroup(const Row& r) : rows{r} {}
    RowGroup(int, const char* names, bool byLayout, const Row& shared);
};

struct RowList {
    RowList(std::initializer_list<RowGroup> list);
};

// Full-size planes of an export from the layout part of its name: one
// px(n) for Cn or ACn, n px(1) for Pn or APn; a source and a destination
// part (C3P3R), one part for both sides (AC4R) or, in place, once (C3IR).
std::vector<Geo> layoutPlanes(const std::string& exportName);

// The drawn value of the family argument `name`: its slot (null where the
// export has no such argument), or its value (0 where it has none).
inline double* extraSlot(Call& c, const char* name) {
    for (size_t i = 0; i < c.subject->args.size(); ++i)
        if (c.subject->args[i].name == name) return &c.extras[i];
    return nullptr;
}
inline double extraOf(const Call& c, const char* name) {
    const double* v = extraSlot(const_cast<Call&>(c), name);
    return v ? *v : 0;
}

// The status of an export with a source and an array of destination planes
// that tests the outer pointers, the size against 1, the plane pointers and
// then the size against 2.
inline int planesBetweenSizeChecks(const Call& c) {
    if (c.nullParam >= 0 || c.nullPlane == 0 || c.nullPlane == 1) return celStatusNullPointer;
    if (c.width < 1 || c.height < 1) return celStatusBadSize;
    if (c.nullPlane >= 2) return celStatusNullPointer;
    if (c.width < 2 || c.height < 2) return celStatusBadSize;
    return celStatusOk;
}

// Takes the exports of a ROWS list, so that a name not in the list does not compile.
template <class... F>
constexpr int exportsNamed(F...) { return 0; }

// A family argument with its valid range and the error outside it.
constexpr Extra ex(const char* name, double lo, double hi, int error = 0, bool (*valid)(int64_t) = nullptr) {
    return Extra{name, lo, hi, error, valid, 0};
}
// An array of `count` values (a pointer parameter without [N] in its name).
constexpr Extra values(const char* name, int count, double lo, double hi) {
    return Extra{name, lo, hi, 0, nullptr, count};
}

}  // namespace celrobust

#define ROBUST_ROWS(family) static const ::celrobust::RowList robust_rows_##family =
#define ROW(name, ...) ::celrobust::Row{(static_cast<void>(&name), #name), __VA_ARGS__}
#define ROWS(names, ...) \
    ::celrobust::RowGroup(::celrobust::exportsNamed names, #names, false, ::celrobust::Row{nullptr, __VA_ARGS__})
#define ROWS_BY_LAYOUT(names, ...) \
    ::celrobust::RowGroup(::celrobust::exportsNamed names, #names, true, ::celrobust::Row{nullptr, {}, __VA_ARGS__})
