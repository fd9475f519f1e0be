// ISO 8211 reader: every sample product's files against a plain walk of their
// leaders, the USRP quality files' colours against GDAL's table
// (tests/data/make_iso8211.sh), then hand-made files for the decoding rules
// and the failure codes.

#include <gtest/gtest.h>

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "drivers/military/iso8211.h"
#include "test_support.h"

extern "C" int fuzz_iso8211_one_input(const uint8_t* data, size_t size);

namespace {

// --- The samples -----------------------------------------------------------

struct Walked {
    std::string rty, rid;
};

// Reads each record's length from its leader and steps over it; the record
// identifier is the first field of every data record in these products.
std::vector<Walked> walk_leaders(const std::vector<unsigned char>& b) {
    auto number = [&](size_t at, size_t n) { return std::stoul(std::string(b.begin() + at, b.begin() + at + n)); };
    auto is_digits = [&](size_t at, size_t n) {
        for (size_t i = 0; i < n; ++i)
            if (at + i >= b.size() || b[at + i] < '0' || b[at + i] > '9') return false;
        return true;
    };
    std::vector<Walked> out;
    for (size_t at = 0; is_digits(at, 5); at += number(at, 5)) {
        if (at == 0) continue;
        size_t base = number(at + 12, 5), tag = b[at + 23] - '0', len = b[at + 20] - '0', pos = b[at + 21] - '0';
        size_t field = at + base + number(at + 24 + tag + len, pos);
        size_t end = field + 3;
        while (b[end] != 0x1E && b[end] != 0x1F) ++end;
        std::string rid(b.begin() + field + 3, b.begin() + end);
        out.push_back({std::string(b.begin() + field, b.begin() + field + 3), std::string(10 - rid.size(), '0') + rid});
    }
    return out;
}

TEST(Iso8211Samples, RecordsAndIndexEqualAWalkOfTheLeaders) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "shared samples absent";
    // Whole reads stop at a subfield above 2048 bytes: the padding field of
    // the SRP images holds 3862. Pixels start at byte 4096 of every SRP
    // image and at 2048 of the ADRG ones.
    const struct {
        const char* name;
        int whole;
        long pixels;
    } files[] = {
        {"adrg/SMALL_ADRG/ABCDEF01.GEN", 0, -1},       {"adrg/SMALL_ADRG/ABCDEF01.IMG", 0, 2048},
        {"adrg/SMALL_ADRG/TRANSH01.THF", 0, -1},       {"adrg/SMALL_ADRG_ZNA9/ABCDEF01.GEN", 0, -1},
        {"adrg/SMALL_ADRG_ZNA9/ABCDEF01.IMG", 0, 2048}, {"adrg/subdataset/TRANSH01.THF", 0, -1},
        {"adrg/subdataset/XXXXXX01.GEN", 0, -1},       {"adrg/subdataset/XXXXXX01.IMG", 0, 2048},
        {"adrg/subdataset/XXXXXX02.IMG", 0, 2048},     {"srp/USRP_PCB0/FKUSRP01.GEN", 0, -1},
        {"srp/USRP_PCB0/FKUSRP01.IMG", -10, 4096},     {"srp/USRP_PCB0/FKUSRP01.QAL", 0, -1},
        {"srp/USRP_PCB0/TRANSH01.THF", 0, -1},         {"srp/USRP_PCB4/FKUSRP01.GEN", 0, -1},
        {"srp/USRP_PCB4/FKUSRP01.IMG", -10, 4096},       {"srp/USRP_PCB4/FKUSRP01.QAL", 0, -1},
        {"srp/USRP_PCB8/FKUSRP01.GEN", 0, -1},         {"srp/USRP_PCB8/FKUSRP01.IMG", -10, 4096},
        {"srp/USRP_PCB8/FKUSRP01.QAL", 0, -1},
    };
    for (const auto& f : files) {
        SCOPED_TRACE(f.name);
        std::string path = tarntest::sample_path(f.name);
        std::vector<Walked> expected = walk_leaders(tarntest::read_file(path));
        ASSERT_FALSE(expected.empty());
        ISO8211File file;
        ASSERT_EQ(Read8211File(&file, path.c_str()), 0);
        ASSERT_EQ(file.nrecords, int(expected.size()));
        EXPECT_EQ(file.position, 1);
        for (size_t i = 0; i < expected.size(); ++i) {
            const unsigned char* entry = file.index + i * ISO8211_INDEX_ENTRY;
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(entry), 3), expected[i].rty);
            EXPECT_STREQ(reinterpret_cast<const char*>(entry + 3), expected[i].rid.c_str());
            EXPECT_EQ(entry[14], (i + 1) & 0xFF);
        }
        // Every record reads whole, and its identifier field says the same.
        ISO8211Record record = {};
        bool refused = false;
        for (size_t i = 0; i < expected.size(); ++i) {
            int code = ReadNext8211Record(&file, &record);
            if (f.whole != 0 && code == f.whole) {
                refused = true;
                continue;
            }
            ASSERT_EQ(code, 0) << "record " << i + 1;
            int id = Find8211Field(&record, "001", 0);
            ASSERT_EQ(id, 0);
            int rty = Find8211SubField(&record, "RTY", id, 0);
            ASSERT_GE(rty, 0);
            EXPECT_EQ(record.fields[id].subfields[rty].value, expected[i].rty);
        }
        EXPECT_EQ(refused, f.whole != 0);
        EXPECT_EQ(ReadNext8211Record(&file, &record), -12);
        Free8211Record(&record);
        if (f.pixels > 0) {
            long offset = 0, length = 0;
            ASSERT_EQ(Locate8211Field(&file, int(expected.size()), "SCN", &offset, &length), 0);
            EXPECT_EQ(offset, f.pixels);
            EXPECT_EQ(file.position, int(expected.size()) + 1);
        }
        EXPECT_EQ(Close8211File(&file), 0);
    }
}

TEST(Iso8211Samples, QualityFileColoursAreGdalsTable) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "shared samples absent";
    std::ifstream table(tarntest::data_path("iso8211/usrp_colours.txt"));
    std::string line;
    std::vector<std::string> expected_lines;
    while (std::getline(table, line)) expected_lines.push_back(line);
    ASSERT_EQ(expected_lines.size(), 12u);
    for (const char* product : {"USRP_PCB0", "USRP_PCB4", "USRP_PCB8"}) {
        SCOPED_TRACE(product);
        std::string path = tarntest::sample_path(std::string("srp/") + product + "/FKUSRP01.QAL");
        ISO8211File file;
        ASSERT_EQ(Read8211File(&file, path.c_str()), 0);
        ISO8211Record record = {};
        int colours = -1;
        std::vector<std::string> got;
        while (ReadNext8211Record(&file, &record) == 0) {
            if ((colours = Find8211Field(&record, "COL", 0)) >= 0) break;
        }
        ASSERT_GE(colours, 0);
        for (int s = 0; (s = Find8211SubField(&record, "CCD", colours, s)) >= 0; ++s) {
            const ISO8211SubField* sub = record.fields[colours].subfields;
            ASSERT_EQ(std::string(sub[s + 4].label), "FRM");
            ASSERT_EQ(std::string(sub[s + 5].label), "NSR");
            ASSERT_EQ(std::string(sub[s + 7].label), "NSB");
            std::ostringstream text;
            text << product << ' ' << atoi(sub[s].value) << ' ' << atoi(sub[s + 5].value) << ' '
                 << atoi(sub[s + 6].value) << ' ' << atoi(sub[s + 7].value);
            got.push_back(text.str());
        }
        std::vector<std::string> expected;
        for (const std::string& l : expected_lines)
            if (l.compare(0, strlen(product), product) == 0) expected.push_back(l);
        EXPECT_EQ(got, expected);
        Free8211Record(&record);
        Close8211File(&file);
    }
}

// --- Hand-made files ---------------------------------------------------------

std::string digits(size_t value, int width) {
    std::string s = std::to_string(value);
    return std::string(width - int(s.size()), '0') + s;
}

// One record: leader, directory (lengths of 4 digits, positions of 5, tags of
// 3 characters), fields given with their terminators.
std::string record(char id, const std::vector<std::pair<std::string, std::string>>& fields) {
    std::string directory, area;
    for (const auto& f : fields) {
        directory += f.first + digits(f.second.size(), 4) + digits(area.size(), 5);
        area += f.second;
    }
    directory += '\x1e';
    size_t base = 24 + directory.size();
    std::string leader = digits(base + area.size(), 5) + (id == 'L' ? "3L   06" : " D     ") + digits(base, 5) +
                         "   4503";
    return leader + directory + area;
}

// A descriptive record: tag, labels, format controls.
std::string ddr(const std::vector<std::vector<std::string>>& descriptions) {
    std::vector<std::pair<std::string, std::string>> fields = {{"000", "      TEST_FILE\x1e"}};
    for (const auto& d : descriptions)
        fields.push_back({d[0], "1600;&NAME\x1f" + d[1] + "\x1f" + d[2] + "\x1e"});
    return record('L', fields);
}

const std::vector<std::string> kId = {"001", "RTY!RID", "(A(3),I)"};

std::string data(const std::string& id, const std::vector<std::pair<std::string, std::string>>& more = {}) {
    std::vector<std::pair<std::string, std::string>> fields = {{"001", id + "\x1e"}};
    fields.insert(fields.end(), more.begin(), more.end());
    return record('D', fields);
}

struct Opened {
    tarntest::TempDir dir;
    ISO8211File file;
    int code;
    explicit Opened(const std::string& bytes) {
        code = Read8211File(&file, dir.write("test.gen", bytes).c_str());
    }
    ~Opened() {
        if (code == 0) Close8211File(&file);
    }
};

// Replaces bytes at an offset of a record string.
std::string patch(std::string s, size_t at, const std::string& with) { return s.replace(at, with.size(), with); }

TEST(Iso8211Errors, CodesOfBrokenFiles) {
    const std::string good_ddr = ddr({kId});
    const std::string rec = data("QAL1");
    const std::string long_text(2049, 'x');
    const struct {
        const char* what;
        std::string bytes;
        int code;
    } cases[] = {
        {"valid", good_ddr + rec, 0},
        {"RTY of 2 characters fixed", ddr({{"001", "RTY!RID", "(A(2),I)"}}) + data("QA1"), -10},
        {"RTY of 2 characters unit-terminated", ddr({{"001", "RTY!RID", "(A,I)"}}) + data("QA\x1f" "1"), -10},
        {"RID of 11 characters", good_ddr + data("QAL12345678901"), -10},
        {"record without RID", ddr({{"001", "RTY!XYZ", "(A(3),I)"}}) + data("QAL1"), -8},
        {"field the description lacks", good_ddr + data("QAL1", {{"ZZZ", "abc\x1e"}}), 0},
        {"field the description lacks first", good_ddr + record('D', {{"ZZZ", "a\x1e"}, {"001", "QAL1\x1e"}}),
         -10},
        {"subfield of 2049 bytes before RID",
         ddr({{"001", "TXT!RTY!RID", "(A,A(3),I)"}}) + data(long_text + "\x1fQAL1"), -10},
        {"subfield of 2048 bytes before RID",
         ddr({{"001", "TXT!RTY!RID", "(A,A(3),I)"}}) + data(long_text.substr(1) + "\x1fQAL1"), 0},
        {"missing file", "", -2},
        {"leader cut short", good_ddr.substr(0, 20), -7},
        {"descriptive record cut short", good_ddr.substr(0, good_ddr.size() - 5), -7},
        {"descriptive leader not L", patch(good_ddr, 6, "D"), -7},
        {"format controls unbalanced", ddr({{"001", "RTY!RID", "(A(3),I))"}}) + rec, -7},
        {"data leader cut short", good_ddr + rec + "00123 D", -11},
        {"record longer than the file", good_ddr + patch(rec, 0, "00999"), -11},
        {"record length not a number", good_ddr + rec + "00x23 D     00035   4503", 0},
        {"directory entry past the record", good_ddr + patch(rec, 3 + 24 + 4, "09999"), -11},
        {"field length past the record", good_ddr + patch(rec, 3 + 24, "0999"), -11},
        {"base address past the record", good_ddr + patch(rec, 12, "09999"), -11},
        {"directory digits broken", good_ddr + patch(rec, 3 + 24 + 1, "x"), -11},
        {"padding after the last record", good_ddr + rec + std::string(300, '^'), 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        if (c.code == -2) {
            ISO8211File file;
            EXPECT_EQ(Read8211File(&file, "/nonexistent/dir/file.gen"), -2);
            EXPECT_EQ(file.handle, 0);
            continue;
        }
        Opened opened(c.bytes);
        EXPECT_EQ(opened.code, c.code);
        if (c.code != 0) {
            // A failed open leaves the file closed and nothing to free.
            EXPECT_EQ(opened.file.handle, 0);
            EXPECT_EQ(opened.file.index, nullptr);
            EXPECT_EQ(opened.file.mode, ' ');
        }
    }
}

TEST(Iso8211Errors, LongSubfieldsFailOnlyWhenRead) {
    for (size_t size : {2048u, 2049u}) {
        SCOPED_TRACE(size);
        Opened opened(ddr({kId, {"TXT", "TXT", "(A)"}}) + data("QAL1", {{"TXT", std::string(size, 'y') + "\x1e"}}));
        ASSERT_EQ(opened.code, 0);
        ISO8211Record record = {};
        int code = ReadFirst8211Record(&opened.file, &record);
        if (size == 2048) {
            ASSERT_EQ(code, 0);
            EXPECT_EQ(record.fields[1].subfields[0].length, 2048);
        } else {
            EXPECT_EQ(code, -10);
            EXPECT_EQ(record.nfields, 0);
            EXPECT_EQ(record.fields, nullptr);
        }
        Free8211Record(&record);
    }
}

TEST(Iso8211Errors, IllegalParametersAndClosedFiles) {
    ISO8211File file;
    memset(&file, 0, sizeof file);
    ISO8211Record record = {};
    EXPECT_EQ(Read8211File(nullptr, "x"), -19);
    EXPECT_EQ(Read8211File(&file, nullptr), -19);
    EXPECT_EQ(Close8211File(&file), -19);
    EXPECT_EQ(ReadFirst8211Record(&file, &record), -19);
    EXPECT_EQ(ReadNext8211Record(&file, &record), -19);
    EXPECT_EQ(Read8211Record(&file, 1, &record), -19);
    EXPECT_EQ(Free8211Record(nullptr), -19);
    EXPECT_EQ(Free8211Field(nullptr, "001"), -19);
    EXPECT_EQ(Free8211Field(&record, "001"), 0);
    EXPECT_EQ(Find8211Field(nullptr, "001", 0), -19);
    EXPECT_EQ(Find8211Field(&record, "001", -1), -19);
    EXPECT_EQ(Find8211Field(&record, "001", 0), -13);
    EXPECT_EQ(Find8211SubField(&record, "RTY", 0, 0), -19);
    EXPECT_EQ(Dump8211Record(nullptr, stdout), -19);
    char* out = nullptr;
    EXPECT_EQ(prependZero(nullptr, 10, &out), -19);
    EXPECT_EQ(prependZero("12", 0, &out), -19);
    EXPECT_EQ(prependZero("12345678901", 10, &out), -11);
    ASSERT_EQ(prependZero("1234567", 10, &out), 0);
    EXPECT_STREQ(out, "0001234567");
    free(out);
}

// --- Decoding ----------------------------------------------------------------

struct Sub {
    const char* label;
    const char* format;
    std::string value;
};

TEST(Iso8211Decoding, SubfieldsOfFormatControls) {
    const struct {
        const char* what;
        std::vector<std::string> description;
        std::string content;
        std::vector<Sub> subfields;
    } cases[] = {
        {"repeat counts and a group",
         {"ABC", "V!W!X!Y!Z", "(2(A(2),I(1)),A)"},
         "ab1cd2rest\x1e",
         {{"V", "A(2)", "ab"}, {"W", "I(1)", "1"}, {"X", "A(2)", "cd"}, {"Y", "I(1)", "2"}, {"Z", "A", "rest"}}},
        {"repeating group of unit-terminated and fixed subfields",
         {"COL", "*CBD!CCD", "(A,I(3))"},
         "a\x1f" "001\x1f" "002\x1e",
         {{"CBD", "A", "a"}, {"CCD", "I(3)", "001"}, {"CBD", "A", ""}, {"CCD", "I(3)", "002"}}},
        {"repeat from the middle of the labels",
         {"VEC", "N!*X!Y", "(I(2),2A(1))"},
         "02abcd\x1e",
         {{"N", "I(2)", "02"}, {"X", "A(1)", "a"}, {"Y", "A(1)", "b"}, {"X", "A(1)", "c"}, {"Y", "A(1)", "d"}}},
        {"a group stops at the field's end",
         {"PTS", "*LON!LAT", "(2R(4))"},
         "1.002.003.00\x1e",
         {{"LON", "R(4)", "1.00"}, {"LAT", "R(4)", "2.00"}, {"LON", "R(4)", "3.00"}}},
        {"fixed widths hold terminator bytes",
         {"BIN", "*PIX", "(B(8))"},
         std::string("\x1f\x1e\x00\xff", 4) + "\x1e",
         {{"PIX", "B(8)", "\x1f"}, {"PIX", "B(8)", "\x1e"}, {"PIX", "B(8)", std::string(1, '\0')},
          {"PIX", "B(8)", "\xff"}}},
        {"binary controls",
         {"NUM", "U!S!L!B", "(b12,b22,b14,B(12))"},
         std::string("\x34\x12\xfe\xff\x01\x00\x00\x80\xab\xc0", 10) + "\x1e",
         {{"U", "b12", "\x34\x12"}, {"S", "b22", "\xfe\xff"}, {"L", "b14", std::string("\x01\x00\x00\x80", 4)},
          {"B", "B(12)", "\xab\xc0"}}},
        {"a fixed subfield cut by the field's end", {"CUT", "A!B", "(A(5),A(3))"}, "abc\x1e", {{"A", "A(5)", "abc"}}},
        {"elementary field", {"PAD", "", ""}, "  x  \x1e", {{"", "A", "  x  "}}},
        {"no terminator on the field", {"END", "E", "(A(2))"}, "zz", {{"E", "A(2)", "zz"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Opened opened(ddr({kId, c.description}) + data("QAL1", {{c.description[0], c.content}}));
        ASSERT_EQ(opened.code, 0);
        ISO8211Record record = {};
        ASSERT_EQ(ReadFirst8211Record(&opened.file, &record), 0);
        ASSERT_EQ(record.nfields, 2);
        const ISO8211Field& field = record.fields[1];
        EXPECT_STREQ(field.tag, c.description[0].c_str());
        ASSERT_EQ(field.nsubfields, int(c.subfields.size()));
        for (size_t i = 0; i < c.subfields.size(); ++i) {
            SCOPED_TRACE(i);
            EXPECT_STREQ(field.subfields[i].label, c.subfields[i].label);
            EXPECT_STREQ(field.subfields[i].format, c.subfields[i].format);
            EXPECT_EQ(std::string(field.subfields[i].value, field.subfields[i].length), c.subfields[i].value);
            EXPECT_EQ(field.subfields[i].value[field.subfields[i].length], '\0');
        }
        Free8211Record(&record);
    }
}

TEST(Iso8211Decoding, BinaryValues) {
    auto sub = [](const char* format, const std::string& bytes) {
        ISO8211SubField s = {};
        snprintf(s.format, sizeof s.format, "%s", format);
        s.value = const_cast<char*>(bytes.data());
        s.length = int32_t(bytes.size());
        return s;
    };
    const struct {
        const char* format;
        std::string bytes;
        int code;
        int64_t value;
    } cases[] = {
        {"b11", "\xfe", 0, 254},
        {"b21", "\xfe", 0, -2},
        {"b12", "\x34\x12", 0, 0x1234},
        {"b22", "\xfe\xff", 0, -2},
        {"b14", std::string("\x01\x00\x00\x80", 4), 0, 0x80000001LL},
        {"b24", std::string("\x01\x00\x00\x80", 4), 0, -2147483647LL},
        {"b13", std::string("\x01\x02\x03", 3), 0, 0x030201},
        {"B(16)", "\x12\x34", 0, 0x1234},
        {"B(12)", "\xab\xc0", 0, 0xabc},
        {"B(8)", "\x80", 0, 0x80},
        {"b14", "\x01\x02", -19, 0},
        {"B(16)", "\x01", -19, 0},
        {"A(2)", "12", -19, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format);
        ISO8211SubField s = sub(c.format, c.bytes);
        int64_t value = 0;
        EXPECT_EQ(Get8211BinaryValue(&s, &value), c.code);
        if (c.code == 0) {
            EXPECT_EQ(value, c.value);
        }
    }
}

TEST(Iso8211Records, IndexNumbersAndStepping) {
    std::string bytes = ddr({kId});
    for (int i = 1; i <= 300; ++i) bytes += data((i % 2 ? "AAA" : "BBB") + std::to_string(i));
    bytes += data("CCC1234567");
    Opened opened(bytes);
    ASSERT_EQ(opened.code, 0);
    ASSERT_EQ(opened.file.nrecords, 301);
    const unsigned char* last = opened.file.index + 300 * ISO8211_INDEX_ENTRY;
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(last), 3), "CCC");
    EXPECT_STREQ(reinterpret_cast<const char*>(last + 3), "0001234567");
    EXPECT_EQ(last[14], 301 & 0xFF);
    EXPECT_EQ(opened.file.index[255 * ISO8211_INDEX_ENTRY + 14], 0);  // record 256

    ISO8211Record record = {};
    auto rid = [&]() { return std::string(record.fields[0].subfields[1].value); };
    for (int i = 1; i <= 5; ++i) ASSERT_EQ(ReadNext8211Record(&opened.file, &record), 0);
    EXPECT_EQ(rid(), "5");
    EXPECT_EQ(opened.file.position, 6);
    ASSERT_EQ(Read8211Record(&opened.file, 1, &record), 0);
    EXPECT_EQ(rid(), "1");
    ASSERT_EQ(Read8211Record(&opened.file, 256, &record), 0);
    EXPECT_EQ(rid(), "256");
    ASSERT_EQ(ReadNext8211Record(&opened.file, &record), 0);
    EXPECT_EQ(rid(), "257");
    EXPECT_EQ(Read8211Record(&opened.file, 302, &record), -19);
    EXPECT_EQ(Read8211Record(&opened.file, 0, &record), -19);
    ASSERT_EQ(Read8211Record(&opened.file, 301, &record), 0);
    EXPECT_EQ(ReadNext8211Record(&opened.file, &record), -12);
    Free8211Record(&record);
}

TEST(Iso8211Records, FindFreeAndDump) {
    Opened opened(ddr({kId, {"COL", "*CCD!NSR", "(I(3),I(3))"}}) +
                  data("QAL1", {{"COL", "000255001128\x1e"}, {"COL", "002064\x1e"}}));
    ASSERT_EQ(opened.code, 0);
    ISO8211Record record = {};
    ASSERT_EQ(ReadFirst8211Record(&opened.file, &record), 0);
    EXPECT_EQ(Find8211Field(&record, "COL", 0), 1);
    EXPECT_EQ(Find8211Field(&record, "COL", 2), 2);
    EXPECT_EQ(Find8211Field(&record, "COL", 3), -13);
    EXPECT_EQ(Find8211Field(&record, "CO", 0), -13);
    EXPECT_EQ(Find8211SubField(&record, "NSR", 1, 0), 1);
    EXPECT_EQ(Find8211SubField(&record, "NSR", 1, 2), 3);
    EXPECT_EQ(Find8211SubField(&record, "NSR", 1, 4), -13);
    EXPECT_EQ(Find8211SubField(&record, "NSR", 3, 0), -19);

    FILE* out = tmpfile();
    ASSERT_NE(out, nullptr);
    ASSERT_EQ(Dump8211Record(&record, out), 0);
    rewind(out);
    std::string text;
    for (int c; (c = fgetc(out)) != EOF;) text += char(c);
    fclose(out);
    EXPECT_EQ(text,
              "\nRecord contain 3 fields\n"
              "\tField: 001\t(2 subfields)\n\t\tRTY\tA(3)\tQAL\n\t\tRID\tI\t1\n"
              "\tField: COL\t(4 subfields)\n\t\tCCD\tI(3)\t000\n\t\tNSR\tI(3)\t255\n"
              "\t\tCCD\tI(3)\t001\n\t\tNSR\tI(3)\t128\n"
              "\tField: COL\t(2 subfields)\n\t\tCCD\tI(3)\t002\n\t\tNSR\tI(3)\t064\n");

    long offset = 0, length = 0;
    EXPECT_EQ(Locate8211Field(&opened.file, 1, "COL", &offset, &length), 0);
    EXPECT_EQ(length, 12);
    EXPECT_EQ(Locate8211Field(&opened.file, 1, "XYZ", &offset, &length), -13);
    EXPECT_EQ(Locate8211Field(&opened.file, 2, "COL", &offset, &length), -19);

    EXPECT_EQ(Free8211Field(&record, "COL"), 0);
    EXPECT_EQ(record.fields[1].nsubfields, 0);
    EXPECT_EQ(record.fields[2].nsubfields, 2);
    EXPECT_EQ(Free8211Field(&record, "XYZ"), -13);
    EXPECT_EQ(Free8211Record(&record), 0);
    EXPECT_EQ(record.nfields, 0);
    EXPECT_EQ(Close8211File(&opened.file), 0);
    opened.code = -1;
    EXPECT_EQ(ReadFirst8211Record(&opened.file, &record), -19);
}

// The fuzz entry runs over every hand-made case, whole and cut at each byte.
TEST(Iso8211Fuzz, EntryPointTakesCutFiles) {
    std::string bytes = ddr({kId, {"COL", "*CBD!CCD", "(A,I(3))"}, {"NUM", "U!B", "(b12,B(8))"}}) +
                        data("QAL1", {{"COL", "a\x1f" "001b\x1f" "002\x1e"}, {"NUM", "\x01\x02\x03\x1e"}});
    for (size_t n = 0; n <= bytes.size(); ++n)
        fuzz_iso8211_one_input(reinterpret_cast<const uint8_t*>(bytes.data()), n);
}

}  // namespace
