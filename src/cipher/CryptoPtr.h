// CryptoPtr: holds at most one live cipher object for a chunked run. Asking
// for a kind it does not hold deletes whatever it holds and makes a new one,
// so changing the algorithm between chunks drops the older cipher.
#pragma once
#include <cstdint>
#include <memory>

namespace zenvary {

// The cipher kinds, one line each, in the order Reset() deletes them
// (blowfish, blowfish2, AES, Twofish, DES, RC2, ARC4):
//   X(class, getter, member, algorithm id)
// A new kind is one line here plus the include of its header in CryptoPtr.cpp.
#define ZV_CRYPTO_PTR_KINDS(X)                                                                \
    X(Blowfish, GetBlowfish, m_blowfish, 3)                                                   \
    X(Blowfish2, GetBlowfish2, m_blowfish2, 6)                                                \
    X(Rijndael, GetAes, m_aes, 2)                                                             \
    X(TwoFish, GetTwofish, m_twofish, 4)                                                      \
    X(ZenvaryDes, GetDes, m_des, 7)                                                           \
    X(ZenvaryRc2, GetRc2, m_rc2, 8)                                                           \
    X(ZenvaryArc4, GetArc4, m_arc4, 9)

#define ZV_CRYPTO_PTR_DECLARE(Class, Getter, Member, Id) class Class;
ZV_CRYPTO_PTR_KINDS(ZV_CRYPTO_PTR_DECLARE)
#undef ZV_CRYPTO_PTR_DECLARE

class CryptoPtr {
public:
    CryptoPtr();
    // Makes the one cipher that `algorithmId` names; ids without a cipher
    // object (public key, none) make nothing.
    explicit CryptoPtr(int algorithmId);
    ~CryptoPtr();
    CryptoPtr(const CryptoPtr&) = delete;
    CryptoPtr& operator=(const CryptoPtr&) = delete;

    // The held object of that kind, else a new one after Reset(); null when
    // memory is out.
#define ZV_CRYPTO_PTR_GETTER(Class, Getter, Member, Id) Class* Getter();
    ZV_CRYPTO_PTR_KINDS(ZV_CRYPTO_PTR_GETTER)
#undef ZV_CRYPTO_PTR_GETTER

    // Deletes every held object.
    void Reset();
    // True when no cipher object is held.
    bool empty() const;

private:
#define ZV_CRYPTO_PTR_MEMBER(Class, Getter, Member, Id) std::unique_ptr<Class> Member;
    ZV_CRYPTO_PTR_KINDS(ZV_CRYPTO_PTR_MEMBER)
#undef ZV_CRYPTO_PTR_MEMBER
};

}  // namespace zenvary
