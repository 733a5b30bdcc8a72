// Pictures, output files, threads, progress and the call into the table.
#include <fcntl.h>
#include <signal.h>
#include <fnmatch.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <exception>
#include <mutex>
#include <thread>

#include "cli.h"

namespace celcli {

void fail(const std::string& file, const std::string& problem) { throw Failure(file + ": " + problem); }

std::string formatName(int fmt) {
    const CelFmtFormat* f = celccfmt_format(fmt);
    return f ? f->name : "?";
}

void checkSize(int64_t w, int64_t h, const std::string& file) {
    if (w < 1 || h < 1)
        fail(file, "image size " + std::to_string(w) + "x" + std::to_string(h) + " is empty");
    if (w > kMaxSide || h > kMaxSide || w * h > kMaxPixels)
        fail(file, "image size " + std::to_string(w) + "x" + std::to_string(h) + " is too large (at most " +
                       std::to_string(kMaxSide) + " a side and " + std::to_string(kMaxPixels) + " pixels)");
}

void Picture::alloc(int fmt, int w, int h, const std::string& file) {
    checkSize(w, h, file);
    const int64_t n = celccfmt_image_bytes(fmt, w, h);
    if (n <= 0) fail(file, "cannot lay out a " + formatName(fmt) + " image");
    format = fmt;
    width = w;
    height = h;
    data.assign(size_t(n), 0);
}

CelFmtImage Picture::image() const {
    CelFmtImage im{};
    celccfmt_image_layout(format, width, height, const_cast<uint8_t*>(data.data()), &im);
    return im;
}

void say(const std::string& line) {
    static std::mutex m;
    std::lock_guard<std::mutex> lock(m);
    std::fprintf(stderr, "%s\n", line.c_str());
}

bool parseSize(const std::string& s, int* w, int* h) {
    const size_t x = s.find_first_of("xX");
    if (x == std::string::npos || x == 0 || x + 1 >= s.size()) return false;
    for (size_t i = 0; i < s.size(); ++i)
        if (i != x && !(s[i] >= '0' && s[i] <= '9')) return false;
    if (x > 9 || s.size() - x - 1 > 9) return false;
    *w = std::stoi(s.substr(0, x));
    *h = std::stoi(s.substr(x + 1));
    return true;
}

bool globMatch(const std::string& pattern, const std::string& name) {
    if (pattern.empty()) return true;
    if (pattern.find_first_of("*?[") != std::string::npos)
        return fnmatch(pattern.c_str(), name.c_str(), FNM_CASEFOLD) == 0;
    std::string a = pattern, b = name;
    std::transform(a.begin(), a.end(), a.begin(), ::tolower);
    std::transform(b.begin(), b.end(), b.begin(), ::tolower);
    return b.find(a) != std::string::npos;
}

// ---- The conversion ---------------------------------------------------------------

void convertPicture(const Picture& in, Picture& out, const std::string& file, bool verbose, const std::string& prefer) {
    const CelFmtImage s = in.image(), d = out.image();
    CelFmtReport rep{};
    const int st = celccfmt_convert_prefer(&s, &d, prefer.c_str(), &rep);
    if (verbose) {
        char route[512];
        celccfmt_route_text_prefer(in.format, out.format, prefer.c_str(), route, sizeof route);
        std::string line = file + ": " + route;
        for (int i = 0; i < rep.count; ++i)
            line += std::string("\n  ") + rep.call[i].exportName + ": " + celccfmt_status_name(rep.call[i].status);
        say(line);
    }
    if (st == celFmtNoRoute)
        fail(file, "the library cannot convert " + formatName(in.format) + " to " + formatName(out.format) +
                       " (no export or pair of exports does it; see `celcc list --edges`)");
    if (st < 0) {
        std::string who = rep.count ? std::string(rep.call[rep.count - 1].exportName) + " returned " : "";
        fail(file, who + celccfmt_status_name(st));
    }
    if (st > 0 && !verbose) {
        for (int i = 0; i < rep.count; ++i)
            if (rep.call[i].status > 0)
                say("celcc: " + file + ": warning: " + rep.call[i].exportName + " returned " +
                    celccfmt_status_name(rep.call[i].status));
    }
}

// ---- Threads and progress ------------------------------------------------------------

void parallelFor(int64_t n, int jobs, const std::function<void(int64_t)>& fn) {
    if (n <= 0) return;
    jobs = int(std::max<int64_t>(1, std::min<int64_t>(jobs, n)));
    std::atomic<int64_t> next{0};
    std::mutex m;
    int64_t failedAt = -1;
    std::exception_ptr error;
    auto worker = [&] {
        for (;;) {
            const int64_t i = next.fetch_add(1);
            if (i >= n) return;
            try {
                fn(i);
            } catch (...) {
                std::lock_guard<std::mutex> lock(m);
                if (failedAt < 0 || i < failedAt) failedAt = i, error = std::current_exception();
            }
        }
    };
    if (jobs == 1) {
        worker();
    } else {
        std::vector<std::thread> pool;
        for (int t = 0; t < jobs; ++t) pool.emplace_back(worker);
        for (auto& t : pool) t.join();
    }
    if (error) std::rethrow_exception(error);
}

Progress::Progress(int64_t total, const char* unit, bool quiet)
    : total_(total), unit_(unit), tty_(isatty(2) != 0), quiet_(quiet) {}

Progress::~Progress() {
    if (tty_ && !quiet_ && count_ > 0) std::fprintf(stderr, "\n");
}

void Progress::done(const std::string& line) {
    static std::mutex m;
    std::lock_guard<std::mutex> lock(m);
    ++count_;
    if (quiet_) return;
    if (!tty_) {
        std::fprintf(stderr, "celcc: [%lld/%lld] %s\n", (long long)count_, (long long)total_, line.c_str());
        return;
    }
    const int width = 30;
    const int filled = total_ > 0 ? int(count_ * width / total_) : width;
    std::string bar(size_t(filled), '#');
    bar.resize(width, '.');
    std::fprintf(stderr, "\r[%s] %lld/%lld %s", bar.c_str(), (long long)count_, (long long)total_, unit_);
    std::fflush(stderr);
}

// ---- Output files ----------------------------------------------------------------------

// Temporary files open at this moment, removed when a signal ends the tool.
namespace {
constexpr int kSlots = 128;
char gTemps[kSlots][4096];
volatile sig_atomic_t gUsed[kSlots];
std::mutex gTempsLock;

void onSignal(int sig) {
    for (int i = 0; i < kSlots; ++i)
        if (gUsed[i]) ::unlink(gTemps[i]);
    ::signal(sig, SIG_DFL);
    ::raise(sig);
}

int remember(const std::string& temp) {
    static bool installed = [] {
        for (int s : {SIGINT, SIGTERM, SIGHUP}) ::signal(s, onSignal);
        return true;
    }();
    (void)installed;
    if (temp.size() >= sizeof gTemps[0]) return -1;
    std::lock_guard<std::mutex> lock(gTempsLock);
    for (int i = 0; i < kSlots; ++i)
        if (!gUsed[i]) {
            std::memcpy(gTemps[i], temp.c_str(), temp.size() + 1);
            gUsed[i] = 1;
            return i;
        }
    return -1;
}

void forget(int slot) {
    if (slot < 0) return;
    std::lock_guard<std::mutex> lock(gTempsLock);
    gUsed[slot] = 0;
}
}  // namespace

void refuseExisting(const std::string& path, bool force) {
    struct stat st;
    if (!force && ::stat(path.c_str(), &st) == 0) fail(path, "exists (use --force to overwrite)");
}

OutputFile::OutputFile(const std::string& path, bool force) : path_(path), force_(force) {
    refuseExisting(path, force);
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : path.substr(0, slash);
    const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
    temp_ = dir + "/." + base + ".celcc-XXXXXX";
    std::vector<char> name(temp_.begin(), temp_.end());
    name.push_back('\0');
    fd_ = mkstemp(name.data());
    if (fd_ < 0) fail(path, std::string("cannot create a file in ") + dir + ": " + std::strerror(errno));
    temp_ = name.data();
    slot_ = remember(temp_);
    // The mode an ordinary new file gets.  The umask is read once, under the
    // guard of the static's initialisation, so no thread sees it set to 0.
    static const mode_t mask = [] {
        const mode_t m = umask(0);
        umask(m);
        return m;
    }();
    fchmod(fd_, 0644 & ~mask);
}

OutputFile::~OutputFile() {
    if (fd_ >= 0) ::close(fd_);
    if (!done_) ::unlink(temp_.c_str());
    forget(slot_);
}

void OutputFile::write(const void* data, size_t n) {
    const uint8_t* p = static_cast<const uint8_t*>(data);
    while (n > 0) {
        const ssize_t w = ::write(fd_, p, n);
        if (w < 0) {
            if (errno == EINTR) continue;
            fail(path_, std::string("cannot write: ") + std::strerror(errno));
        }
        p += w;
        n -= size_t(w);
    }
}

void OutputFile::finish() {
    if (fd_ < 0) return;
    const bool ok = ::fsync(fd_) == 0;
    const bool closed = ::close(fd_) == 0;
    fd_ = -1;
    if (!ok || !closed) fail(path_, std::string("cannot write: ") + std::strerror(errno));
}

void OutputFile::commit() {
    finish();
    if (!force_) {
        // Publish without replacing a file that appeared meanwhile.
        if (::link(temp_.c_str(), path_.c_str()) != 0) {
            if (errno == EEXIST) fail(path_, "exists (use --force to overwrite)");
            if (::rename(temp_.c_str(), path_.c_str()) != 0)
                fail(path_, std::string("cannot rename into place: ") + std::strerror(errno));
        } else {
            ::unlink(temp_.c_str());
        }
    } else if (::rename(temp_.c_str(), path_.c_str()) != 0) {
        fail(path_, std::string("cannot rename into place: ") + std::strerror(errno));
    }
    done_ = true;
}

// ---- Kinds of files ---------------------------------------------------------------------

namespace {
std::string lowerExt(const std::string& file) {
    const size_t dot = file.rfind('.'), slash = file.rfind('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    std::string e = file.substr(dot + 1);
    std::transform(e.begin(), e.end(), e.begin(), ::tolower);
    return e;
}
bool isCameraExt(const std::string& e) {
    static const char* exts[] = {"dng", "cr2", "cr3", "crw", "nef", "nrw", "arw", "srf", "sr2", "raf", "orf",
                                 "rw2", "pef", "srw", "x3f", "kdc", "dcr", "mrw", "3fr", "iiq", "erf", "mef"};
    for (const char* x : exts)
        if (e == x) return true;
    return false;
}
}  // namespace

Kind kindOfOutput(const std::string& file) {
    const std::string e = lowerExt(file);
    if (e == "png") return Kind::Png;
    if (e == "pgm" || e == "ppm" || e == "pnm" || e == "pam") return Kind::Pnm;
    if (e == "y4m") return Kind::Y4m;
    if (e == "npy") return Kind::Npy;
    if (e == "yuv" || e == "raw" || e == "bin" || celccfmt_format_find(e.c_str()) >= 0) return Kind::Raw;
    return Kind::Unknown;
}

Kind kindOfInput(const std::string& file) {
    FILE* f = std::fopen(file.c_str(), "rb");
    if (!f) fail(file, std::string("cannot open: ") + std::strerror(errno));
    unsigned char m[10] = {0};
    const size_t n = std::fread(m, 1, sizeof m, f);
    const int readError = std::ferror(f) ? errno : 0;
    std::fclose(f);
    if (readError) fail(file, std::string("cannot read: ") + std::strerror(readError));
    const std::string e = lowerExt(file);
    if (n >= 8 && std::memcmp(m, "\x89PNG\r\n\x1a\n", 8) == 0) return Kind::Png;
    if (n >= 3 && m[0] == 0xFF && m[1] == 0xD8 && m[2] == 0xFF) return Kind::Jpeg;
    if (n >= 2 && m[0] == 'P' && m[1] >= '1' && m[1] <= '7') return Kind::Pnm;
    if (n >= 9 && std::memcmp(m, "YUV4MPEG2", 9) == 0) return Kind::Y4m;
    if (n >= 6 && std::memcmp(m, "\x93NUMPY", 6) == 0) return Kind::Npy;
    if (isCameraExt(e)) return Kind::Camera;
    if (n >= 4 && (std::memcmp(m, "II*\0", 4) == 0 || std::memcmp(m, "MM\0*", 4) == 0)) return Kind::Camera;
    if (e == "yuv" || e == "raw" || e == "bin" || celccfmt_format_find(e.c_str()) >= 0) return Kind::Raw;
    return Kind::Unknown;
}

namespace {
class OnePicture : public Source {
public:
    explicit OnePicture(Picture p) : p_(std::move(p)) {}
    bool next(Picture& out) override {
        if (used_) return false;
        used_ = true;
        out = std::move(p_);
        return true;
    }

private:
    Picture p_;
    bool used_ = false;
};
}  // namespace

std::unique_ptr<Source> openSource(const std::string& file, const RawSpec& raw) {
    const Kind k = kindOfInput(file);
    if (k != Kind::Raw && raw.format >= 0 && raw.width > 0)
        fail(file, "--size and --pix-fmt describe raw files; this file says its own size and format");
    std::unique_ptr<Source> s;
    switch (k) {
    case Kind::Png: s = std::make_unique<OnePicture>(readPng(file)); break;
    case Kind::Jpeg: s = std::make_unique<OnePicture>(readJpeg(file)); break;
    case Kind::Pnm: s = std::make_unique<OnePicture>(readPnm(file, false)); break;
    case Kind::Y4m: s = openY4m(file); break;
    case Kind::Raw: s = openRaw(file, raw); break;
    case Kind::Npy: s = std::make_unique<OnePicture>(readNpy(file, raw.format)); break;
    case Kind::Camera: fail(file, "a camera raw file is a mosaic: use `celcc demosaic`");
    default: fail(file, "unknown input format (expected PNG, JPEG, PNM/PAM, Y4M, or raw YUV with --size and --pix-fmt)");
    }
    s->file = file;
    return s;
}

// ---- Sinks -----------------------------------------------------------------------------

Sink::Sink(const std::string& path, Kind kind, bool force, int64_t frames)
    : path_(path), kind_(kind), force_(force), frames_(frames) {
    if (kind_ == Kind::Y4m || kind_ == Kind::Raw) stream_ = std::make_unique<OutputFile>(path, force);
    else if (frames_ <= 1) refuseExisting(path, force);
}

Sink::~Sink() = default;

void Sink::put(const Picture& p) {
    if (kind_ == Kind::Y4m) {
        if (index_ == 0) {
            const std::string h = y4mHeader(p, path_);
            stream_->write(h.data(), h.size());
        }
        const std::string frame = p.y4mFrame.empty() ? "FRAME\n" : "FRAME " + p.y4mFrame + "\n";
        stream_->write(frame.data(), frame.size());
        stream_->write(p.data.data(), p.data.size());
    } else if (kind_ == Kind::Raw) {
        stream_->write(p.data.data(), p.data.size());
    } else {
        std::string name = path_;
        if (frames_ > 1) {
            char num[32];
            std::snprintf(num, sizeof num, "-%04lld", (long long)index_ + 1);
            const size_t dot = name.rfind('.');
            name.insert(dot == std::string::npos ? name.size() : dot, num);
        }
        const std::vector<uint8_t> bytes = kind_ == Kind::Png   ? encodePng(p, name)
                                           : kind_ == Kind::Npy ? encodeNpy(p, name)
                                                                : encodePnm(p, name);
        files_.push_back(std::make_unique<OutputFile>(name, force_));
        files_.back()->write(bytes.data(), bytes.size());
        files_.back()->finish();
    }
    ++index_;
}

void Sink::commit() {
    if (index_ == 0) fail(path_, "no frame to write");
    if (stream_) stream_->commit();
    for (auto& f : files_) f->commit();
}

std::vector<std::string> Sink::written() const {
    std::vector<std::string> v;
    if (stream_) v.push_back(stream_->path());
    for (auto& f : files_) v.push_back(f->path());
    return v;
}

}  // namespace celcli
