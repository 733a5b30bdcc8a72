// Shared pieces of the benchmarks: frame sizes, random buffers, counters.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace celbench {

struct Frame {
    int width, height;
};
inline constexpr Frame kHD{1920, 1080};
inline constexpr Frame kUHD{3840, 2160};

inline std::vector<uint8_t> randomBytes(size_t n, uint32_t seed = 1) {
    std::vector<uint8_t> v(n);
    std::mt19937 rng(seed);
    for (auto& b : v) b = static_cast<uint8_t>(rng() >> 24);
    return v;
}

// Reports Mpixel/s (as "Mpix/s", a rate counter in pixels scaled to mega)
// and bytes/s of the traffic (read plus written).
inline void setCounters(benchmark::State& state, const Frame& f, size_t bytesPerFrame) {
    const double pixels = double(f.width) * f.height;
    state.counters["Mpix/s"] =
        benchmark::Counter(pixels * double(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
    state.SetBytesProcessed(static_cast<int64_t>(bytesPerFrame) * state.iterations());
}

// The memory limit: a memcpy of the bytes a conversion reads.
inline void memcpyReference(benchmark::State& state, const Frame& f, size_t bytes) {
    std::vector<uint8_t> src = randomBytes(bytes), dst(bytes);
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), bytes);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    setCounters(state, f, 2 * bytes);
}

}  // namespace celbench
