// A host that reads from several threads, built with ThreadSanitizer by
// tests/tools/test_threads.sh. Four threads each read their own clone() of one
// image many times and must get the blocks of a single-threaded read; then
// threads share single objects, but only to take and drop references.
// Usage: threads_host PATH...   (exit 0 when all is well)
#include <tarnimage/tarnimage.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

const int kThreads = 4;
const int kReads = 100;

struct View {  // a clip as fractions of the image, and a scale
    double x, y, width, height, scale;
};

// Whole, inner, edge-touching and past-the-edge clips at scales that repeat,
// keep and skip pixels.
const View kViews[] = {
    {0.0, 0.0, 1.0, 1.0, 1.0},   {0.0, 0.0, 1.0, 1.0, 2.0},   {0.25, 0.2, 0.5, 0.6, 1.0},
    {0.1, 0.0, 0.7, 1.0, 0.5},   {0.5, 0.5, 1.0, 1.0, 1.5},   {0.0, 0.3, 0.4, 0.4, 3.0},
    {0.3, 0.1, 0.6, 0.9, 0.75},
};
const int kViewCount = sizeof kViews / sizeof kViews[0];

struct Block {
    long x = -1, y = -1, width = -1, height = -1;
    bool present = false;
    std::vector<unsigned char> bytes;
    bool operator==(const Block& o) const {
        return x == o.x && y == o.y && width == o.width && height == o.height &&
               present == o.present && bytes == o.bytes;
    }
};

Block readView(IInternalImage* image, const View& view) {
    long w = image->getWidth(), h = image->getHeight();
    image->setClipRect(static_cast<long>(view.x * w), static_cast<long>(view.y * h),
                       static_cast<long>(view.width * w), static_cast<long>(view.height * h));
    image->setScale(view.scale);
    Block block;
    DirectMemoryHolder* holder = image->getData(&block.x, &block.y, &block.width, &block.height);
    if (holder) {
        block.present = true;
        const unsigned char* data = static_cast<const unsigned char*>(holder->data());
        if (data) block.bytes.assign(data, data + holder->length());
        holder->release();
    }
    return block;
}

int fail(const char* what, const std::string& name) {
    std::printf("FAIL %s: %s\n", name.c_str(), what);
    return 1;
}

struct Georeference {
    bool valid = false;
    double t[6] = {0, 0, 0, 0, 0, 0};
    bool operator==(const Georeference& o) const {
        return valid == o.valid && std::memcmp(t, o.t, sizeof t) == 0;
    }
};

Georeference georeference(IInternalImage* image) {
    Georeference g;
    g.valid = image->isGeoReferenced();
    image->getGeoReference(&g.t[0], &g.t[1], &g.t[2], &g.t[3], &g.t[4], &g.t[5]);
    return g;
}

// Four threads, each on its own clone, compared with the single-threaded blocks.
// Before reading, all four ask the shared object for its georeference, which
// it works out on the first call.
int readFromClones(IInternalImage* image, const std::string& name) {
    std::vector<Block> reference;
    for (const View& view : kViews) reference.push_back(readView(image, view));
    // A small clip at a large scale may give nothing; the whole image never does.
    if (!reference[0].present || reference[0].bytes.empty())
        return fail("single-threaded read gave no block", name);

    std::atomic<int> mismatches{0}, missing{0};
    Georeference shared[kThreads], own[kThreads];
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            shared[t] = georeference(image);
            IInternalImage* mine = image->clone();
            if (!mine) {
                ++missing;
                return;
            }
            own[t] = georeference(mine);
            for (int i = 0; i < kReads; ++i) {
                int v = (t * 3 + i) % kViewCount;
                if (!(readView(mine, kViews[v]) == reference[v])) ++mismatches;
            }
            mine->release();
        });
    }
    for (std::thread& thread : threads) thread.join();
    if (missing) return fail("clone() gave null", name);
    for (int t = 0; t < kThreads; ++t)
        if (!(shared[t] == shared[0]) || !(own[t] == shared[0]))
            return fail("threads saw different georeferences", name);
    if (mismatches) {
        std::printf("FAIL %s: %d of %d blocks differ from the single-threaded read\n", name.c_str(),
                    mismatches.load(), kThreads * kReads);
        return 1;
    }
    return 0;
}

// Two threads take and drop references to one object; returns the number of
// results that could not be right (a count at or below what the caller holds).
template <class Object>
int shareReferences(Object* object, long held) {
    std::atomic<int> wrong{0};
    auto churn = [&] {
        for (int i = 0; i < 20000; ++i) {
            if (object->addRef() <= held) ++wrong;
            if (object->release() < held) ++wrong;
        }
    };
    std::thread a(churn), b(churn);
    a.join();
    b.join();
    if (object->addRef() != held + 1) ++wrong;
    if (object->release() != held) ++wrong;
    return wrong;
}

// Two threads drop the last two references at once: exactly one sees zero.
template <class Object, class Make>
int releaseRace(Make make) {
    int wrong = 0;
    for (int round = 0; round < 200; ++round) {
        Object* object = make();
        if (!object) return 1;
        object->addRef();
        std::atomic<bool> go{false};
        long results[2] = {-1, -1};
        auto drop = [&](int k) {
            while (!go.load()) std::this_thread::yield();
            results[k] = object->release();
        };
        std::thread a(drop, 0), b(drop, 1);
        go = true;
        a.join();
        b.join();
        if (!((results[0] == 0 && results[1] == 1) || (results[0] == 1 && results[1] == 0))) ++wrong;
    }
    return wrong;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: threads_host PATH...\n");
        return 2;
    }
    IInternalImageManager* manager = getManager();
    if (!manager) return 1;
    int failures = 0;
    for (int f = 1; f < argc; ++f) {
        std::string path = argv[f];
        size_t slash = path.rfind('/');
        std::string dir = path.substr(0, slash), name = path.substr(slash + 1);
        // Each connect adds its file to the list.
        if (!manager->connect(CTarnUString(dir.c_str()), CTarnUString(name.c_str())) ||
            manager->getImageCount() != f) {
            failures += fail("connect did not add the file to the list", name);
            continue;
        }
        IInternalImage* image = manager->findImage(CTarnUString(name.c_str()));
        if (!image) {
            failures += fail("not admitted", name);
            continue;
        }
        // getImage and findImage hand out the one object the manager keeps.
        IInternalImage* same = manager->getImage(f - 1);
        if (same != image) failures += fail("getImage and findImage gave different objects", name);
        if (same) same->release();

        failures += readFromClones(image, name);

        // The manager's reference and ours are held throughout.
        if (shareReferences(image, 2)) failures += fail("image counts went wrong when shared", name);
        if (releaseRace<IInternalImage>([&] { return image->clone(); }))
            failures += fail("racing releases of a clone did not end in exactly one zero", name);

        long x, y, w, h;
        image->setClipRect(0, 0, image->getWidth(), image->getHeight());
        image->setScale(1.0);
        DirectMemoryHolder* holder = image->getData(&x, &y, &w, &h);
        if (!holder) {
            failures += fail("no block to share", name);
        } else {
            if (shareReferences(holder, 1)) failures += fail("block counts went wrong when shared", name);
            if (holder->release() != 0) failures += fail("block's last release did not give 0", name);
        }
        if (releaseRace<DirectMemoryHolder>([&] {
                DirectMemoryHolder* copy = image->getData(&x, &y, &w, &h);
                return copy;
            }))
            failures += fail("racing releases of a block did not end in exactly one zero", name);
        image->release();
        if (failures == 0) std::printf("%s: %d threads x %d reads match\n", name.c_str(), kThreads, kReads);
    }
    if (shareReferences(manager, 1)) failures += fail("manager counts went wrong when shared", "manager");
    manager->release();
    return failures ? 1 : 0;
}
