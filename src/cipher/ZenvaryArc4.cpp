#include "cipher/ZenvaryArc4.h"

#include <cstring>

namespace zenvary {

ZenvaryArc4::ZenvaryArc4() {
    const uint8_t zeros[16] = {};
    m_core.setKey(zeros);
}

ZenvaryArc4::~ZenvaryArc4() = default;

void ZenvaryArc4::SetKey(DataBuffer& key, uint32_t keyBytes) {
    m_keyBytes = keyBytes == 0 ? 1 : (keyBytes > Arc4Core::kMaxKeyBytes ? Arc4Core::kMaxKeyBytes : keyBytes);

    // As for RC2: the storage is read up to its old capacity; what
    // ensureCapacity adds is not initialised, so it reads as zero.
    uint8_t bytes[Arc4Core::kMaxKeyBytes] = {};
    const uint32_t held = key.getCapacity() < m_keyBytes ? key.getCapacity() : m_keyBytes;
    if (held) std::memcpy(bytes, key.getDataRaw(), held);
    key.ensureCapacity(m_keyBytes);
    m_core.setKey(std::span<const uint8_t>(bytes, m_keyBytes));
    std::memset(bytes, 0, sizeof bytes);
}

std::unique_ptr<DataBuffer> ZenvaryArc4::Transform(const DataBuffer& data, LogBase* log) {
    const uint32_t size = data.getSize();
    if (size == 0 || size > UINT32_MAX - 32) return std::make_unique<DataBuffer>();
    auto out = std::make_unique<DataBuffer>(size + 32);
    if (out->getCapacity() == 0) return out;
    m_core.process(data.data(), out->getData(), size);
    out->setSize(size);
    return out;
}

}  // namespace zenvary
