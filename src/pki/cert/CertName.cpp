#include "pki/cert/CertName.h"

#include <openssl/asn1.h>
#include <openssl/objects.h>
#include <openssl/x509.h>

#include <cstring>

#include "core/DataBuffer.h"
#include "core/StringPair.h"

namespace zenvary {

namespace {

struct TypeName {
    int nid;
    const char* text;
};

constexpr TypeName kTypeNames[] = {
    {NID_commonName, "CN"},         {NID_localityName, "L"},
    {NID_stateOrProvinceName, "ST"}, {NID_organizationName, "O"},
    {NID_organizationalUnitName, "OU"}, {NID_countryName, "C"},
    {NID_streetAddress, "STREET"},   {NID_domainComponent, "DC"},
    {NID_pkcs9_emailAddress, "E"},   {NID_title, "T"},
    {NID_givenName, "G"},            {NID_surname, "SN"},
    {NID_initials, "I"},             {NID_serialNumber, "SERIALNUMBER"},
};

void appendType(const ASN1_OBJECT* object, StringBuffer& out) {
    int nid = OBJ_obj2nid(object);
    for (const TypeName& row : kTypeNames) {
        if (row.nid == nid) {
            out.append(row.text);
            return;
        }
    }
    char dotted[128];
    OBJ_obj2txt(dotted, sizeof dotted, object, 1);
    out.append("OID.");
    out.append(dotted);
}

bool needsQuotes(const char* value, size_t n) {
    if (n == 0) return true;
    if (value[0] == ' ' || value[n - 1] == ' ') return true;
    for (size_t i = 0; i < n; ++i) {
        if (std::strchr(",+=\"\r\n<>#;", value[i]) && value[i] != 0) return true;
    }
    return false;
}

void appendValue(const ASN1_STRING* data, StringBuffer& out) {
    unsigned char* utf8 = nullptr;
    int n = ASN1_STRING_to_UTF8(&utf8, data);
    if (n < 0) {
        // Not a string type: "#" and the hexadecimal of its content.
        out.appendChar('#');
        DataBuffer::encodeHex(ASN1_STRING_get0_data(data), static_cast<uint32_t>(ASN1_STRING_length(data)),
                              out);
        return;
    }
    const char* text = reinterpret_cast<const char*>(utf8);
    if (!needsQuotes(text, static_cast<size_t>(n))) {
        out.appendN(text, n);
    } else {
        out.appendChar('"');
        for (int i = 0; i < n; ++i) {
            if (text[i] == '"') out.appendChar('"');
            out.appendChar(text[i]);
        }
        out.appendChar('"');
    }
    OPENSSL_free(utf8);
}

void nameToText(const X509_NAME* name, bool withTypes, StringBuffer& out) {
    if (!name) return;
    int count = X509_NAME_entry_count(name);
    int lastSet = -1;
    for (int i = 0; i < count; ++i) {
        const X509_NAME_ENTRY* entry = X509_NAME_get_entry(name, i);
        int set = X509_NAME_ENTRY_set(entry);
        if (i > 0) out.append(set == lastSet ? " + " : ", ");
        lastSet = set;
        if (withTypes) {
            appendType(X509_NAME_ENTRY_get_object(entry), out);
            out.appendChar('=');
        }
        appendValue(X509_NAME_ENTRY_get_data(entry), out);
    }
}

}  // namespace

void nameToX500(const X509_NAME* name, StringBuffer& out) { nameToText(name, true, out); }

void nameToSimple(const X509_NAME* name, StringBuffer& out) { nameToText(name, false, out); }

void splitNameParts(const StringBuffer& dn, bool multiValued, ExtPtrArray& parts) {
    ExtPtrArray pieces;
    dn.split(pieces, ',', true, true);
    for (int32_t i = 0; i < pieces.getCount(); ++i) {
        ExtPtrArray tokens;
        pieces.at<StringBuffer>(i)->split(tokens, '=', true, true);
        int32_t n = tokens.getCount();
        if (n == 2 || (multiValued && n > 2)) {
            StringBuffer name(*tokens.at<StringBuffer>(0));
            name.trim();
            name.toUpper();
            StringBuffer value(*tokens.at<StringBuffer>(1));
            if (n > 2) {
                value.replaceAll(" + OID", "=");
                value.truncateAt('=');
            }
            value.trim();
            parts.append(new StringPair(name.getString(), value.getString()));
        }
        tokens.deleteAll();
    }
    pieces.deleteAll();
}

}  // namespace zenvary
