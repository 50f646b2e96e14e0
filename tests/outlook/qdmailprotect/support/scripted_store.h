#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "store/message_record.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Wrappers for the objects of a real message store. They record each operation, can return given results instead of
/// the store's, and count themselves, so that a missing or leaked reference is detected.
namespace test {

/// One row of a table: tags and values in the order of the columns.
using table_row = std::vector<std::pair<ULONG, host::property_value>>;

/// The state that all wrappers of one test share. Must outlive them. The text of an operation consists of the object's
/// name, a dot, the operation and its arguments: "message.DeleteAttach 1 0 null 0".
class scripted_store
{
public:
    /// The result of an operation. Unless `forwarded`, the operation does nothing.
    struct outcome
    {
        HRESULT result = S_OK;
        bool forwarded = false;
    };

    scripted_store() = default;
    scripted_store(const scripted_store&) = delete;
    scripted_store& operator=(const scripted_store&) = delete;

    /// Makes each operation whose text begins with `start` return `result` without being forwarded; its out-parameters
    /// remain empty. S_OK simulates a store that claims success and does nothing. Of several entries for one operation
    /// the last one applies.
    void fail(std::string start, HRESULT result) { add({std::move(start), {result, false}, 0}); }
    /// Does the same for the n-th of these operations from now on only, starting at 1.
    void fail_nth(std::size_t n, HRESULT result, std::string start = {})
    {
        add({std::move(start), {result, false}, n});
    }
    /// Forwards each operation whose text begins with `start`, but returns `result`: simulates a store that returns an
    /// object together with a failure.
    void deny(std::string start, HRESULT result) { add({std::move(start), {result, true}, 0}); }
    /// Calls `check` with each of the ways in which an operation can fail to return an object: with `failure`, with
    /// S_OK but without an object, and with `failure` together with an object. The argument is the result.
    void refuse_each_way(const std::string& start, HRESULT failure, const std::function<void(HRESULT result)>& check);
    /// Makes reads of `property` return the property `tag` with a number or an error code as its value.
    void answer(ULONG property, ULONG tag, ULONG number);
    /// Makes the store have no identifiers for names: it succeeds with an error instead of each tag.
    void refuse_names() { refuses_names_ = true; }
    /// Makes tables return these rows instead of their own.
    void give_rows(std::vector<table_row> rows) { rows_ = std::move(rows); }
    /// Makes the stream of this name, or the row of the attachment of this name, show a size that is not the real one.
    void claim_size(const std::string& name, std::uint64_t size) { sizes_[name] = size; }

    /// Records an operation; returns its outcome if it is scripted.
    std::optional<outcome> enter(const std::string& operation);
    /// Returns null if there is no given answer.
    [[nodiscard]] const SPropValue* answer_to(ULONG property) const;
    [[nodiscard]] bool refuses_names() const noexcept { return refuses_names_; }
    [[nodiscard]] const std::optional<std::vector<table_row>>& rows() const noexcept { return rows_; }
    [[nodiscard]] std::optional<std::uint64_t> claimed_size(const std::string& name) const;

    /// Calls `watch` with the text of each operation before it is performed.
    void watch(std::function<void(const std::string&)> watch) { watch_ = std::move(watch); }

    /// Returns the operations so far.
    [[nodiscard]] const std::vector<std::string>& calls() const noexcept { return calls_; }
    /// Returns the operations that begin with `start`.
    [[nodiscard]] std::vector<std::string> calls(const std::string& start) const;
    /// Discards the recorded operations and everything that is scripted.
    void clear();

    /// Returns what the messages of the store share, such as the names of properties.
    [[nodiscard]] const std::shared_ptr<host::store_context>& context() const noexcept { return context_; }

    int alive = 0; ///< existing wrappers

private:
    struct script
    {
        std::string start;
        outcome what;
        std::size_t countdown = 0; ///< operations up to the one that it applies to; 0: applies to each
    };
    void add(script entry) { scripts_.push_back(std::move(entry)); }

    std::vector<std::string> calls_;
    std::function<void(const std::string&)> watch_;
    std::vector<script> scripts_;
    std::map<ULONG, SPropValue> answers_;
    std::optional<std::vector<table_row>> rows_;
    std::map<std::string, std::uint64_t> sizes_;
    bool refuses_names_ = false;
    std::shared_ptr<host::store_context> context_ = std::make_shared<host::store_context>();
};

/// Eight digits, as in the texts of operations.
std::string hex_text(ULONG number);
/// The name of an interface in the texts of operations, "other" for those that no test needs.
std::string interface_text(REFIID iid);

/// Counts one wrapper and assigns its name in the texts of its operations.
class scripted
{
public:
    scripted(const scripted&) = delete;
    scripted& operator=(const scripted&) = delete;

protected:
    scripted(scripted_store& store, std::string name)
        : store_(store)
        , name_(std::move(name))
    {
        ++store_.alive;
    }
    ~scripted() { --store_.alive; }

    /// Records an operation and performs it by `call` unless something else is scripted.
    template <typename Call>
    HRESULT run(const std::string& operation, Call&& call)
    {
        const auto given = store_.enter(name_ + "." + operation);
        if (!given) {
            return call();
        }
        if (given->forwarded) {
            call();
        }
        return given->result;
    }
    /// Records a query for an interface and performs it by `call` unless something else is scripted.
    template <typename Call>
    HRESULT query(REFIID iid, void** object, Call&& call)
    {
        if (object) {
            *object = nullptr;
        }
        return run("QueryInterface " + interface_text(iid), std::forward<Call>(call));
    }

    scripted_store& store_;
    std::string name_;
};

} // namespace test
