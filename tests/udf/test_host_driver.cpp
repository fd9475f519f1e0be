// A driver of the host's own, registered through the public header, as
// identification meets it: asked after the built-in extension and content
// tests, before the extended names, with its file rewound; a throw is a no.

#include <gtest/gtest.h>
#include <tarnimage/udf.h>

#include <cstring>
#include <string>

#include "channel/identify.h"
#include "test_support.h"

namespace {

struct Seen {
    int calls = 0;
    long position = -2;
    bool had_file = false;
    std::string name;
};
Seen g_reader, g_accepter;
uint32_t g_accepter_code = 0;
std::string g_accept_ending;  // the accepter takes names ending in this

// Reads a few bytes and declines, leaving the file elsewhere than its start.
int reading_exist(const char* name, char*, FILE* fp) {
    ++g_reader.calls;
    g_reader.name = name;
    g_reader.had_file = fp != nullptr;
    g_reader.position = fp ? ftell(fp) : -1;
    if (fp) {
        char head[3];
        if (fread(head, 1, sizeof head, fp) != sizeof head) return 0;
    }
    return 0;
}

int throwing_exist(const char*, char*, FILE*) { throw 42; }

// Accepts by name, answering its code and a path of its own choosing.
int accepting_exist(const char* name, char* out_path, FILE* fp) {
    ++g_accepter.calls;
    g_accepter.name = name;
    g_accepter.had_file = fp != nullptr;
    g_accepter.position = fp ? ftell(fp) : -1;
    std::string text = name;
    if (text.size() < g_accept_ending.size() ||
        text.compare(text.size() - g_accept_ending.size(), std::string::npos, g_accept_ending) != 0)
        return 0;
    strcpy(out_path, name);
    strcat(out_path, ".data");
    return static_cast<int>(g_accepter_code);
}

UDFRecord record_with(UDFExistFunc exist, const char* keyword) {
    UDFRecord record = {};
    record.exist = exist;
    record.keyword = const_cast<char*>(keyword);
    record.suffix = const_cast<char*>("hst");
    record.description = const_cast<char*>("Host format");
    record.filter = const_cast<char*>("*.hst");
    return record;
}

class HostDriver : public ::testing::Test {
protected:
    void SetUp() override {
        UDFRecord reader = record_with(reading_exist, "READER");
        UDFRecord thrower = record_with(throwing_exist, "THROWER");
        UDFRecord accepter = record_with(accepting_exist, "ACCEPTER");
        m_reader = II_RegisterUDF(&reader);
        m_thrower = II_RegisterUDF(&thrower);
        g_accepter_code = m_accepter = II_RegisterUDF(&accepter);
        g_reader = Seen();
        g_accepter = Seen();
        g_accept_ending = ".mine";
    }
    void TearDown() override {
        II_UnregisterUDF(m_reader);
        II_UnregisterUDF(m_thrower);
        II_UnregisterUDF(m_accepter);
    }
    uint32_t m_reader = 0, m_thrower = 0, m_accepter = 0;
    tarntest::TempDir m_dir;
};

TEST_F(HostDriver, GetsCodesFrom1001Up) {
    EXPECT_GT(m_reader, 1000u);
    EXPECT_EQ(m_thrower, m_reader + 1);
    EXPECT_EQ(m_accepter, m_reader + 2);
}

TEST_F(HostDriver, AcceptsAfterAThrowWithItsFileRewound) {
    std::string path = m_dir.write("scene.mine", "MINE format, whatever follows");
    char resolved[TARN_PATH_MAX] = "";
    int type = 0;
    EXPECT_EQ(get_image_type_from_name(path.c_str(), resolved, &type), 1);
    EXPECT_EQ(type, static_cast<int>(m_accepter));
    EXPECT_EQ(path + ".data", resolved);  // the driver's own path, absolute already
    EXPECT_EQ(g_reader.calls, 1);
    EXPECT_TRUE(g_reader.had_file);
    EXPECT_EQ(g_reader.position, 0);  // the content tests read before it
    EXPECT_EQ(g_accepter.calls, 1);
    EXPECT_TRUE(g_accepter.had_file);
    EXPECT_EQ(g_accepter.position, 0);  // the reader moved it; rewound again
}

TEST_F(HostDriver, BuiltInTestsComeFirst) {
    // By extension and by content, the built-in formats win without asking.
    std::string bil = m_dir.write("a.mine.bil", "");
    std::string sun = m_dir.copy_in(tarntest::data_path("ident/sun-grey-7x5"), "sun.mine");
    g_accept_ending = "";  // would take anything
    char resolved[TARN_PATH_MAX];
    int type = 0;
    EXPECT_EQ(get_image_type_from_name(bil.c_str(), resolved, &type), 1);
    EXPECT_EQ(type, 8);
    EXPECT_EQ(get_image_type_from_name(sun.c_str(), resolved, &type), 1);
    EXPECT_EQ(type, 2);
    EXPECT_EQ(g_reader.calls, 0);
    EXPECT_EQ(g_accepter.calls, 0);
}

TEST_F(HostDriver, AskedWithoutAFileBeforeTheExtendedNames) {
    // "stem" doesn't exist but stem.rlc does: the drivers are asked about the
    // stem, with no file, before the suffixes are tried.
    m_dir.write("stem.rlc", "");
    std::string stem = m_dir.file("stem");
    char resolved[TARN_PATH_MAX];
    int type = 0;
    g_accept_ending = "/stem";
    EXPECT_EQ(get_image_type_from_name(stem.c_str(), resolved, &type), 1);
    EXPECT_EQ(type, static_cast<int>(m_accepter));
    EXPECT_FALSE(g_accepter.had_file);
    EXPECT_EQ(g_accepter.position, -1);

    g_accept_ending = ".never";
    EXPECT_EQ(get_image_type_from_name(stem.c_str(), resolved, &type), 1);
    EXPECT_EQ(type, 1);
    EXPECT_EQ(stem + ".rlc", resolved);
}

TEST_F(HostDriver, ANegativeAnswerEndsTheDecision) {
    // A driver may answer a negative code; it is passed on with the result 1,
    // and -1 itself means not identified.
    m_dir.write("n.rlc", "");
    std::string name = m_dir.file("n");
    UDFRecord record = record_with(
        [](const char*, char*, FILE*) -> int { return -2; }, "NEGATIVE");
    uint32_t negative = II_RegisterUDF(&record);
    char resolved[TARN_PATH_MAX];
    int type = 0;
    EXPECT_EQ(get_image_type_from_name(name.c_str(), resolved, &type), 1);
    EXPECT_EQ(type, -2);
    II_UnregisterUDF(negative);

    record = record_with([](const char*, char*, FILE*) -> int { return -1; }, "MINUSONE");
    uint32_t minus_one = II_RegisterUDF(&record);
    strcpy(resolved, "untouched");
    EXPECT_EQ(get_image_type_from_name(name.c_str(), resolved, &type), -1);
    EXPECT_EQ(type, -1);
    EXPECT_STREQ(resolved, "untouched");  // the .rlc beside it is never probed
    II_UnregisterUDF(minus_one);
}

}  // namespace
