#include "doctor/port_row.h"

#include "tool/system/ascii.h"

#include <exception>
#include <string_view>

namespace doctor {

namespace {

/// Returns the name of a program without folders and without ".exe".
std::string bare_name(std::string program)
{
    const std::size_t place = program.find_last_of("/\\");
    program.erase(0, place == std::string::npos ? 0 : place + 1);
    constexpr std::string_view ending = ".exe";
    if (program.size() > ending.size() &&
        winapi::same_no_case(std::string_view(program).substr(program.size() - ending.size()), ending)) {
        program.resize(program.size() - ending.size());
    }
    return program;
}

std::string text_of_owner(const port_owner& owner)
{
    std::string text = owner.program.empty() ? "a program" : owner.program;
    if (!owner.process.empty()) {
        text.append(", process ").append(owner.process);
    }
    if (!owner.user.empty()) {
        text.append(", ").append(owner.user);
    }
    return text;
}

} // namespace

finding port_row(const endpoint& peer, const std::string& refusal, port_table& ports)
{
    const std::string port = text_of(peer);
    if (!refusal.empty()) {
        return failed(
            port + ": " + refusal,
            "Start the scanning service, and verify that its port is the one in the settings. Until then mail "
            "opens unscanned.");
    }
    port_owner owner;
    try {
        owner = ports.owner_of(peer);
    } catch (const std::exception& failure) {
        return ok(port + " is open; its owner is not known: " + failure.what());
    }
    const std::string found = port + " is open, owned by " + text_of_owner(owner);
    if (owner.program.empty()) {
        return ok(found + "; only an administrator sees its program");
    }
    if (bare_name(owner.program) != "postwarden-service") {
        return warning(found,
                       "Another program answers in the place of postwarden-service: stop it, or give the service "
                       "another port.");
    }
    return ok(found);
}

} // namespace doctor
