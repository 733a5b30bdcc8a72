"""Converts a real photograph with celcc: 4:2:0 and back, gray, and a
four-level poster with ordered dither.  Writes PNG files into the folder
given (default: the current one) and prints one line per result.

    python3 python/examples/astronaut.py [OUTDIR]
"""
import os
import sys

import numpy as np
from skimage import io

import celcc

PHOTO = "/usr/lib/python3/dist-packages/skimage/data/astronaut.png"


def main(outdir="."):
    rgb = io.imread(PHOTO)                                   # (512, 512, 3) uint8
    y, cb, cr = celcc.celiRGBToYCbCr420_8u_C3P3R(rgb)        # planes (512, 512), (256, 256), (256, 256)
    back = celcc.celiYCbCr420ToRGB_8u_P3C3R([y, cb, cr])     # (512, 512, 3)
    gray = celcc.celiRGBToGray_8u_C3C1R(rgb)                 # (512, 512)
    poster = celcc.reduce_bits(rgb, 4, dither="ordered")     # 4 levels a channel
    face = celcc.celiRGBToYCbCr_8u_C3R(rgb[30:230, 160:360])  # a region: no copy
    err = np.abs(back.astype(int) - rgb).mean()
    for name, img in (("roundtrip", back), ("gray", gray), ("poster", poster)):
        io.imsave(os.path.join(outdir, "astronaut-%s.png" % name), img, check_contrast=False)
    print("4:2:0 planes %s, round trip mean error %.2f" % ([p.shape for p in (y, cb, cr)], err))
    print("gray %s, poster levels %s, face region %s" % (gray.shape, np.unique(poster).tolist(), face.shape))
    return err


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else ".")
