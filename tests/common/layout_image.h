// A test image in one of the layouts of the 8-bit families: one buffer of
// interleaved pixels (C3, C4, AC4) or one buffer per plane (P3), every row
// framed by canary bytes.
#pragma once

#include <vector>

#include "common/image_buffer.h"

namespace celtest {

class LayoutImage {
public:
    // planes > 1: that many planes of one byte per pixel; planes == 1: one
    // buffer of `channels` interleaved bytes per pixel.
    LayoutImage(int planes, int channels, int width, int height, uint8_t fill = 0x5A)
        : width(width), height(height), channels_(channels) {
        for (int i = 0; i < planes; ++i) {
            bufs.emplace_back(width * (planes > 1 ? 1 : channels), height);
            bufs.back().fill(fill);
        }
    }

    // Channel c of pixel (x, y).
    uint8_t& at(int x, int y, int c) {
        if (bufs.size() > 1) return bufs[c].row(y)[x];
        return bufs[0].row(y)[x * channels_ + c];
    }
    bool planar() const { return bufs.size() > 1; }
    int step() const { return bufs[0].step(); }
    // Plane i (or the interleaved buffer) at row y.
    uint8_t* row(int i, int y) { return bufs[i].row(y); }

    void randomize(uint32_t seed) {
        for (auto& b : bufs) b.randomize(seed++);
    }
    bool intact() const { return allIntact(bufs); }
    // Every byte of every buffer, canaries included.
    std::vector<uint8_t> snapshot() const { return snapshotOf(bufs); }

    int width, height;
    std::vector<ImageBuffer> bufs;

private:
    int channels_;
};

}  // namespace celtest
