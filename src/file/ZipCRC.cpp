#include "file/ZipCRC.h"

#include <array>

namespace zenvary {

namespace {

using CrcTable = std::array<uint32_t, 256>;

CrcTable buildTable() {
    CrcTable table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int bit = 0; bit < 8; ++bit) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        table[i] = c;
    }
    return table;
}

// Built once for the process, on the first construction; a function-local
// static makes that first build safe when threads race to it.
const CrcTable& crcTable() {
    static const CrcTable table = buildTable();
    return table;
}

}  // namespace

ZipCRC::ZipCRC() { crcTable(); }

void ZipCRC::update(const void* data, size_t length) {
    if (!data || length == 0) return;
    const CrcTable& table = crcTable();
    const auto* p = static_cast<const uint8_t*>(data);
    uint32_t c = m_crc;
    for (size_t i = 0; i < length; ++i) c = table[(c ^ p[i]) & 0xFF] ^ (c >> 8);
    m_crc = c;
}

}  // namespace zenvary
