// Documents of the direct format.
#include "hostile/Generators.cpp"
