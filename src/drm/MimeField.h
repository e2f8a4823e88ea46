// MimeField: one header field of a MIME header block: a name and a value,
// the value held as UTF-8 with its encoded words decoded.
#pragma once
#include <cstdint>

#include "core/StringBuffer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class MimeField : public ZenvaryObject {
public:
    MimeField() = default;
    ~MimeField() override = default;
    MimeField(const MimeField&) = delete;
    MimeField& operator=(const MimeField&) = delete;

    // Takes "Name: value" apart. False (name and value empty) when the line
    // has no ":".
    bool parseLine(const char* line);
    // Stores both, decoding the value as parseLine does.
    void set(const char* newName, const char* newValue);

    const StringBuffer& getName() const { return name; }
    const StringBuffer& getValue() const { return value; }
    // Fields whose value must stay on one line when written.
    bool isNoFold() const { return noFold != 0; }

    // "to", "cc" and "from", case ignored: the fields that hold address lists.
    static bool isAddressField(const char* fieldName);

private:
    void decodeValue();
    void removeFolds();

    uint8_t noFold = 0;
    StringBuffer name;
    StringBuffer value;
};

}  // namespace zenvary
