#include "desk/settings/bytes_broker.h"

#include <utility>

namespace {

class BytesVisit final : public SettingsBroker::Visit
{
public:
    explicit BytesVisit(const std::function<SettingsBroker::Bytes()>& source)
        : source_(source)
    {}
    void Connect() override {}
    [[nodiscard]] SettingsBroker::Bytes Load() override { return source_(); }

private:
    const std::function<SettingsBroker::Bytes()>& source_;
};

} // namespace

BytesBroker::BytesBroker(std::function<Bytes()> source)
    : source_(std::move(source))
{}

std::unique_ptr<SettingsBroker::Visit> BytesBroker::Begin()
{
    return std::make_unique<BytesVisit>(source_);
}
