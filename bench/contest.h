#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// One way to do a piece of work. `work(n)` does it n times and throws if a result is wrong. It is called with 1 first,
/// which is not measured. `prepare(n)`, if there is one, is called ahead of it, outside of the measurement.
struct contender
{
    std::string name;
    std::function<void(std::uint64_t count)> work;
    std::function<void(std::uint64_t count)> prepare;
};

/// How a ratio to a rival is expressed: as the speed of ours in units of the rival's (more is better), or as the time
/// that ours takes in units of the rival's (less is better).
enum class ratio
{
    speed,
    cost
};

/// A contender that ours is compared with: the floor, which does only what cannot be avoided, or a peer. `goal` is the
/// least speed or the greatest cost that is aimed at; 0 if there is no goal.
struct rival
{
    contender way;
    ratio expressed = ratio::cost;
    double goal = 0;
};

/// A piece of work, done by ours and by rivals in turn.
struct contest
{
    std::string work;
    contender ours;
    std::vector<rival> rivals;
};

/// What the rounds of one contest yielded for one rival.
struct standing
{
    std::string rival_name;
    ratio expressed = ratio::cost;
    double goal = 0;
    double median = 0;
    double least = 0;
    double most = 0;
};

/// What is printed of a contest: the median time of one piece of our work, and the ratios.
struct outcome
{
    std::string work;
    std::string ours;
    std::chrono::nanoseconds time{0};
    std::vector<standing> standings;
};

/// The program of a benchmark that compares: it holds contests one after the other and prints a table of ratios.
///
/// Options: `--once`, each contender works once, for its checks only; `--rounds N`, at least 3, otherwise 11;
/// `--json FILE`, the table as JSON; and words, of which one must be part of a contest's name, else it is left out.
class contests
{
public:
    /// Takes the options out of the arguments. Throws std::invalid_argument for an unknown option.
    contests(int count, char** arguments);

    /// Returns whether a contest of this name will be held, so that its preparations can be left out.
    [[nodiscard]] bool is_wanted(const std::string& work) const;
    /// Holds a contest. In each round every contender works for some 40 ms; the order changes from round to round. A
    /// ratio is that of two times of the same round.
    void hold(const contest& work);
    /// Prints the table. Returns the exit status.
    [[nodiscard]] int finish() const;

private:
    unsigned rounds_ = 11;
    std::string json_;
    std::vector<std::string> words_;
    std::vector<outcome> outcomes_;
};

/// Throws std::runtime_error with `what` if `truth` is false: how a contender reports a wrong result.
void require(bool truth, const char* what);

/// The main function of a program of contests: runs `body` and reports what it throws. Returns the exit status.
int run_contests(int count, char** arguments, const std::function<void(contests&)>& body);

/// Keeps the compiler from leaving out the computation of a value.
template <typename Value>
void keep(Value& value)
{
    asm volatile("" : : "g"(&value) : "memory");
}

} // namespace bench
