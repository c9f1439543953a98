// Stands for the precompiled headers, which the test programs share.
int main() {}
