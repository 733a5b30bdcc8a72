// Camera raw files through LibRaw, when the build found it.  LibRaw only
// unpacks the sensor samples; the black and white levels are applied here,
// and the demosaicing is the library's.
#include <algorithm>

#include "cli.h"

#ifdef CELCC_HAVE_LIBRAW
#include <libraw/libraw.h>
#endif

namespace celcli {

#ifdef CELCC_HAVE_LIBRAW

bool cameraRawSupported() { return true; }

Picture readCameraRaw(const std::string& file, CelBayerGrid* grid) {
    std::unique_ptr<LibRaw> raw = std::make_unique<LibRaw>();
    int r = raw->open_file(file.c_str());
    if (r != LIBRAW_SUCCESS) fail(file, std::string("not a camera raw file LibRaw reads: ") + libraw_strerror(r));
    r = raw->unpack();
    if (r != LIBRAW_SUCCESS) fail(file, std::string("cannot unpack the sensor data: ") + libraw_strerror(r));
    const libraw_image_sizes_t& s = raw->imgdata.sizes;
    const unsigned filters = raw->imgdata.idata.filters;
    const uint16_t* samples = raw->imgdata.rawdata.raw_image;
    if (!samples || filters == 0 || filters == 9 || raw->imgdata.idata.colors != 3)
        fail(file, "the sensor is not a Bayer mosaic of R, G, B (only those can be demosaiced)");
    checkSize(s.width, s.height, file);
    if (int(s.top_margin) + s.height > s.raw_height || int(s.left_margin) + s.width > s.raw_width)
        fail(file, "visible area outside the sensor data");

    // The grid of the first visible pixel, from the colours of its 2x2 block.
    const char* desc = raw->imgdata.idata.cdesc;
    char block[5] = {0};
    for (int i = 0; i < 4; ++i) {
        const int c = raw->COLOR(i / 2, i % 2);
        block[i] = (c >= 0 && c < 4) ? desc[c] : '?';
    }
    const std::string b(block);
    if (b == "BGGR") *grid = celBayerBGGR;
    else if (b == "RGGB") *grid = celBayerRGGB;
    else if (b == "GBRG") *grid = celBayerGBRG;
    else if (b == "GRBG") *grid = celBayerGRBG;
    else fail(file, "unsupported colour filter layout " + b);

    const libraw_colordata_t& col = raw->imgdata.color;
    const int64_t white = col.maximum;
    Picture p;
    p.alloc(celFmt_GRAY16, s.width, s.height, file);
    uint16_t* out = reinterpret_cast<uint16_t*>(p.data.data());
    const size_t pitch = s.raw_pitch / 2;
    for (int y = 0; y < s.height; ++y)
        for (int x = 0; x < s.width; ++x) {
            const int c = raw->COLOR(y, x);
            int64_t black = int64_t(col.black) + col.cblack[c & 3];
            if (col.cblack[4] && col.cblack[5])
                black += col.cblack[6 + (y % col.cblack[4]) * col.cblack[5] + (x % col.cblack[5])];
            const int64_t v = samples[size_t(y + s.top_margin) * pitch + size_t(x + s.left_margin)];
            const int64_t range = std::max<int64_t>(1, white - black);
            const int64_t scaled = ((v - black) * 65535 + range / 2) / range;
            out[size_t(y) * size_t(s.width) + size_t(x)] = uint16_t(std::clamp<int64_t>(scaled, 0, 65535));
        }
    return p;
}

#else

bool cameraRawSupported() { return false; }

Picture readCameraRaw(const std::string& file, CelBayerGrid*) {
    fail(file, "camera raw files need LibRaw, which this build of celcc was made without (install libraw-dev and rebuild)");
}

#endif

}  // namespace celcli
