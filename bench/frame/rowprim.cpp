// The internal copy and fill primitives on large blocks beside memcpy and
// memset: a 1920x1080x4 image copy and fill, and a 64 MiB vector copy.
// Copies do not look at the bytes; they are the photograph's as BGRA
// (common/content.h), mirrored to the size.
#include <benchmark/benchmark.h>

#include <cstring>

#include "common/bench_util.h"
#include "common/content.h"
#include "frame/rowprim.h"

namespace {

using celbench::Frame;

void BM_ImageCopy(benchmark::State& state, Frame f) {
    const int w = 4 * f.width;
    const auto src = celbench::bgraOf(celbench::contentRGB("photo", f));
    std::vector<uint8_t> dst(src.size());
    for (auto _ : state) {
        y8_celiCopy_8u_C1R(src.data(), w, dst.data(), w, {w, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size());
}

void BM_Memcpy(benchmark::State& state, Frame f) {
    const auto src = celbench::bgraOf(celbench::contentRGB("photo", f));
    std::vector<uint8_t> dst(src.size());
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), src.size());
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size());
}

// 64 MiB of the photograph's bytes.
std::vector<uint8_t> photo64M() {
    auto v = celbench::contentRGB("photo", Frame{8192, 2731});
    v.resize(size_t(64) << 20);
    return v;
}

void BM_ImageFill(benchmark::State& state, Frame f) {
    const int w = 4 * f.width;
    std::vector<uint8_t> dst(size_t(w) * f.height);
    for (auto _ : state) {
        y8_celiSet_8u_C1R(0x5A, dst.data(), w, {w, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, dst.size());
}

void BM_Memset(benchmark::State& state, Frame f) {
    std::vector<uint8_t> dst(size_t(4) * f.width * f.height);
    for (auto _ : state) {
        std::memset(dst.data(), 0x5A, dst.size());
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, dst.size());
}

void BM_VectorCopy64M(benchmark::State& state) {
    const int n = 64 << 20;
    const auto src = photo64M();
    std::vector<uint8_t> dst(n);
    for (auto _ : state) {
        y8_celsCopy_8u(src.data(), dst.data(), n);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(2) * n * state.iterations());
}

void BM_Memcpy64M(benchmark::State& state) {
    const int n = 64 << 20;
    const auto src = photo64M();
    std::vector<uint8_t> dst(n);
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), n);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(2) * n * state.iterations());
}

void registerAll() {
    const std::initializer_list<Frame> hd = {celbench::kHD};
    celbench::registerAtSizes("y8_celiCopy_8u_C1R_C4bytes", BM_ImageCopy, hd);
    celbench::registerAtSizes("memcpy_C4bytes", BM_Memcpy, hd);
    celbench::registerAtSizes("y8_celiSet_8u_C1R_C4bytes", BM_ImageFill, hd);
    celbench::registerAtSizes("memset_C4bytes", BM_Memset, hd);
    benchmark::RegisterBenchmark("y8_celsCopy_8u/64MiB", BM_VectorCopy64M);
    benchmark::RegisterBenchmark("memcpy/64MiB", BM_Memcpy64M);
}

const int registered = (registerAll(), 0);

}  // namespace
