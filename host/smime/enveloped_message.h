#pragma once

#include "host/store/records.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace host {

/// A private key and its certificate, read from PEM files.
class smime_identity
{
public:
    /// Raises std::runtime_error with the reason, the file named.
    smime_identity(const std::filesystem::path& key_file, const std::filesystem::path& certificate_file);
    smime_identity(const smime_identity&) = delete;
    smime_identity& operator=(const smime_identity&) = delete;
    ~smime_identity();

    struct state;
    [[nodiscard]] const state& get() const noexcept { return *state_; }

private:
    std::unique_ptr<state> state_;
};

/// True for an S/MIME enveloped message; a signed one isn't.
bool is_enveloped(const message_record& message);

/// The decrypted contents of an enveloped message as a message of their own, with the envelope's subject, senders and
/// recipients. Nothing without an identity, or when the message isn't for it or is damaged; the reason then stands in
/// `problem` if it isn't null.
std::optional<message_record> decrypt(const message_record& enveloped, const smime_identity* identity,
                                      std::string* problem = nullptr);

/// The object that a mail client shows for an enveloped message: it answers ISecuredMessage, shows `contents` (null: it
/// has none), and has `base` behind it.
ComPtr<IMessage> wrap_enveloped(ComPtr<IMessage> base, std::shared_ptr<const message_record> contents);

} // namespace host
