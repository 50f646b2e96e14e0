#pragma once

#include "outlook/qdmailprotect/check/mail_events.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"
#include "tests/outlook/qdmailprotect/support/scripted_item.h"
#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace test {

/// A check whose outcome is given.
class scripted_check final : public MessageCheck
{
public:
    HRESULT result = S_OK;
    ScanResult verdict = ScanResult::Clean;
    bool block = false;
    bool allowed = true;
    std::vector<bool> connect_now;
    std::vector<bool> use_cache;
    std::vector<IUnknown*> items;
    std::vector<std::wstring> names;

    HRESULT CheckMessage(bool connectNow, bool useCache, ComPtr<IUnknown> item, ScanResult& outcome,
                         bool& blockDisplay) override
    {
        connect_now.push_back(connectNow);
        use_cache.push_back(useCache);
        items.push_back(item.get());
        outcome = verdict;
        blockDisplay = block;
        return result;
    }
    bool IsAttachmentAllowed(const std::wstring& name) override
    {
        names.push_back(name);
        return allowed;
    }
};

/// The subscriptions of all items.
class listed_events final : public ItemEventSource
{
public:
    HRESULT advise_result = S_OK;
    std::map<std::uint32_t, std::pair<IUnknown*, ComPtr<IItemEvents>>> sinks;
    int unadvised = 0;

    HRESULT Advise(IUnknown* item, ComPtr<IItemEvents> sink, std::uint32_t& cookie) override
    {
        if (SUCCEEDED(advise_result)) {
            cookie = ++next_;
            sinks[cookie] = {item, std::move(sink)};
        }
        return advise_result;
    }
    HRESULT Unadvise(IUnknown*, std::uint32_t cookie) override
    {
        ++unadvised;
        return sinks.erase(cookie) ? S_OK : CannotConnect;
    }
    /// The sink that heard of the item last.
    IItemEvents* of(IUnknown* item)
    {
        IItemEvents* last = nullptr;
        for (const auto& [cookie, entry] : sinks) {
            if (entry.first == item) {
                last = entry.second.get();
            }
        }
        return last;
    }

private:
    std::uint32_t next_ = 0;
};

class fake_attachment final : public OutlookAttachmentBase
{
public:
    std::wstring file_name;
    std::wstring display_name;

protected:
    std::wstring FileName() override { return file_name; }
    std::wstring DisplayName() override { return display_name; }
};

/// The events of two items, with a check whose outcome is given.
class mail_events : public ::testing::Test
{
protected:
    void TearDown() override
    {
        events->ReleaseHandlers();
        source->sinks.clear();
        events.reset();
        item.reset();
        other.reset();
        EXPECT_EQ(store.alive, 0);
    }
    ComPtr<IUnknown> new_item() { return ComPtr<IUnknown>(MakeCom<scripted_object>(store)); }
    ComPtr<MailEvents> new_events(EventHandlerFactory factory)
    {
        return MakeCom<MailEvents>(check, source, &clock, std::move(factory));
    }
    /// A line's place for a pointer.
    static std::string at(const char* text, const IUnknown* pointer)
    {
        std::ostringstream line;
        line << text << " (" << static_cast<const void*>(pointer) << ")";
        return line.str();
    }
    std::int32_t read_complete(IUnknown* of, std::int32_t cancel = -1)
    {
        events->OnReadComplete(of, &cancel);
        return cancel;
    }

    log_capture log;
    scripted_store store;
    still_clock clock;
    std::shared_ptr<scripted_check> check = std::make_shared<scripted_check>();
    std::shared_ptr<listed_events> source = std::make_shared<listed_events>();
    ComPtr<MailEvents> events = MakeCom<MailEvents>(check, source, &clock);
    ComPtr<IUnknown> item = new_item();
    ComPtr<IUnknown> other = new_item();
};

} // namespace test
