// The process-wide code pages that stand in for the system's: the ANSI code
// page (default 1252) and the OEM code page (default 437). They are numbers
// only; the conversion engine does the rest. Set them once, before use.
#pragma once
#include <cstdint>

namespace zenvary {

// Code pages with a role of their own in conversion.
enum : uint32_t {
    kCodePageNone = 0,
    kCodePageUtf16LE = 1200,
    kCodePageUtf16BE = 1201,
    kCodePageWindows1252 = 1252,
    kCodePageUsAscii = 20127,
    kCodePageLatin1 = 28591,
    kCodePageUtf7 = 65000,
    kCodePageUtf8 = 65001,
    kCodePageUtf32LE = 65005,
    kCodePageUtf32BE = 65006,
};

uint32_t GetACP();
void SetACP(uint32_t codePage);
uint32_t GetOEMCP();
void SetOEMCP(uint32_t codePage);

}  // namespace zenvary
