// Has a request for more memory than there is fail as it does without a sanitizer.
#include "hostile/AllocationMeter.cpp"
