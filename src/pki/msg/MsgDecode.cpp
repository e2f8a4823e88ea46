// Opening a message of any type: data, signed, enveloped, and the two
// nested in each other, layer by layer as the inner content types say.
#include <openssl/x509.h>

#include "pki/msg/DerReader.h"
#include "pki/msg/MessageOps.h"
#include "pki/msg/MsgDer.h"

namespace zenvary {

namespace {

constexpr int kMaxLayers = 8;

// ContentInfo { contentType, [0] EXPLICIT content }: the type and the
// encoded inner item (empty when the content is absent).
bool readContentInfo(std::span<const uint8_t> der, std::string& type, std::span<const uint8_t>& inner) {
    DerReader top(der);
    DerItem ci, oid, wrapper, item;
    if (!top.next(ci) || !ci.isUniversal(kDerSequence) || !ci.constructed) return false;
    DerReader in = top.inside(ci);
    if (!in.next(oid) || !oid.isUniversal(kDerOid) || !oidToText(oid.content, type)) return false;
    inner = {};
    if (!in.next(wrapper)) return !in.failed();
    if (!wrapper.is(kDerContext, 0) || !wrapper.constructed) return false;
    DerReader wrapIn = in.inside(wrapper);
    if (!wrapIn.next(item)) return !wrapIn.failed();
    inner = item.whole;
    return true;
}

// The encapsulated content type of a SignedData item.
bool signedContentType(std::span<const uint8_t> signedData, std::string& type) {
    DerReader top(signedData);
    DerItem sd, item;
    if (!top.next(sd) || !sd.isUniversal(kDerSequence)) return false;
    DerReader in = top.inside(sd);
    if (!in.next(item) || !item.isUniversal(kDerInteger)) return false;  // version
    if (!in.next(item) || !item.isUniversal(kDerSet)) return false;      // digest algorithms
    if (!in.next(item) || !item.isUniversal(kDerSequence)) return false; // encapsulated content
    DerReader eci = in.inside(item);
    DerItem oid;
    return eci.next(oid) && oid.isUniversal(kDerOid) && oidToText(oid.content, type);
}

bool isMessageType(const std::string& type) { return type == kOidSignedData || type == kOidEnvelopedData; }

// Inner content of a nested type is either a whole ContentInfo or the bare
// structure; the bare form is wrapped so that the next layer reads one shape.
void asContentInfo(const std::string& type, std::vector<uint8_t>& content) {
    DerReader top(content);
    DerItem seq, first;
    if (top.next(seq) && seq.isUniversal(kDerSequence)) {
        DerReader in = top.inside(seq);
        if (in.next(first) && first.isUniversal(kDerOid)) return;
    }
    Asn1* inner = asn1FromDer(content);
    if (!inner) return;
    Asn1* wrapper = derContext(0, true);
    wrapper->appendSubItem(inner);
    Asn1* ci = Asn1::newSequence();
    ci->appendSubItem(derOid(type.c_str()));
    ci->appendSubItem(wrapper);
    DataBuffer der;
    if (!encodeAndFree(ci, der)) return;
    content.assign(der.data(), der.data() + der.getSize());
}

}  // namespace

bool MessageOps::decodeLayers(std::span<const uint8_t> message, MsgCertLookup& keys, MsgCertLookup* signers,
                              MsgResult& r, MsgError& err) {
    std::vector<uint8_t> current(message.begin(), message.end());
    for (int layer = 0; layer < kMaxLayers; ++layer) {
        std::string type;
        std::span<const uint8_t> inner;
        if (!readContentInfo(current, type, inner)) {
            err.setText(kCryptEAsn1BadTag, msgErrorWording(kCryptEAsn1BadTag));
            return false;
        }
        std::vector<uint8_t> content;
        std::string innerType = kOidData;
        if (type == kOidData) {
            DerReader in(inner);
            DerItem os;
            if (!inner.empty() &&
                (!in.next(os) || !os.isUniversal(kDerOctetString) || !DerReader::stringValue(os, content))) {
                err.setText(kCryptEAsn1BadTag, msgErrorWording(kCryptEAsn1BadTag));
                return false;
            }
            if (r.type == 0) r.type = kMsgData;
        } else if (type == kOidSignedData) {
            MsgResult sub;
            const bool ok = verifySigned(0, current, nullptr, signers, sub, err);
            X509_free(r.cert2);
            r.cert2 = sub.cert1;
            sub.cert1 = nullptr;
            if (!ok) return false;
            r.type = kMsgSigned;
            content.assign(sub.bytes.data(), sub.bytes.data() + sub.bytes.getSize());
            if (!signedContentType(inner, innerType)) innerType = kOidData;
        } else if (type == kOidEnvelopedData) {
            MsgResult sub;
            const bool ok = openEnvelope(current, keys, content, innerType, sub, err);
            if (sub.cert1) {
                X509_free(r.cert1);
                r.cert1 = sub.cert1;
                sub.cert1 = nullptr;
            }
            if (!ok) return false;
            r.type = kMsgEnveloped;
        } else {
            err.setText(kCryptEInvalidMsgType, msgErrorWording(kCryptEInvalidMsgType));
            return false;
        }
        if (!isMessageType(innerType)) {
            r.bytes.clear();
            r.bytes.append(content);
            return true;
        }
        asContentInfo(innerType, content);
        current.swap(content);
    }
    err.setText(kCryptEInvalidMsgType, "The message is nested too deeply.");
    return false;
}

}  // namespace zenvary
