// ClsOmaDrm: the object behind ZenvaryOmaDrm. It creates and opens DCF
// files: it holds one OmaDrm record, the key as base64 text and the parsed
// header block. All AES work is done by a temporary ClsCrypt made for each
// operation (AES-128, CBC, the default padding), so the key text is decoded
// afresh each time. Nothing here knows of any binding.
//
// The order for creating a file: Base64Key, IV or SetEncodedIV, ContentType,
// ContentUri, Headers, LoadUnencryptedData or LoadUnencryptedFile, then
// CreateDcfFile. No key or IV is generated here, and an IV set after the data
// was loaded does not apply to the stored ciphertext.
#pragma once
#include <cstdint>

#include "core/DataBuffer.h"
#include "core/XString.h"
#include "crypt/ClsBase.h"
#include "drm/Dcf.h"
#include "drm/MimeHeader.h"

namespace zenvary {

class ClsCrypt;
class LogBase;

class ClsOmaDrm : public ClsBase {
public:
    ClsOmaDrm() = default;
    ~ClsOmaDrm() override = default;
    ClsOmaDrm(const ClsOmaDrm&) = delete;
    ClsOmaDrm& operator=(const ClsOmaDrm&) = delete;

    // Loading. On success the header block is parsed; on failure the parsed
    // headers are empty and the record's fields are as far as the read got.
    // No message of their own: the log holds only the frame.
    bool LoadDcfFile(const XString& filename);
    bool LoadDcfData(const DataBuffer& data);

    // Properties: no frame, no log.
    void get_Base64Key(XString& out) const { out.copyFrom(m_base64Key); }
    void put_Base64Key(const XString& key) { m_base64Key.copyFrom(key); }  // not checked
    int get_DrmContentVersion() const { return m_drm.version; }
    void get_ContentType(XString& out) const;
    void put_ContentType(const XString& text);
    void get_ContentUri(XString& out) const;
    void put_ContentUri(const XString& text);
    // The raw block as stored (and as CreateDcfFile writes it); a put also
    // re-parses the fields that GetHeaderField answers from.
    void get_Headers(XString& out) const;
    void put_Headers(const XString& text);
    // All bytes are stored and written; the cipher takes the first 16.
    void get_IV(DataBuffer& out) const;
    void put_IV(const DataBuffer& iv);
    void get_EncryptedData(DataBuffer& out) const;
    // Decrypts the stored ciphertext on each call. A wrong key is not
    // detected: the result is what the padding removal leaves. False only
    // when the cipher gives no result.
    bool get_DecryptedData(DataBuffer& out);

    void get_LastErrorText(XString& out) { lastErrorText(out, true); }
    void get_LastErrorXml(XString& out) { lastErrorXml(out, true); }
    void get_LastErrorHtml(XString& out) { lastErrorHtml(out, true); }
    bool SaveLastError(const XString& path) { return saveLastError(path); }

    // Decrypts, then writes the whole file; write failures go to the log.
    bool SaveDecrypted(const XString& filename);

    // The value of the first field of that name, case ignored; false and an
    // empty `out` when there is none.
    bool GetHeaderField(const XString& fieldName, XString& out) const;

    // Encrypts `data` with Base64Key and the IV into the encrypted data,
    // replacing it. Reports nothing: an invalid key gives a short or empty
    // key, and a missing key leaves the encrypted data empty.
    void LoadUnencryptedData(const DataBuffer& data);
    // Reads the file, then as LoadUnencryptedData; false when it can't be read.
    bool LoadUnencryptedFile(const XString& filename);
    // Decodes by the named encoding ("base64", "hex", ...) into the IV.
    void SetEncodedIV(const XString& encodedIV, const XString& encoding);

    // Writes the record; an existing file is replaced. No log frame. Fails
    // when any of content type, URI, headers, IV or encrypted data is empty.
    bool CreateDcfFile(const XString& filename) const;

    // The record and the parsed headers, for callers that list them.
    const OmaDrm& record() const { return m_drm; }
    const MimeHeader& headers() const { return m_headers; }

    // The settings of every temporary cipher object.
    static constexpr int kKeyLengthBits = 128;
    static constexpr uint32_t kIvBytes = 16;

private:
    // A crypt object set up as the DCF cipher: AES-128 CBC, the stored IV
    // (at most 16 bytes) and the key decoded from Base64Key.
    void setUpCipher(ClsCrypt& crypt) const;
    bool decryptInto(DataBuffer& out, LogBase& log);
    bool loaded(bool ok);

    OmaDrm m_drm;
    XString m_base64Key;
    MimeHeader m_headers;
};

}  // namespace zenvary
