#include "service/engine/engine_members.h"

#include <exception>
#include <system_error>
#include <thread>

namespace service {

namespace {

engine_state state_of(scan_engine& engine, const stop_token& stop)
{
    try {
        return engine.probe(stop);
    } catch (const std::exception& failure) {
        return {{}, failure.what()};
    }
}

} // namespace

std::vector<engine_state> probe_all(const engine_list& engines, const stop_token& stop)
{
    std::vector<engine_state> states(engines.size());
    std::vector<std::thread> threads;
    threads.reserve(engines.size());
    for (std::size_t i = 1; i < engines.size(); ++i) {
        const auto probe = [&, i] { states[i] = state_of(*engines[i], stop); };
        try {
            threads.emplace_back(probe);
        } catch (const std::system_error&) { // the system allows no further thread
            probe();
        }
    }
    states[0] = state_of(*engines[0], stop);
    for (auto& thread : threads) {
        thread.join();
    }
    return states;
}

std::vector<engine_part> parts_of(const engine_list& engines, const std::vector<engine_state>& states)
{
    std::vector<engine_part> parts;
    for (std::size_t i = 0; i < engines.size(); ++i) {
        if (states[i].parts.empty()) {
            parts.push_back({std::string(engines[i]->name()), states[i].fault.empty(), states[i].version});
        } else {
            parts.insert(parts.end(), states[i].parts.begin(), states[i].parts.end());
        }
    }
    return parts;
}

std::string combined_identity(const engine_list& engines, const std::vector<engine_state>& states)
{
    std::string text;
    for (std::size_t i = 0; i < engines.size(); ++i) {
        text.append(i == 0 ? "" : " | ").append(engines[i]->name()).append(" ");
        for (const char byte : states[i].identity) {
            if (byte == '|' || byte == '\\') {
                text += '\\';
            }
            text += byte;
        }
    }
    return text;
}

void append_named(std::string& list, std::string_view name, std::string_view text)
{
    list.append(list.empty() ? "" : "; ").append(name).append(": ").append(text);
}

} // namespace service
