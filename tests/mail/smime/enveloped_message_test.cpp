#include "mail/smime/enveloped_message.h"
#include "outlook/qdmailprotect/verdict/verdict_cache.h"
#include "tests/mail/mime/mime_fixture.h"
#include "tests/mail/smime/smime_fixture.h"
#include "tests/store/store_fixture.h"
#include "tests/support/log_capture.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace host::test {
namespace {

using testing::HasSubstr;

/// The keys of two users, created once.
class Enveloped : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        own = std::make_unique<key_pair>("ben");
        other = std::make_unique<key_pair>("carl");
    }
    static void TearDownTestSuite()
    {
        own.reset();
        other.reset();
    }
    static message_record read_raw(const std::string& text)
    {
        return read_message(bytes_of(text), "test", std::make_shared<store_context>());
    }
    /// Returns the text of the body inside, or the reason why there is none.
    static std::string opened(const message_record& message, const smime_identity* identity)
    {
        std::string problem;
        const auto contents = decrypt(message, identity, &problem);
        if (!contents) {
            return "closed: " + problem;
        }
        const std::wstring body = wide(*contents, PR_BODY_W);
        return {body.begin(), body.end()};
    }
    static smime_identity identity() { return {own->key(), own->certificate()}; }

    static std::unique_ptr<key_pair> own;
    static std::unique_ptr<key_pair> other;
};

std::unique_ptr<key_pair> Enveloped::own;
std::unique_ptr<key_pair> Enveloped::other;

TEST_F(Enveloped, OpensForItsRecipientWhateverTheCipher)
{
    const auto owner = identity();
    for (const char* cipher :
         {"-aes-128-cbc", "-aes-192-cbc", "-aes-256-cbc", "-des3", "-aes-128-gcm", "-aes-256-gcm"}) {
        const auto message = read_raw(encrypted(text_entity("Inside."), {own->certificate()}, {cipher}));
        EXPECT_TRUE(is_enveloped(message)) << cipher;
        EXPECT_EQ("Inside.", opened(message, &owner)) << cipher;
    }
}

TEST_F(Enveloped, OpensForEachOfSeveralRecipients)
{
    const auto message = read_raw(encrypted(text_entity("Inside."), {other->certificate(), own->certificate()}));
    const auto owner = identity();
    const smime_identity second(other->key(), other->certificate());
    EXPECT_EQ("Inside.", opened(message, &owner));
    EXPECT_EQ("Inside.", opened(message, &second));
}

TEST_F(Enveloped, OpensForAnEllipticKey)
{
    const key_pair elliptic("eve", {"ec", "-pkeyopt", "ec_paramgen_curve:prime256v1"});
    const smime_identity owner(elliptic.key(), elliptic.certificate());
    EXPECT_EQ("Inside.", opened(read_raw(encrypted(text_entity("Inside."), {elliptic.certificate()})), &owner));
}

TEST_F(Enveloped, OpensInEveryTransferEncodingAndUnderTheOldTypeName)
{
    const std::string envelope =
        encrypted(text_entity("Inside."), {own->certificate()}, {"-aes-128-cbc", "-outform", "DER"});
    const std::string streamed = encrypted(text_entity("Inside."), {own->certificate()},
                                           {"-aes-128-cbc", "-stream", "-indef", "-outform", "DER"});
    const auto owner = identity();
    for (const std::string& form : {envelope, streamed}) {
        for (const char* type :
             {"pkcs7-mime; smime-type=enveloped-data", "x-pkcs7-mime; name=smime.p7m",
              "PKCS7-MIME; SMIME-Type=\"Enveloped-Data\"", "pkcs7-mime", "octet-stream; name=SMIME.P7M"}) {
            const auto message = read_raw("Subject: Binary\r\nContent-Type: application/" + std::string(type) +
                                          "\r\nContent-Transfer-Encoding: binary\r\n\r\n" + form);
            EXPECT_TRUE(is_enveloped(message)) << type;
            EXPECT_EQ("Inside.", opened(message, &owner)) << type;
        }
    }
}

TEST_F(Enveloped, IsTakenFromABareFileByItsClass)
{
    message_record message;
    message.properties->set(PR_MESSAGE_CLASS_W, property_value::of_text(L"IPM.Note.SMIME"));
    message.attachments.emplace(0, file_attachment(L"smime.p7m", encrypted(text_entity("Inside."), {own->certificate()},
                                                                           {"-aes-256-cbc", "-outform", "DER"})));
    const auto owner = identity();
    EXPECT_TRUE(is_enveloped(message));
    EXPECT_EQ("Inside.", opened(message, &owner));
    message.properties->set(PR_MESSAGE_CLASS_W, property_value::of_text(L"IPM.Note"));
    EXPECT_FALSE(is_enveloped(message));
}

TEST_F(Enveloped, ShowsWhatIsInsideUnderTheEnvelopesOwnHead)
{
    const std::string inner = entity_with_attachment("Inside.", "figures.bin", "1234");
    const auto message = read_raw(encrypted("Subject: Hidden\r\n" + inner, {own->certificate()}));
    const auto owner = identity();
    const auto contents = decrypt(message, &owner);
    ASSERT_TRUE(contents);
    EXPECT_EQ(L"Inside.", wide(*contents, PR_BODY_W));
    EXPECT_EQ(1, number(*contents, PR_NATIVE_BODY_INFO));
    EXPECT_EQ(L"Quarter", wide(*contents, PR_SUBJECT_W));
    EXPECT_EQ(L"Ada", wide(*contents, PR_SENDER_NAME_W));
    EXPECT_EQ(binary(message, PR_ENTRYID), binary(*contents, PR_ENTRYID));
    ASSERT_EQ(1U, contents->recipients.size());
    EXPECT_EQ(L"ben@example.org", wide(*contents->recipients[0], PR_EMAIL_ADDRESS_W));
    ASSERT_EQ(1U, contents->attachments.size());
    EXPECT_EQ(L"figures.bin", wide(attachment(*contents, 0), PR_ATTACH_LONG_FILENAME_W));
    EXPECT_EQ("1234", binary(attachment(*contents, 0), PR_ATTACH_DATA_BIN));
    EXPECT_EQ(L"IPM.Note.SMIME", wide(*contents, PR_MESSAGE_CLASS_W));
}

TEST_F(Enveloped, HoldsLargeContentsWhole)
{
    std::string content(3U << 20U, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<char>('!' + (i * 7 + i / 89) % 90);
    }
    const auto message =
        read_raw(encrypted(entity_with_attachment("Inside.", "big.bin", content), {own->certificate()}));
    const auto owner = identity();
    const auto contents = decrypt(message, &owner);
    ASSERT_TRUE(contents);
    EXPECT_EQ(content, binary(attachment(*contents, 0), PR_ATTACH_DATA_BIN));
}

TEST_F(Enveloped, KeepsMessagesAndSignaturesInsideAsTheyAre)
{
    const auto owner = identity();
    const auto signed_inside = read_raw(encrypted(
        "Content-Type: multipart/signed; boundary=s; protocol=\"application/pkcs7-signature\"\r\n\r\n--s\r\n" +
            text_entity("Signed.") +
            "\r\n--s\r\nContent-Type: application/pkcs7-signature; name=smime.p7s\r\n"
            "\r\nx\r\n--s--\r\n",
        {own->certificate()}));
    const auto contents = decrypt(signed_inside, &owner);
    ASSERT_TRUE(contents);
    EXPECT_EQ(L"Signed.", wide(*contents, PR_BODY_W));
    EXPECT_EQ(L"smime.p7s", wide(attachment(*contents, 0), PR_ATTACH_LONG_FILENAME_W));
    const auto forward = read_raw(
        encrypted("Content-Type: message/rfc822\r\n\r\nSubject: Within\r\n\r\nDeeper.\r\n", {own->certificate()}));
    const auto forwarded = decrypt(forward, &owner);
    ASSERT_TRUE(forwarded);
    EXPECT_EQ(L"Within", wide(*forwarded->attachments.at(0).embedded, PR_SUBJECT_W));
}

TEST_F(Enveloped, StaysClosedWithoutAKey)
{
    const auto message = read_raw(encrypted(text_entity("Inside."), {own->certificate()}));
    EXPECT_EQ("closed: it is encrypted, and no key was given", opened(message, nullptr));
}

TEST_F(Enveloped, StaysClosedToOthers)
{
    const smime_identity stranger(other->key(), other->certificate());
    for (const char* cipher : {"-aes-128-cbc", "-aes-256-gcm"}) {
        const auto message = read_raw(encrypted(text_entity("Inside."), {own->certificate()}, {cipher}));
        EXPECT_EQ("closed: it is encrypted for other recipients than the certificate that was given",
                  opened(message, &stranger))
            << cipher;
    }
}

TEST_F(Enveloped, StaysClosedWhereverItIsCut)
{
    const std::string envelope =
        encrypted(text_entity(std::string(100, 'x')), {own->certificate()}, {"-aes-128-cbc", "-outform", "DER"});
    const std::string head = "Subject: Cut\r\nContent-Type: application/pkcs7-mime; smime-type=enveloped-data\r\n"
                             "Content-Transfer-Encoding: binary\r\n\r\n";
    const auto owner = identity();
    for (std::size_t size = 0; size < envelope.size(); size += 1 + size / 20) {
        const auto message = read_raw(head + envelope.substr(0, size));
        EXPECT_TRUE(is_enveloped(message)) << size;
        EXPECT_THAT(opened(message, &owner), testing::StartsWith("closed: ")) << size;
    }
}

TEST_F(Enveloped, OfAnAuthenticatedKindStaysClosedWhereverItIsChanged)
{
    const std::string envelope =
        encrypted(text_entity("Inside."), {own->certificate()}, {"-aes-256-gcm", "-outform", "DER"});
    const auto owner = identity();
    const std::string head = "Content-Type: application/pkcs7-mime; smime-type=authEnveloped-data\r\n"
                             "Content-Transfer-Encoding: binary\r\n\r\n";
    for (std::size_t at = 0; at < envelope.size(); ++at) {
        std::string damaged = envelope;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x10);
        const std::string result = opened(read_raw(head + damaged), &owner);
        // A few bytes have an equivalent encoding or are ignored (versions, tags of optional fields).
        EXPECT_TRUE(result.starts_with("closed: ") || result == "Inside.") << at << ": " << result;
    }
    std::string last = envelope;
    last.back() = static_cast<char>(last.back() ^ 1);
    EXPECT_EQ("closed: it cannot be decrypted: its cipher is not supported, or it is damaged",
              opened(read_raw(head + last), &owner));
}

TEST_F(Enveloped, StaysClosedWhenNoMimeEntityIsInside)
{
    const auto owner = identity();
    EXPECT_THAT(opened(read_raw(encrypted("just words, no head\r\n", {own->certificate()})), &owner),
                HasSubstr("closed: what the envelope holds cannot be read: "));
    EXPECT_THAT(opened(read_raw(encrypted("", {own->certificate()})), &owner), testing::StartsWith("closed: "));
}

TEST_F(Enveloped, LeavesNoFileWhenItIsOpened)
{
    const auto count = [] {
        const auto folder = std::filesystem::directory_iterator(std::filesystem::temp_directory_path());
        return std::count_if(begin(folder), end(folder), [](const auto& entry) {
            return entry.path().filename().string().find("postwarden") != std::string::npos;
        });
    };
    const auto message = read_raw(
        encrypted(entity_with_attachment("Inside.", "big.bin", std::string(1U << 20U, 'x')), {own->certificate()}));
    const auto owner = identity();
    const auto before = count();
    const auto contents = decrypt(message, &owner);
    EXPECT_TRUE(contents);
    EXPECT_EQ(before, count());
}

TEST(EnvelopedTest, GoesByTheTypeAndNotByWhatAnotherParameterSays)
{
    for (const char* parameters : {"; name=\"smime-type=signed-data; x\"; smime-type=enveloped-data",
                                   "; x-smime-type=signed-data; "
                                   "smime-type = \"enveloped-data\"",
                                   ";SMIME-TYPE=enveloped-data;smime-type=signed-data"}) {
        EXPECT_TRUE(is_enveloped(read("Content-Type: application/pkcs7-mime" + std::string(parameters) + "\n\nx\n")))
            << parameters;
    }
    EXPECT_FALSE(is_enveloped(read(
        "Content-Type: application/pkcs7-mime; name=\"smime-type=enveloped-data\"; smime-type=signed-data\n\nx\n")));
}

TEST(EnvelopedTest, SignedAndOtherMessagesAreNone)
{
    EXPECT_FALSE(is_enveloped(read("Subject: a\n\nbody\n")));
    EXPECT_FALSE(is_enveloped(read("Content-Type: multipart/signed; boundary=b\n\n--b\n\nx\n--b\n"
                                   "Content-Type: application/pkcs7-signature\n\nx\n--b--\n")));
    EXPECT_FALSE(is_enveloped(read("Content-Type: application/pkcs7-mime; smime-type=signed-data\n\nx\n")));
    EXPECT_FALSE(is_enveloped(read("Content-Type: application/octet-stream; name=smime.bin\n\nx\n")));
    EXPECT_FALSE(is_enveloped(read("Content-Type: application/octet-stream; name=smime.p7m\n\nx\n")));
    EXPECT_FALSE(is_enveloped(read("Content-Type: application/pkcs7-mime; smime-type=compressed-data\n\nx\n")));
    EXPECT_FALSE(is_enveloped(read("Content-Type: application/pkcs7-mime; name=smime.p7m\n\nx\n")));
    EXPECT_FALSE(is_enveloped(read("Content-Type: multipart/mixed; boundary=b\n\n--b\n\nx\n--b\n"
                                   "Content-Type: application/pkcs7-mime; smime-type=enveloped-data\n\nx\n--b--\n")));
}

TEST_F(Enveloped, MessagesThatAreOnlySignedAreNotWrapped)
{
    const temporary_folder folder;
    const std::string plain = folder.write("plain", text_entity("Signed.")).string();
    for (const std::vector<std::string>& form : {std::vector<std::string>{}, std::vector<std::string>{"-nodetach"}}) {
        const std::string output = (folder.path() / "signed").string();
        std::vector<std::string> arguments{
            "cms", "-sign", "-in", plain, "-out", output, "-signer", own->certificate(), "-inkey", own->key()};
        arguments.insert(arguments.end(), form.begin(), form.end());
        openssl(arguments);
        EXPECT_FALSE(is_enveloped(read_message(bytes_of_file(output), "test", std::make_shared<store_context>())));
    }
}

/// The final form of a processed message.
TEST(SettledMessage, KeepsItsTypeLineWhileItIsEnveloped)
{
    const auto message = read("Content-Type: application/pkcs7-mime; smime-type=enveloped-data\n\nx\n");
    const std::uint32_t id = message.store->names.id_of({PS_INTERNET_HEADERS, L"content-type"}, false);
    EXPECT_NE(nullptr, settled(message).properties->find(id));
}

TEST(SettledMessage, LosesItsTypeLineTogetherWithItsClass)
{
    auto message = read("Content-Type: application/pkcs7-mime; smime-type=enveloped-data\n\nx\n");
    const std::uint32_t id = message.store->names.id_of({PS_INTERNET_HEADERS, L"content-type"}, false);
    message.properties->set(PR_MESSAGE_CLASS_W, property_value::of_text(L"IPM.Note"));
    EXPECT_EQ(nullptr, settled(message).properties->find(id));
    EXPECT_NE(nullptr, message.properties->find(id));
    EXPECT_EQ(1U, settled(message).attachments.size());
}

TEST(SettledMessage, KeepsTheTypeLineOfOtherMessages)
{
    const auto message = read("Content-Type: text/plain\n\nx\n");
    const std::uint32_t id = message.store->names.id_of({PS_INTERNET_HEADERS, L"content-type"}, false);
    EXPECT_NE(nullptr, settled(message).properties->find(id));
}

/// A wrapper over a stored envelope whose contents are not encrypted.
class Wrapper : public StoreTest
{
protected:
    void SetUp() override
    {
        *stored = read("From: Ada <ada@example.org>\nSubject: Quarter\nMessage-ID: <1@example.org>\n"
                       "Content-Type: application/pkcs7-mime; smime-type=enveloped-data; name=smime.p7m\n\nx\n");
        contents = stored->copy();
        contents.attachments.clear();
        contents.attachments.emplace(4, file_attachment(L"inner.txt", "inside"));
        contents.properties->set(PR_BODY_W, property_value::of_text(L"Inside."));
        base = open();
    }
    static ComPtr<IMessage> base_of(IMessage* wrapper)
    {
        ComPtr<ISecuredMessage> secured;
        EXPECT_EQ(S_OK, Query(wrapper, IID_ISecuredMessage, secured));
        ComPtr<IMessage> found;
        EXPECT_EQ(S_OK, secured->GetBaseMessage(Receive(found)));
        return found;
    }
    message_record contents;
    ComPtr<message_object> base;
};

TEST_F(Wrapper, AnswersTheSecuredInterfaceAndHasTheBaseBehindIt)
{
    const auto wrapper = wrap_enveloped(base, &contents);
    EXPECT_EQ(base.get(), base_of(wrapper.get()).get());
    ComPtr<ISecuredMessage> secured;
    ASSERT_EQ(S_OK, Query(wrapper.get(), IID_ISecuredMessage, secured));
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, secured->GetBaseMessage(nullptr));
    ComPtr<ISecuredMessage> of_base;
    EXPECT_EQ(E_NOINTERFACE, Query(base.get(), IID_ISecuredMessage, of_base));
}

TEST_F(Wrapper, IsOneObjectWithOneCount)
{
    auto wrapper = wrap_enveloped(base, &contents);
    ComPtr<ISecuredMessage> secured;
    ASSERT_EQ(S_OK, Query(wrapper.get(), IID_ISecuredMessage, secured));
    ComPtr<IUnknown> left;
    ComPtr<IUnknown> right;
    ASSERT_EQ(S_OK, Query(wrapper.get(), IID_IUnknown, left));
    ASSERT_EQ(S_OK, Query(secured.get(), IID_IUnknown, right));
    EXPECT_EQ(left.get(), right.get());
    ComPtr<IMessage> message;
    ASSERT_EQ(S_OK, Query(secured.get(), IID_IMessage, message));
    left.reset();
    right.reset();
    wrapper.reset();
    message.reset();
    EXPECT_NE(nullptr, secured.get()); // the last reference keeps the whole wrapper alive
    ComPtr<IMessage> found;
    EXPECT_EQ(S_OK, secured->GetBaseMessage(Receive(found)));
    EXPECT_EQ(2U, (found->AddRef(), found->Release()) - 1); // references of the test, the fixture and the wrapper
    secured.reset();
    EXPECT_EQ(1U, (found->AddRef(), found->Release()) - 1);
}

TEST_F(Wrapper, ShowsContentsThatReachNeitherBaseNorStore)
{
    const auto wrapper = wrap_enveloped(base, &contents);
    EXPECT_EQ("inside", stream_text(open_attach(wrapper.get(), 4, 0).get(), PR_ATTACH_DATA_BIN));
    SPropValue value = text_value(PR_BODY_W, L"Changed.");
    EXPECT_EQ(S_OK, wrapper->SetProps(1, &value, nullptr));
    EXPECT_EQ(L"Changed.", wide(wrapper->current(), PR_BODY_W));
    EXPECT_EQ(MAPI_E_NO_ACCESS, wrapper->SaveChanges(0));
    EXPECT_EQ(L"(none)", wide(base->current(), PR_BODY_W));
    EXPECT_EQ(L"(none)", wide(*stored, PR_BODY_W));
    EXPECT_EQ(0, saves);
}

TEST_F(Wrapper, LetsTheBaseReachTheStore)
{
    const auto wrapper = wrap_enveloped(base, &contents);
    const auto behind = base_of(wrapper.get());
    SPropValue value = text_value(PR_SUBJECT_W, L"Changed");
    EXPECT_EQ(S_OK, behind->SetProps(1, &value, nullptr));
    EXPECT_EQ(S_OK, behind->SaveChanges(0));
    EXPECT_EQ(L"Changed", wide(*stored, PR_SUBJECT_W));
    EXPECT_EQ(L"Quarter", wide(wrapper->current(), PR_SUBJECT_W));
}

TEST_F(Wrapper, WithoutContentsHasNeitherBodyNorAttachmentsButItsHead)
{
    stored->properties->set(PR_BODY_W, property_value::of_text(L"Outside."));
    const auto wrapper = wrap_enveloped(open(), nullptr);
    for (const std::uint32_t tag : {std::uint32_t{PR_BODY_W}, std::uint32_t{PR_HTML}}) {
        HRESULT result = S_OK;
        EXPECT_EQ(nullptr, open_stream(wrapper.get(), tag, 0, &result).get());
        EXPECT_EQ(MAPI_E_NOT_FOUND, result);
    }
    EXPECT_TRUE(wrapper->current().attachments.empty());
    EXPECT_EQ(L"Quarter", wide(wrapper->current(), PR_SUBJECT_W));
    EXPECT_EQ(L"Ada", wide(wrapper->current(), PR_SENDER_NAME_W));
    EXPECT_EQ(binary(*stored, PR_ENTRYID), binary(wrapper->current(), PR_ENTRYID));
}

TEST_F(Wrapper, IsEncryptedForTheCheckHoweverItsEnvelopeIsCalled)
{
    for (const char* type :
         {"application/x-pkcs7-mime; name=smime.p7m", "application/pkcs7-mime; smime-type=authEnveloped-data",
          "application/pkcs7-mime; smime-type=\"enveloped-data\""}) {
        *stored = read("Content-Type: " + std::string(type) + "\n\nx\n");
        const auto wrapper = wrap_enveloped(open(), nullptr);
        VerdictCache verdicts;
        EXPECT_TRUE(verdicts.IsEncrypted(wrapper.get())) << type;
    }
}

TEST_F(Wrapper, TakesAndGivesTheVerdictOfItsBase)
{
    const auto wrapper = wrap_enveloped(base, &contents);
    VerdictCache verdicts;
    verdicts.AddMessage(wrapper.get(), ScanResult::Clean);
    ScanResult found = ScanResult::None;
    bool internally = true;
    EXPECT_TRUE(verdicts.FindMessage(wrapper.get(), found, &internally));
    EXPECT_EQ(ScanResult::Clean, found);
    EXPECT_FALSE(internally);
    const auto again = wrap_enveloped(open(), &contents); // the property was not saved; the identifier is the same
    EXPECT_TRUE(verdicts.FindMessage(again.get(), found, &internally));
    EXPECT_TRUE(internally);
}

/// The contents of the files of --smime-key and --smime-cert.
class Identity : public testing::Test
{
protected:
    static std::string refusal(const std::string& key, const std::string& certificate)
    {
        try {
            const smime_identity identity(key, certificate);
            return "taken";
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
    }
    temporary_folder folder;
};

TEST_F(Identity, IsAKeyAndItsCertificate)
{
    const key_pair pair("ben");
    const key_pair stranger("carl");
    EXPECT_EQ("taken", refusal(pair.key(), pair.certificate()));
    EXPECT_EQ(stranger.certificate() + ": the certificate is not that of the key in " + pair.key(),
              refusal(pair.key(), stranger.certificate()));
}

TEST_F(Identity, IsRefusedWithTheReason)
{
    const key_pair pair("ben");
    const std::string missing = (folder.path() / "missing.pem").string();
    EXPECT_EQ(missing + ": No such file or directory", refusal(missing, pair.certificate()));
    EXPECT_EQ(missing + ": No such file or directory", refusal(pair.key(), missing));
    const std::string empty = folder.write("empty.pem", "").string();
    EXPECT_EQ(empty + ": it holds no private key in PEM form", refusal(empty, pair.certificate()));
    EXPECT_EQ(empty + ": it holds no certificate in PEM form", refusal(pair.key(), empty));
    EXPECT_EQ(pair.certificate() + ": it holds no private key in PEM form",
              refusal(pair.certificate(), pair.certificate()));
}

TEST_F(Identity, IsNeverAskedForAPassphrase)
{
    const key_pair pair("ben");
    const std::string locked = (folder.path() / "locked.pem").string();
    openssl({"pkcs8", "-topk8", "-in", pair.key(), "-out", locked, "-passout", "pass:secret"});
    EXPECT_EQ(locked + ": the private key is locked by a passphrase: give an unlocked copy",
              refusal(locked, pair.certificate()));
}

} // namespace
} // namespace host::test
