#include "tests/plugin/support/allocation_count.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t allocations = 0;

void* allocate(std::size_t bytes) {
    ++allocations;
    if (void* memory = std::malloc(bytes ? bytes : 1)) return memory;
    throw std::bad_alloc();
}

void* allocateAligned(std::size_t bytes, std::align_val_t alignment) {
    ++allocations;
    const auto a = static_cast<std::size_t>(alignment);
    if (void* memory = std::aligned_alloc(a, (bytes + a - 1) / a * a)) return memory;
    throw std::bad_alloc();
}

}  // namespace

// The program's own, for every library that it loads too. All forms that any of them calls: a sanitizer has forms of
// its own for what is missing here, and finds memory freed by the wrong one.
void* operator new(std::size_t bytes) {
    return allocate(bytes);
}
void* operator new[](std::size_t bytes) {
    return allocate(bytes);
}
void* operator new(std::size_t bytes, std::align_val_t alignment) {
    return allocateAligned(bytes, alignment);
}
void* operator new[](std::size_t bytes, std::align_val_t alignment) {
    return allocateAligned(bytes, alignment);
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    ++allocations;
    return std::malloc(bytes ? bytes : 1);
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    ++allocations;
    return std::malloc(bytes ? bytes : 1);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}

namespace lumora::test {

std::size_t allocationCount() {
    return allocations;
}

}  // namespace lumora::test
