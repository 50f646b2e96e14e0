#include "tests/service/wire_client.h"

#include "tool/icap/analyzer.h"

#include <array>

namespace test {

namespace {

constexpr int patience = 30000;

} // namespace

std::string answer::field(std::string_view name) const
{
    const auto value = message ? message->headers().get(name) : nullptr;
    return value ? std::string(value->begin(), value->end()) : std::string();
}

http::message* answer::part() const
{
    if (!message) {
        return nullptr;
    }
    return message->has_response() ? &message->response() : message->has_request() ? &message->request() : nullptr;
}

std::string answer::object_head() const
{
    const http::message* const found = part();
    return found == nullptr ? std::string() : std::string(found->raw_head().begin(), found->raw_head().end());
}

std::string answer::object() const
{
    http::message* const found = part();
    if (found == nullptr) {
        return {};
    }
    std::string text(static_cast<std::size_t>(found->body_size()), '\0');
    text.resize(static_cast<std::size_t>(found->body().read(0, text.data(), text.size())));
    return text;
}

bool wire_client::send_in_pieces(std::string_view bytes, std::size_t piece)
{
    for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size()))) {
        if (!socket_.send(bytes.substr(0, piece))) {
            return false;
        }
    }
    return true;
}

bool wire_client::read_some()
{
    if (ended_ || !socket_.wait_readable(patience)) {
        return false;
    }
    std::array<char, 16384> bytes;
    const std::size_t count = socket_.receive(bytes.data(), bytes.size());
    ended_ = count == 0;
    inbox_.append(bytes.data(), count);
    return !ended_;
}

answer wire_client::read_answer()
{
    icap::analyzer analyzer;
    std::unique_ptr<icap::message> message;
    // One byte at a time, so that no byte of the next response is consumed.
    for (;;) {
        std::size_t taken = 0;
        while (taken < inbox_.size() && !(message && message->complete())) {
            const char* const byte = inbox_.data() + taken++;
            analyzer.enqueue(byte, byte + 1);
            // A head can only end at the end of a line.
            if (message) {
                analyzer.feed(*message);
            } else if (*byte == '\n') {
                message = analyzer.extract();
            }
        }
        inbox_.erase(0, taken);
        if (message && message->complete()) {
            auto* const response = dynamic_cast<icap::response_message*>(message.get());
            if (response == nullptr) {
                return {};
            }
            (void)message.release();
            return {std::shared_ptr<icap::response_message>(response)};
        }
        if (!read_some()) {
            return {};
        }
    }
}

answer wire_client::ask(std::string_view bytes)
{
    send(bytes);
    return read_answer();
}

bool wire_client::closed_by_service()
{
    while (read_some()) {
    }
    return ended_ && inbox_.empty();
}

std::string wire_client::read_to_end()
{
    while (read_some()) {
    }
    return std::move(inbox_);
}

} // namespace test
