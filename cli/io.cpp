// Readers and writers of PNG (libspng), JPEG (libjpeg), PNM/PAM, Y4M and raw
// frames.  They move bytes between files and pictures; pixels are converted
// elsewhere, by the table.
#include <setjmp.h>
#include <spng.h>
#include <stdio.h>
#include <sys/stat.h>

#include <jpeglib.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <memory>

#include "cli.h"

namespace celcli {

namespace {

std::vector<uint8_t> readWhole(const std::string& file) {
    FILE* f = std::fopen(file.c_str(), "rb");
    if (!f) fail(file, std::string("cannot open: ") + std::strerror(errno));
    std::vector<uint8_t> v;
    uint8_t buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) v.insert(v.end(), buf, buf + n);
    const bool bad = std::ferror(f) != 0;
    std::fclose(f);
    if (bad) fail(file, "cannot read");
    return v;
}

bool hostIsLittle() {
    const uint16_t one = 1;
    return *reinterpret_cast<const uint8_t*>(&one) == 1;
}

// 16-bit samples between big-endian file order and host order.
void swap16(uint8_t* p, size_t bytes) {
    if (!hostIsLittle()) return;
    for (size_t i = 0; i + 1 < bytes; i += 2) std::swap(p[i], p[i + 1]);
}

}  // namespace

// ---- NumPy .npy -----------------------------------------------------------------------
//
// A picture as one little-endian array: a one-plane format as (H, W) or
// (H, W, samples a pixel), a format of full-size planes (YCoCg, I444) as
// (planes, H, W).  The bytes are the picture's own, planes one after the
// other.

namespace {

const char* npyDescr(const CelFmtFormat& f) {
    switch (f.sample) {
    case celFmtSample8u: return "|u1";
    case celFmtSample16u: return "<u2";
    case celFmtSample16s: return "<i2";
    case celFmtSample32s: return "<i4";
    case celFmtSample32f: return "<f4";
    default: return nullptr;
    }
}

// The array's shape for a w x h picture: empty if the format has none.
std::vector<int64_t> npyShape(int format, int64_t w, int64_t h) {
    const CelFmtFormat& f = *celccfmt_format(format);
    if (f.planeCount == 1 && f.plane[0].unitWidth == 1 && f.plane[0].unitHeight == 1) {
        const int per = f.plane[0].unitBytes / f.sampleBytes;
        return per == 1 ? std::vector<int64_t>{h, w} : std::vector<int64_t>{h, w, per};
    }
    for (int i = 0; i < f.planeCount; ++i)
        if (f.plane[i].unitWidth != 1 || f.plane[i].unitHeight != 1 || f.plane[i].unitBytes != f.sampleBytes) return {};
    return {f.planeCount, h, w};
}

}  // namespace

bool npyCanHold(int f) { return npyDescr(*celccfmt_format(f)) && !npyShape(f, 1, 1).empty(); }

std::vector<uint8_t> encodeNpy(const Picture& p, const std::string& file) {
    if (!npyCanHold(p.format)) fail(file, ".npy holds formats of one plane or of full-size planes, not " + formatName(p.format));
    if (!hostIsLittle()) fail(file, ".npy output needs a little-endian host");
    std::string shape;
    for (int64_t d : npyShape(p.format, p.width, p.height)) shape += (shape.empty() ? "" : ", ") + std::to_string(d);
    std::string dict = std::string("{'descr': '") + npyDescr(p.info()) + "', 'fortran_order': False, 'shape': (" + shape + "), }";
    const size_t total = (10 + dict.size() + 1 + 63) / 64 * 64;
    dict.append(total - 10 - dict.size() - 1, ' ');
    dict += '\n';
    std::vector<uint8_t> out(10 + dict.size() + p.data.size());
    const uint8_t magic[10] = {0x93, 'N', 'U', 'M', 'P', 'Y', 1, 0, uint8_t(dict.size() & 0xFF), uint8_t(dict.size() >> 8)};
    std::memcpy(out.data(), magic, 10);
    std::memcpy(out.data() + 10, dict.data(), dict.size());
    if (!p.data.empty()) std::memcpy(out.data() + 10 + dict.size(), p.data.data(), p.data.size());
    return out;
}

Picture readNpy(const std::string& file, int format) {
    const std::vector<uint8_t> bytes = readWhole(file);
    if (bytes.size() < 10 || std::memcmp(bytes.data(), "\x93NUMPY", 6) != 0) fail(file, "not a NumPy .npy file");
    const int major = bytes[6];
    const size_t lenBytes = major == 1 ? 2 : 4, start = 8 + lenBytes;
    if (major < 1 || major > 3 || bytes.size() < start) fail(file, "unknown .npy version");
    size_t hlen = 0;
    for (size_t i = 0; i < lenBytes; ++i) hlen |= size_t(bytes[8 + i]) << (8 * i);
    if (bytes.size() < start + hlen) fail(file, "truncated .npy header");
    const std::string head(bytes.begin() + long(start), bytes.begin() + long(start + hlen));
    const auto value = [&](const std::string& key) {
        const size_t k = head.find("'" + key + "'");
        if (k == std::string::npos) fail(file, ".npy header without " + key);
        const size_t colon = head.find(':', k);
        return head.substr(colon + 1);
    };
    const std::string descr = value("descr"), order = value("fortran_order"), shapeText = value("shape");
    if (order.find("False") != 0 && order.find(" False") != 0) fail(file, "a Fortran-ordered .npy array is not read");
    std::vector<int64_t> shape;
    for (size_t i = shapeText.find('(') + 1; i < shapeText.size() && shapeText[i] != ')';) {
        if (std::isdigit(static_cast<unsigned char>(shapeText[i]))) {
            size_t used = 0;
            shape.push_back(std::stoll(shapeText.substr(i), &used));
            i += used;
        } else {
            ++i;
        }
    }
    const size_t q = descr.find('\'');
    const std::string type = q == std::string::npos ? "" : descr.substr(q + 1, 3);
    if (format < 0) {
        // one plane, from the dtype and the samples a pixel
        const int per = shape.size() == 3 ? int(shape[2]) : 1;
        const char* names[][3] = {{"|u1", "GRAY8", "RGB24"}, {"<u2", "GRAY16", "RGB48"}, {"<f4", "GRAYF32", "RGBF32"}};
        for (const auto& n : names)
            if (type == n[0] && shape.size() >= 2 && (per == 1 || per == 3))
                format = celccfmt_format_find(per == 1 ? n[1] : n[2]);
        if (type == "|u1" && per == 4) format = celFmt_RGBA;
        if (type == "<u2" && per == 4) format = celFmt_RGBA64;
        if (format < 0) fail(file, "give the pixel format of this .npy array with --pix-fmt (dtype " + type + ", " +
                                       std::to_string(shape.size()) + " dimensions)");
    }
    if (!npyCanHold(format)) fail(file, formatName(format) + " is not read from .npy");
    const CelFmtFormat& f = *celccfmt_format(format);
    const bool planes = f.planeCount > 1;
    if (shape.size() < 2 || (planes && shape.size() != 3)) fail(file, ".npy shape does not fit " + formatName(format));
    const int64_t h = planes ? shape[1] : shape[0], w = planes ? shape[2] : shape[1];
    if (type != npyDescr(f) || npyShape(format, w, h) != shape)
        fail(file, ".npy array (" + type + ") does not hold " + formatName(format) + " (" + npyDescr(f) + ")");
    if (!hostIsLittle() && f.sampleBytes > 1) fail(file, ".npy input needs a little-endian host");
    checkSize(w, h, file);
    Picture p;
    p.alloc(format, int(w), int(h), file);
    if (bytes.size() - start - hlen < p.bytes()) fail(file, "truncated .npy data");
    std::memcpy(p.data.data(), bytes.data() + start + hlen, p.bytes());
    return p;
}

// ---- PNG ----------------------------------------------------------------------------

Picture readPng(const std::string& file) {
    std::vector<uint8_t> bytes = readWhole(file);
    std::unique_ptr<spng_ctx, void (*)(spng_ctx*)> ctx(spng_ctx_new(0), spng_ctx_free);
    if (!ctx) fail(file, "out of memory");
    spng_set_image_limits(ctx.get(), uint32_t(kMaxSide), uint32_t(kMaxSide));
    spng_set_chunk_limits(ctx.get(), size_t(64) << 20, size_t(64) << 20);
    spng_set_png_buffer(ctx.get(), bytes.data(), bytes.size());
    spng_ihdr ih;
    if (int e = spng_get_ihdr(ctx.get(), &ih)) fail(file, std::string("corrupt or truncated PNG: ") + spng_strerror(e));
    checkSize(ih.width, ih.height, file);
    spng_trns trns;
    const bool hasTrns = spng_get_trns(ctx.get(), &trns) == 0;
    int fmt, sfmt, flags = 0;
    if (ih.bit_depth == 16) {
        switch (ih.color_type) {
        case SPNG_COLOR_TYPE_GRAYSCALE: fmt = celFmt_GRAY16, sfmt = SPNG_FMT_PNG; break;
        case SPNG_COLOR_TYPE_TRUECOLOR: fmt = celFmt_RGB48, sfmt = SPNG_FMT_PNG; break;
        case SPNG_COLOR_TYPE_TRUECOLOR_ALPHA: fmt = celFmt_RGBA64, sfmt = SPNG_FMT_PNG; break;
        default: fmt = celFmt_RGBA64, sfmt = SPNG_FMT_RGBA16; break;
        }
    } else {
        switch (ih.color_type) {
        case SPNG_COLOR_TYPE_GRAYSCALE: fmt = celFmt_GRAY8, sfmt = SPNG_FMT_G8; break;
        case SPNG_COLOR_TYPE_TRUECOLOR: fmt = celFmt_RGB24, sfmt = SPNG_FMT_RGB8; break;
        case SPNG_COLOR_TYPE_INDEXED:
            if (hasTrns) fmt = celFmt_RGBA, sfmt = SPNG_FMT_RGBA8, flags = SPNG_DECODE_TRNS;
            else fmt = celFmt_RGB24, sfmt = SPNG_FMT_RGB8;
            break;
        default: fmt = celFmt_RGBA, sfmt = SPNG_FMT_RGBA8; break;
        }
    }
    Picture p;
    p.alloc(fmt, int(ih.width), int(ih.height), file);
    size_t len = 0;
    if (int e = spng_decoded_image_size(ctx.get(), sfmt, &len))
        fail(file, std::string("corrupt or truncated PNG: ") + spng_strerror(e));
    if (len != p.bytes()) fail(file, "unexpected decoded size");
    if (int e = spng_decode_image(ctx.get(), p.data.data(), len, sfmt, flags))
        fail(file, std::string("corrupt or truncated PNG: ") + spng_strerror(e));
    return p;
}

// One plane of 8- or 16-bit samples, one a channel (not packed into bit
// fields), in R, G, B order or of a colour model whose channels have no
// other order (gray, XYZ, LUV, Lab, HSV, HLS).
bool pngCanHold(int f) {
    const CelFmtFormat* p = celccfmt_format(f);
    if (!p || p->planeCount != 1 || (p->sample != celFmtSample8u && p->sample != celFmtSample16u)) return false;
    if (p->plane[0].unitBytes != p->channels * p->sampleBytes * p->plane[0].unitWidth) return false;
    if (p->model == celFmtModelGray) return p->channels == 1;
    if (p->model == celFmtModelRGB) return p->channels == 3 || p->channels == 4;
    return p->model != celFmtModelBGR && p->model != celFmtModelYCbCr && p->channels == 3;
}

std::vector<uint8_t> encodePng(const Picture& p, const std::string& file) {
    if (!pngCanHold(p.format)) fail(file, "PNG cannot hold " + formatName(p.format));
    const CelFmtFormat& f = p.info();
    std::unique_ptr<spng_ctx, void (*)(spng_ctx*)> ctx(spng_ctx_new(SPNG_CTX_ENCODER), spng_ctx_free);
    if (!ctx) fail(file, "out of memory");
    spng_set_option(ctx.get(), SPNG_ENCODE_TO_BUFFER, 1);
    spng_ihdr ih{};
    ih.width = uint32_t(p.width);
    ih.height = uint32_t(p.height);
    ih.bit_depth = uint8_t(f.sampleBytes * 8);
    ih.color_type = f.channels == 1   ? SPNG_COLOR_TYPE_GRAYSCALE
                    : f.channels == 4 ? SPNG_COLOR_TYPE_TRUECOLOR_ALPHA
                                      : SPNG_COLOR_TYPE_TRUECOLOR;
    spng_set_ihdr(ctx.get(), &ih);
    // 10-bit gray: PNG holds samples scaled to the full 16 bits (by bit
    // replication, so that a shift right by 6 gives them back) and says
    // how many bits are significant.
    std::vector<uint8_t> scaled;
    const uint8_t* pixels = p.data.data();
    if (p.format == celFmt_GRAY10) {
        scaled.resize(p.data.size());
        for (size_t i = 0; i + 1 < scaled.size(); i += 2) {
            uint16_t v;
            std::memcpy(&v, p.data.data() + i, 2);
            v = uint16_t((v & 1023u) << 6 | (v & 1023u) >> 4);
            std::memcpy(scaled.data() + i, &v, 2);
        }
        pixels = scaled.data();
        spng_sbit sbit{10, 0, 0, 0, 0};
        spng_set_sbit(ctx.get(), &sbit);
    }
    if (int e = spng_encode_image(ctx.get(), pixels, p.data.size(), SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE))
        fail(file, std::string("cannot encode PNG: ") + spng_strerror(e));
    size_t len = 0;
    int err = 0;
    void* buf = spng_get_png_buffer(ctx.get(), &len, &err);
    if (!buf) fail(file, std::string("cannot encode PNG: ") + spng_strerror(err));
    std::vector<uint8_t> out(static_cast<uint8_t*>(buf), static_cast<uint8_t*>(buf) + len);
    std::free(buf);
    return out;
}

// ---- JPEG ------------------------------------------------------------------------------

namespace {
struct JpegError {
    jpeg_error_mgr mgr;
    jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
    bool warned;
};
void jpegExit(j_common_ptr c) {
    JpegError* e = reinterpret_cast<JpegError*>(c->err);
    (*c->err->format_message)(c, e->message);
    longjmp(e->jump, 1);
}
// A warning means damaged data (a truncated file, a bad Huffman code): the
// decoder would go on with gray blocks, the tool refuses the file instead.
void jpegWarning(j_common_ptr c, int level) {
    JpegError* e = reinterpret_cast<JpegError*>(c->err);
    if (level < 0 && !e->warned) {
        e->warned = true;
        (*c->err->format_message)(c, e->message);
    }
}

// Decodes into `p`; returns an error text or null.  No C++ object with a
// destructor lives across the setjmp.
const char* decodeJpeg(const std::vector<uint8_t>& bytes, Picture& p, const std::string& file, JpegError& err,
                       bool& cmyk) {
    jpeg_decompress_struct cinfo;
    cinfo.err = jpeg_std_error(&err.mgr);
    err.mgr.error_exit = jpegExit;
    err.mgr.emit_message = jpegWarning;
    err.warned = false;
    if (setjmp(err.jump)) {
        jpeg_destroy_decompress(&cinfo);
        return err.message;
    }
    jpeg_create_decompress(&cinfo);
    jpeg_mem_src(&cinfo, bytes.data(), static_cast<unsigned long>(bytes.size()));
    jpeg_read_header(&cinfo, TRUE);
    if (cinfo.jpeg_color_space == JCS_CMYK || cinfo.jpeg_color_space == JCS_YCCK) {
        cmyk = true;
        jpeg_destroy_decompress(&cinfo);
        return "CMYK JPEG is not supported";
    }
    const bool gray = cinfo.jpeg_color_space == JCS_GRAYSCALE;
    cinfo.out_color_space = gray ? JCS_GRAYSCALE : JCS_RGB;
    if (int64_t(cinfo.image_width) > kMaxSide || int64_t(cinfo.image_height) > kMaxSide ||
        int64_t(cinfo.image_width) * cinfo.image_height > kMaxPixels) {
        jpeg_destroy_decompress(&cinfo);
        return "image too large";
    }
    jpeg_start_decompress(&cinfo);
    p.format = gray ? celFmt_GRAY8 : celFmt_RGB24;
    p.width = int(cinfo.output_width);
    p.height = int(cinfo.output_height);
    const size_t row = size_t(p.width) * (gray ? 1 : 3);
    p.data.assign(row * size_t(p.height), 0);
    while (cinfo.output_scanline < cinfo.output_height) {
        JSAMPROW r = p.data.data() + row * cinfo.output_scanline;
        jpeg_read_scanlines(&cinfo, &r, 1);
    }
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
    (void)file;
    return err.warned ? err.message : nullptr;
}
}  // namespace

Picture readJpeg(const std::string& file) {
    const std::vector<uint8_t> bytes = readWhole(file);
    Picture p;
    JpegError err;
    bool cmyk = false;
    if (const char* e = decodeJpeg(bytes, p, file, err, cmyk))
        fail(file, std::string(cmyk ? "" : "corrupt or truncated JPEG: ") + e);
    if (p.width < 1 || p.height < 1) fail(file, "empty JPEG");
    return p;
}

// ---- PNM / PAM --------------------------------------------------------------------------

namespace {
struct Tokens {
    const std::vector<uint8_t>& b;
    size_t i = 2;
    bool token(std::string& out) {
        out.clear();
        for (;;) {
            while (i < b.size() && std::isspace(b[i])) ++i;
            if (i < b.size() && b[i] == '#') {
                while (i < b.size() && b[i] != '\n') ++i;
                continue;
            }
            break;
        }
        while (i < b.size() && !std::isspace(b[i]) && out.size() < 64) out.push_back(char(b[i++]));
        return !out.empty();
    }
    bool number(const std::string& file, const char* what, int64_t& v) {
        std::string t;
        if (!token(t)) fail(file, std::string("truncated header: no ") + what);
        if (t.size() > 10 || t.find_first_not_of("0123456789") != std::string::npos)
            fail(file, std::string("bad ") + what + " '" + t + "'");
        v = std::stoll(t);
        return true;
    }
};
}  // namespace

Picture readPnm(const std::string& file, bool anyMaxval) {
    const std::vector<uint8_t> b = readWhole(file);
    if (b.size() < 2 || b[0] != 'P') fail(file, "not a PNM file");
    const char kind = char(b[1]);
    if (kind == '1' || kind == '2' || kind == '3' || kind == '4')
        fail(file, std::string("plain (ASCII) and bitmap PNM (P") + kind + ") are not supported: use P5, P6 or P7");
    Tokens t{b};
    int64_t w = 0, h = 0, depth = 0, maxval = 0;
    std::string tupl;
    if (kind == '5' || kind == '6') {
        t.number(file, "width", w);
        t.number(file, "height", h);
        t.number(file, "maxval", maxval);
        depth = kind == '5' ? 1 : 3;
        ++t.i;  // the one whitespace byte before the samples
    } else if (kind == '7') {
        std::string tok;
        for (;;) {
            if (!t.token(tok)) fail(file, "truncated PAM header (no ENDHDR)");
            if (tok == "ENDHDR") break;
            if (tok == "WIDTH") t.number(file, "width", w);
            else if (tok == "HEIGHT") t.number(file, "height", h);
            else if (tok == "DEPTH") t.number(file, "depth", depth);
            else if (tok == "MAXVAL") t.number(file, "maxval", maxval);
            else if (tok == "TUPLTYPE") t.token(tupl);
            else fail(file, "unknown PAM header field '" + tok + "'");
        }
        while (t.i < b.size() && b[t.i] != '\n') ++t.i;
        ++t.i;
    } else {
        fail(file, "not a PNM file");
    }
    checkSize(w, h, file);
    if (maxval < 1 || maxval > 65535) fail(file, "bad maxval " + std::to_string(maxval));
    if (!anyMaxval && maxval != 255 && maxval != 65535)
        fail(file, "maxval " + std::to_string(maxval) + " is not supported (255 or 65535)");
    const bool wide = maxval > 255;
    int fmt;
    switch (depth) {
    case 1: fmt = wide ? celFmt_GRAY16 : celFmt_GRAY8; break;
    case 3: fmt = wide ? celFmt_RGB48 : celFmt_RGB24; break;
    case 4: fmt = wide ? celFmt_RGBA64 : celFmt_RGBA; break;
    default: fail(file, "PAM depth " + std::to_string(depth) + " is not supported (1, 3 or 4)");
    }
    Picture p;
    p.alloc(fmt, int(w), int(h), file);
    if (t.i > b.size() || b.size() - t.i < p.bytes())
        fail(file, "truncated: " + std::to_string(b.size() - std::min(b.size(), t.i)) + " bytes of samples, " +
                       std::to_string(p.bytes()) + " needed");
    std::memcpy(p.data.data(), b.data() + t.i, p.bytes());
    if (wide) swap16(p.data.data(), p.bytes());
    return p;
}

bool pnmCanHold(int f) { return pngCanHold(f); }

std::vector<uint8_t> encodePnm(const Picture& p, const std::string& file) {
    if (!pnmCanHold(p.format)) fail(file, "PNM cannot hold " + formatName(p.format));
    const CelFmtFormat& f = p.info();
    const int maxval = p.format == celFmt_GRAY10 ? 1023 : f.sampleBytes == 2 ? 65535 : 255;  // 10-bit gray as it stands
    char head[160];
    if (f.channels == 4)
        std::snprintf(head, sizeof head, "P7\nWIDTH %d\nHEIGHT %d\nDEPTH 4\nMAXVAL %d\nTUPLTYPE RGB_ALPHA\nENDHDR\n",
                      p.width, p.height, maxval);
    else
        std::snprintf(head, sizeof head, "P%c\n%d %d\n%d\n", f.channels == 1 ? '5' : '6', p.width, p.height, maxval);
    std::vector<uint8_t> out(head, head + std::strlen(head));
    const size_t at = out.size();
    out.insert(out.end(), p.data.begin(), p.data.end());
    if (f.sampleBytes == 2) swap16(out.data() + at, p.bytes());
    return out;
}

// ---- Y4M ---------------------------------------------------------------------------------

namespace {
struct Y4mTag {
    const char* tag;
    int format;
};
const Y4mTag kY4mTags[] = {{"420jpeg", celFmt_I420}, {"420paldv", celFmt_I420}, {"420mpeg2", celFmt_I420},
                           {"420", celFmt_I420},     {"422", celFmt_I422},      {"444", celFmt_I444},
                           {"411", celFmt_I411},     {"mono", celFmt_GRAY8}};

class Y4mSource : public Source {
public:
    Y4mSource(const std::string& name) {
        file = name;
        f_ = std::fopen(name.c_str(), "rb");
        if (!f_) fail(name, std::string("cannot open: ") + std::strerror(errno));
        std::string header;
        int c;
        while ((c = std::fgetc(f_)) != EOF && c != '\n' && header.size() < 1024) header.push_back(char(c));
        if (c != '\n') fail(name, "truncated or overlong Y4M header");
        int64_t w = 0, h = 0;
        int matrix = 0;  // BT.601, BT.709, BT.709 full scale
        std::string ctag = "420jpeg";
        size_t i = 9;
        while (i < header.size()) {
            while (i < header.size() && header[i] == ' ') ++i;
            size_t j = header.find(' ', i);
            if (j == std::string::npos) j = header.size();
            const std::string tok = header.substr(i, j - i);
            i = j;
            if (tok.empty()) continue;
            const std::string v = tok.substr(1);
            auto num = [&](int64_t& out) {
                if (v.empty() || v.size() > 9 || v.find_first_not_of("0123456789") != std::string::npos)
                    fail(name, "bad Y4M header field '" + tok + "'");
                out = std::stoll(v);
            };
            if (tok[0] == 'F' || tok[0] == 'I' || tok[0] == 'A') tags_ += (tags_.empty() ? "" : " ") + tok;
            if (tok == "It" || tok == "Ib") interlaced_ = true;
            if (tok == "Im") mixed_ = true;
            if (tok[0] == 'W') num(w);
            else if (tok[0] == 'H') num(h);
            else if (tok[0] == 'C') ctag = v;
            else if (tok == "XCOLORMATRIX=BT709") matrix = 1;
            else if (tok == "XCOLORMATRIX=BT709HDTV") matrix = 2;
        }
        checkSize(w, h, name);
        format_ = -1;
        for (const Y4mTag& t : kY4mTags)
            if (ctag == t.tag) format_ = t.format;
        if (format_ < 0)
            fail(name, "Y4M colour space C" + ctag + " is not supported (8-bit 444, 422, 420, 411 and mono)");
        if (matrix == 1 && (format_ == celFmt_I420 || format_ == celFmt_I444))
            format_ = format_ == celFmt_I420 ? celFmt_I420_709 : celFmt_I444_709;
        else if (matrix == 2 && format_ == celFmt_I420)
            format_ = celFmt_I420_709HDTV;
        else if (matrix)
            fail(name, "XCOLORMATRIX=BT709" + std::string(matrix == 2 ? "HDTV" : "") + " with C" + ctag +
                           ": the library has no such form (BT.709: 420 and 444; full scale: 420)");
        width_ = int(w);
        height_ = int(h);
        frameBytes_ = celccfmt_image_bytes(format_, width_, height_);
        struct stat st;
        const long pos = std::ftell(f_);
        if (::stat(name.c_str(), &st) == 0 && pos >= 0)
            count_ = (int64_t(st.st_size) - pos) / (frameBytes_ + 6);
    }
    ~Y4mSource() override {
        if (f_) std::fclose(f_);
    }
    int64_t frameCount() const override { return count_ < 1 ? 1 : count_; }
    bool next(Picture& out) override {
        char head[6];
        const size_t n = std::fread(head, 1, 5, f_);
        if (n == 0 && index_ > 0) return false;
        if (n < 5 || std::memcmp(head, "FRAME", 5) != 0)
            fail(file, n == 0 ? "no frame" : "frame " + std::to_string(index_ + 1) + ": no FRAME marker");
        int c;
        std::string params;
        while ((c = std::fgetc(f_)) != EOF && c != '\n')
            if (params.size() > 1024)
                fail(file, "frame " + std::to_string(index_ + 1) + ": overlong frame header");
            else
                params.push_back(char(c));
        if (c != '\n') fail(file, "frame " + std::to_string(index_ + 1) + " is truncated");
        out.alloc(format_, width_, height_, file);
        out.y4mTags = tags_;
        out.y4mFrame = frameInterlace(params, out.interlaced);
        if (std::fread(out.data.data(), 1, out.bytes(), f_) != out.bytes())
            fail(file, "frame " + std::to_string(index_ + 1) + " is truncated");
        ++index_;
        return true;
    }

private:
    // The I parameter of a frame header ("Ixyz": presentation, temporal and
    // chroma sampling).  In a mixed stream (Im) the frame is interlaced when
    // its chroma sampling z is 'i', or, where z is '?' or missing, its
    // temporal sampling y; a frame without one is progressive.  It and Ib
    // streams are interlaced throughout, Ip (or no I tag) progressive.  The
    // parameters go back on the output's FRAME line.
    std::string frameInterlace(const std::string& params, bool& interlaced) const {
        std::string tag;
        for (size_t i = 0; i < params.size(); ++i)
            if (params[i] == 'I' && (i == 0 || params[i - 1] == ' ')) tag = params.substr(i, params.find(' ', i) - i);
        const char z = tag.size() >= 4 ? tag[3] : '?', y = tag.size() >= 3 ? tag[2] : 'p';
        interlaced = mixed_ ? (z == '?' ? y : z) == 'i' : interlaced_;
        const size_t first = params.find_first_not_of(' ');
        return first == std::string::npos ? std::string() : params.substr(first);
    }

    FILE* f_ = nullptr;
    std::string tags_;
    bool interlaced_ = false, mixed_ = false;
    int format_ = -1, width_ = 0, height_ = 0;
    int64_t frameBytes_ = 0, count_ = 1, index_ = 0;
};

class RawSource : public Source {
public:
    RawSource(const std::string& name, const RawSpec& raw) : spec_(raw) {
        file = name;
        if (raw.format < 0 || raw.width <= 0)
            fail(name, "a raw file needs --size WxH and --pix-fmt (e.g. --size 640x480 --pix-fmt i420)");
        checkSize(raw.width, raw.height, name);
        frameBytes_ = celccfmt_image_bytes(raw.format, raw.width, raw.height);
        f_ = std::fopen(name.c_str(), "rb");
        if (!f_) fail(name, std::string("cannot open: ") + std::strerror(errno));
        struct stat st;
        if (::fstat(fileno(f_), &st) != 0) fail(name, "cannot read its size");
        const int64_t size = st.st_size;
        if (size == 0) fail(name, "empty file");
        if (size % frameBytes_ != 0)
            fail(name, std::to_string(size) + " bytes is not a whole number of " + std::to_string(raw.width) + "x" +
                           std::to_string(raw.height) + " " + formatName(raw.format) + " frames (" +
                           std::to_string(frameBytes_) + " bytes each)");
        count_ = size / frameBytes_;
    }
    ~RawSource() override {
        if (f_) std::fclose(f_);
    }
    int64_t frameCount() const override { return count_; }
    bool next(Picture& out) override {
        if (index_ >= count_) return false;
        out.alloc(spec_.format, spec_.width, spec_.height, file);
        if (std::fread(out.data.data(), 1, out.bytes(), f_) != out.bytes())
            fail(file, "frame " + std::to_string(index_ + 1) + " is truncated");
        ++index_;
        return true;
    }

private:
    RawSpec spec_;
    FILE* f_ = nullptr;
    int64_t frameBytes_ = 0, count_ = 0, index_ = 0;
};
}  // namespace

std::unique_ptr<Source> openY4m(const std::string& file) { return std::make_unique<Y4mSource>(file); }
std::unique_ptr<Source> openRaw(const std::string& file, const RawSpec& raw) {
    return std::make_unique<RawSource>(file, raw);
}

bool y4mCanHold(int f) {
    return f == celFmt_I420 || f == celFmt_I422 || f == celFmt_I444 || f == celFmt_I411 || f == celFmt_GRAY8 ||
           f == celFmt_I420_709 || f == celFmt_I444_709 || f == celFmt_I420_709HDTV;
}

std::string y4mHeader(const Picture& p, const std::string& file) {
    const char* tag = nullptr;
    std::string matrix;  // BT.709 forms say so in an X parameter
    switch (p.format) {
    case celFmt_I420_709: matrix = " XCOLORMATRIX=BT709"; [[fallthrough]];
    case celFmt_I420: tag = "420jpeg"; break;
    case celFmt_I420_709HDTV: tag = "420jpeg", matrix = " XCOLORMATRIX=BT709HDTV"; break;
    case celFmt_I422: tag = "422"; break;
    case celFmt_I444_709: matrix = " XCOLORMATRIX=BT709"; [[fallthrough]];
    case celFmt_I444: tag = "444"; break;
    case celFmt_I411: tag = "411"; break;
    case celFmt_GRAY8: tag = "mono"; break;
    default: fail(file, "Y4M cannot hold " + formatName(p.format) + " (I420, I422, I444, I411 or GRAY8)");
    }
    const std::string tags = p.y4mTags.empty() ? "F25:1 Ip A1:1" : p.y4mTags;
    return "YUV4MPEG2 W" + std::to_string(p.width) + " H" + std::to_string(p.height) + " " + tags + " C" + tag + matrix +
           "\n";
}

}  // namespace celcli
