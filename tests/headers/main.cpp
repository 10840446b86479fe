// A program to compile headers for, as the tests need them; it is never run.
int main() {}
