#include "platform/crash/alternate_signal_stack.h"

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

namespace obx::platform {
namespace {

// One per thread: maps the stack when made, takes it back from the kernel and unmaps it when the
// thread ends.
class ThreadStack {
 public:
  bool ensure() {
    if (mapping_) return true;
    stack_t current{};
    if (::sigaltstack(nullptr, &current) == 0 && !(current.ss_flags & SS_DISABLE)) return true;  // the host's
    const std::size_t page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const std::size_t length = page + AlternateSignalStack::kSize;
    void* mapping = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapping == MAP_FAILED) return false;
    // Stacks grow down: the guard is the lowest page.
    ::mprotect(mapping, page, PROT_NONE);
    stack_t stack{};
    stack.ss_sp = static_cast<char*>(mapping) + page;
    stack.ss_size = AlternateSignalStack::kSize;
    if (::sigaltstack(&stack, nullptr) != 0) {
      ::munmap(mapping, length);
      return false;
    }
    mapping_ = mapping;
    length_ = length;
    return true;
  }

  ~ThreadStack() {
    if (!mapping_) return;
    stack_t off{};
    off.ss_flags = SS_DISABLE;
    ::sigaltstack(&off, nullptr);
    ::munmap(mapping_, length_);
  }

 private:
  void* mapping_ = nullptr;
  std::size_t length_ = 0;
};

thread_local ThreadStack tStack;

}  // namespace

bool AlternateSignalStack::ensureForCurrentThread() { return tStack.ensure(); }

}  // namespace obx::platform
