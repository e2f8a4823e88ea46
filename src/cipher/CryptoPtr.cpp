#include "cipher/CryptoPtr.h"

#include <new>

#include "cipher/Blowfish.h"
#include "cipher/Blowfish2.h"
#include "cipher/Rijndael.h"
#include "cipher/TwoFish.h"
#include "cipher/ZenvaryArc4.h"
#include "cipher/ZenvaryDes.h"
#include "cipher/ZenvaryRc2.h"

namespace zenvary {

CryptoPtr::CryptoPtr() = default;

CryptoPtr::CryptoPtr(int algorithmId) {
#define ZV_CRYPTO_PTR_MAKE(Class, Getter, Member, Id) \
    if (algorithmId == (Id)) Getter();
    ZV_CRYPTO_PTR_KINDS(ZV_CRYPTO_PTR_MAKE)
#undef ZV_CRYPTO_PTR_MAKE
}

CryptoPtr::~CryptoPtr() { Reset(); }

#define ZV_CRYPTO_PTR_GETTER(Class, Getter, Member, Id) \
    Class* CryptoPtr::Getter() {                        \
        if (!Member) {                                  \
            Reset();                                    \
            Member.reset(new (std::nothrow) Class());   \
        }                                               \
        return Member.get();                            \
    }
ZV_CRYPTO_PTR_KINDS(ZV_CRYPTO_PTR_GETTER)
#undef ZV_CRYPTO_PTR_GETTER

void CryptoPtr::Reset() {
#define ZV_CRYPTO_PTR_RESET(Class, Getter, Member, Id) Member.reset();
    ZV_CRYPTO_PTR_KINDS(ZV_CRYPTO_PTR_RESET)
#undef ZV_CRYPTO_PTR_RESET
}

bool CryptoPtr::empty() const {
#define ZV_CRYPTO_PTR_HELD(Class, Getter, Member, Id) \
    if (Member) return false;
    ZV_CRYPTO_PTR_KINDS(ZV_CRYPTO_PTR_HELD)
#undef ZV_CRYPTO_PTR_HELD
    return true;
}

}  // namespace zenvary
