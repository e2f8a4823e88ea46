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

/* The kind of caller that the log names under "Component": 1 "C" (the
   default for this interface), 2 "Python", 264 "CLI". */
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

#ifdef __cplusplus
}
#endif

#endif /* ZENVARY_H */
