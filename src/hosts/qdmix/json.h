#pragma once

// Texts in JSON.

#include <cstdio>
#include <string>
#include <string_view>

namespace qdvm::qdmix {

// With its quotes. UTF-8 goes through.
inline std::string JsonText(std::string_view text) {
    std::string out = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            out += '\\';
            out += character;
        } else if (static_cast<unsigned char>(character) < 0x20) {
            char code[8];
            (void)std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(character));
            out += code;
        } else {
            out += character;
        }
    }
    return out + "\"";
}

}  // namespace qdvm::qdmix
