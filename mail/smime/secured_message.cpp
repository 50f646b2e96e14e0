#include "mail/smime/secured_message.h"

#include "store/guard.h"
#include "store/tags.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <array>
#include <cwctype>
#include <exception>
#include <new>
#include <string_view>
#include <utility>

namespace host {

namespace {

using namespace std::string_view_literals;

// Object identifiers with their tag and length: pkcs7-envelopedData and id-smime-ct-authEnvelopedData.
constexpr std::string_view enveloped_oid = "\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x07\x03"sv;
constexpr std::string_view authenticated_oid = "\x06\x0B\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x01\x17"sv;

constexpr std::wstring_view secured_class = L"IPM.Note.SMIME";
constexpr std::wstring_view clear_signed_class = L"IPM.Note.SMIME.MultipartSigned";
/// The content type of every wrapper, regardless of the sender's notation.
constexpr std::wstring_view enveloped_type = L"application/pkcs7-mime; smime-type=enveloped-data; name=\"smime.p7m\"";

/// The properties of the body; all of them come from inside the envelope.
constexpr std::array body_tags{std::uint32_t{PR_BODY_W},         std::uint32_t{PR_HTML},
                               std::uint32_t{PR_RTF_COMPRESSED}, std::uint32_t{PR_NATIVE_BODY_INFO},
                               std::uint32_t{PR_INTERNET_CPID},  tag::message_code_page};

std::wstring lower(std::wstring text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](wchar_t c) { return std::towlower(c); });
    return text;
}

/// Returns the identifier of the property for the content-type header; 0 if the store has none.
std::uint32_t content_type_id(const message_record& message, bool create)
{
    static const property_name content_type{PS_INTERNET_HEADERS, L"content-type"};
    return message.store->names.id_of(content_type, create);
}

bool equal_but_for_case(wchar_t left, wchar_t right)
{
    return std::towlower(left) == std::towlower(right);
}

/// Returns true if the text begins with `part`, in upper or lower case.
bool begins(std::wstring_view text, std::wstring_view part)
{
    return text.size() >= part.size() && std::equal(part.begin(), part.end(), text.begin(), equal_but_for_case);
}

/// Returns false if the text cannot contain `part`, which is ASCII in lower case, in upper or lower case.
bool may_mention(std::wstring_view text, std::wstring_view part)
{
    // The lower case of a character that is not ASCII may be ASCII.
    const auto is_other = [](wchar_t c) { return (static_cast<std::uint32_t>(c) & ~0x7FU) != 0; };
    const auto matches = [](wchar_t c, wchar_t wanted) { return (c >= L'A' && c <= L'Z' ? c + 32 : c) == wanted; };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), matches) != text.end() ||
           std::any_of(text.begin(), text.end(), is_other);
}

bool has_secured_class(const message_record& message)
{
    const property_value* value = message.properties->find(PROP_ID(PR_MESSAGE_CLASS_W));
    std::wstring kept;
    const std::wstring_view found = value ? value->wide_view(kept) : std::wstring_view();
    return begins(found, secured_class) && !begins(found, clear_signed_class);
}

/// Returns the value of a parameter of a header line without quotes; empty if there is none of that name.
std::wstring parameter(std::wstring_view line, std::wstring_view wanted)
{
    constexpr std::wstring_view blanks = L" \t\r\n\"";
    bool quoted = false;
    std::size_t start = 0; // of the text between two ";"
    for (std::size_t at = 0; at <= line.size(); ++at) {
        if (at < line.size() && (quoted || line[at] != L';')) {
            quoted = quoted != (line[at] == L'"');
            continue;
        }
        const std::wstring_view piece = line.substr(start, at - start);
        start = at + 1;
        const std::size_t equals = piece.find(L'=');
        const std::size_t name = piece.find_first_not_of(blanks);
        if (equals == std::wstring_view::npos || name > equals) {
            continue;
        }
        const std::wstring_view told = piece.substr(name, equals - name);
        const std::size_t value = piece.find_first_not_of(blanks, equals + 1);
        if (value != std::wstring_view::npos && told.substr(0, told.find_last_not_of(blanks) + 1) == wanted) {
            return std::wstring(piece.substr(value, piece.find_first_of(blanks, value) - value));
        }
    }
    return {};
}

/// Returns the parameter smime-type of the content-type header in lower case; empty if there is none.
std::wstring told_type(const message_record& message)
{
    const std::uint32_t id = content_type_id(message, false);
    const property_value* line = id == 0 ? nullptr : message.properties->find(id);
    std::wstring kept;
    if (!line || !may_mention(line->wide_view(kept), L"smime-type")) {
        return {};
    }
    return parameter(lower(line->wide()), L"smime-type");
}

/// Returns true for bytes that begin like CMS EnvelopedData or AuthEnvelopedData in DER or BER.
bool looks_enveloped(const bytes& data)
{
    std::array<char, 32> start{};
    const std::string_view text(start.data(), data.read(0, start.data(), start.size()));
    if (text.size() < 2 || text[0] != '\x30') { // a sequence
        return false;
    }
    const auto length = static_cast<unsigned char>(text[1]);
    const std::size_t more = length < 0x80U ? 0 : length & 0x7FU; // number of length bytes in the long form
    const std::string_view type = text.substr(std::min(text.size(), 2 + more));
    return type.starts_with(enveloped_oid) || type.starts_with(authenticated_oid);
}

/// Returns the envelope's properties without a body, with the content type of an enveloped message.
message_record outside_of(const message_record& enveloped)
{
    message_record result = enveloped.copy();
    result.attachments.clear();
    for (const std::uint32_t tag : body_tags) {
        result.properties->erase(PROP_ID(tag));
    }
    const std::uint32_t id = content_type_id(result, true);
    result.properties->set(PROP_TAG(PT_UNICODE, id), property_value::of_text(enveloped_type));
    return result;
}

/// The interface that identifies a wrapper. It is part of the wrapper and shares its reference count.
class secured_face final : public ISecuredMessage
{
public:
    secured_face(IUnknown& wrapper, ComPtr<message_object> base)
        : wrapper_(wrapper)
        , base_(std::move(base))
    {}
    virtual ~secured_face() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        return wrapper_.QueryInterface(iid, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return wrapper_.AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return wrapper_.Release(); }

    HRESULT STDMETHODCALLTYPE Unused4() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused5() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetBaseMessage(IMessage** base) override
    {
        if (!base) {
            return MAPI_E_INVALID_PARAMETER;
        }
        *base = ComPtr<message_object>(base_).detach();
        return S_OK;
    }

private:
    IUnknown& wrapper_;
    ComPtr<message_object> base_;
};

class secured_message final : public message_object
{
public:
    secured_message(ComPtr<message_object> base, const message_record& shown)
        : message_object(shown, true, [](const message_record&) { return HRESULT{MAPI_E_NO_ACCESS}; })
        , face_(*this, std::move(base))
    {}

protected:
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_ISecuredMessage ? static_cast<ISecuredMessage*>(&face_) : message_object::FindInterface(iid);
    }

private:
    secured_face face_;
};

} // namespace

bytes_ptr envelope_of(const message_record& message)
{
    if (message.attachments.size() != 1) {
        return nullptr;
    }
    const attachment_record& only = message.attachments.begin()->second;
    const property_value* data = only.properties->find(PROP_ID(PR_ATTACH_DATA_BIN));
    return !only.embedded && data && data->type == PT_BINARY ? std::get<bytes_ptr>(data->data) : nullptr;
}

bool is_enveloped(const message_record& message)
{
    if (!has_secured_class(message)) {
        return false;
    }
    const bytes_ptr envelope = envelope_of(message);
    const std::wstring type = told_type(message);
    return envelope &&
           (type.empty() ? looks_enveloped(*envelope) : type == L"enveloped-data" || type == L"authenveloped-data");
}

message_record shown_contents(const message_record& enveloped, const message_record& inner)
{
    message_record result = outside_of(enveloped);
    for (const std::uint32_t tag : body_tags) {
        if (const property_value* value = inner.properties->find(PROP_ID(tag))) {
            result.properties->set(tag, *value);
        }
    }
    result.attachments = inner.attachments;
    return result;
}

ComPtr<message_object> wrap_enveloped(ComPtr<message_object> base, const message_record* contents)
{
    const message_record shown = contents ? contents->copy() : outside_of(base->current());
    return MakeCom<secured_message>(std::move(base), shown);
}

message_record settled(message_record message)
{
    const std::uint32_t id = content_type_id(message, false);
    const std::wstring type = told_type(message);
    if (id != 0 && !has_secured_class(message) && type.ends_with(L"enveloped-data")) {
        message.properties = std::make_shared<property_bag>(*message.properties);
        message.properties->erase(id);
    }
    return message;
}

} // namespace host
