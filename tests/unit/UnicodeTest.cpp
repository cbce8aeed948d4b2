// UTF-8 -> UTF-16 with the lenient decoding rules, and UTF-16 -> UTF-8 with
// the lossy encoding of supplementary characters. Both conversions overwrite
// whatever the output held.

#include "UTL_unicode.h"

#include <gtest/gtest.h>

namespace {

enum Way { kTo16 = 1, kTo8 = 2, kBoth = 3 };

struct Case {
    const char* behaviour;
    Way way;
    std::string utf8;
    std::u16string utf16;
};

TEST(Unicode, Utf8To16DecodesLenientlyAndUtf16To8EncodesSupplementaryCharactersLossily)
{
    const Case cases[] = {
        {"ascii", kBoth, "abc", u"abc"},
        {"two bytes", kBoth, "\xC3\xA9", {0x00E9}},
        {"three bytes", kBoth, "\xE2\x82\xAC", {0x20AC}},
        {"empty input clears the output", kBoth, "", u""},
        {"four bytes become a surrogate pair", kTo16, "\xF0\x9F\x98\x80", {0xD83D, 0xDE00}},
        {"a stray continuation byte becomes zero", kTo16, "\x61\x80\x62", {0x61, 0, 0x62}},
        {"a run of them gives one zero", kTo16, "\x61\x80\x80\x80\x62", {0x61, 0, 0x62}},
        {"a leading run gives one zero", kTo16, "\x80\xBF\x41", {0, 0x41}},
        {"following bytes are taken unchecked and decoded again", kTo16, "\xC3\x41", {0x00C1, 0x41}},
        {"a truncated sequence reads the terminator as zero bits", kTo16, "\xE2\x82", {0x2080}},
        {"a lone four-byte lead", kTo16, "\xF0", {0}},
        {"an invalid lead byte gives zero", kTo16, "\xF8\x41", {0, 0x41}},
        {"0xFF gives zero", kTo16, "\xFF", {0}},
        {"overlong forms decode as they come", kTo16, "\xC0\xAF", {0x002F}},
        {"encoded surrogates decode as they come", kTo16, "\xED\xA0\x80", {0xD800}},
        {"the last two-byte unit", kTo8, "\xDF\xBF", {0x07FF}},
        {"the last basic unit", kTo8, "\xEF\xBF\xBF", {0xFFFF}},
        {"a surrogate pair is encoded lossily", kTo8, "\xF0\x90\x80\x81", {0xD83D, 0xDE00}},
        {"the first pair", kTo8, "\xF0\x90\x80\x80", {0xD800, 0xDC00}},
        {"the pair after it", kTo8, "\xF0\x90\x80\x81", {0xD800, 0xDC01}},
        {"a high surrogate consumes the next unit whatever it is", kTo8, "\xF0\x90\x80\x81" "B",
         {0xD800, 0x41, 0x42}},
        {"a final high surrogate tests the terminator", kTo8, "A\xF0\x90\x80\x80", {0x41, 0xD800}},
        {"the last high surrogate alone", kTo8, "\xF0\x90\x80\x81", {0xDBFF}},
        {"a lone low surrogate is written as three bytes", kTo8, "\xED\xB0\x80", {0xDC00}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.behaviour);
        std::u16string utf16 = u"stale";
        std::string utf8 = "stale";
        string_utf_8_to_16(c.utf8, utf16);
        string_utf_16_to_8(c.utf16, utf8);
        if (c.way & kTo16) {
            EXPECT_EQ(utf16, c.utf16);
        }
        if (c.way & kTo8) {
            EXPECT_EQ(utf8, c.utf8);
        }
    }
}

}  // namespace
