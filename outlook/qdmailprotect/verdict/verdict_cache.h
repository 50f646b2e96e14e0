#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "tool/icap_client/scan_result.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>

/// Remembers the verdicts of messages in two tiers: the global cache, a named property on the message itself that
/// travels with it, and the internal cache, a table in memory keyed by entry identifier. Also tells encrypted messages,
/// whose property stands on the base message inside the wrapper. Messages stay the caller's. Used on the thread that
/// delivers item events, without a lock.
class VerdictCache
{
public:
    VerdictCache();
    VerdictCache(const VerdictCache&) = delete;
    VerdictCache& operator=(const VerdictCache&) = delete;

    /// The known verdict of `message`. `seenInternally` (may be null) tells on true whether only the internal cache
    /// knew it.
    bool FindMessage(IMessage* message, ScanResult& verdict, bool* seenInternally);
    /// Records a verdict, which is never ScanResult::None, in both tiers. The message isn't saved.
    void AddMessage(IMessage* message, ScanResult verdict);
    /// True for an S/MIME enveloped message; a signed one counts as not encrypted.
    bool IsEncrypted(IMessage* message);
    /// Makes a decrypted base message an ordinary note; true if the store took it.
    bool UnencryptBaseMessage(IMessage* baseMessage);
    /// Reads "KeepVerdictInEmail": any number but 0 turns the property off. A failure leaves things as they are.
    void ReadRegistryParams();

    /// Entries of the internal cache.
    [[nodiscard]] std::size_t InternalSize() const noexcept { return internal_.size(); }

private:
    bool InitCustomPropertyId(IMessage* message);
    bool InitContentTypeId(IMessage* message);
    ComPtr<IMessage> BaseMessage(IMessage* message);
    void AddToInternalCache(const std::string& id, ScanResult verdict);
    bool FindInInternalCache(const std::string& id, ScanResult& verdict);

    ULONG CustomPropertyID = 0; ///< tag of the verdict property, 0 until resolved
    ULONG ContentTypeID = 0;    ///< tag of the content type property, 0 until resolved
    std::unordered_map<std::string, ScanResult> internal_;
    bool keepVerdictInEmail_ = true;
};
