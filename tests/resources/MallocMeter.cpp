// Its operator new, or malloc, serves this program, too.
#include "archive/MallocMeter.cpp"
