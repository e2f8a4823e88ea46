// DataBuffer: a growable block of bytes with no terminator. It may borrow
// memory it does not own, so that large inputs pass through a cipher or a
// hash without a copy. Blocks come from malloc, so a block handed out with
// forget() or adopted with adopt() is released with free().
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

#include "core/ZenvaryObject.h"

namespace zenvary {

class StringBuffer;
class XString;
class LogBase;

class DataBuffer : public ZenvaryObject {
public:
    static constexpr uint8_t kMagic = 219;
    // The least a growing append adds to the capacity.
    static constexpr uint32_t kGrowth = 20000;

    DataBuffer();
    // Adopts `data` (from malloc) as an owned block of size and capacity n.
    DataBuffer(uint8_t* data, uint32_t n);
    // Allocates `capacity` zeroed bytes, size 0; capacity 0 when out of memory.
    explicit DataBuffer(uint32_t capacity);
    ~DataBuffer() override;

    DataBuffer(const DataBuffer&) = delete;
    DataBuffer& operator=(const DataBuffer&) = delete;

    // Reading.
    uint8_t* getData();  // never null unless out of memory
    uint8_t* getDataRaw() const { return m_data; }
    const uint8_t* data() const { return m_data; }
    uint32_t getSize() const { return m_size; }
    uint32_t getCapacity() const { return m_capacity; }
    bool isBorrowed() const { return m_borrowed != 0; }
    uint8_t* dataAt(int index);
    bool equals(const DataBuffer& other) const;
    std::span<const uint8_t> bytes() const { return {m_data, m_data ? m_size : 0}; }

    // Size changes that do not touch the bytes.
    void shorten(uint32_t n);
    void setSize(uint32_t n);
    void clear() { m_size = 0; }
    void removeHead(uint32_t n);

    // Appending; a null source or a zero count is a no-op.
    void append(const void* data, uint32_t n);
    void append(std::span<const uint8_t> bytes) { append(bytes.data(), static_cast<uint32_t>(bytes.size())); }
    void appendExact(const void* data, uint32_t n);
    void appendByte(uint8_t b);
    void appendBuffer(const DataBuffer& other);
    void appendString(const StringBuffer& s);
    // UTF-16 code units, two bytes each, without a terminator (a BSTR's content).
    void appendBstr(const char16_t* units, uint32_t count);
    // A NUL-terminated UTF-16 string with its terminator; null appends one zero byte.
    void appendWideZ(const char16_t* wide);

    // Ownership.
    void borrow(const void* data, uint32_t n);
    void adopt(uint8_t* data, uint32_t n);
    void takeFrom(DataBuffer* other);
    void forget();

    bool ensureCapacity(uint32_t n);

    // Transforms in place.
    void reverseBytes();
    void reverseEach4();
    void replaceChar16(uint16_t from, uint16_t to);
    void toLower16();

    // Padding of the cipher frame.
    void padForEncryption(uint32_t scheme, uint32_t blockSize);
    bool unpadAfterDecryption(uint32_t scheme, uint32_t blockSize, LogBase* log);

    // Hexadecimal, upper case, high nibble first, appended.
    void toHex(StringBuffer& out) const;
    static void encodeHex(const uint8_t* data, uint32_t n, StringBuffer& out);

    // The content read as UTF-16LE, converted to the process ANSI code page.
    void toAnsiString(StringBuffer& out) const;

    bool loadFile(const XString& path, LogBase* log);
    bool saveToFile(const XString& path, LogBase* log) const;

private:
    void check() const {
        if (m_magic != kMagic) dieOnDamagedObject();
    }
    bool reallocate(uint32_t n);
    void release();
    // Moves borrowed bytes to a block of our own before they are changed.
    bool makeOwned();
    void growAndAppend(uint32_t capacity, const void* data, uint32_t n);

    uint8_t m_magic = kMagic;
    uint8_t m_borrowed = 0;
    uint8_t* m_data = nullptr;
    uint32_t m_size = 0;
    uint32_t m_capacity = 0;
};

}  // namespace zenvary
