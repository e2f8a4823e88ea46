/*
 * zenvary.h -- the C interface of the Zenvary component.
 *
 * One opaque handle per object. Functions carry the names of the object's
 * members: ZenvaryVault2_<Member>, with get_/put_ for properties.
 *
 * Conventions
 *   - Text in and out is UTF-8, NUL-terminated.
 *   - Bytes in are a pointer and a length (the pointer may be NULL when the
 *     length is 0).
 *   - Every text or byte result is a new block that the caller releases with
 *     zenvary_free(). A result is always set, even on failure: an empty
 *     string, or a buffer of length 0.
 *   - Functions that can fail return ZV_OK, ZV_FAILED (the member reported
 *     failure: read LastErrorText for the reason), ZV_NOMEM (out of memory)
 *     or ZV_BADARG (a null handle or output pointer). Nothing aborts.
 */
#ifndef ZENVARY_H
#define ZENVARY_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define ZV_API __attribute__((visibility("default")))
#else
#define ZV_API
#endif

#define ZENVARY_VERSION "4.3.0"

#define ZV_OK 0
#define ZV_FAILED 1
#define ZV_NOMEM (-1)
#define ZV_BADARG (-2)

typedef struct ZenvaryVault2 ZenvaryVault2;

/* Releases a text or byte result. NULL is allowed. */
ZV_API void zenvary_free(void *block);

/* The process-wide ANSI code page (default 1252). Set it before use. */
ZV_API unsigned zenvary_get_ansi_code_page(void);
ZV_API void zenvary_set_ansi_code_page(unsigned codePage);

/* Lifecycle. Create returns NULL only when memory is out. */
ZV_API ZenvaryVault2 *ZenvaryVault2_Create(void);
ZV_API void ZenvaryVault2_Dispose(ZenvaryVault2 *obj);

/* The kind of caller, the argument of the log's user and component lines.
   Our bindings have kinds of their own, which write no "Component" line:
   ZV_KIND_C (the default of this interface), ZV_KIND_PYTHON, ZV_KIND_CLI.
   The kinds 3, 1, 2 and 264 write "ActiveX", ".NET 1.*", ".NET 2.0" and
   ".NET 2.0 / x64"; any other kind writes none. */
#define ZV_KIND_C 1001
#define ZV_KIND_PYTHON 1002
#define ZV_KIND_CLI 1003
ZV_API void zenvary_set_binding_kind(ZenvaryVault2 *obj, int kind);

/* The last method's log. */
ZV_API int ZenvaryVault2_get_LastErrorText(ZenvaryVault2 *obj, char **out);
ZV_API int ZenvaryVault2_get_LastErrorXml(ZenvaryVault2 *obj, char **out);
ZV_API int ZenvaryVault2_get_LastErrorHtml(ZenvaryVault2 *obj, char **out);
ZV_API int ZenvaryVault2_SaveLastError(ZenvaryVault2 *obj, const char *path);

/* Properties. */
ZV_API int ZenvaryVault2_get_Version(ZenvaryVault2 *obj, char **out);
ZV_API int ZenvaryVault2_get_SecretKey(ZenvaryVault2 *obj, unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_put_SecretKey(ZenvaryVault2 *obj, const unsigned char *data, size_t len);
ZV_API int ZenvaryVault2_get_IV(ZenvaryVault2 *obj, unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_put_IV(ZenvaryVault2 *obj, const unsigned char *data, size_t len);
ZV_API long ZenvaryVault2_get_KeyLength(ZenvaryVault2 *obj);
ZV_API void ZenvaryVault2_put_KeyLength(ZenvaryVault2 *obj, long bits);
ZV_API long ZenvaryVault2_get_PaddingScheme(ZenvaryVault2 *obj);
ZV_API void ZenvaryVault2_put_PaddingScheme(ZenvaryVault2 *obj, long scheme);
ZV_API int ZenvaryVault2_get_CipherMode(ZenvaryVault2 *obj, char **out);
ZV_API int ZenvaryVault2_put_CipherMode(ZenvaryVault2 *obj, const char *mode);
ZV_API int ZenvaryVault2_get_Charset(ZenvaryVault2 *obj, char **out);
ZV_API int ZenvaryVault2_put_Charset(ZenvaryVault2 *obj, const char *charset);
ZV_API int ZenvaryVault2_get_HashAlgorithm(ZenvaryVault2 *obj, char **out);
ZV_API int ZenvaryVault2_put_HashAlgorithm(ZenvaryVault2 *obj, const char *name);
ZV_API int ZenvaryVault2_get_CryptAlgorithm(ZenvaryVault2 *obj, char **out);
ZV_API int ZenvaryVault2_put_CryptAlgorithm(ZenvaryVault2 *obj, const char *name);
ZV_API int ZenvaryVault2_get_EncodingMode(ZenvaryVault2 *obj, char **out);
ZV_API int ZenvaryVault2_put_EncodingMode(ZenvaryVault2 *obj, const char *name);
ZV_API int ZenvaryVault2_get_CompressionAlgorithm(ZenvaryVault2 *obj, char **out);
ZV_API int ZenvaryVault2_put_CompressionAlgorithm(ZenvaryVault2 *obj, const char *name);
ZV_API long ZenvaryVault2_get_ByteSwapOnDecrypt(ZenvaryVault2 *obj);
ZV_API void ZenvaryVault2_put_ByteSwapOnDecrypt(ZenvaryVault2 *obj, long flag);
ZV_API long ZenvaryVault2_get_HavalRounds(ZenvaryVault2 *obj);
ZV_API void ZenvaryVault2_put_HavalRounds(ZenvaryVault2 *obj, long rounds);
ZV_API long ZenvaryVault2_get_Rc2EffectiveKeyLength(ZenvaryVault2 *obj);
ZV_API void ZenvaryVault2_put_Rc2EffectiveKeyLength(ZenvaryVault2 *obj, long bits);
ZV_API long ZenvaryVault2_get_LastChunk(ZenvaryVault2 *obj);
ZV_API void ZenvaryVault2_put_LastChunk(ZenvaryVault2 *obj, long flag);
ZV_API long ZenvaryVault2_get_FirstChunk(ZenvaryVault2 *obj);
ZV_API void ZenvaryVault2_put_FirstChunk(ZenvaryVault2 *obj, long flag);
ZV_API long ZenvaryVault2_get_BlockSize(ZenvaryVault2 *obj);
ZV_API long ZenvaryVault2_get_IncludeCertChain(ZenvaryVault2 *obj);
ZV_API void ZenvaryVault2_put_IncludeCertChain(ZenvaryVault2 *obj, long flag);

/* Encodings. `isString` says the bytes are UTF-16LE text (Encode converts
   such text to the ANSI code page first). */
ZV_API int ZenvaryVault2_Encode(ZenvaryVault2 *obj, const unsigned char *data, size_t len, int isString,
                                const char *encoding, char **out);
ZV_API int ZenvaryVault2_Decode(ZenvaryVault2 *obj, const char *encodedStr, const char *encoding,
                                unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_ReEncode(ZenvaryVault2 *obj, const char *data, const char *fromEncoding,
                                  const char *toEncoding, char **out);

/* Encryption with the object's settings (CryptAlgorithm, KeyLength,
   CipherMode, PaddingScheme, SecretKey, IV, FirstChunk, LastChunk). The ENC
   forms take or give the ciphertext as text in EncodingMode. */
ZV_API int ZenvaryVault2_EncryptBytes(ZenvaryVault2 *obj, const unsigned char *data, size_t len,
                                      unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_DecryptBytes(ZenvaryVault2 *obj, const unsigned char *data, size_t len,
                                      unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_EncryptBytesENC(ZenvaryVault2 *obj, const unsigned char *data, size_t len, char **out);
ZV_API int ZenvaryVault2_DecryptBytesENC(ZenvaryVault2 *obj, const char *str, unsigned char **out,
                                         size_t *outLen);

/* The same around text (UTF-8 here, converted to and from Charset inside). */
ZV_API int ZenvaryVault2_EncryptString(ZenvaryVault2 *obj, const char *str, unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_EncryptStringENC(ZenvaryVault2 *obj, const char *str, char **out);
ZV_API int ZenvaryVault2_DecryptString(ZenvaryVault2 *obj, const unsigned char *data, size_t len, char **out);
ZV_API int ZenvaryVault2_DecryptStringENC(ZenvaryVault2 *obj, const char *str, char **out);
ZV_API int ZenvaryVault2_EncryptEncoded(ZenvaryVault2 *obj, const char *str, char **out);
ZV_API int ZenvaryVault2_DecryptEncoded(ZenvaryVault2 *obj, const char *str, char **out);

/* Byte utilities. */
ZV_API int ZenvaryVault2_BytesToString(ZenvaryVault2 *obj, const unsigned char *data, size_t len,
                                       const char *charset, char **out);
ZV_API int ZenvaryVault2_StringToBytes(ZenvaryVault2 *obj, const char *str, const char *charset,
                                       unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_TrimEndingWith(ZenvaryVault2 *obj, const char *str, const char *ending, char **out);
ZV_API int ZenvaryVault2_ByteSwap4321(ZenvaryVault2 *obj, const unsigned char *data, size_t len,
                                      unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_Shorten(ZenvaryVault2 *obj, const unsigned char *data, size_t len, long numBytes,
                                 unsigned char **out, size_t *outLen);

/* Keys and IVs. */
ZV_API int ZenvaryVault2_GenerateSecretKey(ZenvaryVault2 *obj, const char *password, unsigned char **out,
                                           size_t *outLen);
ZV_API int ZenvaryVault2_SetSecretKeyViaPassword(ZenvaryVault2 *obj, const char *password);
ZV_API int ZenvaryVault2_GenEncodedSecretKey(ZenvaryVault2 *obj, const char *password, const char *encoding,
                                             char **out);
ZV_API int ZenvaryVault2_SetEncodedKey(ZenvaryVault2 *obj, const char *keyStr, const char *encoding);
ZV_API int ZenvaryVault2_SetEncodedIV(ZenvaryVault2 *obj, const char *ivStr, const char *encoding);
ZV_API int ZenvaryVault2_GetEncodedKey(ZenvaryVault2 *obj, const char *encoding, char **out);
ZV_API int ZenvaryVault2_GetEncodedIV(ZenvaryVault2 *obj, const char *encoding, char **out);
ZV_API int ZenvaryVault2_RandomizeIV(ZenvaryVault2 *obj);

/* Compression: bzip2 in the component's 8-byte envelope. */
ZV_API int ZenvaryVault2_CompressBytes(ZenvaryVault2 *obj, const unsigned char *data, size_t len,
                                       unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_CompressString(ZenvaryVault2 *obj, const char *str, unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_CompressBytesENC(ZenvaryVault2 *obj, const unsigned char *data, size_t len, char **out);
ZV_API int ZenvaryVault2_CompressStringENC(ZenvaryVault2 *obj, const char *str, char **out);
ZV_API int ZenvaryVault2_InflateBytes(ZenvaryVault2 *obj, const unsigned char *data, size_t len,
                                      unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_InflateBytesENC(ZenvaryVault2 *obj, const char *str, unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_InflateString(ZenvaryVault2 *obj, const unsigned char *data, size_t len, char **out);
ZV_API int ZenvaryVault2_InflateStringENC(ZenvaryVault2 *obj, const char *str, char **out);

/* Hashes and HMACs by HashAlgorithm; the file forms stream the file. */
ZV_API int ZenvaryVault2_HashBytes(ZenvaryVault2 *obj, const unsigned char *data, size_t len, unsigned char **out,
                                   size_t *outLen);
ZV_API int ZenvaryVault2_HashString(ZenvaryVault2 *obj, const char *str, unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_HashBytesENC(ZenvaryVault2 *obj, const unsigned char *data, size_t len, char **out);
ZV_API int ZenvaryVault2_HashStringENC(ZenvaryVault2 *obj, const char *str, char **out);
ZV_API int ZenvaryVault2_HashFile(ZenvaryVault2 *obj, const char *filename, unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_HashFileENC(ZenvaryVault2 *obj, const char *filename, char **out);
ZV_API int ZenvaryVault2_SetHmacKeyBytes(ZenvaryVault2 *obj, const unsigned char *key, size_t len);
ZV_API int ZenvaryVault2_SetHmacKeyString(ZenvaryVault2 *obj, const char *key);
ZV_API int ZenvaryVault2_SetHmacKeyEncoded(ZenvaryVault2 *obj, const char *key, const char *encoding);
ZV_API int ZenvaryVault2_HmacBytes(ZenvaryVault2 *obj, const unsigned char *data, size_t len, unsigned char **out,
                                   size_t *outLen);
ZV_API int ZenvaryVault2_HmacString(ZenvaryVault2 *obj, const char *str, unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_HmacBytesENC(ZenvaryVault2 *obj, const unsigned char *data, size_t len, char **out);
ZV_API int ZenvaryVault2_HmacStringENC(ZenvaryVault2 *obj, const char *str, char **out);

/* Files. ZvEncryptFile and ZvDecryptFile write raw ciphertext (no header)
   to a temporary file beside the output, which replaces the output only on
   success. */
ZV_API int ZenvaryVault2_ReadFile(ZenvaryVault2 *obj, const char *filename, unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_WriteFile(ZenvaryVault2 *obj, const char *filename, const unsigned char *data, size_t len);
ZV_API int ZenvaryVault2_ZvEncryptFile(ZenvaryVault2 *obj, const char *inFilename, const char *outFilename);
ZV_API int ZenvaryVault2_ZvDecryptFile(ZenvaryVault2 *obj, const char *inFilename, const char *outFilename);

/* Events of the file and hash-file methods: PercentDone with the percent
   reached (each whole percent at most once), AbortCheck now and then in
   between. Setting *abort to non-zero stops the method, which then fails.
   Either callback may be NULL; `context` is passed back as it is. */
typedef void (*zv_percent_done_fn)(void *context, long percentDone, int *abort);
typedef void (*zv_abort_check_fn)(void *context, int *abort);
ZV_API void ZenvaryVault2_SetEvents(ZenvaryVault2 *obj, zv_percent_done_fn percentDone, zv_abort_check_fn abortCheck,
                                    void *context);

/* ------------------------------------------------------------------------
 * ZenvaryOmaDrm: DCF files of OMA DRM version 1 (content type, content URI,
 * a header block, and AES-128-CBC content behind a 16-byte IV).
 *
 * Same conventions as above. To create a file set Base64Key, the IV
 * (put_IV or SetEncodedIV), ContentType, ContentUri and Headers, then
 * LoadUnencryptedData or LoadUnencryptedFile, then CreateDcfFile. No key or
 * IV is generated, and an IV set after the data was loaded does not apply to
 * it. CreateDcfFile fails (ZV_FAILED, with a partial file left behind) when
 * any of content type, URI, headers, IV or encrypted data is empty.
 * ------------------------------------------------------------------------ */

typedef struct ZenvaryOmaDrm ZenvaryOmaDrm;

/* Lifecycle. Create returns NULL only when memory is out. */
ZV_API ZenvaryOmaDrm *ZenvaryOmaDrm_Create(void);
ZV_API void ZenvaryOmaDrm_Dispose(ZenvaryOmaDrm *obj);
/* The kind of caller that the log names under "Component", as for
   zenvary_set_binding_kind. */
ZV_API void ZenvaryOmaDrm_SetBindingKind(ZenvaryOmaDrm *obj, int kind);

/* The last method's log. */
ZV_API int ZenvaryOmaDrm_get_LastErrorText(ZenvaryOmaDrm *obj, char **out);
ZV_API int ZenvaryOmaDrm_get_LastErrorXml(ZenvaryOmaDrm *obj, char **out);
ZV_API int ZenvaryOmaDrm_get_LastErrorHtml(ZenvaryOmaDrm *obj, char **out);
ZV_API int ZenvaryOmaDrm_SaveLastError(ZenvaryOmaDrm *obj, const char *path);

/* Properties. Base64Key is stored as given and decoded at each use; IV
   keeps all its bytes though the cipher takes the first 16; DecryptedData
   decrypts the stored content on each call (a wrong key is not detected). */
ZV_API int ZenvaryOmaDrm_get_Base64Key(ZenvaryOmaDrm *obj, char **out);
ZV_API int ZenvaryOmaDrm_put_Base64Key(ZenvaryOmaDrm *obj, const char *key);
ZV_API long ZenvaryOmaDrm_get_DrmContentVersion(ZenvaryOmaDrm *obj);
ZV_API int ZenvaryOmaDrm_get_ContentType(ZenvaryOmaDrm *obj, char **out);
ZV_API int ZenvaryOmaDrm_put_ContentType(ZenvaryOmaDrm *obj, const char *contentType);
ZV_API int ZenvaryOmaDrm_get_ContentUri(ZenvaryOmaDrm *obj, char **out);
ZV_API int ZenvaryOmaDrm_put_ContentUri(ZenvaryOmaDrm *obj, const char *contentUri);
ZV_API int ZenvaryOmaDrm_get_Headers(ZenvaryOmaDrm *obj, char **out);
ZV_API int ZenvaryOmaDrm_put_Headers(ZenvaryOmaDrm *obj, const char *headers);
ZV_API int ZenvaryOmaDrm_get_IV(ZenvaryOmaDrm *obj, unsigned char **out, size_t *outLen);
ZV_API int ZenvaryOmaDrm_put_IV(ZenvaryOmaDrm *obj, const unsigned char *data, size_t len);
ZV_API int ZenvaryOmaDrm_get_EncryptedData(ZenvaryOmaDrm *obj, unsigned char **out, size_t *outLen);
ZV_API int ZenvaryOmaDrm_get_DecryptedData(ZenvaryOmaDrm *obj, unsigned char **out, size_t *outLen);

/* Methods. LoadDcfFile and LoadDcfData give ZV_FAILED for a file that can't
   be read or parsed; GetHeaderField gives ZV_FAILED and "" when the field is
   absent (names compare without regard to case). */
ZV_API int ZenvaryOmaDrm_LoadDcfFile(ZenvaryOmaDrm *obj, const char *filename);
ZV_API int ZenvaryOmaDrm_LoadDcfData(ZenvaryOmaDrm *obj, const unsigned char *data, size_t len);
ZV_API int ZenvaryOmaDrm_SaveDecrypted(ZenvaryOmaDrm *obj, const char *filename);
ZV_API int ZenvaryOmaDrm_GetHeaderField(ZenvaryOmaDrm *obj, const char *fieldName, char **out);
ZV_API int ZenvaryOmaDrm_LoadUnencryptedData(ZenvaryOmaDrm *obj, const unsigned char *data, size_t len);
ZV_API int ZenvaryOmaDrm_SetEncodedIV(ZenvaryOmaDrm *obj, const char *encodedIV, const char *encoding);
ZV_API int ZenvaryOmaDrm_LoadUnencryptedFile(ZenvaryOmaDrm *obj, const char *filename);
ZV_API int ZenvaryOmaDrm_CreateDcfFile(ZenvaryOmaDrm *obj, const char *filename);

/* ------------------------------------------------------------------------
 * ZvStringArray: an ordered list of UTF-8 strings, standalone (no member of
 * the other objects takes one).
 *
 * Comparisons are exact, byte by byte. Indexes count from 0. Text results
 * are set even on failure ("" then) and released with zenvary_free.
 * Serialize gives each string as base64 followed by a comma, which
 * AppendSerialized reads back (ZV_FAILED, nothing added, for a piece that is
 * not base64). LoadFromFile replaces the contents by the lines of a UTF-8
 * file (a BOM skipped, LF or CR LF line ends); SaveToFile writes one string
 * per line, ended by LF, or CR LF when Crlf is set.
 * ------------------------------------------------------------------------ */

typedef struct ZvStringArray ZvStringArray;

/* Lifecycle. Create returns NULL only when memory is out. */
ZV_API ZvStringArray *ZvStringArray_Create(void);
ZV_API void ZvStringArray_Dispose(ZvStringArray *arr);

ZV_API long ZvStringArray_get_Count(ZvStringArray *arr);
ZV_API long ZvStringArray_get_Crlf(ZvStringArray *arr);
ZV_API void ZvStringArray_put_Crlf(ZvStringArray *arr, long crlf);

/* Adding. InsertAt puts the string before `index` (at or past the end it
   appends); a negative index is ZV_FAILED. */
ZV_API int ZvStringArray_Append(ZvStringArray *arr, const char *str);
ZV_API int ZvStringArray_Prepend(ZvStringArray *arr, const char *str);
ZV_API int ZvStringArray_InsertAt(ZvStringArray *arr, long index, const char *str);
ZV_API int ZvStringArray_AppendSerialized(ZvStringArray *arr, const char *serialized);
ZV_API int ZvStringArray_LoadFromFile(ZvStringArray *arr, const char *path);

/* Reading. Contains is 1 or 0; Find gives the first index at or after
   firstIndex, or -1. GetString, LastString and Pop are ZV_FAILED for a
   missing string. */
ZV_API long ZvStringArray_Contains(ZvStringArray *arr, const char *str);
ZV_API long ZvStringArray_Find(ZvStringArray *arr, const char *str, long firstIndex);
ZV_API int ZvStringArray_GetString(ZvStringArray *arr, long index, char **out);
ZV_API int ZvStringArray_LastString(ZvStringArray *arr, char **out);
ZV_API int ZvStringArray_Serialize(ZvStringArray *arr, char **out);
ZV_API int ZvStringArray_SaveToFile(ZvStringArray *arr, const char *path);

/* Removing. Remove drops every equal string (ZV_FAILED when there was
   none); Pop removes the last string and gives it. */
ZV_API int ZvStringArray_Clear(ZvStringArray *arr);
ZV_API int ZvStringArray_Remove(ZvStringArray *arr, const char *str);
ZV_API int ZvStringArray_RemoveAt(ZvStringArray *arr, long index);
ZV_API int ZvStringArray_Pop(ZvStringArray *arr, char **out);

/* Whole-list operations. Unique keeps the first of equal strings; Trim
   strips blanks, tabs, CR and LF at both ends of each string; Sort is a
   stable byte-order sort. Union appends the strings of `other` that are
   missing, Intersect keeps those that `other` holds, Subtract drops them;
   `other` may be `arr` itself. */
ZV_API int ZvStringArray_Unique(ZvStringArray *arr);
ZV_API int ZvStringArray_Trim(ZvStringArray *arr);
ZV_API int ZvStringArray_Sort(ZvStringArray *arr, long ascending);
ZV_API int ZvStringArray_Union(ZvStringArray *arr, const ZvStringArray *other);
ZV_API int ZvStringArray_Intersect(ZvStringArray *arr, const ZvStringArray *other);
ZV_API int ZvStringArray_Subtract(ZvStringArray *arr, const ZvStringArray *other);

/* ------------------------------------------------------------------------
 * Certificates, signatures and PKCS #7 messages.
 *
 * ZenvaryCert holds one X.509 certificate and, optionally, the link to its
 * private key. Private keys enter the component only through a certificate:
 * ZenvaryCert_LinkPrivateKeyFile imports the RSA key of a PEM or DER key
 * file into the key container named by the certificate's SHA-1 thumbprint
 * (under the user's key directory) and links the certificate to it.
 *
 * The ZenvaryVault2 members below take certificates by handle; the object
 * keeps copies, so a handle may be disposed of after the call. A NULL
 * certificate is ignored by SetSigningCert, SetEncryptCert and
 * SetVerifyCert; SetDecryptCert and SetDecryptCert2 log "NULL certificate"
 * and give ZV_FAILED.
 *
 * Results follow the component: SignBytes and the other three Sign forms
 * give ZV_OK with an empty result when no signature could be made; the
 * Opaque verify forms and VerifyP7M give ZV_OK with an empty result when the
 * signature does not verify. Verification checks the signature only: an
 * expired or untrusted signer verifies (GetLastCert gives it), and a
 * signature without signers verifies. The reason of any failure is in
 * LastErrorText. With CryptAlgorithm "pki" every Encrypt and Decrypt member
 * makes or opens an enveloped message for the encryption or decryption
 * certificate.
 * ------------------------------------------------------------------------ */

typedef struct ZenvaryCert ZenvaryCert;

/* Where key containers and certificate stores live, process-wide: by
   default under the user's home directory (from the password database),
   /var/lib/zenvary and /etc/ssl/certs. A directory given here holds them
   all instead ("user-keys", "machine-keys", "user-stores", "machine-stores",
   "root-store" below it); NULL or "" goes back to the defaults. */
ZV_API int zenvary_set_pki_root(const char *dir);

/* Lifecycle. Create returns NULL only when memory is out. */
ZV_API ZenvaryCert *ZenvaryCert_Create(void);
ZV_API void ZenvaryCert_Dispose(ZenvaryCert *cert);
ZV_API int ZenvaryCert_get_LastErrorText(ZenvaryCert *cert, char **out);

/* Loading: a PEM, DER or PKCS#12 (no password) file, base64 of the DER, or
   the bytes of any of these. The first certificate counts. */
ZV_API int ZenvaryCert_LoadFromFile(ZenvaryCert *cert, const char *path);
ZV_API int ZenvaryCert_SetFromEncoded(ZenvaryCert *cert, const char *base64);
ZV_API int ZenvaryCert_LoadFromBinary(ZenvaryCert *cert, const unsigned char *data, size_t len);
/* Base64 of the DER certificate. */
ZV_API int ZenvaryCert_GetEncoded(ZenvaryCert *cert, char **out);
ZV_API int ZenvaryCert_get_SubjectDN(ZenvaryCert *cert, char **out);
ZV_API int ZenvaryCert_get_SerialNumber(ZenvaryCert *cert, char **out);

/* The private key: imported from a key file (the key must be the
   certificate's), or an existing key container linked by name. */
ZV_API int ZenvaryCert_LinkPrivateKeyFile(ZenvaryCert *cert, const char *keyPath);
ZV_API int ZenvaryCert_LinkPrivateKey(ZenvaryCert *cert, const char *containerName, int machineKeyset,
                                      int forSigning);
/* 1 when the certificate is linked to a key container. */
ZV_API long ZenvaryCert_get_HasKeyContainer(ZenvaryCert *cert);

/* Certificates of the crypt object. GetLastCert gives a new handle for the
   last signer or recipient (dispose of it), or NULL with ZV_FAILED.
   SetDecryptCert2 ignores `privateKey`: the certificate's own key is used. */
ZV_API int ZenvaryVault2_SetSigningCert(ZenvaryVault2 *obj, ZenvaryCert *cert);
ZV_API int ZenvaryVault2_SetEncryptCert(ZenvaryVault2 *obj, ZenvaryCert *cert);
ZV_API int ZenvaryVault2_SetVerifyCert(ZenvaryVault2 *obj, ZenvaryCert *cert);
ZV_API int ZenvaryVault2_SetDecryptCert(ZenvaryVault2 *obj, ZenvaryCert *cert);
ZV_API int ZenvaryVault2_SetDecryptCert2(ZenvaryVault2 *obj, ZenvaryCert *cert, void *privateKey);
ZV_API int ZenvaryVault2_GetLastCert(ZenvaryVault2 *obj, ZenvaryCert **out);
/* The provider choice, as the serialized text of a provider object:
   "provider,container,numEncrypt,numHash,numKeyExchange,numSignature,cipher,hash". */
ZV_API int ZenvaryVault2_SetCSP(ZenvaryVault2 *obj, const char *serialized);

/* Detached signatures (.p7s). Verify members give ZV_OK when the signature
   verifies, ZV_FAILED otherwise. */
ZV_API int ZenvaryVault2_SignBytes(ZenvaryVault2 *obj, const unsigned char *data, size_t len, unsigned char **out,
                                   size_t *outLen);
ZV_API int ZenvaryVault2_SignString(ZenvaryVault2 *obj, const char *str, unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_SignBytesENC(ZenvaryVault2 *obj, const unsigned char *data, size_t len, char **out);
ZV_API int ZenvaryVault2_SignStringENC(ZenvaryVault2 *obj, const char *str, char **out);
ZV_API int ZenvaryVault2_VerifyBytes(ZenvaryVault2 *obj, const unsigned char *data, size_t len,
                                     const unsigned char *signature, size_t sigLen);
ZV_API int ZenvaryVault2_VerifyBytesENC(ZenvaryVault2 *obj, const unsigned char *data, size_t len,
                                        const char *encodedSig);
ZV_API int ZenvaryVault2_VerifyString(ZenvaryVault2 *obj, const char *str, const unsigned char *signature,
                                      size_t sigLen);
ZV_API int ZenvaryVault2_VerifyStringENC(ZenvaryVault2 *obj, const char *str, const char *encodedSig);
ZV_API int ZenvaryVault2_CreateP7S(ZenvaryVault2 *obj, const char *inFilename, const char *p7sFilename);
ZV_API int ZenvaryVault2_VerifyP7S(ZenvaryVault2 *obj, const char *inFilename, const char *p7sFilename);
ZV_API int ZenvaryVault2_CreateDetachedSignature(ZenvaryVault2 *obj, const char *inFilename, const char *sigFilename);
ZV_API int ZenvaryVault2_VerifyDetachedSignature(ZenvaryVault2 *obj, const char *inFilename, const char *sigFilename);

/* Opaque signatures (.p7m): the message carries its content. */
ZV_API int ZenvaryVault2_OpaqueSignBytes(ZenvaryVault2 *obj, const unsigned char *data, size_t len,
                                         unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_OpaqueSignString(ZenvaryVault2 *obj, const char *str, unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_OpaqueSignBytesENC(ZenvaryVault2 *obj, const unsigned char *data, size_t len, char **out);
ZV_API int ZenvaryVault2_OpaqueSignStringENC(ZenvaryVault2 *obj, const char *str, char **out);
ZV_API int ZenvaryVault2_OpaqueVerifyBytes(ZenvaryVault2 *obj, const unsigned char *data, size_t len,
                                           unsigned char **out, size_t *outLen);
ZV_API int ZenvaryVault2_OpaqueVerifyString(ZenvaryVault2 *obj, const unsigned char *data, size_t len, char **out);
ZV_API int ZenvaryVault2_OpaqueVerifyBytesENC(ZenvaryVault2 *obj, const char *str, unsigned char **out,
                                              size_t *outLen);
ZV_API int ZenvaryVault2_OpaqueVerifyStringENC(ZenvaryVault2 *obj, const char *str, char **out);
ZV_API int ZenvaryVault2_CreateP7M(ZenvaryVault2 *obj, const char *inFilename, const char *p7mFilename);
ZV_API int ZenvaryVault2_VerifyP7M(ZenvaryVault2 *obj, const char *p7mFilename, const char *outFilename);

#ifdef __cplusplus
}
#endif

#endif /* ZENVARY_H */
