#include "tools/kavrel/DocumentSignature.hpp"

#include <algorithm>
#include <ctime>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <set>

#include "text/Base64.hpp"
#include "tools/kavrel/JSON.hpp"

namespace KavrelCrypto::Host {
namespace {

using ContentInfo = std::unique_ptr<CMS_ContentInfo, Release<&CMS_ContentInfo_free>>;
using Time = std::unique_ptr<ASN1_TIME, Release<&ASN1_TIME_free>>;

/// Returns `result`, or throws if it is what OpenSSL's functions return on failure.
template <typename T>
T made(T result) {
    if (!result) {
        throw CommandError(std::string("OpenSSL cannot make the signature: ") +
                           ERR_error_string(ERR_get_error(), nullptr));
    }
    return result;
}

void addSignedAttributes(CMS_SignerInfo* signer, BytesView sha256) {
    const Time now(made(ASN1_TIME_set(nullptr, std::time(nullptr))));
    made(CMS_signed_add1_attr_by_NID(signer, NID_pkcs9_contentType, V_ASN1_OBJECT,
                                     OBJ_nid2obj(NID_pkcs7_data), -1));
    made(CMS_signed_add1_attr_by_NID(signer, NID_pkcs9_signingTime, now->type, now.get(), -1));
    made(CMS_signed_add1_attr_by_NID(signer, NID_pkcs9_messageDigest, V_ASN1_OCTET_STRING, sha256.data(),
                                     static_cast<int>(sha256.size())));
}

/// Returns the signed attributes as they are signed: the DER of a SET OF, although they stand under the tag
/// [0] in the SignerInfo (RFC 5652, section 5.4).
Bytes signedAttributes(CMS_SignerInfo* signer) {
    std::set<std::string> attributes;  // DER puts them in the order of their encodings
    for (int i = 0; i < CMS_signed_get_attr_count(signer); ++i) {
        const Bytes attribute = encoded<&i2d_X509_ATTRIBUTE>(CMS_signed_get_attr(signer, i));
        attributes.emplace(attribute.begin(), attribute.end());
    }
    Bytes content;
    for (const std::string& attribute : attributes) {
        append(bytesOf(attribute), content);
    }
    const auto length = static_cast<int>(content.size());
    Bytes set(static_cast<std::size_t>(ASN1_object_size(1, length, V_ASN1_SET)) - content.size());
    unsigned char* header = set.data();
    ASN1_put_object(&header, 1, length, V_ASN1_SET, V_ASN1_UNIVERSAL);
    append(content, set);
    return set;
}

Bytes signatureOver(BytesView message, X509& certificate, const Signer& signer) {
    Bytes signature = signer(message);
    if (!isSignedBy(certificate, signature, message)) {
        throw CommandError(
            "the signature was not made with the key of the certificate: the person has got new keys in the "
            "meantime. Get a certificate for them, and sign again.");
    }
    return signature;
}

std::string base64URL(BytesView bytes) {
    std::string text = base64Encode(bytes);
    text.erase(std::find(text.begin(), text.end(), '='), text.end());
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    return text;
}

BytesView viewOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace

bool isSignedBy(X509& certificate, BytesView signature, BytesView message) {
    const std::unique_ptr<EVP_MD_CTX, Release<&EVP_MD_CTX_free>> context(EVP_MD_CTX_new());
    return EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr,
                                X509_get0_pubkey(&certificate)) == 1 &&
           EVP_DigestVerify(context.get(), signature.data(), signature.size(), message.data(),
                            message.size()) == 1;
}

Bytes signCMS(BytesView sha256, X509& certificate, const Signer& signer) {
    // OpenSSL would sign with a private key. It is given the public one, and makes everything but the
    // signature: with CMS_PARTIAL it leaves that open.
    constexpr unsigned int flags = CMS_PARTIAL | CMS_DETACHED | CMS_BINARY | CMS_NOSMIMECAP | CMS_CADES;
    const ContentInfo document(made(CMS_sign(nullptr, nullptr, nullptr, nullptr, flags)));
    CMS_SignerInfo* const information = made(
        CMS_add1_signer(document.get(), &certificate, X509_get0_pubkey(&certificate), EVP_sha256(), flags));
    addSignedAttributes(information, sha256);
    const Bytes signature = signatureOver(signedAttributes(information), certificate, signer);
    made(ASN1_OCTET_STRING_set(CMS_SignerInfo_get0_signature(information), signature.data(),
                               static_cast<int>(signature.size())));
    return encoded<&i2d_CMS_ContentInfo>(document.get());
}

std::string signJWS(std::string_view payload, X509& certificate, const Signer& signer) {
    const JSObject header{{"alg", "RS256"}, {"x5c", JSArray{base64Encode(encoded<&i2d_X509>(&certificate))}}};
    const std::string message = base64URL(viewOf(writeJSON(header))) + "." + base64URL(viewOf(payload));
    return message + "." + base64URL(signatureOver(viewOf(message), certificate, signer));
}

}  // namespace KavrelCrypto::Host
