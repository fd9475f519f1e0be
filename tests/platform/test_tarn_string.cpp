#include <tarnimage/tarn_string.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

const char* const kBogus = nullptr;
const char* const kAero = "/tmp/\xC3\x86r\xC3\xB8sk\xC3\xB8" "bing/kort_\xC3\xBC.ras";  // Ærøskøbing/kort_ü

TEST(TarnString, Utf8RoundTripsByteForByte) {
    for (const char* name : {"", kAero, "/maps/\xF0\x9F\x97\xBA world.tif", "\xE6\x97\xA5.nitf"}) {
        SCOPED_TRACE(name);
        CTarnUString s(name);
        EXPECT_EQ(s.toUTF8(), name);
        for (char* buffer : {s.getUTF8EncodedBuffer(), s.getCharBuffer()}) {
            EXPECT_STREQ(buffer, name);
            CTarnUString::releaseCharBuffer(buffer);
        }
        char target[64];
        EXPECT_EQ(s.extractUTF8(target, sizeof target), static_cast<long>(std::strlen(name)));
        EXPECT_STREQ(target, name);
    }
    char target[8];
    EXPECT_EQ(CTarnUString("\xC3\x86r").extractUTF8(target, 2), 3);
    EXPECT_STREQ(target, "");  // half of 'Æ' is never written
    EXPECT_EQ(CTarnUString("\xFF\xFE").charAt(0), 0xFFFD);  // broken UTF-8 is replaced, not trusted
    CTarnUString bogus(kBogus);
    EXPECT_TRUE(bogus.isBogus() && bogus.isEmpty() && bogus.right(3).isBogus());
    EXPECT_TRUE(CTarnUString(bogus).append("a").isEqualTo("a"));
}

TEST(TarnString, ComparisonIsExact) {
    struct Case { const char* a; const char* b; bool equal; };
    const Case cases[] = {
        {"a.ras", "a.ras", true}, {"A.ras", "a.ras", false}, {"a", "a ", false},
        {kBogus, kBogus, true},   {kBogus, "", false},
        {"\xC3\xA9", "e\xCC\x81", false},  // precomposed and combining é: no normalisation
    };
    for (const Case& c : cases) {
        CTarnUString a(c.a), b(c.b);
        EXPECT_EQ(a.isEqualTo(b), c.equal) << (c.a ? c.a : "(bogus)") << " vs " << (c.b ? c.b : "(bogus)");
        EXPECT_EQ(b.isEqualTo(a), c.equal);
        EXPECT_EQ(a.isEqualTo(c.b), c.equal);
    }
}

TEST(TarnString, PathOperations) {
    enum Op { Add, Correct, Subtract };
    struct Case { Op op; const char* in; const char* arg; const char* out; };
    const Case cases[] = {
        {Add, "/data//", "/x.ras", "/data/x.ras"},        {Add, "/", "x.ras", "/x.ras"},
        {Add, kBogus, "x.ras", "x.ras"},                  {Add, "/data", kBogus, "/data"},
        {Correct, "C:\\data\\x.ras", 0, "C:/data/x.ras"}, {Correct, "/a//b///c/", 0, "/a/b/c"},
        {Correct, "//", 0, "/"},
        {Subtract, "/a/b/c.ras", 0, "c.ras"},             {Subtract, "c.ras", 0, "c.ras"},
        {Subtract, "/a/b/", 0, "b"},                      {Subtract, "/", 0, "/"},
        {Subtract, kAero, 0, "kort_\xC3\xBC.ras"},
    };
    for (const Case& c : cases) {
        CTarnUString s(c.in);
        if (c.op == Add) s.addFile(CTarnUString(c.arg));
        if (c.op == Correct) s.correctPath();
        if (c.op == Subtract) s.subtractPath();
        EXPECT_EQ(s.toUTF8(), c.out) << "op " << c.op << " on " << (c.in ? c.in : "(bogus)");
    }
}

}  // namespace
