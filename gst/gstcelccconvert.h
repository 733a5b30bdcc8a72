/*
 * celccconvert: raw video format conversion through libcelccy8, along the
 * routes of the front ends' table of conversions.
 */
#ifndef GST_CELCC_CONVERT_H
#define GST_CELCC_CONVERT_H

#include <gst/gst.h>
#include <gst/video/gstvideofilter.h>
#include <gst/video/video.h>

#include <celcc_formats.h>

G_BEGIN_DECLS

#define GST_TYPE_CELCC_CONVERT (gst_celcc_convert_get_type())
G_DECLARE_FINAL_TYPE(GstCelccConvert, gst_celcc_convert, GST, CELCC_CONVERT, GstVideoFilter)

struct _GstCelccConvert {
    GstVideoFilter parent;
    /* The negotiated route: -1 none, 0 passthrough, 1 or 2 edges. */
    int route_length;
    int32_t edges[CELFMT_MAX_ROUTE];
    int src_format, dst_format; /* the table's format ids */
    /* The intermediate image of a two-step route, made when the caps are set. */
    CelFmtImage mid;
    void* mid_memory;
};

GST_ELEMENT_REGISTER_DECLARE(celccconvert);

/* The table's format id of a GStreamer format, or -1 when the table has none. */
int gst_celcc_table_format(GstVideoFormat format);
/* The table's YCbCr colour model of a colorimetry (celFmtModelYCbCr for
 * BT.601 at studio range, celFmtModelYCbCr709 for BT.709 at studio range,
 * celFmtModelYCbCr709Full for BT.709 at full range), or -1 for none. */
int gst_celcc_colorimetry_model(const GstVideoColorimetry* colorimetry);
/* The table format of a GStreamer format under a YCbCr colour model: a
 * YCbCr format's form of that model (-1 when the table has none), RGB and
 * gray as they are; a model below 0 gives gst_celcc_table_format. */
int gst_celcc_table_format_at(GstVideoFormat format, int model);
/* The route between two GStreamer formats: the number of edges (0 for equal
 * formats), or -1 when the element does not convert the pair.  `edges` gets
 * the table's edge indices, `mid` the intermediate's table format (or -1).
 * A pair that changes colour model is taken with its YCbCr side under
 * BT.601. */
int gst_celcc_route(GstVideoFormat from, GstVideoFormat to, int32_t edges[2], int* mid);
/* The same with the YCbCr side of a change of model under `model`, for
 * interlaced (TRUE) or progressive pictures: an interlaced picture takes the
 * table's route for interlaced pictures. */
int gst_celcc_route_for(GstVideoFormat from, GstVideoFormat to, int model, gboolean interlaced, int32_t edges[2],
                        int* mid);
/* Whether the pair changes colour model (YCbCr on one side only). */
gboolean gst_celcc_route_changes_model(GstVideoFormat from, GstVideoFormat to);

G_END_DECLS

#endif /* GST_CELCC_CONVERT_H */
