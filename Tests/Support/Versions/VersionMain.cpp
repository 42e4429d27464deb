// The version test program: it is read, never run.
int main() { return 0; }
