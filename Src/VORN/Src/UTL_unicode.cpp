// UTL_unicode.cpp - UTF-8 <-> UTF-16 with the library's fixed rules.
//
// The decoder is deliberately lenient (it never rejects input) and the
// encoder deliberately lossy for supplementary characters; both behaviours
// are relied upon and must not be "fixed" into conforming codecs.

#include "UTL_unicode.h"

namespace {

bool IsContinuation(unsigned char c)
{
    return (c & 0xC0) == 0x80;
}

// The value bits a lead byte carries and how many bytes follow it. A stray
// continuation byte and 0xF8-0xFF carry 0 and have none.
void ClassifyLead(unsigned char lead, unsigned long& value, int& following)
{
    if (lead < 0x80) {
        value = lead;
        following = 0;
    } else if ((lead & 0xE0) == 0xC0) {
        value = lead & 0x1F;
        following = 1;
    } else if ((lead & 0xF0) == 0xE0) {
        value = lead & 0x0F;
        following = 2;
    } else if ((lead & 0xF8) == 0xF0) {
        value = lead & 0x07;
        following = 3;
    } else {
        value = 0;
        following = 0;
    }
}

// Where decoding goes on after the character that starts at p. A stray
// continuation byte steps back to the byte that started its run and then
// past the whole run, so one run gives one 0 unit. After a multi-byte lead,
// p moves past whatever continuation bytes follow, however many were read
// (so "C3 41" decodes the 41 again). After a single-byte character p moves
// one byte: a stray run right behind it is then decoded as its own 0 unit.
const unsigned char* NextCharacter(const unsigned char* begin, const unsigned char* end,
                                   const unsigned char* p, int following)
{
    const bool stray = IsContinuation(*p);
    if (stray) {
        while (p > begin && IsContinuation(*p))
            --p;
    }
    ++p;
    if (stray || following > 0) {
        while (p < end && IsContinuation(*p))
            ++p;
    }
    return p;
}

void AppendUnits(unsigned long value, std::u16string& out)
{
    if (value <= 0xFFFF) {
        out.push_back(static_cast<char16_t>(value));
        return;
    }
    const unsigned long v = value - 0x10000;
    out.push_back(static_cast<char16_t>(0xD800 | ((v >> 10) & 0x3FF)));
    out.push_back(static_cast<char16_t>(0xDC00 | (v & 0x3FF)));
}

}  // namespace

void string_utf_8_to_16(const std::string& in, std::u16string& out)
{
    out.clear();
    const unsigned char* begin = reinterpret_cast<const unsigned char*>(in.c_str());
    const unsigned char* end = begin + in.size();
    for (const unsigned char* p = begin; p < end;) {
        unsigned long value = 0;
        int following = 0;
        ClassifyLead(*p, value, following);
        // Following bytes are taken as they come, unchecked; past the end
        // they read as the terminating zero (and stay there).
        const unsigned char* q = p;
        for (int i = 0; i < following; ++i) {
            if (q < end)
                ++q;
            value = (value << 6) | (*q & 0x3F);
        }
        AppendUnits(value, out);
        p = NextCharacter(begin, end, p, following);
    }
}

void string_utf_16_to_8(const std::u16string& in, std::string& out)
{
    out.clear();
    const size_t count = in.size();
    for (size_t i = 0; i < count; ++i) {
        const char16_t u = in[i];
        if ((u & 0xFC00) == 0xD800) {
            // Every supplementary character becomes U+10000 or U+10001; the
            // unit after a final high surrogate is the terminating zero.
            const char16_t next = (i + 1 < count) ? in[i + 1] : 0;
            const bool odd = (u & 0x3FF) != 0 || (next & 0x3FF) != 0;
            out.push_back(static_cast<char>(0xF0));
            out.push_back(static_cast<char>(0x90));
            out.push_back(static_cast<char>(0x80));
            out.push_back(static_cast<char>(odd ? 0x81 : 0x80));
            ++i;
        } else if (u <= 0x7F) {
            out.push_back(static_cast<char>(u));
        } else if (u <= 0x7FF) {
            out.push_back(static_cast<char>(0xC0 | ((u >> 6) & 0x1F)));
            out.push_back(static_cast<char>(0x80 | (u & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xE0 | (u >> 12)));
            out.push_back(static_cast<char>(0x80 | ((u >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (u & 0x3F)));
        }
    }
}
