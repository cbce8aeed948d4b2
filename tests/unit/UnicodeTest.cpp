// UTF-8 -> UTF-16 with the lenient decoding rules, and UTF-16 -> UTF-8 with
// the lossy encoding of supplementary characters. Both conversions overwrite
// whatever the output held.

#include "UTL_unicode.h"

#include <gtest/gtest.h>

namespace {

struct Case {
    const char* behaviour;
    std::string utf8;
    std::u16string utf16;
};

TEST(Unicode, Utf8To16DecodesLeniently)
{
    const Case cases[] = {
        {"ascii", "abc", u"abc"},
        {"two bytes", "\xC3\xA9", {0x00E9}},
        {"three bytes", "\xE2\x82\xAC", {0x20AC}},
        {"four bytes become a surrogate pair", "\xF0\x9F\x98\x80", {0xD83D, 0xDE00}},
        {"empty input clears the output", "", u""},
        {"a stray continuation byte becomes zero", "\x61\x80\x62", {0x61, 0, 0x62}},
        {"a run of them gives one zero", "\x61\x80\x80\x80\x62", {0x61, 0, 0x62}},
        {"a leading run gives one zero", "\x80\xBF\x41", {0, 0x41}},
        {"following bytes are taken unchecked and decoded again", "\xC3\x41", {0x00C1, 0x41}},
        {"a truncated sequence reads the terminator as zero bits", "\xE2\x82", {0x2080}},
        {"a lone four-byte lead", "\xF0", {0}},
        {"an invalid lead byte gives zero", "\xF8\x41", {0, 0x41}},
        {"0xFF gives zero", "\xFF", {0}},
        {"overlong forms decode as they come", "\xC0\xAF", {0x002F}},
        {"encoded surrogates decode as they come", "\xED\xA0\x80", {0xD800}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.behaviour);
        std::u16string out = u"stale";
        string_utf_8_to_16(c.utf8, out);
        EXPECT_EQ(out, c.utf16);
    }
}

TEST(Unicode, Utf16To8EncodesSupplementaryCharactersLossily)
{
    const Case cases[] = {
        {"ascii", "abc", u"abc"},
        {"two bytes", "\xC3\xA9", {0x00E9}},
        {"the last two-byte unit", "\xDF\xBF", {0x07FF}},
        {"three bytes", "\xE2\x82\xAC", {0x20AC}},
        {"the last basic unit", "\xEF\xBF\xBF", {0xFFFF}},
        {"empty input clears the output", "", u""},
        {"a surrogate pair is encoded lossily", "\xF0\x90\x80\x81", {0xD83D, 0xDE00}},
        {"the first pair", "\xF0\x90\x80\x80", {0xD800, 0xDC00}},
        {"the pair after it", "\xF0\x90\x80\x81", {0xD800, 0xDC01}},
        {"a high surrogate consumes the next unit whatever it is", "\xF0\x90\x80\x81" "B",
         {0xD800, 0x41, 0x42}},
        {"a final high surrogate tests the terminator", "A\xF0\x90\x80\x80", {0x41, 0xD800}},
        {"the last high surrogate alone", "\xF0\x90\x80\x81", {0xDBFF}},
        {"a lone low surrogate is written as three bytes", "\xED\xB0\x80", {0xDC00}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.behaviour);
        std::string out = "stale";
        string_utf_16_to_8(c.utf16, out);
        EXPECT_EQ(out, c.utf8);
    }
}

}  // namespace
