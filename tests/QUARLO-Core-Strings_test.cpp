/* Strings and decimals on their way between the wire and the host. */
#include "QUARLO-Core-Strings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

#include "Calls.h"

namespace quarlo::test {
namespace {

/** A wire string over a text that outlives it; nothing is allocated. */
qrString over(std::string_view text, StringEncoding encoding = eSTRINGENCODING_UTF8) {
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

const std::string longest(65535, 'x');
const qrString absent{eSTRINGENCODING_UTF8, 3, nullptr};

TEST(Strings, BecomeTerminatedTexts) {
    for (const std::string& source : {std::string("a\0b", 3), longest}) {
        const qrString string = over(source);
        allocations::sweep([&](long refused) {
            char* text = quarlo_utilStringToC(&string);
            ASSERT_EQ(text == nullptr, refused != 0);
            if (refused == 0) {
                EXPECT_EQ(std::memcmp(text, source.c_str(), source.size() + 1), 0);
            }
            quarlo_free(text);
        });
    }
    const qrString empty{eSTRINGENCODING_UTF8, 0, absent.pContent};
    for (const qrString* string : {static_cast<const qrString*>(nullptr), &empty, &absent}) {
        EXPECT_EQ(quarlo_utilStringToC(string), nullptr);
    }
}

/** Both ways from a text, into a new string and into an existing one, follow the same rules. */
TEST(Strings, ComeFromTextsWholeOrNotAtAll) {
    const std::pair<std::string, std::size_t> cases[] = {
        {"", 0}, {"Stra\xC3\x9F", 6}, {longest, 65535}, {longest + "x", 0}, {longest + "xyz", 0}};
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
}

TEST(Strings, AreCopiedDeep) {
    const qrString source = over("copy", eSTRINGENCODING_ASCII_LATIN1);
    qrString* copy = quarlo_utilStringCopy(&source);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy->pContent, source.pContent);
    EXPECT_EQ(copy->Encoding, eSTRINGENCODING_ASCII_LATIN1);
    EXPECT_EQ(content(*copy), "copy");
    discard(copy);
    copy = quarlo_utilStringCopy(&absent);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->Length, 0);
    discard(copy);
    EXPECT_EQ(quarlo_utilStringCopy(nullptr), nullptr);
    const auto requestsOf = [](auto make) {
        return allocations::sweep([make](long refused) {
            qrString* made = make();
            EXPECT_EQ(made == nullptr, refused != 0);
            discard(made);
        });
    };
    EXPECT_EQ(requestsOf([] { return quarlo_utilCToString("text"); }), 2);
    EXPECT_EQ(requestsOf([] { return quarlo_utilCToString(""); }), 1);
    EXPECT_EQ(requestsOf([&] { return quarlo_utilStringCopy(&source); }), 2);
    allocations::restart(1);
    qrString filled{};
    quarlo_utilCToStringCopy("text", &filled);
    EXPECT_EQ(filled.Length, 4);
    EXPECT_EQ(filled.pContent, nullptr);
    allocations::restart();
}

TEST(Strings, AreEqualByEncodingLengthAndBytes) {
    const std::string same = "abc";
    const qrString a = over("abc"), b = over(same), c = over("abd"), d = over("ab"), e = over("");
    const qrString latin = over("abc", eSTRINGENCODING_ASCII_LATIN1);
    const std::tuple<const qrString*, const qrString*, int> cases[] = {
        {nullptr, nullptr, 1}, {&a, nullptr, 0},     {&a, &b, 1}, {&a, &c, 0},
        {&a, &d, 0},           {&a, &latin, 0},      {&e, &e, 1}, {&e, nullptr, 0},
        {&a, &absent, 0},      {&absent, &absent, 1}};
    for (const auto& [left, right, isEqual] : cases) {
        EXPECT_EQ(quarlo_utilStringCompare(left, right), isEqual);
        EXPECT_EQ(quarlo_utilStringCompare(right, left), isEqual);
    }
}

TEST(Strings, FillATextBufferWholeOrNotAtAll) {
    const qrString string = over("12345"), empty = over("");
    struct Case {
        const qrString* string;
        UInt32 room;
        const char* text;  // null when nothing is touched
    };
    const Case cases[] = {
        {&string, 6, "12345"},     {&string, 5, ""},  // no room for the terminator
        {&string, 1, ""},          {&string, 65535, "12345"},
        {&string, 65541, ""},  // counted modulo 65536: room for 5
        {&string, 65542, "12345"}, {&empty, 9, ""},
        {&absent, 9, ""},          {&string, 0, nullptr},
        {nullptr, 9, nullptr}};
    for (const auto& each : cases) {
        SCOPED_TRACE(each.room);
        std::string room(70000, '#');
        const std::string wanted = each.text == nullptr ? "" : each.text;
        EXPECT_EQ(_quarlo_GetStringToTextBuffer(each.string, room.data(), each.room),
                  wanted.size());
        const std::string touched = each.text == nullptr ? "" : wanted + '\0';
        EXPECT_EQ(room.substr(0, 10), (touched + std::string(10, '#')).substr(0, 10));
        EXPECT_EQ(room.find_first_not_of('#', 10), std::string::npos);
    }
    EXPECT_EQ(_quarlo_GetStringToTextBuffer(&string, nullptr, 9), 0);
}

TEST(Decimals, HaveTwelveSignificantDigits) {
    const std::tuple<double, Int64, int> cases[] = {
        {0.0, 0, -11},
        {-0.5, -500000000000, -12},
        {-48.137154, -481371540000, -10},
        {999999999999.5, 100000000000, 1},  // rounded up to a digit more
        {1e99, 100000000000, 88},
        {1e-99, 100000000000, -110},
        {1e100, 100000000000, -1},  // of three digits of exponent the last is lost
        {1e-138, 100000000000, -24},
    };
    for (const auto& [number, value, exponent] : cases) {
        qrDecimal decimal{};
        EXPECT_EQ(_quarlo_utilDoubleToDecimal(number, &decimal), 0);
        EXPECT_EQ(decimal.Value, value) << number;
        EXPECT_EQ(decimal.Exponent, exponent) << number;
    }
    const double infinity = std::numeric_limits<double>::infinity();
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    for (const double number : {infinity, -infinity, notANumber}) {
        qrDecimal decimal{42, 7};
        EXPECT_EQ(_quarlo_utilDoubleToDecimal(number, &decimal), -2);
        EXPECT_EQ(decimal.Value, 42);
        EXPECT_EQ(decimal.Exponent, 7);
    }
    EXPECT_EQ(_quarlo_utilDoubleToDecimal(notANumber, nullptr), -1);
}

TEST(Decimals, BecomeNumbers) {
    const qrDecimal coordinate{-481371540000, -10};
    const qrDecimal large{std::numeric_limits<Int64>::min(), 127};
    EXPECT_DOUBLE_EQ(_quarlo_utilDecimalToDouble(&coordinate), -48.137154);
    EXPECT_DOUBLE_EQ(_quarlo_utilDecimalToDouble(&large), -9223372036854775808e127);
    EXPECT_EQ(_quarlo_utilDecimalToDouble(nullptr), 0.0);
}

}  // namespace
}  // namespace quarlo::test
