#pragma once

#include "tool/asyncio/iasync.h"
#include "tool/wproxy/socket.h"

#include <cstdint>
#include <string>

/// The small interfaces of a session for the socket and the processor.
namespace web {

/// The operations of a session that its protocol processor may call.
class session
{
public:
    virtual void send(const char* begin, const char* end) = 0;
    virtual ~session() = default;
};

/// A session that can name its peer.
class session2 : public session
{
public:
    [[nodiscard]] virtual std::string peer_name() = 0;
};

/// Passes received bytes to `Owner::on_input`, which derives from this. `Tag` identifies the stream of an owner.
template <class Owner, unsigned Tag>
class async_input : public tpl::iasync
{
public:
    bool input(const char* begin, const char* end) override
    {
        return static_cast<Owner*>(this)->on_input(Tag, begin, end);
    }

protected:
    ~async_input() = default;
};

/// Passes the error codes of a socket to `Owner::on_network_problem`, which derives from this.
template <class Owner, unsigned Tag>
class socket_state : public web::socket::state
{
public:
    void error(std::uint32_t code) override { static_cast<Owner*>(this)->on_network_problem(Tag, code); }

protected:
    ~socket_state() = default;
};

} // namespace web
