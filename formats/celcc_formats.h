/*
 * celcc_formats.h - the front ends' table of conversions (libcelccfmt).
 *
 * Pixel formats are the nodes of a graph and the library's exports its
 * edges.  A conversion between two formats is one export, or two exports
 * through an intermediate image that this library allocates.  The command-line
 * tool, the Python binding and other front ends convert pixels only through
 * this table; the table converts pixels only through libcelccy8's exports.
 *
 * Plain C interface, usable from C, C++ and through a foreign-function
 * interface (every structure is made of 32-bit integers and pointers).
 */
#ifndef CELCC_FORMATS_H
#define CELCC_FORMATS_H

#include <stddef.h>
#include <stdint.h>

#include <celcc.h>

#ifdef __cplusplus
extern "C" {
#endif

#define CELCCFMT_API __attribute__((visibility("default")))

/* Sample types and colour models of a format. */
typedef enum CelFmtSample {
    celFmtSample8u = 1,
    celFmtSample16u = 2,
    celFmtSample32f = 3,
    celFmtSample16s = 4, /* signed 16-bit */
    celFmtSample32s = 5, /* signed 32-bit */
    celFmtSample32u = 6  /* unsigned 32-bit words (v210) */
} CelFmtSample;
typedef enum CelFmtModel {
    celFmtModelRGB = 0,   /* R, G, B[, A] */
    celFmtModelBGR = 1,   /* B, G, R[, A] */
    celFmtModelGray = 2,
    celFmtModelYCbCr = 3, /* BT.601 studio range; the BT.709 matrices are the two models below */
    celFmtModelXYZ = 4,
    celFmtModelLUV = 5,   /* CIE L*u*v* (D65), the library's scaling per depth */
    celFmtModelLab = 6,   /* CIE L*a*b* (D65), the library's scaling per depth */
    celFmtModelHSV = 7,   /* hue, saturation, value */
    celFmtModelHLS = 8,   /* hue, lightness, saturation */
    celFmtModelYCC = 9,   /* photo YCC: Y, C1, C2 */
    celFmtModelYUV = 10,  /* analogue video: full-range Y, U = 0.492 (B - Y), V = 0.877 (R - Y), around 128 */
    celFmtModelYCoCg = 11, /* planes Y, Co, Cg */
    celFmtModelYCbCr709 = 12,     /* BT.709 studio range (the library's 709CSC) */
    celFmtModelYCbCr709Full = 13  /* BT.709, full-scale luma, every byte within 1..254 (the library's 709HDTV) */
} CelFmtModel;

/* Format ids, in the order of formats.inc: celFmt_RGB24, celFmt_I420, ... */
typedef enum CelFmtId {
#define CEL_FORMAT(id, ...) celFmt_##id,
#include "formats.inc"
#undef CEL_FORMAT
    celFmtCount
} CelFmtId;

/* A plane is a grid of units; a unit covers unitWidth x unitHeight pixels
 * and takes unitBytes bytes of a row. */
typedef struct CelFmtPlane {
    int32_t unitBytes;
    int32_t unitWidth;
    int32_t unitHeight;
} CelFmtPlane;

typedef struct CelFmtFormat {
    const char* name;     /* "I420" */
    const char* aliases;  /* comma-separated, "" for none */
    const char* doc;
    int32_t sample;       /* CelFmtSample */
    int32_t sampleBytes;  /* 1, 2 or 4 */
    int32_t model;        /* CelFmtModel */
    int32_t channels;     /* channels of a pixel, alpha counted */
    int32_t alignWidth;   /* the width must be a multiple of this */
    int32_t alignHeight;
    int32_t planeCount;   /* 1 to 3, in memory order */
    CelFmtPlane plane[3];
} CelFmtFormat;

typedef struct CelFmtEdge {
    int32_t from;            /* CelFmtId */
    int32_t to;
    const char* exportName;  /* the export that does the step */
    const char* adapter;     /* signature shape, e.g. "PACKED_PLANES" */
    int32_t order;           /* 0 keep, 1 source planes 1 and 2 exchanged, 2 destination's */
    int32_t cost;            /* rank among routes, lower first */
    int32_t lossy;           /* 1 when the step changes sample values */
} CelFmtEdge;

/* An image: a format, the size in pixels, and one pointer and byte step per
 * plane (steps may be negative). */
typedef struct CelFmtImage {
    int32_t format;
    int32_t width;
    int32_t height;
    uint8_t* plane[3];
    int32_t step[3];
} CelFmtImage;

#define CELFMT_MAX_ROUTE 2

/* What celccfmt_convert called, in order. */
typedef struct CelFmtCall {
    const char* exportName;
    int32_t status;          /* the export's CelStatus */
} CelFmtCall;
typedef struct CelFmtReport {
    int32_t count;
    CelFmtCall call[CELFMT_MAX_ROUTE];
} CelFmtReport;

/* Statuses of this library, beside the library's CelStatus values. */
enum {
    celFmtNoRoute = -1001,      /* no export or pair of exports does it */
    celFmtBadFormat = -1002,    /* unknown format id */
    celFmtBadImage = -1003,     /* null image or plane, size below 1 */
    celFmtSizeMismatch = -1004, /* source and destination sizes differ */
    celFmtNoMemory = -1005,     /* the intermediate image could not be allocated */
    celFmtBadEdge = -1006       /* edge index out of range, or formats that do not fit it */
};

/* Formats */
CELCCFMT_API int celccfmt_format_count(void);
CELCCFMT_API const CelFmtFormat* celccfmt_format(int id);         /* null when out of range */
CELCCFMT_API int celccfmt_format_find(const char* name);          /* by name or alias, any case; -1 unknown */
/* Geometry of plane `plane` of a width x height image: units a row, rows,
 * bytes a row.  Returns 0, or celFmtBadFormat / celFmtBadImage. */
CELCCFMT_API int celccfmt_plane_size(int format, int width, int height, int plane,
                                     int32_t* planeWidth, int32_t* planeHeight, int64_t* rowBytes);
/* Bytes of a tightly packed image (planes one after the other); -1 when invalid. */
CELCCFMT_API int64_t celccfmt_image_bytes(int format, int width, int height);
/* Lays a tightly packed image out on `base` (celccfmt_image_bytes bytes). */
CELCCFMT_API int celccfmt_image_layout(int format, int width, int height, uint8_t* base, CelFmtImage* image);

/* Edges */
CELCCFMT_API int celccfmt_edge_count(void);
CELCCFMT_API const CelFmtEdge* celccfmt_edge(int index);          /* null when out of range */

/* Routes: writes the edge indices of the best route into edges[] and returns
 * their number (0 when from == to), or celFmtNoRoute / celFmtBadFormat.  A
 * direct edge is preferred; else one intermediate, fewest lossy steps first,
 * then the lowest total cost. */
CELCCFMT_API int celccfmt_route(int from, int to, int32_t edges[CELFMT_MAX_ROUTE]);
/* The same, preferring routes through an export whose name contains
 * `prefer` (e.g. "_Filter_" for filtered chroma): the best such route (direct
 * first) when there is one, else the route of celccfmt_route.  A null or
 * empty `prefer` is celccfmt_route. */
CELCCFMT_API int celccfmt_route_prefer(int from, int to, const char* prefer, int32_t edges[CELFMT_MAX_ROUTE]);
/* The route as text, e.g. "RGB24 -> I420 (celiRGBToYCbCr420_8u_C3P3R)";
 * returns the length of the whole text (as snprintf). */
CELCCFMT_API int celccfmt_route_text(int from, int to, char* buf, size_t size);
CELCCFMT_API int celccfmt_route_text_prefer(int from, int to, const char* prefer, char* buf, size_t size);

/* Runs one edge on images of its two formats and of equal sizes; returns the
 * export's CelStatus, or this library's status when the images do not fit. */
CELCCFMT_API int celccfmt_run_edge(int index, const CelFmtImage* src, const CelFmtImage* dst);
/* Converts src into dst along celccfmt_route.  Warnings (positive statuses)
 * are recorded and the route goes on; the first error stops it and is
 * returned.  Returns 0, the first warning, or the error.  `report` may be
 * null.  Equal formats copy the rows. */
CELCCFMT_API int celccfmt_convert(const CelFmtImage* src, const CelFmtImage* dst, CelFmtReport* report);
/* celccfmt_convert along celccfmt_route_prefer. */
CELCCFMT_API int celccfmt_convert_prefer(const CelFmtImage* src, const CelFmtImage* dst, const char* prefer,
                                         CelFmtReport* report);

/* Name of a CelStatus or of this library's statuses ("celStatusBadSize"). */
CELCCFMT_API const char* celccfmt_status_name(int status);

/* The library's exports with their doc lines, in the export list's order. */
CELCCFMT_API int celccfmt_export_count(void);
CELCCFMT_API const char* celccfmt_export_name(int index);
CELCCFMT_API const char* celccfmt_export_doc(int index);

#ifdef __cplusplus
}
#endif

#endif /* CELCC_FORMATS_H */
