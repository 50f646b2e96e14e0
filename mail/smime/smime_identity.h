#pragma once

#include <filesystem>
#include <memory>

namespace host {

/// A private key and its certificate, read from PEM files.
class smime_identity
{
public:
    /// Throws std::runtime_error with the reason and the name of the file.
    smime_identity(const std::filesystem::path& key_file, const std::filesystem::path& certificate_file);
    smime_identity(const smime_identity&) = delete;
    smime_identity& operator=(const smime_identity&) = delete;
    ~smime_identity();

    struct state;
    [[nodiscard]] const state& get() const noexcept { return *state_; }

private:
    std::unique_ptr<state> state_;
};

} // namespace host
