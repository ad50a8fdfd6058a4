/* Conversions of strings and decimals; see the header. */
#include "QUARLO-Core-Strings.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "QUARLO-WireEngine.h"

namespace {

using quarlo::wire::Heap;

constexpr std::size_t tooLong = 65536;

/** Copies bytes into the content of an empty string; false without memory. */
bool setContent(qrString& string, const void* bytes, UInt16 length) {
    string.Length = length;
    if (length == 0) return true;
    string.pContent = static_cast<UInt8*>(quarlo_malloc(length));
    if (string.pContent != nullptr) std::memcpy(string.pContent, bytes, length);
    return string.pContent != nullptr;
}

/** A new string; null without memory. */
qrString* makeString(StringEncoding encoding, const void* bytes, UInt16 length) {
    auto* string = Heap::make<qrString>();
    if (string == nullptr) return nullptr;
    string->Encoding = encoding;
    if (setContent(*string, bytes, length)) return string;
    quarlo_free(string);
    return nullptr;
}

/** A text that does not fit the length field is sent empty, not cut. */
UInt16 wireLength(const char* text) {
    const std::size_t length = std::strlen(text);
    return length < tooLong ? static_cast<UInt16>(length) : UInt16{0};
}

}  // namespace

namespace quarlo {

qrString borrowBytes(const void* bytes, UInt16 length) {
    auto* content = static_cast<UInt8*>(const_cast<void*>(bytes));
    return {eSTRINGENCODING_UTF8, length, length == 0 ? nullptr : content};
}

qrString borrowText(const char* text) {
    return borrowBytes(text, wireLength(text));
}

}  // namespace quarlo

extern "C" {

char* quarlo_utilStringToC(const qrString* string) {
    if (string == nullptr || string->Length == 0 || string->pContent == nullptr) return nullptr;
    auto* text = static_cast<char*>(quarlo_malloc(std::size_t{string->Length} + 1));
    if (text == nullptr) return nullptr;
    std::memcpy(text, string->pContent, string->Length);
    text[string->Length] = '\0';
    return text;
}

qrString* quarlo_utilCToString(const char* text) {
    if (text == nullptr) return nullptr;
    return makeString(eSTRINGENCODING_UTF8, text, wireLength(text));
}

qrString* quarlo_utilStringCopy(const qrString* string) {
    if (string == nullptr) return nullptr;
    const UInt16 length = string->pContent == nullptr ? UInt16{0} : string->Length;
    return makeString(string->Encoding, string->pContent, length);
}

void quarlo_utilCToStringCopy(const char* text, qrString* string) {
    if (text == nullptr || string == nullptr) return;
    string->Encoding = eSTRINGENCODING_UTF8;
    string->pContent = nullptr;
    setContent(*string, text, wireLength(text));
}

Flag quarlo_utilStringCompare(const qrString* a, const qrString* b) {
    if (a == nullptr || b == nullptr) return a == b;
    if (a->Encoding != b->Encoding || a->Length != b->Length) return eFLAG_FALSE;
    if (a->Length == 0 || a->pContent == b->pContent) return eFLAG_TRUE;
    if (a->pContent == nullptr || b->pContent == nullptr) return eFLAG_FALSE;
    return std::memcmp(a->pContent, b->pContent, a->Length) == 0;
}

UInt16 _quarlo_GetStringToTextBuffer(const qrString* string, char* dst, UInt32 dstSize) {
    const auto room = static_cast<UInt16>(dstSize);
    if (string == nullptr || dst == nullptr || dstSize == 0) return 0;
    dst[0] = '\0';
    if (room <= string->Length || string->Length == 0 || string->pContent == nullptr) return 0;
    std::memcpy(dst, string->pContent, string->Length);
    dst[string->Length] = '\0';
    return string->Length;
}

double _quarlo_utilDecimalToDouble(const qrDecimal* decimal) {
    if (decimal == nullptr) return 0.0;
    return static_cast<double>(decimal->Value) * std::pow(10.0, decimal->Exponent);
}

Int32 _quarlo_utilDoubleToDecimal(double value, qrDecimal* decimal) {
    if (decimal == nullptr) return -1;
    if (!std::isfinite(value)) return -2;
    // "+1.23456789012e+01": moving the digit onto the point and the sign onto the digit leaves the
    // twelve digits as one integer.
    // Deliberate: 19 bytes cut the third digit of an exponent; no coordinate has one.
    char text[19 + 1] = {};
    std::snprintf(text, 19, "%+1.11e", value);
    text[2] = text[1];
    text[1] = text[0];
    text[14] = '\0';
    decimal->Exponent = static_cast<Int8>(std::atoi(text + 15) - 11);
    decimal->Value = std::strtoll(text + 1, nullptr, 10);
    return 0;
}

}  // extern "C"
