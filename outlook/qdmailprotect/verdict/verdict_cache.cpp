#include "outlook/qdmailprotect/verdict/verdict_cache.h"

#include "logging/logging.h"
#include "outlook/qdmailprotect/access/properties.h"
#include "outlook/qdmailprotect/mapi/result_text.h"
#include "tool/system/conversions.h"
#include "tool/system/registry.h"

#include <exception>
#include <optional>
#include <string_view>
#include <utility>

namespace {

constexpr GUID VerdictPropertySet{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0x00, 0x0D, 0x0F, 0xD6}};
constexpr LONG VerdictPropertyName = 1;
constexpr LONG SignaturesPropertyName = 2;
constexpr std::wstring_view EnvelopedMarker = L"smime-type=enveloped-data";
constexpr std::size_t ReservedEntries = 100;
constexpr std::size_t TrimAt = 5000;     ///< a table of this size is trimmed
constexpr std::size_t TrimBeyond = 1000; ///< copying stops once the new table is larger

constexpr const char* Outdated = "Verdict was given by other signatures, the message is checked again";

/// Returns the store's tag for a named property, which is created if it does not exist, combined with the type bits
/// `type`; nothing if the store fails or has no identifier left for the name, so that the next message is asked again.
std::optional<ULONG> ResolveName(IMessage* message, MAPINAMEID name, ULONG type)
{
    MAPINAMEID* names[] = {&name};
    SPropTagArray* raw = nullptr;
    const HRESULT result = message->GetIDsFromNames(1, names, MAPI_CREATE, &raw);
    const MapiBuffer<SPropTagArray> tags(raw);
    if (FAILED(result) || !tags || tags->cValues == 0 || PROP_TYPE(tags->aulPropTag[0]) == PT_ERROR) {
        return std::nullopt;
    }
    return CHANGE_PROP_TYPE(tags->aulPropTag[0], type);
}

/// As ResolveName, for the property `id` of the add-in's own set.
std::optional<ULONG> ResolveOwnName(IMessage* message, LONG id, ULONG type)
{
    GUID set = VerdictPropertySet;
    MAPINAMEID name{};
    name.lpguid = &set;
    name.ulKind = MNID_ID;
    name.Kind.lID = id;
    return ResolveName(message, name, type);
}

} // namespace

VerdictCache::VerdictCache()
{
    internal_.max_load_factor(1.0F);
    ReadRegistryParams();
}

void VerdictCache::ReadRegistryParams()
{
    internal_.reserve(ReservedEntries);
    LOG_LINE(logging::outlook_log(), 500, "Reading additional params from registry");
    try {
        const winapi::registry& registry = winapi::local_machine();
        if (!registry.has_key(winapi::registry_names::environment_key)) {
            return;
        }
        const std::optional<std::uint32_t> value = registry.number_value(winapi::registry_names::environment_key,
                                                                         winapi::registry_names::keep_verdict_in_email);
        if (value) {
            LOG_LINE(logging::outlook_log(), 500, "Additions params - KeepVerdictInEmail = " << *value);
        }
        keepVerdictInEmail_ = value.value_or(0) == 0;
    } catch (const std::exception&) {
        // A value that cannot be read is ignored and the flag is unchanged.
    }
}

bool VerdictCache::InitCustomPropertyId(IMessage* message)
{
    LOG_LINE(logging::outlook_log(), 500, "Initializing custom property ID");
    if (!message) {
        return false;
    }
    const std::optional<ULONG> tag = ResolveOwnName(message, VerdictPropertyName, PT_LONG);
    if (!tag) {
        return false;
    }
    CustomPropertyID = *tag;
    LOG_LINE(logging::outlook_log(), 500, "Custom property ID initialized: 0x" << winapi::hex32(CustomPropertyID));
    return true;
}

bool VerdictCache::InitContentTypeId(IMessage* message)
{
    if (!message) {
        return false;
    }
    GUID set = PS_INTERNET_HEADERS;
    wchar_t text[] = L"content-type";
    MAPINAMEID name{};
    name.lpguid = &set;
    name.ulKind = MNID_STRING;
    name.Kind.lpwstrName = text;
    const std::optional<ULONG> tag = ResolveName(message, name, PT_UNICODE);
    if (!tag) {
        return false;
    }
    ContentTypeID = *tag;
    return true;
}

bool VerdictCache::InitSignaturesId(IMessage* message)
{
    const std::optional<ULONG> tag = ResolveOwnName(message, SignaturesPropertyName, PT_UNICODE);
    SignaturesID = tag.value_or(0);
    return tag.has_value();
}

/// Returns the signatures by which the verdict on the message was given; empty if they are unknown.
std::string VerdictCache::SignaturesOf(IMessage* message)
{
    std::wstring signatures;
    if (SignaturesID != 0 || InitSignaturesId(message)) {
        GetPropWideString(message, SignaturesID, signatures);
    }
    return winapi::conv_to_char(signatures, winapi::code_page_utf8);
}

void VerdictCache::WriteSignatures(IMessage* message, ScanResult verdict)
{
    if (DependsOnSignatures(verdict) && (SignaturesID != 0 || InitSignaturesId(message))) {
        SetPropWideString(message, SignaturesID, winapi::conv_to_wide(*signatures_, winapi::code_page_utf8));
    }
}

bool VerdictCache::IsEncrypted(IMessage* message)
{
    if ((ContentTypeID == 0 || !message) && !InitContentTypeId(message)) {
        return false;
    }
    LOG_LINE(logging::outlook_log(), 400, "Getting ContentTypeID: 0x" << winapi::hex32(ContentTypeID));
    std::wstring contentType;
    if (!GetPropWideString(message, ContentTypeID, contentType)) {
        return false;
    }
    const bool encrypted = contentType.find(EnvelopedMarker) != std::wstring::npos;
    LOG_LINE(logging::outlook_log(), 400, "Is message encrypted: " << (encrypted ? 1 : 0));
    return encrypted;
}

/// Returns the message inside the wrapper of an encrypted message; null if it cannot be obtained.
ComPtr<IMessage> VerdictCache::BaseMessage(IMessage* message)
{
    ComPtr<ISecuredMessage> secured;
    if (FAILED(Query(message, IID_ISecuredMessage, secured)) || !secured) {
        return nullptr;
    }
    LOG_LINE(logging::outlook_log(), 400, "Got the secured interface");
    ComPtr<IMessage> base;
    const HRESULT result = secured->GetBaseMessage(Receive(base));
    if (FAILED(result) || !base) {
        LOG_LINE(logging::outlook_log(), 200, "Failed to get the base message: 0x" << HexResult(result));
        return nullptr;
    }
    return base;
}

bool VerdictCache::FindMessage(IMessage* message, ScanResult& verdict, bool* seenInternally)
{
    LOG_LINE(logging::outlook_log(), 500,
             "Determining if message is in cache (CustomPropertyID=0x" << winapi::hex32(CustomPropertyID) << ")");
    if ((CustomPropertyID == 0 || !message) && !InitCustomPropertyId(message)) {
        return false;
    }
    ComPtr<IMessage> source(message);
    if (IsEncrypted(message)) {
        LOG_LINE(logging::outlook_log(), 500, "Message is encrypted");
        source = BaseMessage(message);
        if (!source) {
            return false;
        }
    }
    std::uint32_t saved = 0;
    const bool found = GetPropLong(source.get(), CustomPropertyID, saved);
    const auto stored = static_cast<ScanResult>(saved);
    if (found && DependsOnSignatures(stored) && SignaturesOf(source.get()) != *signatures_) {
        LOG_LINE(logging::outlook_log(), 500, Outdated); // what this process knows may be newer than what was saved
    } else if (found) {
        if (seenInternally) {
            *seenInternally = false;
        }
        verdict = stored;
        LOG_LINE(logging::outlook_log(), 500,
                 "Message found in cache, its saved verdict: " << static_cast<std::int32_t>(verdict));
        return true;
    }
    LOG_LINE(logging::outlook_log(), 500, "Message not found in global cache, check the internal cache");
    std::string id;
    if (!GetPropNarrowString(message, PR_ENTRYID, id) || id.empty()) {
        return false;
    }
    if (seenInternally) {
        *seenInternally = true;
    }
    return FindInInternalCache(id, verdict);
}

bool VerdictCache::FindInInternalCache(const std::string& id, ScanResult& verdict)
{
    LOG_LINE(logging::outlook_log(), 400, "Searching for messageID in internal cache: " << id);
    if (id.empty()) {
        return false;
    }
    const auto entry = internal_.find(id);
    if (entry == internal_.end()) {
        LOG_LINE(logging::outlook_log(), 400, "Not found in internal cache");
        return false;
    }
    if (DependsOnSignatures(entry->second.verdict) && entry->second.signatures != *signatures_) {
        LOG_LINE(logging::outlook_log(), 500, Outdated);
        return false;
    }
    verdict = entry->second.verdict;
    LOG_LINE(logging::outlook_log(), 400,
             "Found in internal cache, saved verdict: " << static_cast<std::int32_t>(verdict));
    return true;
}

void VerdictCache::AddMessage(IMessage* message, ScanResult verdict)
{
    LOG_LINE(logging::outlook_log(), 500,
             "Adding message to cache (CustomPropertyID=0x" << winapi::hex32(CustomPropertyID) << ")");
    if ((CustomPropertyID == 0 || !message) && !InitCustomPropertyId(message)) {
        return;
    }
    ComPtr<IMessage> target(message);
    if (IsEncrypted(message)) {
        LOG_LINE(logging::outlook_log(), 500, "Message is encrypted...");
        target = BaseMessage(message);
        if (!target) {
            return;
        }
    }
    if (keepVerdictInEmail_) {
        const HRESULT result = SetPropLong(target.get(), CustomPropertyID, static_cast<std::uint32_t>(verdict));
        LOG_LINE(logging::outlook_log(), 500, "Adding message result: 0x" << HexResult(result));
        WriteSignatures(target.get(), verdict);
    }
    RememberMessage(message, verdict);
}

void VerdictCache::RememberMessage(IMessage* message, ScanResult verdict)
{
    std::string id;
    if (GetPropNarrowString(message, PR_ENTRYID, id) && !id.empty()) {
        AddToInternalCache(id, verdict);
    }
}

void VerdictCache::AddToInternalCache(const std::string& id, ScanResult verdict)
{
    internal_[id] = {verdict, signatures_.value_or(std::string())};
    LOG_LINE(logging::outlook_log(), 400,
             "Adding message to internal cache, MessageID: "
                 << id << ", verdict: " << static_cast<std::int32_t>(verdict) << ", cache size = " << internal_.size());
    if (internal_.size() < TrimAt) {
        return;
    }
    LOG_LINE(logging::outlook_log(), 400, "Clearing the cache...");
    // Neither age nor use is recorded, and the choice of the remaining entries must not depend on them. Therefore the
    // table is iterated by its buckets: from begin to end it may have its newest entries first.
    std::unordered_map<std::string, Entry> kept;
    for (std::size_t bucket = 0; bucket < internal_.bucket_count() && kept.size() <= TrimBeyond; ++bucket) {
        for (auto entry = internal_.cbegin(bucket); entry != internal_.cend(bucket) && kept.size() <= TrimBeyond;
             ++entry) {
            kept.insert(*entry);
        }
    }
    internal_.swap(kept);
}

bool VerdictCache::UnencryptBaseMessage(IMessage* baseMessage)
{
    LOG_LINE(logging::outlook_log(), 400, "Unencrypting base message...");
    std::wstring messageClass;
    GetPropWideString(baseMessage, PR_MESSAGE_CLASS_W, messageClass);
    LOG_LINE(logging::outlook_log(), 400, "Old message class: " << winapi::conv_to_char(messageClass));
    const HRESULT result = SetPropWideString(baseMessage, PR_MESSAGE_CLASS_W, L"IPM.Note");
    LOG_LINE(logging::outlook_log(), 400, "Changing the class... result = 0x" << HexResult(result));
    return SUCCEEDED(result);
}
