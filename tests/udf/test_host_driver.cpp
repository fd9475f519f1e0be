// A driver of the host's own, registered through the public header, as
// identification meets it: asked after the built-in extension and content
// tests, before the extended names, with its file rewound; a throw is a no.

#include <gtest/gtest.h>
#include <tarnimage/udf.h>

#include <cstring>
#include <string>
#include <utility>

#include "channel/identify.h"
#include "test_support.h"

namespace {

// Calls, and the file position at the last call (-1: asked without a file).
struct Seen {
    int calls = 0;
    long position = -2;
} g_reader, g_accepter;
uint32_t g_accepter_code = 0;
std::string g_accept_ending;  // the accepter takes names ending in this

// Moves the file away from its start and declines.
int reading_exist(const char*, char*, FILE* fp) {
    g_reader = {g_reader.calls + 1, fp ? ftell(fp) : -1};
    if (fp) fseek(fp, 3, SEEK_SET);
    return 0;
}

int throwing_exist(const char*, char*, FILE*) { throw 42; }

// Accepts by name, answering its code and a path of its own choosing.
int accepting_exist(const char* name, char* out_path, FILE* fp) {
    g_accepter = {g_accepter.calls + 1, fp ? ftell(fp) : -1};
    std::string text = name;
    size_t n = g_accept_ending.size();
    if (text.size() < n || text.compare(text.size() - n, n, g_accept_ending) != 0) return 0;
    strcpy(out_path, (text + ".data").c_str());
    return static_cast<int>(g_accepter_code);
}

class HostDriver : public ::testing::Test {
protected:
    void SetUp() override {
        const std::pair<UDFExistFunc, const char*> drivers[] = {
            {reading_exist, "READER"}, {throwing_exist, "THROWER"}, {accepting_exist, "ACCEPTER"}};
        uint32_t* codes[] = {&m_reader, &m_thrower, &m_accepter};
        for (int i = 0; i < 3; ++i) {
            UDFRecord record = {};
            record.exist = drivers[i].first;
            record.keyword = const_cast<char*>(drivers[i].second), record.suffix = const_cast<char*>("hst");
            *codes[i] = II_RegisterUDF(&record);
        }
        g_accepter_code = m_accepter;
        ASSERT_GT(m_reader, 1000u);
        ASSERT_EQ(m_accepter, m_reader + 2);
        g_reader = g_accepter = Seen();
        g_accept_ending = ".mine";
    }
    void TearDown() override {
        for (uint32_t code : {m_reader, m_thrower, m_accepter}) II_UnregisterUDF(code);
    }
    // Identifies name: the type, with the found name in found.
    int identify(const std::string& name, std::string& found) {
        char resolved[TARN_PATH_MAX] = "untouched";
        int type = 0;
        int result = get_image_type_from_name(name.c_str(), resolved, &type);
        found = resolved;
        EXPECT_EQ(result, type == -1 ? -1 : 1);
        return type;
    }
    uint32_t m_reader = 0, m_thrower = 0, m_accepter = 0;
    tarntest::TempDir m_dir;
};

TEST_F(HostDriver, AskedAfterTheBuiltInTestsWithItsFileRewoundAndAThrowIsANo) {
    // By extension and by content, the built-in formats win without asking.
    std::string found;
    EXPECT_EQ(identify(m_dir.write("a.mine.bil", ""), found), 8);
    EXPECT_EQ(identify(m_dir.copy_in(tarntest::data_path("ident/sun-grey-7x5"), "sun.mine"), found), 2);
    EXPECT_EQ(g_reader.calls + g_accepter.calls, 0);

    std::string path = m_dir.write("scene.mine", "MINE format, whatever follows");
    EXPECT_EQ(identify(path, found), static_cast<int>(m_accepter));
    EXPECT_EQ(found, path + ".data");  // the driver's own path, absolute already
    EXPECT_EQ(g_reader.calls, 1);
    EXPECT_EQ(g_reader.position, 0);  // the content tests read before it
    EXPECT_EQ(g_accepter.calls, 1);
    EXPECT_EQ(g_accepter.position, 0);  // the reader moved it; rewound again
}

TEST_F(HostDriver, AskedWithoutAFileBeforeTheExtendedNames) {
    // "stem" doesn't exist but stem.rlc does: the drivers are asked about the
    // stem, with no file, before the suffixes are tried.
    m_dir.write("stem.rlc", "");
    std::string stem = m_dir.file("stem"), found;
    g_accept_ending = "/stem";
    EXPECT_EQ(identify(stem, found), static_cast<int>(m_accepter));
    EXPECT_EQ(g_accepter.position, -1);

    g_accept_ending = ".never";
    EXPECT_EQ(identify(stem, found), 1);
    EXPECT_EQ(found, stem + ".rlc");
}

}  // namespace
