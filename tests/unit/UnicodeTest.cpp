// UTF-8 -> UTF-16 with the lenient decoding rules, and UTF-16 -> UTF-8 with
// the lossy encoding of supplementary characters.

#include "UTL_unicode.h"

#include <gtest/gtest.h>

namespace {

std::u16string Decode(const std::string& bytes)
{
    std::u16string out = u"stale";
    string_utf_8_to_16(bytes, out);
    return out;
}

std::string Encode(const std::u16string& units)
{
    std::string out = "stale";
    string_utf_16_to_8(units, out);
    return out;
}

TEST(Utf8To16, DecodesWellFormedSequences)
{
    EXPECT_EQ(Decode("abc"), u"abc");
    EXPECT_EQ(Decode("\xC3\xA9"), std::u16string(1, 0x00E9));
    EXPECT_EQ(Decode("\xE2\x82\xAC"), std::u16string(1, 0x20AC));
    EXPECT_EQ(Decode("\xF0\x9F\x98\x80"), (std::u16string{0xD83D, 0xDE00}));
}

TEST(Utf8To16, EmptyInputClearsTheOutput)
{
    EXPECT_EQ(Decode(""), u"");
}

TEST(Utf8To16, StrayContinuationByteBecomesZero)
{
    EXPECT_EQ(Decode("\x61\x80\x62"), (std::u16string{0x61, 0x0000, 0x62}));
}

TEST(Utf8To16, RunOfStrayContinuationBytesGivesOneZero)
{
    EXPECT_EQ(Decode("\x61\x80\x80\x80\x62"), (std::u16string{0x61, 0x0000, 0x62}));
    EXPECT_EQ(Decode("\x80\xBF\x41"), (std::u16string{0x0000, 0x41}));
}

TEST(Utf8To16, FollowingBytesAreTakenUncheckedAndDecodedAgain)
{
    EXPECT_EQ(Decode("\xC3\x41"), (std::u16string{0x00C1, 0x0041}));
}

TEST(Utf8To16, TruncatedSequenceReadsTheTerminatorAsZeroBits)
{
    EXPECT_EQ(Decode("\xE2\x82"), std::u16string(1, 0x2080));
    EXPECT_EQ(Decode("\xF0"), std::u16string(1, 0x0000));
}

TEST(Utf8To16, InvalidLeadBytesGiveZero)
{
    EXPECT_EQ(Decode("\xF8\x41"), (std::u16string{0x0000, 0x41}));
    EXPECT_EQ(Decode("\xFF"), std::u16string(1, 0x0000));
}

TEST(Utf8To16, OverlongFormsAndSurrogatesDecodeAsTheyCome)
{
    EXPECT_EQ(Decode("\xC0\xAF"), std::u16string(1, 0x002F));
    EXPECT_EQ(Decode("\xED\xA0\x80"), std::u16string(1, 0xD800));
}

TEST(Utf16To8, EncodesTheBasicPlane)
{
    EXPECT_EQ(Encode(u"abc"), "abc");
    EXPECT_EQ(Encode(std::u16string(1, 0x00E9)), "\xC3\xA9");
    EXPECT_EQ(Encode(std::u16string(1, 0x07FF)), "\xDF\xBF");
    EXPECT_EQ(Encode(std::u16string(1, 0x20AC)), "\xE2\x82\xAC");
    EXPECT_EQ(Encode(std::u16string(1, 0xFFFF)), "\xEF\xBF\xBF");
}

TEST(Utf16To8, EmptyInputClearsTheOutput)
{
    EXPECT_EQ(Encode(u""), "");
}

TEST(Utf16To8, SurrogatePairsAreEncodedLossily)
{
    EXPECT_EQ(Encode(std::u16string{0xD83D, 0xDE00}), "\xF0\x90\x80\x81");
    EXPECT_EQ(Encode(std::u16string{0xD800, 0xDC00}), "\xF0\x90\x80\x80");
    EXPECT_EQ(Encode(std::u16string{0xD800, 0xDC01}), "\xF0\x90\x80\x81");
}

TEST(Utf16To8, HighSurrogateConsumesTheNextUnitWhateverItIs)
{
    EXPECT_EQ(Encode(std::u16string{0xD800, 0x0041, 0x0042}), "\xF0\x90\x80\x81"
                                                               "B");
}

TEST(Utf16To8, FinalHighSurrogateTestsTheTerminator)
{
    EXPECT_EQ(Encode(std::u16string{0x41, 0xD800}), "A\xF0\x90\x80\x80");
    EXPECT_EQ(Encode(std::u16string{0xDBFF}), "\xF0\x90\x80\x81");
}

TEST(Utf16To8, LoneLowSurrogateIsWrittenAsThreeBytes)
{
    EXPECT_EQ(Encode(std::u16string(1, 0xDC00)), "\xED\xB0\x80");
}

}  // namespace
