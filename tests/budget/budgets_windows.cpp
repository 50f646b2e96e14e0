#include "tests/budget/budgets.h"

namespace budget {

using enum counted;

const std::array<limit, 9> small_scan{{
    {sends, 1},
    {receives, 1},
    {completions, 1},
    {polls, 0},
    {socket_settings, 4},
    {file_calls, 0},
    {mappings, 3},
    {hand_overs, 3},
    {allocations, 40},
}};

const std::array<limit, 3> large_scan{{
    {sends, 1026},
    {file_calls, 20500},
    {hand_overs, 4},
}};

} // namespace budget
