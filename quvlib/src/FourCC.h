// Four-character codes: thread ids ('play', 'fill'), message parameters ('updt',
// 'wrdy', 'timr'), key codes ('kEnt') and port ids ('ival', 'fval').
#pragma once

#include <cstdint>

/// Packs four characters into a 32-bit value, the first character in the most
/// significant byte: FourCC("play") == 0x706C6179. Usable in constant expressions.
constexpr uint32_t FourCC(const char (&code)[5]) {
    return (static_cast<uint32_t>(static_cast<unsigned char>(code[0])) << 24) |
           (static_cast<uint32_t>(static_cast<unsigned char>(code[1])) << 16) |
           (static_cast<uint32_t>(static_cast<unsigned char>(code[2])) << 8) |
           static_cast<uint32_t>(static_cast<unsigned char>(code[3]));
}

static_assert(FourCC("play") == 0x706C6179, "first character in the top byte");
