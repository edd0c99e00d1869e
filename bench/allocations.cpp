// Replaces the allocation functions with counting ones.
#include "allocations.h"

#include <cstddef>

namespace {
thread_local std::uint64_t count; // no destructor and no dynamic initialisation: safe inside malloc
}

std::uint64_t vel::bench::allocations() {
  return count;
}

// The program's own definitions take precedence over the C library's, for shared libraries too.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t number, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

__attribute__((visibility("default"))) void* malloc(std::size_t size) {
  ++count;
  return __libc_malloc(size);
}
__attribute__((visibility("default"))) void* calloc(std::size_t number, std::size_t size) {
  ++count;
  return __libc_calloc(number, size);
}
__attribute__((visibility("default"))) void* realloc(void* memory, std::size_t size) {
  ++count;
  return __libc_realloc(memory, size);
}
}
