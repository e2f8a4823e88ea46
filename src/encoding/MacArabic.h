// The pass that Mac Arabic (10004) text takes before its table: runs of
// right-to-left bytes are put back into logical order, and the bytes that
// stand for digits and punctuation are moved to the values the table maps.
#pragma once
#include <cstdint>

namespace zenvary {

// Works in place on a private copy of the input.
void macArabicPrePass(uint8_t* data, uint32_t n);

}  // namespace zenvary
