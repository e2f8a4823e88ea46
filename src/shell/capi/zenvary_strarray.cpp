// The C interface of the string array: converts arguments at the border and
// calls ClsStringArray. Same conventions as the other objects: text results
// are malloc'd blocks released by zenvary_free, failures are status codes.
#include <cstdint>
#include <new>

#include "core/ClsStringArray.h"
#include "core/XString.h"
#include "log/LogBase.h"
#include "shell/capi/capi_internal.h"
#include "zenvary.h"

using zenvary::ClsStringArray;
using zenvary::XString;

struct ZvStringArray {
    ClsStringArray array;
};

using namespace zenvary::capi;

namespace {

int32_t index32(long index) {
    if (index < INT32_MIN) return INT32_MIN;
    if (index > INT32_MAX) return INT32_MAX;
    return static_cast<int32_t>(index);
}

// A member that answers true or false.
template <class Call>
int toStatus(ZvStringArray* arr, Call call) {
    if (!arr) return ZV_BADARG;
    return guarded([&] { return call(arr->array) ? ZV_OK : ZV_FAILED; });
}

// A member that fills a text and answers true or false; `out` is always set.
template <class Call>
int toText(ZvStringArray* arr, char** out, Call call) {
    if (!arr || !out) return ZV_BADARG;
    *out = nullptr;
    return guarded([&] {
        XString result;
        const bool ok = call(arr->array, result);
        const int rc = textOut(result, out);
        return rc != ZV_OK ? rc : ok ? ZV_OK : ZV_FAILED;
    });
}

// The set operations take a second array, which may be the first.
template <class Call>
int withOther(ZvStringArray* arr, const ZvStringArray* other, Call call) {
    if (!arr || !other) return ZV_BADARG;
    return guarded([&] {
        call(arr->array, other->array);
        return ZV_OK;
    });
}

}  // namespace

extern "C" {

ZvStringArray* ZvStringArray_Create(void) { return new (std::nothrow) ZvStringArray; }

void ZvStringArray_Dispose(ZvStringArray* arr) { delete arr; }

long ZvStringArray_get_Count(ZvStringArray* arr) { return arr ? arr->array.get_Count() : 0; }

long ZvStringArray_get_Crlf(ZvStringArray* arr) { return arr && arr->array.get_Crlf() ? 1 : 0; }

void ZvStringArray_put_Crlf(ZvStringArray* arr, long crlf) {
    if (arr) arr->array.put_Crlf(crlf != 0);
}

int ZvStringArray_Append(ZvStringArray* arr, const char* str) {
    return toStatus(arr, [&](ClsStringArray& a) { return a.Append(text(str)); });
}

int ZvStringArray_Prepend(ZvStringArray* arr, const char* str) {
    return toStatus(arr, [&](ClsStringArray& a) { return a.Prepend(text(str)); });
}

int ZvStringArray_InsertAt(ZvStringArray* arr, long index, const char* str) {
    return toStatus(arr, [&](ClsStringArray& a) { return a.InsertAt(index32(index), text(str)); });
}

int ZvStringArray_Clear(ZvStringArray* arr) {
    return toStatus(arr, [](ClsStringArray& a) { return a.Clear(), true; });
}

long ZvStringArray_Contains(ZvStringArray* arr, const char* str) {
    if (!arr) return 0;
    long found = 0;
    guarded([&] {
        found = arr->array.Contains(text(str)) ? 1 : 0;
        return ZV_OK;
    });
    return found;
}

long ZvStringArray_Find(ZvStringArray* arr, const char* str, long firstIndex) {
    if (!arr) return -1;
    long found = -1;
    guarded([&] {
        found = arr->array.Find(text(str), index32(firstIndex));
        return ZV_OK;
    });
    return found;
}

int ZvStringArray_GetString(ZvStringArray* arr, long index, char** out) {
    return toText(arr, out, [&](ClsStringArray& a, XString& r) { return a.GetString(index32(index), r); });
}

int ZvStringArray_LastString(ZvStringArray* arr, char** out) {
    return toText(arr, out, [](ClsStringArray& a, XString& r) { return a.LastString(r); });
}

int ZvStringArray_Pop(ZvStringArray* arr, char** out) {
    return toText(arr, out, [](ClsStringArray& a, XString& r) { return a.Pop(r); });
}

int ZvStringArray_Remove(ZvStringArray* arr, const char* str) {
    return toStatus(arr, [&](ClsStringArray& a) { return a.Remove(text(str)) > 0; });
}

int ZvStringArray_RemoveAt(ZvStringArray* arr, long index) {
    return toStatus(arr, [&](ClsStringArray& a) { return a.RemoveAt(index32(index)); });
}

int ZvStringArray_Unique(ZvStringArray* arr) {
    return toStatus(arr, [](ClsStringArray& a) { return a.Unique(), true; });
}

int ZvStringArray_Trim(ZvStringArray* arr) {
    return toStatus(arr, [](ClsStringArray& a) { return a.Trim(), true; });
}

int ZvStringArray_Sort(ZvStringArray* arr, long ascending) {
    return toStatus(arr, [&](ClsStringArray& a) { return a.Sort(ascending != 0), true; });
}

int ZvStringArray_Union(ZvStringArray* arr, const ZvStringArray* other) {
    return withOther(arr, other, [](ClsStringArray& a, const ClsStringArray& b) { a.Union(b); });
}

int ZvStringArray_Intersect(ZvStringArray* arr, const ZvStringArray* other) {
    return withOther(arr, other, [](ClsStringArray& a, const ClsStringArray& b) { a.Intersect(b); });
}

int ZvStringArray_Subtract(ZvStringArray* arr, const ZvStringArray* other) {
    return withOther(arr, other, [](ClsStringArray& a, const ClsStringArray& b) { a.Subtract(b); });
}

int ZvStringArray_Serialize(ZvStringArray* arr, char** out) {
    return toText(arr, out, [](ClsStringArray& a, XString& r) { return a.Serialize(r), true; });
}

int ZvStringArray_AppendSerialized(ZvStringArray* arr, const char* serialized) {
    return toStatus(arr, [&](ClsStringArray& a) { return a.AppendSerialized(text(serialized)); });
}

int ZvStringArray_LoadFromFile(ZvStringArray* arr, const char* path) {
    zenvary::LogNull log;
    return toStatus(arr, [&](ClsStringArray& a) { return a.LoadFromFile(text(path), &log); });
}

int ZvStringArray_SaveToFile(ZvStringArray* arr, const char* path) {
    zenvary::LogNull log;
    return toStatus(arr, [&](ClsStringArray& a) { return a.SaveToFile(text(path), &log); });
}

}  // extern "C"
