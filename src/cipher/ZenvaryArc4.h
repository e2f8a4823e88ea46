// ZenvaryArc4: the ARC4 stream cipher object of the frame (algorithm id 9,
// "arc4"). One transform serves encryption, decryption and every chunk; the
// stream state stays on the object from SetKey on, so chunks continue where
// the previous one stopped. IV, mode and padding play no part. Nothing is
// reported.
#pragma once
#include <cstdint>
#include <memory>

#include "cipher/arc4/Arc4Core.h"
#include "core/DataBuffer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class LogBase;

class ZenvaryArc4 : public ZenvaryObject {
public:
    // A new object runs the stream of 16 zero key bytes.
    ZenvaryArc4();
    ~ZenvaryArc4() override;
    ZenvaryArc4(const ZenvaryArc4&) = delete;
    ZenvaryArc4& operator=(const ZenvaryArc4&) = delete;

    // Runs the key scheduling and restarts the stream. keyBytes 0 means 1 and
    // above 256 means 256. The capacity of `key` is made at least keyBytes and
    // exactly keyBytes bytes of its storage are used, whether or not the key is
    // that long: a key of the stated size is the caller's duty. Bytes the
    // storage did not have before are taken as zero. No keystream is dropped.
    void SetKey(DataBuffer& key, uint32_t keyBytes);

    uint32_t keyBytes() const { return m_keyBytes; }

    // `data` XOR the next data.getSize() bytes of keystream, in a new buffer;
    // an empty input gives an empty buffer and leaves the stream where it was.
    std::unique_ptr<DataBuffer> Transform(const DataBuffer& data, LogBase* log);

private:
    Arc4Core m_core;
    uint32_t m_keyBytes = 16;
};

}  // namespace zenvary
