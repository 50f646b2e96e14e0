#include "client/model/class_object.h"
#include "client/model/items.h"
#include "store/message_object.h"
#include "store/object_ledger.h"
#include "tests/client/model/recording_sink.h"

#include <gmock/gmock.h>

namespace host::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

/// Enables the ledger for one test.
class Ledger : public testing::Test
{
protected:
    Ledger() { object_ledger::of_process().switch_on(true); }
    ~Ledger() override { object_ledger::of_process().switch_on(false); }
    Ledger(const Ledger&) = delete;
    Ledger& operator=(const Ledger&) = delete;

    static std::vector<std::string> alive()
    {
        std::vector<std::string> kinds;
        for (const auto& entry : object_ledger::of_process().alive()) {
            kinds.push_back(entry.kind + " " + std::to_string(entry.references));
        }
        return kinds;
    }
    static ComPtr<message_object> message_with_attachment()
    {
        message_record record;
        record.attachments[0].properties->set(PR_ATTACH_DATA_BIN, property_value::of_binary(bytes_of("abc")));
        record.attachments[1].properties->set(PR_ATTACH_DATA_OBJ, {PT_OBJECT, std::make_shared<const storage_tree>()});
        return MakeCom<message_object>(record, true, [](const message_record&) { return HRESULT{S_OK}; });
    }
};

TEST_F(Ledger, IsEmptyWhenEverythingWasReleased)
{
    {
        const auto item = MakeCom<outlook_item>(
            model::mail_item, ComPtr<IUnknown>(static_cast<IMessage*>(message_with_attachment().get())));
        const auto sink = MakeCom<recording_sink>(model::item_events);
        unadvise(item.get(), model::item_events, advise(item.get(), model::item_events, sink.get()));
        EXPECT_THAT(alive(), testing::SizeIs(3)); // the item, its connection point, the message
    }
    EXPECT_THAT(alive(), IsEmpty());
}

TEST_F(Ledger, TellsWhatNobodyReleasedByItsKind)
{
    IMessage* message = message_with_attachment().detach();
    IAttach* attachment = nullptr;
    ASSERT_EQ(S_OK, message->OpenAttach(0, nullptr, MAPI_MODIFY, &attachment));
    IMAPITable* table = nullptr;
    ASSERT_EQ(S_OK, message->GetAttachmentTable(0, &table));
    IUnknown* stream = nullptr;
    ASSERT_EQ(S_OK, attachment->OpenProperty(PR_ATTACH_DATA_BIN, &IID_IStream, 0, 0, &stream));
    IAttach* object = nullptr;
    ASSERT_EQ(S_OK, message->OpenAttach(1, nullptr, 0, &object));
    IUnknown* storage = nullptr;
    ASSERT_EQ(S_OK, object->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IStorage, 0, 0, &storage));
    object->Release();
    table->AddRef();
    EXPECT_THAT(alive(), ElementsAre("IAttach 1", "IMAPITable 2", "IMessage 1", "IStorage 1", "IStream 0"));
    storage->Release();
    stream->Release();
    table->Release();
    EXPECT_THAT(alive(), Contains("IMAPITable 1"));
    table->Release();
    attachment->Release();
    message->Release();
    EXPECT_THAT(alive(), IsEmpty());
}

} // namespace
} // namespace host::test
