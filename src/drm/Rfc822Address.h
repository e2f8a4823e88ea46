// Rfc822Address: one mail address taken apart into a friendly name and an
// address, and parseAddressList for a comma-separated list of them.
#pragma once
#include <cstdint>
#include <string_view>

#include "core/StringBuffer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class ExtPtrArray;

// Small text helpers of the address parser.
class Rfc822ParseHelp {
public:
    virtual ~Rfc822ParseHelp() = default;

    // Every "," between double quotes becomes "_COMMA_".
    static void protectQuotedCommas(StringBuffer& text);
    // "C=", "O=", "CN=" or "P=": the marks of an X.400 address.
    static bool hasX400Mark(std::string_view text);
};

class Rfc822Address : public Rfc822ParseHelp, public ZenvaryObject {
public:
    explicit Rfc822Address(const char* text);
    ~Rfc822Address() override = default;
    Rfc822Address(const Rfc822Address&) = delete;
    Rfc822Address& operator=(const Rfc822Address&) = delete;

    bool isValid() const { return valid != 0; }
    const StringBuffer& getSource() const { return source; }
    const StringBuffer& getFriendlyName() const { return friendlyName; }
    const StringBuffer& getEmailAddress() const { return emailAddress; }

private:
    void parse();
    void parseX400(std::string_view text);
    void parseMail(std::string_view text);

    uint8_t valid = 0;
    StringBuffer source;
    StringBuffer friendlyName;
    StringBuffer emailAddress;
};

// Appends one new Rfc822Address (owned by the list) for each valid address
// of the comma-separated `text`; with `unique` an address already in the
// list, compared without regard to case, is dropped. Returns the count kept.
int32_t parseAddressList(const char* text, ExtPtrArray& list, bool unique);

}  // namespace zenvary
