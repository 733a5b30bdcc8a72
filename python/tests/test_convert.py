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


def test_formats_listed(table):
    for name in ("RGB24", "I420", "NV12", "YUY2", "GRAY8"):
        assert name in table


def test_direct_route_is_the_export(table):
    rgb = _rgb()
    assert "celiRGBToYCbCr420_8u_C3P3R" in celcc.route("rgb", "i420")
    got = celcc.convert(rgb, "RGB", "I420")
    want = celcc.celiRGBToYCbCr420_8u_C3P3R(rgb)
    assert [g.tobytes() for g in got] == [w.tobytes() for w in want]


def test_bt709_formats_take_the_bt709_exports(table):
    bgr = _rgb(seed=9)
    assert "celiBGRToYCbCr420_709CSC_8u_C3P3R" in celcc.route("BGR24", "I420_709")
    got = celcc.convert(bgr, "BGR", "YCbCr420_709CSC")
    want = celcc.celiBGRToYCbCr420_709CSC_8u_C3P3R(bgr)
    assert [g.tobytes() for g in got] == [w.tobytes() for w in want]
    # and back, through the BT.709 decoder of the same name
    back = celcc.convert(got, "I420_709", "BGR24")
    assert back.tobytes() == celcc.celiYCbCr420ToBGR_709CSC_8u_P3C3R(got).tobytes()
    # full-scale luma: white and black held at 254 and 1
    bgra = np.zeros((4, 8, 4), np.uint8)
    bgra[:2] = 255
    y, cb, cr = celcc.convert(bgra, "BGRA", "I420_709HDTV")
    assert set(y[:2].ravel()) == {254} and set(y[2:].ravel()) == {1}


def test_full_scale_422_and_rgb_to_full_scale_420(table):
    bgr = _rgb(seed=11)
    got = celcc.convert(bgr, "BGR24", "CbYCr422_709HDTV")
    want = celcc.celiBGRToCbYCr422_709HDTV_8u_C3C2R(bgr)
    assert got.shape == (12, 20, 2) and got.tobytes() == want.tobytes()
    assert set(np.unique(got)) <= set(range(1, 255))       # every byte held in 1..254
    back = celcc.convert(got, "UYVY_709HDTV", "BGRA")
    assert back.tobytes() == celcc.celiCbYCr422ToBGR_709HDTV_8u_C2C4R(got).tobytes()
    # RGB reaches the BGRA-only 4:2:0 encoder through BGRA, alpha opaque
    rgb = bgr[:, :, ::-1].copy()
    assert "celiColorTwist32f_8u_AC4IR" in celcc.route("RGB24", "I420_709HDTV")
    bgra = np.concatenate([bgr, np.full(bgr.shape[:2] + (1,), 255, np.uint8)], axis=2)
    got420 = celcc.convert(rgb, "RGB24", "I420_709HDTV")
    want420 = celcc.celiBGRToYCbCr420_709HDTV_8u_AC4P3R(bgra)
    assert [g.tobytes() for g in got420] == [w.tobytes() for w in want420]


def test_two_step_route_is_the_two_exports(table):
    rgb = _rgb()
    text = celcc.route("RGB24", "NV21")
    assert text.count("->") == 2
    got = celcc.convert(rgb, "RGB24", "NV21")
    assert [g.shape for g in got] == [(12, 20), (6, 10, 2)]
    # the same two steps one at a time; the first is the export itself
    mid_format = text.split("->")[1].split("(")[0].strip()
    first = re.findall(r"\((\w+)\)", text)[0]
    mid = celcc.convert(rgb, "RGB24", mid_format)
    assert [m.tobytes() for m in mid] == [m.tobytes() for m in getattr(celcc, first)(rgb)]
    want = celcc.convert(mid, mid_format, "NV21")
    assert [g.tobytes() for g in got] == [w.tobytes() for w in want]


def test_regions_and_negative_steps(table):
    big = _rgb(30, 40)
    src = big[20:8:-1, 5:25]                      # 12 x 20, rows reversed
    y = np.full((16, 24), 7, np.uint8)
    cb = np.full((8, 12), 7, np.uint8)
    cr = np.full((8, 12), 7, np.uint8)
    dst = [y[2:14, 2:22][::-1], cb[1:7, 1:11], cr[1:7, 1:11]]
    res = celcc.convert(src, "RGB", "I420", out=dst)
    want = celcc.celiRGBToYCbCr420_8u_C3P3R(np.ascontiguousarray(src))
    for r, d, w in zip(res, dst, want):
        assert r is d
        assert d.tobytes() == w.tobytes()
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
        there = celcc.convert(rgb, "RGB24", name)
        back = celcc.convert(there, name, "RGB24")
        assert back.shape == rgb.shape
        reached += 1
    assert reached >= 5


def test_errors(table):
    rgb = _rgb()
    with pytest.raises(ValueError, match="unknown pixel format"):
        celcc.convert(rgb, "RGB", "NOPE")
    with pytest.raises(ValueError, match="multiple of 2"):
        celcc.convert(rgb[:11], "RGB", "I420")
    with pytest.raises(TypeError, match="dtype"):
        celcc.convert(rgb.astype(np.uint16), "RGB", "I420")
    with pytest.raises(ValueError, match="planes"):
        celcc.convert([rgb], "I420", "RGB")
    out = np.full((12, 20, 3), 9, np.uint16)
    with pytest.raises(TypeError, match="dtype"):
        celcc.convert([np.zeros((12, 20), np.uint8), np.zeros((6, 10), np.uint8), np.zeros((6, 10), np.uint8)],
                      "I420", "RGB", out=out)
    assert (out == 9).all()


def test_no_route_names_the_status(table):
    names = list(table)
    rgb = _rgb()
    for name in names:
        try:
            celcc.route("RGB24", name)
        except celcc.Error as e:
            assert e.name == "celFmtNoRoute" and "celFmtNoRoute" in str(e)
            with pytest.raises(celcc.Error, match="celFmtNoRoute"):
                celcc.convert(rgb, "RGB24", name)
            return
    pytest.skip("every format is reachable from RGB24")


def test_library_layout_names_are_aliases(table):
    rgb = _rgb()
    got = celcc.convert(rgb, "RGB", "YCbCr420")
    want = celcc.celiRGBToYCbCr420_8u_C3P3R(rgb)
    assert [g.tobytes() for g in got] == [w.tobytes() for w in want]
    yv12 = celcc.convert(rgb, "rgb", "ycrcb420")
    assert yv12[1].tobytes() == want[2].tobytes() and yv12[2].tobytes() == want[1].tobytes()


def test_analogue_yuv_is_a_model_of_its_own(table):
    """YUV420 names the analogue-video planes, apart from YCbCr420 (I420)."""
    rgb = _rgb()
    got = celcc.convert(rgb, "RGB", "YUV420")
    want = celcc.celiRGBToYUV420_8u_C3P3R(rgb)
    assert [g.tobytes() for g in got] == [w.tobytes() for w in want]
    assert got[0].tobytes() != celcc.convert(rgb, "RGB", "YCbCr420")[0].tobytes()
    back = celcc.convert(got, "YUV420", "RGB")
    assert back.tobytes() == celcc.celiYUV420ToRGB_8u_P3C3R(want).tobytes()


def test_interlaced_pictures_go_field_by_field(table):
    rng = np.random.default_rng(8)
    planes = (rng.integers(0, 256, (16, 36), dtype=np.uint8), rng.integers(0, 256, (8, 18), dtype=np.uint8),
              rng.integers(0, 256, (8, 18), dtype=np.uint8))
    assert "celiYCbCr420To422_Interlace_8u_P3R" in celcc.route("I420", "I422", interlaced=True)
    assert "_Interlace_" not in celcc.route("I420", "I422")
    got = celcc.convert(planes, "I420", "I422", interlaced=True)
    want = celcc.celiYCbCr420To422_Interlace_8u_P3R(planes)
    assert [g.tobytes() for g in got] == [w.tobytes() for w in want]
    plain = celcc.convert(planes, "I420", "I422")
    assert [g.tobytes() for g in got] != [p.tobytes() for p in plain]
    back = celcc.convert(got, "I422", "I420", interlaced=True)
    assert [b.tobytes() for b in back] == [w.tobytes() for w in celcc.celiYCbCr422To420_Interlace_8u_P3R(got)]
    # a route that keeps the fields apart anyway takes no interlace-aware export
    assert "_Interlace_" not in celcc.route("I420", "NV12", interlaced=True)
