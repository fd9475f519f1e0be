// Overflows a heap block on purpose. The test that runs it expects a failure:
// if it ever passes, the sanitizers are not in the test build.
#include <cstdlib>
#include <cstring>

int main(int argc, char**) {
    char* block = static_cast<char*>(std::malloc(8));
    std::memset(block, 0, 8);
    volatile int index = 8 + argc;  // one past the end and more
    block[index] = 1;
    int result = block[index];
    std::free(block);
    return result == 1 ? 0 : 0;
}
