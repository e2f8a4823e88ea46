// How the facade reads names of algorithms, modes and encodings: dashes
// (and, where asked, blanks) removed, whitespace trimmed, lower-cased.
#pragma once
#include <string>
#include <string_view>

namespace zenvary {

std::string normalizeName(std::string_view name, bool removeBlanks);

}  // namespace zenvary
