// UTL_unicode.h - UTF-8 / UTF-16 conversion with the library's fixed,
// lenient decoding rules and its lossy encoding of supplementary characters.
#ifndef UTL_UNICODE_H
#define UTL_UNICODE_H

#include <string>

// Decodes UTF-8 into UTF-16 units. Never fails: malformed input decodes by
// fixed rules (a stray continuation byte run yields one 0 unit).
void string_utf_8_to_16(const std::string& in, std::u16string& out);

// Encodes UTF-16 units as UTF-8. A surrogate pair is written as U+10000 or
// U+10001 (deliberately lossy); a lone low surrogate as three bytes.
void string_utf_16_to_8(const std::u16string& in, std::string& out);

#endif
