"""convert() runs the routes of the front ends' table of conversions."""
import re

import numpy as np
import pytest

import celcc as X
from conftest import image


@pytest.fixture(scope="module")
def table():
    try:
        return X.formats()
    except RuntimeError as e:
        pytest.skip(str(e))


def _as_list(v):
    return [v] if isinstance(v, np.ndarray) else list(v)


I420 = (image((16, 36), seed=8), image((8, 18), seed=9), image((8, 18), seed=10))
I422 = (image((16, 36), seed=8), image((16, 18), seed=9), image((16, 18), seed=10))
RGB, BGR, UYVY = image((12, 20, 3), seed=3), image((12, 20, 3), seed=9), I422[0].reshape(16, 18, 2)

# (source format, destination format, source, the export the route names,
#  the expected destination from direct calls, interlaced)
ROUTES = [
    ("RGB", "I420", RGB, "celiRGBToYCbCr420_8u_C3P3R", lambda: X.celiRGBToYCbCr420_8u_C3P3R(RGB), False),
    # the library's layout names are aliases (YCrCb420 is I420 with the chroma planes exchanged)
    ("rgb", "ycrcb420", RGB, "celiRGBToYCbCr420_8u_C3P3R", lambda: [X.celiRGBToYCbCr420_8u_C3P3R(RGB)[i] for i in (0, 2, 1)],
     False),
    # YUV420 names the analogue-video planes, apart from YCbCr420 (I420)
    ("YUV420", "RGB", I420, "celiYUV420ToRGB_8u_P3C3R", lambda: X.celiYUV420ToRGB_8u_P3C3R(I420), False),
    # packed 4:2:2 (H, W, 2) in, four channels out: a BT.709 full-scale form
    ("UYVY_709HDTV", "BGRA", UYVY, "celiCbYCr422ToBGR_709HDTV_8u_C2C4R", lambda: X.celiCbYCr422ToBGR_709HDTV_8u_C2C4R(UYVY), False),
    # interlaced pictures go field by field
    ("I420", "I422", I420, "celiYCbCr420To422_Interlace_8u_P3R", lambda: X.celiYCbCr420To422_Interlace_8u_P3R(I420), True),
    ("I422", "I420", I422, "celiYCbCr422To420_Interlace_8u_P3R", lambda: X.celiYCbCr422To420_Interlace_8u_P3R(I422), True),
    ("I420", "I422", I420, "celiYCbCr420ToYCbCr422_8u_P3R", lambda: X.celiYCbCr420ToYCbCr422_8u_P3R(I420), False),
    # the lifting YCoCg planes (int16), back to RGB through the exchange of channel order
    ("BGR24", "YCoCg-Rev", BGR, "celiBGRToYCoCg_Rev_8u16s_C3P3R", lambda: X.celiBGRToYCoCg_Rev_8u16s_C3P3R(BGR), False),
    ("YCoCg-Rev", "RGB24", X.celiBGRToYCoCg_Rev_8u16s_C3P3R(BGR), "celiYCoCgToBGR_Rev_16s8u_P3C3R", lambda: BGR[..., ::-1], False),
]


@pytest.mark.parametrize("src_fmt,dst_fmt,src,export,want,interlaced", ROUTES,
                         ids=["%s-%s%s" % (r[0], r[1], "-i" if r[5] else "") for r in ROUTES])
def test_route_gives_the_exports_bytes(table, src_fmt, dst_fmt, src, export, want, interlaced):
    assert export in X.route(src_fmt, dst_fmt, interlaced=interlaced)
    got, ref = _as_list(X.convert(src, src_fmt, dst_fmt, interlaced=interlaced)), _as_list(want())
    assert [(g.shape, g.dtype, g.tobytes()) for g in got] == [(r.shape, r.dtype, r.tobytes()) for r in ref]


def test_interlaced_only_where_the_fields_meet(table):
    assert "_Interlace_" not in X.route("I420", "I422")
    assert "_Interlace_" not in X.route("I420", "NV12", interlaced=True)


def test_two_step_route_is_the_two_exports(table):
    text = X.route("RGB24", "NV21")
    assert text.count("->") == 2
    got = X.convert(RGB, "RGB24", "NV21")
    assert [g.shape for g in got] == [(12, 20), (6, 10, 2)]
    # the same two steps one at a time; the first is the export itself
    mid_format = text.split("->")[1].split("(")[0].strip()
    mid = X.convert(RGB, "RGB24", mid_format)
    assert [m.tobytes() for m in mid] == [m.tobytes() for m in getattr(X, re.findall(r"\((\w+)\)", text)[0])(RGB)]
    assert [g.tobytes() for g in got] == [w.tobytes() for w in X.convert(mid, mid_format, "NV21")]


def test_regions_and_negative_steps(table):
    src = image((30, 40, 3), seed=3)[20:8:-1, 5:25]  # 12 x 20, rows reversed
    y, cb, cr = np.full((16, 24), 7, np.uint8), np.full((8, 12), 7, np.uint8), np.full((8, 12), 7, np.uint8)
    dst = [y[2:14, 2:22][::-1], cb[1:7, 1:11], cr[1:7, 1:11]]
    res = X.convert(src, "RGB", "I420", out=dst)
    for r, d, w in zip(res, dst, X.celiRGBToYCbCr420_8u_C3P3R(np.ascontiguousarray(src))):
        assert r is d and d.tobytes() == w.tobytes()
    assert (y[:2] == 7).all() and (y[14:] == 7).all() and (y[:, :2] == 7).all() and (cb[0] == 7).all()


def test_round_trips_through_every_format_or_no_route(table):
    """Each format RGB24 reaches and comes back from keeps the shape; the
    formats it does not reach name the status (the first from convert() too)."""
    rgb, reached, unreached = RGB[:8, :16], 0, 0
    for name in table:
        try:
            X.route("RGB24", name)
        except X.Error as e:
            assert e.name == "celFmtNoRoute" and "celFmtNoRoute" in str(e)
            if not unreached:
                with pytest.raises(X.Error, match="celFmtNoRoute"):
                    X.convert(rgb, "RGB24", name)
            unreached += 1
            continue
        try:
            X.route(name, "RGB24")
        except X.Error:
            continue
        assert X.convert(X.convert(rgb, "RGB24", name), name, "RGB24").shape == rgb.shape
        reached += 1
    assert reached >= 5
    if not unreached:
        pytest.skip("every format is reachable from RGB24")


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
        X.convert(*args)
    assert out is None or (out == 9).all()
