/* Strings and decimals on their way between the wire and the host. */
#include "QUARLO-Core-Strings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "Allocations.h"
#include "QUARLO-Posix.h"

namespace quarlo::test {
namespace {

/** A wire string over a text that outlives it; nothing is allocated. */
qrString over(const std::string& text, StringEncoding encoding = eSTRINGENCODING_UTF8) {
    auto* bytes = reinterpret_cast<UInt8*>(const_cast<char*>(text.data()));
    return {encoding, static_cast<UInt16>(text.size()), text.empty() ? nullptr : bytes};
}

void discard(qrString* string) {
    if (string != nullptr) quarlo_free(string->pContent);
    quarlo_free(string);
}

std::string content(const qrString& string) {
    if (string.Length == 0) return {};
    return {reinterpret_cast<const char*>(string.pContent), string.Length};
}

TEST(Strings, BecomeTerminatedTexts) {
    const std::string source("a\0b", 3);
    const qrString string = over(source);
    char* text = quarlo_utilStringToC(&string);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::memcmp(text, "a\0b", 4), 0);
    quarlo_free(text);

    const qrString empty{eSTRINGENCODING_UTF8, 0, string.pContent};
    const qrString absent{eSTRINGENCODING_UTF8, 3, nullptr};
    EXPECT_EQ(quarlo_utilStringToC(nullptr), nullptr);
    EXPECT_EQ(quarlo_utilStringToC(&empty), nullptr);
    EXPECT_EQ(quarlo_utilStringToC(&absent), nullptr);
    const std::string longest(65535, 'x');
    const qrString large = over(longest);
    text = quarlo_utilStringToC(&large);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::strlen(text), 65535U);
    quarlo_free(text);
    EXPECT_EQ(allocations::live(), 0);
}

/** Both ways from a text, into a new string and into an existing one, follow the same rules. */
TEST(Strings, ComeFromTextsWholeOrNotAtAll) {
    struct Case {
        std::string text;
        std::size_t length;
    };
    const Case cases[] = {{"", 0},
                          {"Stra\xC3\x9F"
                           "e",
                           7},
                          {std::string(65535, 'x'), 65535},
                          {std::string(65536, 'x'), 0},
                          {std::string(65541, 'x'), 0}};
    for (const auto& [text, length] : cases) {
        SCOPED_TRACE(text.size());
        qrString* made = quarlo_utilCToString(text.c_str());
        ASSERT_NE(made, nullptr);
        qrString filled{eSTRINGENCODING_ASCII_LATIN1, 99, reinterpret_cast<UInt8*>(&filled)};
        quarlo_utilCToStringCopy(text.c_str(), &filled);
        for (const qrString* string : {made, &filled}) {
            EXPECT_EQ(string->Encoding, eSTRINGENCODING_UTF8);
            ASSERT_EQ(string->Length, length);
            EXPECT_EQ(string->pContent == nullptr, length == 0);
            EXPECT_EQ(content(*string), text.substr(0, length));
        }
        quarlo_free(filled.pContent);
        discard(made);
    }
    EXPECT_EQ(quarlo_utilCToString(nullptr), nullptr);
    qrString kept{eSTRINGENCODING_ASCII_LATIN1, 99, nullptr};
    quarlo_utilCToStringCopy(nullptr, &kept);
    quarlo_utilCToStringCopy("text", nullptr);
    EXPECT_EQ(kept.Length, 99);
    EXPECT_EQ(allocations::live(), 0);
}

TEST(Strings, AreCopiedDeep) {
    const std::string text = "copy";
    const qrString source = over(text, eSTRINGENCODING_ASCII_LATIN1);
    qrString* copy = quarlo_utilStringCopy(&source);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy->pContent, source.pContent);
    EXPECT_EQ(copy->Encoding, eSTRINGENCODING_ASCII_LATIN1);
    EXPECT_EQ(content(*copy), "copy");
    discard(copy);
    const qrString absent{eSTRINGENCODING_UTF8, 3, nullptr};
    copy = quarlo_utilStringCopy(&absent);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->Length, 0);
    discard(copy);
    EXPECT_EQ(quarlo_utilStringCopy(nullptr), nullptr);
    EXPECT_EQ(allocations::live(), 0);
}

TEST(Strings, GiveNothingWithoutMemory) {
    const std::string text = "text";
    const qrString source = over(text);
    const auto expectNoneOf = [](long requests, auto make) {
        const long total = allocations::sweep([make](long refused) {
            qrString* made = make();
            EXPECT_EQ(made == nullptr, refused != 0);
            discard(made);
        });
        EXPECT_EQ(total, requests);
    };
    expectNoneOf(2, [&] { return quarlo_utilCToString("text"); });
    expectNoneOf(1, [&] { return quarlo_utilCToString(""); });
    expectNoneOf(2, [&] { return quarlo_utilStringCopy(&source); });
    allocations::sweep([&](long refused) {
        char* made = quarlo_utilStringToC(&source);
        EXPECT_EQ(made == nullptr, refused != 0);
        quarlo_free(made);
    });
    allocations::restart(1);
    qrString filled{};
    quarlo_utilCToStringCopy("text", &filled);
    EXPECT_EQ(filled.Length, 4);
    EXPECT_EQ(filled.pContent, nullptr);
    allocations::restart();
}

TEST(Strings, AreEqualByEncodingLengthAndBytes) {
    const std::string abc = "abc", same = "abc", abd = "abd", ab = "ab", none;
    const qrString a = over(abc), b = over(same), c = over(abd), d = over(ab), e = over(none);
    const qrString latin = over(abc, eSTRINGENCODING_ASCII_LATIN1);
    const qrString absent{eSTRINGENCODING_UTF8, 3, nullptr};
    struct Case {
        const qrString* left;
        const qrString* right;
        int isEqual;
    };
    const Case cases[] = {{nullptr, nullptr, 1}, {&a, nullptr, 0},     {&a, &a, 1},
                          {&a, &b, 1},           {&a, &c, 0},          {&a, &d, 0},
                          {&a, &latin, 0},       {&e, &e, 1},          {&e, nullptr, 0},
                          {&a, &absent, 0},      {&absent, &absent, 1}};
    for (const auto& [left, right, isEqual] : cases) {
        EXPECT_EQ(quarlo_utilStringCompare(left, right), isEqual);
        EXPECT_EQ(quarlo_utilStringCompare(right, left), isEqual);
    }
}

TEST(Strings, FillATextBufferWholeOrNotAtAll) {
    const std::string text = "12345", none;
    const qrString string = over(text), empty = over(none);
    const qrString absent{eSTRINGENCODING_UTF8, 3, nullptr};
    struct Case {
        const qrString* string;
        UInt32 room;
        UInt16 length;
        const char* text;
    };
    const Case cases[] = {{&string, 6, 5, "12345"},     {&string, 100, 5, "12345"},
                          {&string, 5, 0, ""},  // no room for the terminator
                          {&string, 1, 0, ""},          {&string, 65535, 5, "12345"},
                          {&string, 65536, 0, ""},  // counted modulo 65536: no room at all
                          {&string, 65541, 0, ""},  // and here room for 5
                          {&string, 65542, 5, "12345"}, {&empty, 9, 0, ""},
                          {&absent, 9, 0, ""},          {&string, 0, 0, "#"},
                          {nullptr, 9, 0, "#"}};
    for (const auto& each : cases) {
        SCOPED_TRACE(each.room);
        std::string room(70000, '#');
        EXPECT_EQ(_quarlo_GetStringToTextBuffer(each.string, room.data(), each.room), each.length);
        const std::size_t used = std::strlen(each.text);
        const bool isTouched = std::strcmp(each.text, "#") != 0;
        EXPECT_EQ(room.substr(0, used), each.text);
        EXPECT_EQ(room[used], isTouched ? '\0' : '#');
        EXPECT_EQ(room.find_first_not_of('#', used + 1), std::string::npos);
    }
    EXPECT_EQ(_quarlo_GetStringToTextBuffer(&string, nullptr, 9), 0);
}

TEST(Decimals, HaveTwelveSignificantDigits) {
    struct Case {
        double number;
        Int64 value;
        int exponent;
    };
    const Case cases[] = {
        {12.3456789012, 123456789012, -10},
        {-0.5, -500000000000, -12},
        {0.0, 0, -11},
        {1.0, 100000000000, -11},
        {-48.137154, -481371540000, -10},
        {999999999999.5, 100000000000, 1},  // rounded up to a digit more
        {1e20, 100000000000, 9},
        {1e99, 100000000000, 88},
        {1e-99, 100000000000, -110},
        {1e100, 100000000000, -1},  // of three digits of exponent the last is lost
        {1e-138, 100000000000, -24},
        {1.7e308, 170000000000, 19},
    };
    for (const auto& each : cases) {
        qrDecimal decimal{};
        EXPECT_EQ(_quarlo_utilDoubleToDecimal(each.number, &decimal), 0);
        EXPECT_EQ(decimal.Value, each.value) << each.number;
        EXPECT_EQ(decimal.Exponent, each.exponent) << each.number;
    }
}

TEST(Decimals, RefuseWhatIsNoNumber) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    for (const double number : {infinity, -infinity, notANumber, -notANumber}) {
        qrDecimal decimal{42, 7};
        EXPECT_EQ(_quarlo_utilDoubleToDecimal(number, &decimal), -2);
        EXPECT_EQ(decimal.Value, 42);
        EXPECT_EQ(decimal.Exponent, 7);
    }
    EXPECT_EQ(_quarlo_utilDoubleToDecimal(1.0, nullptr), -1);
    EXPECT_EQ(_quarlo_utilDoubleToDecimal(notANumber, nullptr), -1);
}

TEST(Decimals, BecomeNumbers) {
    const qrDecimal coordinate{-481371540000, -10};
    const qrDecimal large{std::numeric_limits<Int64>::min(), 127};
    const qrDecimal zero{0, -128};
    EXPECT_DOUBLE_EQ(_quarlo_utilDecimalToDouble(&coordinate), -48.137154);
    EXPECT_DOUBLE_EQ(_quarlo_utilDecimalToDouble(&large), -9223372036854775808e127);
    EXPECT_EQ(_quarlo_utilDecimalToDouble(&zero), 0.0);
    EXPECT_EQ(_quarlo_utilDecimalToDouble(nullptr), 0.0);
}

}  // namespace
}  // namespace quarlo::test
