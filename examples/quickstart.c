/* Converts a small RGB image to YCbCr with libcelccy8 and prints it. */
#include <stdio.h>

#include <celcc.h>

int main(void) {
    /* Two rows of four pixels: red, green, blue, white / black, gray, yellow, cyan. */
    const uint8_t rgb[2][12] = {
        {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255},
        {0, 0, 0, 128, 128, 128, 255, 255, 0, 0, 255, 255},
    };
    uint8_t ycbcr[2][12];
    const CelSize size = {4, 2};
    const CelLibVersion* v = celccGetLibVersion();

    CelStatus st = celiRGBToYCbCr_8u_C3R(&rgb[0][0], 12, &ycbcr[0][0], 12, size);
    if (st != celStatusOk) {
        fprintf(stderr, "conversion failed: %d\n", (int)st);
        return 1;
    }
    printf("%s %s\n", v->libraryLabel, v->versionLabel);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 4; ++x)
            printf("RGB(%3d,%3d,%3d) -> YCbCr(%3d,%3d,%3d)  ", rgb[y][3 * x], rgb[y][3 * x + 1], rgb[y][3 * x + 2],
                   ycbcr[y][3 * x], ycbcr[y][3 * x + 1], ycbcr[y][3 * x + 2]);
        printf("\n");
    }
    /* A bad size is refused and nothing is written. */
    const CelSize empty = {0, 2};
    return celiRGBToYCbCr_8u_C3R(&rgb[0][0], 12, &ycbcr[0][0], 12, empty) == celStatusBadSize ? 0 : 1;
}
