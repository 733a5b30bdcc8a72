/*
 * celccconvert: a GstVideoFilter that converts raw video between pixel
 * formats through libcelccy8's exports, along the routes of the front ends'
 * table of conversions (libcelccfmt): one export, or two through one
 * intermediate image.
 *
 * The element holds no table of its own: it maps GStreamer's format names to
 * the table's formats (gst_celcc_format_map below) and asks the table for
 * routes.  Caps negotiation offers only the formats that have a route from
 * (or to) the other side, and a pair the library does not convert is refused
 * when the caps are set, never on a buffer.
 *
 * Colour models.  The table holds each YCbCr layout under the matrices the
 * library has exports for, as formats of their own colour model: BT.601 at
 * studio range (I420), BT.709 at studio range (I420_709) and BT.709 with
 * full-scale luma (I420_709HDTV; v210, whose decoders read the 10-bit codes
 * that way).  A route that changes the colour model (YCbCr to RGB or gray,
 * or back) takes the YCbCr side's format under the model its caps name:
 * bt601 the BT.601 form, bt709 the BT.709 one, BT.709 at full range the
 * full-scale one; a colorimetry without such a format (another matrix, or a
 * layout the library has no export of at that matrix) is refused when the
 * caps are set.  A route between two YCbCr formats only moves samples: it
 * keeps whatever matrix the samples carry, and the colorimetry must be the
 * same on both sides.
 *
 * Interlaced video.  Interleaved and mixed frames take the table's route for
 * interlaced pictures (`prefer` "_Interlace_"): every step keeps the
 * vertical chroma sampling (4:4:4, 4:2:2, 4:1:1, RGB, gray among
 * themselves; 4:2:0 among 4:2:0 layouts) or changes it between 4:2:0 and
 * 4:2:2 field by field through the interlace-aware exports (heights of a
 * multiple of 4).  Any other change of the vertical sampling would blend
 * fields: such pairs are refused for interlaced caps.  The frames of a
 * mixed stream all go field by field, progressive ones included.
 *
 * Sizes.  Every format on the route must fit the size (the table's alignment:
 * even widths and heights for 4:2:0, widths of 4 for 4:1:1, ...); other sizes
 * are refused at caps time, since the exports leave a remainder unwritten.
 *
 * Buffers are converted in place in memory: the planes and strides of the
 * mapped GstVideoFrame (padding and plane offsets included) are handed to
 * the exports as they are.
 */
#ifdef HAVE_CONFIG_H
#include "config.h"
#endif

#include "gstcelccconvert.h"

#include <stdlib.h>
#include <string.h>

#include <celcc_formats.h>

GST_DEBUG_CATEGORY_STATIC(gst_celcc_convert_debug);
#define GST_CAT_DEFAULT gst_celcc_convert_debug

/* GStreamer's formats and the table's formats they are.  RGBx and BGRx are
 * the table's RGBA and BGRA: sources ignore the fourth byte, destinations
 * get 255 there, but for the exchange of RGB and BGR orders (RGBA, RGBx to
 * BGRA, BGRx and back), which carries the fourth byte over.  xRGB and ARGB
 * are the table's XRGB (xBGR and ABGR its XBGR): the first byte is ignored
 * on input and written 255. */
typedef struct {
    GstVideoFormat gst;
    const char* table;
} GstCelccFormatName;

static const GstCelccFormatName gst_celcc_format_map[] = {
    {GST_VIDEO_FORMAT_I420, "I420"},      {GST_VIDEO_FORMAT_YV12, "YV12"},   {GST_VIDEO_FORMAT_NV12, "NV12"},
    {GST_VIDEO_FORMAT_NV21, "NV21"},      {GST_VIDEO_FORMAT_YUY2, "YUY2"},   {GST_VIDEO_FORMAT_UYVY, "UYVY"},
    {GST_VIDEO_FORMAT_YVYU, "YVYU"},      {GST_VIDEO_FORMAT_Y42B, "I422"},   {GST_VIDEO_FORMAT_Y444, "I444"},
    {GST_VIDEO_FORMAT_Y41B, "I411"},      {GST_VIDEO_FORMAT_v308, "YUV24"},  {GST_VIDEO_FORMAT_v210, "v210"},
    {GST_VIDEO_FORMAT_RGB, "RGB24"},      {GST_VIDEO_FORMAT_BGR, "BGR24"},   {GST_VIDEO_FORMAT_RGBA, "RGBA"},
    {GST_VIDEO_FORMAT_RGBx, "RGBA"},      {GST_VIDEO_FORMAT_BGRA, "BGRA"},   {GST_VIDEO_FORMAT_BGRx, "BGRA"},
    {GST_VIDEO_FORMAT_xRGB, "XRGB"},      {GST_VIDEO_FORMAT_ARGB, "XRGB"},   {GST_VIDEO_FORMAT_GRAY8, "GRAY8"},
    {GST_VIDEO_FORMAT_GRAY16_LE, "GRAY16"}, {GST_VIDEO_FORMAT_RGBA64_LE, "RGBA64"},
    {GST_VIDEO_FORMAT_xBGR, "XBGR"},      {GST_VIDEO_FORMAT_ABGR, "XBGR"},
    /* 5-6-5 words: GStreamer names them from the top bit down. */
    {GST_VIDEO_FORMAT_RGB16, "BGR565"},   {GST_VIDEO_FORMAT_BGR16, "RGB565"},
};
#define GST_CELCC_N_FORMATS G_N_ELEMENTS(gst_celcc_format_map)

int gst_celcc_table_format(GstVideoFormat format) {
    for (guint i = 0; i < GST_CELCC_N_FORMATS; ++i)
        if (gst_celcc_format_map[i].gst == format) return celccfmt_format_find(gst_celcc_format_map[i].table);
    return -1;
}

/* The table's YCbCr colour models and the GStreamer colorimetry each one is. */
typedef struct {
    int model;
    GstVideoColorMatrix matrix;
    GstVideoColorRange range;
} GstCelccYccModel;

static const GstCelccYccModel gst_celcc_ycc_models[] = {
    {celFmtModelYCbCr, GST_VIDEO_COLOR_MATRIX_BT601, GST_VIDEO_COLOR_RANGE_16_235},
    {celFmtModelYCbCr709, GST_VIDEO_COLOR_MATRIX_BT709, GST_VIDEO_COLOR_RANGE_16_235},
    {celFmtModelYCbCr709Full, GST_VIDEO_COLOR_MATRIX_BT709, GST_VIDEO_COLOR_RANGE_0_255},
};
#define GST_CELCC_N_YCC_MODELS G_N_ELEMENTS(gst_celcc_ycc_models)

static gboolean is_ycbcr_model(int model) {
    for (guint i = 0; i < GST_CELCC_N_YCC_MODELS; ++i)
        if (gst_celcc_ycc_models[i].model == model) return TRUE;
    return FALSE;
}

static gboolean is_ycbcr(int table_format) {
    const CelFmtFormat* f = celccfmt_format(table_format);
    return f && is_ycbcr_model(f->model);
}

int gst_celcc_colorimetry_model(const GstVideoColorimetry* cm) {
    for (guint i = 0; i < GST_CELCC_N_YCC_MODELS; ++i)
        if (cm->matrix == gst_celcc_ycc_models[i].matrix && cm->range == gst_celcc_ycc_models[i].range)
            return gst_celcc_ycc_models[i].model;
    return -1;
}

/* A colorimetry of the model for caps: its matrix and range, BT.709
 * transfer and primaries at BT.709 ("bt601", "bt709", "1:3:5:1"). */
static gchar* model_colorimetry(int model) {
    for (guint i = 0; i < GST_CELCC_N_YCC_MODELS; ++i)
        if (gst_celcc_ycc_models[i].model == model) {
            GstVideoColorimetry cm;
            gst_video_colorimetry_from_string(&cm, gst_celcc_ycc_models[i].matrix == GST_VIDEO_COLOR_MATRIX_BT601
                                                       ? GST_VIDEO_COLORIMETRY_BT601
                                                       : GST_VIDEO_COLORIMETRY_BT709);
            cm.range = gst_celcc_ycc_models[i].range;
            return gst_video_colorimetry_to_string(&cm);
        }
    return NULL;
}

/* The table names a layout under another matrix after its BT.601 form
 * (I420_709, I420_709HDTV): a format of the model named `name` or
 * `name`_<matrix>, with the same planes. */
static int same_layout_at(int table_format, int model) {
    const CelFmtFormat* f = celccfmt_format(table_format);
    if (!f) return -1;
    if (f->model == model) return table_format;
    const size_t len = strlen(f->name);
    for (int i = 0; i < celccfmt_format_count(); ++i) {
        const CelFmtFormat* g = celccfmt_format(i);
        if (g->model != model || g_ascii_strncasecmp(g->name, f->name, len) != 0 || g->name[len] != '_') continue;
        if (g->planeCount == f->planeCount && g->alignWidth == f->alignWidth && g->alignHeight == f->alignHeight &&
            g->sample == f->sample && memcmp(g->plane, f->plane, sizeof g->plane) == 0)
            return i;
    }
    return -1;
}

int gst_celcc_table_format_at(GstVideoFormat format, int model) {
    const int t = gst_celcc_table_format(format);
    if (model < 0 || !is_ycbcr(t)) return t;
    return same_layout_at(t, model);
}

/* Colour models as far as detours go: RGB, BGR and gray are one class
 * (gray to colour replicates, colour to gray is the luma of RGB); YCbCr
 * and every other model of the table are each their own. */
static int model_class(int table_format) {
    const CelFmtFormat* f = celccfmt_format(table_format);
    if (!f) return -1;
    return f->model == celFmtModelRGB || f->model == celFmtModelBGR || f->model == celFmtModelGray ? celFmtModelRGB
                                                                                                 : f->model;
}

/* The vertical chroma sampling of a table format: 1 for formats without
 * vertically subsampled planes. */
static int vertical_sampling(int table_format) {
    const CelFmtFormat* f = celccfmt_format(table_format);
    return f ? f->alignHeight : 0;
}

int gst_celcc_route(GstVideoFormat from, GstVideoFormat to, int32_t edges[2], int* mid) {
    return gst_celcc_route_for(from, to, celFmtModelYCbCr, FALSE, edges, mid);
}

int gst_celcc_route_for(GstVideoFormat from, GstVideoFormat to, int model, gboolean interlaced, int32_t edges[2],
                        int* mid) {
    const gboolean change = gst_celcc_route_changes_model(from, to);
    const int a = gst_celcc_table_format_at(from, change ? model : -1), b = gst_celcc_table_format_at(to, change ? model : -1);
    if (mid) *mid = -1;
    if (a < 0 || b < 0 || (change && !is_ycbcr_model(model))) return -1;
    if (from == to) return 0;
    /* Two GStreamer names of one table format (RGBx and RGBA) would be a
     * copy that leaves the fourth byte as it was: not offered. */
    if (a == b) return -1;
    int32_t e[CELFMT_MAX_ROUTE];
    const int n = celccfmt_route_prefer(a, b, interlaced ? "_Interlace_" : NULL, e);
    if (n < 1) return -1;
    /* The exchange of RGB and BGR orders with four channels carries the
     * fourth byte over: from RGBx or BGRx into a format with alpha it would
     * make padding alpha, so such a pair is not offered either. */
    const gboolean alpha_in = GST_VIDEO_FORMAT_INFO_HAS_ALPHA(gst_video_format_get_info(from)),
                   alpha_out = GST_VIDEO_FORMAT_INFO_HAS_ALPHA(gst_video_format_get_info(to));
    for (int i = 0; i < n; ++i) {
        const char* adapter = celccfmt_edge(e[i])->adapter;
        if (alpha_out && !alpha_in && strcmp(adapter, "EXCHANGE_IN_PLACE") == 0) return -1;
        /* The table's XRGB and XBGR hold no alpha (ARGB and ABGR are read
         * without it and written opaque): alpha to alpha through them would
         * be lost, so such a pair is not offered. */
        if (alpha_out && alpha_in && g_str_has_prefix(adapter, "PADDED_")) return -1;
    }
    if (edges) memcpy(edges, e, sizeof(int32_t) * (size_t)n);
    if (mid && n == 2) *mid = celccfmt_edge(e[0])->to;
    return n;
}

gboolean gst_celcc_route_changes_model(GstVideoFormat from, GstVideoFormat to) {
    return is_ycbcr(gst_celcc_table_format(from)) != is_ycbcr(gst_celcc_table_format(to));
}

/* ---- Caps ----------------------------------------------------------------------- */

static GstCaps* gst_celcc_template_caps(void) {
    GValue list = G_VALUE_INIT, v = G_VALUE_INIT;
    g_value_init(&list, GST_TYPE_LIST);
    g_value_init(&v, G_TYPE_STRING);
    for (guint i = 0; i < GST_CELCC_N_FORMATS; ++i) {
        if (gst_celcc_table_format(gst_celcc_format_map[i].gst) < 0) continue;
        g_value_set_string(&v, gst_video_format_to_string(gst_celcc_format_map[i].gst));
        gst_value_list_append_value(&list, &v);
    }
    GstCaps* caps = gst_caps_from_string("video/x-raw, width = (int) [ 1, max ], height = (int) [ 1, max ], "
                                         "framerate = (fraction) [ 0, max ]");
    gst_caps_set_value(caps, "format", &list);
    g_value_unset(&v);
    g_value_unset(&list);
    return caps;
}

/* The formats named by a structure's "format" field (all supported formats
 * when the field is absent). */
static guint structure_formats(const GstStructure* s, GstVideoFormat* out, guint max) {
    const GValue* f = gst_structure_get_value(s, "format");
    guint n = 0;
    if (!f) {
        for (guint i = 0; i < GST_CELCC_N_FORMATS && n < max; ++i)
            if (gst_celcc_table_format(gst_celcc_format_map[i].gst) >= 0) out[n++] = gst_celcc_format_map[i].gst;
    } else if (G_VALUE_HOLDS_STRING(f)) {
        out[n++] = gst_video_format_from_string(g_value_get_string(f));
    } else if (GST_VALUE_HOLDS_LIST(f)) {
        for (guint i = 0; i < gst_value_list_get_size(f) && n < max; ++i) {
            const GValue* x = gst_value_list_get_value(f, i);
            if (G_VALUE_HOLDS_STRING(x)) out[n++] = gst_video_format_from_string(g_value_get_string(x));
        }
    }
    return n;
}

/* The YCbCr colour model a structure's colorimetry names: -2 when it is not
 * fixed (the set caps decide), -1 when the table has no such model. */
static int structure_model(const GstStructure* s) {
    const gchar* c = gst_structure_get_string(s, "colorimetry");
    if (!c) return -2;
    GstVideoColorimetry cm;
    if (!gst_video_colorimetry_from_string(&cm, c)) return -1;
    return gst_celcc_colorimetry_model(&cm);
}

static gboolean interlaced_structure(const GstStructure* s) {
    const gchar* m = gst_structure_get_string(s, "interlace-mode");
    return m && strcmp(m, "progressive") != 0;
}

/* Whether an edge keeps the two fields of an interlaced picture apart. */
static gboolean keeps_fields(int32_t edge) {
    const CelFmtEdge* e = celccfmt_edge(edge);
    return strstr(e->exportName, "_Interlace_") != NULL || vertical_sampling(e->from) == vertical_sampling(e->to);
}

/* The table formats of a pair's ends: the YCbCr end under `model` when the
 * pair changes colour model, as its layout's format otherwise. */
static void end_formats(GstVideoFormat a, GstVideoFormat b, int model, int* ta, int* tb) {
    const int m = gst_celcc_route_changes_model(a, b) ? model : -1;
    *ta = gst_celcc_table_format_at(a, m);
    *tb = gst_celcc_table_format_at(b, m);
}

/* A route between `a` and `b` in the direction of the data, the YCbCr side
 * under `model` when the pair changes colour model. */
static gboolean route_ok(GstVideoFormat a, GstVideoFormat b, int model, gboolean interlaced) {
    int mid;
    int32_t e[CELFMT_MAX_ROUTE];
    const int n = gst_celcc_route_for(a, b, model, interlaced, e, &mid);
    if (n < 0) return FALSE;
    if (n == 0) return TRUE;
    if (mid >= 0) {
        int ta, tb;
        end_formats(a, b, model, &ta, &tb);
        /* An intermediate may not sample chroma more coarsely than both ends
         * (YUY2 to RGB through 4:2:0 would lose chroma rows that both keep). */
        const CelFmtFormat *fa = celccfmt_format(ta), *fb = celccfmt_format(tb), *fm = celccfmt_format(mid);
        if (fm->alignWidth > MAX(fa->alignWidth, fb->alignWidth) || fm->alignHeight > MAX(fa->alignHeight, fb->alignHeight))
            return FALSE;
        /* Nor detour through a colour model of neither end (YCbCr to RGB and
         * back clips and rounds twice for a change of layout). */
        const int cm = model_class(mid);
        if (cm != model_class(ta) && cm != model_class(tb)) return FALSE;
    }
    if (!interlaced) return TRUE;
    for (int i = 0; i < n; ++i)
        if (!keeps_fields(e[i])) return FALSE;
    return TRUE;
}

/* The length of the route the element takes from `a` to `b` (-1 for none). */
static int route_length(GstVideoFormat a, GstVideoFormat b, int model, gboolean interlaced) {
    return route_ok(a, b, model, interlaced) ? gst_celcc_route_for(a, b, model, interlaced, NULL, NULL) : -1;
}

static void append_format(GValue* list, GstVideoFormat f) {
    GValue v = G_VALUE_INIT;
    g_value_init(&v, G_TYPE_STRING);
    g_value_set_string(&v, gst_video_format_to_string(f));
    for (guint i = 0; i < gst_value_list_get_size(list); ++i)
        if (gst_value_compare(gst_value_list_get_value(list, i), &v) == GST_VALUE_EQUAL) {
            g_value_unset(&v);
            return;
        }
    gst_value_list_append_and_take_value(list, &v);
}

static void set_format_list(GstStructure* s, const GValue* list) {
    if (gst_value_list_get_size(list) == 1)
        gst_structure_set_value(s, "format", gst_value_list_get_value(list, 0));
    else
        gst_structure_set_value(s, "format", list);
}

/* For each structure of `caps` on one side, the formats of the other side
 * that have a route, in structures of their own:
 * - the YCbCr formats that a YCbCr side repacks into, with the given
 *   colorimetry (the samples keep their matrix);
 * - from an RGB or gray side, the YCbCr formats under each model of the
 *   table (BT.601, BT.709, BT.709 at full range), one structure a model with
 *   its colorimetry, BT.601 first;
 * - the RGB and gray formats (without colorimetry or chroma siting), from a
 *   YCbCr side only under the model of its colorimetry (any model when the
 *   colorimetry is not fixed yet).
 * A structure that holds both YCbCr and RGB formats gets its YCbCr formats
 * in one structure without colorimetry.  The given side's own model comes
 * first and its own format first within it, so that fixation prefers
 * passthrough, then the direct routes, then those through an intermediate. */
static GstCaps* gst_celcc_convert_transform_caps(GstBaseTransform* trans, GstPadDirection direction, GstCaps* caps,
                                                 GstCaps* filter) {
    GstCaps* result = gst_caps_new_empty();
    const gboolean forward = direction == GST_PAD_SINK;
    for (guint i = 0; i < gst_caps_get_size(caps); ++i) {
        const GstStructure* s = gst_caps_get_structure(caps, i);
        GstCapsFeatures* feat = gst_caps_get_features(caps, i);
        if (feat && !gst_caps_features_is_any(feat) &&
            !gst_caps_features_is_equal(feat, GST_CAPS_FEATURES_MEMORY_SYSTEM_MEMORY))
            continue;
        GstVideoFormat given[64];
        const guint ng = structure_formats(s, given, G_N_ELEMENTS(given));
        const gboolean interlaced = interlaced_structure(s);
        const int given_model = structure_model(s);
        gboolean any_ycc = FALSE, any_rgb = FALSE;
        for (guint k = 0; k < ng; ++k) {
            const int t = gst_celcc_table_format(given[k]);
            if (t < 0) continue;
            if (is_ycbcr(t))
                any_ycc = TRUE;
            else
                any_rgb = TRUE;
        }
        const gboolean mixed = any_ycc && any_rgb;
        /* ycc[0]: repacks (and, for a mixed side, every YCbCr format);
         * ycc[1 + m]: from RGB or gray under model m; rgb: RGB and gray. */
        GValue ycc[1 + GST_CELCC_N_YCC_MODELS], rgb = G_VALUE_INIT;
        for (guint m = 0; m < G_N_ELEMENTS(ycc); ++m) {
            ycc[m] = (GValue)G_VALUE_INIT;
            g_value_init(&ycc[m], GST_TYPE_LIST);
        }
        g_value_init(&rgb, GST_TYPE_LIST);
        for (int pass = 0; pass < 3; ++pass)
            for (guint k = 0; k < ng; ++k) {
                const int tk = gst_celcc_table_format(given[k]);
                if (tk < 0) continue;
                for (guint j = 0; j < GST_CELCC_N_FORMATS; ++j) {
                    const GstVideoFormat o = gst_celcc_format_map[j].gst;
                    const int to = gst_celcc_table_format(o);
                    if (to < 0) continue;
                    const GstVideoFormat from = forward ? given[k] : o, dest = forward ? o : given[k];
                    if (is_ycbcr(tk) == is_ycbcr(to)) {
                        if (route_length(from, dest, -1, interlaced) == pass) append_format(is_ycbcr(to) ? &ycc[0] : &rgb, o);
                        continue;
                    }
                    for (guint m = 0; m < GST_CELCC_N_YCC_MODELS; ++m) {
                        const int model = gst_celcc_ycc_models[m].model;
                        if (is_ycbcr(tk) && given_model != -2 && given_model != model) continue;
                        if (route_length(from, dest, model, interlaced) != pass) continue;
                        append_format(!is_ycbcr(to) ? &rgb : mixed ? &ycc[0] : &ycc[1 + m], o);
                    }
                }
            }
        GstStructure* outs[2 + GST_CELCC_N_YCC_MODELS] = {NULL};
        guint nout = 0;
        GstStructure* out_rgb = NULL;
        if (gst_value_list_get_size(&rgb) > 0) {
            out_rgb = gst_structure_copy(s);
            set_format_list(out_rgb, &rgb);
            gst_structure_remove_fields(out_rgb, "colorimetry", "chroma-site", NULL);
        }
        if (!any_ycc && out_rgb) outs[nout++] = out_rgb;
        for (guint m = 0; m < G_N_ELEMENTS(ycc); ++m) {
            if (gst_value_list_get_size(&ycc[m]) > 0) {
                GstStructure* o = gst_structure_copy(s);
                set_format_list(o, &ycc[m]);
                if (m > 0) {
                    gchar* c = model_colorimetry(gst_celcc_ycc_models[m - 1].model);
                    gst_structure_remove_fields(o, "chroma-site", NULL);
                    gst_structure_set(o, "colorimetry", G_TYPE_STRING, c, NULL);
                    g_free(c);
                } else if (mixed) {
                    gst_structure_remove_fields(o, "colorimetry", "chroma-site", NULL);
                }
                outs[nout++] = o;
            }
            g_value_unset(&ycc[m]);
        }
        if (any_ycc && out_rgb) outs[nout++] = out_rgb;
        for (guint k = 0; k < nout; ++k)
            gst_caps_append_structure_full(result, outs[k], feat ? gst_caps_features_copy(feat) : NULL);
        g_value_unset(&rgb);
    }
    if (filter) {
        GstCaps* t = gst_caps_intersect_full(filter, result, GST_CAPS_INTERSECT_FIRST);
        gst_caps_unref(result);
        result = t;
    }
    GST_DEBUG_OBJECT(trans, "transformed %" GST_PTR_FORMAT " into %" GST_PTR_FORMAT, caps, result);
    return result;
}

/* ---- The element ------------------------------------------------------------------- */

G_DEFINE_TYPE(GstCelccConvert, gst_celcc_convert, GST_TYPE_VIDEO_FILTER);
GST_ELEMENT_REGISTER_DEFINE(celccconvert, "celccconvert", GST_RANK_NONE, GST_TYPE_CELCC_CONVERT);

static void release_intermediate(GstCelccConvert* self) {
    free(self->mid_memory);
    self->mid_memory = NULL;
    memset(&self->mid, 0, sizeof self->mid);
}

/* The intermediate image of a two-step route, rows padded to 64 bytes. */
static gboolean make_intermediate(GstCelccConvert* self, int format, int width, int height) {
    const CelFmtFormat* f = celccfmt_format(format);
    int64_t offs[3] = {0, 0, 0}, total = 0;
    int32_t steps[3] = {0, 0, 0};
    for (int i = 0; i < f->planeCount; ++i) {
        int32_t pw, ph;
        int64_t rb;
        if (celccfmt_plane_size(format, width, height, i, &pw, &ph, &rb) != 0) return FALSE;
        const int64_t step = (rb + 63) & ~(int64_t)63;
        if (step > G_MAXINT32) return FALSE;
        offs[i] = total;
        steps[i] = (int32_t)step;
        total += step * ph;
    }
    if (posix_memalign(&self->mid_memory, 64, (size_t)total) != 0) {
        self->mid_memory = NULL;
        return FALSE;
    }
    self->mid.format = format;
    self->mid.width = width;
    self->mid.height = height;
    for (int i = 0; i < f->planeCount; ++i) {
        self->mid.plane[i] = (uint8_t*)self->mid_memory + offs[i];
        self->mid.step[i] = steps[i];
    }
    return TRUE;
}

static gboolean fits(int table_format, int width, int height) {
    const CelFmtFormat* f = celccfmt_format(table_format);
    return f && width % f->alignWidth == 0 && height % f->alignHeight == 0;
}

static gboolean gst_celcc_convert_set_info(GstVideoFilter* filter, GstCaps* incaps, GstVideoInfo* in_info,
                                           GstCaps* outcaps, GstVideoInfo* out_info) {
    GstCelccConvert* self = GST_CELCC_CONVERT(filter);
    const GstVideoFormat a = GST_VIDEO_INFO_FORMAT(in_info), b = GST_VIDEO_INFO_FORMAT(out_info);
    const int w = GST_VIDEO_INFO_WIDTH(in_info), h = GST_VIDEO_INFO_HEIGHT(in_info);
    (void)incaps;
    (void)outcaps;
    release_intermediate(self);
    self->route_length = -1;

    if (w != GST_VIDEO_INFO_WIDTH(out_info) || h != GST_VIDEO_INFO_HEIGHT(out_info)) goto refuse_size;
    if (GST_VIDEO_INFO_INTERLACE_MODE(in_info) != GST_VIDEO_INFO_INTERLACE_MODE(out_info) ||
        GST_VIDEO_INFO_INTERLACE_MODE(in_info) == GST_VIDEO_INTERLACE_MODE_ALTERNATE ||
        GST_VIDEO_INFO_INTERLACE_MODE(in_info) == GST_VIDEO_INTERLACE_MODE_FIELDS)
        goto refuse_interlace;
    int mid;
    const gboolean interlaced = GST_VIDEO_INFO_IS_INTERLACED(in_info);
    const gboolean ycc_in = GST_VIDEO_INFO_IS_YUV(in_info), ycc_out = GST_VIDEO_INFO_IS_YUV(out_info);
    /* A change of colour model takes the YCbCr side's format under the model
     * its colorimetry names; YCbCr to YCbCr keeps the samples' matrix. */
    int model = -1;
    if (gst_celcc_route_changes_model(a, b)) {
        model = gst_celcc_colorimetry_model(ycc_in ? &in_info->colorimetry : &out_info->colorimetry);
        if (model < 0 || gst_celcc_table_format_at(ycc_in ? a : b, model) < 0) goto refuse_colorimetry;
    } else if (ycc_in && ycc_out && a != b) {
        if (in_info->colorimetry.matrix != out_info->colorimetry.matrix ||
            in_info->colorimetry.range != out_info->colorimetry.range)
            goto refuse_colorimetry;
    }
    if (!route_ok(a, b, model, FALSE)) goto refuse_route;
    if (!route_ok(a, b, model, interlaced)) goto refuse_interlace;
    const int n = gst_celcc_route_for(a, b, model, interlaced, self->edges, &mid);
    /* the interlace-aware exports take groups of four rows */
    for (int i = 0; i < n; ++i)
        if (strstr(celccfmt_edge(self->edges[i])->exportName, "_Interlace_") && h % 4 != 0) goto refuse_size;
    int ta, tb;
    end_formats(a, b, model, &ta, &tb);
    if (n > 0 && (!fits(ta, w, h) || !fits(tb, w, h) || (mid >= 0 && !fits(mid, w, h)))) goto refuse_size;
    self->src_format = ta;
    self->dst_format = tb;
    if (mid >= 0 && !make_intermediate(self, mid, w, h)) {
        GST_ELEMENT_ERROR(self, RESOURCE, NO_SPACE_LEFT, (NULL), ("no memory for the intermediate image"));
        return FALSE;
    }
    self->route_length = n;
    {
        char text[512];
        celccfmt_route_text_prefer(ta, tb, interlaced ? "_Interlace_" : NULL, text, sizeof text);
        GST_INFO_OBJECT(self, "%s -> %s, %dx%d: %s", gst_video_format_to_string(a), gst_video_format_to_string(b), w,
                        h, n == 0 ? "passthrough" : text);
    }
    gst_base_transform_set_passthrough(GST_BASE_TRANSFORM(self), n == 0);
    return TRUE;

refuse_route:
    GST_WARNING_OBJECT(self, "no route from %s to %s", gst_video_format_to_string(a), gst_video_format_to_string(b));
    return FALSE;
refuse_size:
    GST_WARNING_OBJECT(self, "%s -> %s: size %dx%d does not fit the formats of the route",
                       gst_video_format_to_string(a), gst_video_format_to_string(b), w, h);
    return FALSE;
refuse_interlace:
    GST_WARNING_OBJECT(self, "%s -> %s: this interlacing is not converted", gst_video_format_to_string(a),
                       gst_video_format_to_string(b));
    return FALSE;
refuse_colorimetry:
    GST_WARNING_OBJECT(self,
                       "%s -> %s: the library has no export for this colorimetry (a change of colour model takes "
                       "BT.601 or BT.709 at studio range, or BT.709 at full range, where the layout has them; "
                       "YCbCr to YCbCr keeps the colorimetry)",
                       gst_video_format_to_string(a), gst_video_format_to_string(b));
    return FALSE;
}

/* The frame's planes and strides as they are mapped: no copy. */
static void image_of_frame(CelFmtImage* im, int format, const GstVideoFrame* frame) {
    memset(im, 0, sizeof *im);
    im->format = format;
    im->width = GST_VIDEO_FRAME_WIDTH(frame);
    im->height = GST_VIDEO_FRAME_HEIGHT(frame);
    for (guint i = 0; i < GST_VIDEO_FRAME_N_PLANES(frame) && i < 3; ++i) {
        im->plane[i] = (uint8_t*)GST_VIDEO_FRAME_PLANE_DATA(frame, i);
        im->step[i] = GST_VIDEO_FRAME_PLANE_STRIDE(frame, i);
    }
}

/* Whether a side of an edge that takes one step for all planes gets planes
 * of different strides (GstVideoMeta allows that). */
static gboolean steps_differ(const CelFmtImage* im) {
    const CelFmtFormat* f = celccfmt_format(im->format);
    for (int i = 1; i < f->planeCount; ++i)
        if (im->step[i] != im->step[0]) return TRUE;
    return FALSE;
}

/* Runs one edge.  The exports that take one step for all planes are 4:4:4
 * forms without vertical sampling; when the frame's planes have different
 * strides they are called once a row, which gives the same bytes, since the
 * vector body and the tail are chosen by the place in the row. */
static int run_edge(int edge, const CelFmtImage* a, const CelFmtImage* b) {
    const char* adapter = celccfmt_edge(edge)->adapter;
    const gboolean one_step_in = g_str_has_prefix(adapter, "PLANES1_");
    const gboolean one_step_out = g_str_has_suffix(adapter, "_PLANES1");
    if (!(one_step_in && steps_differ(a)) && !(one_step_out && steps_differ(b))) return celccfmt_run_edge(edge, a, b);
    int result = 0;
    for (int y = 0; y < a->height; ++y) {
        CelFmtImage ra = *a, rb = *b;
        ra.height = rb.height = 1;
        for (int i = 0; i < 3; ++i) {
            if (ra.plane[i]) ra.plane[i] += (int64_t)y * a->step[i];
            if (rb.plane[i]) rb.plane[i] += (int64_t)y * b->step[i];
        }
        const int st = celccfmt_run_edge(edge, &ra, &rb);
        if (st < 0) return st;
        if (st > 0 && result == 0) result = st;
    }
    return result;
}

static GstFlowReturn gst_celcc_convert_transform_frame(GstVideoFilter* filter, GstVideoFrame* in_frame,
                                                       GstVideoFrame* out_frame) {
    GstCelccConvert* self = GST_CELCC_CONVERT(filter);
    if (self->route_length < 1) return GST_FLOW_NOT_NEGOTIATED;
    CelFmtImage src, dst;
    image_of_frame(&src, self->src_format, in_frame);
    image_of_frame(&dst, self->dst_format, out_frame);
    for (int i = 0; i < self->route_length; ++i) {
        const CelFmtImage* a = i == 0 ? &src : &self->mid;
        const CelFmtImage* b = i == self->route_length - 1 ? &dst : &self->mid;
        const int st = run_edge(self->edges[i], a, b);
        if (st < 0) {
            GST_ELEMENT_ERROR(self, STREAM, FAILED, (NULL),
                              ("%s returned %s", celccfmt_edge(self->edges[i])->exportName, celccfmt_status_name(st)));
            return GST_FLOW_ERROR;
        }
        if (st > 0)
            GST_LOG_OBJECT(self, "%s: %s", celccfmt_edge(self->edges[i])->exportName, celccfmt_status_name(st));
    }
    return GST_FLOW_OK;
}

static gboolean gst_celcc_convert_stop(GstBaseTransform* trans) {
    release_intermediate(GST_CELCC_CONVERT(trans));
    return TRUE;
}

static void gst_celcc_convert_finalize(GObject* object) {
    release_intermediate(GST_CELCC_CONVERT(object));
    G_OBJECT_CLASS(gst_celcc_convert_parent_class)->finalize(object);
}

static void gst_celcc_convert_class_init(GstCelccConvertClass* klass) {
    GObjectClass* gobject_class = G_OBJECT_CLASS(klass);
    GstElementClass* element_class = GST_ELEMENT_CLASS(klass);
    GstBaseTransformClass* trans_class = GST_BASE_TRANSFORM_CLASS(klass);
    GstVideoFilterClass* filter_class = GST_VIDEO_FILTER_CLASS(klass);

    gobject_class->finalize = gst_celcc_convert_finalize;

    GstCaps* caps = gst_celcc_template_caps();
    gst_element_class_add_pad_template(element_class, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, caps));
    gst_element_class_add_pad_template(element_class, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps));
    gst_caps_unref(caps);
    gst_element_class_set_static_metadata(element_class, "Colour converter (libcelccy8)", "Filter/Converter/Video",
                                          "Converts raw video between pixel formats through libcelccy8's exports",
                                          "libcelccy8 developers");

    trans_class->transform_caps = GST_DEBUG_FUNCPTR(gst_celcc_convert_transform_caps);
    trans_class->stop = GST_DEBUG_FUNCPTR(gst_celcc_convert_stop);
    trans_class->passthrough_on_same_caps = TRUE;
    filter_class->set_info = GST_DEBUG_FUNCPTR(gst_celcc_convert_set_info);
    filter_class->transform_frame = GST_DEBUG_FUNCPTR(gst_celcc_convert_transform_frame);
}

static void gst_celcc_convert_init(GstCelccConvert* self) {
    self->route_length = -1;
    self->mid_memory = NULL;
    memset(&self->mid, 0, sizeof self->mid);
}

static gboolean plugin_init(GstPlugin* plugin) {
    GST_DEBUG_CATEGORY_INIT(gst_celcc_convert_debug, "celccconvert", 0, "libcelccy8 colour converter");
    return GST_ELEMENT_REGISTER(celccconvert, plugin);
}

#ifndef PACKAGE
#define PACKAGE "celcc"
#endif

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, celcc, "Colour conversion through libcelccy8", plugin_init,
                  CELCC_VERSION, "Proprietary", "libcelccy8", "libcelccy8")
