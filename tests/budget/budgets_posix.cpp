#include "tests/budget/budgets.h"

namespace budget {

using enum counted;

const std::array<limit, 9> small_scan{{
    {sends, 1},
    {receives, 1},
    {completions, 1},
    {polls, 3},
    {socket_settings, 1},
    {file_calls, 0},
    {mappings, 0},
    {hand_overs, 3},
    {allocations, 40},
}};

const std::array<limit, 3> large_scan{{
    {sends, 1026},
    {file_calls, 20500},
    {hand_overs, 4},
}};

const std::array<limit, 9> scanned_opening{{
    {sends, 1},
    {receives, 1},
    {completions, 1},
    {polls, 3},
    {socket_settings, 1},
    {file_calls, 0},
    {mappings, 0},
    {hand_overs, 3},
    {allocations, 80},
}};

const std::array<limit, 9> known_opening{{
    {sends, 0},
    {receives, 0},
    {completions, 0},
    {polls, 0},
    {socket_settings, 0},
    {file_calls, 0},
    {mappings, 0},
    {hand_overs, 0},
    {allocations, 20},
}};

} // namespace budget
