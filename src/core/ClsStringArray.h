// ClsStringArray: an ordered list of strings, the object behind the string
// array of the bindings. Strings are kept as UTF-8 StringBuffers owned by
// the array; comparisons are exact, byte by byte.
//
// Serialize gives each string as the base64 of its UTF-8 bytes followed by
// a comma ("YQ==,Yg==," for "a", "b"; "," for one empty string; "" for no
// string), which AppendSerialized reads back.
//
// LoadFromFile and SaveToFile use one string per line, UTF-8. Loading skips
// a UTF-8 byte order mark, splits at LF and drops a CR before it; a last
// line without a line end counts. Saving ends every string with LF, or with
// CR LF when Crlf is set.
#pragma once
#include <cstdint>

#include "core/ExtPtrArray.h"
#include "core/StringConsumer.h"
#include "core/ZenvaryObject.h"

namespace zenvary {

class LogBase;
class StringBuffer;
class XString;

class ClsStringArray : public ZenvaryObject, public StringConsumer {
public:
    ClsStringArray() = default;
    ~ClsStringArray() override;
    ClsStringArray(const ClsStringArray&) = delete;
    ClsStringArray& operator=(const ClsStringArray&) = delete;

    int32_t get_Count() const { return m_strings.getCount(); }
    bool get_Crlf() const { return m_crlf; }
    void put_Crlf(bool crlf) { m_crlf = crlf; }

    bool Append(const XString& str);
    bool Prepend(const XString& str);
    // Inserts before `index`; an index at or past the end appends. False
    // for a negative index.
    bool InsertAt(int32_t index, const XString& str);
    void Clear();

    bool Contains(const XString& str) const;
    // The index of the first string equal to `str` at or after firstIndex
    // (a negative start counts as 0); -1 when there is none.
    int32_t Find(const XString& str, int32_t firstIndex) const;
    // Empty `out` and false when the index is out of range.
    bool GetString(int32_t index, XString& out) const;
    bool LastString(XString& out) const;

    // Removes every string equal to `str`; returns how many went.
    int32_t Remove(const XString& str);
    bool RemoveAt(int32_t index);
    // Removes the last string into `out`; false (and empty) when empty.
    bool Pop(XString& out);

    // Keeps the first of equal strings, in order.
    void Unique();
    // Removes blanks, tabs, CR and LF at both ends of every string.
    void Trim();
    // Stable byte-order sort (code point order for UTF-8).
    void Sort(bool ascending);

    // Appends each string of `other` that this array lacks.
    void Union(const ClsStringArray& other);
    // Keeps only the strings that `other` holds too.
    void Intersect(const ClsStringArray& other);
    // Removes the strings that `other` holds.
    void Subtract(const ClsStringArray& other);

    void Serialize(XString& out) const;
    // Appends the strings of a serialized list. Blanks and line breaks in it
    // are ignored; false (nothing added) when a piece is not base64.
    bool AppendSerialized(const XString& text);

    // Replaces the contents by the lines of the file; on failure the array
    // is left as it was and the reason goes to `log`.
    bool LoadFromFile(const XString& path, LogBase* log);
    bool SaveToFile(const XString& path, LogBase* log) const;

    // The string at `index`, or null.
    const StringBuffer* stringAt(int32_t index) const;

    // StringConsumer: appends a copy.
    bool consumeString(const StringBuffer& text) override;

private:
    bool insertCopy(int32_t index, const char* data, uint32_t n);
    // Drops every string for which keep() answers false, in one pass.
    template <class Keep>
    void retainIf(Keep keep);

    ExtPtrArray m_strings;  // StringBuffer*, owned
    bool m_crlf = false;
};

}  // namespace zenvary
