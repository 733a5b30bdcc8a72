"""convert() runs the routes of the front ends' table of conversions."""
import re

import numpy as np
import pytest

import celcc


@pytest.fixture(scope="module")
def table():
    try:
        return celcc.formats()
    except RuntimeError as e:
        pytest.skip(str(e))


def _rgb(h=12, w=20, seed=3):
    return np.random.default_rng(seed).integers(0, 256, (h, w, 3), dtype=np.uint8)


def _planes(shapes, seed=8):
    rng = np.random.default_rng(seed)
    return tuple(rng.integers(0, 256, s, dtype=np.uint8) for s in shapes)


def _as_list(v):
    return [v] if isinstance(v, np.ndarray) else list(v)


X = celcc  # the exports, by name in the table below
I420 = _planes([(16, 36), (8, 18), (8, 18)])
I422 = _planes([(16, 36), (16, 18), (16, 18)])
RGB = _rgb()
BGR = _rgb(seed=9)

# (source format, destination format, source, the export the route names,
#  the expected destination from direct calls, interlaced)
ROUTES = [
    ("RGB", "I420", RGB, "celiRGBToYCbCr420_8u_C3P3R", lambda: X.celiRGBToYCbCr420_8u_C3P3R(RGB), False),
    # the library's layout names are aliases (YCrCb420 is I420 with the chroma planes exchanged)
    ("rgb", "ycrcb420", RGB, "celiRGBToYCbCr420_8u_C3P3R",
     lambda: [X.celiRGBToYCbCr420_8u_C3P3R(RGB)[i] for i in (0, 2, 1)], False),
    # YUV420 names the analogue-video planes, apart from YCbCr420 (I420)
    ("YUV420", "RGB", I420, "celiYUV420ToRGB_8u_P3C3R", lambda: X.celiYUV420ToRGB_8u_P3C3R(I420), False),
    # the BT.709 forms' exports; full-scale luma, RGB through BGRA
    ("I420_709", "BGR24", I420, "celiYCbCr420ToBGR_709CSC_8u_P3C3R", lambda: X.celiYCbCr420ToBGR_709CSC_8u_P3C3R(I420),
     False),
    ("BGR24", "CbYCr422_709HDTV", BGR, "celiBGRToCbYCr422_709HDTV_8u_C3C2R",
     lambda: X.celiBGRToCbYCr422_709HDTV_8u_C3C2R(BGR), False),
    ("UYVY_709HDTV", "BGRA", I422[0].reshape(16, 18, 2), "celiCbYCr422ToBGR_709HDTV_8u_C2C4R",
     lambda: X.celiCbYCr422ToBGR_709HDTV_8u_C2C4R(I422[0].reshape(16, 18, 2)), False),
    ("RGB24", "I420_709HDTV", RGB, "celiColorTwist32f_8u_AC4IR",
     lambda: X.celiBGRToYCbCr420_709HDTV_8u_AC4P3R(np.dstack([RGB[..., ::-1], np.full(RGB.shape[:2], 255, np.uint8)])),
     False),
    # interlaced pictures go field by field
    ("I420", "I422", I420, "celiYCbCr420To422_Interlace_8u_P3R", lambda: X.celiYCbCr420To422_Interlace_8u_P3R(I420),
     True),
    ("I422", "I420", I422, "celiYCbCr422To420_Interlace_8u_P3R", lambda: X.celiYCbCr422To420_Interlace_8u_P3R(I422),
     True),
    ("I420", "I422", I420, "celiYCbCr420ToYCbCr422_8u_P3R", lambda: X.celiYCbCr420ToYCbCr422_8u_P3R(I420), False),
    # the lifting YCoCg planes (int16), back to RGB through the exchange of channel order
    ("BGR24", "YCoCg-Rev", BGR, "celiBGRToYCoCg_Rev_8u16s_C3P3R", lambda: X.celiBGRToYCoCg_Rev_8u16s_C3P3R(BGR), False),
    ("YCoCg-Rev", "RGB24", X.celiBGRToYCoCg_Rev_8u16s_C3P3R(BGR), "celiYCoCgToBGR_Rev_16s8u_P3C3R",
     lambda: BGR[..., ::-1], False),
]


@pytest.mark.parametrize("src_fmt,dst_fmt,src,export,want,interlaced", ROUTES,
                         ids=["%s-%s%s" % (r[0], r[1], "-i" if r[5] else "") for r in ROUTES])
def test_route_gives_the_exports_bytes(table, src_fmt, dst_fmt, src, export, want, interlaced):
    assert export in celcc.route(src_fmt, dst_fmt, interlaced=interlaced)
    got, ref = _as_list(celcc.convert(src, src_fmt, dst_fmt, interlaced=interlaced)), _as_list(want())
    assert [(g.shape, g.dtype, g.tobytes()) for g in got] == [(r.shape, r.dtype, r.tobytes()) for r in ref]


def test_interlaced_only_where_the_fields_meet(table):
    assert "_Interlace_" not in celcc.route("I420", "I422")
    assert "_Interlace_" not in celcc.route("I420", "NV12", interlaced=True)


def test_two_step_route_is_the_two_exports(table):
    text = celcc.route("RGB24", "NV21")
    assert text.count("->") == 2
    got = celcc.convert(RGB, "RGB24", "NV21")
    assert [g.shape for g in got] == [(12, 20), (6, 10, 2)]
    # the same two steps one at a time; the first is the export itself
    mid_format = text.split("->")[1].split("(")[0].strip()
    mid = celcc.convert(RGB, "RGB24", mid_format)
    assert [m.tobytes() for m in mid] == [m.tobytes() for m in getattr(celcc, re.findall(r"\((\w+)\)", text)[0])(RGB)]
    assert [g.tobytes() for g in got] == [w.tobytes() for w in celcc.convert(mid, mid_format, "NV21")]


def test_regions_and_negative_steps(table):
    src = _rgb(30, 40)[20:8:-1, 5:25]                      # 12 x 20, rows reversed
    y, cb, cr = np.full((16, 24), 7, np.uint8), np.full((8, 12), 7, np.uint8), np.full((8, 12), 7, np.uint8)
    dst = [y[2:14, 2:22][::-1], cb[1:7, 1:11], cr[1:7, 1:11]]
    res = celcc.convert(src, "RGB", "I420", out=dst)
    for r, d, w in zip(res, dst, celcc.celiRGBToYCbCr420_8u_C3P3R(np.ascontiguousarray(src))):
        assert r is d and d.tobytes() == w.tobytes()
    assert (y[:2] == 7).all() and (y[14:] == 7).all() and (y[:, :2] == 7).all() and (cb[0] == 7).all()


def test_round_trips_through_every_format(table):
    rgb = _rgb(8, 16)
    reached = 0
    for name in table:
        try:
            celcc.route("RGB24", name)
            celcc.route(name, "RGB24")
        except celcc.Error:
            continue
        assert celcc.convert(celcc.convert(rgb, "RGB24", name), name, "RGB24").shape == rgb.shape
        reached += 1
    assert reached >= 5


I420_OK = [np.zeros((12, 20), np.uint8), np.zeros((6, 10), np.uint8), np.zeros((6, 10), np.uint8)]


@pytest.mark.parametrize("args,exc,match", [
    ((RGB, "RGB", "NOPE"), ValueError, "unknown pixel format"),
    ((RGB[:11], "RGB", "I420"), ValueError, "multiple of 2"),
    ((RGB.astype(np.uint16), "RGB", "I420"), TypeError, "dtype"),
    (([RGB], "I420", "RGB"), ValueError, "planes"),
    ((I420_OK, "I420", "RGB", np.full((12, 20, 3), 9, np.uint16)), TypeError, "dtype"),
], ids=["format", "alignment", "source dtype", "plane count", "destination dtype"])
def test_errors_write_nothing(table, args, exc, match):
    out = args[3] if len(args) > 3 else None
    with pytest.raises(exc, match=match):
        celcc.convert(*args)
    assert out is None or (out == 9).all()


def test_no_route_names_the_status(table):
    for name in table:
        try:
            celcc.route("RGB24", name)
        except celcc.Error as e:
            assert e.name == "celFmtNoRoute" and "celFmtNoRoute" in str(e)
            with pytest.raises(celcc.Error, match="celFmtNoRoute"):
                celcc.convert(RGB, "RGB24", name)
            return
    pytest.skip("every format is reachable from RGB24")
