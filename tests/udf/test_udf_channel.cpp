// The channel between a registered driver and the Image record, through a
// driver of this test whose pixels are known: value (x, y, band) is
// 7x + 3y + 11 band, cut to the depth. Raw rows must give the driver's values;
// shown rows follow the channel's rules for colour tables and scaling, worked
// out here from those rules.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "udf/udf.h"
#include <tarnimage/channel.h>
#include <tarnimage/udf.h>

namespace {

// What the next open reports; set by each case.
struct Synthetic {
    int depth = 8, nbands = 1, columns = 9, rows = 4;
    int ncolors = 0, low_index = 0, high_index = 0;
    double scale = 0, band_scale = 0;
    int data_min = 0;
    bool fail_open = false, fail_rows = false;
} g_spec;
int g_opens = 0, g_closes = 0;
uint8_t g_table[3][4] = {{10, 11, 12, 13}, {20, 21, 22, 23}, {30, 31, 32, 33}};

uint32_t value_at(int x, int y, int band, int depth) {
    uint64_t v = 7ull * x + 3ull * y + 11ull * band;
    return depth >= 32 ? static_cast<uint32_t>(v * 2654435761u) : static_cast<uint32_t>(v % (1ull << depth));
}

struct Private {
    std::vector<int> bands;  // 1-based, in the order delivered
};

int synth_open(const char*, int band, int red, int green, int blue, UDFHeader* header) {
    if (g_spec.fail_open) return -1;
    memset(header, 0, sizeof *header);
    ++g_opens;
    auto* p = new Private;
    if (band > 0) p->bands = {band};
    else if (red || green || blue) p->bands = {red, green, blue};
    else for (int b = 1; b <= g_spec.nbands; ++b) p->bands.push_back(b);
    header->priv = p;
    header->depth = g_spec.depth;
    header->nbands = g_spec.nbands;
    header->columns = g_spec.columns;
    header->rows = g_spec.rows;
    header->scale = g_spec.scale;
    header->data_min = g_spec.data_min;
    header->pixel_x = 2.5;
    header->pixel_y = 4.0;
    header->origin_x = 100;
    header->origin_y = 200;
    for (int k = 0; k < 3; ++k) header->band_scale[k] = g_spec.band_scale;
    header->ncolors = g_spec.ncolors;
    header->low_index = g_spec.low_index;
    header->high_index = g_spec.high_index;
    if (g_spec.ncolors) header->red = g_table[0], header->green = g_table[1], header->blue = g_table[2];
    return 1;
}

int synth_close(UDFHeader* header) {
    ++g_closes;
    delete static_cast<Private*>(header->priv);
    header->priv = nullptr;
    return 0;
}

// Bands one after another, each on a byte boundary; 1 and 4 bits MSB first.
int synth_getrow(int row, void* buffer, UDFHeader* header) {
    if (g_spec.fail_rows) return -1;
    auto* p = static_cast<Private*>(header->priv);
    const int d = header->depth, w = header->columns;
    const size_t band_bytes = d == 1 ? (w + 7) / 8 : d == 4 ? (w + 1) / 2 : static_cast<size_t>(w) * d / 8;
    uint8_t* out = static_cast<uint8_t*>(buffer);
    for (size_t k = 0; k < p->bands.size(); ++k) {
        uint8_t* plane = out + k * band_bytes;
        memset(plane, 0, band_bytes);
        for (int x = 0; x < w; ++x) {
            uint32_t v = value_at(x, row, p->bands[k], d);
            if (d == 1) plane[x / 8] |= static_cast<uint8_t>(v << (7 - x % 8));
            else if (d == 4) plane[x / 2] |= static_cast<uint8_t>(v << (x % 2 ? 0 : 4));
            else memcpy(plane + static_cast<size_t>(x) * d / 8, &v, static_cast<size_t>(d / 8));
        }
    }
    return 0;
}

int synth_exist(const char*, char*, FILE*) { return 0; }

class UdfChannel : public ::testing::Test {
protected:
    void SetUp() override {
        UDFRecord record = {};
        record.exist = synth_exist;
        record.open = synth_open;
        record.close = synth_close;
        record.getrow = synth_getrow;
        record.keyword = const_cast<char*>("SYNTH");
        record.suffix = const_cast<char*>("syn");
        m_type = static_cast<int>(II_RegisterUDF(&record));
        ASSERT_GT(m_type, 1000);
        g_spec = Synthetic();
        g_opens = g_closes = 0;
    }
    void TearDown() override {
        II_UnregisterUDF(static_cast<uint32_t>(m_type));
        EXPECT_EQ(g_opens, g_closes) << "every open of the driver is closed";
    }
    // Every row of a channel open, widened to 32 bits.
    std::vector<uint32_t> channel_rows(int band, int count_per_row) {
        Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
        std::vector<uint32_t> all;
        if (open_image_channel(image, "synthetic", 'r', m_type, band) != 1) {
            free(image);
            return all;
        }
        std::vector<uint32_t> row(static_cast<size_t>(count_per_row));
        for (int y = 0; y < g_spec.rows; ++y) {
            EXPECT_EQ(get_image_row(image, y, row.data(), count_per_row), 1) << y;
            all.insert(all.end(), row.begin(), row.end());
        }
        close_image_channel(image, 'r');
        return all;
    }
    // The rows as the RGB path sees them after unpack: display open, one-to-one window.
    std::vector<uint32_t> shown_rows(int band) {
        Image image;
        memset(&image, 0, sizeof image);
        char empty[1] = {0};
        std::vector<uint32_t> all;
        if (image_open(&image, "synthetic", m_type, band, 1, empty, empty) != 1) {
            image_close(&image);
            return all;
        }
        EXPECT_EQ(image_row_map(&image, m_type, 0, g_spec.columns - 1, 0, g_spec.rows - 1), 1);
        initialize_row_IO(&image);
        EXPECT_EQ(allocate_internal_buffers(&image), 1);
        for (int y = 0; y < g_spec.rows; ++y) {
            EXPECT_EQ(image.get_row(&image, y), 0);
            for (int x = 0; x < g_spec.columns; ++x)
                all.push_back(g_spec.depth <= 8 ? image.row8[x] : g_spec.depth == 16 ? image.row16[x] : image.row32[x]);
        }
        m_map = image.colormap;
        m_map.red = m_map.green = m_map.blue = nullptr;
        m_ramp_end = image.colormap.ncolors > 255 && image.colormap.red ? image.colormap.red[255] : -1;
        image_close(&image);
        return all;
    }
    std::vector<uint32_t> expected(int band, uint32_t (*shown)(uint32_t) = nullptr) {
        std::vector<uint32_t> all;
        for (int y = 0; y < g_spec.rows; ++y)
            for (int x = 0; x < g_spec.columns; ++x) {
                uint32_t v = value_at(x, y, band, g_spec.depth);
                all.push_back(shown ? shown(v) : v);
            }
        return all;
    }
    int m_type = 0;
    Colormap m_map;
    int m_ramp_end = -1;
};

TEST_F(UdfChannel, RawRowsAreTheDriversValuesAtEveryDepth) {
    for (int depth : {1, 4, 8, 16, 32})
        for (int nbands : {1, 3}) {
            if (depth == 1 && nbands > 1) continue;  // one-bit data has one band
            SCOPED_TRACE(testing::Message() << depth << " bits, " << nbands << " bands");
            g_spec.depth = depth;
            g_spec.nbands = nbands;
            for (int band = 1; band <= nbands; ++band)
                EXPECT_EQ(channel_rows(band, g_spec.columns), expected(band)) << "band " << band;
            // All bands at once: one plane of the image's width per band.
            std::vector<uint32_t> all = channel_rows(0, g_spec.columns * nbands), want;
            for (int y = 0; y < g_spec.rows; ++y)
                for (int b = 1; b <= nbands; ++b)
                    for (int x = 0; x < g_spec.columns; ++x) want.push_back(value_at(x, y, b, depth));
            EXPECT_EQ(all, want);
        }
}

TEST_F(UdfChannel, ShownRowsFollowTablesAndScaling) {
    // A colour table for values 2 to 5: those become indices from 0, the rest 0.
    g_spec.ncolors = 4, g_spec.low_index = 2, g_spec.high_index = 5;
    EXPECT_EQ(shown_rows(1), expected(1, [](uint32_t v) { return v >= 2 && v <= 5 ? v - 2 : 0u; }));
    EXPECT_EQ(m_map.ncolors, 4);

    // 16 bits without a table: 256 / 65536 in integers is 0, so nothing is scaled,
    // and the values run to 65535 over a grey ramp of 256 entries.
    g_spec = Synthetic();
    g_spec.depth = 16;
    EXPECT_EQ(shown_rows(1), expected(1));
    EXPECT_EQ(m_map.ncolors, 256);
    EXPECT_EQ(m_map.gray_high, 65535u);
    EXPECT_EQ(m_ramp_end, 254);  // entry i is i - 1

    // The driver's own scale: (v - minimum) * scale, cut toward zero, kept at 16 bits.
    g_spec.scale = 0.5, g_spec.data_min = 20;
    EXPECT_EQ(shown_rows(1), expected(1, [](uint32_t v) {
                  return static_cast<uint32_t>(static_cast<uint16_t>(
                      static_cast<int64_t>((static_cast<int32_t>(v) - 20) * 0.5)));
              }));

    // 32 bits: the shift by 32 wraps to a range of 1, so the scale is 256.
    g_spec = Synthetic();
    g_spec.depth = 32;
    EXPECT_EQ(shown_rows(1), expected(1, [](uint32_t v) { return static_cast<uint32_t>(uint64_t(v) * 256); }));
}

TEST_F(UdfChannel, QueriesAnswerFromOneSlotKeyedByName) {
    g_spec.columns = 17, g_spec.rows = 5, g_spec.nbands = 3, g_spec.depth = 16;
    int rows = 0, columns = 0, bands = 0, depth = 0;
    EXPECT_EQ(get_UDF_info("one", m_type, &rows, &columns, &bands, &depth), 0);
    EXPECT_EQ((std::vector<int>{rows, columns, bands, depth}), (std::vector<int>{5, 17, 3, 16}));
    double t[6];
    EXPECT_EQ(read_UDF_header_trans("one", m_type, t), 0);
    EXPECT_EQ(std::vector<double>(t, t + 6), (std::vector<double>{2.5, 0, 0, -4.0, 100, 200}));
    // A name the driver cannot open fails once; asked again, the slot answers
    // with what it holds, and success.
    g_spec.fail_open = true;
    EXPECT_EQ(read_UDF_extent("two", m_type, &rows, &columns), -1);
    rows = columns = 0;
    EXPECT_EQ(read_UDF_extent("two", m_type, &rows, &columns), 0);
    EXPECT_EQ(rows * 100 + columns, 517);
}

TEST_F(UdfChannel, FailuresGiveMinusOneAndLeaveNothingOpen) {
    const struct { int depth, nbands, band; bool fail_open, fail_rows; } cases[] = {
        {2, 1, 1, false, false}, {64, 1, 1, false, false}, {24, 1, 1, false, false},
        {8, 1, 2, false, false},  // band 2 of a one-band file
        {1, 2, 1, false, false},  // one-bit data with two bands
        {8, 1, 1, true, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.depth << " bits, band " << c.band);
        g_spec = Synthetic();
        g_spec.depth = c.depth, g_spec.nbands = c.nbands, g_spec.fail_open = c.fail_open;
        Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
        EXPECT_EQ(open_image_channel(image, "synthetic", 'r', m_type, c.band), -1);
        free(image);
    }
    g_spec = Synthetic();
    g_spec.fail_rows = true;
    Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
    ASSERT_EQ(open_image_channel(image, "synthetic", 'r', m_type, 1), 1);
    uint32_t row[9];
    EXPECT_EQ(get_image_row(image, 0, row, 9), -1);
    close_image_channel(image, 'r');
    // The next image still opens.
    g_spec = Synthetic();
    EXPECT_EQ(channel_rows(1, g_spec.columns), expected(1));
}

TEST_F(UdfChannel, MultiBandOpensReadThreePlanes) {
    for (int nbands : {2, 3, 5}) {
        g_spec = Synthetic();
        g_spec.nbands = nbands;
        Image image;
        memset(&image, 0, sizeof image);
        char empty[1] = {0};
        ASSERT_EQ(multi_image_open(&image, "synthetic", m_type, 1, 2, 2, 1, empty, empty), 1);
        EXPECT_EQ(image.row_bytes, g_spec.columns * (nbands < 4 ? nbands : 3));
        EXPECT_EQ(image.green_band, g_spec.columns);
        EXPECT_EQ(image.get_row(&image, 1), 0);
        multi_image_close(&image);
        free_multi_buffers(&image);
    }
}

}  // namespace
