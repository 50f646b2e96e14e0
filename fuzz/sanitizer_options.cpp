// Defaults of the address sanitizer for all fuzz targets; ASAN_OPTIONS overrides them. A quarantine of 16 MiB holds the
// freed blocks of some forty mails, and keeps a target that allocates as much as the reader of mail, 3,000 times in a
// run, at 80 MiB rather than 380, so that several targets run at once. Stacks of allocations are short;
// ASAN_OPTIONS=malloc_context_size=30 gives them in full.

extern "C" const char* __asan_default_options(); // NOLINT(bugprone-reserved-identifier): the sanitizer's name

extern "C" const char* __asan_default_options() // NOLINT(bugprone-reserved-identifier)
{
    return "malloc_context_size=4:quarantine_size_mb=16";
}
