#include "tests/support/Memory.h"

#include <malloc.h>
#include <atomic>
#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t largestPiece = memory::kUnlimited;
thread_local std::size_t untilFailure = 0;
thread_local bool oneFailed = false;
std::atomic<std::size_t> heldBytes = 0;

bool mayHave(std::size_t size) {
    const bool isTheOne = untilFailure > 0 && --untilFailure == 0;
    if (isTheOne) oneFailed = true;
    return !isTheOne && size <= largestPiece;
}

}  // namespace

void memory::failAbove(std::size_t size) {
    largestPiece = size;
}

void memory::failAt(std::size_t number) {
    untilFailure = number;
    oneFailed = false;
}

void memory::failNoMore() {
    untilFailure = 0;
}

bool memory::hasFailed() {
    return oneFailed;
}

std::size_t memory::inUse() {
    return heldBytes;
}

void* operator new(std::size_t size, const std::nothrow_t& /*nothing*/) noexcept {
    void* const piece = mayHave(size) ? std::malloc(size) : nullptr;
    if (piece != nullptr) heldBytes += ::malloc_usable_size(piece);
    return piece;
}

void* operator new(std::size_t size) {
    void* const piece = operator new(size, std::nothrow);
    if (piece == nullptr) throw std::bad_alloc();
    return piece;
}

void operator delete(void* piece) noexcept {
    heldBytes -= piece == nullptr ? 0 : ::malloc_usable_size(piece);
    std::free(piece);
}

void operator delete(void* piece, std::size_t /*size*/) noexcept {
    operator delete(piece);
}
