#include "store/property_stream.h"

#include "store/object_ledger.h"
#include "store/stream_object.h"

#include <typeinfo>
#include <utility>

namespace host {

namespace {

/// The data of a property's stream; each write is reported to the property.
class property_data final : public web::io_data
{
public:
    property_data(std::shared_ptr<stream_state> state, std::shared_ptr<property_bag> bag, std::uint32_t id)
        : state_(std::move(state))
        , bag_(std::move(bag))
        , id_(id)
    {}
    std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) override
    {
        return state_->read(offset, destination, count);
    }
    std::uint64_t write(std::uint64_t offset, const void* source, std::uint64_t count) override
    {
        state_->write(offset, source, count);
        tell_property();
        return count;
    }
    std::uint64_t append(const void* source, std::uint64_t count) override { return write(size(), source, count); }
    void swap(io_data&) override { throw std::bad_cast(); } // the contents of a property cannot be exchanged
    void size(std::uint64_t new_size) override
    {
        state_->resize(new_size);
        tell_property();
    }
    [[nodiscard]] std::uint64_t size() override { return state_->size(); }

private:
    void tell_property()
    {
        if (bag_) {
            bag_->follow(id_, state_);
        }
    }

    std::shared_ptr<stream_state> state_;
    std::shared_ptr<property_bag> bag_;
    std::uint32_t id_;
    ledger_entry entry_{"IStream", nullptr};
};

} // namespace

ComPtr<IStream> make_property_stream(std::shared_ptr<stream_state> state, std::shared_ptr<property_bag> bag,
                                     std::uint32_t id, bool writable)
{
    return MakeCom<stream_object>(std::make_shared<property_data>(std::move(state), std::move(bag), id), writable);
}

} // namespace host
