// LZW and PackBits expanders, against strips written by libtiff's tiffcp
// (tests/data/make_lzw.sh) and hand-built code streams.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "drivers/builtin/decompress.h"
#include "test_support.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes lzw_file(const std::string& name) { return tarntest::read_file(tarntest::data_path("lzw/" + name)); }

struct LzwState {
    LZWData data;
    LzwState() { initLZWdata(&data); }
    ~LzwState() { LZWFree(&data); }
};

// Expands a strip into a buffer of `limit` bytes and gives what was written.
Bytes expand(LzwState& state, const Bytes& strip, int limit) {
    EXPECT_EQ(LZWBuffer(&state.data, limit), 0);
    Bytes out(static_cast<size_t>(limit) + 16, 0xEE);
    int count = LZWExpand(&state.data, strip.data(), out.data(), static_cast<int>(strip.size()));
    EXPECT_GE(count, 0);
    EXPECT_LE(count, limit);
    for (size_t i = static_cast<size_t>(limit); i < out.size(); ++i)
        EXPECT_EQ(out[i], 0xEE) << "written past the limit at " << i;
    out.resize(static_cast<size_t>(count));
    return out;
}

// Writes codes most significant bit first at the widths a TIFF LZW reader
// expects: the width grows when the table reaches the current mask, one code
// early, and the count of stored entries follows the reader.
class CodeWriter {
public:
    void clear() {
        put(256);
        m_nextCode = 258;
        m_bits = 9;
        m_mask = 511;
        m_afterClear = true;
    }
    void code(int value) {
        put(value);
        if (!m_afterClear) ++m_nextCode;
        m_afterClear = false;
    }
    void end() { put(257); }
    Bytes bytes() {
        Bytes out = m_bytes;
        if (m_used) out.push_back(static_cast<unsigned char>(m_acc << (8 - m_used)));
        return out;
    }
    // Writes with no clear code first: the reader then counts from 0.
    void start_without_clear() {
        m_nextCode = 0;
        m_afterClear = false;
    }

private:
    void put(int value) {
        if (m_nextCode >= m_mask) {
            ++m_bits;
            m_mask = m_mask * 2 + 1;
        }
        for (int bit = m_bits - 1; bit >= 0; --bit) {
            m_acc = (m_acc << 1) | ((value >> bit) & 1);
            if (++m_used == 8) {
                m_bytes.push_back(static_cast<unsigned char>(m_acc));
                m_acc = 0;
                m_used = 0;
            }
        }
    }
    Bytes m_bytes;
    int m_acc = 0;
    int m_used = 0;
    int m_bits = 9;
    int m_mask = 511;
    int m_nextCode = 0;
    bool m_afterClear = false;
};

TEST(LzwExpand, StripsWrittenByTiffcpExpandToTheirSamples) {
    for (const char* name : {"gradient-64x40", "noise-96x64"}) {
        SCOPED_TRACE(name);
        Bytes strip = lzw_file(std::string(name) + ".lzw");
        Bytes raw = lzw_file(std::string(name) + ".raw");
        ASSERT_FALSE(strip.empty());
        ASSERT_FALSE(raw.empty());
        LzwState state;
        EXPECT_EQ(expand(state, strip, static_cast<int>(raw.size())), raw);
    }
}

TEST(LzwExpand, OutputStopsAtTheLimitAndDropsTheRestOfAString) {
    Bytes strip = lzw_file("gradient-64x40.lzw");
    Bytes raw = lzw_file("gradient-64x40.raw");
    // Row sizes that end inside long strings of the flat area as well as in the ramp.
    for (int limit : {1, 64, 640, 1300, 1999, 2559}) {
        SCOPED_TRACE(limit);
        LzwState state;
        Bytes out = expand(state, strip, limit);
        ASSERT_EQ(out.size(), static_cast<size_t>(limit));
        EXPECT_TRUE(std::equal(out.begin(), out.end(), raw.begin()));
    }
}

TEST(LzwExpand, TwoStreamsInOneStripAreReadOneAfterTheOther) {
    Bytes strip = lzw_file("gradient-64x40.lzw");
    Bytes raw = lzw_file("gradient-64x40.raw");
    Bytes both = strip;
    both.insert(both.end(), strip.begin(), strip.end());
    Bytes twice = raw;
    twice.insert(twice.end(), raw.begin(), raw.end());
    LzwState state;
    EXPECT_EQ(expand(state, both, static_cast<int>(twice.size())), twice);
}

TEST(LzwExpand, BufferIsAllocatedOnceAndFreedToNull) {
    LzwState state;
    ASSERT_EQ(LZWBuffer(&state.data, 10), 0);
    LZWEntry* table = state.data.table;
    ASSERT_NE(table, nullptr);
    ASSERT_NE(state.data.stack, nullptr);
    ASSERT_EQ(LZWBuffer(&state.data, 20), 0);
    EXPECT_EQ(state.data.table, table);
    EXPECT_EQ(state.data.out_limit, 20);
    LZWFree(&state.data);
    EXPECT_EQ(state.data.table, nullptr);
    EXPECT_EQ(state.data.stack, nullptr);
}

TEST(LzwExpand, HandBuiltStreamsDecodeAsTiffReadersDo) {
    // Clear, then A B, then the code of "AB" and the not-yet-known next code
    // (the KwKwK case), then end.
    CodeWriter w;
    w.clear();
    w.code('A');
    w.code('B');
    w.code(258);  // "AB"
    w.code(260);  // unknown yet: "AB" + "A"
    w.end();
    LzwState state;
    Bytes out = expand(state, w.bytes(), 100);
    EXPECT_EQ(std::string(out.begin(), out.end()), "ABABABA");
}

TEST(LzwExpand, AStripWithoutClearCodeTakesItsFirstCodeAsUnknown) {
    LzwState state;
    // Fill the table's roots with a first strip.
    CodeWriter roots;
    roots.clear();
    roots.code('Z');
    roots.end();
    ASSERT_EQ(expand(state, roots.bytes(), 10), (Bytes{'Z'}));

    CodeWriter w;
    w.start_without_clear();
    w.code('A');
    w.code('B');
    w.end();
    // 'A' is above the count of 0: `first` and `old` (both 0) stand in, and
    // entry 0 is overwritten; 'B' is then unknown too and repeats 'A'.
    EXPECT_EQ(expand(state, w.bytes(), 10), (Bytes{0, 0, 'A', 0}));
}

TEST(GetNextCode, WidthGrowsOneCodeEarly) {
    LzwState state;
    ASSERT_EQ(LZWBuffer(&state.data, 10), 0);
    InitStringTable(&state.data);
    const unsigned char input[] = {0xFF, 0xC0, 0x00, 0x00};
    state.data.input = input;
    state.data.in_size = 4;
    state.data.in_pos = 0;
    state.data.bits_left = 8;
    state.data.next_code = 510;
    EXPECT_EQ(GetNextCode(&state.data), 0x1FF);
    EXPECT_EQ(state.data.code_bits, 9);
    state.data.next_code = 511;
    EXPECT_EQ(GetNextCode(&state.data), 0x200);  // 10 bits: 1 then nine 0 bits
    EXPECT_EQ(state.data.code_bits, 10);
    EXPECT_EQ(state.data.code_mask, 1023);
}

TEST(LzwExpand, TableNeverGrowsPastItsEntries) {
    // A stream that never clears: each code adds an entry, and the widths grow
    // to 13 bits. Expansion stops at the last entry of the table.
    CodeWriter w;
    w.clear();
    for (int i = 0; i < 9000; ++i) w.code('A');
    w.end();
    LzwState state;
    Bytes out = expand(state, w.bytes(), 20000);
    // One byte after the clear, one for each of the 7843 stored entries, and
    // the code that found the table full.
    EXPECT_EQ(out.size(), 7845u);
    EXPECT_EQ(out, Bytes(7845, 'A'));
}

TEST(LzwExpand, BrokenStripsStayInsideTheirBuffers) {
    Bytes strip = lzw_file("noise-96x64.lzw");
    Bytes raw = lzw_file("noise-96x64.raw");
    // Cut short: what comes out is the start of the samples.
    {
        Bytes half(strip.begin(), strip.begin() + static_cast<long>(strip.size() / 2));
        LzwState state;
        Bytes out = expand(state, half, static_cast<int>(raw.size()));
        ASSERT_GT(out.size(), 100u);
        ASSERT_LT(out.size(), raw.size());
        EXPECT_TRUE(std::equal(out.begin(), out.end() - 16, raw.begin()));
    }
    // Random bytes and damaged strips: any result, no fault (run under ASan).
    std::mt19937 random(12345);
    for (int round = 0; round < 300; ++round) {
        Bytes input;
        if (round % 2) {
            input = strip;
            for (int k = 0; k < 8; ++k) input[random() % input.size()] = static_cast<unsigned char>(random());
            input.resize(random() % input.size() + 1);
        } else {
            input.resize(random() % 3000 + 1);
            for (auto& b : input) b = static_cast<unsigned char>(random());
        }
        LzwState state;
        expand(state, input, static_cast<int>(random() % 5000) + 1);
    }
    // An empty strip writes nothing.
    LzwState state;
    EXPECT_TRUE(expand(state, Bytes{}, 10).empty());
}

struct PackBitsCase {
    const char* what;
    Bytes input;
    int out_size;
    int result;
    Bytes written;  // the bytes the output must start with
};

TEST(UnPackBits, Cases) {
    const Bytes apple = {0xFE, 0xAA, 0x02, 0x80, 0x00, 0x2A, 0xFD, 0xAA, 0x03, 0x80, 0x00,
                         0x2A, 0x22, 0xF7, 0xAA};
    const Bytes apple_out = {0xAA, 0xAA, 0xAA, 0x80, 0x00, 0x2A, 0xAA, 0xAA, 0xAA, 0xAA, 0x80, 0x00,
                             0x2A, 0x22, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA};
    const std::vector<PackBitsCase> cases = {
        {"Apple's example", apple, 24, 0, apple_out},
        {"-128 is skipped", {0x80, 0x01, 0x05, 0x06}, 2, 0, {0x05, 0x06}},
        {"final run does not fit", apple, 20, -1,
         Bytes(apple_out.begin(), apple_out.begin() + 14)},
        {"literal does not fit", {0x02, 1, 2, 3}, 2, -1, {}},
        {"no input", {}, 0, 0, {}},
        {"no input, negative room", {}, -1, -1, {}},
        {"literal cut off by the strip's end", {0x04, 9, 8}, 10, 0, {9, 8}},
        {"run without its value", {0xFE}, 10, 0, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Bytes out(static_cast<size_t>(c.out_size > 0 ? c.out_size : 0) + 8, 0xEE);
        EXPECT_EQ(UnPackBits(c.out_size, c.input.data(), out.data(), static_cast<int>(c.input.size())),
                  c.result);
        EXPECT_TRUE(std::equal(c.written.begin(), c.written.end(), out.begin()));
        size_t room = static_cast<size_t>(c.out_size > 0 ? c.out_size : 0);
        for (size_t i = room; i < out.size(); ++i) EXPECT_EQ(out[i], 0xEE);
    }
    EXPECT_EQ(PackBitsBuffer(apple.data(), nullptr, 15), 0);
}

}  // namespace
