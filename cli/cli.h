// celcc, the command-line front end: shared declarations.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "celcc.h"
#include "celcc_formats.h"

namespace celcli {

// One line for the user: "FILE: problem".  Thrown anywhere below a command.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};
[[noreturn]] void fail(const std::string& file, const std::string& problem);

// Largest image the tool accepts: each side and the pixel count.
constexpr int64_t kMaxSide = 1 << 16;
constexpr int64_t kMaxPixels = int64_t(1) << 28;

// A picture of one format, planes tightly packed in one buffer.
struct Picture {
    int format = -1;
    int width = 0;
    int height = 0;
    std::vector<uint8_t> data;
    std::string y4mTags;  // frame rate, interlacing and aspect of a Y4M source ("F25:1 Ip A1:1")
    std::string y4mFrame;  // a Y4M frame's own parameters ("Itpi"), written back on its FRAME line
    bool interlaced = false;  // two fields (Y4M It, Ib, or an Im frame whose I parameter says so)

    void alloc(int fmt, int w, int h, const std::string& file);  // checks the size, zero-fills
    CelFmtImage image() const;                                    // planes on data
    const CelFmtFormat& info() const { return *celccfmt_format(format); }
    size_t bytes() const { return data.size(); }
};
std::string formatName(int fmt);
void checkSize(int64_t w, int64_t h, const std::string& file);

// ---- Reading ---------------------------------------------------------------------

// How a raw input is to be read (from --size, --pix-fmt, --depth).
struct RawSpec {
    int width = 0, height = 0;
    int format = -1;
    int retag = -1;  // a decoded PNG/PNM/JPEG picture holds this format's samples (--in-pix-fmt hsv24, ...)
};

// A file's frames, one after the other.
class Source {
public:
    virtual ~Source() = default;
    virtual bool next(Picture& out) = 0;  // false at the end
    virtual int64_t frameCount() const { return 1; }
    std::string file;
};
enum class Kind { Unknown, Png, Jpeg, Pnm, Y4m, Raw, Camera, Npy };
Kind kindOfInput(const std::string& file);  // by content, then by name
Kind kindOfOutput(const std::string& file); // by name
std::unique_ptr<Source> openSource(const std::string& file, const RawSpec& raw);

// Readers of single images.
Picture readPng(const std::string& file);
Picture readJpeg(const std::string& file);
Picture readPnm(const std::string& file, bool anyMaxval);
std::unique_ptr<Source> openY4m(const std::string& file);
std::unique_ptr<Source> openRaw(const std::string& file, const RawSpec& raw);
// A NumPy .npy array as a picture of `format`, or, with format -1, of the
// one-plane format its dtype and shape name (gray, RGB, RGBA).
Picture readNpy(const std::string& file, int format);
bool cameraRawSupported();
// Camera raw through LibRaw: the visible sensor area as GRAY16 with black and
// white levels applied (0..65535), and the Bayer grid of its first pixel.
Picture readCameraRaw(const std::string& file, CelBayerGrid* grid);

// ---- Writing -----------------------------------------------------------------------

// An output file written to a temporary name and renamed into place by
// commit(); dropped without a trace otherwise.
class OutputFile {
public:
    OutputFile(const std::string& path, bool force);
    ~OutputFile();
    void write(const void* data, size_t n);
    void finish();  // all bytes on disk, under the temporary name
    void commit();
    const std::string& path() const { return path_; }

private:
    std::string path_, temp_;
    int fd_ = -1, slot_ = -1;
    bool force_, done_ = false;
};

// Encoders into a byte string (the file is written atomically by the caller).
std::vector<uint8_t> encodePng(const Picture& p, const std::string& file);
std::vector<uint8_t> encodePnm(const Picture& p, const std::string& file);
std::string y4mHeader(const Picture& p, const std::string& file);
std::vector<uint8_t> encodeNpy(const Picture& p, const std::string& file);
bool npyCanHold(int format);
bool pngCanHold(int format);
bool pnmCanHold(int format);
bool y4mCanHold(int format);

// A sink of frames for one output name: Y4M and raw files take every frame;
// image formats write one file per frame (name-0001.png, ...) when there are
// several.
class Sink {
public:
    Sink(const std::string& path, Kind kind, bool force, int64_t frames);
    ~Sink();
    void put(const Picture& p);
    void commit();
    std::vector<std::string> written() const;

private:
    std::string path_;
    Kind kind_;
    bool force_;
    int64_t frames_, index_ = 0;
    std::unique_ptr<OutputFile> stream_;
    std::vector<std::unique_ptr<OutputFile>> files_;
};
void refuseExisting(const std::string& path, bool force);

// ---- Running -------------------------------------------------------------------------

// Runs fn(i) for i in [0, n) on `jobs` threads; the first failure (by index)
// is rethrown after all have stopped.
void parallelFor(int64_t n, int jobs, const std::function<void(int64_t)>& fn);

// Progress: a bar on a terminal, plain lines otherwise.
class Progress {
public:
    Progress(int64_t total, const char* unit, bool quiet);
    ~Progress();
    void done(const std::string& line);

private:
    int64_t total_, count_ = 0;
    const char* unit_;
    bool tty_, quiet_;
};

// Converts with the table and reports (verbose) the exports it called.
// Throws a Failure naming the file when the table or the library refuses.
// `prefer`: take a route through an export whose name contains it where one
// exists (celccfmt_route_prefer); empty: the default route.
void convertPicture(const Picture& in, Picture& out, const std::string& file, bool verbose,
                    const std::string& prefer = "");

// One line to stderr, whole, even from several threads.
void say(const std::string& line);

// ---- Commands --------------------------------------------------------------------------

struct ConvertOptions {
    std::vector<std::string> inputs;
    std::string output, outDir, to, pixFmt, inPixFmt, outPixFmt, size;
    std::string gamma;  // "fwd", "inv" or empty: the BT.709 transfer curve on the RGB side
    std::string matrix;  // bt601|bt709|bt709-hdtv: the YCbCr matrix; or a file or "a b c d; ...": a colour twist on the RGB side
    int jobs = 1;
    bool force = false, verbose = false, quiet = false, crop = false;
    bool chromaFilter = false;  // 4:2:0 to 4:2:2 through the four-tap filtered exports
    bool interlaced = false;    // every picture interlaced: 4:2:0 <-> 4:2:2 field by field
};
int runConvert(const ConvertOptions& o);

struct DemosaicOptions {
    std::string input, output, pattern, method = "bilinear", size;
    std::string gains;  // "R,G,B", for the methods that apply gains (vng)
    int depth = 0;      // raw dumps: 8 or 16; output: 8 or 16 (0 = as the input)
    int outDepth = 0;
    bool force = false, verbose = false;
};
int runDemosaic(const DemosaicOptions& o);
std::vector<std::string> demosaicMethodNames();

struct MosaicOptions {
    std::string input, output, pattern = "rggb";
    bool force = false;
};
int runMosaic(const MosaicOptions& o);

struct DitherOptions {
    std::string input, output, method;  // empty: ordered, or none for one bit
    int levels = 0, noise = 0;
    int bits = 0;         // 1: one bit a pixel (PBM) through celiReduceBits_8u1u_C1R; 0: as the input
    int threshold = 127;  // one bit: set where the gray sample is above it
    bool force = false, verbose = false;
};
int runDither(const DitherOptions& o);
int runDitherOneBit(const DitherOptions& o, CelDitherMode mode);

struct ToneMapOptions {
    std::string input, output;
    bool linear = false, mean = false, force = false, verbose = false;
};
int runToneMap(const ToneMapOptions& o);

// Images of the commands: PNG, JPEG or PNM in; PNG or PNM out, atomically.
Picture readImage(const std::string& file, bool anyMaxval);
void writeImage(const Picture& p, const std::string& path, bool force);
std::vector<std::string> ditherMethodNames();

int runList(const std::string& pattern, bool formats, bool edges);
int runRoute(const std::string& from, const std::string& to);
int runBench(const std::string& pattern, const std::string& size, double seconds);

bool parseSize(const std::string& s, int* w, int* h);
bool globMatch(const std::string& pattern, const std::string& name);  // substring or glob, any case

}  // namespace celcli
