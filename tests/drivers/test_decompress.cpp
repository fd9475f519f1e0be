// LZW and PackBits expanders, against strips written by libtiff's tiffcp
// (tests/data/make_lzw.sh) and hand-built code streams.

#include <gtest/gtest.h>

#include <algorithm>
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
    EXPECT_TRUE(count >= 0 && count <= limit) << count;
    EXPECT_EQ(std::count(out.begin() + limit, out.end(), 0xEE), 16) << "written past the limit";
    out.resize(static_cast<size_t>(std::max(count, 0)));
    return out;
}

// Writes codes most significant bit first at the widths a TIFF LZW reader
// expects: the width grows one code early, counting entries as the reader does.
class CodeWriter {
public:
    CodeWriter() { code(256); }
    CodeWriter& code(int value) {
        if (m_nextCode >= m_mask) {
            ++m_bits;
            m_mask = m_mask * 2 + 1;
        }
        for (int bit = m_bits - 1; bit >= 0; --bit) {
            m_acc = ((m_acc << 1) | ((value >> bit) & 1)) & 0xFF;
            if (++m_used % 8 == 0) m_bytes.push_back(static_cast<unsigned char>(m_acc));
        }
        // A clear restarts the table at 258; the code right after it adds no entry.
        if (value == 256) {
            m_nextCode = 258;
            m_bits = 9;
            m_mask = 511;
        } else if (!m_afterClear) {
            ++m_nextCode;
        }
        m_afterClear = value == 256;
        return *this;
    }
    Bytes end() {
        code(257);
        Bytes out = m_bytes;
        if (m_used % 8) out.push_back(static_cast<unsigned char>(m_acc << (8 - m_used % 8)));
        return out;
    }

private:
    Bytes m_bytes;
    int m_acc = 0, m_used = 0, m_bits = 9, m_mask = 511, m_nextCode = 0;
    bool m_afterClear = false;
};

TEST(LzwExpand, StripsWrittenByTiffcpExpandToTheirSamplesUpToTheLimit) {
    // Limits that end inside long strings of the flat area as well as in the ramp.
    for (const char* name : {"gradient-64x40", "noise-96x64"}) {
        Bytes strip = lzw_file(std::string(name) + ".lzw"), raw = lzw_file(std::string(name) + ".raw");
        ASSERT_FALSE(strip.empty() || raw.empty());
        for (int limit : {1, 64, 640, 1300, 1999, 2559, static_cast<int>(raw.size())}) {
            LzwState state;
            EXPECT_EQ(expand(state, strip, limit), Bytes(raw.begin(), raw.begin() + limit)) << name << " " << limit;
        }
    }
    LzwState freed;  // freed here and again by the destructor
    ASSERT_EQ(LZWBuffer(&freed.data, 10), 0);
    LZWFree(&freed.data);
    EXPECT_TRUE(freed.data.table == nullptr && freed.data.stack == nullptr);
}

TEST(LzwExpand, HandBuiltStreamsDecodeAsTiffReadersDo) {
    // "AB", then an unknown code: "AB" + "A" (the KwKwK case).
    LzwState state;
    EXPECT_EQ(expand(state, CodeWriter().code('A').code('B').code(258).code(260).end(), 100),
              (Bytes{'A', 'B', 'A', 'B', 'A', 'B', 'A'}));
}

TEST(LzwExpand, BrokenStripsStayInsideTheirBuffers) {
    // A stream that never clears fills the table (widths grow to 13 bits):
    // one byte after the clear, one for each of the 7843 stored entries, and
    // the code that found the table full.
    CodeWriter never_clears;
    for (int i = 0; i < 9000; ++i) never_clears.code('A');
    LzwState full;
    EXPECT_EQ(expand(full, never_clears.end(), 20000), Bytes(7845, 'A'));

    Bytes strip = lzw_file("noise-96x64.lzw"), raw = lzw_file("noise-96x64.raw");
    // Cut short: what comes out is the start of the samples.
    LzwState state;
    Bytes out = expand(state, Bytes(strip.begin(), strip.begin() + strip.size() / 2), static_cast<int>(raw.size()));
    ASSERT_TRUE(out.size() > 100u && out.size() < raw.size());
    EXPECT_TRUE(std::equal(out.begin(), out.end() - 16, raw.begin()));
    EXPECT_TRUE(expand(state, Bytes{}, 10).empty());

    // Random bytes and damaged strips: any result, no fault (run under ASan).
    std::mt19937 random(12345);
    for (int round = 0; round < 300; ++round) {
        Bytes input = strip;
        if (round % 2) {
            for (int k = 0; k < 8; ++k) input[random() % input.size()] = static_cast<unsigned char>(random());
            input.resize(random() % input.size() + 1);
        } else {
            input.resize(random() % 3000 + 1);
            for (auto& b : input) b = static_cast<unsigned char>(random());
        }
        LzwState fresh;
        expand(fresh, input, static_cast<int>(random() % 5000) + 1);
    }
}

TEST(UnPackBits, Cases) {
    const Bytes apple = {0xFE, 0xAA, 0x02, 0x80, 0x00, 0x2A, 0xFD, 0xAA, 0x03, 0x80, 0x00,
                         0x2A, 0x22, 0xF7, 0xAA};
    const Bytes apple_out = {0xAA, 0xAA, 0xAA, 0x80, 0x00, 0x2A, 0xAA, 0xAA, 0xAA, 0xAA, 0x80, 0x00,
                             0x2A, 0x22, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA};
    // `written`: the bytes the output must start with.
    const struct { const char* what; Bytes input; int out_size, result; Bytes written; } cases[] = {
        {"Apple's example", apple, 24, 0, apple_out},
        {"-128 is skipped", {0x80, 0x01, 0x05, 0x06}, 2, 0, {0x05, 0x06}},
        {"final run does not fit", apple, 20, -1, Bytes(apple_out.begin(), apple_out.begin() + 14)},
        {"literal does not fit", {0x02, 1, 2, 3}, 2, -1, {}},
        {"no input", {}, 0, 0, {}},
        {"no input, negative room", {}, -1, -1, {}},
        {"literal cut off by the strip's end", {0x04, 9, 8}, 10, 0, {9, 8}},
        {"run without its value", {0xFE}, 10, 0, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        size_t room = static_cast<size_t>(std::max(c.out_size, 0));
        Bytes out(room + 8, 0xEE);
        EXPECT_EQ(UnPackBits(c.out_size, c.input.data(), out.data(), static_cast<int>(c.input.size())), c.result);
        EXPECT_TRUE(std::equal(c.written.begin(), c.written.end(), out.begin()));
        EXPECT_EQ(std::count(out.begin() + room, out.end(), 0xEE), 8) << "written past the room";
    }
    EXPECT_EQ(PackBitsBuffer(apple.data(), nullptr, 15), 0);
}

}  // namespace
