// ClsCrypt: the object behind ZenvaryVault2. It holds every setting of the
// crypt component and offers one member per automation method; the bindings
// only convert arguments and call these members. Nothing here knows of any
// binding. Methods report failure by their result and a line in the log.
#pragma once
#include <cstdint>
#include <memory>

#include "core/DataBuffer.h"
#include "core/StringBuffer.h"
#include "core/XString.h"
#include "cipher/CryptoPtr.h"
#include "cipher/CryptoSettings2.h"
#include "crypt/ClsBase.h"
#include "crypt/ClsEncode.h"
#include "encoding/Charset.h"

namespace zenvary {

class Blowfish;
class Certificate;
class ZV_Crypt;
class ClsCert;
class ClsCSP;
class ClsPrivateKey;
class ExtPtrArray;
class ProgressEvent;
class Blowfish2;
class Rijndael;
class TwoFish;
class ZenvaryDes;
class ZenvaryRc2;

// Algorithm ids of CryptAlgorithm.
enum CryptAlgorithmId : uint32_t {
    kAlgPki = 1,
    kAlgAes = 2,
    kAlgBlowfish = 3,
    kAlgTwofish = 4,
    kAlgNone = 5,
    kAlgBlowfish2 = 6,
    kAlgDes = 7,
    kAlgRc2 = 8,
    kAlgArc4 = 9,
};

// Hash ids of HashAlgorithm.
enum HashAlgorithmId : uint32_t {
    kHashSha1 = 1,
    kHashSha384 = 2,
    kHashSha512 = 3,
    kHashMd2 = 4,
    kHashMd5 = 5,
    kHashHaval = 6,
    kHashSha256 = 7,
};

// Cipher modes of CipherMode.
enum CipherModeId : uint32_t { kModeCbc = 0, kModeEcb = 1, kModeCfb = 2 };

class ClsCrypt : public ClsEncode, public ClsBase {
public:
    ClsCrypt();
    ~ClsCrypt() override;
    ClsCrypt(const ClsCrypt&) = delete;
    ClsCrypt& operator=(const ClsCrypt&) = delete;

    // Properties: no frame, no log, no failure.
    void get_Version(XString& out) const;
    int get_KeyLength() const { return m_keyLength; }
    void put_KeyLength(int bits) { m_keyLength = bits; }
    int get_Rc2EffectiveKeyLength() const { return m_rc2EffectiveKeyLength; }
    void put_Rc2EffectiveKeyLength(int bits) { m_rc2EffectiveKeyLength = bits; }
    int get_PaddingScheme() const { return static_cast<int>(m_paddingScheme); }
    void put_PaddingScheme(int scheme) { m_paddingScheme = static_cast<uint32_t>(scheme); }
    int get_BlockSize() const;
    // The block size of an algorithm id, by which chunks are cut; 0 for ids
    // that are never chunked (public key, none, unknown).
    static uint32_t blockSizeOf(uint32_t algorithmId);
    void get_CryptAlgorithm(XString& out);  // an id outside the table resets to AES
    void put_CryptAlgorithm(const XString& name);
    void get_CipherMode(XString& out) const;
    void put_CipherMode(const XString& name);
    void get_HashAlgorithm(XString& out);  // an id outside the table resets to SHA-1
    void put_HashAlgorithm(const XString& name);
    int get_HavalRounds() const { return m_havalRounds; }
    void put_HavalRounds(int rounds);
    void get_Charset(XString& out) const;
    void put_Charset(const XString& name);
    void get_CompressionAlgorithm(XString& out) const;
    void put_CompressionAlgorithm(const XString&) {}
    int get_ByteSwapOnDecrypt() const { return m_byteSwapOnDecrypt ? 1 : 0; }
    void put_ByteSwapOnDecrypt(int v) { m_byteSwapOnDecrypt = v != 0; }
    int get_FirstChunk() const { return m_firstChunk ? 1 : 0; }
    void put_FirstChunk(int v) { m_firstChunk = v != 0; }
    int get_LastChunk() const { return m_lastChunk ? 1 : 0; }
    void put_LastChunk(int v) { m_lastChunk = v != 0; }
    int get_IncludeCertChain() const { return m_includeCertChain ? 1 : 0; }
    void put_IncludeCertChain(int v) { m_includeCertChain = v != 0; }
    void get_SecretKey(DataBuffer& out) const;
    void put_SecretKey(const DataBuffer& key);
    void get_IV(DataBuffer& out) const;
    void put_IV(const DataBuffer& iv);
    void get_LastErrorText(XString& out) { lastErrorText(out, true); }
    void get_LastErrorXml(XString& out) { lastErrorXml(out, true); }
    void get_LastErrorHtml(XString& out) { lastErrorHtml(out, true); }
    bool SaveLastError(const XString& path) { return saveLastError(path); }

    // Encodings. Encode and Decode run no frame and leave the log alone.
    // `isString` tells that the bytes came as UTF-16 text, which Encode first
    // converts to the ANSI code page.
    bool Encode(const DataBuffer& data, bool isString, const XString& encoding, XString& out);
    bool Decode(const XString& text, const XString& encoding, DataBuffer& out);
    bool ReEncode(const XString& data, const XString& fromEncoding, const XString& toEncoding, XString& out);

    // Encryption and decryption of bytes with the object's settings. The
    // pointer forms give a new buffer, or null on failure; the ENC forms
    // encode or decode the ciphertext by EncodingMode.
    std::unique_ptr<DataBuffer> EncryptBytes(DataBuffer& data);
    std::unique_ptr<DataBuffer> DecryptBytes(DataBuffer& data);
    bool EncryptBytesENC(DataBuffer& data, XString& out);
    std::unique_ptr<DataBuffer> DecryptBytesENC(XString& encoded);

    // The same around text: text goes in as bytes in Charset, comes out
    // from bytes in Charset; the ENC forms encode by EncodingMode.
    std::unique_ptr<DataBuffer> EncryptString(const XString& text);
    bool EncryptStringENC(const XString& text, XString& out);
    bool DecryptString(DataBuffer& data, XString& out);
    bool DecryptStringENC(XString& encoded, XString& out);
    // Encoded text in, encoded text out, both in EncodingMode.
    bool EncryptEncoded(XString& encoded, XString& out);
    bool DecryptEncoded(XString& encoded, XString& out);
    // Buffer in, buffer out, for bindings that pass buffers.
    bool Encrypt(DataBuffer& in, DataBuffer& out);
    bool Decrypt(DataBuffer& in, DataBuffer& out);

    // Byte utilities; none needs a key.
    bool BytesToString(const DataBuffer& data, const XString& charsetName, XString& out);
    bool StringToBytes(const XString& text, const XString& charsetName, DataBuffer& out);
    bool TrimEndingWith(const XString& text, const XString& ending, XString& out);
    void ByteSwap4321(const DataBuffer& data, DataBuffer& out) const;
    void Shorten(const DataBuffer& data, int numBytes, DataBuffer& out) const;

    // Keys and IVs. No frame: these leave the log alone and cannot fail.
    void GenerateSecretKey(const XString& password, DataBuffer& out);
    void SetSecretKeyViaPassword(const XString& password);
    void GenEncodedSecretKey(const XString& password, const XString& encoding, XString& out);
    void SetEncodedKey(const XString& keyText, const XString& encoding);
    void SetEncodedIV(const XString& ivText, const XString& encoding);
    void GetEncodedKey(const XString& encoding, XString& out);
    void GetEncodedIV(const XString& encoding, XString& out);
    void RandomizeIV();

    // Compression: bzip2 in the component's envelope. Damaged input gives
    // empty or short data, never a failure.
    std::unique_ptr<DataBuffer> CompressBytes(const DataBuffer& data);
    std::unique_ptr<DataBuffer> CompressString(const XString& text);
    bool CompressBytesENC(const DataBuffer& data, XString& out);
    bool CompressStringENC(const XString& text, XString& out);
    std::unique_ptr<DataBuffer> InflateBytes(const DataBuffer& data);
    std::unique_ptr<DataBuffer> InflateBytesENC(XString& encoded);
    bool InflateString(const DataBuffer& data, XString& out);
    bool InflateStringENC(XString& encoded, XString& out);

    // Hashes by HashAlgorithm (HAVAL sized by KeyLength, HavalRounds passes)
    // and HMACs with the stored key. Text is hashed as bytes in Charset.
    bool HashBytes(const DataBuffer& data, DataBuffer& out);
    bool HashString(const XString& text, DataBuffer& out);
    bool HashBytesENC(const DataBuffer& data, XString& out);
    bool HashStringENC(const XString& text, XString& out);
    // `progress`, when given, hears the percent done and may abort.
    bool HashFile(const XString& filename, DataBuffer& out, ProgressEvent* progress = nullptr);
    bool HashFileENC(const XString& filename, XString& out, ProgressEvent* progress = nullptr);
    void SetHmacKeyBytes(const DataBuffer& key);
    void SetHmacKeyString(const XString& key);
    void SetHmacKeyEncoded(const XString& key, const XString& encoding);
    bool HmacBytes(const DataBuffer& data, DataBuffer& out);
    bool HmacString(const XString& text, DataBuffer& out);
    bool HmacBytesENC(const DataBuffer& data, XString& out);
    bool HmacStringENC(const XString& text, XString& out);

    // Files encrypted and decrypted in 800000-byte chunks: raw ciphertext,
    // no header. The result goes to a temporary file beside the target that
    // replaces it only on success, so a failure never destroys data.
    // `progress`, when given, hears the percent done and may abort.
    bool EncryptFile(const XString& inPath, const XString& outPath, ProgressEvent* progress = nullptr);
    bool DecryptFile(const XString& inPath, const XString& outPath, ProgressEvent* progress = nullptr);

    // Whole files in and out.
    std::unique_ptr<DataBuffer> ReadFile(const XString& filename);
    bool WriteFile(const XString& filename, const DataBuffer& data);

    // The only doors to the ciphers: whole data or one chunk of a run, as
    // FirstChunk and LastChunk say. A new buffer, or null on failure.
    std::unique_ptr<DataBuffer> EncryptCore(DataBuffer& data, LogBase& log);
    std::unique_ptr<DataBuffer> DecryptCore(DataBuffer& data, LogBase& log);

    const Charset& charset() const { return m_charset; }
    uint32_t cryptAlgorithmId() const { return m_cryptAlgorithmId; }
    uint32_t hashAlgorithmId() const { return m_hashAlgorithmId; }
    uint32_t cipherMode() const { return m_cipherMode; }
    bool ivIsSet() const { return m_ivIsSet; }
    const StringBuffer& lastAlgorithm() const { return m_lastAlgorithm; }

    // ---- Certificates, signatures and PKCS #7 messages (CryptSign.cpp, CryptPki.cpp) ----
    //
    // Detached signatures. A failed signature leaves `out` empty and still
    // answers true, except for the two file methods.
    bool SignBytes(const DataBuffer& data, DataBuffer& out);
    bool SignString(const XString& text, DataBuffer& out);
    bool SignBytesENC(const DataBuffer& data, XString& out);
    bool SignStringENC(const XString& text, XString& out);
    bool CreateP7S(const XString& inPath, const XString& p7sPath);
    bool CreateDetachedSignature(const XString& inPath, const XString& sigPath);
    // Verification of detached signatures: the signature only, no trust
    // decision; the signer (also of a failed check) shows in GetLastCert.
    bool VerifyBytes(const DataBuffer& data, const DataBuffer& signature);
    bool VerifyBytesENC(const DataBuffer& data, const XString& encodedSig);
    bool VerifyString(const XString& text, const DataBuffer& signature);
    bool VerifyStringENC(const XString& text, const XString& encodedSig);
    bool VerifyP7S(const XString& inPath, const XString& p7sPath);
    bool VerifyDetachedSignature(const XString& inPath, const XString& sigPath);
    // Opaque (attached) signatures. The verify forms answer true and give
    // an empty result when the check fails; the reason is in the log.
    bool OpaqueSignBytes(const DataBuffer& data, DataBuffer& out);
    bool OpaqueSignString(const XString& text, DataBuffer& out);
    bool OpaqueSignBytesENC(const DataBuffer& data, XString& out);
    bool OpaqueSignStringENC(const XString& text, XString& out);
    bool OpaqueVerifyBytes(const DataBuffer& message, DataBuffer& out);
    bool OpaqueVerifyString(const DataBuffer& message, XString& out);
    bool OpaqueVerifyBytesENC(const XString& encoded, DataBuffer& out);
    bool OpaqueVerifyStringENC(const XString& encoded, XString& out);
    bool CreateP7M(const XString& inPath, const XString& p7mPath);
    bool VerifyP7M(const XString& p7mPath, const XString& outPath);
    // Certificates. The object keeps copies of what it is given.
    void SetSigningCert(const ClsCert& cert);
    void SetVerifyCert(const ClsCert& cert);
    void SetEncryptCert(const ClsCert& cert);
    // Puts the certificate's private key into a key container named by its
    // thumbprint, for the "pki" decryption.
    bool SetDecryptCert(const ClsCert& cert);
    // The same with a key that the binding exported from `cert` itself.
    bool SetDecryptCert2(const ClsCert& cert, const ClsPrivateKey& key);
    // A new certificate object around a copy of the last signer or
    // recipient, or null.
    ClsCert* GetLastCert();
    bool SetCSP(ClsCSP& csp);
    // Whether the last signature check of a verify method passed (the
    // opaque forms answer true either way); for bindings that report it.
    bool lastVerifyPassed() const { return m_lastVerifyPassed; }

private:
    std::unique_ptr<DataBuffer> runCore(bool encrypt, DataBuffer& data, LogBase& log);
    std::unique_ptr<DataBuffer> wholeSwitch(bool encrypt, DataBuffer& data, LogBase& log);
    // Where a chunked run keeps its cipher and chains: the object's own for
    // the byte methods, locals of the call for the file methods.
    struct ChunkRun {
        CryptoPtr& holder;
        DataBuffer& encryptChain;
        uint8_t* decryptChain;
    };
    ChunkRun objectRun() { return {m_chunkCipher, m_encryptChain, m_decryptChain}; }
    std::unique_ptr<DataBuffer> firstChunkSwitch(bool encrypt, DataBuffer& data, LogBase& log, ChunkRun run);
    std::unique_ptr<DataBuffer> laterChunkSwitch(bool encrypt, bool last, DataBuffer& data, LogBase& log,
                                                 ChunkRun run);
    static void keepEncryptChain(const DataBuffer* out, DataBuffer& chain);
    bool cryptFile(bool encrypt, const XString& inPath, const XString& outPath, ProgressEvent* progress);
    // Text in Charset to bytes, and bytes in Charset back to text.
    bool cryptEncoded(bool encrypt, XString& encoded, XString& out);
    bool cryptBuffer(bool encrypt, DataBuffer& in, DataBuffer& out);
    void textToBytes(const XString& text, DataBuffer& out) const;
    bool bytesToText(const DataBuffer& bytes, XString& out) const;
    void passwordKey(const XString& password, DataBuffer& out) const;
    void hashInMemory(const uint8_t* data, uint32_t n, DataBuffer& out);
    void hmacInMemory(const uint8_t* data, uint32_t n, DataBuffer& out) const;
    bool hashFileInto(const XString& filename, DataBuffer& out, LogBase& log, ProgressEvent* progress);
    int32_t havalBits() const;
    std::unique_ptr<DataBuffer> chunkSwitchFailure(bool encrypt, LogBase& log);
    void ivBlock(uint8_t block[16]) const;
    void noteSymmetric(const char* name);
    void setUp(Rijndael& c, bool decrypt);
    void setUp(Blowfish& c, bool decrypt);
    void setUp(Blowfish2& c, bool withIv);
    void setUp(TwoFish& c, bool decrypt, bool withPadding);
    void setUp(ZenvaryDes& c, bool decrypt, LogBase& log);
    void setUp(ZenvaryRc2& c);

    CryptoSettings2 m_cspSettings;

    // Settings, with the defaults the constructor gives.
    bool m_useCertStores = true;
    bool m_includeCertChain = true;
    int m_keyLength = 128;
    int m_rc2EffectiveKeyLength = 128;
    uint32_t m_cryptAlgorithmId = kAlgAes;
    uint32_t m_hashAlgorithmId = kHashSha1;
    int m_havalRounds = 3;
    uint32_t m_cipherMode = kModeCbc;
    bool m_byteSwapOnDecrypt = false;

    // State of a chunked run.
    bool m_firstChunk = true;
    bool m_lastChunk = true;
    bool m_chunkActive = false;
    DataBuffer m_encryptChain;
    DataBuffer m_chunkLeftover;
    uint8_t m_decryptChain[32] = {};
    CryptoPtr m_chunkCipher;

    Charset m_charset;
    bool m_ivIsSet = false;
    DataBuffer m_iv;
    uint32_t m_paddingScheme = 0;
    DataBuffer m_hmacKey;
    DataBuffer m_secretKey;
    StringBuffer m_lastAlgorithm;
    XString m_lastCertSubject;
    XString m_encryptCertSubject;
    XString m_signCertSubject;

    // ---- Certificates, signatures and PKCS #7 messages (CryptSign.cpp, CryptPki.cpp) ----
    struct PkiFields;
    struct PkiFieldsDelete {
        void operator()(PkiFields* p) const;
    };
    PkiFields& pki();
    bool signDetached(const char* methodName, const DataBuffer& data, DataBuffer& out);
    bool verifyDetached(const char* methodName, const DataBuffer& data, const DataBuffer& signature);
    bool signAttached(const DataBuffer& data, DataBuffer& out);
    bool verifyAttached(const DataBuffer& message, DataBuffer& out);
    // The certificate that signs: signingCert, else the store search by
    // m_signCertSubject (owned by `found`). Null when there is none (logged).
    // `detached` adds the detached family's log: the signer's names, and the
    // refusal of an empty subject.
    Certificate* signerCertificate(bool detached, std::unique_ptr<Certificate>& found, LogBase& log);
    // The settings a signature or a verification takes from this object.
    void prepareSigning(ZV_Crypt& zc, LogBase& log);
    void prepareVerifying(ZV_Crypt& zc, LogBase& log);
    // Keeps the signer or recipient that a message call found as lastCert
    // (owning it) and notes its subject and algorithm.
    void keepLastCert(Certificate* signer);
    // The public-key branch of EncryptCore and DecryptCore.
    std::unique_ptr<DataBuffer> pkiEncrypt(DataBuffer& data, LogBase& log);
    std::unique_ptr<DataBuffer> pkiDecrypt(DataBuffer& data, LogBase& log);
    // The store list of the searches, opened on first use.
    ExtPtrArray& chosenStores();
    // The certificate of a subject text in the stores, or null (logged).
    Certificate* findCertBySubject(const XString& subject, ExtPtrArray& stores);
    void logStoreSearchFailure(const XString& subject, ExtPtrArray& stores, LogBase& log);
    // lastCertSubject and lastAlgorithm from a certificate.
    void noteCertificate(const Certificate& cert);
    bool setDecryptCertWithKey(const ClsCert& cert, const ClsPrivateKey& key, LogBase& log);

    std::unique_ptr<PkiFields, PkiFieldsDelete> m_pki;
    bool m_lastVerifyPassed = false;
};

}  // namespace zenvary
