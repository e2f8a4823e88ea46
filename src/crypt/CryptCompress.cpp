// The compression methods: bzip2 in the component's envelope. They ignore
// the library's answer and always give the output, so damaged input shows
// as empty or short data.
#include "crypt/ClsCrypt.h"
#include "encoding/ZenvaryBzip2.h"

namespace zenvary {

namespace {

std::unique_ptr<DataBuffer> compressed(const DataBuffer& data) {
    auto out = std::make_unique<DataBuffer>();
    ZenvaryBzip2().compress(data, *out);
    return out;
}

std::unique_ptr<DataBuffer> inflated(const DataBuffer& data) {
    auto out = std::make_unique<DataBuffer>();
    ZenvaryBzip2().decompress(data, *out);
    return out;
}

}  // namespace

std::unique_ptr<DataBuffer> ClsCrypt::CompressBytes(const DataBuffer& data) {
    MethodFrame frame(*this, "CompressBytes");
    return compressed(data);
}

std::unique_ptr<DataBuffer> ClsCrypt::CompressString(const XString& text) {
    MethodFrame frame(*this, "CompressString");
    DataBuffer bytes;
    textToBytes(text, bytes);
    return compressed(bytes);
}

bool ClsCrypt::CompressBytesENC(const DataBuffer& data, XString& out) {
    MethodFrame frame(*this, "CompressBytesENC");
    encodeByMode(*compressed(data), out, false);
    return true;
}

bool ClsCrypt::CompressStringENC(const XString& text, XString& out) {
    MethodFrame frame(*this, "CompressStringENC");
    DataBuffer bytes;
    textToBytes(text, bytes);
    encodeByMode(*compressed(bytes), out, false);
    return true;
}

std::unique_ptr<DataBuffer> ClsCrypt::InflateBytes(const DataBuffer& data) {
    MethodFrame frame(*this, "InflateBytes");
    return inflated(data);
}

std::unique_ptr<DataBuffer> ClsCrypt::InflateBytesENC(XString& encoded) {
    MethodFrame frame(*this, "InflateBytesENC");
    DataBuffer data;
    decodeByMode(encoded, data, false);
    return inflated(data);
}

bool ClsCrypt::InflateString(const DataBuffer& data, XString& out) {
    MethodFrame frame(*this, "InflateString");
    out.clear();
    bytesToText(*inflated(data), out);
    return true;
}

bool ClsCrypt::InflateStringENC(XString& encoded, XString& out) {
    MethodFrame frame(*this, "InflateStringENC");
    out.clear();
    DataBuffer data;
    decodeByMode(encoded, data, false);
    bytesToText(*inflated(data), out);
    return true;
}

}  // namespace zenvary
