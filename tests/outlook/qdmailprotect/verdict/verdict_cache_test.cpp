#include "outlook/qdmailprotect/verdict/verdict_cache.h"
#include "tests/outlook/qdmailprotect/support/checker_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

namespace {

using test::stored_message;
using texts = std::vector<std::string>;

constexpr ULONG ContentType = 0x8001001F; // the second resolved name
const std::wstring Enveloped = L"application/pkcs7-mime; smime-type=enveloped-data; name=smime.p7m";

class verdict_cache : public ::testing::Test
{
protected:
    verdict_cache()
    {
        cache = std::make_unique<VerdictCache>();
        log.clear();
    }
    void TearDown() override { EXPECT_EQ(store.alive, 0); }

    std::unique_ptr<stored_message> new_message(const std::string& id = "\x01\x02")
    {
        auto message = test::empty_message(store);
        if (!id.empty()) {
            message->set_bytes(PR_ENTRYID, id);
        }
        return message;
    }
    /// Creates the wrapper of an encrypted message.
    std::unique_ptr<stored_message> new_wrapper(stored_message* base)
    {
        auto wrapper = new_message();
        resolve(*wrapper);
        wrapper->set_text(ContentType, Enveloped);
        wrapper->object().wrap(base ? base->reference() : nullptr);
        return wrapper;
    }
    /// Resolves both names, that of the verdict first.
    void resolve(stored_message& message)
    {
        cache->FindMessage(message.pointer(), verdict, nullptr);
        verdict = ScanResult::None;
        log.clear();
    }
    bool find(stored_message& message) { return cache->FindMessage(message.pointer(), verdict, &internal); }
    void add(stored_message& message, ScanResult result) { cache->AddMessage(message.pointer(), result); }
    [[nodiscard]] std::uint64_t stored(stored_message& message)
    {
        const auto value = message.value(test::verdict_tag(store));
        return value ? std::stoull(*value) : 0;
    }
    void keep_verdict(std::uint32_t value)
    {
        registry.set_number(winapi::registry_names::environment_key, winapi::registry_names::keep_verdict_in_email,
                            value);
    }

    winapi::memory_registry registry;
    winapi::registry_override registry_is{registry};
    test::log_capture log;
    test::scripted_store store;
    std::unique_ptr<VerdictCache> cache;
    ScanResult verdict = ScanResult::None;
    bool internal = false;
};

TEST_F(verdict_cache, reads_the_registry_at_construction)
{
    VerdictCache another;
    EXPECT_EQ(leveled(log), (texts{"500 Reading additional params from registry"}));
    log.clear();
    keep_verdict(0);
    another.ReadRegistryParams();
    EXPECT_EQ(leveled(log),
              (texts{"500 Reading additional params from registry", "500 Additions params - KeepVerdictInEmail = 0"}));
    log.clear();
    keep_verdict(7);
    const VerdictCache third;
    EXPECT_EQ(leveled(log),
              (texts{"500 Reading additional params from registry", "500 Additions params - KeepVerdictInEmail = 7"}));
}

TEST_F(verdict_cache, stores_a_verdict_on_the_message_and_finds_it_there)
{
    const auto message = new_message();
    EXPECT_FALSE(find(*message));
    add(*message, ScanResult::Repaired);
    EXPECT_EQ(stored(*message), 3U);
    EXPECT_TRUE(find(*message));
    EXPECT_EQ(verdict, ScanResult::Repaired);
    EXPECT_FALSE(internal);
    VerdictCache after_restart;
    verdict = ScanResult::None;
    EXPECT_TRUE(after_restart.FindMessage(message->pointer(), verdict, nullptr));
    EXPECT_EQ(verdict, ScanResult::Repaired);
}

TEST_F(verdict_cache, names_its_properties)
{
    const auto message = new_message();
    find(*message);
    const std::string create = " " + std::to_string(MAPI_CREATE);
    EXPECT_EQ(store.calls("message.GetIDsFromNames"),
              (texts{"message.GetIDsFromNames 876fc580:1" + create,
                     "message.GetIDsFromNames 00020386:content-type" + create}));
    EXPECT_EQ(test::verdict_tag(store), 0x80000003U);
}

TEST_F(verdict_cache, resolves_names_once_for_all_messages)
{
    const auto message = new_message();
    find(*message);
    find(*message);
    add(*new_message("other"), ScanResult::Clean);
    EXPECT_EQ(store.calls("message.GetIDsFromNames").size(), 2U);
}

TEST_F(verdict_cache, tells_each_step_of_a_first_look)
{
    const auto message = new_message();
    EXPECT_FALSE(find(*message));
    EXPECT_TRUE(internal) << "set although the look-up failed";
    EXPECT_EQ(leveled(log), (texts{
                                "500 Determining if message is in cache (CustomPropertyID=0x0)",
                                "500 Initializing custom property ID",
                                "500 Custom property ID initialized: 0x80000003",
                                "400 Getting ContentTypeID: 0x8001001f",
                                "200 Error getting prop 0x8001001f, err=0x8004010f",
                                "200 Error getting prop 0x80000003, err=0x8004010f",
                                "500 Message not found in global cache, check the internal cache",
                                "400 Searching for messageID in internal cache: 0102",
                                "400 Not found in internal cache",
                            }));
}

TEST_F(verdict_cache, tells_each_step_of_an_addition)
{
    const auto message = new_message();
    resolve(*message);
    add(*message, ScanResult::Blocked);
    EXPECT_EQ(leveled(log), (texts{
                                "500 Adding message to cache (CustomPropertyID=0x80000003)",
                                "400 Getting ContentTypeID: 0x8001001f",
                                "200 Error getting prop 0x8001001f, err=0x8004010f",
                                "500 Adding message result: 0x0",
                                "400 Adding message to internal cache, MessageID: 0102, verdict: 2, cache size = 1",
                            }));
    log.clear();
    EXPECT_TRUE(find(*message));
    EXPECT_EQ(leveled(log), (texts{
                                "500 Determining if message is in cache (CustomPropertyID=0x80000003)",
                                "400 Getting ContentTypeID: 0x8001001f",
                                "200 Error getting prop 0x8001001f, err=0x8004010f",
                                "500 Message found in cache, its saved verdict: 2",
                            }));
}

TEST_F(verdict_cache, finds_in_memory_what_the_message_has_lost)
{
    const auto message = new_message();
    add(*message, ScanResult::Blocked);
    message->remove(test::verdict_tag(store));
    log.clear();
    EXPECT_TRUE(find(*message));
    EXPECT_TRUE(internal);
    EXPECT_EQ(verdict, ScanResult::Blocked);
    const texts lines = leveled(log);
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(texts(lines.end() - 3, lines.end()),
              (texts{"500 Message not found in global cache, check the internal cache",
                     "400 Searching for messageID in internal cache: 0102",
                     "400 Found in internal cache, saved verdict: 2"}));
}

TEST_F(verdict_cache, believes_any_number_on_the_message)
{
    const auto message = new_message();
    resolve(*message);
    message->set_number(test::verdict_tag(store), 0xFFFFFFFFU);
    EXPECT_TRUE(find(*message));
    EXPECT_EQ(static_cast<std::int32_t>(verdict), -1);
}

TEST_F(verdict_cache, does_not_need_to_tell_where_it_knew_from)
{
    const auto message = new_message();
    EXPECT_FALSE(cache->FindMessage(message->pointer(), verdict, nullptr));
    add(*message, ScanResult::Clean);
    EXPECT_TRUE(cache->FindMessage(message->pointer(), verdict, nullptr));
    message->remove(test::verdict_tag(store));
    EXPECT_TRUE(cache->FindMessage(message->pointer(), verdict, nullptr));
}

TEST_F(verdict_cache, without_names_knows_and_writes_nothing)
{
    const auto message = new_message();
    store.fail("message.GetIDsFromNames", MAPI_E_NO_SUPPORT);
    EXPECT_FALSE(find(*message));
    add(*message, ScanResult::Blocked);
    EXPECT_EQ(cache->InternalSize(), 0U);
    EXPECT_EQ(leveled(log), (texts{
                                "500 Determining if message is in cache (CustomPropertyID=0x0)",
                                "500 Initializing custom property ID",
                                "500 Adding message to cache (CustomPropertyID=0x0)",
                                "500 Initializing custom property ID",
                            }));
}

TEST_F(verdict_cache, tries_the_names_again_after_a_failure)
{
    const auto message = new_message();
    store.fail_nth(1, MAPI_E_NO_SUPPORT, "message.GetIDsFromNames");
    EXPECT_FALSE(find(*message));
    add(*message, ScanResult::Clean);
    EXPECT_EQ(stored(*message), 1U);
}

TEST_F(verdict_cache, takes_no_tags_for_a_failure)
{
    const auto message = new_message();
    store.fail_nth(1, S_OK, "message.GetIDsFromNames");
    EXPECT_FALSE(find(*message));
    EXPECT_EQ(test::verdict_tag(store), 0U);
}

TEST_F(verdict_cache, asks_for_a_name_again_after_a_store_without_free_names)
{
    store.refuse_names();
    const auto message = new_message();
    EXPECT_FALSE(find(*message));
    add(*message, ScanResult::Clean);
    EXPECT_FALSE(cache->IsEncrypted(message->pointer()));
    EXPECT_EQ(store.calls("message.GetIDsFromNames").size(), 3U);
    EXPECT_TRUE(store.calls("message.SetProps").empty());
    store.clear();
    const auto other = new_message("\x03");
    add(*other, ScanResult::Clean);
    EXPECT_EQ(stored(*other), 1U);
    other->set_text(ContentType, Enveloped);
    EXPECT_TRUE(cache->IsEncrypted(other->pointer()));
}

TEST_F(verdict_cache, of_no_message_knows_nothing)
{
    resolve(*new_message());
    EXPECT_FALSE(cache->FindMessage(nullptr, verdict, &internal));
    cache->AddMessage(nullptr, ScanResult::Clean);
    EXPECT_FALSE(cache->IsEncrypted(nullptr));
    EXPECT_EQ(leveled(log), (texts{
                                "500 Determining if message is in cache (CustomPropertyID=0x80000003)",
                                "500 Initializing custom property ID",
                                "500 Adding message to cache (CustomPropertyID=0x80000003)",
                                "500 Initializing custom property ID",
                            }));
}

TEST_F(verdict_cache, of_an_unsaved_message_lives_on_the_message_only)
{
    const auto message = new_message("");
    add(*message, ScanResult::Clean);
    EXPECT_EQ(stored(*message), 1U);
    EXPECT_EQ(cache->InternalSize(), 0U);
    message->remove(test::verdict_tag(store));
    internal = false;
    EXPECT_FALSE(find(*message));
    EXPECT_FALSE(internal);
}

TEST_F(verdict_cache, of_an_empty_identifier_lives_on_the_message_only)
{
    const auto message = new_message("");
    message->set_bytes(PR_ENTRYID, "");
    add(*message, ScanResult::Clean);
    EXPECT_EQ(cache->InternalSize(), 0U);
}

TEST_F(verdict_cache, of_an_identifier_of_another_type_lives_on_the_message_only)
{
    const auto message = new_message();
    store.answer(PR_ENTRYID, PROP_TAG(PT_LONG, PROP_ID(PR_ENTRYID)), 7); // can be read, but not as text
    add(*message, ScanResult::Clean);
    EXPECT_EQ(stored(*message), 1U);
    EXPECT_EQ(cache->InternalSize(), 0U);
    message->remove(test::verdict_tag(store));
    log.clear();
    EXPECT_FALSE(find(*message));
    EXPECT_FALSE(internal);
    EXPECT_EQ(leveled(log).back(), "500 Message not found in global cache, check the internal cache");
}

TEST_F(verdict_cache, logs_a_refused_property_and_still_remembers)
{
    const auto message = new_message();
    resolve(*message);
    store.fail_nth(1, E_ACCESSDENIED, "message.SetProps");
    add(*message, ScanResult::Blocked);
    EXPECT_TRUE(log.contains("Adding message result: 0x80070005"));
    EXPECT_EQ(cache->InternalSize(), 1U);
    EXPECT_TRUE(find(*message));
    EXPECT_TRUE(internal);
}

TEST_F(verdict_cache, does_not_save_the_message)
{
    add(*new_message(), ScanResult::Clean);
    EXPECT_TRUE(store.calls("message.SaveChanges").empty());
}

TEST_F(verdict_cache, keeps_no_property_when_the_registry_value_is_set)
{
    keep_verdict(1);
    cache->ReadRegistryParams();
    const auto message = new_message();
    add(*message, ScanResult::Blocked);
    EXPECT_EQ(stored(*message), 0U);
    EXPECT_TRUE(store.calls("message.SetProps").empty());
    EXPECT_FALSE(log.contains("Adding message result"));
    EXPECT_TRUE(find(*message));
    EXPECT_TRUE(internal);
    EXPECT_EQ(verdict, ScanResult::Blocked);
}

TEST_F(verdict_cache, keeps_no_property_for_any_number_but_zero)
{
    for (const std::uint32_t value : {7U, 2U, 256U, 0x80000000U, 0xFFFFFFFFU}) {
        keep_verdict(0);
        cache->ReadRegistryParams();
        keep_verdict(value);
        cache->ReadRegistryParams();
        const auto message = new_message();
        add(*message, ScanResult::Clean);
        EXPECT_EQ(stored(*message), 0U) << value;
    }
    EXPECT_EQ(cache->InternalSize(), 1U);
}

TEST_F(verdict_cache, keeps_the_property_again_when_the_value_is_zero_or_gone)
{
    for (const bool gone : {false, true}) {
        keep_verdict(1);
        cache->ReadRegistryParams();
        if (gone) {
            registry.remove_value(winapi::registry_names::environment_key,
                                  winapi::registry_names::keep_verdict_in_email);
        } else {
            keep_verdict(0);
        }
        cache->ReadRegistryParams();
        const auto message = new_message();
        add(*message, ScanResult::Clean);
        EXPECT_EQ(stored(*message), 1U);
    }
}

TEST_F(verdict_cache, leaves_the_flag_alone_without_the_key_or_with_a_long_value)
{
    keep_verdict(1);
    cache->ReadRegistryParams();
    registry.clear();
    cache->ReadRegistryParams();
    add(*new_message("a"), ScanResult::Clean);
    EXPECT_TRUE(store.calls("message.SetProps").empty()) << "no key";
    registry.set_bytes(winapi::registry_names::environment_key, winapi::registry_names::keep_verdict_in_email,
                       {0, 0, 0, 0, 0});
    EXPECT_NO_THROW(cache->ReadRegistryParams());
    add(*new_message("b"), ScanResult::Clean);
    EXPECT_TRUE(store.calls("message.SetProps").empty()) << "a value of five bytes";
}

TEST_F(verdict_cache, overwrites_a_verdict_without_growing)
{
    const auto message = new_message();
    add(*message, ScanResult::Clean);
    add(*message, ScanResult::Blocked);
    EXPECT_EQ(cache->InternalSize(), 1U);
    message->remove(test::verdict_tag(store));
    EXPECT_TRUE(find(*message));
    EXPECT_EQ(verdict, ScanResult::Blocked);
}

TEST_F(verdict_cache, trims_itself_to_1001_entries_at_the_5000th)
{
    const auto message = new_message();
    for (int i = 0; i < 4999; ++i) {
        message->set_bytes(PR_ENTRYID, std::to_string(i));
        add(*message, ScanResult::Clean);
    }
    EXPECT_EQ(cache->InternalSize(), 4999U);
    add(*message, ScanResult::Blocked);
    EXPECT_EQ(cache->InternalSize(), 4999U) << "an entry that was there doesn't count twice";
    EXPECT_FALSE(log.contains("Clearing the cache..."));
    log.clear();
    message->set_bytes(PR_ENTRYID, "one more");
    add(*message, ScanResult::Clean);
    EXPECT_EQ(cache->InternalSize(), 1001U);
    const texts lines = leveled(log);
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[lines.size() - 2],
              "400 Adding message to internal cache, MessageID: 6F6E65206D6F7265, verdict: 1, cache size = 5000");
    EXPECT_EQ(lines.back(), "400 Clearing the cache...");
}

TEST_F(verdict_cache, trims_itself_without_regard_to_age)
{
    keep_verdict(1); // so that the verdicts are stored in memory only
    const auto message = new_message();
    const auto name = [&](int number) { message->set_bytes(PR_ENTRYID, std::to_string(number)); };
    const auto survivors = [&](bool backwards) {
        VerdictCache filled;
        for (int i = 0; i < 5000; ++i) {
            name(backwards ? 4999 - i : i);
            filled.AddMessage(message->pointer(), ScanResult::Clean);
        }
        std::vector<int> found;
        for (int number = 0; number < 5000; ++number) {
            name(number);
            if (filled.FindMessage(message->pointer(), verdict, nullptr)) {
                found.push_back(number);
            }
        }
        return found;
    };
    const std::vector<int> rising = survivors(false);
    const std::vector<int> falling = survivors(true);
    EXPECT_EQ(rising.size(), 1001U);
    EXPECT_EQ(falling.size(), 1001U);
    std::vector<int> both;
    std::set_intersection(rising.begin(), rising.end(), falling.begin(), falling.end(), std::back_inserter(both));
    EXPECT_GE(both.size(), 980U) << "only within the last bucket may the order count";
}

/// A cache that compares signatures.
class verdict_by_signatures : public verdict_cache
{
protected:
    verdict_by_signatures() { cache->SetSignatures("\"engine-1\""); }
    /// Finds with a cache that has no memory, as after a restart of the client.
    bool find_after_restart(stored_message& message, const std::string& signatures)
    {
        VerdictCache another;
        another.SetSignatures(signatures);
        return another.FindMessage(message.pointer(), verdict, &internal);
    }
};

TEST_F(verdict_by_signatures, that_is_clean_counts_while_they_are_the_same)
{
    const auto message = new_message();
    add(*message, ScanResult::Clean);
    EXPECT_TRUE(find(*message));
    EXPECT_FALSE(internal);
    EXPECT_TRUE(find_after_restart(*message, "\"engine-1\""));
    EXPECT_EQ(verdict, ScanResult::Clean);
    EXPECT_FALSE(find_after_restart(*message, "\"engine-2\""));
}

TEST_F(verdict_by_signatures, that_is_clean_is_forgotten_on_the_message_and_in_memory_when_they_change)
{
    const auto message = new_message();
    add(*message, ScanResult::Clean);
    verdict = ScanResult::None;
    cache->SetSignatures("\"engine-2\"");
    log.clear();
    EXPECT_FALSE(find(*message));
    EXPECT_EQ(verdict, ScanResult::None);
    const texts lines = leveled(log);
    const std::string outdated = "500 Verdict was given by other signatures, the message is checked again";
    EXPECT_EQ(std::count(lines.begin(), lines.end(), outdated), 2) << "the message's and that in memory";
    add(*message, ScanResult::Clean);
    EXPECT_TRUE(find(*message));
    EXPECT_TRUE(find_after_restart(*message, "\"engine-2\""));
}

TEST_F(verdict_by_signatures, that_is_not_clean_counts_whatever_they_are)
{
    for (const auto given : {ScanResult::Blocked, ScanResult::Repaired}) {
        const auto message = new_message("id" + std::to_string(static_cast<int>(given)));
        add(*message, given);
        cache->SetSignatures("\"engine-2\"");
        EXPECT_TRUE(find(*message));
        EXPECT_EQ(verdict, given);
        message->remove(test::verdict_tag(store));
        EXPECT_TRUE(find(*message)) << "in memory";
        EXPECT_EQ(verdict, given);
    }
    EXPECT_EQ(store.calls("message.GetIDsFromNames").size(), 2U)
        << "there is no name for a property that is not needed";
}

TEST_F(verdict_by_signatures, that_was_stored_without_them_is_checked_again)
{
    const auto message = new_message();
    VerdictCache former;
    former.AddMessage(message->pointer(), ScanResult::Clean);
    EXPECT_FALSE(find(*message));
}

TEST_F(verdict_by_signatures, counts_from_memory_where_the_message_lost_what_was_newer)
{
    const auto message = new_message();
    add(*message, ScanResult::Clean);
    cache->SetSignatures("\"engine-2\"");
    const auto unsaved = new_message(); // the same message, on which the second verdict was never saved
    unsaved->set_number(test::verdict_tag(store), 1);
    add(*message, ScanResult::Clean);
    EXPECT_TRUE(find(*unsaved));
    EXPECT_TRUE(internal);
    EXPECT_EQ(verdict, ScanResult::Clean);
}

TEST_F(verdict_by_signatures, keep_them_in_a_second_property_of_its_set)
{
    const auto message = new_message();
    add(*message, ScanResult::Clean);
    EXPECT_EQ(store.calls("message.GetIDsFromNames").back(),
              "message.GetIDsFromNames 876fc580:2 " + std::to_string(MAPI_CREATE));
    keep_verdict(1);
    VerdictCache without_property;
    without_property.SetSignatures("\"engine-1\"");
    const auto other = new_message("other");
    without_property.AddMessage(other->pointer(), ScanResult::Clean);
    EXPECT_FALSE(find_after_restart(*other, "\"engine-1\"")) << "neither property is written";
    EXPECT_TRUE(without_property.FindMessage(other->pointer(), verdict, &internal)) << "memory has both";
}

TEST_F(verdict_by_signatures, that_is_clean_does_not_count_where_the_store_has_no_name_for_them)
{
    const auto message = new_message();
    find(*message); // both other names are known
    store.refuse_names();
    add(*message, ScanResult::Clean);
    EXPECT_EQ(stored(*message), 1U);
    EXPECT_TRUE(find(*message)) << "from memory";
    EXPECT_TRUE(internal);
}

TEST_F(verdict_cache, without_signatures_counts_for_good)
{
    const auto message = new_message();
    cache->SetSignatures("\"engine-1\"");
    add(*message, ScanResult::Clean);
    VerdictCache plain;
    EXPECT_TRUE(plain.FindMessage(message->pointer(), verdict, nullptr));
    const auto calls = store.calls("message.GetIDsFromNames").size();
    plain.AddMessage(message->pointer(), ScanResult::Clean);
    EXPECT_EQ(store.calls("message.GetIDsFromNames").size(), calls) << "no name for the signatures";
}

TEST_F(verdict_cache, knows_enveloped_messages_by_their_content_type)
{
    const auto message = new_message();
    resolve(*message);
    const auto encrypted = [&](const std::wstring& type) {
        message->set_text(ContentType, type);
        log.clear();
        return cache->IsEncrypted(message->pointer());
    };
    EXPECT_TRUE(encrypted(Enveloped));
    EXPECT_EQ(leveled(log), (texts{"400 Getting ContentTypeID: 0x8001001f", "400 Is message encrypted: 1"}));
    EXPECT_FALSE(encrypted(L"multipart/signed; protocol=\"application/pkcs7-signature\""));
    EXPECT_EQ(leveled(log), (texts{"400 Getting ContentTypeID: 0x8001001f", "400 Is message encrypted: 0"}));
    EXPECT_FALSE(encrypted(L"application/pkcs7-mime; smime-type=signed-data"));
    EXPECT_FALSE(encrypted(L"application/pkcs7-mime; SMIME-TYPE=enveloped-data")) << "case counts";
    EXPECT_TRUE(encrypted(L"smime-type=enveloped-data"));
    EXPECT_FALSE(encrypted(std::wstring()));
}

TEST_F(verdict_cache, takes_a_message_without_a_content_type_for_not_encrypted)
{
    const auto message = new_message();
    resolve(*message);
    EXPECT_FALSE(cache->IsEncrypted(message->pointer()));
    EXPECT_EQ(leveled(log),
              (texts{"400 Getting ContentTypeID: 0x8001001f", "200 Error getting prop 0x8001001f, err=0x8004010f"}));
}

TEST_F(verdict_cache, cannot_tell_encryption_without_the_name)
{
    const auto message = new_message();
    store.fail_nth(1, MAPI_E_NO_SUPPORT, "message.GetIDsFromNames");
    EXPECT_FALSE(cache->IsEncrypted(message->pointer()));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(verdict_cache, of_an_encrypted_message_stands_on_its_base)
{
    const auto base = new_message("base");
    const auto wrapper = new_wrapper(base.get());
    add(*wrapper, ScanResult::Blocked);
    EXPECT_EQ(stored(*base), 2U);
    EXPECT_EQ(stored(*wrapper), 0U);
    EXPECT_EQ(leveled(log), (texts{
                                "500 Adding message to cache (CustomPropertyID=0x80000003)",
                                "400 Getting ContentTypeID: 0x8001001f",
                                "400 Is message encrypted: 1",
                                "500 Message is encrypted...",
                                "400 Got the secured interface",
                                "500 Adding message result: 0x0",
                                "400 Adding message to internal cache, MessageID: 0102, verdict: 2, cache size = 1",
                            }));
    log.clear();
    EXPECT_TRUE(find(*wrapper));
    EXPECT_FALSE(internal);
    EXPECT_EQ(leveled(log), (texts{
                                "500 Determining if message is in cache (CustomPropertyID=0x80000003)",
                                "400 Getting ContentTypeID: 0x8001001f",
                                "400 Is message encrypted: 1",
                                "500 Message is encrypted",
                                "400 Got the secured interface",
                                "500 Message found in cache, its saved verdict: 2",
                            }));
    base->remove(test::verdict_tag(store));
    EXPECT_TRUE(find(*wrapper)) << "the internal key is the wrapper's identifier";
    EXPECT_TRUE(internal);
}

TEST_F(verdict_cache, does_not_look_at_the_property_of_a_wrapper)
{
    const auto base = new_message("base");
    const auto wrapper = new_wrapper(base.get());
    wrapper->set_number(test::verdict_tag(store), 1);
    EXPECT_FALSE(find(*wrapper));
}

TEST_F(verdict_cache, of_an_encrypted_message_without_a_wrapper_is_unknown)
{
    const auto message = new_message();
    resolve(*message);
    message->set_text(ContentType, Enveloped);
    EXPECT_FALSE(find(*message));
    EXPECT_EQ(leveled(log).back(), "500 Message is encrypted");
    log.clear();
    add(*message, ScanResult::Blocked);
    EXPECT_EQ(leveled(log).back(), "500 Message is encrypted...");
    EXPECT_EQ(cache->InternalSize(), 0U);
    EXPECT_EQ(stored(*message), 0U);
}

TEST_F(verdict_cache, of_an_encrypted_message_whose_wrapper_gives_no_interface_is_unknown)
{
    const auto base = new_message("base");
    const auto wrapper = new_wrapper(base.get());
    store.refuse_each_way("message.QueryInterface ISecuredMessage", E_NOINTERFACE, [&](HRESULT) {
        log.clear();
        EXPECT_FALSE(find(*wrapper));
        EXPECT_EQ(leveled(log).back(), "500 Message is encrypted");
    });
    EXPECT_TRUE(store.calls("message.GetBaseMessage").empty());
}

TEST_F(verdict_cache, of_an_encrypted_message_without_a_base_is_unknown)
{
    const auto wrapper = new_wrapper(nullptr);
    EXPECT_FALSE(find(*wrapper));
    EXPECT_EQ(leveled(log).back(), "200 Failed to get the base message: 0x0");
    store.fail_nth(1, E_ACCESSDENIED, "message.GetBaseMessage");
    log.clear();
    add(*wrapper, ScanResult::Blocked);
    const texts lines = leveled(log);
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(texts(lines.end() - 2, lines.end()),
              (texts{"400 Got the secured interface", "200 Failed to get the base message: 0x80070005"}));
    EXPECT_EQ(cache->InternalSize(), 0U);
}

TEST_F(verdict_cache, of_a_signed_message_stands_on_the_wrapper)
{
    const auto base = new_message("base");
    const auto wrapper = new_wrapper(base.get());
    wrapper->set_text(ContentType, L"multipart/signed");
    add(*wrapper, ScanResult::Clean);
    EXPECT_EQ(stored(*wrapper), 1U);
}

TEST_F(verdict_cache, makes_a_base_message_an_ordinary_note)
{
    const auto base = new_message();
    base->set_text(PR_MESSAGE_CLASS_W, L"IPM.Note.SMIME");
    EXPECT_TRUE(cache->UnencryptBaseMessage(base->pointer()));
    EXPECT_EQ(base->value(PR_MESSAGE_CLASS_W), "IPM.Note");
    EXPECT_EQ(leveled(log), (texts{"400 Unencrypting base message...", "400 Old message class: IPM.Note.SMIME",
                                   "400 Changing the class... result = 0x0"}));
}

TEST_F(verdict_cache, takes_every_success_code_for_a_changed_class)
{
    const auto base = new_message();
    store.deny("message.SetProps", MAPI_W_ERRORS_RETURNED);
    EXPECT_TRUE(cache->UnencryptBaseMessage(base->pointer()));
    EXPECT_EQ(base->value(PR_MESSAGE_CLASS_W), "IPM.Note");
    EXPECT_EQ(leveled(log).back(), "400 Changing the class... result = 0x40380");
}

TEST_F(verdict_cache, tells_that_a_class_could_not_be_changed)
{
    const auto base = new_message();
    store.fail_nth(1, E_ACCESSDENIED, "message.SetProps");
    EXPECT_FALSE(cache->UnencryptBaseMessage(base->pointer()));
    EXPECT_EQ(test::leveled_without_reads(log), (texts{"400 Unencrypting base message...", "400 Old message class: ",
                                                       "400 Changing the class... result = 0x80070005"}));
}

} // namespace
