// Fuzzes the two UTF converters against a model written from their fixed
// rules, sharing no code with the library: the lenient decoder (never rejects,
// stray continuation runs give one 0 unit, following bytes taken unchecked)
// and the lossy encoder (every surrogate pair becomes U+10000 or U+10001).
// Each input is both UTF-8 bytes and little-endian 16-bit units.

#include "UTL_unicode.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

bool IsTrail(unsigned b) { return b >= 0x80 && b <= 0xBF; }

// Byte i of the input as a C string: past the end reads the terminator.
unsigned ByteAt(const std::string& in, size_t i)
{
    return i < in.size() ? static_cast<unsigned char>(in[i]) : 0u;
}

std::u16string ModelDecode(const std::string& in)
{
    std::u16string out;
    for (size_t i = 0; i < in.size();) {
        const unsigned c = ByteAt(in, i);
        unsigned long cp = 0;
        int extra = 0;
        if (c <= 0x7F)
            cp = c;
        else if (c >= 0xC0 && c <= 0xDF)
            cp = c - 0xC0, extra = 1;
        else if (c >= 0xE0 && c <= 0xEF)
            cp = c - 0xE0, extra = 2;
        else if (c >= 0xF0 && c <= 0xF7)
            cp = c - 0xF0, extra = 3;
        for (int k = 1; k <= extra; ++k)
            cp = cp * 64 + ByteAt(in, i + k) % 64;
        // A multi-byte lead or a stray trail byte swallows the whole run of
        // trail bytes after it; an ASCII byte or an invalid lead only itself.
        size_t next = i + 1;
        while ((extra > 0 || IsTrail(c)) && next < in.size() && IsTrail(ByteAt(in, next)))
            ++next;
        if (cp < 0x10000) {
            out += static_cast<char16_t>(cp);
        } else {
            out += static_cast<char16_t>(0xD800 + ((cp - 0x10000) / 1024) % 1024);
            out += static_cast<char16_t>(0xDC00 + (cp - 0x10000) % 1024);
        }
        i = next;
    }
    return out;
}

std::string ModelEncode(const std::u16string& in)
{
    std::string out;
    for (size_t i = 0; i < in.size(); ++i) {
        const unsigned u = in[i];
        if (u >= 0xD800 && u <= 0xDBFF) {
            const unsigned second = i + 1 < in.size() ? in[++i] : 0u;
            const bool odd = u % 1024 != 0 || second % 1024 != 0;
            out += odd ? "\xF0\x90\x80\x81" : "\xF0\x90\x80\x80";
        } else if (u < 0x80) {
            out += static_cast<char>(u);
        } else if (u < 0x800) {
            out += static_cast<char>(0xC0 + u / 64);
            out += static_cast<char>(0x80 + u % 64);
        } else {
            out += static_cast<char>(0xE0 + u / 4096);
            out += static_cast<char>(0x80 + u / 64 % 64);
            out += static_cast<char>(0x80 + u % 64);
        }
    }
    return out;
}

// True when in is strictly well-formed UTF-8 made of basic-plane characters
// other than surrogates (no overlong forms, no four-byte sequences).
bool IsStrictBasicPlane(const std::string& in)
{
    for (size_t i = 0; i < in.size(); ++i) {
        const unsigned c = ByteAt(in, i);
        if (c < 0x80)
            continue;
        const int extra = (c >= 0xC2 && c <= 0xDF) ? 1 : (c >= 0xE0 && c <= 0xEF) ? 2 : 0;
        if (extra == 0 || i + extra >= in.size())
            return false;
        unsigned long cp = c & (extra == 1 ? 0x1F : 0x0F);
        for (int k = 1; k <= extra; ++k) {
            const unsigned b = ByteAt(in, i + k);
            if (!IsTrail(b))
                return false;
            cp = cp * 64 + b % 64;
        }
        if ((extra == 2 && cp < 0x800) || (cp >= 0xD800 && cp <= 0xDFFF))
            return false;
        i += extra;
    }
    return true;
}

void Check(bool ok, const char* what)
{
    if (!ok) {
        std::fprintf(stderr, "fuzz_utf: %s\n", what);
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::u16string decoded = u"stale";
    string_utf_8_to_16(bytes, decoded);
    Check(decoded == ModelDecode(bytes), "UTF-8 decoding differs from the model");
    std::u16string units;
    for (size_t i = 0; i + 1 < size; i += 2)
        units += static_cast<char16_t>(data[i] | data[i + 1] << 8);
    std::string encoded = "stale";
    string_utf_16_to_8(units, encoded);
    Check(encoded == ModelEncode(units), "UTF-16 encoding differs from the model");

    // Well-formed basic-plane text survives the round trip unchanged.
    if (IsStrictBasicPlane(bytes)) {
        std::string back;
        string_utf_16_to_8(decoded, back);
        Check(back == bytes, "well-formed text does not round-trip");
    }
    return 0;
}
