// Owns the header that all tests share; does nothing.
int main() {}
