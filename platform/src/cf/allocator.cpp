// The system allocator on the C heap, and allocators with hooks.
#include "cf/allocator.h"

#include "announce.h"
#include "cf/object.h"
#include "control/cf.h"

#include <cstdlib>
#include <utility>

using vel::control::AllocatorHooks;

struct CFAllocatorObject final : vel::platform::Object {
  static vel::platform::Type kind;

  // The system allocator: the C heap.
  constexpr CFAllocatorObject() : Object(kind, nullptr, Constant{}), hooks(nullptr) {}
  CFAllocatorObject(CFAllocatorRef allocator, AllocatorHooks&& given)
      : Object(kind, allocator), hooks(new AllocatorHooks(std::move(given))) {}
  ~CFAllocatorObject() override { delete hooks; }

  const AllocatorHooks* hooks; // null for the system allocator
};

vel::platform::Type CFAllocatorObject::kind("CFAllocator");

namespace vel::platform {
namespace {

constinit Static<CFAllocatorObject> systemAllocator;

const AllocatorHooks* hooksOf(CFAllocatorRef allocator, const char* function) {
  return allocator == nullptr ? nullptr : expect(allocator, function).hooks;
}

} // namespace

void* allocate(CFAllocatorRef allocator, std::size_t size) {
  const AllocatorHooks* hooks = hooksOf(allocator, "CFAllocatorAllocate");
  return hooks == nullptr ? std::malloc(size) : hooks->allocate(size);
}

void deallocate(CFAllocatorRef allocator, void* pointer) {
  const AllocatorHooks* hooks = hooksOf(allocator, "CFAllocatorDeallocate");
  if (hooks == nullptr) {
    std::free(pointer);
  } else if (pointer != nullptr) {
    hooks->deallocate(pointer);
  }
}

std::string describe(CFAllocatorRef allocator) {
  if (allocator == nullptr) {
    return "default";
  }
  return allocator == kCFAllocatorSystemDefault ? "system" : "other";
}

} // namespace vel::platform

using namespace vel::platform;

const CFAllocatorRef kCFAllocatorSystemDefault = &systemAllocator.object;

void* CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex size, CFOptionFlags hint) {
  if (announce("CFAllocatorAllocate", Detail{allocator}, size, hint) || size <= 0) {
    return nullptr;
  }
  return allocate(allocator, static_cast<std::size_t>(size));
}

void CFAllocatorDeallocate(CFAllocatorRef allocator, void* pointer) {
  note("CFAllocatorDeallocate", Detail{allocator});
  deallocate(allocator, pointer);
}

CFAllocatorRef vel::control::createAllocator(AllocatorHooks hooks) {
  return create<CFAllocatorObject>(nullptr, 0, std::move(hooks));
}
