// The BT.709 transfer curve as lookup tables for the integer gamma forms
// (and the 4:2:2 gamma encoder, which reads _tableFwd8u).  With N the
// maximum of the type (255 or 65535):
//
//   _tableFwd*[i] = nearest integer to N * f(i / N), ties to even,
//                   f(x) = 4.5 x below 0.018, else 1.099 x^0.45 - 0.099
//   _tableInv*[i] = nearest integer to N * g(i / N), ties to even,
//                   g(y) = y / 4.5 below 0.0812, else ((y + 0.099) / 1.099)^(1 / 0.45)
//
// The two segments of each curve do not meet exactly, and the tables keep
// the jumps at the joints (_tableInv16u steps down by three from 5321 to
// 5322).  The linear segments are exact (4.5 i ties go to the even
// neighbour: _tableFwd8u[1] is 4); the power segments are evaluated in
// extended precision.  The data is generated at build time by
// tables/gen/gamma_tables_gen.cpp: one read-only instance of each table.
#pragma once

#include <cstdint>

namespace cel {

extern const uint8_t _tableFwd8u[256];
extern const uint8_t _tableInv8u[256];
extern const uint16_t _tableFwd16u[65536];
extern const uint16_t _tableInv16u[65536];

}  // namespace cel
