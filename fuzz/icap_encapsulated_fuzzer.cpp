#include "tests/tool/icap/encapsulated_judge.h"
#include "tool/icap/encapsulated.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

/// Compares the reader of the Encapsulated header with the second reader of the same rules.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::vector<char> bytes(data, data + size);
    const auto read = icap::read_encapsulated({bytes.data(), bytes.size()});
    const test::judged_list judged = test::judge_encapsulated(std::string(bytes.begin(), bytes.end()));
    if (read.has_value() != judged.hit ||
        (read && (read->length != judged.length || !(read->offsets == judged.offsets)))) {
        std::fprintf(stderr, "the readers of the Encapsulated header disagree\n");
        std::abort();
    }
    return 0;
}
