// Carrier of the precompiled header that all test binaries reuse.
int main()
{
    return 0;
}
