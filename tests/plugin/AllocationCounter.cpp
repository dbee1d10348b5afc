#include "AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<long> gLive{0};

void* allocate(std::size_t size) noexcept {
  void* p = std::malloc(size ? size : 1);
  if (p)
    ++gLive;
  return p;
}

void release(void* p) noexcept {
  if (!p)
    return;
  --gLive;
  std::free(p);
}
} // namespace

long testsupport::liveAllocations() {
  return gLive.load();
}

void* operator new(std::size_t size) {
  if (void* p = allocate(size))
    return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void operator delete(void* p) noexcept {
  release(p);
}
void operator delete[](void* p) noexcept {
  release(p);
}
void operator delete(void* p, std::size_t) noexcept {
  release(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  release(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
  release(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
  release(p);
}
