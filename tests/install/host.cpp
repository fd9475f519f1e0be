// A host: lists the images admitted from a directory, and reads each one
// whole as RGBA.
#include <tarnimage/tarnimage.h>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: host DIR\n");
        return 2;
    }
    IInternalImageManager* manager = getManager();
    bool connected = manager->connect(CTarnUString(argv[1]), CTarnUString(""));
    for (long i = 0; connected && i < manager->getImageCount(); ++i) {
        IInternalImage* image = manager->getImage(i);
        image->setClipRect(0, 0, image->getWidth(), image->getHeight());
        image->setScale(1.0);                   // 2.0 would read every other pixel
        long x, y, w, h;
        DirectMemoryHolder* block = image->getData(&x, &y, &w, &h);
        if (block) {                            // w * h pixels, bytes R, G, B, A
            const unsigned char* rgba = static_cast<const unsigned char*>(block->data());
            std::printf("%s %ldx%ld first pixel %d %d %d %d\n", image->getName().toUTF8().c_str(),
                        w, h, rgba[0], rgba[1], rgba[2], rgba[3]);
            block->release();
        }
        image->release();                       // release what you were given
    }
    manager->release();
    return connected ? 0 : 1;
}
