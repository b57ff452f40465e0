// Memory for whole pictures, taken from the kernel and given back to it. A frame of a phone's screen
// is about a megabyte and a half; freed into the C library's heap it stays in the process (and it
// raises the heap's threshold, so the next big blocks stay too), which a recorder drawing a few
// frames a second would keep as several screens of memory it no longer uses. Blocks below
// `kPageMemoryThreshold` come from the heap as usual.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace obx::platform {

inline constexpr std::size_t kPageMemoryThreshold = 256 * 1024;

// Zeroed memory of `bytes`, or null when the kernel refuses. Give it back with `releasePageMemory`
// with the same size.
void* takePageMemory(std::size_t bytes);
void releasePageMemory(void* memory, std::size_t bytes);

// A standard allocator that takes blocks of `kPageMemoryThreshold` or more from `takePageMemory`.
template <typename T>
struct PageAllocator {
  using value_type = T;
  PageAllocator() = default;
  template <typename U>
  PageAllocator(const PageAllocator<U>&) {}

  T* allocate(std::size_t count) {
    const std::size_t bytes = count * sizeof(T);
    if (bytes < kPageMemoryThreshold) return static_cast<T*>(::operator new(bytes));
    void* memory = takePageMemory(bytes);
    if (!memory) throw std::bad_alloc();
    return static_cast<T*>(memory);
  }
  void deallocate(T* memory, std::size_t count) {
    const std::size_t bytes = count * sizeof(T);
    if (bytes < kPageMemoryThreshold) {
      ::operator delete(memory);
    } else {
      releasePageMemory(memory, bytes);
    }
  }
  template <typename U>
  bool operator==(const PageAllocator<U>&) const {
    return true;
  }
};

// The pixels of a picture, 32 bits each.
using PixelStorage = std::vector<std::uint32_t, PageAllocator<std::uint32_t>>;

}  // namespace obx::platform
