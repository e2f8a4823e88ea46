// Reader of the vector files under tests/vectors: NIST CAVP response files
// (.rsp) and the RFC vector files, which share one line form:
//
//     # comment              skipped, also inside a record
//     [ENCRYPT]  [L = 20]    a section header; it ends the record before it
//     NAME = value           one field of the current record
//     (blank line)           ends the record
//
// Lines may end in CR LF. Anything else is a parse error with its line.
#pragma once
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zvkat {

using Bytes = std::vector<uint8_t>;

struct KatRecord {
    std::string section;  // the last "[...]" header without brackets, "" before any
    int line = 0;         // line of the record's first field, for messages
    std::vector<std::pair<std::string, std::string>> fields;  // in file order

    bool has(const std::string& name) const;
    // The value, or "" when the record has no such field.
    const std::string& get(const std::string& name) const;
    // The value as hex, into `out`; false when absent or not even-length hex.
    bool hex(const std::string& name, Bytes& out) const;
};

struct KatFile {
    std::string path;
    std::vector<KatRecord> records;
    std::string error;  // first parse error, "" when the file read cleanly
};

// Reads and splits the file; false (with `error` set) when it cannot be
// opened or a line has no recognisable form.
bool loadKatFile(const std::string& path, KatFile& out);

// Hex text (either case) to bytes; false on an odd length or a non-hex digit.
bool parseHex(const std::string& hex, Bytes& out);
std::string toHex(const uint8_t* p, size_t n);
inline std::string toHex(const Bytes& b) { return toHex(b.data(), b.size()); }

}  // namespace zvkat
