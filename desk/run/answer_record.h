#pragma once

#include "desk/run/answers.h"
#include "store/message_record.h"
#include "tool/system/hresult.h"

#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace host {

/// Records what becomes of each object while the check of one message runs. The steps of the check come from its log
/// lines, whose texts are fixed; the answers of the service come from the sessions, where the command can observe them,
/// otherwise from the log lines too. Thread-safe.
class answer_record
{
public:
    /// The lines of the check up to this level are required.
    static constexpr unsigned required_level = 400;

    /// Begins the opening of a message on the calling thread. `checked` is what the check sees of the message.
    void begin(const message_record& checked);
    /// Evaluates a log line of the calling thread.
    void hear(std::string_view logger, std::string_view text);
    /// Records the answer to the object that the check has sent last. `threat` is empty if the service named none.
    void exchanged(bool answered, const std::string& threat);
    /// Returns the answers since begin(). `check` is the result of the check.
    [[nodiscard]] opening_answers finish(HRESULT check);

private:
    /// What is known of the object that the check works on.
    struct current_object
    {
        std::string skipped; ///< why; empty: it was not skipped
        std::string failed;  ///< why; empty: nothing has failed
        std::string threat;
        bool absent = false; ///< there are no contents
    };

    void hear_check(std::string_view text);
    void hear_body(std::string_view text);
    void hear_attachment(std::string_view text);
    void hear_session(std::string_view text, bool own_thread);
    void begin_attachment(std::string_view text);
    void end_object(object_answer& object, std::string_view outcome);
    void fail(std::string why);
    [[nodiscard]] std::string failure_words(std::string_view why);

    std::mutex lock_;
    std::thread::id thread_;
    opening_answers answers_;
    current_object current_;
    attachment_answer* attachment_ = nullptr; ///< that the check works on; null: the body
    bool begun_ = false;                      ///< the check has come to the body of the message
    std::string off_;                         ///< why nothing is checked; empty: something is
    std::string unlisted_;                    ///< why the attachments could not be listed; empty if they could
    std::string unreachable_;                 ///< why there is no connection, as heard last
    std::string error_;                       ///< the description of the last answer that is not a verdict
};

} // namespace host
