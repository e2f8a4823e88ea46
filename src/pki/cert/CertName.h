// Distinguished names as text. The X.500 form writes "TYPE=value" for each
// attribute, the simple form only the values; relative names follow in the
// order of the encoding, separated by ", ", and the attributes of a
// multi-valued one by " + ". A value holding a separator, a quote, a line
// break, or leading or trailing blanks is put in double quotes with inner
// quotes doubled.
#pragma once

#include "core/ExtPtrArray.h"
#include "core/StringBuffer.h"

typedef struct X509_name_st X509_NAME;

namespace zenvary {

// Types: "CN", "L", "ST", "O", "OU", "C", "STREET", "DC", "E" (the e-mail
// address), "T", "G", "SN", "I", "SERIALNUMBER"; others "OID." and the
// dotted identifier.
void nameToX500(const X509_NAME* name, StringBuffer& out);
void nameToSimple(const X509_NAME* name, StringBuffer& out);

// Splits an X.500 text into name/value StringPairs appended to `parts`:
// on "," then "=", both honouring double quotes and the backslash escape; a
// piece of exactly two tokens gives its upper-cased trimmed name and trimmed
// value. With `multiValued`, a piece of more tokens keeps the first value of
// a multi-valued name (" + OID" in token two becomes "=", cut there).
void splitNameParts(const StringBuffer& dn, bool multiValued, ExtPtrArray& parts);

}  // namespace zenvary
