// Lets this program, too, count what it takes from the heap, and refuse it.
#include "hostile/AllocationMeter.cpp"

// A request for more than there is must fail here as it does elsewhere, and not end the program.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
