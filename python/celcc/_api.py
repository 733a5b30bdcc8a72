"""Short forms for the main jobs, over the generated per-export functions.

The exports are picked by name from the bound list, so a new type or
layout form of a family is used as soon as it is in the export list.
"""
import numpy as np

from . import _binding

__all__ = ["convert", "demosaic", "reduce_bits", "formats"]

_TYPE_TOKENS = {np.dtype(np.uint8): "8u", np.dtype(np.uint16): "16u", np.dtype(np.int16): "16s",
                np.dtype(np.int32): "32s", np.dtype(np.float32): "32f", np.dtype(np.float64): "64f"}


def _functions():
    import celcc
    return {n: getattr(celcc, n) for n in _binding.exports()}


def _token(dtype):
    dt = np.dtype(dtype)
    if dt not in _TYPE_TOKENS:
        raise TypeError("no sample type token for dtype %s" % dt)
    return _TYPE_TOKENS[dt]


def demosaic(raw, pattern, *, roi=None, out=None):
    """Bayer mosaic (H, W) of uint8 or uint16 -> interleaved R, G, B (h, w, 3)
    by the bilinear demosaicer (edge-directed green inside the frame).

    pattern: the frame's top-left 2x2 block, "RGGB", "BGGR", "GRBG" or
    "GBRG" (or its CelBayerGrid number).  roi: (x, y, width, height) of the
    region to convert, in frame coordinates; the whole frame when omitted.
    out: a destination array of shape (height, width, 3) to write into.
    """
    if not isinstance(raw, np.ndarray):
        raise TypeError("demosaic: raw must be a numpy.ndarray")
    name = "celiCFAToRGB_%s_C1C3R" % _token(raw.dtype)
    funcs = _functions()
    if name not in funcs:
        raise TypeError("demosaic: no bilinear demosaicer for %s samples" % raw.dtype)
    return funcs[name](raw, out, grid=pattern, srcRoi=roi)


_CHANNEL_LAYOUTS = {1: "C1", 3: "C3", 4: "C4"}


def reduce_bits(img, levels, dither="none", *, noise=0, dtype=None, keep_alpha=False, out=None):
    """Maps every sample onto `levels` equally spaced values of its range.

    img: (H, W) or (H, W, 3 or 4) array of uint8, uint16, int16 or float32
    (floats in 0..1).  dither: "none" (or "off") or "ordered"; the other
    CelDitherMode names are passed on as they are.  noise: 0..100, the
    amplitude of the noise added to the dither.  dtype: the destination
    sample type (uint8, uint16 or int16), the source's when omitted, uint8
    for float sources.  keep_alpha: with four channels, quantise only the
    first three and leave the destination's fourth untouched (the AC4 forms).
    out: a destination array to write into.  The scratch memory the
    library needs is allocated for the call.
    """
    if not isinstance(img, np.ndarray):
        raise TypeError("reduce_bits: img must be a numpy.ndarray")
    channels = 1 if img.ndim == 2 else img.shape[2] if img.ndim == 3 else 0
    if channels not in _CHANNEL_LAYOUTS:
        raise ValueError("reduce_bits: img must be (H, W) or (H, W, 1, 3 or 4), not %s" % (img.shape,))
    layout = "AC4" if channels == 4 and keep_alpha else _CHANNEL_LAYOUTS[channels]
    src_t = _token(img.dtype)
    if dtype is None:
        dtype = out.dtype if out is not None else (np.uint8 if img.dtype.kind == "f" else img.dtype)
    dst_t = _token(dtype)
    types = src_t if src_t == dst_t else src_t + dst_t
    name = "celiReduceBits_%s_%sR" % (types, layout)
    funcs = _functions()
    if name not in funcs:
        forms = sorted(n for n in funcs if n.startswith("celiReduceBits_"))
        raise TypeError("reduce_bits: no form %s; the library has %s" % (name, ", ".join(forms)))
    if dither is None or (isinstance(dither, str) and dither.lower() == "none"):
        dither = "off"
    return funcs[name](img, out, noise=noise, ditherMode=dither, levels=levels)


def formats():
    """The pixel formats convert() knows (empty until the front ends' table
    of conversions is present)."""
    return []


def convert(img, src_format, dst_format, out=None):
    """Converts an image between two pixel formats of the front ends' table."""
    raise NotImplementedError("convert: the table of conversions is not part of this build")
