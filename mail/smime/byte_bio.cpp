#include "mail/smime/byte_bio.h"

#include <exception>
#include <new>

namespace host {

namespace {

struct reading
{
    const bytes& source;
    std::uint64_t position = 0;
};

/// Exceptions must not propagate through OpenSSL: a failure is reported as -1.
int read_piece(BIO* stream, char* target, std::size_t count, std::size_t* got)
{
    try {
        auto& state = *static_cast<reading*>(BIO_get_data(stream));
        *got = state.source.read(state.position, target, count);
        state.position += *got;
        return *got != 0 ? 1 : 0;
    } catch (const std::exception&) {
        return -1;
    }
}

int write_piece(BIO* stream, const char* source, std::size_t count, std::size_t* written)
{
    try {
        static_cast<scratch*>(BIO_get_data(stream))->append({source, count});
        *written = count;
        return 1;
    } catch (const std::exception&) {
        return -1;
    }
}

/// Flushing is a no-op that succeeds; no other control is supported.
long control(BIO*, int command, long, void*)
{
    return command == BIO_CTRL_FLUSH ? 1 : 0;
}

int end_reading(BIO* stream)
{
    const std::unique_ptr<reading> ended(static_cast<reading*>(BIO_get_data(stream)));
    BIO_set_data(stream, nullptr);
    return 1;
}

openssl_ptr<BIO_METHOD> new_method(const char* name)
{
    openssl_ptr<BIO_METHOD> method(BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, name));
    if (!method) {
        throw std::bad_alloc();
    }
    BIO_meth_set_ctrl(method.get(), control);
    return method;
}

openssl_ptr<BIO> new_stream(const BIO_METHOD& method)
{
    openssl_ptr<BIO> stream(BIO_new(&method));
    if (!stream) {
        throw std::bad_alloc();
    }
    BIO_set_init(stream.get(), 1);
    return stream;
}

} // namespace

openssl_ptr<BIO> read_from(const bytes& source)
{
    static const openssl_ptr<BIO_METHOD> method = [] {
        auto made = new_method("bytes");
        BIO_meth_set_read_ex(made.get(), read_piece);
        BIO_meth_set_destroy(made.get(), end_reading);
        return made;
    }();
    auto state = std::make_unique<reading>(reading{source});
    auto stream = new_stream(*method);
    BIO_set_data(stream.get(), state.release());
    return stream;
}

openssl_ptr<BIO> write_to(scratch& target)
{
    static const openssl_ptr<BIO_METHOD> method = [] {
        auto made = new_method("scratch");
        BIO_meth_set_write_ex(made.get(), write_piece);
        return made;
    }();
    auto stream = new_stream(*method);
    BIO_set_data(stream.get(), &target);
    return stream;
}

} // namespace host
