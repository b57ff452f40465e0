#include "platform/graphics/page_memory.h"

#include <sys/mman.h>

namespace obx::platform {

void* takePageMemory(std::size_t bytes) {
  if (bytes == 0) return nullptr;
  void* memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return memory == MAP_FAILED ? nullptr : memory;
}

void releasePageMemory(void* memory, std::size_t bytes) {
  if (memory) ::munmap(memory, bytes);
}

}  // namespace obx::platform
