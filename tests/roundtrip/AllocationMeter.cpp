// Lets this program, too, count what it takes from the heap, and refuse it.
#include "hostile/AllocationMeter.cpp"
