#include "core/DataBuffer.h"

#include <bit>
#include <cstdlib>
#include <cstring>

#include "core/StringBuffer.h"

namespace zenvary {

DataBuffer::DataBuffer() = default;

DataBuffer::DataBuffer(uint8_t* data, uint32_t n) : m_data(data), m_size(data ? n : 0), m_capacity(data ? n : 0) {}

DataBuffer::DataBuffer(uint32_t capacity) {
    if (capacity == 0) return;
    m_data = static_cast<uint8_t*>(calloc(capacity, 1));
    if (m_data) m_capacity = capacity;
}

DataBuffer::~DataBuffer() {
    check();
    release();
    // Through a volatile access: the optimiser drops plain stores into an
    // object whose life is ending, and this one must survive for the check.
    *static_cast<volatile uint8_t*>(&m_magic) = 0;
}

void DataBuffer::release() {
    if (m_data && !m_borrowed) free(m_data);
    m_data = nullptr;
    m_size = 0;
    m_capacity = 0;
    m_borrowed = 0;
}

uint8_t* DataBuffer::getData() {
    check();
    if (!m_data) {
        m_data = static_cast<uint8_t*>(calloc(4, 1));
        if (m_data) {
            m_capacity = 4;
            m_borrowed = 0;
        }
    }
    return m_data;
}

uint8_t* DataBuffer::dataAt(int index) {
    check();
    if (!m_data || index < 0 || static_cast<uint32_t>(index) >= m_size) return nullptr;
    return m_data + index;
}

bool DataBuffer::equals(const DataBuffer& other) const {
    check();
    other.check();
    if (m_size != other.m_size) return false;
    if (m_size == 0) return true;
    return memcmp(m_data, other.m_data, m_size) == 0;
}

void DataBuffer::shorten(uint32_t n) {
    check();
    m_size -= (n < m_size) ? n : m_size;
}

void DataBuffer::setSize(uint32_t n) {
    check();
    m_size = (n > m_capacity) ? m_capacity : n;
}

void DataBuffer::removeHead(uint32_t n) {
    check();
    if (n == 0) return;
    if (n >= m_size) {
        m_size = 0;
        return;
    }
    if (!makeOwned()) return;
    memmove(m_data, m_data + n, m_size - n);
    m_size -= n;
}

// Moves the content to a block of exactly n bytes. When the allocation fails
// the content is lost and the buffer left empty; callers compare sizes.
// A borrowed block is never freed here, on either path: it is the caller's.
bool DataBuffer::reallocate(uint32_t n) {
    uint8_t* block = static_cast<uint8_t*>(malloc(n ? n : 1));
    if (!block) {
        release();
        return false;
    }
    uint32_t keep = (m_size < n) ? m_size : n;
    if (m_data && keep) memcpy(block, m_data, keep);
    if (m_data && !m_borrowed) free(m_data);
    m_data = block;
    m_size = keep;
    m_capacity = n;
    m_borrowed = 0;
    return true;
}

bool DataBuffer::makeOwned() {
    if (!m_borrowed) return true;
    return reallocate(m_capacity);
}

// Moves to a block of `capacity` bytes, then appends. The source may lie in
// the old block, which the move frees: such bytes are copied aside first.
void DataBuffer::growAndAppend(uint32_t capacity, const void* data, uint32_t n) {
    const auto* src = static_cast<const uint8_t*>(data);
    uint8_t* aside = nullptr;
    if (m_data && src >= m_data && src < m_data + m_capacity) {
        aside = static_cast<uint8_t*>(malloc(n));
        if (!aside) return;
        memcpy(aside, src, n);
        src = aside;
    }
    if (reallocate(capacity)) {
        memcpy(m_data + m_size, src, n);
        m_size += n;
    }
    free(aside);
}

void DataBuffer::append(const void* data, uint32_t n) {
    check();
    if (!data || n == 0) return;
    // A borrowed block is never written: the append moves the bytes first.
    if (m_borrowed || static_cast<uint64_t>(m_size) + n > m_capacity) {
        // Linear growth: at least kGrowth bytes at a time. The test is on n as
        // a signed 32-bit number, as it always has been.
        uint32_t step = (static_cast<int32_t>(n) > static_cast<int32_t>(kGrowth)) ? n : kGrowth;
        uint64_t want = static_cast<uint64_t>(m_size) + step;
        if (want < static_cast<uint64_t>(m_size) + n) want = static_cast<uint64_t>(m_size) + n;
        if (want > UINT32_MAX) return;
        growAndAppend(static_cast<uint32_t>(want), data, n);
        return;
    }
    memmove(m_data + m_size, data, n);  // the source may be our own bytes
    m_size += n;
}

void DataBuffer::appendExact(const void* data, uint32_t n) {
    check();
    if (!data || n == 0) return;
    if (m_borrowed || static_cast<uint64_t>(m_size) + n > m_capacity) {
        uint64_t want = static_cast<uint64_t>(m_size) + n;
        if (want > UINT32_MAX) return;
        growAndAppend(static_cast<uint32_t>(want), data, n);
        return;
    }
    memmove(m_data + m_size, data, n);  // the source may be our own bytes
    m_size += n;
}

void DataBuffer::appendByte(uint8_t b) {
    check();
    if (m_borrowed || m_size + 1 > m_capacity) {
        if (static_cast<uint64_t>(m_size) + kGrowth > UINT32_MAX) return;
        if (!reallocate(m_size + kGrowth)) return;
    }
    m_data[m_size++] = b;
}

void DataBuffer::appendBuffer(const DataBuffer& other) {
    check();
    other.check();
    append(other.m_data, other.m_size);
}

void DataBuffer::appendString(const StringBuffer& s) {
    check();
    append(s.getString(), s.getLength());
}

void DataBuffer::appendBstr(const char16_t* units, uint32_t count) {
    check();
    if (!units || count == 0) return;
    if (count > UINT32_MAX / 2) return;
    // UTF-16LE in memory order; the code units are stored little-endian.
    if constexpr (std::endian::native == std::endian::little) {
        append(units, count * 2);
    } else {
        for (uint32_t i = 0; i < count; ++i) {
            uint8_t pair[2] = {static_cast<uint8_t>(units[i]), static_cast<uint8_t>(units[i] >> 8)};
            append(pair, 2);
        }
    }
}

void DataBuffer::appendWideZ(const char16_t* wide) {
    check();
    if (!wide) {
        appendByte(0);
        return;
    }
    uint32_t len = 0;
    while (wide[len]) ++len;
    appendBstr(wide, len);
    static const uint8_t zeros[2] = {0, 0};
    append(zeros, 2);
}

void DataBuffer::borrow(const void* data, uint32_t n) {
    check();
    release();
    m_data = static_cast<uint8_t*>(const_cast<void*>(data));
    m_size = data ? n : 0;
    m_capacity = data ? n : 0;
    m_borrowed = data ? 1 : 0;
}

void DataBuffer::adopt(uint8_t* data, uint32_t n) {
    check();
    release();
    m_data = data;
    m_size = data ? n : 0;
    m_capacity = data ? n : 0;
    m_borrowed = 0;
}

void DataBuffer::takeFrom(DataBuffer* other) {
    check();
    if (!other) {
        m_size = 0;
        return;
    }
    other->check();
    if (other == this) return;
    release();
    m_data = other->m_data;
    m_size = other->m_size;
    m_capacity = other->m_capacity;
    m_borrowed = other->m_borrowed;
    other->m_data = nullptr;
    other->m_size = 0;
    other->m_capacity = 0;
    other->m_borrowed = 0;
}

void DataBuffer::forget() {
    m_data = nullptr;
    m_size = 0;
    m_capacity = 0;
    m_borrowed = 0;
}

bool DataBuffer::ensureCapacity(uint32_t n) {
    check();
    if (m_capacity >= n) return true;
    return reallocate(n);
}

void DataBuffer::reverseBytes() {
    check();
    if (m_size < 2) return;
    if (!makeOwned()) return;
    uint8_t* lo = m_data;
    uint8_t* hi = m_data + m_size - 1;
    while (lo < hi) {
        uint8_t t = *lo;
        *lo++ = *hi;
        *hi-- = t;
    }
}

void DataBuffer::reverseEach4() {
    check();
    if (!m_data) return;
    if (!makeOwned()) return;
    uint32_t whole = m_size & ~3u;
    for (uint32_t i = 0; i < whole; i += 4) {
        uint8_t* p = m_data + i;
        uint8_t t0 = p[0], t1 = p[1];
        p[0] = p[3];
        p[1] = p[2];
        p[2] = t1;
        p[3] = t0;
    }
    uint32_t tail = m_size - whole;
    uint8_t* p = m_data + whole;
    if (tail == 2) {
        uint8_t t = p[0];
        p[0] = p[1];
        p[1] = t;
    } else if (tail == 3) {
        uint8_t t = p[0];
        p[0] = p[2];
        p[2] = t;
    }
}

void DataBuffer::replaceChar16(uint16_t from, uint16_t to) {
    check();
    if (from == 0 || to == 0 || !m_data) return;
    if (!makeOwned()) return;
    uint32_t units = m_size / 2;
    for (uint32_t i = 0; i < units; ++i) {
        uint8_t* p = m_data + 2 * i;
        uint16_t u = static_cast<uint16_t>(p[0] | (p[1] << 8));
        if (u == from) {
            p[0] = static_cast<uint8_t>(to);
            p[1] = static_cast<uint8_t>(to >> 8);
        }
    }
}

void DataBuffer::toHex(StringBuffer& out) const {
    check();
    if (m_size) encodeHex(m_data, m_size, out);
}

void DataBuffer::encodeHex(const uint8_t* data, uint32_t n, StringBuffer& out) {
    static const char digits[] = "0123456789ABCDEF";
    if (!data || n == 0) return;
    char chunk[500];
    uint32_t used = 0;
    for (uint32_t i = 0; i < n; ++i) {
        chunk[used++] = digits[data[i] >> 4];
        chunk[used++] = digits[data[i] & 15];
        if (used == sizeof chunk) {
            out.appendN(chunk, static_cast<int>(used));
            used = 0;
        }
    }
    if (used) out.appendN(chunk, static_cast<int>(used));
}

}  // namespace zenvary
