#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "tool/icap_client/scan_result.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

/// Stores the verdicts of messages in two tiers: the global cache, a named property on the message itself that is
/// transferred with it, and the internal cache, a table in memory keyed by entry identifier. Also determines whether a
/// message is encrypted; the property of an encrypted message is stored on the base message inside the wrapper. The
/// caller keeps ownership of messages. Must be used on the thread that delivers item events; there is no lock.
class VerdictCache
{
public:
    VerdictCache();
    VerdictCache(const VerdictCache&) = delete;
    VerdictCache& operator=(const VerdictCache&) = delete;

    /// Finds the known verdict of `message`. If the result is true, `seenInternally` (may be null) specifies whether
    /// only the internal cache contained it.
    bool FindMessage(IMessage* message, ScanResult& verdict, bool* seenInternally);
    /// Records a verdict, which must not be ScanResult::None, in both tiers. The message is not saved.
    void AddMessage(IMessage* message, ScanResult verdict);
    /// Records a verdict in memory only, so that it is found without the changes that the message should have had.
    void RememberMessage(IMessage* message, ScanResult verdict);
    /// Returns true for an S/MIME enveloped message; a signed one does not count as encrypted.
    bool IsEncrypted(IMessage* message);
    /// Converts a decrypted base message to an ordinary note; returns true if the store accepted the change.
    bool UnencryptBaseMessage(IMessage* baseMessage);
    /// Specifies the signatures, by the service's ISTag, by which verdicts are given from now on. A stored clean
    /// verdict that was given by others, or without this call, is then not found; other verdicts are. Without this call
    /// every stored verdict counts.
    void SetSignatures(std::string istag) { signatures_ = std::move(istag); }
    /// Reads "KeepVerdictInEmail": any value other than 0 turns the property off. On failure the setting is unchanged.
    void ReadRegistryParams();

    /// Returns the number of entries of the internal cache.
    [[nodiscard]] std::size_t InternalSize() const noexcept { return internal_.size(); }

private:
    /// A verdict of the internal cache.
    struct Entry
    {
        ScanResult verdict;
        std::string signatures; ///< empty if they are not compared
    };

    bool InitCustomPropertyId(IMessage* message);
    bool InitContentTypeId(IMessage* message);
    bool InitSignaturesId(IMessage* message);
    [[nodiscard]] bool DependsOnSignatures(ScanResult verdict) const
    {
        return signatures_ && verdict == ScanResult::Clean;
    }
    std::string SignaturesOf(IMessage* message);
    void WriteSignatures(IMessage* message, ScanResult verdict);
    ComPtr<IMessage> BaseMessage(IMessage* message);
    void AddToInternalCache(const std::string& id, ScanResult verdict);
    bool FindInInternalCache(const std::string& id, ScanResult& verdict);

    ULONG CustomPropertyID = 0; ///< tag of the verdict property, 0 until resolved
    ULONG ContentTypeID = 0;    ///< tag of the content type property, 0 until resolved
    ULONG SignaturesID = 0;     ///< tag of the signatures property, 0 until resolved
    std::unordered_map<std::string, Entry> internal_;
    std::optional<std::string> signatures_; ///< nullopt: not compared
    bool keepVerdictInEmail_ = true;
};
