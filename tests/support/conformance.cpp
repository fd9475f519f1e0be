#include "conformance.h"

#include <dirent.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <tarnimage/properties.h>
#include <tarnimage/tarnimage.h>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "channel/identify.h"
#include "test_support.h"

namespace tarntest {
namespace {

int open_descriptors() {
    int count = 0;
    if (DIR* dir = opendir("/proc/self/fd")) {
        while (readdir(dir)) ++count;
        closedir(dir);
    }
    return count;
}

// Every check holds a manager, so that registered drivers stay registered,
// and must give back every descriptor it took.
class CheckScope {
public:
    CheckScope() : m_manager(getManager()), m_descriptors(open_descriptors()) {}
    ~CheckScope() {
        EXPECT_EQ(open_descriptors(), m_descriptors) << "a descriptor stayed open";
        m_manager->release();
    }

private:
    IInternalImageManager* m_manager;
    int m_descriptors;
};

// The type to open a file with: the suite's, or what identification finds.
int type_of(const DriverSuite& suite, const std::string& path) {
    if (suite.type != kByIdentification) return suite.type;
    std::vector<char> resolved(TARN_PATH_MAX);
    int type = -1;
    return get_image_type_from_name(path.c_str(), resolved.data(), &type) == 1 && type > 1000 ? type : -1;
}

// A property answer as 1 or -1: some members answer 0 on success (the
// registered drivers', the BMP driver's), most answer 1.
int said(const DriverSuite& suite, int answer) {
    if (answer == suite.info_success) return 1;
    return suite.type == kByIdentification && answer == 0 ? 1 : answer;
}

// Registered drivers answer queries about the name asked last from memory:
// before asking about a file rewritten under the same name, ask about another.
void forget_last_name(const TempDir& dir, const DriverSuite& suite) {
    if (suite.type != kByIdentification) return;
    int rows, columns, bands, depth;
    get_image_info(1001, dir.file("never" + suite.suffix).c_str(), &rows, &columns, &bands, &depth);
}

// The fixture's file, with its companions, in a fresh directory.
std::string stage(const TempDir& dir, const DriverFixture& f, const Bytes* bytes = nullptr) {
    for (const std::string& c : f.companions) dir.copy_in(data_path(c), c.substr(c.rfind('/') + 1));
    const std::string name = f.file.substr(f.file.rfind('/') + 1);
    return bytes ? dir.write(name, *bytes) : dir.copy_in(data_path(f.file), name);
}

// Is the raw value v at (x, y) of band `band` the reference's?
bool same(const DriverFixture& f, const Pnm& ref, const uint8_t* const rgb[3], uint32_t v, int x, int y,
          int band) {
    if (f.colours <= 0) return static_cast<int>(v) == ref.at(x, y, ref.channels == 3 ? band : 0);
    if (v > 255) return false;
    unsigned char want[4];
    ref.rgba(x, y, want);
    for (int c = 0; c < 3; ++c)
        if (rgb[c][v] != want[c]) return false;
    return true;
}

struct Block {
    long x = -1, y = -1, width = -1, height = -1;
    std::vector<unsigned char> rgba;
    bool null = true;
};

Block read_block(IInternalImage* image) {
    Block b;
    DirectMemoryHolder* holder = image->getData(&b.x, &b.y, &b.width, &b.height);
    if (!holder) return b;
    b.null = false;
    const unsigned char* p = static_cast<const unsigned char*>(holder->data());
    b.rgba.assign(p, p + holder->length());
    holder->release();
    return b;
}

// One manager connected to one file of a directory.
class Host {
public:
    Host(const std::string& dir, const std::string& file) : m_manager(getManager()) {
        m_manager->connect(CTarnUString(dir.c_str()), CTarnUString(file.c_str()));
        if (m_manager->getImageCount() == 1) m_image = m_manager->getImage(0);
    }
    ~Host() {
        if (m_image) m_image->release();
        m_manager->release();
    }
    IInternalImage* image() const { return m_image; }

private:
    IInternalImageManager* m_manager;
    IInternalImage* m_image = nullptr;
};

// A block of the clip (cx, cy, cw, ch) at scale s: the clip divided by the
// scale, and each pixel inside the image the reference's pixel sampled from
// the clip's corner s pixels apart. Scales 1, 2 and 1/2 are exact in single
// precision; at others a sample on a pixel's edge may go either way.
::testing::AssertionResult sampled(const Block& b, const Pnm& ref, long cx, long cy, long cw, long ch, double s,
                                   long rows = -1) {
    // The image cuts a clip to its own extent: a corner left of or above it
    // moves to 0 keeping the size, and the size ends at the far edge.
    cx = std::max(cx, 0L), cy = std::max(cy, 0L);
    cw = std::max(std::min(cw, ref.width - cx), 0L), ch = std::max(std::min(ch, ref.height - cy), 0L);
    const long want[4] = {long(cx / s), long(cy / s), long(cw / s), long(ch / s)};
    if (want[2] == 0 || want[3] == 0)  // nothing to show
        return b.null ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << "a block of nothing";
    if (b.null) return ::testing::AssertionFailure() << "null block";
    if (b.x != want[0] || b.y != want[1] || b.width != want[2] || b.height != want[3] ||
        b.rgba.size() != size_t(b.width * b.height * 4))
        return ::testing::AssertionFailure() << "block " << b.x << "," << b.y << " " << b.width << "x" << b.height;
    const double slack = (s == 1 || s == 2 || s == 0.5) ? 0 : 1e-4;
    auto sources = [&](long origin, long i) {
        const double v = origin + i * s;
        return std::vector<long>{long(std::floor(v - slack)), long(std::floor(v + slack))};
    };
    for (long r = 0; r < (rows < 0 ? b.height : rows); ++r)
        for (long c = 0; c < b.width; ++c) {
            bool inside = false, match = false;
            for (long y : sources(cy, r))
                for (long x : sources(cx, c)) {
                    if (x < 0 || y < 0 || x >= ref.width || y >= ref.height) continue;
                    inside = true;
                    unsigned char px[4];
                    ref.rgba(int(x), int(y), px);
                    match = match || memcmp(&b.rgba[(size_t(r) * b.width + c) * 4], px, 4) == 0;
                }
            if (inside && !match) return ::testing::AssertionFailure() << "pixel (" << c << ", " << r << ") at " << s;
        }
    return ::testing::AssertionSuccess();
}

// Opens through the channel; rows as get_image_row answers them, each row
// read compared with the reference when one is given. -1 if the open fails.
int channel_rows(const std::string& path, int type, const DriverFixture* f, const Pnm* ref, std::vector<int>* rows,
                 size_t max_rows) {
    Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
    const int opened = open_image_channel(image, path.c_str(), 'r', type, 0);
    if (opened != 1) {  // the record is ours again, and nothing of it stays open
        EXPECT_EQ(image->read_open, 0);
        free(image);
        return opened;
    }
    uint8_t rgb[3][256] = {};
    const uint8_t* maps[3] = {rgb[0], rgb[1], rgb[2]};
    int first = -1, last = -1;
    if (f && f->colours > 0) get_image_colormap(image, &first, &last, rgb[0], rgb[1], rgb[2]);
    const int width = image_columns(image), bands = image_nbands(image) > 0 ? image_nbands(image) : 1;
    std::vector<uint32_t> row(size_t(width > 0 ? width : 1) * (bands > 3 ? bands : 3));
    for (size_t y = 0; y < max_rows && int(y) < image_rows(image); ++y) {
        int result = get_image_row(image, int(y), row.data(), int(row.size()));
        rows->push_back(result);
        if (result != 1 || !f) continue;
        for (int x = 0; x < f->width; ++x)
            for (int c = 0; c < f->bands; ++c)  // bands follow each other: all reds, all greens, ...
                if (!same(*f, *ref, maps, row[size_t(c) * f->width + x], x, int(y), c)) {
                    ADD_FAILURE() << "row " << y << " differs at " << x << " band " << c;
                    x = f->width;
                    break;
                }
    }
    EXPECT_EQ(close_image_channel(image, 'r'), 1);
    return opened;
}

}  // namespace

OpenImage::~OpenImage() {
    if (multi) {
        free_multi_buffers(&image);
        multi_image_close(&image);
    } else {
        image_close(&image);
    }
}

int OpenImage::open(const std::string& path, int type, int band) {
    char empty[1] = {0};
    return image_open(&image, path.c_str(), type, band, 1, empty, empty);
}

int OpenImage::open_multi(const std::string& path, int type, int r, int g, int b) {
    multi = true;
    char empty[1] = {0};
    return multi_image_open(&image, path.c_str(), type, r, g, b, 1, empty, empty);
}

bool OpenImage::map(int type, int first_col, int last_col, int first_row, int last_row) {
    if (image_row_map(&image, type, first_col, last_col, first_row, last_row) != 1) return false;
    initialize_row_IO(&image);
    return (multi ? allocate_multi_internal_buffers(&image) : allocate_internal_buffers(&image)) == 1;
}

uint32_t OpenImage::at(int i, int k) const {
    const uint8_t* b8 = multi ? image.mrow8[k] : image.row8;
    const uint16_t* b16 = multi ? image.mrow16[k] : image.row16;
    const uint32_t* b32 = multi ? image.mrow32[k] : image.row32;
    return b8 ? b8[i] : b16 ? b16[i] : b32[i];
}

void check_rows(const DriverSuite& suite) {
    CheckScope scope;
    for (const DriverFixture& f : suite.fixtures) {
        SCOPED_TRACE(f.file);
        const std::string path = data_path(f.file);
        const Pnm ref = read_pnm(data_path(f.reference));
        ASSERT_EQ(std::vector<int>({ref.width, ref.height}), std::vector<int>({f.width, f.height}));
        const int type = type_of(suite, path);
        int rows = -9, columns = -9, bands = -9, depth = -9, rows2 = -9, columns2 = -9, bands2 = -9, depth2 = -9;
        ASSERT_EQ(said(suite, get_image_info(type, path.c_str(), &rows, &columns, &bands, &depth)), 1);
        ASSERT_EQ(said(suite, get_image_extent(type, path.c_str(), &rows2, &columns2)), 1);
        ASSERT_EQ(said(suite, get_image_depth(type, path.c_str(), &depth2)) +
                      said(suite, get_image_nbands(type, path.c_str(), &bands2)),
                  2);
        EXPECT_EQ(std::vector<int>({rows, columns, bands, depth, rows2, columns2, bands2, depth2}),
                  std::vector<int>({f.height, f.width, f.bands, f.depth, f.height, f.width, f.bands, f.depth}));

        // Every row through get_image_row, then again through get_image_row8 on
        // a second open: a run-encoded file is read forward only.
        for (bool eight : {false, true}) {
            if (eight && f.depth > 8) continue;
            SCOPED_TRACE(eight ? "get_image_row8" : "get_image_row");
            std::unique_ptr<Image, void (*)(Image*)> image(static_cast<Image*>(calloc(1, sizeof(Image))),
                                                           [](Image* i) { close_image_channel(i, 'r'); });
            ASSERT_EQ(open_image_channel(image.get(), path.c_str(), 'r', type, 0), 1);
            EXPECT_EQ(std::vector<int>({image_rows(image.get()), image_columns(image.get()),
                                        image_nbands(image.get()), image_type(image.get())}),
                      std::vector<int>({f.height, f.width, f.bands, type}));
            EXPECT_EQ(image_colors(image.get()), f.colours);
            uint8_t rgb[3][256] = {};
            const uint8_t* maps[3] = {rgb[0], rgb[1], rgb[2]};
            int first = -1, last = -1;
            if (f.colours > 0) {
                ASSERT_EQ(get_image_colormap(image.get(), &first, &last, rgb[0], rgb[1], rgb[2]), 1);
                EXPECT_EQ(std::vector<int>({first, last}), std::vector<int>({0, f.colours - 1}));
            }
            const size_t n = size_t(f.width) * f.bands;
            std::vector<uint32_t> row(n);
            std::vector<uint8_t> row8(n);
            for (int y = 0; y < f.height; ++y) {
                if (eight) {
                    ASSERT_EQ(get_image_row8(image.get(), y, row8.data(), int(n)), 1) << "row " << y;
                    row.assign(row8.begin(), row8.end());
                } else {
                    ASSERT_EQ(get_image_row(image.get(), y, row.data(), int(n)), 1) << "row " << y;
                }
                for (int x = 0; x < f.width; ++x)
                    for (int c = 0; c < f.bands; ++c)  // bands follow each other: all reds, all greens, ...
                        ASSERT_TRUE(same(f, ref, maps, row[size_t(c) * f.width + x], x, y, c))
                            << "pixel " << x << "," << y << " band " << c;
            }
        }

        OpenImage im;  // the three bands at once
        ASSERT_EQ(im.open_multi(path, type, 1, 2, 3), f.multi);
        if (f.multi != 1) continue;
        ASSERT_TRUE(im.map(type, 0, f.width - 1, 0, f.height - 1));
        for (int y = 0; y < f.height; ++y) {
            ASSERT_NE(im.image.get_row(&im.image, y), -1) << "row " << y;
            for (int x = 0; x < f.width; ++x)
                for (int c = 0; c < 3; ++c)
                    ASSERT_EQ(int(im.at(x, c)), ref.at(x, y, c)) << "pixel " << x << "," << y << " band " << c;
        }
    }
}

void check_windows(const DriverSuite& suite) {
    CheckScope scope;
    std::vector<Window> windows = suite.windows;
    for (const DriverFixture& f : suite.fixtures) {  // the right part from row 1, every second row; the last band
        windows.push_back({f.file, 1, f.width / 3, f.width - 1, 1 % f.height, 2});
        windows.push_back({f.file, f.bands, 1, f.width / 2, 0, 3});
    }
    for (const Window& w : windows) {
        SCOPED_TRACE(w.file + " band " + std::to_string(w.band) + " from column " + std::to_string(w.first_col));
        const DriverFixture* f = nullptr;
        for (const DriverFixture& g : suite.fixtures)
            if (g.file == w.file) f = &g;
        ASSERT_NE(f, nullptr);
        const Pnm ref = read_pnm(data_path(f->reference));
        const std::string path = data_path(f->file);
        const int type = type_of(suite, path);
        OpenImage im;
        ASSERT_EQ(im.open(path, type, w.band), 1);
        ASSERT_TRUE(im.map(type, w.first_col, w.last_col, w.first_row, f->height - 1));
        const int band = w.band <= f->bands ? w.band - 1 : 0;  // out of range: the first
        const Colormap& map = im.image.colormap;
        const uint8_t* maps[3] = {map.red, map.green, map.blue};
        for (int y = w.first_row; y < f->height; y += w.step) {
            ASSERT_NE(im.image.get_row(&im.image, y), -1) << "row " << y;
            for (int x = w.first_col; x <= w.last_col; ++x)
                ASSERT_TRUE(same(*f, ref, maps, im.at(x - w.first_col), x, y, band))
                    << x << "," << y;
        }
    }
}

void check_get_data(const DriverSuite& suite) {
    CheckScope scope;
    for (const DriverFixture& f : suite.fixtures) {
        SCOPED_TRACE(f.file);
        const Pnm ref = read_pnm(data_path(f.reference));
        TempDir dir;
        const std::string path = stage(dir, f);
        Host host(dir.path(), path.substr(path.rfind('/') + 1));
        IInternalImage* image = host.image();
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(image->hasMore(), 1);
        const Block whole = read_block(image);
        EXPECT_TRUE(sampled(whole, ref, 0, 0, f.width, f.height, 1));
        EXPECT_EQ(read_block(image).rgba, whole.rgba);  // a second read is the same
        EXPECT_EQ(image->hasMore(), 0);
        EXPECT_EQ(image->reset(), 1);
        EXPECT_EQ(image->hasMore(), 1);

        const long w = f.width, h = f.height;
        const struct { long x, y, width, height; } clips[] = {  // the last two past the edges
            {0, 0, w, h}, {w / 4, h / 4, w / 2 + 1, h / 2 + 1}, {w / 2, h / 3, w, h}, {-2, -1, w / 2, h}};
        for (const auto& c : clips)
            for (double s : {1.0, 2.0, 0.5, 3.7}) {
                image->setClipRect(c.x, c.y, c.width, c.height);
                image->setScale(s);
                EXPECT_TRUE(sampled(read_block(image), ref, c.x, c.y, c.width, c.height, s))
                    << "clip " << c.x << "," << c.y << " " << c.width << "x" << c.height;
            }
        image->setScale(1);
        for (const auto& c : {std::vector<long>{0, 0, 0, h}, {w + 3, 0, 5, 5}, {0, h, w, 2}}) {
            image->setClipRect(c[0], c[1], c[2], c[3]);  // empty, or wholly outside
            EXPECT_TRUE(read_block(image).null) << c[0] << "," << c[1];
        }
        image->setClipRect(0, 0, w, h);
        for (double s : {0.0, -1.0, 1e-300, std::nan("")}) {
            image->setScale(s);  // no window at such a scale
            EXPECT_TRUE(read_block(image).null) << s;
        }
    }
}

void check_truncation(const DriverSuite& suite) {
    CheckScope scope;
    for (const DriverFixture& f : suite.fixtures) {
        const Pnm ref = read_pnm(data_path(f.reference));
        const Bytes bytes = read_file(data_path(f.file));
        const size_t header = suite.header_size ? std::min(suite.header_size(bytes), bytes.size()) : 0;
        std::vector<size_t> cuts;
        for (size_t n = 0; n <= header; ++n) cuts.push_back(n);
        for (size_t k = 1; k <= 16; ++k) cuts.push_back(header + (bytes.size() - header) * k / 17);
        cuts.push_back(bytes.size() - 1);
        TempDir dir;
        for (size_t n : cuts) {
            SCOPED_TRACE(f.file + " cut to " + std::to_string(n) + " bytes");
            const Bytes cut(bytes.begin(), bytes.begin() + long(n));
            const std::string path = stage(dir, f, &cut);
            const int type = type_of(suite, path);
            int rows, columns, bands, depth;
            forget_last_name(dir, suite);  // every cut has the same name
            const int info = said(suite, get_image_info(type, path.c_str(), &rows, &columns, &bands, &depth));
            EXPECT_TRUE(info == 1 || info == -1) << info;
            std::vector<int> results;  // the rows that read are the reference's
            const int opened = channel_rows(path, type, &f, &ref, &results, size_t(f.height));
            EXPECT_TRUE(opened == 1 || opened == -1) << opened;
            size_t good = 0;
            while (good < results.size() && results[good] == 1) ++good;
            for (int r : results) EXPECT_TRUE(r == 1 || r == -1) << r;

            Host host(dir.path(), path.substr(path.rfind('/') + 1));
            if (!host.image()) continue;
            const Block b = read_block(host.image());
            // A block whenever a row reads; the rows before the damage are whole.
            if (good > 0) {
                EXPECT_TRUE(sampled(b, ref, 0, 0, f.width, f.height, 1, long(good)));
            }
            if (!b.null) {
                EXPECT_EQ(b.rgba.size(), size_t(b.width * b.height * 4));
            }
        }
    }
}

void check_broken(const DriverSuite& suite) {
    CheckScope scope;
    TempDir dir;
    for (const BrokenFile& c : suite.broken) {
        SCOPED_TRACE(c.what);
        std::vector<std::string> sides;
        for (const auto& side : c.beside) sides.push_back(dir.write("broken" + side.first, side.second));
        std::shared_ptr<void> remove_sides(nullptr, [&sides](void*) {
            for (const std::string& side : sides) std::remove(side.c_str());
        });
        const std::string path = dir.write("broken" + suite.suffix, c.bytes);
        if (c.identified != kUnchecked) {
            std::vector<char> resolved(TARN_PATH_MAX);
            int type = -1;
            get_image_type_from_name(dir.write("content", c.bytes).c_str(), resolved.data(), &type);
            EXPECT_EQ(type, c.identified);
        }
        const int type = type_of(suite, path);
        int rows, columns, bands, depth;
        // Every case has the same name, and each question is asked afresh.
        forget_last_name(dir, suite);
        EXPECT_EQ(said(suite, get_image_info(type, path.c_str(), &rows, &columns, &bands, &depth)), said(suite, c.info));
        forget_last_name(dir, suite);
        EXPECT_EQ(said(suite, get_image_extent(type, path.c_str(), &rows, &columns)), said(suite, c.info));
        forget_last_name(dir, suite);
        EXPECT_EQ(said(suite, get_image_nbands(type, path.c_str(), &bands)), said(suite, c.info));
        forget_last_name(dir, suite);
        EXPECT_EQ(said(suite, get_image_depth(type, path.c_str(), &depth)), said(suite, c.info));
        std::vector<int> results;
        EXPECT_EQ(channel_rows(path, type, nullptr, nullptr, &results, c.rows.size()), c.open);
        EXPECT_EQ(results, c.rows);
        Host host(dir.path(), "broken" + suite.suffix);  // the host's read answers too
        if (host.image()) {
            const Block b = read_block(host.image());
            if (!b.null) {
                EXPECT_EQ(b.rgba.size(), size_t(host.image()->getWidth() * host.image()->getHeight() * 4));
            }
        }
    }
    const std::string absent = dir.file("absent" + suite.suffix);
    const int type = suite.type != kByIdentification ? suite.type : 1001;
    int rows, columns, bands, depth;
    EXPECT_EQ(get_image_info(type, absent.c_str(), &rows, &columns, &bands, &depth), -1);
    std::vector<int> results;
    EXPECT_EQ(channel_rows(absent, type, nullptr, nullptr, &results, 1), -1);
    OpenImage single, multi;
    EXPECT_EQ(single.open(absent, type, 1), -1);
    EXPECT_EQ(multi.open_multi(absent, type, 1, 2, 3), -1);
}

void check_listing(const DriverSuite& suite) {
    if (suite.fixtures.empty()) GTEST_SKIP() << "no fixtures to list";
    CheckScope scope;
    TempDir dir;
    for (const DriverFixture& f : suite.fixtures) {
        std::string name = stage(dir, f);
        if (suite.identified_by_content) {  // no extension to go by
            std::string bare = name.substr(0, name.rfind('.'));
            rename(name.c_str(), bare.c_str());
        }
    }
    IInternalImageManager* manager = getManager();
    ASSERT_TRUE(manager->connect(CTarnUString(dir.path().c_str()), CTarnUString("")));
    EXPECT_EQ(manager->getImageCount(), long(suite.fixtures.size()));
    for (const DriverFixture& f : suite.fixtures) {
        std::string name = f.file.substr(f.file.rfind('/') + 1);
        if (suite.identified_by_content) name = name.substr(0, name.rfind('.'));
        SCOPED_TRACE(name);
        IInternalImage* image = manager->findImage(CTarnUString(name.c_str()));
        if (!image) {
            ADD_FAILURE() << "not listed";
            continue;
        }
        if (suite.type == kByIdentification) {
            EXPECT_GT(image->getType(), 1000);
        } else {
            EXPECT_EQ(image->getType(), suite.type);
        }
        EXPECT_EQ(std::vector<long>({image->getWidth(), image->getHeight(), image->getBandCount(),
                                     image->getPixelDepth(0)}),
                  std::vector<long>({f.width, f.height, f.bands, f.depth}));
        image->release();
    }
    manager->release();
}

void check_samples(const DriverSuite& suite) {
    if (suite.samples.empty()) return;
    if (!samples_present()) GTEST_SKIP() << "no shared sample folder";
    CheckScope scope;
    for (const SampleFile& s : suite.samples) {
        SCOPED_TRACE(s.file);
        const std::string path = sample_path(s.file);
        const int type = type_of(suite, path);
        int rows, columns, bands, depth;
        ASSERT_EQ(said(suite, get_image_info(type, path.c_str(), &rows, &columns, &bands, &depth)), 1);
        EXPECT_EQ(std::vector<int>({rows, columns, bands, depth}),
                  std::vector<int>({s.rows, s.columns, s.bands, s.depth}));
        Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
        ASSERT_EQ(open_image_channel(image, path.c_str(), 'r', type, 0), s.opens);
        if (s.opens != 1) {
            free(image);
            continue;
        }
        std::vector<uint32_t> row(size_t(s.columns) * s.bands);
        uint32_t hash = 2166136261u;
        for (int y = 0; y < s.rows; ++y) {
            const int result = get_image_row(image, y, row.data(), int(row.size()));
            ASSERT_EQ(result, s.hash ? 1 : -1) << "row " << y;
            if (result != 1) break;
            for (int x = 0; x < s.columns; ++x)
                for (int k = 0; k < s.bands; ++k) hash = (hash ^ row[size_t(k) * s.columns + x]) * 16777619u;
        }
        if (s.hash) {
            EXPECT_EQ(hash, s.hash);
        }
        EXPECT_EQ(close_image_channel(image, 'r'), 1);
    }
}

void check_fuzz(const DriverSuite& suite) {
    if (!suite.fuzz) GTEST_SKIP() << "no fuzz entry";
    CheckScope scope;
    for (const DriverFixture& f : suite.fixtures) {
        const Bytes bytes = read_file(data_path(f.file));
        suite.fuzz(bytes.data(), bytes.size());
    }
    for (const BrokenFile& c : suite.broken) suite.fuzz(c.bytes.data(), c.bytes.size());
}

}  // namespace tarntest
