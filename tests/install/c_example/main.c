/* A C program built against the installed package: it checks a SHA-256
   known answer, an AES round trip with a known ciphertext, and the string
   array, through zenvary.h alone. Exit status 0 when every check holds. */
#include <stdio.h>
#include <string.h>
#include <strings.h>

#include <zenvary.h>

static int failures = 0;

static void check(int ok, const char *what) {
    if (!ok) {
        fprintf(stderr, "FAILED: %s\n", what);
        ++failures;
    }
}

int main(void) {
    ZenvaryVault2 *v = ZenvaryVault2_Create();
    check(v != NULL, "create the crypt object");
    if (!v) return 1;

    char *text = NULL;
    check(ZenvaryVault2_get_Version(v, &text) == ZV_OK && strcmp(text, ZENVARY_VERSION) == 0,
          "library and header versions agree");
    zenvary_free(text);

    /* FIPS 180-2, SHA-256 of "abc". */
    ZenvaryVault2_put_HashAlgorithm(v, "sha256");
    ZenvaryVault2_put_EncodingMode(v, "hex");
    check(ZenvaryVault2_HashStringENC(v, "abc", &text) == ZV_OK &&
              strcasecmp(text, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad") == 0,
          "SHA-256 of \"abc\"");
    zenvary_free(text);

    /* FIPS 197 C.1: AES-128 of 00112233...ff under key 00010203...0f, one
       block in ECB without padding; then back. */
    unsigned char key[16], plain[16];
    for (int i = 0; i < 16; ++i) {
        key[i] = (unsigned char)i;
        plain[i] = (unsigned char)(i * 0x11);
    }
    ZenvaryVault2_put_CryptAlgorithm(v, "aes");
    ZenvaryVault2_put_KeyLength(v, 128);
    ZenvaryVault2_put_CipherMode(v, "ecb");
    ZenvaryVault2_put_SecretKey(v, key, sizeof key);
    unsigned char *cipher = NULL, *back = NULL;
    size_t cipherLen = 0, backLen = 0;
    check(ZenvaryVault2_EncryptBytes(v, plain, sizeof plain, &cipher, &cipherLen) == ZV_OK && cipherLen >= 16,
          "encrypt one block");
    check(ZenvaryVault2_Encode(v, cipher, 16, 0, "hex", &text) == ZV_OK &&
              strcasecmp(text, "69c4e0d86a7b0430d8cdb78070b4c55a") == 0,
          "AES-128 known answer");
    zenvary_free(text);
    check(ZenvaryVault2_DecryptBytes(v, cipher, cipherLen, &back, &backLen) == ZV_OK && backLen == 16 &&
              memcmp(back, plain, 16) == 0,
          "decrypt gives the plaintext back");
    zenvary_free(cipher);
    zenvary_free(back);

    /* A failure is a status and an empty, freeable result, never an abort. */
    check(ZenvaryVault2_GetEncodedKey(NULL, "hex", &text) == ZV_BADARG, "null handle is a bad argument");
    ZenvaryVault2_Dispose(v);

    ZvStringArray *a = ZvStringArray_Create();
    check(a != NULL, "create the string array");
    if (!a) return 1;
    ZvStringArray_Append(a, "b");
    ZvStringArray_Append(a, "a");
    ZvStringArray_Append(a, "b");
    ZvStringArray_Unique(a);
    ZvStringArray_Sort(a, 1);
    check(ZvStringArray_Serialize(a, &text) == ZV_OK && strcmp(text, "YQ==,Yg==,") == 0, "string array");
    zenvary_free(text);
    ZvStringArray_Dispose(a);

    if (failures) return 1;
    printf("zenvary %s: all checks passed\n", ZENVARY_VERSION);
    return 0;
}
