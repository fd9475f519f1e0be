// Connects to an empty directory through the installed package: nothing is
// admitted, and releasing the manager leaves nothing behind.
#include <tarnimage/tarnimage.h>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    IInternalImageManager* manager = getManager();
    if (!manager) return 3;
    bool connected = manager->connect(CTarnUString(argv[1]), CTarnUString(""));
    long count = manager->getImageCount();
    long left = manager->release();
    std::printf("connected %d images %ld left %ld\n", connected ? 1 : 0, count, left);
    return (!connected && count == 0 && left == 0) ? 0 : 1;
}
