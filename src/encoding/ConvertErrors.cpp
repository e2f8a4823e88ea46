// The error paths of the conversion engine: what an unmappable character
// becomes under each m_errorAction.
//   0  nothing (the default)
//   1  the substitute bytes
//   2  "&#x" hexadecimal ";"
//   6  the character converted to m_altCodePage (or the target) instead
//   7  the bytes as they are
//   8  (source bytes only) the byte and a zero byte: the byte as a unit
// In stage one of a two-stage road (m_writeMarkers) the output is marked
// with 253, 239 and a count byte so that stage two copies it raw; the
// counts are those the marks have always carried, even where they don't
// match the output's length.
#include "encoding/ConvertSteps.h"

#include "encoding/CodePage.h"

namespace zenvary {

namespace {

constexpr char kHex[] = "0123456789ABCDEF";

void putHex(ByteSink& sink, const uint8_t* bytes, uint32_t n) {
    for (uint32_t i = 0; i < n; ++i) {
        sink.put(static_cast<uint8_t>(kHex[bytes[i] >> 4]));
        sink.put(static_cast<uint8_t>(kHex[bytes[i] & 15]));
    }
}

void putEntity(ByteSink& sink, const uint8_t* bytes, uint32_t n) {
    sink.put(reinterpret_cast<const uint8_t*>("&#x"), 3);
    putHex(sink, bytes, n);
    sink.put(';');
}

// Writes an error output, marked when stage two is to copy it.
void emit(bool writeMarkers, ByteSink& sink, const uint8_t* payload, uint32_t n,
          uint32_t count) {
    if (n == 0) return;
    if (writeMarkers) {
        sink.put(ConvertSteps::kMark0);
        sink.put(ConvertSteps::kMark1);
        sink.put(static_cast<uint8_t>(count > 255 ? 255 : count));
    }
    sink.put(payload, n);
}

}  // namespace

void ConvertSteps::unitError(EncodingConvert& c, const uint8_t* unit, ByteSink& sink) {
    const bool marks = c.m_writeMarkers != 0;
    const bool stageTwo = c.m_readMarkers != 0;
    switch (c.m_errorAction) {
        case 1:
            if (stageTwo) sink.put(c.m_substitute, c.m_substituteLength);
            else emit(marks, sink, c.m_substitute, c.m_substituteLength, c.m_substituteLength);
            return;
        case 2: {
            if (stageTwo) {
                // The character as it stood in the source code page.
                DataBuffer original;
                nested(c, kCodePageUtf16LE, c.m_fromCodePage, unit, 2, original);
                putEntity(sink, original.data(), original.getSize());
                return;
            }
            DataBuffer text;
            ByteSink textSink(text);
            putEntity(textSink, unit, 2);  // memory order: low byte first
            textSink.flush();
            emit(marks, sink, text.data(), text.getSize(), 6);
            return;
        }
        case 6: {
            DataBuffer alt;
            nested(c, kCodePageUtf16LE, c.m_altCodePage != 0 ? c.m_altCodePage : c.m_toCodePage, unit, 2, alt);
            emit(marks, sink, alt.data(), alt.getSize(), alt.getSize());
            return;
        }
        case 7:
            if (stageTwo) {
                DataBuffer original;
                nested(c, kCodePageUtf16LE, c.m_fromCodePage, unit, 2, original);
                sink.put(original.data(), original.getSize());
                return;
            }
            emit(marks, sink, unit, 2, 2);
            return;
        default:
            return;
    }
}

void ConvertSteps::bytesError(EncodingConvert& c, const uint8_t* bytes, uint32_t n, ByteSink& sink) {
    if (n == 0) return;
    const bool marks = c.m_writeMarkers != 0;
    switch (c.m_errorAction) {
        case 1:
            emit(marks, sink, c.m_substitute, c.m_substituteLength, c.m_substituteLength);
            return;
        case 2: {
            DataBuffer text;
            ByteSink textSink(text);
            putEntity(textSink, bytes, n);
            textSink.flush();
            emit(marks, sink, text.data(), text.getSize(), n + 4);
            return;
        }
        case 6: {
            if (c.m_readMarkers) return;
            DataBuffer alt;
            nested(c, c.m_fromCodePage, c.m_altCodePage != 0 ? c.m_altCodePage : c.m_toCodePage, bytes, n, alt);
            emit(marks, sink, alt.data(), alt.getSize(), alt.getSize());
            return;
        }
        case 7:
            emit(marks, sink, bytes, n, n);
            return;
        case 8: {
            const uint8_t unit[2] = {bytes[0], 0};
            emit(marks, sink, unit, 2, 2);
            return;
        }
        default:
            return;
    }
}

}  // namespace zenvary
