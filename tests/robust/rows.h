// What a family's shapes_<family>.inc file may use to write its rows.
//
//   ROBUST_ROWS(gray) {
//       ROW(celiRGBToGray_8u_C3C1R, {px(3), px(1)}, rule(1, 1)),
//       ROW(celiColorToGray_32f_C3C1R, {px(3), px(1)}, rule(1, 1), {ex("coeffs", -2, 2)}),
//   };
//
// ROW(export, planes, rule[, extras[, hooks[, domain]]]) names the export
// itself, so a row for a name that is not in the export list does not compile.
#pragma once

#include <initializer_list>

#include "robust/robust.h"

namespace celrobust {

struct RowList {
    RowList(std::initializer_list<Row> list);
};

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
