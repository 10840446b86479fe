// What libFuzzer and the sanitizers call by name.
#include "common/Fuzzing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  kr::zero::fuzz::examine({bytes, size});
  return 0;
}

// A forged length asks for more memory than there is: that fails as it does without a sanitizer.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=64:detect_stack_use_after_return=1:"
         "quarantine_size_mb=32";
}

extern "C" __attribute__((visibility("default"))) const char* __ubsan_default_options() {
  return "print_stacktrace=1";
}
