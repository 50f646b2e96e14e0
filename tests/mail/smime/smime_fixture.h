#pragma once

#include "tests/support/child_process.h"
#include "tests/support/temporary_folder.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace host::test {

/// Runs the openssl program; throws std::runtime_error with its output if it fails.
inline void openssl(const std::vector<std::string>& arguments)
{
    ::test::child_process program("openssl", arguments);
    const auto ended = program.wait();
    if (!ended || ended->code != 0 || ended->signal != 0) {
        throw std::runtime_error("openssl " + arguments.front() + " failed: " + program.errors());
    }
}

/// A key with its certificate, created by the openssl program in a new folder.
class key_pair
{
public:
    explicit key_pair(const std::string& name, const std::vector<std::string>& kind = {"rsa:2048"})
    {
        std::vector<std::string> arguments{"req", "-x509", "-nodes", "-newkey"};
        arguments.insert(arguments.end(), kind.begin(), kind.end());
        arguments.insert(arguments.end(),
                         {"-keyout", key(), "-out", certificate(), "-days", "2", "-subj", "/CN=" + name});
        openssl(arguments);
    }
    [[nodiscard]] std::string key() const { return (folder_.path() / "key.pem").string(); }
    [[nodiscard]] std::string certificate() const { return (folder_.path() / "certificate.pem").string(); }

private:
    temporary_folder folder_;
};

/// Encrypts a MIME entity for the owners of these certificates with `openssl cms` and the additional options. Returns a
/// complete mail with the headers below, or the output that -outform specifies.
inline std::string encrypted(std::string_view entity, const std::vector<std::string>& certificates,
                             const std::vector<std::string>& options = {"-aes-256-cbc"})
{
    const temporary_folder folder;
    const std::string plain = folder.write("plain", entity).string();
    const std::filesystem::path output = folder.path() / "encrypted";
    std::vector<std::string> arguments{"cms", "-encrypt", "-binary", "-in", plain, "-out", output.string()};
    arguments.insert(arguments.end(),
                     {"-from", "Ada <ada@example.org>", "-to", "ben@example.org", "-subject", "Quarter"});
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.insert(arguments.end(), certificates.begin(), certificates.end());
    openssl(arguments);
    std::ifstream file(output, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// Returns a MIME entity that consists of one text.
inline std::string text_entity(std::string_view body)
{
    std::string entity = "Content-Type: text/plain; charset=utf-8\r\n\r\n";
    return entity.append(body);
}

/// Returns a MIME entity with a text and one attachment.
inline std::string entity_with_attachment(std::string_view body, std::string_view file_name, std::string_view content)
{
    std::string entity = "Content-Type: multipart/mixed; boundary=\"line\"\r\n\r\n--line\r\n"
                         "Content-Type: text/plain; charset=utf-8\r\n\r\n";
    entity.append(body).append("\r\n--line\r\nContent-Type: application/octet-stream\r\n"
                               "Content-Disposition: attachment; filename=\"");
    return entity.append(file_name).append("\"\r\n\r\n").append(content).append("\r\n--line--\r\n");
}

} // namespace host::test
