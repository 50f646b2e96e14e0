#pragma once

/// Programs of this folder take the argument "--once": each benchmark then runs once, at sizes that cost little, for
/// the sake of its checks. The sizes change, the checks don't.
namespace bench {

/// Takes "--once" out of the program's arguments. Called once, before anything that asks once().
void take_once(int& count, char** arguments);
[[nodiscard]] bool once() noexcept;

/// The size of a run.
template <typename Size>
[[nodiscard]] Size usual_or_once(Size usual, Size small)
{
    return once() ? small : usual;
}

} // namespace bench
