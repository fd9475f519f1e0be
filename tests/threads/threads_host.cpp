// A host that reads from several threads, built with ThreadSanitizer by
// tests/tools/test_threads.sh. Four threads each read their own clone() of one
// image many times and must get the blocks of a single-threaded read; then
// threads share single objects, but only to take and drop references.
// Usage: threads_host PATH...   (exit 0 when all is well)
#include <tarnimage/tarnimage.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

const int kThreads = 4;
const int kReads = 100;

// Clips as fractions of the image, and a scale: whole, inner, edge-touching
// and past-the-edge clips at scales that repeat, keep and skip pixels.
const double kViews[][5] = {
    {0.0, 0.0, 1.0, 1.0, 1.0}, {0.0, 0.0, 1.0, 1.0, 2.0}, {0.25, 0.2, 0.5, 0.6, 1.0},
    {0.1, 0.0, 0.7, 1.0, 0.5}, {0.5, 0.5, 1.0, 1.0, 1.5}, {0.0, 0.3, 0.4, 0.4, 3.0},
    {0.3, 0.1, 0.6, 0.9, 0.75},
};
const int kViewCount = sizeof kViews / sizeof kViews[0];

// x, y, width, height, whether a block came, and its bytes.
using Block = std::tuple<long, long, long, long, bool, std::vector<unsigned char>>;

Block readView(IInternalImage* image, const double* v) {
    long w = image->getWidth(), h = image->getHeight();
    image->setClipRect(long(v[0] * w), long(v[1] * h), long(v[2] * w), long(v[3] * h));
    image->setScale(v[4]);
    Block b{-1, -1, -1, -1, false, {}};
    DirectMemoryHolder* holder = image->getData(&std::get<0>(b), &std::get<1>(b), &std::get<2>(b), &std::get<3>(b));
    if (holder) {
        std::get<4>(b) = true;
        const unsigned char* data = static_cast<const unsigned char*>(holder->data());
        if (data) std::get<5>(b).assign(data, data + holder->length());
        holder->release();
    }
    return b;
}

int fail(const char* what, const std::string& name) {
    std::printf("FAIL %s: %s\n", name.c_str(), what);
    return 1;
}

// Validity and the six numbers; the first call on an object works them out.
std::vector<double> georeference(IInternalImage* image) {
    std::vector<double> g(7, 0.0);
    g[6] = image->isGeoReferenced();
    image->getGeoReference(&g[0], &g[1], &g[2], &g[3], &g[4], &g[5]);
    return g;
}

// Four threads, each on its own clone, compared with the single-threaded blocks.
// Before reading, all four ask the shared object for its georeference.
int readFromClones(IInternalImage* image, const std::string& name) {
    std::vector<Block> reference;
    for (const double* view : kViews) reference.push_back(readView(image, view));
    // A small clip at a large scale may give nothing; the whole image never does.
    if (std::get<5>(reference[0]).empty()) return fail("single-threaded read gave no block", name);

    std::atomic<int> mismatches{0}, missing{0};
    std::vector<double> shared[kThreads], own[kThreads];
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            shared[t] = georeference(image);
            IInternalImage* mine = image->clone();
            if (!mine) return void(++missing);
            own[t] = georeference(mine);
            for (int i = 0; i < kReads; ++i) {
                int v = (t * 3 + i) % kViewCount;
                if (readView(mine, kViews[v]) != reference[v]) ++mismatches;
            }
            mine->release();
        });
    }
    for (std::thread& thread : threads) thread.join();
    if (missing) return fail("clone() gave null", name);
    for (int t = 0; t < kThreads; ++t)
        if (shared[t] != shared[0] || own[t] != shared[0]) return fail("threads saw different georeferences", name);
    if (mismatches) {
        std::printf("FAIL %s: %d of %d blocks differ from the single-threaded read\n", name.c_str(),
                    mismatches.load(), kThreads * kReads);
        return 1;
    }
    return 0;
}

// Two threads take and drop references to one object; true when a result
// could not be right (a count at or below what the caller holds).
template <class Object>
bool sharingGoesWrong(Object* object, long held) {
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
    return wrong || object->addRef() != held + 1 || object->release() != held;
}

// Two threads drop the last two references at once: exactly one must see zero.
template <class Make>
bool releaseRaceGoesWrong(Make make) {
    for (int round = 0; round < 200; ++round) {
        auto* object = make();
        if (!object) return true;
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
        if (results[0] + results[1] != 1 || results[0] * results[1] != 0) return true;
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return std::fprintf(stderr, "usage: threads_host PATH...\n"), 2;
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
        if (sharingGoesWrong(image, 2)) failures += fail("image counts went wrong when shared", name);
        if (releaseRaceGoesWrong([&] { return image->clone(); }))
            failures += fail("racing releases of a clone did not end in exactly one zero", name);

        long x, y, w, h;
        image->setClipRect(0, 0, image->getWidth(), image->getHeight());
        image->setScale(1.0);
        DirectMemoryHolder* holder = image->getData(&x, &y, &w, &h);
        if (!holder) failures += fail("no block to share", name);
        else if (sharingGoesWrong(holder, 1) || holder->release() != 0)
            failures += fail("block counts went wrong when shared", name);
        if (releaseRaceGoesWrong([&] { return image->getData(&x, &y, &w, &h); }))
            failures += fail("racing releases of a block did not end in exactly one zero", name);
        image->release();
        if (failures == 0) std::printf("%s: %d threads x %d reads match\n", name.c_str(), kThreads, kReads);
    }
    if (sharingGoesWrong(manager, 1)) failures += fail("manager counts went wrong when shared", "manager");
    manager->release();
    return failures ? 1 : 0;
}
