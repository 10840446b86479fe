#include "typed.h"

int main() { return titleByType() == "it came back" ? 0 : 1; }
