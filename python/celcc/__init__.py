"""celcc: libcelccy8's image colour conversions on NumPy arrays.

Every export of the library is a function of this module under its own
name, made from the library's export list when the package was built:

    >>> import numpy as np, celcc
    >>> rgb = np.zeros((480, 640, 3), np.uint8)
    >>> ycc = celcc.celiRGBToYCbCr_8u_C3R(rgb)             # destination allocated
    >>> celcc.celiRGBToYCbCr_8u_C3R(rgb[::-1, 10:330], ycc[:, :320])  # regions, in place

Images are arrays of the export's sample type: (H, W) for one channel,
(H, W, C) interleaved, a sequence of 2-D planes for planar layouts, and
(Y, chroma pairs) for two-plane ones.  Sizes come from the shapes, row
steps from the strides (negative ones too), so a slice is a region of
interest and nothing is copied.  Scalars are keyword arguments under their
C names.  help(celcc.<export>) shows the export's line of the list and
what each argument takes.

A negative status raises celcc.Error (naming the status and the export,
nothing was written); a positive one issues celcc.StatusWarning through the
warnings module and the result is returned.  Arrays of the wrong dtype,
shape or layout, and read-only destinations, are refused before the call.
The interpreter lock is released during each call.

The jobs most callers want have short forms: convert(), demosaic(),
reduce_bits().
"""
from ._binding import STATUS, Error, StatusWarning, bind_all, exports, signature
from ._library import library_path

Error.__module__ = StatusWarning.__module__ = "celcc"

_bound = bind_all()
globals().update(_bound)

from ._api import bitmap, convert, demosaic, formats, reduce_bits, route, tone_map  # noqa: E402

__all__ = ["Error", "StatusWarning", "STATUS", "exports", "signature", "library_path", "version",
           "convert", "demosaic", "reduce_bits", "formats", "route"] + list(_bound)


def version():
    """The library's version record as a dict."""
    return _bound["celccGetLibVersion"]()
