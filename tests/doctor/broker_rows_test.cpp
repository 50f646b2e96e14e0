#include "doctor/broker_rows.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "settings/settings_blob.h"
#include "tests/doctor/findings.h"

#include <functional>
#include <utility>

namespace broker_rows_test {

using namespace doctor;
using DOVA::Settings::WebTrafficMonitorSettings;

/// A broker whose visits do what the test specifies.
class stand_in_broker final : public SettingsBroker
{
public:
    explicit stand_in_broker(
        std::function<Bytes()> load, std::function<void()> connect = [] {})
        : load_(std::move(load))
        , connect_(std::move(connect))
    {}
    std::unique_ptr<Visit> Begin() override { return std::make_unique<visit>(*this); }

private:
    class visit final : public Visit
    {
    public:
        explicit visit(stand_in_broker& owner)
            : owner_(owner)
        {}
        void Connect() override { owner_.connect_(); }
        Bytes Load() override { return owner_.load_(); }

    private:
        stand_in_broker& owner_;
    };

    std::function<Bytes()> load_;
    std::function<void()> connect_;
};

broker_answer answer_of(const WebTrafficMonitorSettings& settings)
{
    stand_in_broker broker([&] { return DOVA::Settings::BlobFromSettings(settings); });
    return ask(broker);
}

TEST(broker_rows, contain_the_settings)
{
    WebTrafficMonitorSettings settings;
    settings.ServerPort.value = 1400;
    settings.ServerPort.isSet = true;
    settings.Uri.value = L"sc\u00E4n";
    settings.Uri.isSet = true;
    settings.UseSizeLimit.value = false;
    settings.UseSizeLimit.isSet = true;
    const broker_answer answer = answer_of(settings);
    EXPECT_THAT(broker_row(answer), is_finding(row_state::ok, "answers", ""));
    EXPECT_THAT(settings_row(answer), is_finding(row_state::ok, "port 1400, path /sc\xC3\xA4n; no size limit", ""));
}

TEST(broker_rows, contain_what_is_switched_off)
{
    WebTrafficMonitorSettings settings;
    EXPECT_THAT(settings_row(answer_of(settings)),
                is_finding(row_state::ok, "port 1345, path /webscan; objects over 20971520 bytes", ""));
    settings.SizeLimit.value = 1000;
    settings.SizeLimit.isSet = true;
    EXPECT_THAT(settings_row(answer_of(settings)),
                is_finding(row_state::warning, "over 1000 bytes", "Raise SizeLimit"));
    settings.UseOutlookPlugin.value = false;
    settings.UseOutlookPlugin.isSet = true;
    EXPECT_THAT(settings_row(answer_of(settings)), is_finding(row_state::failed, "switched off", "UseOutlookPlugin"));
}

TEST(broker_rows, have_the_reason_of_a_broker_that_fails)
{
    const std::vector<std::pair<std::uint32_t, std::string>> reasons{{0x800401F3, "no settings broker is registered"},
                                                                     {0x80040154, "no settings broker is registered"},
                                                                     {0x8007007E, "module"},
                                                                     {0x80070005, "denies access"},
                                                                     {0x80080005, "does not start"},
                                                                     {0x80004005, "error 0x80004005"}};
    for (const auto& [code, words] : reasons) {
        stand_in_broker broker([] { return SettingsBroker::Bytes(); },
                               [code = code] { throw ComError(static_cast<HRESULT>(code)); });
        const broker_answer answer = ask(broker);
        EXPECT_THAT(broker_row(answer), is_finding(row_state::failed, words, "Install the settings broker"));
        EXPECT_THAT(settings_row(answer), is_finding(row_state::not_applicable, "default", ""));
    }
}

TEST(broker_rows, notice_an_answer_that_contains_no_settings)
{
    stand_in_broker broker([] { return SettingsBroker::Bytes{1, 2, 3}; });
    EXPECT_THAT(broker_row(ask(broker)), is_finding(row_state::failed, "no settings record", "Install"));
}

} // namespace broker_rows_test
