// Test images with canary bytes around every row.
//
// Each row is surrounded by `pad` guard bytes on both sides (and a guard row
// above and below), all holding a canary value the library never has reason
// to write.  intact() tells whether every guard byte still holds it.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace celtest {

inline constexpr uint8_t kCanary = 0xA5;

class ImageBuffer {
public:
    // rowBytes: bytes of the region in one row; rows: number of rows.
    ImageBuffer(int rowBytes, int rows, int pad = 32, uint8_t canary = kCanary)
        : rowBytes_(rowBytes), rows_(rows), pad_(pad), canary_(canary),
          step_(rowBytes + 2 * pad), mem_(static_cast<size_t>(step_) * (rows + 2), canary) {}

    int step() const { return step_; }
    int rowBytes() const { return rowBytes_; }
    int rows() const { return rows_; }
    uint8_t* data() { return mem_.data() + step_ + pad_; }
    const uint8_t* data() const { return mem_.data() + step_ + pad_; }
    uint8_t* row(int y) { return data() + static_cast<ptrdiff_t>(y) * step_; }
    const uint8_t* row(int y) const { return data() + static_cast<ptrdiff_t>(y) * step_; }
    // First row of the region seen with a negative step (starts at the bottom row).
    uint8_t* lastRow() { return row(rows_ - 1); }

    // Fill the region (not the guards) with one value or with random bytes.
    void fill(uint8_t v) {
        for (int y = 0; y < rows_; ++y) std::memset(row(y), v, rowBytes_);
    }
    void randomize(uint32_t seed) {
        std::mt19937 rng(seed);
        for (int y = 0; y < rows_; ++y)
            for (int x = 0; x < rowBytes_; ++x) row(y)[x] = static_cast<uint8_t>(rng() >> 24);
    }

    // Every guard byte still holds the canary.
    bool intact() const {
        for (ptrdiff_t i = 0; i < static_cast<ptrdiff_t>(mem_.size()); ++i) {
            const ptrdiff_t r = i / step_ - 1, c = i % step_ - pad_;
            const bool inRegion = r >= 0 && r < rows_ && c >= 0 && c < rowBytes_;
            if (!inRegion && mem_[i] != canary_) return false;
        }
        return true;
    }

    // Whole memory, guards included, to check that nothing changed at all.
    const std::vector<uint8_t>& raw() const { return mem_; }

private:
    int rowBytes_, rows_, pad_;
    uint8_t canary_;
    int step_;
    std::vector<uint8_t> mem_;
};

// Every guard byte of every buffer of an image still holds its canary.
inline bool allIntact(const std::vector<ImageBuffer>& bufs) {
    for (const auto& b : bufs)
        if (!b.intact()) return false;
    return true;
}

// Every byte of every buffer of an image, guards included.
inline std::vector<uint8_t> snapshotOf(const std::vector<ImageBuffer>& bufs) {
    std::vector<uint8_t> all;
    for (const auto& b : bufs) all.insert(all.end(), b.raw().begin(), b.raw().end());
    return all;
}

// Widths that exercise body only, tail only and both, for 8- and 16-pixel bodies.
inline const std::vector<int>& testWidths() {
    static const std::vector<int> w = {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 23, 24, 31, 32, 33, 40, 100};
    return w;
}

inline const std::vector<int>& testHeights() {
    static const std::vector<int> h = {1, 2, 3, 7};
    return h;
}

}  // namespace celtest
