#include "harness/counted_memory.h"

#include <cstdlib>
#include <new>

namespace memory {

long obtained = 0;
int allocationsLeft = -1;
bool hasFailed = false;

} // namespace memory

// Not inlined: else g++ sees malloc and free beside an operator of the language and takes them for a mismatch.
[[gnu::noinline]] void *operator new(std::size_t size) {
    ++memory::obtained;
    if (memory::allocationsLeft == 0) {
        memory::hasFailed = true;
        throw std::bad_alloc();
    }
    if (memory::allocationsLeft > 0)
        --memory::allocationsLeft;
    if (void *piece = std::malloc(size); piece != nullptr)
        return piece;
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void *piece) noexcept {
    std::free(piece);
}

[[gnu::noinline]] void operator delete(void *piece, std::size_t) noexcept {
    std::free(piece);
}
