#include "store/memory_stream.h"
#include "tests/support/memory_stream_contract.h"

INSTANTIATE_TEST_SUITE_P(of_the_store, memory_stream, testing::Values(host::create_memory_stream));
