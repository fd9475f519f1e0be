// Ordered dithering of one output row into packed screen colours.

#include "colour/dither.h"

#include "colour/assign.h"

extern "C" {

const int32_t opt0dither[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
const int32_t opt1dither[16] = {7, 0, -5, -4, -6, -3, 6, 1, 4, 3, -8, -1, -7, -2, 5, 2};
const int32_t opt2dither[16] = {14, 0, -10, -8, -12, -6, 12, 2, 8, 6, -16, -2, -14, -4, 10, 4};
const int32_t opt4dither[16] = {28, 0, -20, -16, -24, -12, 24, 4, 16, 12, -32, -4, -28, -8, 20, 8};
const int32_t opt8dither[16] = {56, 0, -40, -32, -48, -24, 48, 8,
                                32, 24, -64, -8, -56, -16, 40, 16};

}

namespace {

inline int pattern_index(int row, int column) { return ((row % 4 + 4) % 4) + 4 * (column % 4); }

inline uint32_t clamp_band(int32_t value) {
    return value < 0 ? 0u : value > 255 ? 255u : static_cast<uint32_t>(value);
}

// Where the bands of column c come from. Each source takes its pointers and
// counts from the record once, so that the stores of a row cannot force them
// to be reloaded for every pixel.
struct ColourArrays {
    const uint8_t* red;
    const uint8_t* green;
    const uint8_t* blue;
    int32_t count;
    explicit ColourArrays(const Colormap& map)
        : red(map.red), green(map.green), blue(map.blue), count(map.ncolors) {}
};

struct ColormapSource {  // r, g, b of the colormap at grow[c]
    ColourArrays map;
    const uint32_t* row;
    explicit ColormapSource(const Image* image) : map(image->colormap), row(image->grow) {}
    bool ready() const { return row != nullptr; }
    void get(int c, uint32_t& r, uint32_t& g, uint32_t& b) const {
        uint32_t v = row[c];
        r = colormap_entry(map.red, map.count, v);
        g = colormap_entry(map.green, map.count, v);
        b = colormap_entry(map.blue, map.count, v);
    }
};

struct PlaneSource {  // red[mgrow[0][c]], green[mgrow[1][c]], blue[mgrow[2][c]]
    ColourArrays map;
    const uint32_t* planes[3];
    explicit PlaneSource(const Image* image)
        : map(image->colormap), planes{image->mgrow[0], image->mgrow[1], image->mgrow[2]} {}
    bool ready() const { return planes[0] && planes[1] && planes[2]; }
    void get(int c, uint32_t& r, uint32_t& g, uint32_t& b) const {
        r = colormap_entry(map.red, map.count, planes[0][c]);
        g = colormap_entry(map.green, map.count, planes[1][c]);
        b = colormap_entry(map.blue, map.count, planes[2][c]);
    }
};

struct PackedSource {  // grow[c] is red + green * 256 + blue * 65536
    const uint32_t* row;
    explicit PackedSource(const Image* image) : row(image->grow) {}
    bool ready() const { return row != nullptr; }
    void get(int c, uint32_t& r, uint32_t& g, uint32_t& b) const {
        uint32_t p = row[c];
        r = p & 255u;
        g = (p >> 8) & 255u;
        b = (p >> 16) & 255u;
    }
};

struct PackedColormapSource {  // the packed bytes, each through its colormap array
    ColourArrays map;
    const uint32_t* row;
    explicit PackedColormapSource(const Image* image) : map(image->colormap), row(image->grow) {}
    bool ready() const { return row != nullptr; }
    void get(int c, uint32_t& r, uint32_t& g, uint32_t& b) const {
        uint32_t p = row[c];
        r = colormap_entry(map.red, map.count, p & 255u);
        g = colormap_entry(map.green, map.count, (p >> 8) & 255u);
        b = colormap_entry(map.blue, map.count, (p >> 16) & 255u);
    }
};

inline uint32_t table_entry(const Image* image, uint32_t index) {
    // The cube's table covers every index the masks can form.
    return image->clr_table ? image->clr_table[index] : 0u;
}

template <typename Source, bool RedLeft>
void dither_row(Image* image, int row, const int32_t* pr, const int32_t* pg, const int32_t* pb,
                uint32_t mr, uint32_t mg, uint32_t mb, int sr, int sg, int sb) {
    Source source{image};
    if (!source.ready() || !image->grow2) return;
    for (int c = 0; c < image->out_cols; ++c) {
        uint32_t r, g, b;
        source.get(c, r, g, b);
        int k = pattern_index(row, c);
        r = clamp_band(static_cast<int32_t>(r) + pr[k]);
        g = clamp_band(static_cast<int32_t>(g) + pg[k]);
        b = clamp_band(static_cast<int32_t>(b) + pb[k]);
        uint32_t index =
            (RedLeft ? (r & mr) << sr : (r & mr) >> sr) | (g & mg) >> sg | (b & mb) >> sb;
        image->grow2[c] = table_entry(image, index);
    }
}

// One band: the mean of the three, two levels.
template <typename Source>
void dither_row_100(Image* image, int row) {
    Source source{image};
    if (!source.ready() || !image->grow2) return;
    for (int c = 0; c < image->out_cols; ++c) {
        uint32_t r, g, b;
        source.get(c, r, g, b);
        int32_t s = static_cast<int32_t>((r + g + b) / 3) + opt8dither[pattern_index(row, c)];
        image->grow2[c] = table_entry(image, clamp_band(s) >> 7);
    }
}

template <typename Source>
void pack_row_888(Image* image) {
    Source source{image};
    uint32_t* target = image->grow2;
    int count = image->out_cols;
    if (!source.ready() || !target) return;
    for (int c = 0; c < count; ++c) {
        uint32_t r, g, b;
        source.get(c, r, g, b);
        target[c] = b << 16 | g << 8 | r;
    }
    translate_image_truecolor(image);
}

}  // namespace

extern "C" {

#define TARN_GENERAL_MEMBER(name, Source, red_left)                                            \
    void name(Image* image, int row, const int32_t* red_pattern, const int32_t* green_pattern, \
              const int32_t* blue_pattern, uint32_t red_mask, uint32_t green_mask,             \
              uint32_t blue_mask, int red_shift, int green_shift, int blue_shift) {            \
        dither_row<Source, red_left>(image, row, red_pattern, green_pattern, blue_pattern,     \
                                     red_mask, green_mask, blue_mask, red_shift, green_shift,  \
                                     blue_shift);                                              \
    }

TARN_GENERAL_MEMBER(colordither, ColormapSource, false)
TARN_GENERAL_MEMBER(colordither2, ColormapSource, true)
TARN_GENERAL_MEMBER(multicolordither, PlaneSource, false)
TARN_GENERAL_MEMBER(multicolordither2, PlaneSource, true)
TARN_GENERAL_MEMBER(truecolordither, PackedSource, false)
TARN_GENERAL_MEMBER(truecolordither2, PackedSource, true)
TARN_GENERAL_MEMBER(truecolordither_cmap, PackedColormapSource, false)
TARN_GENERAL_MEMBER(truecolordither2_cmap, PackedColormapSource, true)

void graydither(Image* image, int row, const int32_t* pattern, int shift) {
    const Colormap& map = image->colormap;
    if (!image->grow || !image->grow2) return;
    for (int c = 0; c < image->out_cols; ++c) {
        int32_t v = static_cast<int32_t>(colormap_entry(map.red, map.ncolors, image->grow[c]));
        v += pattern[pattern_index(row, c)];
        image->grow2[c] = table_entry(image, clamp_band(v) >> shift);
    }
}

void graydither_to_1_bits(Image* image, int row) { graydither(image, row, opt8dither, 7); }
void graydither_to_2_bits(Image* image, int row) { graydither(image, row, opt4dither, 6); }
void graydither_to_3_bits(Image* image, int row) { graydither(image, row, opt2dither, 5); }
void graydither_to_4_bits(Image* image, int row) { graydither(image, row, opt1dither, 4); }
void graydither_to_8_bits(Image* image, int row) { graydither(image, row, opt0dither, 0); }

}

namespace {

// Cube members: the digits are the red, green and blue bits of the screen's
// colour cube. A band cut to n bits takes the pattern of one of its levels.
struct CubeBands {
    const int32_t* pattern[3];
    uint32_t mask[3];
    int shift[3];
    bool red_left;
};

const CubeBands kBands110 = {{opt8dither, opt8dither, opt8dither}, {128, 128, 0}, {6, 7, 0}, false};
const CubeBands kBands111 = {
    {opt8dither, opt8dither, opt8dither}, {128, 128, 128}, {5, 6, 7}, false};
const CubeBands kBands211 = {
    {opt4dither, opt8dither, opt8dither}, {192, 128, 128}, {4, 6, 7}, false};
const CubeBands kBands221 = {
    {opt4dither, opt4dither, opt8dither}, {192, 192, 128}, {3, 5, 7}, false};
const CubeBands kBands222 = {
    {opt4dither, opt4dither, opt4dither}, {192, 192, 192}, {2, 4, 6}, false};
const CubeBands kBands322 = {
    {opt2dither, opt4dither, opt4dither}, {224, 192, 192}, {1, 4, 6}, false};
const CubeBands kBands332 = {
    {opt2dither, opt2dither, opt4dither}, {224, 224, 192}, {0, 3, 6}, false};
const CubeBands kBands333 = {
    {opt2dither, opt2dither, opt2dither}, {224, 224, 224}, {1, 2, 5}, true};
const CubeBands kBands433 = {
    {opt1dither, opt2dither, opt2dither}, {240, 224, 224}, {2, 2, 5}, true};
const CubeBands kBands443 = {
    {opt1dither, opt1dither, opt2dither}, {240, 240, 224}, {3, 1, 5}, true};
const CubeBands kBands444 = {
    {opt1dither, opt1dither, opt1dither}, {240, 240, 240}, {4, 0, 4}, true};

using GeneralMember = void (*)(Image*, int, const int32_t*, const int32_t*, const int32_t*,
                               uint32_t, uint32_t, uint32_t, int, int, int);

void run_member(GeneralMember right, GeneralMember left, Image* image, int row,
                const CubeBands& b) {
    (b.red_left ? left : right)(image, row, b.pattern[0], b.pattern[1], b.pattern[2], b.mask[0],
                                b.mask[1], b.mask[2], b.shift[0], b.shift[1], b.shift[2]);
}

void colour_member(Image* image, int row, const CubeBands& b) {
    run_member(colordither, colordither2, image, row, b);
}

void plane_member(Image* image, int row, const CubeBands& b) {
    run_member(multicolordither, multicolordither2, image, row, b);
}

// Packed true colour goes through the colormap when the image has one.
void packed_member(Image* image, int row, const CubeBands& b) {
    if (image->colormap.ncolors != 0)
        run_member(truecolordither_cmap, truecolordither2_cmap, image, row, b);
    else
        run_member(truecolordither, truecolordither2, image, row, b);
}

}  // namespace

extern "C" {

void colordither_to_110_bits(Image* image, int row) { colour_member(image, row, kBands110); }
void colordither_to_111_bits(Image* image, int row) { colour_member(image, row, kBands111); }
void colordither_to_211_bits(Image* image, int row) { colour_member(image, row, kBands211); }
void colordither_to_221_bits(Image* image, int row) { colour_member(image, row, kBands221); }
void colordither_to_222_bits(Image* image, int row) { colour_member(image, row, kBands222); }
void colordither_to_322_bits(Image* image, int row) { colour_member(image, row, kBands322); }
void colordither_to_332_bits(Image* image, int row) { colour_member(image, row, kBands332); }
void colordither_to_333_bits(Image* image, int row) { colour_member(image, row, kBands333); }
void colordither_to_433_bits(Image* image, int row) { colour_member(image, row, kBands433); }
void colordither_to_443_bits(Image* image, int row) { colour_member(image, row, kBands443); }
void colordither_to_444_bits(Image* image, int row) { colour_member(image, row, kBands444); }

void multicolordither_to_110_bits(Image* image, int row) { plane_member(image, row, kBands110); }
void multicolordither_to_111_bits(Image* image, int row) { plane_member(image, row, kBands111); }
void multicolordither_to_211_bits(Image* image, int row) { plane_member(image, row, kBands211); }
void multicolordither_to_221_bits(Image* image, int row) { plane_member(image, row, kBands221); }
void multicolordither_to_222_bits(Image* image, int row) { plane_member(image, row, kBands222); }
void multicolordither_to_322_bits(Image* image, int row) { plane_member(image, row, kBands322); }
void multicolordither_to_332_bits(Image* image, int row) { plane_member(image, row, kBands332); }
void multicolordither_to_333_bits(Image* image, int row) { plane_member(image, row, kBands333); }
void multicolordither_to_433_bits(Image* image, int row) { plane_member(image, row, kBands433); }
void multicolordither_to_443_bits(Image* image, int row) { plane_member(image, row, kBands443); }
void multicolordither_to_444_bits(Image* image, int row) { plane_member(image, row, kBands444); }

void truecolordither_to_110_bits(Image* image, int row) { packed_member(image, row, kBands110); }
void truecolordither_to_111_bits(Image* image, int row) { packed_member(image, row, kBands111); }
void truecolordither_to_211_bits(Image* image, int row) { packed_member(image, row, kBands211); }
void truecolordither_to_221_bits(Image* image, int row) { packed_member(image, row, kBands221); }
void truecolordither_to_222_bits(Image* image, int row) { packed_member(image, row, kBands222); }
void truecolordither_to_322_bits(Image* image, int row) { packed_member(image, row, kBands322); }
void truecolordither_to_332_bits(Image* image, int row) { packed_member(image, row, kBands332); }
void truecolordither_to_333_bits(Image* image, int row) { packed_member(image, row, kBands333); }
void truecolordither_to_433_bits(Image* image, int row) { packed_member(image, row, kBands433); }
void truecolordither_to_443_bits(Image* image, int row) { packed_member(image, row, kBands443); }
void truecolordither_to_444_bits(Image* image, int row) { packed_member(image, row, kBands444); }

void colordither_to_100_bits(Image* image, int row) { dither_row_100<ColormapSource>(image, row); }
void multicolordither_to_100_bits(Image* image, int row) {
    dither_row_100<PlaneSource>(image, row);
}
void truecolordither_to_100_bitsCmap(Image* image, int row) {
    dither_row_100<PackedColormapSource>(image, row);
}
void truecolordither_to_100_bits(Image* image, int row) {
    if (image->colormap.ncolors != 0)
        truecolordither_to_100_bitsCmap(image, row);
    else
        dither_row_100<PackedSource>(image, row);
}

void colordither_to_888_bits(Image* image, int) { pack_row_888<ColormapSource>(image); }
void multicolordither_to_888_bits(Image* image, int) { pack_row_888<PlaneSource>(image); }

// Packed rows without a colormap are already screen colours: grow2 becomes
// an alias of grow, and gbuf2 stays the owner of the second row.
void truecolordither_to_888_bits(Image* image, int) {
    if (image->colormap.ncolors != 0) {
        pack_row_888<PackedColormapSource>(image);
        return;
    }
    image->grow2 = image->grow;
    translate_image_truecolor(image);
}

}
